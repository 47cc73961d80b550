// What can be done with tabs and groups. Nothing unsaved is closed without asking.

import { ask } from '../shell/dialogs.js';
import { isDiff } from '../stores/gitdiffs.js';
import {
  activeTab,
  closeTab,
  focusTab,
  groupOf,
  groupOrder,
  keepTab,
  moveTab,
  openTab,
  pageTabId,
  splitGroup,
  tabsToClose,
  takeClosed,
} from '../stores/tabs.js';
import { freshUntitledId, openDocument, placeBuffer, releaseDocument, untitledName } from './documents.js';
import { saveDocument } from './savefile.js';
import {
  activeView,
  bufferOf,
  diffViews,
  isUntitled,
  tabs,
  takeFocusWish,
  textViews,
  titleOf,
  viewKey,
  wishFocus,
} from './state.js';

/**
 * @typedef {import('../stores/tabs.js').Tab} Tab
 * @typedef {{preview?: boolean, group?: string, index?: number, line?: number, column?: number, end?: {line: number, column: number},
 *   focus?: boolean, kind?: import('../stores/tabs.js').TabKind}} OpenOptions
 */

/**
 * @param {string} path
 * @param {OpenOptions} [options]
 */
export async function openFile(
  path,
  { preview = false, group, index, line, column, end, focus = true, kind = 'text' } = {},
) {
  const { state, replaced } = openTab(tabs.value, { kind, id: path, preview, group, index });
  tabs.value = state;
  if (replaced) releaseDocument(replaced.id);
  const shownIn = state.active;
  await openDocument(path).ready;
  if (focus) focusGroup(shownIn);
  if (line !== undefined) revealWhenShown(shownIn, path, { line, column, end });
}

/**
 * Shows a panel's page as a tab (pages.js).
 * @param {string} name
 * @param {string} arg
 * @param {{preview?: boolean, focus?: boolean}} [options]
 */
export function openPage(name, arg, { preview = false, focus = true } = {}) {
  const { state, replaced } = openTab(tabs.value, { kind: 'page', id: pageTabId(name, arg), preview });
  tabs.value = state;
  if (replaced) releaseDocument(replaced.id);
  if (focus) focusGroup(state.active);
}

/**
 * Where to go in texts that are not shown yet; up to `end` the text is selected.
 * @typedef {{line: number, column?: number, end?: {line: number, column: number}}} Goal
 * @type {Map<string, Goal>}
 */
const revealWishes = new Map();

/**
 * The view follows the tabs a moment later, and the first one of all only when the editor is loaded.
 * @param {string} group
 * @param {string} id
 * @param {Goal} goal
 */
function revealWhenShown(group, id, goal) {
  revealWishes.set(viewKey(group, id), goal);
  requestAnimationFrame(() => takeRevealWish(group, id));
}

/**
 * Goes to the line that was asked for, if the view shows its text by now.
 * @param {string} group
 * @param {string} id
 */
export function takeRevealWish(group, id) {
  const wish = revealWishes.get(viewKey(group, id));
  const buffer = bufferOf(id);
  const view = textViews.get(group);
  if (!wish || !buffer || !view?.shows(buffer.doc)) return;
  revealWishes.delete(viewKey(group, id));
  view.reveal(wish.line, wish.column, wish.end);
}

export async function newUntitled() {
  const id = freshUntitledId();
  await placeBuffer(id, { path: '', name: untitledName(id), language: 'plaintext', text: '', eol: '\n' });
  tabs.value = openTab(tabs.value, { kind: 'text', id }).state;
  focusGroup(tabs.value.active);
}

/** @param {string} group */
export function focusGroup(group) {
  if (tabs.value.active !== group) tabs.value = { ...tabs.value, active: group };
  wishFocus(group);
  // What is shown already takes it now; a view that is still to come takes it when it is there (pane.js).
  requestAnimationFrame(() => giveFocus(group));
}

/**
 * Gives the focus to what a group shows, if that is wanted and there is something.
 * @param {string} group
 */
export function giveFocus(group) {
  const panes = /** @type {NodeListOf<HTMLElement>} */ (document.querySelectorAll('.editor-group'));
  const pane = [...panes].find((each) => each.dataset.group === group);
  const target = pane && focusTarget(pane, group);
  if (target && takeFocusWish(group)) target.focus();
}

/**
 * @param {HTMLElement} pane
 * @param {string} group
 * @returns {{focus: () => void} | null | undefined}
 */
function focusTarget(pane, group) {
  const front = activeTab(tabs.value, group);
  if (isDiff(front?.kind)) {
    const compared = diffViews.get(group);
    // The one of the tab before may not be gone yet.
    if (compared?.key === front?.key) return compared?.view;
    return /** @type {HTMLElement | null} */ (pane.querySelector('.diff [role="alert"]'));
  }
  if (pane.querySelector('.text-view:not([hidden]) .view-line')) return textViews.get(group);
  const first = pane.querySelector('.text-view[hidden] ~ * [data-first-focus]');
  if (first instanceof HTMLElement) return first;
  const other = '.text-view[hidden] ~ * [tabindex="0"], .text-view[hidden] ~ [tabindex="0"]';
  return /** @type {HTMLElement | null} */ (pane.querySelector(other));
}

/**
 * @param {string} group
 * @param {string} key
 */
export function showTab(group, key) {
  tabs.value = focusTab(tabs.value, group, key);
}

/** @param {string} key */
export function keep(key) {
  tabs.value = keepTab(tabs.value, key);
}

/**
 * Closes tabs, after asking about texts that would be lost.
 * @param {string} group
 * @param {readonly Tab[]} closing
 * @returns {Promise<boolean>} false when the user went back
 */
export async function closeTabs(group, closing) {
  for (const tab of closing) {
    if (!(await mayClose(group, tab))) return false;
    tabs.value = closeTab(tabs.value, group, tab.key);
    releaseDocument(tab.id);
  }
  focusGroup(tabs.value.active);
  return true;
}

/**
 * @param {string} group
 * @param {Tab} tab
 */
async function mayClose(group, tab) {
  const buffer = bufferOf(tab.id);
  if (!buffer?.dirty.value || shownElsewhere(group, tab)) return true;
  showTab(group, tab.key);
  const answer = await ask({
    title: `Save the changes to ${titleOf(tab.id)}?`,
    text: 'They are lost when you close it without saving.',
    buttons: [
      { id: 'save', label: 'Save', kind: 'primary' },
      { id: 'discard', label: 'Close without Saving', kind: 'danger' },
      { id: 'cancel', label: 'Cancel' },
    ],
  });
  if (answer === 'discard') return true;
  return answer === 'save' && (await saveDocument(tab.id)) !== null;
}

/**
 * @param {string} group
 * @param {Tab} tab
 */
function shownElsewhere(group, tab) {
  return tabs.value.groups.some((other) =>
    other.tabs.some((each) => each.id === tab.id && (other.id !== group || each.key !== tab.key)),
  );
}

/**
 * @param {string} [group]
 * @param {string} [key]
 */
export function closeOne(group = tabs.value.active, key = groupOf(tabs.value, group).active) {
  return closeTabs(
    group,
    groupOf(tabs.value, group).tabs.filter((tab) => tab.key === key),
  );
}

/**
 * @param {'others' | 'right' | 'all'} which
 * @param {string} [group]
 * @param {string} [key]
 */
export function closeSome(which, group = tabs.value.active, key = groupOf(tabs.value, group).active) {
  return closeTabs(group, tabsToClose(groupOf(tabs.value, group), key, which));
}

export async function closeEverything() {
  for (const group of tabs.value.groups) {
    if (!(await closeTabs(group.id, group.tabs))) return false;
  }
  return true;
}

/**
 * Closes what shows a path that is gone; the text of unsaved ones stays.
 * @param {(id: string) => boolean} isGone
 */
export function closeGone(isGone) {
  for (const group of tabs.value.groups) {
    for (const tab of group.tabs) {
      if (!isGone(tab.id) || bufferOf(tab.id)?.dirty.value) continue;
      tabs.value = closeTab(tabs.value, group.id, tab.key);
      releaseDocument(tab.id);
    }
  }
}

export async function reopenClosed() {
  const { state, tab } = takeClosed(tabs.value);
  tabs.value = state;
  if (!tab) return;
  const group = state.groups.some((each) => each.id === tab.group) ? tab.group : undefined;
  const index = group ? tab.index : undefined;
  if (tab.kind === 'page') {
    tabs.value = openTab(state, { ...tab, group, index }).state;
    return focusGroup(tabs.value.active);
  }
  if (isUntitled(tab.id)) return reopenClosed(); // its text is gone for good
  await openFile(tab.id, { kind: tab.kind, group, index });
}

/** @param {'row' | 'column'} direction */
export function split(direction) {
  tabs.value = splitGroup(tabs.value, direction);
  focusGroup(tabs.value.active);
}

/**
 * @param {string} from
 * @param {string} key
 * @param {string} to
 * @param {number} index
 */
export function move(from, key, to, index) {
  const id = key.slice(key.indexOf(':') + 1);
  tabs.value = moveTab(tabs.value, from, key, to, index);
  releaseDocument(id);
  focusGroup(to);
}

/** @param {1 | -1} step */
export function moveBesideGroup(step) {
  const order = groupOrder(tabs.value.layout);
  const from = tabs.value.active;
  const to = order[order.indexOf(from) + step];
  const key = groupOf(tabs.value, from).active;
  if (!key) return;
  if (to) move(from, key, to, groupOf(tabs.value, to).tabs.length);
  else if (groupOf(tabs.value, from).tabs.length > 1 && step > 0) {
    tabs.value = splitGroup(tabs.value, 'row');
    const fresh = tabs.value.active;
    tabs.value = { ...closeTab(tabs.value, from, key), active: fresh };
    focusGroup(fresh);
  }
}

/** @param {number} step */
export function nextGroup(step) {
  const order = groupOrder(tabs.value.layout);
  const at = order.indexOf(tabs.value.active);
  focusGroup(/** @type {string} */ (order[(at + step + order.length) % order.length]));
}

/** @param {number} number from 1 */
export function focusGroupNumber(number) {
  const id = groupOrder(tabs.value.layout)[number - 1];
  if (id) focusGroup(id);
}

/** @param {number} step */
export function nextTab(step) {
  const { id, tabs: list, active } = groupOf(tabs.value);
  if (list.length === 0) return;
  const at = list.findIndex((tab) => tab.key === active);
  const tab = /** @type {Tab} */ (list[(at + step + list.length) % list.length]);
  showTab(id, tab.key);
  focusGroup(id);
}

export function focusEditor() {
  const view = activeView();
  if (view) view.focus();
  else focusGroup(tabs.value.active);
}
