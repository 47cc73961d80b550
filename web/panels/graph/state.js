// How the history is shown: which parts of the tree of refs are folded, and how high a commit's details are.

import { signal } from '@preact/signals';
import { repos } from '../../stores/git.js';
import * as uistate from '../../stores/uistate.js';

const kCollapsedKey = 'graph.collapsed';
const kLookKey = 'graph.look';

/** Of the details, in rem. */
export const DETAIL = { least: 6, most: 40, first: 16 };

/** Keys of folded parts of the tree of refs. @type {import('@preact/signals').Signal<ReadonlySet<string>>} */
export const collapsed = signal(new Set(['tag']));
export const refsShown = signal(true);
export const detailSize = signal(DETAIL.first);

export function loadGraphLook() {
  const kept = uistate.get(kCollapsedKey, /** @type {unknown} */ (null));
  if (Array.isArray(kept)) collapsed.value = new Set(kept.filter((key) => typeof key === 'string'));
  const look = /** @type {any} */ (uistate.get(kLookKey, /** @type {unknown} */ (null)));
  if (typeof look?.refs === 'boolean') refsShown.value = look.refs;
  if (typeof look?.detail === 'number') setDetailSize(look.detail);
}

const keepLook = () => uistate.set(kLookKey, { refs: refsShown.value, detail: detailSize.value });

/** @param {string} key @param {boolean} folded */
export function fold(key, folded) {
  const next = new Set(collapsed.value);
  if (folded) next.add(key);
  else next.delete(key);
  collapsed.value = next;
  uistate.set(kCollapsedKey, [...next]);
}

export function toggleRefs() {
  refsShown.value = !refsShown.value;
  keepLook();
}

/** @param {number} rem */
export function setDetailSize(rem) {
  detailSize.value = Math.min(DETAIL.most, Math.max(DETAIL.least, Math.round(rem * 4) / 4));
  keepLook();
}

/** @param {string} name */
export const repoNamed = (name) => repos.value.find((repo) => repo.name === name && repo.isRepo) ?? null;
