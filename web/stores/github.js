// GitHub as the user's gh tells it, by repository. Asking is slow and goes over the network: one repository
// after the other, by hand or when somebody looks again, and by itself at most once a minute.

import { batch, effect, signal } from '@preact/signals';
import { get } from '../bridge/api.js';
import { listOf, recordOf, textOf } from './chatwire.js';
import { gitState, repos } from './git.js';
import { issueOf, pullOf, runOf } from './githubitems.js';
import { active } from './windowstate.js';

/** After an answer nothing is asked by itself for so long. */
export const GITHUB_REST_MS = 60000;

/**
 * @typedef {import('./githubitems.js').Pull} Pull
 * @typedef {import('./githubitems.js').Issue} Issue
 * @typedef {import('./githubitems.js').Run} Run
 *
 * Whether gh can be asked. "unknown" until it was.
 * @typedef {'unknown' | 'missing' | 'signed out' | 'ready'} GithubState
 *
 * @typedef {object} Overview
 * @property {string} name of the root, which routes take
 * @property {string} nameWithOwner "" when it is no repository of GitHub
 * @property {Pull[]} pulls
 * @property {Issue[]} issues
 * @property {Run[]} runs
 * @property {string} error gh's words, or the bridge's
 */

export const githubState = signal(/** @type {GithubState} */ ('unknown'));
/** Why nothing can be asked, in the bridge's words. */
export const githubMessage = signal('');
export const account = signal('');
/** What was told, by the root's name. @type {import('@preact/signals').Signal<ReadonlyMap<string, Overview>>} */
export const overviews = signal(new Map());
/** Why the bridge gave no answer at all. */
export const githubFailure = signal('');
/** The name of the repository that is being read; "" for none. */
export const reading = signal('');
/** When the last answer came, in milliseconds; 0 for never. */
export const readAt = signal(0);

/** The repositories that git has told of: only these names mean what they say to the bridge. */
const names = () => repos.value.filter(({ isRepo }) => isRepo).map(({ name }) => name);

/** @type {Promise<void> | null} */
let running = null;

/** Reads everything anew. Who asks meanwhile gets the answers under way. */
export function refreshGithub() {
  running ??= readAll().finally(() => {
    running = null;
    reading.value = '';
    readAt.value = Date.now();
  });
  return running;
}

async function readAll() {
  githubFailure.value = '';
  try {
    const wanted = names();
    // Without a repository there is still something to say of gh.
    if (wanted.length === 0) takeState(await get('github/status'));
    for (const name of wanted) {
      reading.value = name;
      if (!(await readOne(name))) break;
    }
    dropOthers();
  } catch (error) {
    githubFailure.value = error instanceof Error ? error.message : String(error);
  }
}

/**
 * @param {string} name
 * @returns {Promise<boolean>} whether it makes sense to ask on
 */
async function readOne(name) {
  const answer = recordOf(await get('github/overview', { repo: name }, { job: `Read GitHub for ${name}` }));
  batch(() => {
    takeState(answer);
    const row = listOf(answer.repos).map(overviewOf).find((one) => one.name === name);
    if (row) overviews.value = new Map(overviews.value).set(name, row);
  });
  return githubState.value === 'ready';
}

/** @param {Record<string, unknown>} answer */
function takeState({ installed, authenticated, message, account: who }) {
  const signedIn = authenticated === true ? 'ready' : 'signed out';
  githubState.value = installed === true ? signedIn : 'missing';
  githubMessage.value = textOf(message);
  account.value = textOf(who);
}

/**
 * @param {unknown} raw
 * @returns {Overview}
 */
function overviewOf(raw) {
  const row = recordOf(raw);
  return {
    name: textOf(row.name),
    nameWithOwner: textOf(row.nameWithOwner),
    pulls: listOf(row.pulls).map(pullOf),
    issues: listOf(row.issues).map(issueOf),
    runs: listOf(row.runs).map(runOf),
    error: textOf(row.error),
  };
}

/** Forgets repositories that are gone. */
function dropOthers() {
  const there = new Set(names());
  const kept = [...overviews.value].filter(([name]) => there.has(name));
  if (kept.length < overviews.value.size) overviews.value = new Map(kept);
}

let watchers = 0;
/** @type {() => void} */
let stopWatching = () => {};

/**
 * Keeps the answers fresh while somebody looks at them: when they begin to, when the window gets the focus,
 * and when there are other repositories. The result ends that.
 */
export function watchGithub() {
  if (watchers++ === 0) stopWatching = effect(lookAgain);
  return () => {
    if (--watchers === 0) stopWatching();
  };
}

/** The repositories that were there when something was asked last. */
let askedFor = '';

function lookAgain() {
  const now = names();
  if (gitState.value === 'unknown' || !active.value) return;
  const list = now.join('\n');
  const rested = Date.now() - readAt.peek() >= GITHUB_REST_MS;
  const unread = list !== askedFor && now.some((name) => !overviews.peek().has(name));
  if (!rested && !unread) return;
  askedFor = list;
  // What runs may have begun without the repositories that are new.
  queueMicrotask(() => void (running ?? Promise.resolve()).then(refreshGithub));
}
