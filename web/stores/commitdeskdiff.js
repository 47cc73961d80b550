// What a commit would hold, for reading: git's patch of everything that is staged, or of all changes, taken
// apart into files.

import { textHash } from './encoding.js';
import { bytesOf, parseDiff, readable } from './hunks.js';
import { readPatch } from './hunksapply.js';

/**
 * @typedef {import('./gitstatus.js').Repo} Repo
 * @typedef {import('./hunks.js').FileDiff} FileDiff
 *
 * @typedef {object} DeskFile
 * @property {string} path in the repository
 * @property {string} old the path before a rename, else ""
 * @property {string} kind a word: "modified"
 * @property {FileDiff} diff
 * @property {number} added lines
 * @property {number} removed
 *
 * @typedef {object} DeskDiff
 * @property {DeskFile[]} files
 * @property {string} mark tells one change from another
 * @property {boolean} cut it is too large to be shown here
 */

/**
 * @param {Repo} repo
 * @param {boolean} everything all changes of files that git knows, not only what is staged
 * @returns {Promise<DeskDiff>}
 */
export async function readDesk(repo, everything) {
  const patch = await readPatch(repo, ['-M', everything ? 'HEAD' : '--cached'], `Read the changes of ${repo.name}`);
  if (patch === null) return { files: [], mark: '', cut: true };
  return { files: filesIn(patch), mark: textHash(patch), cut: false };
}

/**
 * @param {string} patch of several files, bytes as characters
 * @returns {DeskFile[]}
 */
export function filesIn(patch) {
  // A line of a text always has a sign before it.
  return patch
    .split(/^(?=diff --git )/m)
    .map(fileOf)
    .filter((file) => file !== null);
}

/**
 * @param {string} patch of one file
 * @returns {DeskFile | null}
 */
function fileOf(patch) {
  const diff = parseDiff(patch);
  if (!diff) return null;
  const head = patch.split(/^@@ /m, 1)[0];
  const renamedFrom = /^(?:rename|copy) from (.*)$/m.exec(head)?.[1] ?? '';
  const named = /^(?:rename|copy) to (.*)$/m.exec(head)?.[1];
  const path = named === undefined ? pathOf(diff) : nameOf(named);
  const lines = diff.hunks.flat();
  return {
    path,
    old: renamedFrom && nameOf(renamedFrom),
    kind: kindOf(diff, renamedFrom !== ''),
    diff,
    added: lines.filter(({ kind }) => kind === '+').length,
    removed: lines.filter(({ kind }) => kind === '-').length,
  };
}

/** @param {FileDiff} diff */
function pathOf({ git, from, to }) {
  const side = to && to !== '/dev/null' ? to : from;
  if (side) return nameOf(side).replace(/^[ab]\//, '');
  // Without lines only the first line tells the name, twice.
  const both = git.slice('diff --git '.length);
  if (both.startsWith('"')) return nameOf(/^"(?:[^"\\]|\\.)*"/.exec(both)?.[0] ?? '').replace(/^a\//, '');
  return nameOf(both.slice(0, (both.length - 1) / 2)).replace(/^a\//, '');
}

const kEscapes = /** @type {Record<string, string>} */ ({ n: '\n', t: '\t', r: '\r', a: '\x07', b: '\b', f: '\f', v: '\v' });

/**
 * A name as git writes it in a patch: quoted when it holds what would end it, with a tab behind blanks.
 * @param {string} name
 */
export function nameOf(name) {
  const bare = name.replace(/\t$/, '');
  if (!bare.startsWith('"')) return readable(bare);
  const bytes = bare
    .slice(1, -1)
    .replace(/\\([0-7]{3}|.)/g, (_, code) =>
      /^[0-7]{3}$/.test(code) ? String.fromCharCode(parseInt(code, 8)) : (kEscapes[code] ?? code),
    );
  return new TextDecoder().decode(bytesOf(bytes));
}

/**
 * @param {FileDiff} diff
 * @param {boolean} renamed
 */
function kindOf({ created, deleted }, renamed) {
  if (created) return 'added';
  if (deleted) return 'deleted';
  return renamed ? 'renamed' : 'modified';
}
