// The native side's list of files, on which quick open and the search stand: how many it holds, whether it
// was cut, and whether it is being made anew.

import { computed, signal } from '@preact/signals';
import { call } from '../bridge/api.js';
import { on, onReconnect } from '../bridge/events.js';
import { HoleWatch } from './indexholes.js';
import { snapshot } from './settings.js';

/** The native side lists no more files than this. */
export const kIndexLimit = 200000;

/** @typedef {{files: number, truncated: boolean, seconds: number, scanning: boolean}} IndexStats */

/**
 * What was told since the last snapshot.
 * @type {import('@preact/signals').Signal<{from: unknown, stats: Partial<IndexStats>}>}
 */
const told = signal({ from: null, stats: {} });

/** Null until the native side has told of it, and where it has no index. */
export const indexStats = computed(() => {
  const base = snapshot.value.index;
  const later = told.value.from === base ? told.value.stats : {};
  return statsOf({ ...base, ...later });
});

/** How many files a scan has found so far; 0 when that is not known. */
export const scanFound = signal(0);

/** @type {Set<(scanned: boolean) => unknown>} */
const changeListeners = new Set();

/**
 * Calls `fn` when the list may hold other files than before.
 * @param {(scanned: boolean) => unknown} fn told whether all may be another, and not only single files
 */
export function onIndexChange(fn) {
  changeListeners.add(fn);
  return () => void changeListeners.delete(fn);
}

/** Makes the list anew, which also finds what the watcher missed. Resolves when the scan has begun. */
export async function reindex() {
  // Before the call: a small scan is done, and has said so, sooner than the answer is here.
  tell({ scanning: true });
  try {
    await call('reindex');
  } catch (error) {
    tell({ scanning: false });
    throw error;
  }
}

/**
 * @param {Record<string, unknown>} value
 * @returns {IndexStats | null}
 */
function statsOf({ files, truncated, seconds, scanning }) {
  if (typeof files !== 'number') return null;
  return {
    files,
    truncated: truncated === true,
    seconds: typeof seconds === 'number' ? seconds : 0,
    scanning: scanning === true,
  };
}

/** @param {Partial<IndexStats>} stats */
function tell(stats) {
  const from = snapshot.value.index;
  const before = told.value.from === from ? told.value.stats : {};
  told.value = { from, stats: { ...before, ...stats } };
}

/** @param {boolean} scanned */
function changed(scanned) {
  for (const fn of [...changeListeners]) fn(scanned);
}

on('index.progress', ({ phase, done, stats }) => {
  if (phase === 'done') {
    scanFound.value = 0;
    tell({ scanning: false, ...stats });
    changed(true);
  } else {
    scanFound.value = Number(done) || 0;
    tell({ scanning: true });
  }
});
on('fs.changed', () => changed(false));
const holes = new HoleWatch(reindex);
on('fs.changed', (event) => holes.look(event));
onReconnect(() => changed(true));
