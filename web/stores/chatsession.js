// What the user does with the conversation: send, wait in line, interrupt, answer questions, change mode and
// model, start, stop, begin anew.

import { computed, signal } from '@preact/signals';
import { BridgeError, call, get } from '../bridge/api.js';
import {
  amend,
  announced,
  busy,
  control,
  ended,
  executable,
  isEmpty,
  keepValue,
  keptValue,
  mode,
  model,
  onTurnEnd,
  readStatus,
  record,
  running,
  sendControl,
  sessionId,
  showTalk,
  spokenLines,
  takeIntroduction,
  wantEnd,
} from './chat.js';
import { edited, moved, newMessage, removed, restoredQueue } from './chatqueue.js';
import { remembered } from './chatrecall.js';
import { afterContextAnswer } from './chatusage.js';
import { listOf, recordOf, textOf } from './chatwire.js';
import { note } from './log.js';
import { applyConfig, config } from './settings.js';
import * as uistate from './uistate.js';

/**
 * @typedef {import('./chatqueue.js').Message} Message
 * @typedef {import('./chatqueue.js').Picture} Picture
 * @typedef {import('./chatquestions.js').Question} Question
 * @typedef {import('./chatquestions.js').Answer} Answer
 */

/** The modes that the bridge lets through, in the order of how much they allow. */
export const MODES = [
  { id: 'plan', label: 'Plan', words: 'Reads and plans, changes nothing' },
  { id: 'default', label: 'Ask', words: 'Asks before each change and command' },
  { id: 'manual', label: 'Manual', words: 'Asks before everything' },
  { id: 'acceptEdits', label: 'Accept edits', words: 'Edits files, asks before commands' },
  { id: 'auto', label: 'Auto', words: 'Decides itself what needs a question' },
  { id: 'dontAsk', label: "Don't ask", words: 'Refuses what it would have to ask for' },
  { id: 'bypassPermissions', label: 'Bypass', words: 'Does everything without asking' },
];

/** How long an interrupted turn may take to end. */
const QUIET_MS = 3000;

export const EFFORTS = ['low', 'medium', 'high', 'xhigh', 'max'];

export const starting = signal(false);
export const stopping = signal(false);
export const sending = signal(false);
/** @type {import('@preact/signals').Signal<Message[]>} */
export const queue = signal([]);
/** Held back: after an interrupt or a failure the user decides what goes next. */
export const queuePaused = signal(false);
/** What is typed and not sent yet. */
export const draft = signal('');
/** @type {import('@preact/signals').Signal<string[]>} */
export const sentTexts = signal([]);
/** Questions whose answer is on its way. @type {import('@preact/signals').Signal<ReadonlySet<string>>} */
export const answering = signal(new Set());
/**
 * Who is signed in, once that was asked.
 * @type {import('@preact/signals').Signal<
 *   {known: boolean, loggedIn: boolean, email: string, subscription: string} | null>}
 */
export const account = signal(null);

const settings = computed(() => recordOf(config.value.claude));
/** What was chosen here for the next start. */
const wanted = { mode: signal(''), model: signal('') };

/** The mode that counts now, or will after the next start. */
export const shownMode = computed(
  () =>
    (running.value && mode.value) ||
    wanted.mode.value ||
    textOf(settings.value.permissionMode) ||
    'acceptEdits',
);
export const shownModel = computed(
  () => (running.value && model.value) || wanted.model.value || textOf(settings.value.model) || 'default',
);
export const effort = computed(() => textOf(settings.value.effort));
export const agent = computed(() => textOf(settings.value.agent));
export const outputStyle = computed(() => textOf(settings.value.outputStyle) || announced.value.outputStyle);

const SENT_KEY = 'chat.sent';

/** Takes up what a reload left. */
export function restoreSession() {
  queue.value = restoredQueue(keptValue('queue'));
  queuePaused.value = queue.value.length > 0;
  draft.value = textOf(keptValue('draft'));
  sentTexts.value = listOf(uistate.get(SENT_KEY, [])).map(textOf).filter(Boolean);
  onTurnEnd(() => {
    pump().catch((error) => note('error', 'Could not send the next message', error));
  });
}

/** @param {string} text */
export function setDraft(text) {
  draft.value = text;
  keepValue('draft', text);
}

/** @param {Message[]} next */
function setQueue(next) {
  queue.value = next;
  // With pictures it may be too much for the storage; the words are worth more.
  if (!keepValue('queue', next))
    keepValue(
      'queue',
      next.map((message) => ({ ...message, images: [] })),
    );
  if (!next.length) queuePaused.value = false;
}

// Sending

/**
 * Sends a message, or puts it behind those that wait.
 * @param {string} text
 * @param {Picture[]} [images]
 */
export async function submit(text, images = []) {
  sentTexts.value = remembered(sentTexts.value, text);
  uistate.set(SENT_KEY, sentTexts.value);
  const message = newMessage(text, images);
  if (busy.value || sending.value) return setQueue([...queue.value, message]);
  queuePaused.value = false;
  await deliver(message);
}

/** Sends what waits longest, now that a turn has ended. */
async function pump() {
  // What ended by itself is not started again by a message that the user wrote before.
  if (!running.value && queue.value.length) queuePaused.value = true;
  if (!queuePaused.value) await deliverFirst();
}

async function deliverFirst() {
  const [first] = queue.value;
  if (!first || busy.value || sending.value) return;
  setQueue(queue.value.slice(1));
  await deliver(first);
}

/**
 * Turns must reach the CLI in order, and two connections could overtake each other: one at a time.
 * @param {Message} message
 */
async function deliver(message) {
  sending.value = true;
  try {
    if (!running.value) await start({ resume: sessionId.value });
    // Before the request: the answer's first lines may come before the bridge has said "ok".
    record({ kind: 'sent', text: message.text, images: message.images.length, at: Date.now() });
    await sendNow(message);
  } catch (error) {
    queuePaused.value = true;
    setQueue([message, ...queue.value]);
    throw error;
  } finally {
    sending.value = false;
  }
  // A short turn may have ended before the bridge answered; its end could send nothing then.
  if (!busy.value) await pump();
}

/** @param {Message} message */
async function sendNow({ text, images }) {
  try {
    await call('agent/send', { text, images });
  } catch (error) {
    const words = error instanceof Error ? error.message : String(error);
    record({ kind: 'unsent', words });
    if (isGone(error)) await readStatus();
    throw error;
  }
}

/** The CLI has ended, and the page has not heard of it. @param {unknown} error */
const isGone = (error) => error instanceof BridgeError && error.status === 409;

/** @param {number} id @param {string} text */
export const editQueued = (id, text) => setQueue(edited(queue.value, id, text));
/** @param {number} id */
export const dropQueued = (id) => setQueue(removed(queue.value, id));
/** @param {number} id @param {number} place */
export const moveQueued = (id, place) => setQueue(moved(queue.value, id, place));

/**
 * Sends one of those that wait before all others, and interrupts what is under way for it.
 * @param {number} id
 */
export async function sendQueuedNow(id) {
  setQueue(moved(queue.value, id, 0));
  queuePaused.value = false;
  // The end of the interrupted turn sends it.
  if (busy.value) await interruptTurn();
  else await deliverFirst();
}

export async function interrupt() {
  if (queue.value.length) queuePaused.value = true;
  try {
    await interruptTurn();
  } catch (error) {
    if (isGone(error)) return readStatus();
    throw error;
  }
}

/**
 * The CLI ends an interrupted turn at once. When it says nothing the turn has ended before, and its last line
 * was lost in a reload or a gap of the link: nobody sends it again.
 */
async function interruptTurn() {
  const before = spokenLines();
  await call('agent/interrupt');
  setTimeout(() => {
    if (busy.value && spokenLines() === before) record({ kind: 'quiet' });
  }, QUIET_MS);
}

// Start and end

/** @type {Promise<void> | null} */
let startUnderWay = null;

/**
 * @param {{resume?: string}} [options]
 * @returns {Promise<void>}
 */
export function start(options = {}) {
  if (running.value) return Promise.resolve();
  startUnderWay ??= launch(options).finally(() => {
    startUnderWay = null;
  });
  return startUnderWay;
}

/** @param {{resume?: string}} options */
async function launch({ resume = '' }) {
  starting.value = true;
  const body = { permissionMode: shownMode.value, ...(resume && { resume }) };
  if (wanted.model.value) Object.assign(body, { model: wanted.model.value });
  try {
    wantEnd(false);
    const answer = await call('agent/start', body);
    if (textOf(answer.executable)) executable.value = answer.executable;
    record({ kind: 'started', mode: body.permissionMode, resume, at: Date.now() });
    running.value = true;
  } finally {
    starting.value = false;
  }
  await introduce();
}

/**
 * Slash commands, models and styles are known before the first turn when the CLI is asked. That must be the
 * first line it gets; its answer is not waited for.
 */
async function introduce() {
  const silent = (/** @type {unknown} */ error) => note('warning', 'Claude did not introduce itself', error);
  try {
    const { answer } = await sendControl({ subtype: 'initialize' });
    answer.then(takeIntroduction).catch(silent);
  } catch (error) {
    silent(error);
  }
}

export async function stop() {
  if (!running.value) return;
  stopping.value = true;
  if (queue.value.length) queuePaused.value = true;
  wantEnd(true);
  try {
    await call('agent/stop');
    ended(0); // in case the event went lost
  } finally {
    stopping.value = false;
  }
}

/** Ends the conversation and begins an empty one; the old one stays in the list. */
export async function newTalk() {
  await stop();
  setQueue([]);
  showTalk([]);
}

/** Stops and starts again in the same conversation: flags act at the start only. */
export async function restart() {
  const resume = sessionId.value;
  await stop();
  await start({ resume });
}

export const canRestart = computed(() => running.value && !busy.value && sessionId.value !== '');

// Questions

/**
 * @param {Question} question
 * @param {Answer} answer
 * @param {string} [words] what the conversation keeps of it
 */
export async function answer(question, answer, words = '') {
  if (answering.value.has(question.id)) return;
  answering.value = new Set(answering.value).add(question.id);
  try {
    await call('agent/permission', answer);
    record({ kind: 'answered', requestId: question.id, words });
    for (const { type, mode: next } of answer.updatedPermissions ?? []) {
      if (type === 'setMode' && textOf(next)) noteMode(next);
    }
  } catch (error) {
    if (isGone(error)) await readStatus();
    throw error;
  } finally {
    const rest = new Set(answering.value);
    rest.delete(question.id);
    answering.value = rest;
  }
}

// Settings

/**
 * Changes the mode: of what runs at once, and for the next start.
 * @param {string} id
 */
export async function setMode(id) {
  if (running.value) await control({ subtype: 'set_permission_mode', mode: id });
  noteMode(id);
  // To do everything without asking is a choice for one conversation.
  if (id !== 'bypassPermissions') await saveClaude({ permissionMode: id });
}

/** What runs has this mode now, and what is started next gets it. @param {string} id */
function noteMode(id) {
  wanted.mode.value = id;
  amend((talk) => ({ ...talk, mode: id }));
}

/** @param {string} id "default" leaves it to the CLI */
export async function setModel(id) {
  if (running.value) await control({ subtype: 'set_model', model: id });
  wanted.model.value = id;
  amend((talk) => ({ ...talk, model: id === 'default' ? talk.model : id }));
  await saveClaude({ model: id });
}

/** Acts from the next start on. @param {Record<string, unknown>} change */
export async function saveClaude(change) {
  // The bridge replaces "claude" as a whole, and others keep their values in it: read it anew, then merge.
  const fresh = recordOf((await call('config', {})).config);
  const claude = { ...recordOf(fresh.claude), ...change };
  applyConfig((await call('config', { claude })).config);
}

/** The CLI's account of its context, and of what is used up. */
export async function readUsage() {
  const answer = await control({ subtype: 'get_context_usage' });
  amend((talk) => ({ ...talk, usage: afterContextAnswer(talk.usage, answer) }));
}

/** @returns {Promise<Record<string, any>>} as the CLI tells it */
export const readLimits = () => control({ subtype: 'get_usage' });

export async function readAccount() {
  const { known, loggedIn, email, subscription } = await get('claude/auth');
  account.value = {
    known: known === true,
    loggedIn: loggedIn === true,
    email: textOf(email),
    subscription: textOf(subscription),
  };
}

/** A conversation that ended can go on; an empty one has nothing to go on with. */
export const canResume = computed(() => !running.value && !isEmpty.value && sessionId.value !== '');
