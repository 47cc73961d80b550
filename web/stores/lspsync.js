// The documents that a language server has open: it gets each text once, then every change in order, and
// knows at any time what the editor shows.

import { recordOf } from './chatwire.js';
import { protocolLanguage, uriOf } from './lspwire.js';

/**
 * A text that may be told to servers. `path` is absolute.
 * @typedef {object} SourceText
 * @property {string} path
 * @property {string} language
 * @property {() => string} text
 * @property {number} version counts the changes, for telling old answers from new ones
 *
 * @typedef {{range: import('./lspwire.js').Range, text: string}} Change
 */

const NONE = 0;
const FULL = 1;

export class DocumentSync {
  /**
   * @param {{notify: (method: string, params: unknown, joined?: (waiting: any) => unknown) => void}} channel
   * @param {{told: (source: SourceText) => void, closed: (path: string) => void}} [follower] who wants to know what
   *   the server was told
   */
  constructor(channel, follower) {
    this.channel = channel;
    this.follower = follower;
    /** @type {Map<string, SourceText>} by path */
    this.open = new Map();
    this.configure(undefined);
  }

  /** @param {unknown} options the server's "textDocumentSync": a number, or an object that says more */
  configure(options) {
    const bare = typeof options === 'number';
    const { change, openClose, save } = recordOf(options);
    this.kind = bare ? options : typeof change === 'number' ? change : NONE;
    this.opens = bare ? options !== NONE : openClose === true || this.kind !== NONE;
    this.saves = bare ? options !== NONE : save === true || typeof save === 'object';
    this.saveText = recordOf(save).includeText === true;
  }

  /** @param {SourceText} source */
  didOpen(source) {
    if (!this.opens || this.open.has(source.path)) return;
    this.open.set(source.path, source);
    const { path, language, version } = source;
    const textDocument = {
      uri: uriOf(path),
      languageId: protocolLanguage(language),
      version,
      text: source.text(),
    };
    this.channel.notify('textDocument/didOpen', { textDocument });
    this.follower?.told(source);
  }

  /**
   * @param {SourceText} source its version and text are those after the change
   * @param {readonly Change[]} changes each means the text as the one before left it
   */
  didChange(source, changes) {
    if (!this.open.has(source.path) || this.kind === NONE) return;
    const contentChanges = this.kind === FULL ? [{ text: source.text() }] : changes;
    const textDocument = { uri: uriOf(source.path), version: source.version };
    this.channel.notify('textDocument/didChange', { textDocument, contentChanges }, (waiting) => {
      // Keys that come faster than the bridge takes them go along with those that wait.
      if (waiting.textDocument.uri !== textDocument.uri) return null;
      const all = this.kind === FULL ? contentChanges : [...waiting.contentChanges, ...contentChanges];
      return { textDocument, contentChanges: all };
    });
    this.follower?.told(source);
  }

  /** @param {SourceText} source */
  didSave(source) {
    if (!this.open.has(source.path) || !this.saves) return;
    const params = { textDocument: { uri: uriOf(source.path) } };
    if (this.saveText) Object.assign(params, { text: source.text() });
    this.channel.notify('textDocument/didSave', params);
    this.follower?.told(source);
  }

  /** @param {SourceText} source */
  didClose(source) {
    if (this.open.get(source.path) !== source) return;
    this.open.delete(source.path);
    this.channel.notify('textDocument/didClose', { textDocument: { uri: uriOf(source.path) } });
    this.follower?.closed(source.path);
  }

  /** Tells every text anew, when messages may have been lost. */
  reopen() {
    for (const source of [...this.open.values()]) {
      this.didClose(source);
      this.didOpen(source);
    }
  }
}
