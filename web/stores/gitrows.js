// The rows of the source control panel: repositories, their groups, and the changes in them.

import { baseName, parentOf } from './paths.js';
import { groupsOf } from './gitstatus.js';

/**
 * A row of a tree (stores/tree.js) with what it stands for. Its path is a key, made so that the key of the
 * row above it in the tree is what stands before its last slash.
 * @typedef {import('./tree.js').Row & {repo: import('./gitstatus.js').Repo, group?: import('./gitstatus.js').Group,
 *   change?: import('./gitstatus.js').Change, folder: string}} GitRow
 */

/**
 * @param {string} name of a root
 * @param {string} [group]
 * @param {string} [path]
 */
export function rowKey(name, group, path) {
  return [name, group, path]
    .filter((part) => part !== undefined)
    .map((part) => encodeURIComponent(/** @type {string} */ (part)))
    .join('/');
}

/**
 * @param {readonly import('./gitstatus.js').Repo[]} repos
 * @param {ReadonlySet<string>} collapsed keys
 * @returns {GitRow[]}
 */
export function gitRows(repos, collapsed) {
  return repos.flatMap((repo, at) => {
    const key = rowKey(repo.name);
    const expanded = !collapsed.has(key);
    const place = { depth: 0, position: at + 1, siblings: repos.length };
    const top = { ...row(key, repo.name, true, expanded), ...place, repo, folder: '' };
    return expanded ? [top, ...groupRows(repo, collapsed)] : [top];
  });
}

/**
 * @param {import('./gitstatus.js').Repo} repo
 * @param {ReadonlySet<string>} collapsed
 * @returns {GitRow[]}
 */
function groupRows(repo, collapsed) {
  const groups = groupsOf(repo);
  return groups.flatMap((group, at) => {
    const key = rowKey(repo.name, group.id);
    const expanded = !collapsed.has(key);
    const place = { depth: 1, position: at + 1, siblings: groups.length };
    const top = { ...row(key, group.title, true, expanded), ...place, repo, group, folder: '' };
    return expanded ? [top, ...changeRows(repo, group)] : [top];
  });
}

/**
 * @param {import('./gitstatus.js').Repo} repo
 * @param {import('./gitstatus.js').Group} group
 * @returns {GitRow[]}
 */
function changeRows(repo, group) {
  return group.changes.map((change, at) => ({
    // A nested repository that git does not look into is listed with a slash at its end.
    ...row(rowKey(repo.name, group.id, change.path), baseName(change.path.replace(/\/$/, '')), false, false),
    depth: 2,
    position: at + 1,
    siblings: group.changes.length,
    repo,
    group,
    change,
    folder: parentOf(change.path.replace(/\/$/, '')),
  }));
}

/**
 * @param {string} path
 * @param {string} name
 * @param {boolean} directory
 * @param {boolean} expanded
 */
function row(path, name, directory, expanded) {
  return { kind: /** @type {const} */ ('entry'), path, name, directory, expanded };
}
