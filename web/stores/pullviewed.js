// Which files of a pull request were looked at. The marks are of one head commit: what is pushed later has not
// been looked at.

import { signal } from '@preact/signals';
import { listOf, recordOf, textOf } from './chatwire.js';
import * as uistate from './uistate.js';

const kKey = 'pull.viewed';
/** Pull requests whose marks are kept, the latest last. */
const kMost = 50;

/** @typedef {{head: string, paths: string[]}} Viewed */

/** By the pull request's address. @type {import('@preact/signals').Signal<ReadonlyMap<string, Viewed>>} */
const viewed = signal(new Map());

export function loadViewed() {
  const kept = Object.entries(recordOf(uistate.get(kKey, {})));
  viewed.value = new Map(
    kept.map(([url, one]) => [
      url,
      { head: textOf(recordOf(one).head), paths: listOf(recordOf(one).paths).map(textOf).filter(Boolean) },
    ]),
  );
}

/** @typedef {{url: string, head: string}} PullHead */

/**
 * @param {PullHead} pull
 * @returns {readonly string[]} paths
 */
export function viewedOf({ url, head }) {
  const one = viewed.value.get(url);
  return one?.head === head ? one.paths : [];
}

/**
 * @param {PullHead} pull
 * @param {string} path
 * @param {boolean} seen
 */
export function setViewed({ url, head }, path, seen) {
  const others = viewedOf({ url, head }).filter((one) => one !== path);
  const next = new Map(viewed.value);
  next.delete(url); // to the end
  if (seen || others.length) next.set(url, { head, paths: seen ? [...others, path] : others });
  viewed.value = new Map([...next].slice(-kMost));
  uistate.set(kKey, Object.fromEntries(viewed.value));
}
