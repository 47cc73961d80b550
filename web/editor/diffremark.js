// Lines of a comparison as places of the review basket, and the way back from a remark to its line.

import { diffRule } from '../stores/gitdiffs.js';
import { tabKey } from '../stores/tabs.js';
import { frontTab, tabs } from './state.js';

/**
 * @typedef {ReturnType<typeof import('./host.js').createCompare>} Compare
 * @typedef {import('../stores/gitdiffs.js').DiffKind} DiffKind
 * @typedef {import('../stores/basket.js').RemarkPlace} RemarkPlace
 * @typedef {'old' | 'new'} Side
 *
 * @typedef {object} ShownDiff
 * @property {string} id of the file
 * @property {DiffKind} kind
 * @property {Compare} made
 * @property {(side: Side) => string} text of a side as it is now
 */

/** What each group compares. @type {Map<string, ShownDiff>} */
const shown = new Map();
/** The line that a comparison is to show once it is there. @type {Map<string, {side: Side, line: number}>} */
const wishes = new Map();

/**
 * @param {string} group
 * @param {ShownDiff} diff
 */
export function enterDiff(group, diff) {
  shown.set(group, diff);
  takeWish(diff);
  return () => {
    if (shown.get(group) === diff) shown.delete(group);
  };
}

/** @param {ShownDiff} diff */
function takeWish({ id, kind, made }) {
  const key = tabKey(kind, id);
  const wish = wishes.get(key);
  wishes.delete(key);
  if (wish) (wish.side === 'old' ? made.leftView : made.rightView).reveal(wish.line);
}

/**
 * Goes to a line of a comparison that is open, or opens.
 * @param {string} id
 * @param {DiffKind} kind
 * @param {Side} side
 * @param {number} line
 */
export function revealInDiff(id, kind, side, line) {
  wishes.set(tabKey(kind, id), { side, line });
  const there = shown.get(tabs.value.active);
  if (there?.id === id && there.kind === kind) takeWish(there);
}

/**
 * The lines that are chosen in the comparison in front: of the side that has the focus, else of the newer one.
 * @returns {RemarkPlace | null}
 */
export function frontRemarkPlace() {
  const diff = shown.get(tabs.value.active);
  if (!diff || frontTab.value?.key !== tabKey(diff.kind, diff.id)) return null;
  const { id, kind, made, text } = diff;
  const side = made.leftView.hasFocus() ? 'old' : 'new';
  const chosen = (side === 'old' ? made.leftView : made.rightView).selection();
  if (!chosen) return null;
  const from = chosen.line;
  // A choice of whole lines ends before the first letter of the next one.
  const to = chosen.endColumn === 1 ? Math.max(from, chosen.endLine - 1) : chosen.endLine;
  const [older, newer] = diffRule(kind).words;
  return {
    path: id,
    side,
    from,
    to,
    quote: text(side)
      .split(/\r\n|\r|\n/)
      .slice(from - 1, to),
    source: `${newer} against ${older}`,
    jump: { command: 'basket.showLine', arg: { id, kind, side, line: from } },
  };
}
