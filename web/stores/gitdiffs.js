// The comparisons that a tab can show: what stands left and right of each.

import { versionMoment } from './localversions.js';

/**
 * @typedef {'diff' | 'diff-staged' | 'diff-head' | `diff-with:${string}` | `diff-commit:${string}` | `diff-local:${string}`} DiffKind
 * @typedef {{hash: string, parent: string, old: string}} InCommit `parent` is "" for a first commit, `old` the path in it
 * @typedef {object} DiffRule
 * @property {string} left a revision as git's "show" takes it; ":0" is the index
 * @property {string} right a revision, or "" for the file as it is, which can be edited
 * @property {[string, string]} words what the sides are
 * @property {string} suffix behind the name of the file in its tab
 * @property {InCommit} [commit] whose change of the file is shown
 * @property {{left: number, right: number}} [local] versions by their times; `right` is 0 for the file as it is
 */

/** @type {Record<string, DiffRule>} */
const kDiffs = {
  diff: { left: ':0', right: '', words: ['Staged', 'Working tree'], suffix: ' (Working Tree)' },
  'diff-staged': { left: 'HEAD', right: ':0', words: ['Last commit', 'Staged'], suffix: ' (Staged)' },
  'diff-head': { left: 'HEAD', right: '', words: ['Last commit', 'Working tree'], suffix: ' (Last Commit)' },
};

const kWith = 'diff-with:';

/**
 * The comparison of a file as it is with what a branch has.
 * @param {string} branch
 * @returns {DiffKind}
 */
export const diffWith = (branch) => `diff-with:${branch}`;

const kInCommit = /^diff-commit:([0-9a-f]{7,40}):([0-9a-f]{7,40})?:([^]*)$/;

/**
 * What a commit did to a file.
 * @param {InCommit} commit
 * @returns {DiffKind}
 */
export const diffIn = ({ hash, parent, old }) => `diff-commit:${hash}:${parent}:${old}`;

const kLocal = /^diff-local:(\d{1,15})(?::(\d{1,15}))?$/;

/**
 * A local version with a later one, or with the file as it is.
 * @param {number} left its time
 * @param {number} [right]
 * @returns {DiffKind}
 */
export const diffLocal = (left, right) => `diff-local:${right === undefined ? left : `${left}:${right}`}`;

/** @param {string} rev */
const shown = (rev) => (/^[0-9a-f]{40}$/.test(rev) ? rev.slice(0, 7) : rev);

/**
 * @param {unknown} kind
 * @returns {kind is DiffKind}
 */
export function isDiff(kind) {
  if (typeof kind !== 'string') return false;
  return Object.hasOwn(kDiffs, kind) || (kind.startsWith(kWith) && kind !== kWith) || kInCommit.test(kind) || kLocal.test(kind);
}

/**
 * @param {DiffKind} kind
 * @returns {DiffRule}
 */
export function diffRule(kind) {
  const [, hash = '', parent = '', old = ''] = kInCommit.exec(kind) ?? [];
  if (hash) {
    const words = /** @type {[string, string]} */ ([parent ? shown(parent) : 'Nothing', shown(hash)]);
    return { left: parent, right: hash, words, suffix: ` (${shown(hash)})`, commit: { hash, parent, old } };
  }
  const [, older = '', newer = ''] = kLocal.exec(kind) ?? [];
  if (older) return localRule(Number(older), newer);
  if (!kind.startsWith(kWith)) return kDiffs[kind];
  const branch = kind.slice(kWith.length);
  return { left: branch, right: '', words: [shown(branch), 'Working tree'], suffix: ` (${shown(branch)})` };
}

/** @param {number} left @param {string} right @returns {DiffRule} */
function localRule(left, right) {
  const [older, newer] = [left, Number(right)].map(versionMoment);
  const words = /** @type {[string, string]} */ ([`Version of ${older}`, right ? `Version of ${newer}` : 'The file as it is']);
  return { left: String(left), right, words, suffix: ` (${right ? newer : older})`, local: { left, right: Number(right) } };
}

/**
 * The comparison that shows a change of a group best; a conflict is in no single version of the index.
 * @param {import('./gitstatus.js').GroupId} group
 * @returns {DiffKind | 'text'} "text" where there is nothing to compare with
 */
export function kindFor(group) {
  if (group === 'untracked') return 'text';
  if (group === 'conflicts') return 'diff-head';
  return group === 'staged' ? 'diff-staged' : 'diff';
}
