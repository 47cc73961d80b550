// Reading and writing files through the bridge, with their encoding, byte order mark and line ends kept.

import { BridgeError, call, get, post, raw } from '../bridge/api.js';
import { decodeBytes, splitMark, utf8Length, writeBody } from './encoding.js';
import { splitEnds } from './lineends.js';
import { baseOf } from './saving.js';

/**
 * @typedef {object} FileInfo
 * @property {string} path
 * @property {string} name
 * @property {boolean} exists
 * @property {boolean} directory
 * @property {number} size
 * @property {number} modified seconds
 * @property {string} kind
 * @property {string} mime
 * @property {string} language
 * @property {boolean} binary
 *
 * @typedef {object} TextFile
 * @property {FileInfo} info
 * @property {string} text without its byte order mark
 * @property {import('./encoding.js').Encoding} encoding
 * @property {'\n' | '\r\n'} eol
 * @property {string | null} ends
 * @property {import('./buffers.js').Base} base
 * @property {boolean} truncated
 */

/**
 * @param {string} path
 * @returns {Promise<FileInfo | null>} null when there is nothing at the path
 */
export async function fileInfo(path) {
  try {
    return await get('file/info', { path });
  } catch (error) {
    if (error instanceof BridgeError && error.status === 404) return null;
    throw error;
  }
}

/** @param {string} path */
export async function readBytes(path) {
  return new Uint8Array(await (await raw(path)).arrayBuffer());
}

/**
 * A text file, or only the facts of one that is not text.
 * @param {string} path
 * @returns {Promise<TextFile | {info: FileInfo, text: null}>}
 */
export async function readTextFile(path) {
  const answer = await get('file/read', { path });
  const { contents, truncated = false, ...info } = answer;
  if (info.binary) return { info, text: null };
  let size = info.size;
  let decoded = splitMark(contents);
  // The bridge turns what is not UTF-8 into UTF-8 without saying so; the length gives it away.
  if (!truncated && utf8Length(contents) !== info.size) {
    const bytes = await readBytes(path);
    size = bytes.length;
    decoded = decodeBytes(bytes);
  }
  const { text, encoding } = decoded;
  const base = baseOf(contents, size, info.modified, Date.now());
  return { info, text, encoding, truncated, base, ...splitEnds(text) };
}

/**
 * @param {string} path
 * @param {Uint8Array<ArrayBuffer>} bytes
 */
export function writeFile(path, bytes) {
  return post('file/write', writeBody(path, bytes));
}

/**
 * Makes a file that does not exist yet, and the folders it needs.
 * @param {string} path
 * @param {Uint8Array<ArrayBuffer>} bytes
 */
export function createFile(path, bytes) {
  return post('file/create', writeBody(path, bytes));
}

/** @param {string} path */
export function createFolder(path) {
  return call('file/create', { path, directory: true });
}

/** @type {import('./saving.js').SavePorts} */
export const savePorts = {
  info: fileInfo,
  contents: async (path) => (await get('file/read', { path })).contents,
  write: writeFile,
  create: createFile,
  now: () => Date.now(),
};
