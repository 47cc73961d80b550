// Lines of a pull request as places of the review basket.

import { repos } from '../../stores/git.js';
import { idOf, isOutside } from '../../stores/gitstatus.js';
import { pullOfArg } from '../../stores/pull.js';
import { roots } from '../../stores/settings.js';

/**
 * @typedef {import('../../stores/patch.js').PatchLine} PatchLine
 * @typedef {{side: 'old' | 'new', from: number, to: number, quote: string[]}} Range
 */

/** @param {string} arg @param {string} path */
function idIn(arg, path) {
  const repo = repos.value.find(({ name }) => name === pullOfArg(arg).repo);
  return repo ? idOf(roots.value, repo, path) : '';
}

/** The file in the workspace, as it is there now; "" when it lies outside. @param {string} arg @param {string} path */
export function workspaceFile(arg, path) {
  const id = idIn(arg, path);
  return isOutside(id) ? '' : id;
}

/**
 * Some lines of a patch as lines of one side: of the new one, unless all of them are gone there.
 * @param {readonly Pick<PatchLine, 'old' | 'new' | 'text'>[]} lines
 * @param {number} from index of the first
 * @param {number} to
 * @returns {Range}
 */
export function rangeOf(lines, from, to) {
  const chosen = lines.slice(from, to + 1);
  const side = chosen.some((line) => line.new > 0) ? 'new' : 'old';
  const numbers = chosen.map((line) => line[side]).filter((number) => number > 0);
  return {
    side,
    from: Math.min(...numbers),
    to: Math.max(...numbers),
    quote: chosen.filter((line) => line[side] > 0).map(({ text }) => text),
  };
}

/**
 * @param {string} arg
 * @param {string} path
 * @param {Range} range
 * @returns {import('../../stores/basket.js').RemarkPlace}
 */
export function remarkPlace(arg, path, range) {
  const { repo, number } = pullOfArg(arg);
  return {
    ...range,
    path: workspaceFile(arg, path) || path,
    source: `pull request #${number} of ${repo}`,
    jump: { command: 'github.showLine', arg: { arg, path, side: range.side, line: range.to } },
  };
}
