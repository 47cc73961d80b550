// Keeps every unsaved text where a crash, or closing the window, cannot reach it, and brings it back at
// the next start. Files are backed up below their root; small untitled pages go to the page's own storage.

import { effect } from '@preact/signals';
import { get, post } from '../bridge/api.js';
import {
  BackupSlots,
  backupFits,
  backupFolder,
  backupPaths,
  decodeBackup,
  newestBackups,
  whenQuiet,
} from '../stores/backups.js';
import { createFolder, fileInfo, readBytes } from '../stores/files.js';
import { note } from '../stores/log.js';
import { joinPath, parentOf, rootOf } from '../stores/paths.js';
import { roots } from '../stores/settings.js';
import * as uistate from '../stores/uistate.js';
import { openTab } from '../stores/tabs.js';
import { placeBuffer, untitledName, watchBuffers } from './documents.js';
import { bufferOf, documents, isUntitled, tabs } from './state.js';

/**
 * @typedef {import('../stores/backups.js').Backup} Backup
 * @typedef {import('../stores/buffers.js').TextBuffer} TextBuffer
 */

const kUntitledKey = 'untitled';
/** Characters of one untitled page, and of all, that the page's storage takes; larger ones go to a root. */
const kUntitledMost = 65536;
const kAllUntitledMost = 200000;
/** How long a slice of reading may hold up the page, and how much text is taken at a time. */
const kSliceMs = 6;
const kPieceLength = 65536;

/** @type {import('../stores/backups.js').BackupPorts} */
const ports = {
  write: async (path, pieces) => post('file/write', await bodyOf(path, pieces)),
  makeFolder: createFolder,
};

/**
 * The request's body, put together in slices, so that a large text never holds up a key.
 * @param {string} path
 * @param {string[]} pieces
 */
async function bodyOf(path, pieces) {
  const breathe = pauses();
  const parts = [`{"path":${JSON.stringify(path)},"contents":"`];
  for (const piece of pieces) {
    parts.push(JSON.stringify(piece).slice(1, -1));
    await breathe();
  }
  return new Blob([...parts, '"}']);
}

/** Lets the page go on whenever the work between two calls has taken a slice's time. */
function pauses() {
  let until = performance.now() + kSliceMs;
  return async () => {
    if (performance.now() < until) return;
    await new Promise((resolve) => setTimeout(resolve));
    until = performance.now() + kSliceMs;
  };
}

/** The last number that an earlier session used for a file. @type {Map<string, number>} */
const lastSerials = new Map();
/** @type {Map<string, ReturnType<typeof keeper>>} */
const keepers = new Map();

export function startHotExit() {
  watchBuffers((id, buffer) => {
    const watching = keeper(id, buffer);
    keepers.set(id, watching);
    return () => {
      watching.stop();
      if (keepers.get(id) === watching) keepers.delete(id);
    };
  });
}

/** Writes what waits now, before the program is asked to end. */
export async function flushBackups() {
  await Promise.all([...keepers.values()].map((each) => each.flush()));
  await uistate.flush();
}

/**
 * @param {string} id
 * @param {TextBuffer} buffer
 */
function keeper(id, buffer) {
  const slots = new BackupSlots(ports, lastSerials.get(id) ?? 0);
  const inherited = lastSerials.has(id) ? backupPaths(slotPath(id)) : [];
  let last = Promise.resolve();
  const store = () => {
    last = (buffer.dirty.value ? write() : clear()).catch((error) =>
      note('error', `Could not back up ${buffer.name.value}`, error),
    );
  };
  const quiet = whenQuiet(store);
  const write = async () => {
    if (isUntitled(id) && keepSmallUntitled()) return;
    if (slotPath(id)) await slots.keep(slotPath(id), () => takeBackup(id, buffer));
  };
  const clear = async () => {
    if (isUntitled(id)) keepSmallUntitled();
    await slots.empty(inherited);
    lastSerials.delete(id);
  };
  const stopEdits = buffer.onEdit(() => quiet.touch());
  if (buffer.dirty.value && !lastSerials.has(id)) quiet.touch(); // renamed with changes in it
  const stopDirty = effect(() => {
    if (!buffer.dirty.value) queueMicrotask(store);
  });
  return {
    stop() {
      stopEdits();
      stopDirty();
      quiet.cancel();
      // The document is out of the map by the time this runs, so nothing of it is kept.
      queueMicrotask(() => void clear().catch((error) => note('error', 'Could not clear a backup', error)));
    },
    async flush() {
      quiet.flush();
      await last;
    },
  };
}

/**
 * Where the backups of an id go: beside its root, an untitled one's in the first root.
 * @param {string} id
 */
function slotPath(id) {
  if (!isUntitled(id)) return id;
  const root = roots.value[0];
  return root ? joinPath(root.name, id) : '';
}

/**
 * @param {string} id
 * @param {TextBuffer} buffer
 * @returns {Omit<Backup, 'serial' | 'text'>}
 */
function factsOf(id, buffer) {
  return {
    path: isUntitled(id) ? '' : id,
    name: isUntitled(id) ? id : buffer.name.value,
    language: buffer.language.value,
    encoding: buffer.encoding.value,
    eol: buffer.doc.eol(),
    ends: buffer.history?.ends ?? null,
    base: buffer.base,
  };
}

/**
 * Facts and text as they are now; the text is read in slices, with room for keys between them.
 * @param {string} id
 * @param {TextBuffer} buffer
 */
async function takeBackup(id, buffer) {
  const facts = factsOf(id, buffer);
  if (buffer.history) return { facts, pieces: [buffer.text()] };
  const read = /** @type {import('./host.js').HostDocument} */ (buffer.doc).snapshot();
  /** @type {string[]} */
  const pieces = [];
  const breathe = pauses();
  for (let chunk = read(); chunk !== null; chunk = read()) {
    for (let at = 0; at < chunk.length; at += kPieceLength) pieces.push(chunk.slice(at, at + kPieceLength));
    await breathe();
  }
  return { facts, pieces };
}

/** Puts all small untitled pages into the page's storage. False when this does not hold them all. */
function keepSmallUntitled() {
  const list = [...documents.value.keys()].filter(isUntitled).flatMap((id) => {
    const buffer = bufferOf(id);
    return buffer?.dirty.value ? [{ ...factsOf(id, buffer), text: buffer.text(), serial: 0 }] : [];
  });
  const small = list.filter(({ text }) => text.length <= kUntitledMost);
  const total = small.reduce((sum, { text }) => sum + text.length, 0);
  const fits = total <= kAllUntitledMost && uistate.set(kUntitledKey, small);
  return fits && small.length === list.length;
}

/**
 * Brings back what earlier sessions left unsaved. Never fails: what cannot be read is told and left
 * alone.
 */
export async function restoreBackups() {
  for (const backup of await findBackups()) {
    try {
      await restore(backup);
    } catch (error) {
      note('error', `Could not restore ${backup.path || backup.name}`, error);
    }
  }
}

async function findBackups() {
  /** @type {(Backup | null)[]} */
  const found = [];
  for (const backup of uistate.get(kUntitledKey, /** @type {any[]} */ ([]))) {
    if (typeof backup?.text === 'string') found.push(backup);
  }
  for (const root of roots.value) {
    for (const path of await filledBackups(root.name)) found.push(await readBackup(path));
  }
  return newestBackups(found);
}

/**
 * The backup files of a root that hold something.
 * @param {string} root
 */
async function filledBackups(root) {
  // Step by step, because listing what is not there is a failed request.
  for (const step of ['.marlin', '.marlin/backups']) {
    const above = await entriesOf(parentOf(joinPath(root, step)));
    if (!above.some((entry) => entry.directory && entry.path === joinPath(root, step))) return [];
  }
  const files = await entriesOf(backupFolder(root));
  return files.filter((entry) => !entry.directory && entry.size > 0).map((entry) => entry.path);
}

/**
 * @param {string} path
 * @returns {Promise<import('../stores/tree.js').Entry[]>}
 */
async function entriesOf(path) {
  try {
    return (await get('tree', { path })).entries;
  } catch (error) {
    note('warning', `Could not look for backups in ${path}`, error);
    return []; // the folder of a root may be gone, which the explorer tells
  }
}

/** @param {string} path */
async function readBackup(path) {
  try {
    // The raw bytes: a long text would be cut by the route that reads text.
    return decodeBackup(new TextDecoder('utf-8', { ignoreBOM: true }).decode(await readBytes(path)));
  } catch (error) {
    note('error', `Could not read the backup ${path}`, error);
    return null;
  }
}

/** @param {Backup} backup */
async function restore(backup) {
  const id = backup.path || backup.name;
  if (bufferOf(id)?.dirty.value) return; // typed since the start: newer than any backup
  if (backup.path && !roots.value.some((root) => root.name === rootOf(backup.path))) return;
  lastSerials.set(id, backup.serial);
  const name = backup.path ? backup.name : untitledName(id);
  const start = { ...backup, name, text: backup.text };
  const buffer = await placeBuffer(id, start, { unsaved: true });
  if (backup.path && !backupFits(backup.base, await fileInfo(backup.path))) buffer.diskChanged.value = true;
  if (!tabs.value.groups.some((group) => group.tabs.some((tab) => tab.id === id))) {
    tabs.value = openTab(tabs.value, { kind: 'text', id }).state;
  }
}
