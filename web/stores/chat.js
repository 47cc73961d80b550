// The conversation as signals: takes the CLI's lines from the bridge, keeps what is known in one value, and
// tells the views what changed. Settled things are told at once, the growing end once a frame.

import { batch, computed, signal } from '@preact/signals';
import { BridgeError, call, get } from '../bridge/api.js';
import { on, onReconnect } from '../bridge/events.js';
import { TRANSCRIPT_CHARS } from './chathistory.js';
import { LineKeeper } from './chatkeep.js';
import { afterLine, emptyTalk } from './chatstream.js';
import { clipped, parseRecord, recordOf, slim, textOf } from './chatwire.js';
import { note } from './log.js';

/** Characters of standard error, and raw lines, that the drawer shows. */
export const STDERR_CHARS = 65536;
export const RAW_LINES = 300;
export const RAW_LINE_CHARS = 20000;
/** Descriptions of commands can be long, and only their beginning is shown. */
const INTRODUCTION_CHARS = 500;
/** A control request that is not answered by then never will be. */
export const ANSWER_WITHIN_MS = 20000;

/** @typedef {import('./chatstream.js').Talk} Talk */

let talk = emptyTalk();

/** @type {import('@preact/signals').Signal<readonly import('./chatstream.js').Item[]>} */
export const items = signal(talk.items);
export const dropped = signal(0);
/** @type {import('@preact/signals').Signal<readonly import('./chattail.js').TailBlock[]>} */
export const tail = signal(talk.tail.blocks);
/** @type {import('@preact/signals').Signal<readonly import('./chatquestions.js').Question[]>} */
export const questions = signal(talk.questions);
export const usage = signal(talk.usage);
export const announced = signal(talk.announced);
export const sessionId = signal('');
export const mode = signal('');
export const model = signal('');
export const busy = signal(false);
export const status = signal('');

/** Whether the CLI runs, where it was found, and who is signed in. */
export const running = signal(false);
export const executable = signal('');
/** Nothing is said about the CLI before the bridge has answered once. */
export const statusKnown = signal(false);

export const stderr = signal('');
/** The newest lines as they came, for the drawer. @type {import('@preact/signals').Signal<string[]>} */
export const rawLines = signal([]);
export const rawShown = signal(false);
export const isEmpty = computed(() => items.value.length === 0 && tail.value.length === 0);

/** @type {string[]} */
let raw = [];
/**
 * The conversation in its kept form, for the transcript; the oldest go when it is twice what that takes.
 * @type {string[]}
 */
let lines = [];
let lineChars = 0;
/** @type {LineKeeper | null} */
let keeper = null;

/** @type {Set<() => void>} */
const turnEndings = new Set();

/** Calls `fn` when a turn has ended and the views know it. @param {() => void} fn */
export function onTurnEnd(fn) {
  turnEndings.add(fn);
  return () => void turnEndings.delete(fn);
}

/**
 * Takes up what a reload left and listens from now on.
 * @param {Storage} storage
 * @param {string} session
 */
export function connectTalk(storage, session) {
  keeper = new LineKeeper(storage, session);
  showLines(keeper.load());
  const open = keeper.kept('questions');
  if (Array.isArray(open)) {
    talk = { ...talk, questions: open.filter((one) => typeof one?.id === 'string' && one.id) };
  }
  publish();
  on('agent.event', ({ line }) => takeLine(textOf(line)));
  on('agent.stderr', ({ text }) => {
    stderr.value = (stderr.value + textOf(text)).slice(-STDERR_CHARS);
  });
  on('agent.exit', ({ code }) => ended(code));
  onReconnect(readAgain);
}

/** What was kept of this run. */
export const keptValue = (/** @type {string} */ name) => keeper?.kept(name);

/**
 * @param {string} name
 * @param {unknown} value
 */
export const keepValue = (name, value) => keeper?.keep(name, value) ?? false;

/** Whether the storage has already lost the beginning of the conversation. */
export const beginningLost = () => (keeper?.first ?? 0) > 0;

/** The conversation's lines in their kept form. */
export const keptLines = () => lines;

/** @param {string[]} whole with the beginning that the tab's storage had no room for */
export function setKeptLines(whole) {
  lines = whole;
  lineChars = charsOf(whole);
}

/** @param {readonly string[]} list */
const charsOf = (list) => list.reduce((sum, line) => sum + line.length, 0);

/**
 * Begins anew with the lines of an earlier conversation, or none.
 * @param {readonly string[]} kept
 */
export function showTalk(kept) {
  keeper?.clear();
  for (const line of kept) keeper?.add(line);
  showLines(kept);
  publish();
}

/** @param {readonly string[]} kept */
function showLines(kept) {
  talk = emptyTalk();
  setKeptLines([...kept]);
  raw = [];
  stderr.value = '';
  // Remarks were noted when the lines came.
  for (const line of kept) talk = afterLine(talk, line).talk;
}

let spoken = 0;

/** How many lines of its own accord the CLI has printed: to see whether it still does anything. */
export const spokenLines = () => spoken;

/** @param {string} line */
function takeLine(line) {
  raw.push(clipped(line, RAW_LINE_CHARS));
  if (raw.length > RAW_LINES * 2) raw = raw.slice(-RAW_LINES);
  if (!settleAnswer(line)) spoken += 1;
  apply(line);
}

/** @param {string} line */
function apply(line) {
  const before = talk;
  const { talk: next, remarks } = afterLine(talk, line);
  talk = next;
  for (const { text, detail } of remarks) note('event', text, detail);
  remember(line);
  publishSoon(before);
  if (before.busy && !talk.busy) for (const fn of [...turnEndings]) fn();
}

/** @param {string} line */
function remember(line) {
  const form = keeper?.add(line) ?? '';
  if (!form) return;
  lines.push(form);
  lineChars += form.length;
  if (lineChars > 2 * TRANSCRIPT_CHARS) setKeptLines(lines.slice(Math.ceil(lines.length / 2)));
}

/**
 * Puts a record of the page's own beside the CLI's lines.
 * @param {Record<string, unknown> & {kind: string}} record
 */
export function record(record) {
  apply(JSON.stringify({ type: 'marlin', ...record }));
}

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

// What the views see

let framed = false;

/** @param {Talk} before */
function publishSoon(before) {
  const { tail: open, ...rest } = talk;
  // A delta changes the tail alone, and there are hundreds a second.
  const quiet = Object.entries(rest).every(
    ([key, value]) => before[/** @type {keyof Talk} */ (key)] === value,
  );
  if (!quiet) publish();
  else if (open !== before.tail && !framed) {
    framed = true;
    nextFrame(() => {
      framed = false;
      publish();
    });
  } else if (rawShown.value) rawLines.value = raw.slice(-RAW_LINES);
}

/** @param {() => void} fn */
function nextFrame(fn) {
  // Stores are also tested where there are no frames.
  if (typeof requestAnimationFrame === 'function') requestAnimationFrame(fn);
  else setTimeout(fn, 16);
}

function publish() {
  const open = talk.questions !== questions.value;
  batch(() => {
    items.value = talk.items;
    dropped.value = talk.dropped;
    tail.value = talk.tail.blocks;
    questions.value = talk.questions;
    usage.value = talk.usage;
    announced.value = talk.announced;
    sessionId.value = talk.sessionId;
    mode.value = talk.mode;
    model.value = talk.model;
    busy.value = talk.busy;
    status.value = talk.status;
    if (rawShown.value) rawLines.value = raw.slice(-RAW_LINES);
  });
  // Apart from the lines: these may be dropped while the question still waits.
  if (open) keeper?.keep('questions', talk.questions);
}

/** @param {boolean} shown whether anybody looks at the raw lines */
export function showRaw(shown) {
  rawShown.value = shown;
  if (shown) rawLines.value = raw.slice(-RAW_LINES);
}

/**
 * Changes what is known without a line: a mode that was set, an answer to a question of the page.
 * @param {(talk: Talk) => Talk} change
 */
export function amend(change) {
  talk = change(talk);
  publish();
}

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
