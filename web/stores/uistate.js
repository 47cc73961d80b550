// The page's own small storage: one JSON document that the native side keeps, written whole. Setting a
// key is cheap; the document goes out once things are quiet, and never two at a time.

import { get as fetchJson, post } from '../bridge/api.js';
import { onReconnect } from '../bridge/events.js';
import { note } from './log.js';

/** The largest document that the native side takes, in bytes. */
export const MAX_BYTES = 524288;
/** Closing the window tells the page nothing, so what waits to be written waits only this long. */
export const WRITE_AFTER_MS = 300;

/** Each key's value as JSON: sizes are known without a look at the whole. @type {Map<string, string>} */
const texts = new Map();
const encoder = new TextEncoder();

let loaded = false;
let dirty = false;
/** @type {ReturnType<typeof setTimeout> | undefined} */
let timer;
/** @type {Promise<void> | null} */
let writing = null;

/** Reads the document at start. What was set before wins over what is read. */
export async function loadUiState() {
  let document = {};
  try {
    document = await fetchJson('ui-state');
  } catch (error) {
    // Status 200 with a text that is no JSON is a damaged file, replaced by the next write. After
    // any other failure the file may be well, and must not be overwritten.
    if (!(error instanceof Error && 'status' in error && error.status === 200)) throw error;
    note('warning', 'The saved layout could not be read and starts afresh', error);
  }
  for (const [key, value] of Object.entries(document ?? {})) {
    if (!texts.has(key)) texts.set(key, JSON.stringify(value));
  }
  loaded = true;
  if (dirty) schedule();
}

/**
 * A fallback of `false` stands for any boolean, and so on.
 * @template T
 * @typedef {T extends boolean ? boolean : T extends number ? number : T extends string ? string : T} Widened
 */

/**
 * @template T
 * @param {string} key
 * @param {T} fallback
 * @returns {Widened<T>}
 */
export function get(key, fallback) {
  const text = texts.get(key);
  return text === undefined ? /** @type {any} */ (fallback) : JSON.parse(text);
}

/**
 * Keeps a value, or with undefined forgets it.
 * @param {string} key
 * @param {unknown} value anything that JSON can hold
 * @returns {boolean} false when the document would be too large; the old value then stays
 */
export function set(key, value) {
  const text = JSON.stringify(value);
  if (texts.get(key) === text) return true;
  if (text === undefined) texts.delete(key);
  else if (sizeWith(key, text) > MAX_BYTES) return false;
  else texts.set(key, text);
  dirty = true;
  schedule();
  return true;
}

/** Writes what waits, now. Resolves when it is on disk, rejects with the reason it is not. */
export async function flush() {
  clearTimeout(timer);
  timer = undefined;
  while (writing) await writing.catch(() => {});
  if (!dirty || !loaded) return;
  dirty = false;
  writing = write();
  try {
    await writing;
  } finally {
    writing = null;
  }
}

async function write() {
  try {
    await post('ui-state', documentText());
  } catch (error) {
    dirty = true; // the next change, or the link's return, tries again
    throw error;
  }
}

function schedule() {
  if (!loaded || timer !== undefined) return;
  timer = setTimeout(() => {
    flush().catch((error) => note('error', 'Could not save the layout', error));
  }, WRITE_AFTER_MS);
}

function documentText() {
  return `{${[...texts].map(([key, text]) => `${JSON.stringify(key)}:${text}`).join(',')}}`;
}

/**
 * @param {string} key
 * @param {string} text
 */
function sizeWith(key, text) {
  let bytes = 1; // two braces, and one comma less than there are keys
  for (const [name, value] of new Map(texts).set(key, text)) {
    bytes += encoder.encode(JSON.stringify(name)).length + encoder.encode(value).length + 2;
  }
  return bytes;
}

onReconnect(flush);
