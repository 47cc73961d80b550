// Findings of servers that tell them only when asked: asked after each change of a text, and again when the
// server says that what it told does not hold any more.

import { listOf, recordOf, textOf } from './chatwire.js';
import { Dropped } from './lspchannel.js';
import { uriOf } from './lspwire.js';

/** After the last change, so that one question answers to many keys. */
export const PULL_AFTER_MS = 350;
/** So often a question that the server has dropped is asked again. */
const TRIES = 3;
const METHOD = 'textDocument/diagnostic';

/**
 * @typedef {import('./lspsync.js').SourceText} SourceText
 *
 * @typedef {object} PullPorts
 * @property {() => Record<string, any> | null} options how the server offers it; null when it does not
 * @property {() => SourceText[]} sources the texts that the server has
 * @property {(source: SourceText, method: string, params: Record<string, unknown>) => Promise<any>} ask
 * @property {(params: {uri: string, diagnostics: unknown[]}) => void} take
 * @property {(error: unknown) => void} onError
 */

export class DiagnosticPull {
  /** @param {PullPorts} ports */
  constructor(ports) {
    this.ports = ports;
    /** What the server calls its last answer about a path. @type {Map<string, string>} */
    this.results = new Map();
    /** Paths to be asked about, with how often they were. @type {Map<string, number>} */
    this.due = new Map();
    /** @type {ReturnType<typeof setTimeout> | undefined} */
    this.timer = undefined;
  }

  /** A text was opened, changed or saved. @param {SourceText} source */
  changed(source) {
    const options = this.ports.options();
    if (!options) return;
    if (options.interFileDependencies === true) return this.all();
    this.#soon(source.path, 0);
  }

  /** What was told does not hold any more. */
  all() {
    if (!this.ports.options()) return;
    for (const { path } of this.ports.sources()) this.#soon(path, 0);
  }

  /** A text was closed, and nobody asks about it any more. @param {string} path */
  closed(path) {
    this.due.delete(path);
    if (!this.results.delete(path)) return;
    this.ports.take({ uri: uriOf(path), diagnostics: [] });
  }

  end() {
    clearTimeout(this.timer);
    this.due.clear();
  }

  /** @param {string} path @param {number} tries */
  #soon(path, tries) {
    this.due.set(path, tries);
    clearTimeout(this.timer);
    this.timer = setTimeout(() => this.#run(), PULL_AFTER_MS);
  }

  #run() {
    const due = [...this.due];
    this.due.clear();
    for (const [path, tries] of due) void this.#pull(path, tries);
  }

  /** @param {string} path @param {number} tries */
  async #pull(path, tries) {
    const options = this.ports.options();
    const source = this.ports.sources().find((one) => one.path === path);
    if (!options || !source) return;
    const { identifier } = options;
    const previousResultId = this.results.get(path);
    const params = { ...(identifier && { identifier }), ...(previousResultId && { previousResultId }) };
    try {
      const answer = recordOf(await this.ports.ask(source, METHOD, params));
      // The text may have been closed while the server thought.
      if (!this.ports.sources().includes(source)) return;
      this.#take(uriOf(path), path, answer);
      for (const [uri, report] of Object.entries(recordOf(answer.relatedDocuments))) this.#take(uri, '', recordOf(report));
    } catch (error) {
      if (!(error instanceof Dropped)) this.ports.onError(error);
      else if (tries + 1 < TRIES && this.ports.sources().includes(source) && !this.due.has(path))
        this.#soon(path, tries + 1);
    }
  }

  /**
   * @param {string} uri
   * @param {string} path "" for a text that was not asked about
   * @param {Record<string, any>} report
   */
  #take(uri, path, { kind, resultId, items }) {
    if (kind !== 'full' && kind !== 'unchanged') return;
    if (path) this.results.set(path, textOf(resultId));
    if (kind === 'full') this.ports.take({ uri, diagnostics: listOf(items) });
  }
}
