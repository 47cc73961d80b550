// One list of a file's commits and its local versions, by time.

import { signal } from '@preact/signals';
import { readGit } from './gitexec.js';
import { note } from './log.js';
import * as uistate from './uistate.js';

/**
 * @typedef {import('./history.js').FileCommit} FileCommit
 * @typedef {import('./localversions.js').Version} Version
 * @typedef {'commits' | 'versions'} Sort
 * @typedef {{key: string, commit: FileCommit, version?: undefined}
 *   | {key: string, version: Version, commit?: undefined}} Moment
 */

const kKey = 'history.hidden';

/** What the list leaves out. @type {import('@preact/signals').Signal<Sort | null>} */
export const hiddenSort = signal(null);

export function loadHiddenSort() {
  const kept = uistate.get(kKey, '');
  hiddenSort.value = kept === 'commits' || kept === 'versions' ? kept : null;
}

/** Leaves a sort out or takes it in; the list is never without both. @param {Sort} sort */
export function toggleSort(sort) {
  hiddenSort.value = hiddenSort.value === sort ? null : sort;
  uistate.set(kKey, hiddenSort.value ?? undefined);
}

/**
 * Commits stay in the order in which git tells them, whatever their times say. A version of the second of a commit
 * was there before it: a file is saved, then committed.
 * @param {readonly FileCommit[]} commits the latest first
 * @param {readonly Version[]} versions the oldest first
 * @param {ReadonlyMap<string, number>} times of commits, in seconds; versions stand above those without
 * @returns {Moment[]} the latest first
 */
export function timeline(commits, versions, times) {
  const left = [...versions];
  /** @type {Moment[]} */
  const moments = [];
  for (const commit of commits) {
    const until = ((times.get(commit.hash) ?? 0) + 1) * 1000;
    while ((left.at(-1)?.time ?? 0) >= until) moments.push(ofVersion(/** @type {Version} */ (left.pop())));
    moments.push({ key: commit.hash, commit });
  }
  return [...moments, ...left.reverse().map(ofVersion)];
}

/** @param {Version} version @returns {Moment} */
const ofVersion = (version) => ({ key: `v${version.time}`, version });

/**
 * When the commits were made, which their list tells in words only.
 * @param {import('./gitstatus.js').Repo} repo
 * @param {readonly FileCommit[]} commits
 * @returns {Promise<Map<string, number>>} seconds by hash; empty when git does not tell
 */
export async function readTimes(repo, commits) {
  const paths = [...new Set(commits.map(({ path }) => path))];
  const words = ['--literal-pathspecs', 'log', `--max-count=${commits.length}`, '--format=%H %ct', '--', ...paths];
  try {
    const out = await readGit(repo, words, 'Read the times of commits');
    return new Map(out.split('\n').filter(Boolean).map(timed));
  } catch (error) {
    note('warning', 'Could not read the times of commits', error);
    return new Map();
  }
}

/** @param {string} line @returns {[string, number]} */
function timed(line) {
  const [hash = '', seconds = ''] = line.split(' ');
  return [hash, Number(seconds) || 0];
}
