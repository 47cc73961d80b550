// What the bridge tells of background tasks, read into plain values: a field that is missing or of another type
// becomes that type's empty value, and what is no task at all is left out.

import { listOf, numberOf, recordOf, textOf } from './chatwire.js';

/**
 * @typedef {'queued' | 'running' | 'done' | 'failed' | 'stopped' | 'merged' | 'discarded'} TaskStatus
 *
 * @typedef {object} Task as the bridge describes it
 * @property {string} id
 * @property {string} title the given one, or the whole task; may have several lines
 * @property {string} repoRoot the folder it was created for
 * @property {string} directory where Claude runs: the worktree, or repoRoot
 * @property {string} branch "" for a task without a worktree
 * @property {string} baseBranch what was checked out at its creation; worktree tasks only
 * @property {string} model
 * @property {string} mode
 * @property {TaskStatus} status
 * @property {string} sessionId
 * @property {string} error
 * @property {number} cost dollars, of the last run of the CLI
 * @property {number} createdAt milliseconds since the epoch
 * @property {number} try its number among its tries, from 1
 * @property {number} tries
 * @property {boolean} worktree
 * @property {boolean} live a CLI belongs to it now
 *
 * @typedef {{name: string, git: boolean}} TaskRoot a folder that tasks can be created in
 * @typedef {{tasks: Task[], limit: number, roots: TaskRoot[]}} TaskList
 *
 * @typedef {{path: string, added: number, removed: number}} ChangedFile
 * @typedef {object} TaskDiff
 * @property {ChangedFile[]} files
 * @property {number} added
 * @property {number} removed
 * @property {number} fileCount
 * @property {string} patch
 * @property {boolean} cut whether the patch lacks its end; the counts cover everything
 */

const STATUSES = new Set(['queued', 'running', 'done', 'failed', 'stopped', 'merged', 'discarded']);

/** Statuses that are final: nothing can be asked of such a task but its diff. */
export const isClosed = (/** @type {TaskStatus} */ status) => status === 'merged' || status === 'discarded';

/**
 * @param {unknown} value
 * @returns {Task | null}
 */
export function readTask(value) {
  const told = recordOf(value);
  const id = textOf(told.id);
  const status = textOf(told.status);
  if (!id || !STATUSES.has(status)) return null;
  return {
    id,
    title: textOf(told.title),
    repoRoot: textOf(told.repoRoot),
    directory: textOf(told.directory),
    branch: textOf(told.branch),
    baseBranch: textOf(told.baseBranch),
    model: textOf(told.model),
    mode: textOf(told.mode),
    status: /** @type {TaskStatus} */ (status),
    sessionId: textOf(told.sessionId),
    error: textOf(told.error),
    cost: numberOf(told.cost),
    createdAt: numberOf(told.createdAt),
    try: numberOf(told.try) || 1,
    tries: numberOf(told.tries) || 1,
    worktree: told.worktree === true,
    live: told.live === true,
  };
}

/**
 * @param {unknown} answer of "dispatch/list"
 * @returns {TaskList}
 */
export function readList(answer) {
  const { tasks, limit, roots } = recordOf(answer);
  return {
    tasks: listOf(tasks)
      .map(readTask)
      .filter((task) => task !== null),
    limit: numberOf(limit) || 2,
    roots: listOf(roots)
      .map((root) => ({ name: textOf(recordOf(root).name), git: recordOf(root).git === true }))
      .filter(({ name }) => name),
  };
}

/** What stands at the end of a patch that was cut. */
const CUT_MARK = '\n… (diff truncated)\n';

/**
 * @param {unknown} answer of "dispatch/diff"
 * @returns {TaskDiff}
 */
export function readDiff(answer) {
  const told = recordOf(answer);
  const patch = textOf(told.patch);
  const cut = patch.endsWith(CUT_MARK);
  return {
    files: listOf(told.files)
      .map((file) => ({
        path: textOf(recordOf(file).path),
        added: numberOf(recordOf(file).added),
        removed: numberOf(recordOf(file).removed),
      }))
      .filter(({ path }) => path),
    added: numberOf(told.added),
    removed: numberOf(told.removed),
    fileCount: numberOf(told.fileCount),
    patch: cut ? patch.slice(0, -CUT_MARK.length) : patch,
    cut,
  };
}

/** The number that ids count: "t3-48211" is the third. @param {string} id */
const sequenceOf = (id) => Number(/^t(\d+)-/.exec(id)?.[1] ?? 0);

/** In the order of their creation. @param {readonly Task[]} tasks */
export const inOrder = (tasks) =>
  [...tasks].sort((a, b) => a.createdAt - b.createdAt || sequenceOf(a.id) - sequenceOf(b.id));

/** What a task is called in one line. @param {Pick<Task, 'title' | 'id'>} task */
export const titleLine = ({ title, id }) => title.trim().split('\n', 1)[0]?.trim() || id;

/**
 * Tries that were created together, by the id of the first. No field of a task says so: they follow each other
 * with the same title and folder, numbered from 1.
 * @param {readonly Task[]} tasks
 * @returns {Map<string, Task[]>} groups of at least two
 */
export function tryGroups(tasks) {
  /** @type {Map<string, Task[]>} */
  const groups = new Map();
  for (const task of inOrder(tasks)) {
    if (task.tries < 2) continue;
    if (task.try === 1) groups.set(task.id, [task]);
    else groupBefore(groups, task)?.push(task);
  }
  return new Map([...groups].filter(([, list]) => list.length > 1));
}

/**
 * @param {Map<string, Task[]>} groups
 * @param {Task} task
 */
function groupBefore(groups, task) {
  return [...groups.values()].findLast((list) => {
    const last = /** @type {Task} */ (list.at(-1));
    const alike =
      last.title === task.title && last.repoRoot === task.repoRoot && last.tries === task.tries;
    return alike && last.try < task.try;
  });
}
