// Where the focus of the tree of changes stays when an action takes its row away.

import { focused, rows } from './state.js';

/** @typedef {import('../../stores/gitrows.js').GitRow} GitRow */

/** Puts the real focus on the row that has the tree's. */
export function focusScm() {
  const row = document.querySelector('.scm-tree [role="treeitem"][tabindex="0"]');
  if (row instanceof HTMLElement) row.focus({ preventScroll: true });
}

/**
 * Runs an action on a row. If the row is gone after it, its neighbour in the group gets the focus.
 * @param {GitRow} row
 * @param {() => Promise<unknown>} work
 */
export async function keepingPlace(row, work) {
  const all = rows.value;
  const at = all.findIndex(({ path }) => path === row.path);
  const near = [all[at + 1], all[at - 1]].find((one) => one?.change && one.group?.id === row.group?.id);
  const inTree = document.querySelector('.scm-tree')?.contains(document.activeElement) ?? false;
  focused.value = row.path;
  await work();
  const left = new Set(rows.value.map(({ path }) => path));
  if (!left.has(row.path) && focused.value === row.path && near && left.has(near.path)) focused.value = near.path;
  // An element that goes takes the real focus with it.
  requestAnimationFrame(() => {
    if (inTree && document.activeElement === document.body) focusScm();
  });
}
