// The native side's settings and the snapshot of the running session, and the files and folders that
// somebody asked to open: on the command line, by a second start, from another program.

import { computed, signal } from '@preact/signals';
import { call, get } from '../bridge/api.js';
import { on, onReconnect } from '../bridge/events.js';

/**
 * @typedef {{name: string, path: string}} Root
 * @typedef {{path: string, directory: boolean}} OpenTarget
 */

/**
 * The settings file as the native side last told it.
 * @type {import('@preact/signals').Signal<Record<string, any>>}
 */
export const config = signal({});
export const version = signal('');
/**
 * The last snapshot as it came, for those who read another part of it.
 * @type {import('@preact/signals').Signal<Record<string, any>>}
 */
export const snapshot = signal({});

/**
 * The folders of the workspace, in the order they were added.
 * @type {import('@preact/signals').ReadonlySignal<Root[]>}
 */
export const roots = computed(() => (Array.isArray(config.value.roots) ? config.value.roots : []));

/** @type {Set<(targets: OpenTarget[]) => void>} */
const openListeners = new Set();
/** What came before anybody listened. @type {OpenTarget[]} */
let waiting = [];

/**
 * Reads the snapshot. The bridge hands waiting open requests to one caller only, so whoever calls
 * this gets them delivered here and cannot lose them.
 */
export async function loadSnapshot() {
  const state = await get('state');
  snapshot.value = state;
  applyConfig(state.config);
  version.value = state.version ?? '';
  deliver(state.pendingOpen);
  return state;
}

/** @param {unknown} next the "config" field of an answer; anything but an object changes nothing */
export function applyConfig(next) {
  if (next && typeof next === 'object' && !Array.isArray(next)) config.value = next;
}

/**
 * Calls `fn` with what is to be opened, also with what came before this call.
 * @param {(targets: OpenTarget[]) => void} fn
 */
export function onOpenTargets(fn) {
  openListeners.add(fn);
  const held = waiting;
  waiting = [];
  if (held.length) fn(held);
  return () => void openListeners.delete(fn);
}

/**
 * @param {string} path absolute path of a folder
 * @returns {Promise<{name: string, alreadyOpen: boolean}>}
 */
export async function addRoot(path) {
  const answer = await call('workspace/add', { path });
  await loadSnapshot();
  return answer;
}

/** @param {string} name */
export async function removeRoot(name) {
  applyConfig((await call('workspace/remove', { name })).config);
}

/** @param {unknown} list */
function deliver(list) {
  if (!Array.isArray(list)) return;
  const targets = list.filter((target) => typeof target?.path === 'string');
  if (!targets.length) return;
  if (!openListeners.size) waiting.push(...targets);
  for (const fn of [...openListeners]) fn(targets);
}

on('open.request', async ({ targets, rootsChanged }) => {
  // A target in a new folder means nothing until that folder is known.
  if (rootsChanged) await loadSnapshot();
  deliver(targets);
});
onReconnect(loadSnapshot);
