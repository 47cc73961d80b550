// Asks git for worktrees that no task belongs to any more, and lands or removes them as the program does with its
// own tasks: every step is a command of its own, so that what went wrong is known before the next one.

import { computed, signal } from '@preact/signals';
import { call } from '../bridge/api.js';
import { textOf } from './chatwire.js';
import { taskRoots, tasks } from './dispatch.js';
import { firstAndRest } from './dispatchboard.js';
import { forgetTasks, remembered } from './dispatchmemory.js';
import { landingMessage, listLine, orphansIn, readListing, readNumstat } from './dispatchorphans.js';
import { isClosed } from './dispatchwire.js';
import { roots } from './settings.js';
import { commandLine } from './shellquote.js';

/**
 * @typedef {import('./dispatchorphans.js').Orphan} Orphan
 * @typedef {{exitCode: number, out: string, err: string}} Ran
 */

/** @type {import('@preact/signals').Signal<ReturnType<typeof readListing> | null>} */
const listing = signal(null);
/** What is under way for an orphan, by its folder. @type {import('@preact/signals').Signal<ReadonlyMap<string, string>>} */
export const rescueUnderWay = signal(new Map());

/** Worktrees of the program that no task of the list belongs to. */
export const orphans = computed(() =>
  listing.value
    ? orphansIn(
        listing.value,
        tasks.value.filter(({ status }) => !isClosed(status)),
        remembered.value,
      )
    : [],
);

/** @param {string} directory */
export const orphanAt = (directory) => orphans.value.find((one) => one.directory === directory);

/** Tasks of an earlier run whose worktree nobody has looked for yet. */
export const mayHaveOrphans = computed(() => {
  const listed = new Set(tasks.value.map(({ id }) => id));
  return remembered.value.some(({ id, branch }) => branch && !listed.has(id));
});

/** Bytes of a patch that are shown; the bridge keeps the end of longer outputs, and the beginning is wanted. */
export const PATCH_BYTES = 190000;

/**
 * @param {string} command
 * @param {string} job
 * @returns {Promise<Ran>}
 */
async function run(command, job) {
  const root = taskRoots.value[0]?.name;
  if (!root) throw new Error('no folder is open');
  const { exitCode, out, err } = await call('blueprint/exec', { command, root, timeout: 180 }, { job });
  return { exitCode: Number(exitCode), out: textOf(out), err: textOf(err) };
}

/**
 * @param {string} folder
 * @param {readonly string[]} words
 */
const gitLine = (folder, words) =>
  commandLine('git', '-c', 'core.quotepath=false', '-C', folder, ...words);

/** @param {Ran} ran */
const wordsOf = ({ err, out }) => firstAndRest(err.trim() || out).first;

/**
 * @param {string} folder
 * @param {readonly string[]} words
 * @param {string} job
 */
async function git(folder, words, job) {
  const ran = await run(gitLine(folder, words), job);
  if (ran.exitCode !== 0) throw new Error(wordsOf(ran) || `git ended with code ${ran.exitCode}`);
  return ran.out;
}

/** Looks for worktrees in all repositories of the workspace. */
export async function findOrphans() {
  const folders = roots.value
    .filter(({ name }) => taskRoots.value.some((root) => root.name === name && root.git))
    .map(({ path }) => path);
  if (!folders.length) {
    listing.value = null;
    return;
  }
  const { out } = await run(listLine(folders), 'Look for worktrees of earlier tasks');
  listing.value = readListing(out);
  forgetGone(folders);
}

/** Forgets tasks whose worktree somebody else has removed. @param {readonly string[]} folders that were looked at */
function forgetGone(folders) {
  const there = new Set([...tasks.value, ...orphans.value].map(({ id }) => id));
  const gone = remembered.value.filter(({ id, repoRoot }) => !there.has(id) && folders.includes(repoRoot));
  forgetTasks(gone.map(({ id }) => id));
}

/**
 * The commit that the work began at: where its branch left the one it came from.
 * @param {Orphan} orphan
 */
async function baseOf({ repoRoot, directory, baseBranch }) {
  const from = baseBranch && baseBranch !== 'HEAD' ? [baseBranch, 'HEAD'] : ['HEAD'];
  const head = (await git(directory, ['rev-parse', 'HEAD'], 'Read a worktree')).trim();
  for (const name of from) {
    const line = gitLine(repoRoot, ['merge-base', '--end-of-options', name, head]);
    const { exitCode, out } = await run(line, 'Read a worktree');
    if (exitCode === 0) return out.trim();
  }
  throw new Error('there is nothing to compare against');
}

/**
 * What a worktree holds, new files included; staging them there touches nothing else.
 * @param {Orphan} orphan
 * @returns {Promise<import('./dispatchwire.js').TaskDiff>}
 */
export async function diffOfOrphan(orphan) {
  const { directory } = orphan;
  const base = await baseOf(orphan);
  await git(directory, ['add', '-A'], 'Read a worktree');
  const counts = await git(directory, ['diff', '--numstat', '--cached', base], 'Read a worktree');
  const line = `{ ${gitLine(directory, ['diff', '--cached', base])} | head -c ${PATCH_BYTES}; }`;
  const { out } = await run(line, 'Read a worktree');
  const files = readNumstat(counts);
  return {
    files,
    added: files.reduce((sum, file) => sum + file.added, 0),
    removed: files.reduce((sum, file) => sum + file.removed, 0),
    fileCount: files.length,
    patch: out,
    cut: new TextEncoder().encode(out).length >= PATCH_BYTES,
  };
}

/**
 * @template T
 * @param {Orphan} orphan
 * @param {string} words
 * @param {() => Promise<T>} work
 */
async function during({ directory }, words, work) {
  rescueUnderWay.value = new Map(rescueUnderWay.value).set(directory, words);
  try {
    return await work();
  } finally {
    const rest = new Map(rescueUnderWay.value);
    rest.delete(directory);
    rescueUnderWay.value = rest;
    await findOrphans();
  }
}

/**
 * Commits what a worktree holds and merges its branch into what is checked out, as landing a task does. A merge
 * that does not go through is taken back. Throws with git's words.
 * @param {Orphan} orphan
 */
export function landOrphan(orphan) {
  const { repoRoot, directory, branch, title, id } = orphan;
  const job = `Land "${firstAndRest(title).first}"`;
  return during(orphan, 'Landing', async () => {
    if (!branch) throw new Error('the worktree is on no branch');
    if (await isMerging(repoRoot)) throw new Error('a merge is under way there: finish it first');
    await commitLeft(orphan, job);
    const merge = await run(gitLine(repoRoot, ['merge', '--no-ff', '--no-edit', branch]), job);
    if (merge.exitCode !== 0) {
      // Only a merge that has begun can be taken back, and a refused one has not.
      if (await isMerging(repoRoot)) await git(repoRoot, ['merge', '--abort'], job);
      const tried = 'the merge did not go through, and nothing was changed';
      throw new Error(`${tried}: ${wordsOf(merge)}. Commit or stash your own changes, then try again.`);
    }
    await git(repoRoot, ['worktree', 'remove', directory], job);
    await git(repoRoot, ['branch', '-d', branch], job);
    forgetTasks([id]);
  });
}

/** @param {Orphan} orphan @param {string} job */
async function commitLeft(orphan, job) {
  const { directory, title } = orphan;
  const base = await baseOf(orphan);
  await git(directory, ['add', '-A'], job);
  const all = await run(gitLine(directory, ['diff', '--cached', '--quiet', base]), job);
  if (all.exitCode === 0) throw new Error('this task changed nothing, so there is nothing to merge');
  const left = await run(gitLine(directory, ['diff', '--cached', '--quiet']), job);
  if (left.exitCode === 0) return;
  const commit = await run(gitLine(directory, ['commit', '-m', landingMessage(title)]), job);
  if (commit.exitCode !== 0) throw new Error(`could not commit the task's changes: ${wordsOf(commit)}`);
}

/** @param {string} folder */
async function isMerging(folder) {
  const line = gitLine(folder, ['rev-parse', '-q', '--verify', 'MERGE_HEAD']);
  return (await run(line, 'Look for a merge')).exitCode === 0;
}

/**
 * What would be lost with a worktree: files that are not committed, and commits that are on no other branch.
 * @param {Orphan} orphan
 */
export async function lossOf({ repoRoot, directory, branch, gone }) {
  const status = gone ? '' : await git(directory, ['status', '--porcelain'], 'Read a worktree');
  const files = status.split('\n').filter(Boolean);
  if (!branch) return { files, commits: 0 };
  const words = ['rev-list', '--count', `refs/heads/${branch}`, '--not', `--exclude=${branch}`, '--branches', '--remotes'];
  const { exitCode, out } = await run(gitLine(repoRoot, words), 'Read a worktree');
  return { files, commits: exitCode === 0 ? Number(out.trim()) || 0 : 0 };
}

/**
 * Removes a worktree and its branch, whose loss the user must have agreed to. Without `force` git refuses when
 * files are not committed.
 * @param {Orphan} orphan
 * @param {{force: boolean}} how
 */
export function removeOrphan(orphan, { force }) {
  const { repoRoot, directory, branch, id } = orphan;
  const job = `Remove the worktree ${id}`;
  return during(orphan, 'Removing', async () => {
    await git(repoRoot, ['worktree', 'remove', ...(force ? ['--force'] : []), directory], job);
    if (branch) await git(repoRoot, ['branch', '-D', branch], job);
    forgetTasks([id]);
  });
}
