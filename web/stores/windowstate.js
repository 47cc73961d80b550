// The native window: whether it is maximised and has the focus, and its commands.

import { signal } from '@preact/signals';
import { call } from '../bridge/api.js';
import { on, onReconnect } from '../bridge/events.js';

export const maximized = signal(false);
/** Whether the window has the focus; without it the page dims and keeps still. */
export const active = signal(true);

export async function loadWindowState() {
  apply(await call('window', { cmd: 'state' }));
}

/** @param {'minimize' | 'maximize' | 'close'} cmd "maximize" goes back and forth */
export const windowCommand = (cmd) => call('window', { cmd });

/** Ends the program. */
export const shutdown = () => call('shutdown');

/** @param {{maximized?: unknown, active?: unknown}} state */
function apply(state) {
  maximized.value = state.maximized === true;
  active.value = state.active !== false;
}

on('window.state', apply);
onReconnect(loadWindowState);

/** @type {Set<() => Promise<unknown>>} */
const lastWords = new Set();

/**
 * Calls `fn` before the page asks the window to close, and waits for it a moment. A window closed by
 * the desktop gives no such warning, so nothing may depend on it.
 * @param {() => Promise<unknown>} fn
 */
export function onLeave(fn) {
  lastWords.add(fn);
  return () => void lastWords.delete(fn);
}

/** How long closing waits for what is still to be written. */
const LEAVE_MS = 3000;

/**
 * Lets everybody write what they hold, then closes. A failure to write does not keep the window open.
 * @param {() => Promise<unknown>} close
 */
export async function leave(close) {
  const limit = new Promise((resolve) => setTimeout(resolve, LEAVE_MS));
  await Promise.race([Promise.allSettled([...lastWords].map((fn) => fn())), limit]);
  await close();
}
