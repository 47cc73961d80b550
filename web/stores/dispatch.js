// Background tasks as signals: the list as the bridge tells it, kept current by its events, and what can be
// asked of a task. What a task says is in dispatchtalks.js, what outlives the program in dispatchmemory.js.
//
// Only tasks and folders that the bridge has told of are ever named to it: an unknown folder would act on the
// first one.

import { computed, signal } from '@preact/signals';
import { BridgeError, call, get } from '../bridge/api.js';
import { on, onReconnect } from '../bridge/events.js';
import { questionKey } from './chatquestions.js';
import { STDERR_CHARS } from './chattalk.js';
import { recordOf, textOf } from './chatwire.js';
import { forgetTasks, loadMemory, rememberTask, remembered } from './dispatchmemory.js';
import { forgetTalksBut, keepTalks, knownTalks, releaseTalks, talkOf, taskQuestions } from './dispatchtalks.js';
import { inOrder, isClosed, readDiff, readList, readTask, titleLine } from './dispatchwire.js';
import { note } from './log.js';
import { applyConfig } from './settings.js';

/**
 * @typedef {import('./dispatchwire.js').Task} Task
 * @typedef {import('./dispatchwire.js').TaskRoot} TaskRoot
 * @typedef {import('./dispatchwire.js').TaskDiff} TaskDiff
 * @typedef {import('./chatquestions.js').Question} Question
 * @typedef {import('./chatquestions.js').Answer} Answer
 *
 * @typedef {object} NewTask
 * @property {string} task what is to be done
 * @property {string} title "" takes the task's own words
 * @property {string} root name of a folder of `taskRoots`
 * @property {boolean} worktree
 * @property {boolean} plan
 * @property {string} model "" leaves it to the settings
 * @property {string} mode
 * @property {number} tries 1 to 4
 */

/** @type {import('@preact/signals').Signal<ReadonlyMap<string, Task>>} */
const told = signal(new Map());

/** All tasks of this run of the program, in the order of their creation. */
export const tasks = computed(() => inOrder([...told.value.values()]));
/** Whether the bridge has told its tasks yet. */
export const tasksKnown = signal(false);
/** Why they could not be read last; they are then those of the time before. */
export const listFailure = signal('');
/** How many tasks may run at once. */
export const limit = signal(2);
/** Folders that a task can be created in. @type {import('@preact/signals').Signal<TaskRoot[]>} */
export const taskRoots = signal([]);
/**
 * Questions of tasks whose answer is on its way, by `questionKey`.
 * @type {import('@preact/signals').Signal<ReadonlySet<string>>}
 */
export const answeringTask = signal(new Set());
/**
 * What is under way for a task, as words: "Landing".
 * @type {import('@preact/signals').Signal<ReadonlyMap<string, string>>}
 */
export const underWay = signal(new Map());

/** @param {string} id @returns {Task | undefined} */
export const taskById = (id) => told.value.get(id);

/** Whether a task waits for an answer. @param {string} id */
export const isAsking = (id) => taskQuestions.value.some(({ owner }) => owner === id);

export const runningTasks = computed(() => tasks.value.filter(({ status }) => status === 'running'));
export const askingTasks = computed(() => runningTasks.value.filter(({ id }) => isAsking(id)));

/** What git said of the worktree that could not be made for the task asked for last, "" when nothing. */
export const worktreeWords = signal('');

/** @type {Set<(task: Task, before: Task | undefined) => void>} */
const listeners = new Set();

/**
 * Calls `fn` whenever the bridge tells of a task anew; `before` is what was known of it.
 * @param {(task: Task, before: Task | undefined) => void} fn
 */
export function onTask(fn) {
  listeners.add(fn);
  return () => void listeners.delete(fn);
}

/** Counts what events have told, so that a list that was asked for before them does not undo it. */
let events = 0;

/**
 * Takes up what a reload left, reads the list, and listens from now on.
 * @param {Storage} storage
 * @param {string} session differs from run to run of the program
 */
export function connectDispatch(storage, session) {
  keepTalks(storage, session);
  loadMemory();
  on('dispatch.state', ({ task }) => takeTask(task));
  on('dispatch.event', ({ id, line }) => textOf(id) && talkOf(textOf(id)).takeLine(textOf(line)));
  on('dispatch.stderr', ({ id, text }) => takeStderr(textOf(id), textOf(text)));
  onReconnect(readAgain);
  return readTasks();
}

/** Asks the bridge for all tasks. A failure stands in `listFailure`. */
export async function readTasks() {
  try {
    takeList(await listNow());
    listFailure.value = '';
  } catch (error) {
    if (!(error instanceof BridgeError)) throw error;
    listFailure.value = error.words;
    note('warning', 'Could not read the tasks', error);
  }
}

/** A list that no event has overtaken. */
async function listNow() {
  for (;;) {
    const before = events;
    const list = readList(await get('dispatch/list'));
    if (before === events) return list;
  }
}

/** @param {import('./dispatchwire.js').TaskList} list */
function takeList(list) {
  limit.value = list.limit;
  taskRoots.value = list.roots;
  const before = told.peek();
  told.value = new Map(list.tasks.map((task) => [task.id, task]));
  const ids = new Set(told.peek().keys());
  forgetTalksBut(ids);
  // Nothing is left of a task in place that the program has forgotten.
  forgetTasks(remembered.peek().flatMap(({ id, branch }) => (branch || ids.has(id) ? [] : [id])));
  for (const task of list.tasks) changed(task, before.get(task.id));
  // Only now: what a reload has kept of their questions is there.
  tasksKnown.value = true;
}

function readAgain() {
  for (const [id, talk] of knownTalks()) {
    if (told.peek().get(id)?.status === 'running') talk.record({ kind: 'gap' });
  }
  return readTasks();
}

/** @param {unknown} value */
function takeTask(value) {
  const task = readTask(value);
  if (!task) return note('event', 'A task that cannot be read', value);
  events++;
  const before = told.peek().get(task.id);
  told.value = new Map(told.peek()).set(task.id, task);
  changed(task, before);
}

/**
 * @param {string} id
 * @param {string} text
 */
function takeStderr(id, text) {
  if (told.peek().has(id)) talkOf(id).takeStderr(text);
  // A task without a worktree never comes into being: what is told of it is why.
  else worktreeWords.value = (worktreeWords.peek() + text).slice(-STDERR_CHARS);
}

/**
 * @param {Task} task
 * @param {Task | undefined} before
 */
function changed(task, before) {
  if (isClosed(task.status)) {
    forgetTasks([task.id]);
    releaseTalks(tasks.peek().flatMap(({ id, status }) => (isClosed(status) ? [id] : [])));
  } else rememberTask(task);
  const talk = talkOf(task.id);
  if (task.status === 'running' && before?.status === 'queued') {
    talk.record({ kind: 'started', mode: task.mode, model: task.model });
  }
  // Without a CLI nobody waits for an answer, and nothing that was begun will be completed.
  const open = talk.busy.value || talk.questions.value.length > 0;
  if (task.status !== 'running' && open) talk.record({ kind: 'ended', wanted: true });
  for (const fn of [...listeners]) fn(task, before);
}

// What can be asked of tasks

/** @param {string} id */
function known(id) {
  const task = told.peek().get(id);
  if (!task) throw new Error('that task is not in the list any more');
  return task;
}

/**
 * @template T
 * @param {string} id
 * @param {string} words
 * @param {() => Promise<T>} work
 * @returns {Promise<T>}
 */
async function during(id, words, work) {
  underWay.value = new Map(underWay.value).set(id, words);
  try {
    return await work();
  } finally {
    const rest = new Map(underWay.value);
    rest.delete(id);
    underWay.value = rest;
  }
}

/**
 * The last request to each task: they go one after the other, or two could overtake each other.
 * @type {Map<string, Promise<unknown>>}
 */
const lines = new Map();

/**
 * @template T
 * @param {string} id
 * @param {() => Promise<T>} work
 * @returns {Promise<T>}
 */
function inLine(id, work) {
  const next = (lines.get(id) ?? Promise.resolve()).then(work);
  lines.set(id, next.catch(() => {}));
  return next;
}

/**
 * Creates a task, or as many as there are tries. When a later try could not be made the earlier ones are there, and
 * `worktreeWords` says why.
 * @param {NewTask} wanted
 * @returns {Promise<string[]>} their ids, at least one
 */
export async function createTasks(wanted) {
  if (!taskRoots.value.some(({ name }) => name === wanted.root)) {
    throw new Error(`${wanted.root || 'that folder'} is not among the folders of the workspace any more`);
  }
  const job = `Create a task: ${titleLine({ title: wanted.title || wanted.task, id: 'task' })}`;
  worktreeWords.value = '';
  const { ids } = await call('dispatch/create', wanted, { job });
  const made = (Array.isArray(ids) ? ids : []).map(textOf).filter(Boolean);
  // The events came before the answer, unless the link was down.
  if (!made.every((id) => told.peek().has(id))) await readTasks();
  for (const id of made) {
    const task = told.peek().get(id);
    if (task && !isClosed(task.status)) rememberTask(task, wanted.task.trim());
  }
  return made;
}

/**
 * A message to a task. One that has ended goes on with it, once there is room.
 * @param {string} id
 * @param {string} text
 */
export async function sendToTask(id, text) {
  known(id);
  const talk = talkOf(id);
  await inLine(id, async () => {
    talk.record({ kind: 'sent', text, images: 0, at: Date.now() });
    try {
      await call('dispatch/send', { id, text });
    } catch (error) {
      talk.record({ kind: 'unsent', words: error instanceof Error ? error.message : String(error) });
      throw error;
    }
  });
}

/**
 * Answers a question of a task. The route carries no rules and no "stop": a mode that the answer sets is set
 * afterwards, an answer that interrupts stops the task.
 * @param {Question} question with the task's id as its `owner`
 * @param {Answer} answer
 * @param {string} [words] what the conversation keeps of it
 */
export async function answerTask(question, answer, words = '') {
  const id = question.owner ?? '';
  known(id);
  const key = questionKey(question);
  if (answeringTask.value.has(key)) return;
  answeringTask.value = new Set(answeringTask.value).add(key);
  const { requestId, behavior, input, message } = answer;
  try {
    await inLine(id, () => call('dispatch/permission', { id, requestId, behavior, input, message }));
    talkOf(id).record({ kind: 'answered', requestId, words });
    for (const { type, mode } of answer.updatedPermissions ?? []) {
      if (type === 'setMode' && textOf(mode)) await setTaskMode(id, mode);
    }
    if (answer.interrupt) await stopTask(id);
  } catch (error) {
    // The CLI has ended, and the page has not heard of it.
    if (error instanceof BridgeError && error.status === 409) await readTasks();
    throw error;
  } finally {
    const rest = new Set(answeringTask.value);
    rest.delete(key);
    answeringTask.value = rest;
  }
}

/**
 * Changes the mode of a task that runs.
 * @param {string} id
 * @param {string} mode
 */
export async function setTaskMode(id, mode) {
  known(id);
  await inLine(id, () => call('dispatch/control', { id, request: { subtype: 'set_permission_mode', mode } }));
  talkOf(id).amend((talk) => ({ ...talk, mode }));
}

/** Stops a task that waits or runs; its changes stay. @param {string} id */
export async function stopTask(id) {
  const job = `Stop "${titleLine(known(id))}"`;
  await during(id, 'Stopping', () => call('dispatch/stop', { id }, { job }));
}

/**
 * What a task has changed so far. It stages everything in the worktree, so it is asked when somebody looks, not
 * with each event.
 * @param {string} id
 * @returns {Promise<TaskDiff>}
 */
export async function diffOfTask(id) {
  known(id);
  return readDiff(await get('dispatch/diff', { id }));
}

/**
 * Lands a task on whatever is checked out in its folder; what that is must have been shown to the user before
 * (landing.js of the panel). Worktree and branch are gone afterwards. Throws with git's words.
 * @param {string} id
 */
export async function landTask(id) {
  const job = `Land "${titleLine(known(id))}"`;
  await during(id, 'Landing', () => call('dispatch/merge', { id }, { job }));
}

/** Throws branch and folder of a task away; the user must have been asked before. @param {string} id */
export async function discardTask(id) {
  const job = `Discard "${titleLine(known(id))}"`;
  await during(id, 'Discarding', () => call('dispatch/discard', { id }, { job }));
}

/** How many tasks may run at once, 1 to 8. @param {number} count */
export async function setLimit(count) {
  await call('dispatch/limit', { limit: Math.min(8, Math.max(1, Math.round(count))) });
  // The number lies in the settings of Claude, which others write as a whole.
  applyConfig(recordOf((await call('config', {})).config));
  await readTasks();
}
