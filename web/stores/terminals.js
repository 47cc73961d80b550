// The terminals of this page: which there are, how they stand, and their way to the bridge and back.
// What they look like is the panel's affair: each has a screen there that takes its output.

import { computed, signal } from '@preact/signals';
import { call } from '../bridge/api.js';
import { on } from '../bridge/events.js';
import { sessionToken } from '../bridge/token.js';
import { keepList, keptList } from './terminalkeep.js';
import { Feed } from './terminalfeed.js';
import { InputQueue } from './terminalinput.js';
import { activePane, addGroup, EMPTY, removePane, showPane, soundLayout, splitPane } from './terminallayout.js';

/**
 * @typedef {'shell' | 'claude'} TerminalKind
 *
 * @typedef {object} TerminalInfo
 * @property {string} key this page's name for it, from before the bridge has given an id
 * @property {string} id the bridge's; "" until then
 * @property {TerminalKind} kind
 * @property {string} title
 * @property {string} cwd absolute folder in which it began; "" when unknown
 * @property {'starting' | 'running' | 'exited'} state
 * @property {number | null} code of an exit; null when nobody knows it
 *
 * @typedef {object} Screen takes what a terminal does
 * @property {(data: string) => void} data
 * @property {(code: number) => void} exit
 * @property {() => Promise<{cols: number, rows: number}>} size once it is to be seen
 */

/** @type {import('@preact/signals').Signal<TerminalInfo[]>} */
export const terminals = signal([]);
/** @type {import('@preact/signals').Signal<import('./terminallayout.js').TerminalLayout>} */
export const terminalLayout = signal(EMPTY);
/** The terminal in front, if there is one. */
export const frontTerminal = computed(() => terminalByKey(activePane(terminalLayout.value)));

const feed = new Feed();
/** @type {Map<string, InputQueue>} */
const queues = new Map();
/** @type {Map<string, {cols: number, rows: number}>} */
const sizes = new Map();
/** @type {(key: string, error: unknown) => void} */
let onInputError = () => {};

/** @param {string} key */
export const terminalByKey = (key) => terminals.value.find((one) => one.key === key);

/** @param {(key: string, error: unknown) => void} fn told when keys did not reach a terminal */
export function setInputErrorHandler(fn) {
  onInputError = fn;
}

/** Listens to the bridge from now on. */
export function listenToTerminals() {
  on('terminal.data', ({ id, data }) => feed.data(String(id), String(data)));
  on('terminal.exit', ({ id, code }) => feed.exit(String(id), Number(code)));
}

/**
 * @param {object} options
 * @param {TerminalKind} options.kind
 * @param {string} options.title
 * @param {string} [options.cwd] workspace path; of a file its folder is meant
 * @param {string} [options.beside] key of the terminal to stand beside
 * @param {(key: string) => Screen} options.screen
 * @returns {Promise<string>} its key; rejects when the bridge could not start it
 */
export async function createTerminal({ kind, title, cwd, beside, screen: makeScreen }) {
  const key = freshKey();
  terminals.value = [...terminals.value, { key, id: '', kind, title, cwd: '', state: 'starting', code: null }];
  const screen = makeScreen(key);
  terminalLayout.value = beside ? splitPane(terminalLayout.value, beside, key) : addGroup(terminalLayout.value, key);
  try {
    await startTerminal(key, screen, cwd);
  } catch (error) {
    closeTerminal(key);
    throw error;
  }
  return key;
}

/**
 * Starts what a terminal of the list is for, at first or once more.
 * @param {string} key @param {Screen} screen @param {string} [cwd] workspace path
 */
export async function startTerminal(key, screen, cwd) {
  const { kind } = /** @type {TerminalInfo} */ (terminalByKey(key));
  const size = await screen.size();
  const body = { kind, ...size, ...(cwd && { cwd }) };
  await feed.hold(
    () => call('terminal/create', body),
    (answer) => started(key, answer, screen, size),
  );
}

/** @param {string} key @param {any} answer @param {Screen} screen @param {{cols: number, rows: number}} size */
function started(key, answer, screen, size) {
  const id = String(answer.id);
  // Closed while it was being made: nobody would ever end it.
  if (!terminalByKey(key)) return void release(id);
  change(key, { id, state: 'running', code: null, cwd: String(answer.cwd ?? '') });
  attach(key, id, screen);
  const now = sizes.get(key);
  sizes.set(key, size);
  if (now) resizeTerminal(key, now.cols, now.rows);
}

/** @param {string} key @param {string} id @param {Screen} screen */
function attach(key, id, screen) {
  const send = (/** @type {string} */ data) => sendInput(id, data);
  queues.set(key, new InputQueue(send, (error) => onInputError(key, error)));
  feed.attach(id, {
    data: (data) => screen.data(data),
    exit: (code) => {
      ended(key, id, code);
      screen.exit(code);
    },
  });
}

/** @param {string} id @param {string} data */
async function sendInput(id, data) {
  const { ok } = await call('terminal/input', { id, data });
  if (ok === false) throw new Error(`the terminal ${id} does not exist any more`);
}

/** @param {string} key @param {string} id @param {number | null} code */
function ended(key, id, code) {
  change(key, { state: 'exited', code });
  queues.get(key)?.clear();
  queues.delete(key);
  feed.detach(id);
  release(id);
}

/** Lets the bridge forget a terminal; one that runs is ended. @param {string} id */
function release(id) {
  // An exited terminal is forgotten at the end of the session at the latest.
  call('terminal/kill', { id }).catch(() => {});
}

/** Types into a terminal. @param {string} key @param {string} data */
export function typeInto(key, data) {
  queues.get(key)?.push(data);
}

/** @param {string} key @param {number} cols @param {number} rows */
export function resizeTerminal(key, cols, rows) {
  const before = sizes.get(key);
  if (before?.cols === cols && before.rows === rows) return;
  sizes.set(key, { cols, rows });
  const id = terminalByKey(key)?.id;
  // Before there is an id the size is kept; `started` sends it.
  if (id && queues.has(key)) call('terminal/resize', { id, cols, rows }).catch((error) => onInputError(key, error));
}

/** Ends a terminal and takes it out of the list. @param {string} key */
export function closeTerminal(key) {
  const info = terminalByKey(key);
  if (!info) return;
  if (info.id) {
    feed.detach(info.id);
    if (info.state === 'running') release(info.id);
  }
  queues.delete(key);
  sizes.delete(key);
  terminals.value = terminals.value.filter((one) => one.key !== key);
  terminalLayout.value = removePane(terminalLayout.value, key);
}

/** @param {string} key @param {string} title */
export const renameTerminal = (key, title) => change(key, { title });

/** @param {string} key */
export function showTerminal(key) {
  terminalLayout.value = showPane(terminalLayout.value, key);
}

/**
 * Takes up what ran before a reload of the page. Output written meanwhile is lost.
 * @param {Storage} storage
 * @param {(info: TerminalInfo) => Screen} makeScreen
 */
export async function restoreTerminals(storage, makeScreen) {
  const { terminals: kept, layout } = keptList(storage, sessionToken());
  /** @type {TerminalInfo[]} */
  const list = kept.map((one) => ({ ...one, state: one.code === null ? 'running' : 'exited' }));
  terminals.value = list;
  terminalLayout.value = soundLayout(layout, list.map(({ key }) => key));
  for (const info of list) {
    const screen = makeScreen(info);
    if (info.state === 'running') attach(info.key, info.id, screen);
  }
  await Promise.all(list.filter(({ state }) => state === 'running').map(checkAlive));
}

/** Typing nothing tells whether the bridge still knows a terminal. @param {TerminalInfo} info */
export async function checkAlive({ key, id }) {
  const { ok } = await call('terminal/input', { id, data: '' });
  if (ok === false) ended(key, id, null);
}

/** @param {Storage} storage */
export function keepTerminals(storage) {
  const kept = terminals.value
    .filter(({ id }) => id !== '')
    .map(({ state, ...fields }) => ({ ...fields, code: state === 'running' ? null : (fields.code ?? -1) }));
  keepList(storage, sessionToken(), { terminals: kept, layout: terminalLayout.value });
}

/** @param {string} key @param {Partial<TerminalInfo>} fields */
function change(key, fields) {
  terminals.value = terminals.value.map((one) => (one.key === key ? { ...one, ...fields } : one));
}

let lastKey = 0;

/** Not that of a terminal from before a reload. */
function freshKey() {
  do lastKey += 1;
  while (terminalByKey(`t${lastKey}`));
  return `t${lastKey}`;
}
