// The chat's conversation: its lines from the bridge, whether the CLI runs, and the CLI's answers to requests.

import { signal } from '@preact/signals';
import { BridgeError, call, get } from '../bridge/api.js';
import { on, onReconnect } from '../bridge/events.js';
import { LineKeeper } from './chatkeep.js';
import { TalkStore } from './chattalk.js';
import { parseRecord, recordOf, slim, textOf } from './chatwire.js';
import { note } from './log.js';

/** Descriptions of commands can be long, and only their beginning is shown. */
const INTRODUCTION_CHARS = 500;
/** A control request that is not answered by then never will be. */
export const ANSWER_WITHIN_MS = 20000;

export const chat = new TalkStore();

export const { items, dropped, tail, questions, usage, announced, sessionId, mode, model, busy, status } = chat;
export const { stderr, rawLines, rawShown, isEmpty } = chat;

/** Whether the CLI runs, where it was found, and who is signed in. */
export const running = signal(false);
export const executable = signal('');
/** Nothing is said about the CLI before the bridge has answered once. */
export const statusKnown = signal(false);

/** Calls `fn` when a turn has ended and the views know it. @param {() => void} fn */
export const onTurnEnd = (fn) => chat.onTurnEnd(fn);

/**
 * Takes up what a reload left and listens from now on.
 * @param {Storage} storage
 * @param {string} session
 */
export function connectTalk(storage, session) {
  chat.keepWith(new LineKeeper(storage, session));
  on('agent.event', ({ line }) => takeLine(textOf(line)));
  on('agent.stderr', ({ text }) => chat.takeStderr(textOf(text)));
  on('agent.exit', ({ code }) => ended(code));
  onReconnect(readAgain);
}

/** What was kept of this run. */
export const keptValue = (/** @type {string} */ name) => chat.keeper?.kept(name);

/**
 * @param {string} name
 * @param {unknown} value
 */
export const keepValue = (name, value) => chat.keeper?.keep(name, value) ?? false;

/** Whether the storage has already lost the beginning of the conversation. */
export const beginningLost = () => (chat.keeper?.first ?? 0) > 0;

/** The conversation's lines in their kept form. */
export const keptLines = () => chat.lines;

/** @param {string[]} whole with the beginning that the tab's storage had no room for */
export const setKeptLines = (whole) => chat.setKeptLines(whole);

/**
 * Begins anew with the lines of an earlier conversation, or none.
 * @param {readonly string[]} kept
 */
export const showTalk = (kept) => chat.show(kept);

let spoken = 0;

/** How many lines of its own accord the CLI has printed: to see whether it still does anything. */
export const spokenLines = () => spoken;

/** @param {string} line */
function takeLine(line) {
  if (!settleAnswer(line)) spoken += 1;
  chat.takeLine(line);
}

/**
 * Puts a record of the page's own beside the CLI's lines.
 * @param {Record<string, unknown> & {kind: string}} record
 */
export const record = (record) => chat.record(record);

/** Set while the user has asked for the end, so that it is no failure. */
let endWanted = false;

/** @param {boolean} wanted */
export function wantEnd(wanted) {
  endWanted = wanted;
}

/** @param {unknown} code */
export function ended(code) {
  if (!running.value) return;
  running.value = false;
  for (const id of [...waiting.keys()]) fail(id, 'Claude has ended');
  record({ kind: 'ended', code: typeof code === 'number' ? code : -1, wanted: endWanted });
  endWanted = false;
}

/** Asks the bridge whether the CLI runs, at start and after a gap. */
export async function readStatus() {
  const { running: runs, executable: path } = await get('agent/status');
  executable.value = textOf(path);
  statusKnown.value = true;
  if (runs === true) running.value = true;
  else if (running.value || questions.value.length || busy.value) {
    running.value = true; // for `ended`, which does nothing twice
    endWanted = true;
    ended(-1);
  }
}

async function readAgain() {
  const ran = running.value;
  if (ran) record({ kind: 'gap' });
  try {
    await readStatus();
  } catch (error) {
    if (!(error instanceof BridgeError)) throw error;
    note('warning', 'Could not read whether Claude runs', error);
  }
}

/** @param {boolean} shown whether anybody looks at the raw lines */
export const showRaw = (shown) => chat.showRaw(shown);

/**
 * Changes what is known without a line: a mode that was set, an answer to a question of the page.
 * @param {(talk: import('./chatstream.js').Talk) => import('./chatstream.js').Talk} change
 */
export const amend = (change) => chat.amend(change);

/** @param {unknown} answer to "initialize" */
export function takeIntroduction(answer) {
  record({ kind: 'introduced', answer: slim(answer, INTRODUCTION_CHARS) });
}

// Answers of the CLI to requests of the page

/** @typedef {{resolve: (answer: Record<string, any>) => void, reject: (error: Error) => void}} Waiting */

/** @type {Map<string, Waiting>} */
const waiting = new Map();
/**
 * Answers whose request's id is not known yet: the line may overtake the bridge's answer.
 * @type {Map<string, Record<string, any>>}
 */
const early = new Map();
const KEPT_EARLY = 16;

/** @typedef {Record<string, unknown> & {subtype: string}} ControlRequest */

/**
 * Sends a control request and waits for what the CLI says to it.
 * @param {ControlRequest} request
 * @returns {Promise<Record<string, any>>}
 */
export async function control(request) {
  return (await sendControl(request)).answer;
}

/**
 * Sends a control request. It resolves when the CLI has it, and `answer` does when the CLI has answered.
 * @param {ControlRequest} request
 * @returns {Promise<{answer: Promise<Record<string, any>>}>}
 */
export async function sendControl(request) {
  const { requestId } = await call('agent/control', { request });
  return { answer: answerTo(requestId) };
}

/**
 * @param {string} requestId
 * @returns {Promise<Record<string, any>>}
 */
function answerTo(requestId) {
  const there = early.get(requestId);
  early.delete(requestId);
  if (there) return answerOf(there);
  return new Promise((resolve, reject) => {
    const timer = setTimeout(() => fail(requestId, 'Claude does not answer'), ANSWER_WITHIN_MS);
    const done = () => {
      clearTimeout(timer);
      waiting.delete(requestId);
    };
    waiting.set(requestId, {
      resolve: (answer) => (done(), resolve(answer)),
      reject: (error) => (done(), reject(error)),
    });
  });
}

/**
 * @param {string} id
 * @param {string} words
 */
function fail(id, words) {
  waiting.get(id)?.reject(new Error(words));
}

/**
 * @param {string} line
 * @returns {boolean} whether the line is an answer
 */
function settleAnswer(line) {
  if (!line.includes('"control_response"')) return false;
  const { type, response } = parseRecord(line) ?? {};
  const id = textOf(recordOf(response).request_id);
  if (type !== 'control_response') return false;
  const one = waiting.get(id);
  if (one) answerOf(recordOf(response)).then(one.resolve, one.reject);
  else early.set(id, recordOf(response));
  if (early.size > KEPT_EARLY) early.delete(/** @type {string} */ (early.keys().next().value));
  return true;
}

/** @param {Record<string, any>} response */
async function answerOf({ subtype, response, error }) {
  if (subtype === 'error') throw new Error(textOf(error) || 'Claude refused');
  return recordOf(response);
}
