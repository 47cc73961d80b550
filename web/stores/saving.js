// Writing a buffer to disk without writing over somebody else's work.
//
// The bridge writes in place and asks nothing, and tells file times in whole seconds. So before each write
// the file is looked at again: another size or time, or a time too close to tell, leads to comparing the
// text itself, and only a text that really differs is a conflict for the user to decide.

import { decodeBytes, textHash } from './encoding.js';

/**
 * @typedef {import('./buffers.js').TextBuffer} TextBuffer
 * @typedef {import('./buffers.js').Base} Base
 * @typedef {{exists: boolean, directory: boolean, size: number, modified: number}} FileFacts
 *
 * What saving needs of the bridge. `info` gives null for a path that does not exist.
 * @typedef {object} SavePorts
 * @property {(path: string) => Promise<FileFacts | null>} info
 * @property {(path: string) => Promise<string>} contents the text as the bridge reads it, mark included
 * @property {(path: string, bytes: Uint8Array<ArrayBuffer>) => Promise<unknown>} write
 * @property {(path: string, bytes: Uint8Array<ArrayBuffer>) => Promise<unknown>} create makes missing folders
 * @property {() => number} now milliseconds since the epoch
 *
 * @typedef {'saved' | 'conflict' | 'unencodable'} SaveOutcome
 */

/**
 * What the file's facts say about writing: "write" is safe, "create" brings a deleted file back,
 * "look" means only the text can tell.
 * @param {Base | null} base
 * @param {FileFacts | null} facts
 * @returns {'write' | 'create' | 'look'}
 */
export function decideSave(base, facts) {
  if (!facts) return 'create';
  if (!base || base.racy) return 'look';
  return base.size === facts.size && base.modified === facts.modified ? 'write' : 'look';
}

/**
 * @param {string} contents as the bridge reads it
 * @param {number} size
 * @param {number} modified seconds
 * @param {number} nowMs
 * @returns {Base}
 */
export function baseOf(contents, size, modified, nowMs) {
  return { size, modified, hash: textHash(contents), racy: modified >= Math.floor(nowMs / 1000) - 1 };
}

/**
 * What the bridge's reading of these bytes gives.
 * @param {Uint8Array} bytes
 */
export function contentsOf(bytes) {
  const { encoding, text } = decodeBytes(bytes);
  return encoding === 'utf8bom' ? `\uFEFF${text}` : text;
}

/**
 * Runs tasks of one key one after another, in the order they were asked for. Keys do not wait for each other.
 * @returns {<T>(key: string, task: () => Promise<T>) => Promise<T>}
 */
export function serialQueue() {
  /** @type {Map<string, Promise<unknown>>} */
  const last = new Map();
  return (key, task) => {
    const turn = (last.get(key) ?? Promise.resolve()).then(task, task);
    const settled = turn
      .catch(() => {})
      .then(() => {
        if (last.get(key) === settled) last.delete(key);
      });
    last.set(key, settled);
    return turn;
  };
}

/**
 * Writes the buffer. The text is taken once, so keys typed meanwhile stay unsaved. A failure throws the
 * bridge's words and leaves the buffer as it was.
 * @param {TextBuffer} buffer
 * @param {SavePorts} ports
 * @param {{overwrite?: boolean}} [options]
 * @returns {Promise<SaveOutcome>}
 */
export async function saveBuffer(buffer, ports, { overwrite = false } = {}) {
  const path = buffer.path.value;
  const facts = await ports.info(path);
  const state = buffer.state();
  const bytes = buffer.bytes();
  if (!bytes) return 'unencodable';
  const contents = contentsOf(bytes);
  const decision = overwrite && facts ? 'write' : decideSave(buffer.base, facts);
  if (decision === 'look') {
    const found = await ports.contents(path);
    if (found !== contents && textHash(found) !== buffer.base?.hash) {
      buffer.diskChanged.value = true;
      return 'conflict';
    }
  }
  await (decision === 'create' ? ports.create(path, bytes) : ports.write(path, bytes));
  const after = await ports.info(path);
  // Facts that do not fit what was written are somebody else's: the next save must look.
  const ours = after !== null && after.size === bytes.length;
  buffer.base = baseOf(contents, bytes.length, ours ? after.modified : 0, ports.now());
  if (!ours) buffer.base.racy = true;
  buffer.diskChanged.value = false;
  buffer.markSaved(state);
  return 'saved';
}
