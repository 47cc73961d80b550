// What a new task starts from: the choices of the last one, else the settings.

import { signal } from '@preact/signals';
import { numberOf, recordOf, textOf } from './chatwire.js';
import { MODES } from './chatsession.js';
import { taskRoots } from './dispatch.js';
import { config } from './settings.js';
import * as uistate from './uistate.js';

/**
 * @typedef {import('./dispatch.js').NewTask} NewTask
 * @typedef {import('./dispatch.js').TaskRoot} TaskRoot
 */

export const MOST_TRIES = 4;
const USUAL_MODE = 'acceptEdits';
const CHOICES = 'dispatch.choices';
const WORDS = 'dispatch.words';

/**
 * What stands in the form, null before somebody has looked.
 * @type {import('@preact/signals').Signal<NewTask | null>}
 */
const form = signal(null);

const typed = () =>
  form.value ?? freshForm(uistate.get(CHOICES, {}), config.value.claude, uistate.get(WORDS, ''));

/** The form as it can be sent: its folder is one that there is. */
export const newTask = () => fitted(typed(), taskRoots.value);

/** @param {Partial<NewTask>} change */
export function changeForm(change) {
  form.value = { ...typed(), ...change };
  // What was typed is kept apart, and outlives the program.
  if (change.task !== undefined) uistate.set(WORDS, change.task || undefined);
}

/** The task is on its way: its choices are the next one's, its words are not. */
export function formSent() {
  const { root, worktree, plan, model, mode } = newTask();
  uistate.set(CHOICES, { root, worktree, plan, model, mode });
  changeForm({ task: '', title: '', tries: 1 });
}

/**
 * @param {unknown} kept choices of an earlier task
 * @param {unknown} claude the settings of Claude
 * @param {unknown} words that were typed and not sent
 * @returns {NewTask}
 */
export function freshForm(kept, claude, words) {
  const { root, worktree, plan, model, mode } = recordOf(kept);
  const wanted = [textOf(mode), textOf(recordOf(claude).permissionMode)].find((id) =>
    MODES.some((one) => one.id === id && id !== 'plan'),
  );
  return {
    task: textOf(words),
    title: '',
    root: textOf(root),
    worktree: worktree !== false,
    plan: plan === true || (mode === undefined && recordOf(claude).permissionMode === 'plan'),
    model: textOf(model),
    mode: wanted ?? USUAL_MODE,
    tries: 1,
  };
}

/**
 * A form that fits the folders there are: a worktree needs a repository, and several tries a worktree each.
 * @param {NewTask} wanted
 * @param {readonly TaskRoot[]} roots
 * @returns {NewTask}
 */
export function fitted(wanted, roots) {
  const root = roots.find(({ name }) => name === wanted.root) ?? roots.find(({ git }) => git) ?? roots[0];
  const worktree = wanted.worktree && root?.git === true;
  const tries = Math.max(1, Math.min(MOST_TRIES, Math.trunc(numberOf(wanted.tries))));
  return { ...wanted, root: root?.name ?? '', worktree, tries: worktree ? tries : 1 };
}

/** What keeps a form from being sent, "" for nothing. @param {NewTask} form */
export function formProblem({ task, root }) {
  if (!root) return 'Add a folder to the workspace first.';
  return task.trim() ? '' : 'Describe the task first.';
}
