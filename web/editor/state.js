// What the editor area shows, as signals: the tabs, the documents behind them, and where the cursor is.

import { computed, signal } from '@preact/signals';
import { diffRule, isDiff } from '../stores/gitdiffs.js';
import { activeTab, allTabs, emptyTabs } from '../stores/tabs.js';
import { isPage, pageOf } from './pages.js';

/**
 * @typedef {import('../stores/buffers.js').TextBuffer} TextBuffer
 * @typedef {import('../stores/files.js').FileInfo} FileInfo
 * @typedef {import('./host.js').HostDocument} HostDocument
 * @typedef {{nextChange: () => void, previousChange: () => void}} ChangeSteps
 *
 * What stands behind the tabs of one id. "facts" is a file that is not text.
 * @typedef {{kind: 'loading'} | {kind: 'text', buffer: TextBuffer} | {kind: 'facts', info: FileInfo}
 *   | {kind: 'failed', words: string}} Content
 * @typedef {{id: string, content: import('@preact/signals').Signal<Content>, ready: Promise<void>}} OpenDocument
 */

/** @type {import('@preact/signals').Signal<import('../stores/tabs.js').Tabs>} */
export const tabs = signal(emptyTabs());

/** @type {import('@preact/signals').Signal<ReadonlyMap<string, OpenDocument>>} */
export const documents = signal(new Map());

export const cursor = signal({ line: 1, column: 1, selected: 0, selections: 1 });
export const wordWrap = signal(false);

export const frontTab = computed(() => activeTab(tabs.value));

/** The text in front, if any. */
export const frontBuffer = computed(() => {
  const tab = frontTab.value;
  return tab?.kind === 'text' ? bufferOf(tab.id) : null;
});

/** The text that saving means: also that of a comparison whose one side is the file. */
export const frontSavable = computed(() => {
  const tab = frontTab.value;
  const saves = tab && (tab.kind === 'text' || (isDiff(tab.kind) && !diffRule(tab.kind).right));
  return saves ? bufferOf(tab.id) : null;
});

/**
 * @param {string} id
 * @returns {TextBuffer | null}
 */
export function bufferOf(id) {
  const content = documents.value.get(id)?.content.value;
  return content?.kind === 'text' ? content.buffer : null;
}

/** All texts that are not saved. */
export const dirtyIds = computed(() =>
  [...documents.value.keys()].filter((id) => bufferOf(id)?.dirty.value ?? false),
);

/**
 * Untitled pages have ids without a slash, which no file has.
 * @param {string} id
 */
export function isUntitled(id) {
  return !id.includes('/');
}

/**
 * What a tab of this id is called.
 * @param {string} id
 */
export function titleOf(id) {
  if (id.startsWith('plan:')) return 'Plan of Claude';
  if (isPage(id)) return pageTitle(id);
  return bufferOf(id)?.name.value ?? id.slice(id.lastIndexOf('/') + 1);
}

/** @param {string} id */
function pageTitle(id) {
  const page = pageOf(id);
  return page ? page.title(page.arg) : 'Page';
}

/**
 * Whether any tab still shows the document.
 * @param {string} id
 */
export function isShown(id) {
  return allTabs(tabs.value).some((tab) => tab.id === id);
}

/**
 * Text views by group, which the views themselves enter and leave.
 * @type {Map<string, import('./host.js').HostEditor>}
 */
export const textViews = new Map();

/**
 * The comparisons by group, with the key of their tab, while they are in front.
 * @type {Map<string, {key: string, view: import('./host.js').HostEditor, steps: ChangeSteps}>}
 */
export const diffViews = new Map();

/**
 * What can be typed into in a group.
 * @param {string} group
 */
export function viewIn(group) {
  return diffViews.get(group)?.view ?? textViews.get(group) ?? null;
}

/** Cursor and scroll of texts that are not in front, by group and id. @type {Map<string, unknown>} */
export const viewStates = new Map();

/**
 * @param {string} group
 * @param {string} id
 */
export function viewKey(group, id) {
  return `${group} ${id}`;
}

/** The text view that has or had the focus. */
export function activeView() {
  return viewIn(tabs.value.active);
}

/** Where the focus shall go once there is something to take it. */
const wish = { group: '', before: /** @type {Element | null} */ (null) };

/** @param {string} group */
export function wishFocus(group) {
  wish.group = group;
  wish.before = document.activeElement;
}

/**
 * True once, for the group that is to have the focus, unless the user went elsewhere meanwhile.
 * @param {string} group
 */
export function takeFocusWish(group) {
  if (wish.group !== group) return false;
  wish.group = '';
  const now = document.activeElement;
  return now === wish.before || now === null || now === document.body;
}
