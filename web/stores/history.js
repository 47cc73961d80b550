// The commits of one file, as the history panel shows them.

import { batch, effect, signal, untracked } from '@preact/signals';
import { gitEpoch, repoFor, repos } from './git.js';
import { refresher } from './gitrefresh.js';
import { readPathLog } from './graph.js';
import { readDetail } from './historydetail.js';

/**
 * @typedef {import('./gitstatus.js').Repo} Repo
 * @typedef {import('./graph.js').LogCommit} LogCommit
 * @typedef {LogCommit & {path: string}} FileCommit `path` is the file's name in it
 * @typedef {{repo: string, path: string}} Subject by the repository's name
 */

/** How many commits are read at first, and when more are wanted. */
export const FIRST_COMMITS = 200;
export const MORE_COMMITS = 2000;

/** @type {import('@preact/signals').Signal<Subject | null>} */
export const subject = signal(null);
/** Whether the subject is the file in front. */
export const following = signal(true);
/** @type {import('@preact/signals').Signal<FileCommit[]>} */
export const fileCommits = signal([]);
/** The name that the file had before the oldest commit that is listed; "" for none. */
export const olderPath = signal('');
/** Whether there may be more commits than were read. */
export const moreCommits = signal(false);
export const historyFailure = signal('');
export const historyReading = signal(false);

const limit = signal(FIRST_COMMITS);
/** The names of the file that are followed, the latest first. @type {string[]} */
let names = [];

const reader = refresher(read);

/** @param {Subject | null} next */
export function showSubject(next) {
  const now = subject.value;
  if (now?.repo === next?.repo && now?.path === next?.path) return;
  names = next ? [next.path] : [];
  batch(() => {
    subject.value = next;
    fileCommits.value = [];
    olderPath.value = '';
    moreCommits.value = false;
    historyFailure.value = '';
    limit.value = FIRST_COMMITS;
  });
  if (next) void reader.now();
}

/**
 * Follows the file that a tab shows, while that is wanted.
 * @param {string} id
 */
export function followId(id) {
  const found = following.value ? repoFor(id) : null;
  if (found?.repo.isRepo) showSubject({ repo: found.repo.name, path: found.path });
}

/** Keeps the list current until the result is called. */
export function watchHistory() {
  let epoch = gitEpoch.peek();
  return effect(() => {
    if (gitEpoch.value === epoch) return;
    epoch = gitEpoch.value;
    untracked(() => subject.value && reader.soon());
  });
}

export function showMore() {
  limit.value = MORE_COMMITS;
  return reader.now();
}

/** Goes on with the name that the file had before. */
export function showOlderName() {
  if (olderPath.value) names = [...names, olderPath.value];
  return reader.now();
}

async function read() {
  const wanted = subject.value;
  const repo = wanted && repos.value.find(({ name, isRepo }) => isRepo && name === wanted.repo);
  if (!wanted || !repo) return;
  historyReading.value = true;
  try {
    const lists = await Promise.all(names.map((path) => readNamed(wanted.repo, path)));
    const commits = joined(lists);
    const older = await nameBefore(wanted.repo, commits.at(-1));
    if (subject.value !== wanted) return;
    batch(() => {
      fileCommits.value = commits;
      moreCommits.value = limit.value < MORE_COMMITS && lists.some((list) => list.length >= limit.value);
      olderPath.value = moreCommits.value || names.includes(older) ? '' : older;
      historyFailure.value = '';
    });
  } catch (error) {
    if (subject.value === wanted) historyFailure.value = error instanceof Error ? error.message : String(error);
  } finally {
    historyReading.value = false;
  }
}

/** @param {string} repo @param {string} path @returns {Promise<FileCommit[]>} */
async function readNamed(repo, path) {
  return (await readPathLog(repo, path, limit.value)).map((commit) => ({ ...commit, path }));
}

/**
 * The lists of the names of one file in a row. The commit that renames it is in two of them.
 * @param {FileCommit[][]} lists
 */
export function joined(lists) {
  const seen = new Set();
  return lists.flat().filter(({ hash }) => !seen.has(hash) && seen.add(hash));
}

/**
 * What a file was called before the first commit that has it by its name.
 * @param {string} repo
 * @param {FileCommit | undefined} oldest
 */
async function nameBefore(repo, oldest) {
  if (!oldest) return '';
  const { files } = await readDetail(repo, oldest.hash);
  return files.find(({ path, status }) => path === oldest.path && status === 'R')?.oldPath ?? '';
}
