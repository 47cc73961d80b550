// One commit with its message and its files, and what it did to one of them.

import { get } from '../bridge/api.js';
import { plainText } from './changes.js';

/**
 * @typedef {object} CommitFile
 * @property {string} path
 * @property {string} oldPath "" unless it was renamed or copied
 * @property {string} status git's letter
 * @property {number} additions -1 for a binary file
 * @property {number} deletions
 *
 * @typedef {object} CommitDetail
 * @property {string} hash
 * @property {string[]} parents
 * @property {string} author
 * @property {string} email
 * @property {number} time seconds since the epoch
 * @property {string} committer
 * @property {string} message
 * @property {CommitFile[]} files against the first parent
 */

/** Commits do not change, so the last ones that were looked at are kept. @type {Map<string, CommitDetail>} */
const kept = new Map();
const kKept = 40;

/**
 * @param {string} repo name
 * @param {string} hash
 * @param {AbortSignal} [signal]
 * @returns {Promise<CommitDetail>}
 */
export async function readDetail(repo, hash, signal) {
  const key = `${repo} ${hash}`;
  const there = kept.get(key);
  if (there) return there;
  const detail = detailOf(await get('git/commit-detail', { repo, hash }, { signal }));
  kept.set(key, detail);
  if (kept.size > kKept) kept.delete(/** @type {string} */ (kept.keys().next().value));
  return detail;
}

/** @param {any} answer @returns {CommitDetail} */
function detailOf({ hash, parents, author, email, time, committer, message, files }) {
  return {
    hash: String(hash),
    parents: Array.isArray(parents) ? parents.map(String) : [],
    author: String(author ?? ''),
    email: String(email ?? ''),
    time: Number(time) || 0,
    committer: String(committer ?? ''),
    message: String(message ?? ''),
    files: (Array.isArray(files) ? files : []).filter((one) => typeof one?.path === 'string').map(fileOf),
  };
}

/** @param {any} one @returns {CommitFile} */
const fileOf = ({ path, oldPath, status, additions, deletions }) => ({
  path,
  oldPath: String(oldPath ?? ''),
  status: String(status ?? ''),
  additions: Number(additions ?? -1),
  deletions: Number(deletions ?? -1),
});

/**
 * A file before and after a commit.
 * @param {{repo: import('./gitstatus.js').Repo, path: string}} file
 * @param {import('./gitdiffs.js').InCommit} commit
 * @returns {Promise<{left: string, right: string}>}
 */
export async function readCommitSides({ repo, path }, { hash, parent, old }) {
  const answer = await get('git/commit-diff', { repo: repo.name, hash, parent, path, old });
  return { left: plainText(String(answer.original)), right: plainText(String(answer.modified)) };
}

/** @type {Record<string, string>} */
const kStatus = {
  A: 'added',
  M: 'modified',
  D: 'deleted',
  R: 'renamed',
  C: 'copied',
  T: 'type changed',
};

/** @param {string} letter */
export const statusWords = (letter) => kStatus[letter] ?? 'changed';

/**
 * A renamed path with what differs in braces: "src/{old => new}/name".
 * @param {string} from
 * @param {string} to
 */
export function renameWords(from, to) {
  const a = from.split('/');
  const b = to.split('/');
  let head = 0;
  while (head < Math.min(a.length, b.length) - 1 && a[head] === b[head]) head++;
  let tail = 0;
  while (tail < Math.min(a.length, b.length) - head && a.at(-1 - tail) === b.at(-1 - tail)) tail++;
  if (head === 0 && tail === 0) return `${from} => ${to}`;
  const middle = [a, b].map((parts) => parts.slice(head, parts.length - tail).join('/'));
  const braces = `{${middle[0]} => ${middle[1]}}`;
  return [...b.slice(0, head), braces, ...b.slice(b.length - tail, b.length)].filter(Boolean).join('/');
}
