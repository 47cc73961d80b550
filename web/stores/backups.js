// Unsaved text, kept where a crash cannot reach it.
//
// Each unsaved file has two backup files below its root, written in turn: the bridge writes in place, so
// the newest one may be cut short by the crash itself, and then the one before it is taken. A backup tells
// all that is needed to bring the text back. One that is no longer needed is emptied, not deleted: deleting
// goes to the user's Trash.

import { textHash } from './encoding.js';
import { joinPath, parentOf, rootOf } from './paths.js';

const kBackupFolder = '.marlin/backups';
/** Quiet time after the last key, and the longest wait while keys keep coming. */
export const kBackupAfterMs = 400;
export const kBackupAtLeastMs = 2000;

/**
 * @typedef {import('./buffers.js').Base} Base
 * @typedef {object} Backup
 * @property {string} path workspace path of the file; "" for an untitled page
 * @property {string} name
 * @property {string} language
 * @property {import('./encoding.js').Encoding} encoding
 * @property {'\n' | '\r\n'} eol
 * @property {string | null} ends
 * @property {Base | null} base
 * @property {number} serial counts the backups of one buffer
 * @property {string} text
 */

/**
 * The folder of a root's backups.
 * @param {string} root
 */
export function backupFolder(root) {
  return joinPath(root, kBackupFolder);
}

/**
 * The two files that take turns.
 * @param {string} path
 * @returns {[string, string]}
 */
export function backupPaths(path) {
  const stem = joinPath(backupFolder(rootOf(path)), textHash(path));
  return [`${stem}.0`, `${stem}.1`];
}

/**
 * A line of facts, before the text as it is.
 * @param {Omit<Backup, 'text'>} facts
 * @param {number} length of the text
 */
export function backupHead(facts, length) {
  return `${JSON.stringify({ marlinBackup: 1, length, ...facts })}\n`;
}

/**
 * @param {string} content
 * @returns {Backup | null} null for an emptied file and for one that was cut short
 */
export function decodeBackup(content) {
  const lineEnd = content.indexOf('\n');
  if (lineEnd < 0) return null;
  let facts;
  try {
    facts = JSON.parse(content.slice(0, lineEnd));
  } catch {
    return null;
  }
  if (facts?.marlinBackup !== 1 || typeof facts.path !== 'string') return null;
  const text = content.slice(lineEnd + 1);
  if (text.length !== facts.length) return null;
  const { marlinBackup, length, ...rest } = facts;
  return { ...rest, text };
}

/**
 * The newest whole backup of each file.
 * @param {readonly (Backup | null)[]} found
 * @returns {Backup[]}
 */
export function newestBackups(found) {
  /** @type {Map<string, Backup>} */
  const newest = new Map();
  for (const backup of found) {
    if (!backup) continue;
    const key = `${backup.path}\n${backup.path ? '' : backup.name}`;
    const rival = newest.get(key);
    if (!rival || rival.serial < backup.serial) newest.set(key, backup);
  }
  return [...newest.values()];
}

/**
 * Whether the disk holds what the backup's text was made from.
 * @param {Base | null} base
 * @param {{size: number, modified: number} | null} facts
 */
export function backupFits(base, facts) {
  if (!base || !facts) return base === facts;
  return base.size === facts.size && base.modified === facts.modified;
}

/**
 * @typedef {object} BackupPorts
 * @property {(path: string, pieces: string[]) => Promise<unknown>} write makes the file, but not its folder
 * @property {(folder: string) => Promise<unknown>} makeFolder a folder that is there already is no failure
 */

/** Writes the backups of one buffer, never two at once; what comes meanwhile is written after. */
export class BackupSlots {
  /**
   * @param {BackupPorts} ports
   * @param {number} serial the last number that is in use on disk
   */
  constructor(ports, serial = 0) {
    this.ports = ports;
    this.serial = serial;
    /** Files that are known to hold something. @type {Set<string>} */
    this.filled = new Set();
    this.folderMade = false;
    /** @type {Promise<unknown>} */
    this.turn = Promise.resolve();
  }

  /**
   * @param {string} path
   * @param {() => Promise<{facts: Omit<Backup, 'serial' | 'text'>, pieces: string[]}>} take
   *   gives the text in pieces; asked only when it is this backup's turn
   */
  keep(path, take) {
    return this.after(async () => {
      const { facts, pieces } = await take();
      const serial = ++this.serial;
      const file = /** @type {string} */ (backupPaths(path)[serial % 2]);
      const length = pieces.reduce((sum, piece) => sum + piece.length, 0);
      this.filled.add(file);
      await this.put(file, [backupHead({ ...facts, serial }, length), ...pieces]);
    });
  }

  /**
   * Empties what was written, and `more` files that an earlier session wrote.
   * @param {readonly string[]} [more]
   */
  empty(more = []) {
    return this.after(async () => {
      for (const file of new Set([...this.filled, ...more])) {
        await this.ports.write(file, ['']);
        this.filled.delete(file);
      }
    });
  }

  /**
   * @param {string} file
   * @param {string[]} pieces
   */
  async put(file, pieces) {
    if (!this.folderMade) await this.ports.makeFolder(parentOf(file));
    this.folderMade = true;
    await this.ports.write(file, pieces);
  }

  /** @param {() => Promise<unknown>} task */
  after(task) {
    this.turn = this.turn.catch(() => {}).then(task);
    return this.turn;
  }
}

/**
 * Calls `fn` once things have been quiet for a while, but not much later than the first call.
 * @param {() => void} fn
 * @param {{now?: () => number}} [options]
 */
export function whenQuiet(fn, { now = Date.now } = {}) {
  /** @type {ReturnType<typeof setTimeout> | undefined} */
  let timer;
  let since = 0;
  const fire = () => {
    timer = undefined;
    fn();
  };
  return {
    touch() {
      if (timer === undefined) since = now();
      clearTimeout(timer);
      const left = since + kBackupAtLeastMs - now();
      timer = setTimeout(fire, Math.max(0, Math.min(kBackupAfterMs, left)));
    },
    cancel() {
      clearTimeout(timer);
      timer = undefined;
    },
    /** Fires now if it was waiting. */
    flush() {
      if (timer === undefined) return;
      clearTimeout(timer);
      fire();
    },
  };
}
