// What each background task says: a conversation like the chat's for each, made when its first line comes or
// somebody looks, and kept over a reload of the page as far as the tab's storage has room.

import { computed, signal } from '@preact/signals';
import { LineKeeper } from './chatkeep.js';
import { TalkStore } from './chattalk.js';
import { textOf } from './chatwire.js';

/** Characters of one task's lines that a reload keeps; the chat and all other tasks share the storage. */
const TASK_CHARS = 131072;

/** Closed tasks whose words a reload keeps. */
export const KEPT_CLOSED = 12;

const NAME = 'marlin-task ';

/** @type {Storage | null} */
let storage = null;
let session = '';

/** @type {import('@preact/signals').Signal<ReadonlyMap<string, TalkStore>>} */
const talks = signal(new Map());

/** The open questions of all tasks, the oldest task's first; `owner` is the task's id. */
export const taskQuestions = computed(() =>
  [...talks.value.values()].flatMap(({ questions }) => [...questions.value]),
);

/**
 * @param {Storage} where
 * @param {string} run differs from run to run of the program
 */
export function keepTalks(where, run) {
  storage = where;
  session = run;
}

/**
 * The conversation of a task; a new one when nothing was heard of it yet.
 * @param {string} id
 */
export function talkOf(id) {
  const known = talks.peek().get(id);
  if (known) return known;
  const talk = new TalkStore(id);
  if (storage) talk.keepWith(new LineKeeper(storage, session, { name: NAME + id, most: TASK_CHARS }));
  talks.value = new Map(talks.peek()).set(id, talk);
  return talk;
}

/**
 * What is typed for a task and not sent yet, by its id.
 * @type {import('@preact/signals').Signal<ReadonlyMap<string, string>>}
 */
const drafts = signal(new Map());

/** @param {string} id */
export const taskDraft = (id) => drafts.value.get(id) ?? textOf(talkOf(id).keeper?.kept('draft'));

/**
 * @param {string} id
 * @param {string} text
 */
export function setTaskDraft(id, text) {
  drafts.value = new Map(drafts.value).set(id, text);
  talkOf(id).keeper?.keep('draft', text);
}

/** Those that were heard of. */
export const knownTalks = () => talks.peek();

/**
 * Forgets the words of all tasks but these.
 * @param {ReadonlySet<string>} ids
 */
export function forgetTalksBut(ids) {
  const gone = [...talks.peek()].filter(([id]) => !ids.has(id));
  for (const [, talk] of gone) talk.keeper?.clear();
  if (gone.length) talks.value = new Map([...talks.peek()].filter(([id]) => ids.has(id)));
  sweep(ids);
}

/**
 * Those who have landed or were discarded give their place in the storage back, but for the latest. Their words
 * stay until the page is loaded again.
 * @param {readonly string[]} ids of closed tasks, the oldest first
 */
export function releaseTalks(ids) {
  for (const id of ids.slice(0, -KEPT_CLOSED)) {
    const talk = talks.peek().get(id);
    talk?.keeper?.clear();
    if (talk) talk.keeper = null;
  }
}

/** Takes what tasks of earlier runs left out of the storage. @param {ReadonlySet<string>} ids */
function sweep(ids) {
  if (!storage) return;
  const keys = Array.from({ length: storage.length }, (_, at) => storage?.key(at) ?? '');
  for (const key of keys) {
    const id = /^marlin-task (t\d+-\d+)/.exec(key)?.[1];
    if (id !== undefined && !ids.has(id)) storage.removeItem(key);
  }
}
