// The screens of the terminals, which exist whether the panel is to be seen or not, and what the panel
// and its commands share.

import { signal } from '@preact/signals';
import { keepText } from '../../stores/terminalkeep.js';
import { frontTerminal, keepTerminals, terminalByKey } from '../../stores/terminals.js';

/** @typedef {import('./screen.js').TerminalScreen} TerminalScreen */

/** Rows above the screen that a reload brings back. */
const kKeptRows = 1000;
/** How often the text is kept while something is written; a reload keeps it as well. */
const kKeepMs = 5000;

/** @type {Map<string, TerminalScreen>} */
export const screens = new Map();
/** Which screens exist, for the panel: the map itself tells nobody. */
export const screenCount = signal(0);
/** Whether the find box is open. */
export const finding = signal(false);
/** What screen readers are told. */
export const announcement = signal('');

/** @type {Set<string>} */
const unkept = new Set();
/** @type {ReturnType<typeof setTimeout> | undefined} */
let keepTimer;

/** The screen in front. */
export const frontScreen = () => screens.get(frontTerminal.value?.key ?? '');

/** The library is large and comes with the first terminal. */
export const loadScreens = () => import('./screen.js');

/** @param {string} key */
export function dropScreen(key) {
  screens.get(key)?.dispose();
  screens.delete(key);
  screenCount.value = screens.size;
}

/** Adds a screen. @param {string} key @param {TerminalScreen} screen */
export function putScreen(key, screen) {
  screens.set(key, screen);
  screenCount.value = screens.size;
}

/** @param {string} key */
export const labelOf = (key) => `Terminal ${terminalByKey(key)?.title ?? ''}`.trim();

/** Puts the keys into the terminal in front: now, so that none is lost, or once it is drawn. */
export function focusTerminal() {
  const screen = frontScreen();
  if (screen?.element.isConnected) screen.focus();
  else requestAnimationFrame(() => frontScreen()?.focus());
}

/** @param {string} key */
export function keepSoon(key) {
  unkept.add(key);
  keepTimer ??= setTimeout(keepNow, kKeepMs);
}

/** Keeps list and texts in the tab's storage. */
export function keepNow() {
  clearTimeout(keepTimer);
  keepTimer = undefined;
  keepTerminals(sessionStorage);
  for (const key of unkept) {
    const screen = screens.get(key);
    if (screen) keepText(sessionStorage, key, (rows) => screen.serialize(rows), kKeptRows);
  }
  unkept.clear();
}
