// The conversation with one language server process: how it begins, what the server may ask of the editor, and
// the documents it is told of. When the process ends, so does this; the next one gets a new conversation.

import { listOf, recordOf, textOf } from './chatwire.js';
import { CLIENT_CAPABILITIES, ServerAbilities } from './lspcapabilities.js';
import { Channel, NoSuchMethod } from './lspchannel.js';
import { DiagnosticPull } from './lsppull.js';
import { DocumentSync } from './lspsync.js';
import { uriOf } from './lspwire.js';

/**
 * @typedef {import('./lspsync.js').SourceText} SourceText
 * @typedef {{name: string, path: string}} Root
 *
 * What a conversation needs of the editor.
 * @typedef {object} ClientPorts
 * @property {(message: Record<string, unknown>) => Promise<unknown>} send
 * @property {() => readonly Root[]} roots
 * @property {string} version of the editor
 * @property {(params: any) => void} onDiagnostics
 * @property {(params: {uri: string, diagnostics: unknown[]}) => void} onPulled findings that were asked for
 * @property {(edit: any, label: string) => Promise<void>} applyEdit rejects with the reason when nothing was done
 * @property {(type: number, text: string, actions: string[]) => Promise<string | null>} showMessage
 * @property {(uri: string, range: any, external: boolean) => Promise<boolean>} showDocument
 * @property {(text: string) => void} log
 * @property {(words: string) => void} onProgress what the server says it is doing, "" when it is done
 * @property {() => void} onAbilities what the server can do has changed
 * @property {(method: string) => void} onRefresh the server's earlier answers to a method no longer hold
 * @property {(error: unknown) => void} onFailure
 * @property {(text: string, detail: unknown) => void} onOddity
 */

/** A server that does not answer "shutdown" by then is ended without it. */
export const SHUTDOWN_MS = 2000;

export class LspClient {
  /** @param {ClientPorts} ports */
  constructor(ports) {
    this.ports = ports;
    this.ready = false;
    this.abilities = new ServerAbilities({});
    /** What it does now, by the name that it gave the work. @type {Map<string | number, {title: string, words: string}>} */
    this.progress = new Map();
    this.channel = new Channel({
      send: ports.send,
      onNotification: (method, params) => this.#notified(method, recordOf(params)),
      onRequest: (method, params) => this.#asked(method, recordOf(params)),
      onFailure: ports.onFailure,
      onOddity: ports.onOddity,
    });
    this.pull = new DiagnosticPull({
      options: () => this.abilities.options('textDocument/diagnostic'),
      sources: () => [...this.documents.open.values()],
      ask: (source, method, params) => this.ask(source, method, params),
      take: ports.onPulled,
      onError: (error) => ports.onOddity('It could not tell its findings', error),
    });
    this.documents = new DocumentSync(this.channel, {
      told: (source) => this.pull.changed(source),
      closed: (path) => this.pull.closed(path),
    });
  }

  /** Introduces the two to each other; nothing else may be said before. */
  async begin() {
    const roots = this.ports.roots();
    const first = roots[0]?.path;
    const answer = await this.channel.request('initialize', {
      processId: null,
      clientInfo: { name: 'Marlin Bench', version: this.ports.version },
      locale: 'en',
      rootPath: first ?? null,
      rootUri: first === undefined ? null : uriOf(first),
      workspaceFolders: folders(roots),
      capabilities: CLIENT_CAPABILITIES,
      trace: 'off',
    });
    this.abilities = new ServerAbilities(recordOf(answer).capabilities);
    this.documents.configure(this.abilities.sync);
    this.channel.notify('initialized', {});
    this.ready = true;
  }

  /**
   * Asks about a text as it is now. The answer to an older text is dropped unless `anyVersion`.
   * @param {SourceText} source
   * @param {string} method
   * @param {Record<string, unknown>} params without the document itself
   * @param {{signal?: AbortSignal, anyVersion?: boolean}} [options]
   * @returns {Promise<any>} null for nothing, also for an answer that came too late
   */
  async ask(source, method, params, { signal, anyVersion = false } = {}) {
    const { version, path } = source;
    if (!this.ready || !this.documents.open.has(path)) return null;
    const textDocument = { uri: uriOf(path) };
    const answer = await this.channel.request(method, { textDocument, ...params }, signal);
    return anyVersion || source.version === version ? answer : null;
  }

  /** @param {string} text */
  receive(text) {
    this.channel.receive(text);
  }

  /** @param {readonly Root[]} before @param {readonly Root[]} now */
  rootsChanged(before, now) {
    const { changeNotifications } = recordOf(recordOf(this.abilities.fixed.workspace).workspaceFolders);
    const wanted = changeNotifications || this.abilities.all('workspace/didChangeWorkspaceFolders').length > 0;
    if (!this.ready || !wanted) return;
    /** @param {readonly Root[]} list @param {readonly Root[]} others */
    const without = (list, others) =>
      list.filter(({ path }) => !others.some((other) => other.path === path));
    const event = { added: folders(without(now, before)), removed: folders(without(before, now)) };
    if (event.added.length || event.removed.length)
      this.channel.notify('workspace/didChangeWorkspaceFolders', { event });
  }

  /** Says good-bye, as servers like to write their caches then. */
  async end() {
    if (this.ready) {
      const late = AbortSignal.timeout(SHUTDOWN_MS);
      await this.channel.request('shutdown', undefined, late).catch(() => {});
    }
    this.close('the language server was stopped');
  }

  /** @param {string} words */
  close(words) {
    this.ready = false;
    this.pull.end();
    this.channel.close(words);
  }

  /**
   * @param {string} method
   * @param {Record<string, any>} params
   */
  #notified(method, params) {
    switch (method) {
      case 'textDocument/publishDiagnostics':
        return this.ports.onDiagnostics(params);
      case 'window/showMessage':
        return void this.ports.showMessage(Number(params.type), textOf(params.message), []);
      case 'window/logMessage':
        return this.ports.log(textOf(params.message));
      case '$/progress':
        return this.#progressed(params.token, recordOf(params.value));
    }
    // What begins with a dollar sign may be left alone, and telemetry is nobody's business.
    if (!method.startsWith('$/') && method !== 'telemetry/event')
      this.ports.onOddity(`An unknown notification "${method}"`, params);
  }

  /**
   * @param {string} method
   * @param {Record<string, any>} params
   * @returns {Promise<unknown>}
   */
  async #asked(method, params) {
    switch (method) {
      case 'workspace/configuration':
        // There are no settings for servers here, and null is how the protocol says so.
        return listOf(params.items).map(() => null);
      case 'workspace/workspaceFolders':
        return folders(this.ports.roots());
      case 'client/registerCapability':
      case 'client/unregisterCapability':
        if (method === 'client/registerCapability') this.abilities.register(params);
        else this.abilities.unregister(params);
        this.documents.configure(this.abilities.sync);
        this.pull.all();
        this.ports.onAbilities();
        return null;
      case 'workspace/diagnostic/refresh':
        this.pull.all();
        return null;
      case 'window/workDoneProgress/create':
        return null;
      case 'workspace/applyEdit':
        return this.#applied(params);
      case 'window/showMessageRequest': {
        const titles = listOf(params.actions).map(({ title }) => textOf(title));
        const chosen = await this.ports.showMessage(Number(params.type), textOf(params.message), titles);
        return listOf(params.actions).find(({ title }) => title === chosen) ?? null;
      }
      case 'window/showDocument': {
        const { uri, selection, external } = params;
        return { success: await this.ports.showDocument(textOf(uri), selection, external === true) };
      }
      case 'workspace/semanticTokens/refresh':
      case 'workspace/inlayHint/refresh':
      case 'workspace/codeLens/refresh':
        this.ports.onRefresh(method.split('/')[1]);
        return null;
    }
    throw new NoSuchMethod(`${method} is not supported`);
  }

  /** @param {Record<string, any>} params */
  async #applied({ edit, label }) {
    try {
      await this.ports.applyEdit(edit, textOf(label));
      return { applied: true };
    } catch (error) {
      return { applied: false, failureReason: error instanceof Error ? error.message : String(error) };
    }
  }

  /**
   * @param {string | number} token
   * @param {Record<string, any>} value
   */
  #progressed(token, { kind, title, message, percentage }) {
    if (kind === 'end') this.progress.delete(token);
    else {
      const name = textOf(title) || (this.progress.get(token)?.title ?? '');
      const percent = Number.isFinite(percentage) ? ` ${Math.round(percentage)} %` : '';
      const what = textOf(message);
      this.progress.set(token, { title: name, words: `${name}${what ? `: ${what}` : ''}${percent}` });
    }
    this.ports.onProgress([...this.progress.values()].at(-1)?.words ?? '');
  }
}

/** @param {readonly Root[]} roots */
const folders = (roots) => roots.map(({ name, path }) => ({ uri: uriOf(path), name }));
