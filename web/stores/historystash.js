// The stashes of a repository: what git tells of them, and the commands that act on one of them.

import { gitLine } from './gitexec.js';
import { commandLine, quoted } from './shellquote.js';

/** @typedef {{index: number, hash: string, time: number, words: string}} Stash */

/** Lists stashes for readStashes(). */
export const LIST_STASHES = ['stash', 'list', '--format=%H%x1f%ct%x1f%gs'];

/**
 * @param {string} out
 * @returns {Stash[]} the latest first, which is the order of their numbers
 */
export function readStashes(out) {
  return out
    .split('\n')
    .filter(Boolean)
    .map((line, index) => {
      const [hash = '', time = '', ...words] = line.split('\x1f');
      return { index, hash, time: Number(time) || 0, words: words.join('\x1f') };
    });
}

/**
 * A line that takes a stash by its number only if that is still the number of the same one: the list may have
 * become another since it was read.
 * @param {{root: string}} repo
 * @param {'pop' | 'drop'} action
 * @param {Stash} stash
 */
export function stashLine(repo, action, { index, hash }) {
  const name = `stash@{${index}}`;
  const now = `$(${gitLine(repo, ['rev-parse', '-q', '--verify', name])})`;
  const other = commandLine('echo', 'the list of stashes has changed meanwhile');
  return `if test "${now}" = ${quoted(hash)}; then ${gitLine(repo, ['stash', action, name])}; else ${other} >&2; exit 3; fi`;
}

/**
 * The command that puts changes away. The editor keeps what is not saved in a folder of its own, which must stay
 * where it is.
 * @param {{message: string, untracked: boolean, keepStaged: boolean}} how
 * @returns {string[]}
 */
export function stashWords({ message, untracked, keepStaged }) {
  return [
    'stash',
    'push',
    ...(keepStaged ? ['--keep-index'] : []),
    ...(message ? [`--message=${message}`] : []),
    ...(untracked ? ['--include-untracked', '--', ':(top)', ':(top,exclude,glob)**/.marlin/**'] : []),
  ];
}
