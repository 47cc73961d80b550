// The repositories of the workspace as git last told them, kept current by what changes on disk.

import { computed, effect, signal } from '@preact/signals';
import { BridgeError, get } from '../bridge/api.js';
import { on, onReconnect } from '../bridge/events.js';
import { plainText } from './changes.js';
import { refresher } from './gitrefresh.js';
import { readStatus, repoOf, rootsWithout, shownRepos, treeMarks } from './gitstatus.js';
import { roots, version } from './settings.js';
import { active } from './windowstate.js';

/** @typedef {import('./gitstatus.js').Repo} Repo */
/** @typedef {{paths?: unknown, count?: unknown}} DiskEvent */

/** @type {import('@preact/signals').Signal<Repo[]>} */
const told = signal([]);

export const repos = computed(() => shownRepos(told.value, roots.value));
/** Whether git was asked yet, and was found. */
export const gitState = signal(/** @type {'unknown' | 'missing' | 'ready'} */ ('unknown'));
/** Why the last request failed; the repositories are then those of the one before. */
export const gitFailure = signal('');
/** Counts the moments at which a commit or the index may have become another. */
export const gitEpoch = signal(0);
/** The folders there were when git was asked first. */
const rootsAtStart = signal(/** @type {Set<string> | null} */ (null));

export const marks = computed(() => treeMarks(repos.value, roots.value));

/** How many views show line counts, which cost git two more runs. */
let countsWanted = 0;
let countsKnown = false;
/** Counts the answers of actions: a status that was asked for before one of them may be older. */
let answered = 0;

const refresh = refresher(readRepos);

async function readRepos() {
  const stats = countsWanted > 0;
  const before = answered;
  try {
    const status = readStatus(await get('git/status', stats ? { stats: '1' } : {}));
    if (before !== answered) return refresh.soon();
    told.value = status.repos;
    gitState.value = status.available ? 'ready' : 'missing';
    gitFailure.value = '';
    countsKnown = stats;
    if (version.value) rootsAtStart.value ??= new Set(roots.value.map(({ name }) => name));
  } catch (error) {
    gitFailure.value = error instanceof Error ? error.message : String(error);
  }
}

/**
 * Git looks for repositories once, when the program starts, so a folder that was added since has none yet.
 */
export const lateRoots = computed(() => {
  const known = rootsAtStart.value;
  if (!known) return [];
  return rootsWithout(told.value, roots.value)
    .map(({ name }) => name)
    .filter((name) => !known.has(name));
});

/** Asks git for everything anew. */
export function refreshGit() {
  gitEpoch.value++;
  return refresh.now();
}

/**
 * Takes the status of one repository, as an action answers with it. It has no line counts.
 * @param {unknown} status
 */
export function takeStatus(status) {
  const [fresh] = readStatus({ repos: [status] }).repos;
  if (fresh) told.value = told.value.map((repo) => (repo.name === fresh.name ? fresh : repo));
  answered++;
  gitEpoch.value++;
  countsKnown = false;
  if (!fresh || countsWanted > 0) refresh.soon();
}

/** Keeps line counts in the answers until the result is called. */
export function wantCounts() {
  countsWanted++;
  if (!countsKnown) refresh.soon();
  return () => void countsWanted--;
}

/** @param {DiskEvent} event */
function diskChanged({ paths, count }) {
  const list = Array.isArray(paths) ? paths.map(String) : [];
  const cut = typeof count === 'number' && count > list.length;
  if (cut || list.some(isGitPath)) gitEpoch.value++;
  if (cut || list.some((path) => !isOwnPath(path))) refresh.soon();
}

/** @param {string} path */
const isGitPath = (path) => /(?:^|\/)\.git(?:\/|$)/.test(path);

/** The editor's own backups change with every key. @param {string} path */
const isOwnPath = (path) => /(?:^|\/)\.marlin(?:\/|$)/.test(path);

export function startGit() {
  on('fs.changed', diskChanged);
  onReconnect(() => void refreshGit());
  let first = true;
  let names = '';
  effect(() => {
    const now = roots.value.map(({ name, path }) => `${name}\0${path}`).join('\n');
    if (now === names) return;
    names = now;
    refresh.soon();
  });
  // The watcher sees the workspace only, and a repository may begin above it.
  effect(() => {
    if (!active.value) {
      first = false;
      return;
    }
    if (first) return;
    queueMicrotask(() => gitEpoch.value++);
    refresh.soon();
  });
}

/**
 * The repository of an open file, if any.
 * @param {string} id workspace path, or an absolute one beside the workspace
 */
export function repoFor(id) {
  return repoOf(repos.value, roots.value, id);
}

/**
 * A file as a commit or the index has it, ":0" being the index.
 * @param {{repo: Repo, path: string}} file
 * @param {string} rev
 * @returns {Promise<{original: string, modified: string}>} texts with "\n" ends; `modified` is the file on disk
 */
export async function readSides({ repo, path }, rev) {
  try {
    const { original, modified } = await get('git/diff', { path, rev, repo: repo.name });
    return { original: plainText(String(original)), modified: plainText(String(modified)) };
  } catch (error) {
    // Before the first commit everything is new.
    const none = error instanceof BridgeError && error.words.includes("invalid object name 'HEAD'");
    if (!none || rev !== 'HEAD') throw error;
    return { ...(await readSides({ repo, path }, ':0')), original: '' };
  }
}
