// What the source control panel shows: which parts are folded, and which row has the focus.

import { computed, signal } from '@preact/signals';
import { repos } from '../../stores/git.js';
import { gitRows } from '../../stores/gitrows.js';
import { parentOf } from '../../stores/paths.js';
import * as uistate from '../../stores/uistate.js';

const kCollapsedKey = 'scm.collapsed';

/** Keys of folded repositories and groups. @type {import('@preact/signals').Signal<ReadonlySet<string>>} */
export const collapsed = signal(new Set());
/** The key of the row that has the panel's focus. */
export const focused = signal('');

export const rows = computed(() => gitRows(repos.value, collapsed.value));

/**
 * The row of the focus. Rows come and go with every change on disk, so a lost one hands it to what is left
 * of those above it.
 */
export const focusedRow = computed(() => {
  for (let key = focused.value; key; key = parentOf(key)) {
    const row = rows.value.find((each) => each.path === key);
    if (row) return row;
  }
  return rows.value[0] ?? null;
});

/** The repository that the panel's focus is in. */
export const repoInFront = computed(
  () => [focusedRow.value?.repo, ...repos.value].find((repo) => repo?.isRepo) ?? null,
);

export function loadScm() {
  const kept = uistate.get(kCollapsedKey, /** @type {unknown} */ ([]));
  if (Array.isArray(kept)) collapsed.value = new Set(kept.filter((key) => typeof key === 'string'));
}

/**
 * @param {string} key
 * @param {boolean} folded
 */
export function fold(key, folded) {
  const next = new Set(collapsed.value);
  if (folded) next.add(key);
  else next.delete(key);
  collapsed.value = next;
  uistate.set(kCollapsedKey, [...next]);
}
