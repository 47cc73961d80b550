// Comparisons with what git has: opening them, and how they are shown.

import { signal } from '@preact/signals';
import { diffRule, isDiff } from '../stores/gitdiffs.js';
import { isOutside } from '../stores/gitstatus.js';
import { openTab } from '../stores/tabs.js';
import * as uistate from '../stores/uistate.js';
import { releaseDocument } from './documents.js';
import { diffViews, frontTab, isUntitled, tabs } from './state.js';
import { focusGroup } from './tabactions.js';

const kInlineKey = 'diff.inline';

/** Whether old and new lines stand below each other in one view. */
export const inlineDiff = signal(false);

export function loadDiffLook() {
  inlineDiff.value = uistate.get(kInlineKey, /** @type {unknown} */ (false)) === true;
}

export function toggleInline() {
  inlineDiff.value = !inlineDiff.value;
  uistate.set(kInlineKey, inlineDiff.value);
}

/**
 * Whether a tab shows the text of its file: a comparison of two versions that git has does not.
 * @param {import('../stores/tabs.js').Tab} tab
 */
export function needsDocument({ kind, id }) {
  if (isUntitled(id) || isOutside(id)) return false;
  return !isDiff(kind) || diffRule(kind).right === '';
}

/**
 * @param {string} id workspace path, or an absolute one beside the workspace
 * @param {import('../stores/gitdiffs.js').DiffKind} kind
 * @param {{preview?: boolean, focus?: boolean}} [options]
 */
export function openDiff(id, kind, { preview = false, focus = true } = {}) {
  const { state, replaced } = openTab(tabs.value, { kind, id, preview });
  tabs.value = state;
  if (replaced && replaced.id !== id) releaseDocument(replaced.id);
  if (focus) focusGroup(state.active);
}

/** The comparison in front. */
export function frontDiff() {
  return isDiff(frontTab.value?.kind) ? (diffViews.get(tabs.value.active)?.steps ?? null) : null;
}
