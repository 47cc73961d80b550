// The text of one open file or untitled page: what it holds, how it is written down, and whether it
// differs from what was saved last. The text itself lives in a document that the editor makes.

import { signal } from '@preact/signals';
import { EndsHistory, commonest, kindOf, weaveEnds } from './lineends.js';
import { encodeText } from './encoding.js';

/**
 * @typedef {import('./encoding.js').Encoding} Encoding
 * @typedef {import('./lineends.js').LineChange} LineChange
 * @typedef {'lf' | 'crlf' | 'cr' | 'mixed'} LineEnd
 *
 * What stood on disk when text and disk were last the same. `racy` says that the file was written in
 * the second it was read, so that size and time cannot tell a later change.
 * @typedef {{size: number, modified: number, hash: string, racy: boolean}} Base
 *
 * @typedef {object} TextDocument
 * @property {() => string} text with the one line end the document knows
 * @property {() => string[]} lines
 * @property {() => number} version comes back to an earlier number when an edit is undone
 * @property {() => '\n' | '\r\n'} eol
 * @property {(eol: '\n' | '\r\n') => void} setEol
 * @property {(text: string) => void} setText as one edit that can be undone
 * @property {(id: string) => void} setLanguage
 * @property {(fn: (changes: LineChange[]) => void) => () => void} onChange
 * @property {() => void} dispose
 */

export const kLineEndLabels = { lf: 'LF', crlf: 'CRLF', cr: 'CR', mixed: 'Mixed' };

export class TextBuffer {
  /**
   * @param {object} start
   * @param {string} start.path workspace path; "" for an untitled page
   * @param {string} start.name
   * @param {string} start.language
   * @param {TextDocument} start.doc
   * @param {Encoding} [start.encoding]
   * @param {string | null} [start.ends] letters of the line ends where one end does not say it all
   * @param {Base | null} [start.base]
   * @param {'' | 'truncated'} [start.readOnly]
   */
  constructor({ path, name, language, doc, encoding = 'utf8', ends = null, base = null, readOnly = '' }) {
    this.doc = doc;
    this.base = base;
    this.readOnly = readOnly;
    this.path = signal(path);
    this.name = signal(name);
    this.language = signal(language);
    this.encoding = signal(encoding);
    this.lineEnd = signal(/** @type {LineEnd} */ ('lf'));
    this.dirty = signal(false);
    /** True once the user has said that a text that is not UTF-8 may be written back so. */
    this.encodingAgreed = encoding !== 'windows1252';
    /** A change on disk that the user has not decided about yet. */
    this.diskChanged = signal(false);
    /** The file was deleted, and the text is all that is left of it. */
    this.gone = signal(false);
    /** @type {Set<() => void>} */
    this.listeners = new Set();
    this.history = ends === null ? null : new EndsHistory(ends, doc.version());
    this.savedState = '';
    this.stopListening = doc.onChange((changes) => this.edited(changes));
    this.markSaved();
  }

  /** Everything that decides which bytes are written. */
  state() {
    const ends = this.history ? this.history.ends : this.doc.eol();
    return { version: this.doc.version(), encoding: this.encoding.value, ends };
  }

  /** What the file would hold, without its byte order mark. */
  text() {
    return this.history ? weaveEnds(this.doc.lines(), this.history.ends) : this.doc.text();
  }

  /** The bytes to write; null when the encoding has no byte for a character. */
  bytes() {
    return encodeText(this.text(), this.encoding.value);
  }

  /** Says that `state` is what the disk holds; keys typed since then stay unsaved. */
  markSaved(state = this.state()) {
    this.savedState = stateKey(state);
    this.gone.value = false;
    this.refresh();
  }

  /** Says that the disk holds something else, whatever is edited: a text restored after a crash. */
  markUnsaved() {
    this.savedState = '';
    this.refresh();
  }

  /** @param {Encoding} encoding */
  setEncoding(encoding) {
    this.encoding.value = encoding;
    this.encodingAgreed = true;
    this.announce();
  }

  /**
   * Gives every line the same end.
   * @param {'lf' | 'crlf'} lineEnd
   */
  setLineEnd(lineEnd) {
    this.history = null;
    this.doc.setEol(lineEnd === 'crlf' ? '\r\n' : '\n');
    this.announce();
  }

  /** @param {string} id */
  setLanguage(id) {
    this.language.value = id;
    this.doc.setLanguage(id);
  }

  /**
   * Takes over a text from disk, as one edit that can be undone.
   * @param {{text: string, encoding: Encoding, eol: '\n' | '\r\n', ends: string | null, base: Base}} file
   */
  adopt({ text, encoding, eol, ends, base }) {
    this.doc.setEol(eol);
    this.doc.setText(text);
    this.history = ends === null ? null : new EndsHistory(ends, this.doc.version());
    this.encoding.value = encoding;
    this.encodingAgreed = encoding !== 'windows1252';
    this.base = base;
    this.diskChanged.value = false;
    this.markSaved();
  }

  /**
   * Calls `fn` after each edit, also of encoding and line ends.
   * @param {() => void} fn
   */
  onEdit(fn) {
    this.listeners.add(fn);
    return () => void this.listeners.delete(fn);
  }

  dispose() {
    this.stopListening();
    this.listeners.clear();
    this.doc.dispose();
  }

  /** @param {LineChange[]} changes */
  edited(changes) {
    this.history?.edit(changes, this.doc.version());
    this.announce();
  }

  announce() {
    this.refresh();
    for (const fn of [...this.listeners]) fn();
  }

  refresh() {
    const state = this.state();
    this.dirty.value = this.savedState !== stateKey(state);
    this.lineEnd.value = lineEndOf(this.history, state.ends);
  }
}

/** @param {ReturnType<TextBuffer['state']>} state */
function stateKey({ version, encoding, ends }) {
  return `${version} ${encoding} ${ends}`;
}

/**
 * @param {EndsHistory | null} history
 * @param {string} ends
 * @returns {LineEnd}
 */
function lineEndOf(history, ends) {
  if (!history) return ends === '\r\n' ? 'crlf' : 'lf';
  const kind = kindOf(ends);
  return kind === 'none' ? lineEndOfLetter(commonest(ends)) : kind;
}

/**
 * @param {string} letter
 * @returns {LineEnd}
 */
function lineEndOfLetter(letter) {
  if (letter === 'w') return 'crlf';
  return letter === 'm' ? 'cr' : 'lf';
}
