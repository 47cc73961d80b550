// Changes that others make to files that are open or listed: which ones an event may mean, and what then
// becomes of an open text.

import { fileInfo, readTextFile } from './files.js';
import { absolutePath, isInside, workspacePath } from './paths.js';
import { contentsOf } from './saving.js';
import { textHash } from './encoding.js';
import { ancestors } from './tree.js';

/**
 * @typedef {import('./buffers.js').TextBuffer} TextBuffer
 * @typedef {import('./files.js').FileInfo} FileInfo
 * @typedef {import('./files.js').TextFile} TextFile
 * @typedef {{paths: string[], all: boolean}} DiskChange `all` when the list is not whole
 *
 * @typedef {object} DiskPorts
 * @property {(path: string) => Promise<FileInfo | null>} info
 * @property {(path: string) => Promise<TextFile | {info: FileInfo, text: null}>} read
 *
 * What a look at the disk came to: "same" text as before, "reloaded", the user has to "decide", the file is
 * "gone" while its text stays.
 * @typedef {'same' | 'reloaded' | 'decide' | 'gone'} DiskVerdict
 */

/**
 * The paths of an "fs.changed", of which it lists the first 200 only.
 * @param {any} event
 * @returns {DiskChange}
 */
export function diskChange(event) {
  /** @type {unknown[]} */
  const list = Array.isArray(event?.paths) ? event.paths : [];
  const paths = list.filter((path) => typeof path === 'string');
  return { paths, all: typeof event?.count !== 'number' || event.count > paths.length };
}

/**
 * The open ids that a change may be about. A folder stands for all below it: one that is moved away or
 * replaced is told as a whole.
 * @param {DiskChange} change
 * @param {Iterable<string>} ids
 * @param {(id: string) => string} toldAs the path by which events name an id
 */
export function affectedIds({ paths, all }, ids, toldAs) {
  if (all) return [...ids];
  const changed = new Set(paths);
  return [...ids].filter((id) => [...ancestors(toldAs(id)), toldAs(id)].some((path) => changed.has(path)));
}

/**
 * The path by which events name an id: of folders inside each other the first counts.
 * @param {readonly import('./paths.js').Root[]} roots
 * @param {string} id
 */
export function toldAs(roots, id) {
  return workspacePath(roots, absolutePath(roots, id)) || id;
}

/**
 * The listed folders that a change may be about. What happens in a folder that was never listed can only
 * show in the nearest one that was.
 * @param {DiskChange} change
 * @param {readonly string[]} listed
 * @param {(folder: string) => string} named the path by which events name a folder
 */
export function affectedFolders({ paths, all }, listed, named) {
  if (all) return [...listed];
  const byName = listed.map((folder) => ({ folder, name: named(folder) }));
  /** @type {Set<string>} */
  const found = new Set();
  for (const path of paths) {
    if (isHidden(path)) continue;
    const nearest = ancestors(path).findLast((above) => byName.some(({ name }) => name === above));
    for (const { folder, name } of byName) if (name === nearest || isInside(name, path)) found.add(folder);
  }
  return [...found];
}

/** What the tree never lists. @param {string} path */
function isHidden(path) {
  return /(?:^|\/)\.(?:git|marlin)(?:\/|$)/.test(path);
}

/** @type {DiskPorts} */
export const diskPorts = { info: fileInfo, read: readTextFile };

/** What was saved last of texts whose file is gone. @type {WeakMap<TextBuffer, string>} */
const savedBefore = new WeakMap();

/**
 * Looks at the file of a text. One without changes of its own follows the disk, one with changes gets a
 * mark for the user to decide, and the text of a deleted file stays, unsaved from now on.
 * @param {TextBuffer} buffer
 * @param {DiskPorts} ports
 * @returns {Promise<DiskVerdict>}
 */
export async function followDisk(buffer, ports) {
  const path = buffer.path.value;
  const { base } = buffer;
  if (!base) return 'same';
  const facts = await ports.info(path);
  if (!facts || facts.directory) return lose(buffer);
  find(buffer);
  if (!base.racy && facts.size === base.size && facts.modified === base.modified) return 'same';
  const file = await ports.read(path);
  // What was typed or saved meanwhile had another file in mind.
  if (buffer.base !== base) return 'same';
  if (file.text === null || (file.truncated && !buffer.readOnly)) return decide(buffer);
  if (file.base.hash === base.hash) {
    buffer.base = file.base;
    buffer.diskChanged.value = false;
    return 'same';
  }
  if (!buffer.dirty.value) {
    buffer.adopt(file);
    return 'reloaded';
  }
  return settle(buffer, file);
}

/**
 * @param {TextBuffer} buffer
 * @returns {DiskVerdict}
 */
function lose(buffer) {
  if (buffer.gone.value) return 'gone';
  savedBefore.set(buffer, buffer.savedState);
  buffer.gone.value = true;
  buffer.diskChanged.value = false;
  buffer.markUnsaved();
  return 'gone';
}

/**
 * A file that is back makes its text what it was before it went.
 * @param {TextBuffer} buffer
 */
function find(buffer) {
  if (!buffer.gone.value) return;
  buffer.gone.value = false;
  buffer.savedState = savedBefore.get(buffer) ?? buffer.savedState;
  buffer.refresh();
}

/**
 * @param {TextBuffer} buffer
 * @returns {DiskVerdict}
 */
function decide(buffer) {
  buffer.diskChanged.value = true;
  return 'decide';
}

/**
 * Two that made the same change have nothing to decide.
 * @param {TextBuffer} buffer
 * @param {TextFile} file
 * @returns {DiskVerdict}
 */
function settle(buffer, file) {
  const bytes = buffer.bytes();
  if (!bytes || textHash(contentsOf(bytes)) !== file.base.hash) return decide(buffer);
  buffer.base = file.base;
  buffer.diskChanged.value = false;
  buffer.markSaved();
  return 'same';
}
