// Lets a watcher see what is written to a text file, and what it is written over, at the moment it really is: a save
// that ends as a question wrote nothing. What the watcher does with it is its own matter, it must not reject.

import { decodeBytes } from './encoding.js';

/**
 * @typedef {import('./saving.js').SavePorts} SavePorts
 * @typedef {import('./encoding.js').Encoding} Encoding
 * @typedef {Uint8Array<ArrayBuffer>} Bytes
 *
 * @typedef {object} SaveWatcher
 * @property {(path: string, facts: import('./saving.js').FileFacts | null) => Promise<any>} before
 *   the file still holds what is about to go
 * @property {(path: string, text: {bytes: Bytes, encoding: Encoding, restored: boolean}, before: any) => void} after
 *   it was written; `before` is what the other one gave, null for a new file
 */

/** @type {SaveWatcher | null} */
let watcher = null;

/** @param {SaveWatcher | null} next */
export function watchSaves(next) {
  watcher = next;
}

/**
 * The ports of one save.
 * @param {SavePorts} ports
 * @param {object} [options]
 * @param {Encoding} [options.encoding] of the text; else the one that its bytes look like
 * @param {boolean} [options.restored] whether it is that of an earlier version
 * @returns {SavePorts}
 */
export function watchedPorts(ports, { encoding, restored = false } = {}) {
  if (!watcher) return ports;
  const { before, after } = watcher;
  /** @param {string} path @param {Bytes} bytes @param {any} found */
  const told = (path, bytes, found) =>
    after(path, { bytes, encoding: encoding ?? decodeBytes(bytes).encoding, restored }, found);
  return {
    ...ports,
    write: async (path, bytes) => {
      const found = await before(path, await ports.info(path).catch(() => null));
      const answer = await ports.write(path, bytes);
      told(path, bytes, found);
      return answer;
    },
    create: async (path, bytes) => {
      const answer = await ports.create(path, bytes);
      told(path, bytes, null);
      return answer;
    },
  };
}

/**
 * Lets the watcher see a change that the bridge makes to files by itself. A file that the change leaves alone is
 * told with the bytes that it had.
 * @template T
 * @param {readonly string[]} paths
 * @param {{info: SavePorts['info'], read: (path: string) => Promise<Bytes>}} ports
 * @param {() => Promise<T>} change
 * @returns {Promise<T>} what the change gave
 */
export async function watchedChange(paths, { info, read }, change) {
  if (!watcher) return change();
  const { before, after } = watcher;
  const found = new Map();
  for (const path of paths) found.set(path, await before(path, await info(path).catch(() => null)));
  const answer = await change();
  for (const [path, old] of found) {
    // Without what stood there before, the text that stands there now is on disk anyway.
    const bytes = old && (await read(path).catch(() => null));
    if (bytes) after(path, { bytes, encoding: decodeBytes(bytes).encoding, restored: false }, old);
  }
  return answer;
}
