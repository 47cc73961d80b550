// What is asked of git: each action ends with the repository's new status in the panel, a failed one with
// git's own words.

import { signal } from '@preact/signals';
import { BridgeError, call, get } from '../bridge/api.js';
import { refreshGit, repos, takeStatus } from './git.js';

/** @typedef {import('./gitstatus.js').Repo} Repo */

/** What is under way in each repository, by its name, as words. @type {import('@preact/signals').Signal<ReadonlyMap<string, string>>} */
export const busy = signal(new Map());

/** Paths travel in one command line, which the system takes up to 128 KiB. */
export const MAX_PATH_BYTES = 100_000;

const encoder = new TextEncoder();

/**
 * The repository as git told it last. The bridge takes a name that it does not know for that of the first
 * repository, so no other name may go out.
 * @param {Repo} repo
 */
export function known({ name, root }) {
  const found = repos.value.find((one) => one.name === name && one.root === root && one.isRepo);
  if (!found) throw new Error(`${name} is not among the repositories any more`);
  return found;
}

/**
 * @param {Repo} repo
 * @param {string} words what is done, as the panel and the tray say it: "Push"
 * @param {() => Promise<any>} work
 */
export async function during({ name }, words, work) {
  busy.value = new Map(busy.value).set(name, words);
  try {
    return await work();
  } finally {
    const rest = new Map(busy.value);
    if (rest.get(name) === words) rest.delete(name);
    busy.value = rest;
  }
}

/**
 * @param {Repo} repo
 * @param {string} action the last part of its route
 * @param {Record<string, unknown>} fields
 * @param {string} words what is done
 * @returns {Promise<string>} what git said
 */
async function act(repo, action, fields, words) {
  const { name } = known(repo);
  const job = `${words} in ${name}`;
  try {
    const answer = await during(repo, words, () => call(`git/${action}`, { repo: name, ...fields }, { job }));
    takeStatus(answer?.status);
    return String(answer?.output ?? '');
  } catch (error) {
    // Nothing is rolled back: a merge that failed has left its conflicts.
    void refreshGit();
    throw error;
  }
}

/**
 * Splits paths into lists that fit into one command line.
 * @param {string[]} paths
 * @returns {string[][]}
 */
export function portions(paths) {
  /** @type {string[][]} */
  const lists = [];
  let room = 0;
  for (const path of paths) {
    // Quoted by the shell's rules, where each apostrophe becomes four letters.
    const bytes = encoder.encode(path).length + 3 * (path.split("'").length - 1) + 3;
    if (lists.length === 0 || bytes > room) {
      lists.push([]);
      room = MAX_PATH_BYTES;
    }
    /** @type {string[]} */ (lists.at(-1)).push(path);
    room -= bytes;
  }
  return lists;
}

/**
 * @param {'stage' | 'unstage' | 'discard'} action
 * @param {string} words
 */
const forPaths = (action, words) => async (/** @type {Repo} */ repo, /** @type {string[]} */ paths) => {
  for (const list of portions(paths)) await act(repo, action, { paths: list }, words);
};

export const stage = forPaths('stage', 'Stage');
export const unstage = forPaths('unstage', 'Unstage');
/** Gives files back what is staged, or last committed; it does nothing for files that git does not know. */
export const discard = forPaths('discard', 'Discard');

/**
 * @param {Repo} repo
 * @param {{message: string, amend: boolean, stageAll: boolean}} what
 */
export const commit = (repo, what) => act(repo, 'commit', what, 'Commit');

/**
 * @param {Repo} repo
 * @param {{setUpstream: boolean}} how
 */
export const push = (repo, how) => act(repo, 'push', how, 'Push');

/** @param {Repo} repo */
export const pull = (repo) => act(repo, 'pull', {}, 'Pull');

/** @param {Repo} repo */
export const fetchAll = (repo) => act(repo, 'fetch', {}, 'Fetch');

/**
 * @param {Repo} repo
 * @param {string} branch
 */
export const merge = (repo, branch) => act(repo, 'merge', { branch }, `Merge ${branch}`);

/**
 * @param {Repo} repo
 * @param {string} branch
 * @param {boolean} create
 */
export const checkout = (repo, branch, create) =>
  act(repo, 'checkout', { branch, create }, create ? `Create ${branch}` : `Switch to ${branch}`);

/**
 * Whether a push failed because the branch follows none yet.
 * @param {unknown} error
 */
export const lacksUpstream = (error) =>
  error instanceof BridgeError && /has no upstream branch/.test(error.words);

/**
 * @param {Repo} repo
 * @returns {Promise<{local: string[], remote: string[]}>}
 */
export async function branches(repo) {
  const { name } = known(repo);
  const [own, all] = await Promise.all([
    get('git/branches', { repo: name }),
    get('git/branches', { repo: name, remote: '1' }),
  ]);
  return sortBranches(names(own), names(all));
}

/** @param {any} answer */
const names = (answer) =>
  (Array.isArray(answer?.branches) ? answer.branches : []).filter((/** @type {unknown} */ one) => typeof one === 'string');

/**
 * A head that is on no branch is told in parentheses, and what a remote's head points to under the
 * remote's bare name.
 * @param {string[]} own
 * @param {string[]} all
 */
export function sortBranches(own, all) {
  const local = own.filter((name) => !name.startsWith('('));
  const mine = new Set(own);
  const remote = all.filter(
    (name) => !mine.has(name) && !name.startsWith('(') && name.includes('/') && !name.endsWith('/HEAD'),
  );
  return { local, remote };
}

/**
 * The branch that git makes to follow a remote's when it is switched to: switching to the remote's own
 * would leave every branch.
 * @param {string} remote "origin/topic"
 */
export const followerOf = (remote) => remote.slice(remote.indexOf('/') + 1);

/**
 * The names of all files in conflict. The status cuts those with blanks.
 * @param {Repo} repo
 * @returns {Promise<string[]>}
 */
export async function conflictNames(repo) {
  const out = await runGit(repo, 'git diff --name-only --diff-filter=U -z', 'List conflicts');
  return [...new Set(out.split('\0').filter(Boolean))];
}

/**
 * The files that a conflict of the status may stand for.
 * @param {string[]} whole
 * @param {string} told
 */
export function conflictsLike(whole, told) {
  return whole.filter((name) => [name, inStatus(name)].some((one) => one === told || one.endsWith(` ${told}`)));
}

/**
 * A name as git's status writes it: quoted when it holds a quote or what cannot be seen.
 * @param {string} name
 */
function inStatus(name) {
  if (!/["\\\x00-\x1f\x7f]/.test(name)) return name;
  const named = /** @type {Record<string, string>} */ ({ '"': '\\"', '\\': '\\\\', '\n': '\\n', '\t': '\\t', '\r': '\\r' });
  const octal = (/** @type {string} */ sign) => `\\${sign.charCodeAt(0).toString(8).padStart(3, '0')}`;
  return `"${name.replace(/["\\\x00-\x1f\x7f]/g, (sign) => named[sign] ?? octal(sign))}"`;
}

/**
 * The message of the last commit, without blank lines at its end.
 * @param {Repo} repo
 */
export async function lastMessage(repo) {
  return (await runGit(repo, 'git log -1 --format=%B', 'Read the last message')).trimEnd();
}

/**
 * @param {Repo} repo
 * @param {string} command
 * @param {string} words
 * @returns {Promise<string>}
 */
async function runGit(repo, command, words) {
  const { name } = known(repo);
  const body = { command, root: name, timeout: 30 };
  const { exitCode, out, err } = await call('blueprint/exec', body, { job: `${words} in ${name}` });
  if (exitCode !== 0) throw new Error(String(err).trim() || `git ended with code ${exitCode}`);
  return String(out);
}
