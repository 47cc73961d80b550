// A file in conflict as git has it: which versions there are, and the ways to end the conflict as a whole.

import { call } from '../bridge/api.js';
import { stagesIn } from './conflict.js';
import { readSides, refreshGit } from './git.js';
import { known } from './gitactions.js';
import { commandLine } from './shellquote.js';

/**
 * @typedef {import('./gitstatus.js').Repo} Repo
 * @typedef {{repo: Repo, path: string}} File
 *
 * `gone` tells the side that deleted the file, `whole` is a file that has no lines to choose among.
 * @typedef {object} Sides
 * @property {'none' | 'text' | 'whole' | 'gone'} kind "none" is no conflict any more
 * @property {'' | 'ours' | 'theirs' | 'both'} gone
 * @property {string} ours texts with "\n" ends
 * @property {string | null} base null when the file is new on both sides
 * @property {string} theirs
 */

/**
 * @param {File} file
 * @returns {Promise<Sides>}
 */
export async function readConflict(file) {
  const { repo, path } = file;
  const listed = await git(repo, ['ls-files', '-u', '-z', '--', path], `List the versions of ${path}`);
  const { stages, modes } = stagesIn(listed);
  const [base, ours, theirs] = await Promise.all([1, 2, 3].map((stage) => (stages.has(stage) ? sideOf(file, stage) : null)));
  return { kind: kindOf(stages, modes, [base, ours, theirs]), gone: goneOf(stages), ours: ours ?? '', base, theirs: theirs ?? '' };
}

/**
 * @param {File} file
 * @param {number} stage
 */
async function sideOf(file, stage) {
  return (await readSides(file, `:${stage}`)).original;
}

/** @param {Set<number>} stages @returns {Sides['gone']} */
function goneOf(stages) {
  if (stages.size === 0) return '';
  if (!stages.has(2)) return stages.has(3) ? 'ours' : 'both';
  return stages.has(3) ? '' : 'theirs';
}

/**
 * @param {Set<number>} stages
 * @param {Set<string>} modes
 * @param {(string | null)[]} texts
 * @returns {Sides['kind']}
 */
function kindOf(stages, modes, texts) {
  if (stages.size === 0) return 'none';
  if (goneOf(stages)) return 'gone';
  // Links and repositories in the repository have no lines of their own.
  const plain = [...modes].every((mode) => mode.startsWith('100'));
  return plain && !texts.some((text) => text?.includes('\0')) ? 'text' : 'whole';
}

/**
 * Takes one side's version of a whole file, and ends the conflict with it.
 * @param {File} file
 * @param {'ours' | 'theirs'} side
 */
export async function takeWhole({ repo, path }, side) {
  try {
    await git(repo, ['checkout', `--${side}`, '--', path], `Take ${side} of ${path}`);
    await git(repo, ['add', '--', path], `Stage ${path}`);
  } finally {
    await refreshGit();
  }
}

/**
 * @param {Repo} repo
 * @param {string[]} words
 * @param {string} job
 */
async function git(repo, words, job) {
  const { name, root } = known(repo);
  const command = commandLine('git', '--literal-pathspecs', '-C', root, ...words);
  const { exitCode, out, err } = await call('blueprint/exec', { command, root: name, timeout: 30 }, { job });
  if (exitCode !== 0) throw new Error(String(err).trim() || `git ended with code ${exitCode}`);
  return String(out);
}
