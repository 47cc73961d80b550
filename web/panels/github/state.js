// What the GitHub panel shows: which parts are folded, and which row has the focus.

import { computed, signal } from '@preact/signals';
import { repos } from '../../stores/git.js';
import { overviews, readAt } from '../../stores/github.js';
import { githubRows } from '../../stores/githubrows.js';
import { parentOf } from '../../stores/paths.js';
import * as uistate from '../../stores/uistate.js';

const kCollapsedKey = 'github.collapsed';

/** @type {import('@preact/signals').Signal<ReadonlySet<string>>} */
export const collapsed = signal(new Set());
/** The key of the row that has the panel's focus. */
export const focused = signal('');

export const names = computed(() => repos.value.filter(({ isRepo }) => isRepo).map(({ name }) => name));
export const rows = computed(() => githubRows(names.value, overviews.value, collapsed.value, readAt.value));

/** The row of the focus, or what is left of those above it. */
export const focusedRow = computed(() => {
  for (let key = focused.value; key; key = parentOf(key)) {
    const row = rows.value.find((each) => each.path === key);
    if (row) return row;
  }
  return rows.value[0] ?? null;
});

export function loadGithubState() {
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
