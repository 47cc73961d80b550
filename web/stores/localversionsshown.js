// The local versions of the workspace: whether any are kept, what the editor hands over to be kept, and those of
// the file that the history panel shows. Whatever goes wrong here goes to the log: it must never disturb a save.

import { batch, signal } from '@preact/signals';
import { call, get } from '../bridge/api.js';
import { plainText } from './changes.js';
import { decodeAs, decodeBytes } from './encoding.js';
import { createFolder, readBytes, writeFile } from './files.js';
import { MOST_BYTES } from './localversions.js';
import { LocalVersions } from './localversionsdisk.js';
import { note } from './log.js';
import { relabel, rootOf } from './paths.js';
import { roots } from './settings.js';
import * as uistate from './uistate.js';

/**
 * @typedef {import('./localversions.js').Version} Version
 * @typedef {import('./localversions.js').Cause} Cause
 * @typedef {import('./encoding.js').Encoding} Encoding
 */

const kKey = 'history.local';

export const localVersions = new LocalVersions({
  list: async (path) => (await get('tree', { path })).entries,
  read: readBytes,
  write: writeFile,
  makeFolder: createFolder,
  move: (from, to) => call('file/rename', { from, to }),
  trash: (path) => call('file/delete', { path }),
});

/** Whether texts are kept from now on. */
export const keepingVersions = signal(true);

/** The file whose versions are shown; "" for none. */
export const shownFile = signal('');
/** @type {import('@preact/signals').Signal<readonly Version[]>} the oldest first */
export const shownVersions = signal([]);
export const versionsFailure = signal('');

export function loadKeeping() {
  keepingVersions.value = uistate.get(kKey, /** @type {unknown} */ (true)) !== false;
}

/** @param {boolean} on */
export function setKeeping(on) {
  keepingVersions.value = on;
  uistate.set(kKey, on);
}

/** Whether a path can have versions: those of the editor's own files would be versions of versions. @param {string} path */
export const hasVersions = (path) =>
  path.includes('/') && !/\/\.marlin\//.test(path) && roots.value.some(({ name }) => name === rootOf(path));

/**
 * What is about to be written over.
 * @param {string} path
 * @param {{size: number, modified: number, binary?: boolean} | null} facts
 * @returns {Promise<{bytes: Uint8Array<ArrayBuffer>, time: number} | null>} null for what is not kept
 */
export async function findBefore(path, facts) {
  if (!keepingVersions.value || !hasVersions(path) || !facts || facts.binary || facts.size > MOST_BYTES) return null;
  try {
    return { bytes: await readBytes(path), time: facts.modified * 1000 };
  } catch (error) {
    note('warning', `Could not keep what ${path} held before`, error);
    return null;
  }
}

/**
 * Keeps a text, and what stood in its place before.
 * @param {string} path
 * @param {{bytes: Uint8Array<ArrayBuffer>, encoding: Encoding, cause: Cause}} text
 * @param {Awaited<ReturnType<typeof findBefore>>} [before]
 */
export async function keepText(path, text, before = null) {
  if (!keepingVersions.value || !hasVersions(path)) return;
  const now = { ...text, time: Date.now() };
  const found = before && { ...before, encoding: decodeBytes(before.bytes).encoding, cause: /** @type {const} */ ('found') };
  try {
    if (!(await localVersions.keep(path, found ? [found, now] : [now]))) return;
  } catch (error) {
    note('warning', `Could not keep a version of ${path}`, error);
  }
  if (path === shownFile.value) await readShown();
}

/** @param {string} from @param {string} to */
export async function followFile(from, to) {
  try {
    await localVersions.renamed(from, to);
  } catch (error) {
    note('warning', `The local versions of ${from} could not follow to ${to}`, error);
  }
  shownFile.value = relabel(shownFile.value, from, to);
  await readShown();
}

/** @param {string} path */
export function showVersionsOf(path) {
  if (path === shownFile.value) return;
  batch(() => {
    shownFile.value = path;
    shownVersions.value = [];
    versionsFailure.value = '';
  });
  void readShown();
}

/** Reads the list anew. */
export async function readShown() {
  const path = shownFile.value;
  let list = /** @type {Version[]} */ ([]);
  let failure = '';
  try {
    if (hasVersions(path)) list = await localVersions.versions(path);
  } catch (error) {
    failure = error instanceof Error ? error.message : String(error);
  }
  if (shownFile.value !== path) return;
  batch(() => {
    shownVersions.value = list;
    versionsFailure.value = failure;
  });
}

/** @param {string} path @param {(version: Version) => boolean} [chosen] all without it */
export async function removeVersions(path, chosen) {
  await localVersions.remove(path, chosen);
  if (path === shownFile.value) await readShown();
}

/** Puts the versions of all files into the Trash. */
export async function clearVersions() {
  try {
    for (const { name } of roots.value) await localVersions.clear(name);
  } finally {
    await readShown();
  }
}

/**
 * A version as text, byte order mark apart.
 * @param {string} path
 * @param {number} time
 */
export async function readVersion(path, time) {
  const { version, bytes } = await localVersions.read(path, time);
  const text = decodeAs(bytes, version.encoding);
  if (text === null) throw new Error('this version is not text in its encoding');
  return { version, text };
}

/**
 * Both sides of a comparison.
 * @param {string} path
 * @param {{left: number, right: number}} times `right` is 0 for the file as it is
 * @returns {Promise<{left: string, right: string}>}
 */
export async function readVersionSides(path, { left, right }) {
  const older = await readVersion(path, left);
  const newer = right ? await readVersion(path, right) : { text: '' };
  return { left: plainText(older.text), right: plainText(newer.text) };
}

