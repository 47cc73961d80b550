// What the page remembers of tasks that have a worktree: the program forgets its tasks when it ends, but their
// folders and branches stay. Kept until a task has landed or was discarded.

import { signal } from '@preact/signals';
import { clipped, listOf, numberOf, recordOf, textOf } from './chatwire.js';
import * as uistate from './uistate.js';

/**
 * @typedef {object} Remembered
 * @property {string} id
 * @property {string} title
 * @property {string} prompt what was asked, "" when another page created it
 * @property {string} repoRoot
 * @property {string} directory
 * @property {string} branch "" for a task without a worktree
 * @property {string} baseBranch
 * @property {number} createdAt
 */

/** The page's storage is small, and only so much of a task's words is worth it. */
export const KEPT_TASKS = 60;
export const KEPT_WORDS = 2000;

const KEY = 'dispatch.tasks';

/** @type {import('@preact/signals').Signal<readonly Remembered[]>} */
export const remembered = signal([]);

export function loadMemory() {
  remembered.value = listOf(uistate.get(KEY, []))
    .map(restored)
    .filter(({ id }) => id);
}

/** @param {unknown} kept @returns {Remembered} */
function restored(kept) {
  const { id, title, prompt, repoRoot, directory, branch, baseBranch, createdAt } = recordOf(kept);
  return {
    id: textOf(id),
    title: textOf(title),
    prompt: textOf(prompt),
    repoRoot: textOf(repoRoot),
    directory: textOf(directory),
    branch: textOf(branch),
    baseBranch: textOf(baseBranch),
    createdAt: numberOf(createdAt),
  };
}

/** @param {string} id */
export const memoryOf = (id) => remembered.value.find((one) => one.id === id);

/** What was asked of a task at its creation, "" when that is not known. @param {string} id */
export const promptOf = (id) => memoryOf(id)?.prompt ?? '';

/**
 * @param {import('./dispatchwire.js').Task} task
 * @param {string} [prompt] what was asked; without it what is known stays
 */
export function rememberTask(task, prompt) {
  const { id, repoRoot, directory, branch, baseBranch, createdAt } = task;
  const before = remembered.peek().find((one) => one.id === id);
  if (before && prompt === undefined) return;
  const entry = {
    id,
    title: clipped(task.title, KEPT_WORDS),
    prompt: clipped(prompt ?? before?.prompt ?? '', KEPT_WORDS),
    repoRoot,
    directory,
    branch,
    baseBranch,
    createdAt,
  };
  put([...remembered.peek().filter((one) => one.id !== id), entry].slice(-KEPT_TASKS));
}

/** @param {readonly string[]} ids */
export function forgetTasks(ids) {
  if (!remembered.peek().some(({ id }) => ids.includes(id))) return;
  put(remembered.peek().filter(({ id }) => !ids.includes(id)));
}

/** @param {readonly Remembered[]} list */
function put(list) {
  remembered.value = list;
  uistate.set(KEY, list);
}
