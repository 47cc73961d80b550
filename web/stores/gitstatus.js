// What git says of a repository, as the page shows it: groups of changes, letters and words, and where a
// path of a repository lies in the workspace. Nothing here asks the bridge.

import { isInside, parentOf, workspacePath } from './paths.js';

/**
 * @typedef {import('./paths.js').Root} Root
 *
 * One changed path as the bridge tells it. A count that is not there is unknown, or of a binary file.
 * @typedef {object} FileChange
 * @property {string} path relative to the repository
 * @property {string} index git's letter for the index
 * @property {string} work git's letter for the working tree
 * @property {boolean} staged
 * @property {boolean} unstaged
 * @property {boolean} untracked
 * @property {boolean} conflicted
 * @property {number} [stagedAdded]
 * @property {number} [stagedRemoved]
 * @property {number} [workAdded]
 * @property {number} [workRemoved]
 *
 * @typedef {object} Repo
 * @property {string} name of the root that it was found by, which routes take
 * @property {string} root absolute
 * @property {boolean} isRepo
 * @property {string} branch
 * @property {string} upstream
 * @property {number} ahead
 * @property {number} behind
 * @property {boolean} detached
 * @property {string} [error]
 * @property {FileChange[]} files
 *
 * @typedef {'conflicts' | 'staged' | 'changes' | 'untracked'} GroupId
 * @typedef {{path: string, letter: string, kind: string, added?: number, removed?: number}} Change
 * @typedef {{id: GroupId, title: string, changes: Change[], added: number, removed: number}} Group
 */

/** Git's letters with the letter that is shown and the word for it. @type {Record<string, [string, string]>} */
const kKinds = {
  M: ['M', 'modified'],
  A: ['A', 'added'],
  D: ['D', 'deleted'],
  R: ['R', 'renamed'],
  C: ['C', 'copied'],
  T: ['T', 'type changed'],
  U: ['!', 'conflict'],
  '?': ['U', 'untracked'],
};

/**
 * @typedef {object} GroupRule
 * @property {GroupId} id
 * @property {string} title
 * @property {(file: FileChange) => boolean} has
 * @property {(file: FileChange) => string} code git's letter
 * @property {'staged' | 'work'} counts which of its counts are meant
 */

/** @type {GroupRule[]} */
const kGroups = [
  { id: 'conflicts', title: 'Conflicts', has: (file) => file.conflicted, code: () => 'U', counts: 'work' },
  {
    id: 'staged',
    title: 'Staged Changes',
    has: (file) => file.staged && !file.conflicted,
    code: (file) => file.index,
    counts: 'staged',
  },
  {
    id: 'changes',
    title: 'Changes',
    has: (file) => file.unstaged && !file.untracked && !file.conflicted,
    code: (file) => file.work,
    counts: 'work',
  },
  { id: 'untracked', title: 'Untracked', has: (file) => file.untracked, code: () => '?', counts: 'work' },
];

/**
 * The groups of a repository that hold something; a file that is staged and changed again is in two.
 * @param {Repo} repo
 * @returns {Group[]}
 */
export function groupsOf(repo) {
  return kGroups
    .map((rule) => {
      const changes = repo.files.filter(rule.has).map((file) => changeOf(file, rule));
      const { id, title } = rule;
      return { id, title, changes, added: sum(changes, 'added'), removed: sum(changes, 'removed') };
    })
    .filter(({ changes }) => changes.length > 0);
}

/**
 * @param {FileChange} file
 * @param {GroupRule} rule
 * @returns {Change}
 */
function changeOf(file, { code, counts }) {
  const [letter, kind] = kKinds[code(file)] ?? [code(file), 'changed'];
  const [added, removed] =
    counts === 'staged' ? [file.stagedAdded, file.stagedRemoved] : [file.workAdded, file.workRemoved];
  return { path: file.path, letter, kind, added, removed };
}

/**
 * @param {Change[]} changes
 * @param {'added' | 'removed'} side
 */
function sum(changes, side) {
  return changes.reduce((total, change) => total + (change[side] ?? 0), 0);
}

/**
 * How many paths of a repository differ from the last commit.
 * @param {Repo} repo
 */
export function changeCount(repo) {
  return repo.files.length;
}

/**
 * The answer of "git/status" as it is used: whatever it holds, the result is whole.
 * @param {any} answer
 * @returns {{available: boolean, repos: Repo[]}}
 */
export function readStatus(answer) {
  const repos = Array.isArray(answer?.repos) ? answer.repos : [];
  return {
    available: answer?.gitAvailable !== false,
    repos: repos
      .filter((/** @type {any} */ repo) => typeof repo?.name === 'string' && typeof repo.root === 'string')
      .map((/** @type {any} */ repo) => ({
        branch: '',
        upstream: '',
        ahead: 0,
        behind: 0,
        detached: false,
        ...repo,
        isRepo: repo.isRepo === true,
        files: (Array.isArray(repo.files) ? repo.files : []).filter(
          (/** @type {any} */ file) => typeof file?.path === 'string',
        ),
      })),
  };
}

/**
 * The repositories of folders that are in the workspace now: git's list is made at the start, so it may
 * still name one whose folder was removed.
 * @param {readonly Repo[]} repos
 * @param {readonly Root[]} roots
 */
export function shownRepos(repos, roots) {
  return repos.filter((repo) =>
    roots.some((root) => root.name === repo.name || isInside(bare(root.path), bare(repo.root))),
  );
}

/**
 * Folders of the workspace that belong to no known repository.
 * @param {readonly Repo[]} repos
 * @param {readonly Root[]} roots
 */
export function rootsWithout(repos, roots) {
  return roots.filter(
    (root) =>
      !repos.some((repo) => repo.name === root.name || isInside(bare(root.path), bare(repo.root))),
  );
}

/**
 * Settings are edited by hand, too.
 * @param {string} path absolute
 */
function bare(path) {
  return path.length > 1 ? path.replace(/\/+$/, '') : path;
}

/**
 * The id under which a path of a repository is opened: its workspace path, or the absolute one when it lies
 * beside the folders of the workspace, as it may when a folder is only a part of its repository.
 * @param {readonly Root[]} roots
 * @param {Repo} repo
 * @param {string} path relative to the repository
 */
export function idOf(roots, repo, path) {
  const top = bare(repo.root);
  const absolute = top === '/' ? `/${path}` : `${top}/${path}`;
  return workspacePath(roots.map(bareRoot), absolute) || absolute;
}

/** @param {Root} root */
function bareRoot(root) {
  return { ...root, path: bare(root.path) };
}

/**
 * An id that is no workspace path: such a file can be looked at, but not opened.
 * @param {string} id
 */
export function isOutside(id) {
  return id.startsWith('/');
}

/**
 * The repository of an id and the path in it. Of repositories inside each other the inner one counts.
 * @param {readonly Repo[]} repos
 * @param {readonly Root[]} roots
 * @param {string} id
 * @returns {{repo: Repo, path: string} | null}
 */
export function repoOf(repos, roots, id) {
  const absolute = isOutside(id) ? id : absoluteOf(roots, id);
  if (!absolute) return null;
  /** @type {Repo | null} */
  let inner = null;
  for (const repo of repos) {
    const deeper = !inner || bare(repo.root).length > bare(inner.root).length;
    if (deeper && isInside(absolute, bare(repo.root) === '/' ? '' : bare(repo.root))) inner = repo;
  }
  if (!inner) return null;
  return { repo: inner, path: absolute.slice(bare(inner.root).length).replace(/^\//, '') };
}

/**
 * @param {readonly Root[]} roots
 * @param {string} id
 */
function absoluteOf(roots, id) {
  const slash = id.indexOf('/');
  const root = roots.find(({ name }) => name === id.slice(0, slash));
  if (!root || slash < 0) return '';
  return (bare(root.path) === '/' ? '' : bare(root.path)) + id.slice(slash);
}

/** Of two marks on one path the later of these shows. */
const kRanks = ['untracked', 'added', 'copied', 'renamed', 'type changed', 'modified', 'deleted', 'conflict'];

/**
 * Letters for the tree of files: of each changed file, and of each folder that holds one.
 * @param {readonly Repo[]} repos
 * @param {readonly Root[]} roots
 * @returns {Map<string, {letter: string, kind: string}>} folders have no letter
 */
export function treeMarks(repos, roots) {
  /** @type {Map<string, {letter: string, kind: string}>} */
  const marks = new Map();
  for (const repo of repos) {
    for (const group of groupsOf(repo)) {
      for (const { path, letter, kind } of group.changes) {
        const id = idOf(roots, repo, path);
        if (isOutside(id)) continue;
        put(marks, id, letter, kind);
        // What is deleted is not in the tree, so its folders would be marked for nothing to be seen.
        if (kind === 'deleted') continue;
        for (let folder = parentOf(id); folder; folder = parentOf(folder)) put(marks, folder, '', kind);
      }
    }
  }
  return marks;
}

/**
 * @param {Map<string, {letter: string, kind: string}>} marks
 * @param {string} id
 * @param {string} letter
 * @param {string} kind
 */
function put(marks, id, letter, kind) {
  const there = marks.get(id);
  if (!there || kRanks.indexOf(kind) > kRanks.indexOf(there.kind)) marks.set(id, { letter, kind });
}

/**
 * The branch and how far it is from its upstream, in words.
 * @param {Repo} repo
 */
export function branchWords({ branch, upstream, ahead, behind, detached }) {
  if (detached) return 'detached head';
  if (!upstream) return `branch ${branch}, no upstream`;
  const parts = [`branch ${branch}`, `upstream ${upstream}`];
  if (ahead) parts.push(`${ahead} ahead`);
  if (behind) parts.push(`${behind} behind`);
  return parts.join(', ');
}
