// What a reload of the page must not lose: the conversation's lines, open questions and messages that wait.
// The native side keeps none of it, so it lies in the tab's own storage, in pieces: only the last piece is
// written again as lines come, and the oldest piece goes when there is no room.

import { parseRecord, slim } from './chatwire.js';

/** Characters of one piece and of all; the storage holds about five million for everybody. */
export const PIECE_CHARS = 65536;
export const KEPT_CHARS = 1200000;
/** Longer texts in a line are cut for keeping: pictures, whole files. */
export const KEPT_TEXT = 16384;
/** Lines come in bursts, and writing each would hold up the page. */
export const WRITE_AFTER_MS = 250;

const CHAT = 'marlin-chat';

/**
 * The form in which a line is kept; "" for one that a later line makes superfluous.
 * @param {string} line
 */
export function keptForm(line) {
  if (line.startsWith('{"type":"stream_event"')) return '';
  if (line.length <= KEPT_TEXT) return parseRecord(line)?.type === 'stream_event' ? '' : line;
  const record = parseRecord(line);
  if (!record || record.type === 'stream_event') return '';
  const text = JSON.stringify(slim(record, KEPT_TEXT));
  return text.length <= KEPT_CHARS / 4 ? text : '';
}

export class LineKeeper {
  /**
   * @param {Pick<Storage, 'getItem' | 'setItem' | 'removeItem'>} storage
   * @param {string} session differs from run to run of the program; another run's lines are not taken up
   * @param {{name?: string, most?: number}} [options] the beginning of the keys, and how many characters to keep
   */
  constructor(storage, session, { name = CHAT, most = KEPT_CHARS } = {}) {
    this.storage = storage;
    this.session = session;
    this.headKey = name;
    this.pieceKey = `${name}-lines:`;
    this.sideKey = `${name}-side:`;
    this.most = most;
    /** Numbers of the pieces that are there: from first to last. */
    this.first = 0;
    this.last = 0;
    /** @type {string[]} */
    this.open = [];
    this.openChars = 0;
    /** @type {number[]} characters of each piece, from the first */
    this.sizes = [0];
    /** @type {ReturnType<typeof setTimeout> | undefined} */
    this.timer = undefined;
  }

  /** Takes up what an earlier page of the same run kept. @returns {string[]} */
  load() {
    const head = parseRecord(this.storage.getItem(this.headKey) ?? '');
    if (head?.session !== this.session) {
      this.clear();
      return [];
    }
    this.first = Number(head.first) || 0;
    this.last = Number(head.last) || 0;
    const pieces = [];
    for (let number = this.first; number <= this.last; number++) {
      pieces.push((this.storage.getItem(this.pieceKey + number) ?? '').split('\n').filter(Boolean));
    }
    this.sizes = pieces.map((lines) => sizeOf(lines));
    this.open = pieces.at(-1) ?? [];
    this.openChars = this.sizes.at(-1) ?? 0;
    return pieces.flat();
  }

  /**
   * @param {string} line
   * @returns {string} the form in which it is kept, "" when it is not
   */
  add(line) {
    const text = keptForm(line.replaceAll('\n', ' '));
    if (!text) return '';
    if (this.openChars + text.length > PIECE_CHARS && this.open.length) this.turn();
    this.open.push(text);
    this.openChars += text.length + 1;
    this.sizes[this.sizes.length - 1] = this.openChars;
    this.timer ??= setTimeout(() => this.flush(), WRITE_AFTER_MS);
    return text;
  }

  /** Closes the last piece and begins a new one; the oldest go when all is too much. */
  turn() {
    this.flush();
    this.last += 1;
    this.open = [];
    this.openChars = 0;
    this.sizes.push(0);
    while (this.sizes.length > 1 && this.sizes.reduce((sum, size) => sum + size, 0) > this.most) this.drop();
  }

  drop() {
    this.storage.removeItem(this.pieceKey + this.first);
    this.first += 1;
    this.sizes.shift();
  }

  /** Writes what waits, now. */
  flush() {
    clearTimeout(this.timer);
    this.timer = undefined;
    // Others use the storage too: when it is full the oldest pieces make room.
    while (!this.write() && this.first < this.last) this.drop();
  }

  write() {
    const { session, first, last } = this;
    try {
      this.storage.setItem(this.pieceKey + last, this.open.join('\n'));
      this.storage.setItem(this.headKey, JSON.stringify({ session, first, last }));
      return true;
    } catch {
      return false; // the storage is full
    }
  }

  /** Forgets the lines, for a new conversation. */
  clear() {
    clearTimeout(this.timer);
    this.timer = undefined;
    const head = parseRecord(this.storage.getItem(this.headKey) ?? '');
    const last = Math.max(this.last, Number(head?.last) || 0);
    for (let number = Math.min(this.first, Number(head?.first) || 0); number <= last; number++) {
      this.storage.removeItem(this.pieceKey + number);
    }
    this.first = 0;
    this.last = 0;
    this.open = [];
    this.openChars = 0;
    this.sizes = [0];
    this.flush();
  }

  /**
   * A small value beside the lines; what does not fit is not kept.
   * @param {string} name
   * @param {unknown} value
   */
  keep(name, value) {
    try {
      this.storage.setItem(this.sideKey + name, JSON.stringify({ session: this.session, value }));
      return true;
    } catch {
      this.storage.removeItem(this.sideKey + name); // an old value would come back instead
      return false;
    }
  }

  /** @param {string} name @returns {any} undefined when nothing was kept in this run */
  kept(name) {
    const record = parseRecord(this.storage.getItem(this.sideKey + name) ?? '');
    return record?.session === this.session ? record.value : undefined;
  }
}

/** @param {string[]} lines */
const sizeOf = (lines) => lines.reduce((sum, line) => sum + line.length + 1, 0);
