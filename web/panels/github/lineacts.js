// What can be done with lines of a pull request: comment on one, put a remark on some into the basket, copy.

import { beginDraft } from '../../stores/pulldrafts.js';
import { writeRemark } from '../basket/remark.js';
import { rangeOf, remarkPlace } from './pullremark.js';
import { go } from './pullstate.js';

/**
 * @typedef {import('../../stores/patch.js').PatchLine} PatchLine
 * @typedef {ReturnType<typeof lineActs>} LineActs
 */

/**
 * @param {string} arg
 * @param {import('../../stores/pullwire.js').Detail} detail
 * @param {string} path
 * @param {readonly PatchLine[]} lines
 */
export function lineActs(arg, { url, head }, path, lines) {
  /** GitHub is told lines of the new side only. @param {number} index */
  const canComment = (index) => (lines[index]?.new ?? 0) > 0;
  /** @param {number} index */
  const comment = (index) => {
    const line = lines[index]?.new ?? 0;
    if (!line) return;
    const wanted = beginDraft(url, { head, path, line });
    go(arg, { row: index, anchor: index, wanted });
  };
  /** @param {number} from @param {number} to */
  const remark = (from, to) => writeRemark(remarkPlace(arg, path, rangeOf(lines, from, to)));
  /** @param {number} from @param {number} to */
  const copy = (from, to) => {
    const texts = lines.slice(from, to + 1).map(({ text }) => text);
    return navigator.clipboard.writeText(texts.join('\n'));
  };
  return { canComment, comment, remark, copy };
}

/**
 * @param {LineActs} acts
 * @param {number} from
 * @param {number} to
 * @returns {import('../../shell/menus.js').MenuItem[]}
 */
export function lineMenu(acts, from, to) {
  const what = from === to ? 'Line' : 'Lines';
  return [
    {
      label: 'Comment on GitHub…',
      keys: 'Enter',
      enabled: acts.canComment(to),
      run: () => acts.comment(to),
    },
    { label: `Remark on the ${what}…`, keys: 'R', run: () => acts.remark(from, to) },
    { kind: 'separator' },
    { label: `Copy the ${what}`, run: () => acts.copy(from, to) },
  ];
}
