// Worktrees of tasks that the program has forgotten: it keeps its tasks in memory only, so what was not landed
// or discarded before its end is left on disk. Reading of what git tells of them; dispatchrescue.js asks git.

import { quoted } from './shellquote.js';

/**
 * @typedef {object} Orphan
 * @property {string} id its folder's name, as a rule the id of the task
 * @property {string} directory absolute
 * @property {string} repoRoot absolute: the folder that it was created for, else the repository's own
 * @property {string} branch "" when it is on none
 * @property {string} head commit
 * @property {boolean} gone its folder is not there any more
 * @property {boolean} locked
 * @property {string} title
 * @property {string} prompt
 * @property {string} baseBranch "" when not known
 *
 * @typedef {{directory: string, head: string, branch: string, prunable: boolean, locked: boolean}} Worktree
 * @typedef {{root: string, worktrees: Worktree[]}} RepoWorktrees `root` is the folder that was asked about
 * @typedef {import('./dispatchmemory.js').Remembered} Remembered
 */

const HOME_MARK = 'worktrees ';
const REPO_MARK = 'folder ';

/** Where the program puts worktrees, by its own rule, with links resolved as git tells its paths. */
const HOME_LINE =
  'case "$XDG_DATA_HOME" in /*) d=$XDG_DATA_HOME;; *) d=${HOME:-/tmp}/.local/share;; esac; ' +
  'd=$d/marlin-bench/worktrees; printf "worktrees %s\\n" "$(cd "$d" 2>/dev/null && pwd -P || printf %s "$d")"';

/**
 * The line that lists the worktrees of all repositories.
 * @param {readonly string[]} folders absolute
 */
export function listLine(folders) {
  const each = folders.map(
    (folder) =>
      `printf '${REPO_MARK}%s\\n' ${quoted(folder)}; git -C ${quoted(folder)} worktree list --porcelain 2>/dev/null`,
  );
  // One that is no repository is no failure of the others.
  return `{ ${[HOME_LINE, ...each].join('; ')}; true; }`;
}

/**
 * What that line printed.
 * @param {string} out
 * @returns {{home: string, repos: RepoWorktrees[]}}
 */
export function readListing(out) {
  let home = '';
  /** @type {RepoWorktrees[]} */
  const repos = [];
  for (const line of out.split('\n')) {
    const worktree = repos.at(-1)?.worktrees.at(-1);
    const [, name = '', value = ''] = /^(\S+) ?(.*)$/.exec(line) ?? [];
    if (line.startsWith(HOME_MARK) && !repos.length) home = line.slice(HOME_MARK.length);
    else if (line.startsWith(REPO_MARK)) repos.push({ root: line.slice(REPO_MARK.length), worktrees: [] });
    else if (name === 'worktree') {
      repos.at(-1)?.worktrees.push({ directory: value, head: '', branch: '', prunable: false, locked: false });
    } else if (!worktree) continue;
    else if (name === 'HEAD') worktree.head = value;
    else if (name === 'branch') worktree.branch = value.replace(/^refs\/heads\//, '');
    else if (name === 'prunable') worktree.prunable = true;
    else if (name === 'locked') worktree.locked = true;
  }
  return { home, repos };
}

/**
 * Those worktrees that are the program's own and no task's.
 * @param {{home: string, repos: readonly RepoWorktrees[]}} listing
 * @param {readonly {directory: string}[]} tasks that the program knows
 * @param {readonly Remembered[]} memory
 * @returns {Orphan[]}
 */
export function orphansIn({ home, repos }, tasks, memory) {
  if (!home.startsWith('/')) return [];
  const taken = new Set(tasks.map(({ directory }) => lastPart(directory)));
  /** @type {Map<string, Orphan>} */
  const found = new Map();
  for (const { root, worktrees } of repos) {
    for (const tree of worktrees.slice(1)) {
      const id = childOf(home, tree.directory);
      if (!id || taken.has(id) || found.has(tree.directory)) continue;
      found.set(tree.directory, orphan(id, tree, root, memory));
    }
  }
  return [...found.values()];
}

/**
 * @param {string} id
 * @param {Worktree} tree
 * @param {string} root
 * @param {readonly Remembered[]} memory
 * @returns {Orphan}
 */
function orphan(id, { directory, head, branch, prunable, locked }, root, memory) {
  // An id may come again in another run, but not with the same branch.
  const known = memory.find((one) => one.id === id && one.branch === branch);
  return {
    id,
    directory,
    repoRoot: known?.repoRoot || root,
    branch,
    head,
    gone: prunable,
    locked,
    title: known?.title || branch || id,
    prompt: known?.prompt ?? '',
    baseBranch: known?.baseBranch ?? '',
  };
}

/**
 * The name of a folder right below another, "" for any other path.
 * @param {string} folder
 * @param {string} path
 */
function childOf(folder, path) {
  const name = path.startsWith(`${folder}/`) ? path.slice(folder.length + 1) : '';
  return name.includes('/') ? '' : name;
}

/** @param {string} path */
const lastPart = (path) => path.slice(path.lastIndexOf('/') + 1);

/**
 * "git diff --numstat": counts and paths of the changed files; a binary file counts nothing.
 * @param {string} out
 * @returns {import('./dispatchwire.js').ChangedFile[]}
 */
export function readNumstat(out) {
  return out
    .split('\n')
    .map((line) => /^(\d+|-)\t(\d+|-)\t(.+)$/.exec(line))
    .filter((found) => found !== null)
    .map(([, added, removed, path = '']) => ({ path, added: Number(added) || 0, removed: Number(removed) || 0 }));
}

/** The message of the commit that holds what a task left, as the program writes it. @param {string} title */
export function landingMessage(title) {
  const line = title.trim().split('\n', 1)[0]?.trim() ?? '';
  return `Dispatch: ${line.length > 68 ? `${line.slice(0, 65)}...` : line}`;
}
