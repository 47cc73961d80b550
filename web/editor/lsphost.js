// The text editor's side of language servers: which text is which file, what each server offers for it, the
// marks of its findings, and texts of files that are only looked at.

import { Dropped } from '../stores/lspchannel.js';
import { locationsFrom, pathOfUri } from '../stores/lspwire.js';
import { note } from '../stores/log.js';
import { recordOf, textOf } from '../stores/chatwire.js';
import { fromRange, markerOf, toRange } from './lspconvert.js';
import { kFeatures } from './lspfeatures.js';
import { kMoreFeatures } from './lspmore.js';

/**
 * @typedef {typeof import('monaco')} Monaco
 * @typedef {import('./host.js').HostDocument} HostDocument
 * @typedef {import('../stores/lspclient.js').LspClient} LspClient
 * @typedef {import('../stores/lspproblems.js').Problem} Problem
 *
 * What it needs of the page; paths are absolute.
 * @typedef {object} LanguagePorts
 * @property {(path: string) => {source: import('../stores/lspsync.js').SourceText, client: LspClient} | null} talk
 * @property {(path: string) => Promise<{text: string, language: string}>} read
 * @property {(path: string, line: number, column: number) => void} open
 * @property {(edit: unknown) => Promise<void>} applyEdit
 * @property {(server: string, command: Record<string, any>) => Promise<void>} run
 * @property {(server: string, action: Record<string, any>) => Promise<void>} act
 * @property {(path: string) => Problem[]} problemsOf
 */

const OWNER = 'language-server';
const RUN = 'marlin.language.run';
const ACT = 'marlin.language.act';
/** So many texts that are only looked at are kept. */
const LOOKED_AT = 40;

/** @param {Monaco} monaco */
export function languageHost(monaco) {
  /** @type {Map<any, string>} models of open documents to their paths */
  const paths = new Map();
  /** @type {Map<string, any>} */
  const models = new Map();
  /** Texts that are not open, the latest last. @type {Map<string, import('monaco').editor.ITextModel>} */
  const looks = new Map();
  /** @type {Map<string, import('monaco').IDisposable[]>} by server */
  const registered = new Map();
  /** @type {Map<string, Set<() => void>>} */
  const refreshers = new Map();
  /** @type {LanguagePorts | null} */
  let ports = null;

  monaco.editor.registerCommand(RUN, (_, server, command) => void ports?.run(server, command));
  monaco.editor.registerCommand(ACT, (_, server, action) => void ports?.act(server, action));
  monaco.editor.registerEditorOpener({
    openCodeEditor(_, resource, place) {
      const path = pathAt(resource);
      if (!path || !ports) return false;
      const { lineNumber, column } = /** @type {any} */ (
        place && 'startLineNumber' in place
          ? { lineNumber: place.startLineNumber, column: place.startColumn }
          : (place ?? { lineNumber: 1, column: 1 })
      );
      ports.open(path, lineNumber, column);
      return true;
    },
  });

  /** @param {import('monaco').Uri} resource */
  function pathAt(resource) {
    const model = monaco.editor.getModel(resource);
    return (model && paths.get(model)) ?? pathOfUri(resource.toString());
  }

  /** @param {string} path @returns {import('monaco').Uri} */
  const addressOf = (path) => models.get(path)?.uri ?? monaco.Uri.file(path);

  /**
   * Makes the text of a file that is not open known to the text editor, for a look at it.
   * @param {string} path
   */
  async function lookAt(path) {
    if (models.has(path) || !ports) return;
    const { text, language } = await ports.read(path);
    const there = looks.get(path);
    looks.delete(path);
    if (there && there.getValue() !== text) there.setValue(text);
    looks.set(path, there ?? monaco.editor.createModel(text, language, monaco.Uri.file(path)));
    for (const [old, model] of looks) {
      if (looks.size <= LOOKED_AT) break;
      looks.delete(old);
      model.dispose();
    }
  }

  /**
   * @param {unknown} answer
   * @returns {Promise<import('monaco').languages.Location[]>}
   */
  async function places(answer) {
    const list = locationsFrom(answer).map(({ uri, range }) => ({ path: pathOfUri(uri), range }));
    const files = [...new Set(list.map(({ path }) => path))].slice(0, LOOKED_AT);
    await Promise.all(files.map(lookAt));
    return list.map(({ path, range }) => ({ uri: addressOf(path), range: fromRange(range) }));
  }

  /**
   * @param {string} server
   * @param {LspClient} client
   * @param {string[]} languages
   * @param {string} method
   * @returns {import('./lspfeatures.js').Tools}
   */
  function toolsFor(server, client, languages, method) {
    const commandOf = (/** @type {unknown} */ raw) => {
      const { title, command } = recordOf(raw);
      if (!client.abilities.commands.includes(textOf(command))) return undefined;
      return { id: RUN, title: textOf(title), arguments: [server, raw] };
    };
    return {
      monaco,
      server,
      languages,
      options: client.abilities.options(method) ?? {},
      places,
      command: commandOf,
      actionCommand: (raw) => ({ id: ACT, title: textOf(recordOf(raw).title), arguments: [server, raw] }),
      applyEdit: (edit) => /** @type {LanguagePorts} */ (ports).applyEdit(edit),
      request: (name, params, token) => answered(name, (signal) => client.channel.request(name, params, signal), token),
      ask: (model, name, params, token, { loud = false, anyVersion = false } = {}) => {
        const talk = ports?.talk(paths.get(model) ?? '');
        if (talk?.client !== client) return Promise.resolve(null);
        const { source } = talk;
        return answered(name, (signal) => client.ask(source, name, params, { signal, anyVersion }), token, loud);
      },
      findings: (model, range) =>
        (ports?.problemsOf(paths.get(model) ?? '') ?? [])
          .filter((one) => one.server === server && monaco.Range.areIntersectingOrTouching(fromRange(one.range), range))
          .map(({ raw }) => raw),
      onRefresh: (name, fn) => {
        const set = refreshers.get(name) ?? new Set();
        refreshers.set(name, set.add(fn));
        return { dispose: () => void set.delete(fn) };
      },
    };
  }

  return {
    /** @param {LanguagePorts} given */
    connect(given) {
      ports = given;
    },

    /**
     * Says which file a document is. The result ends that.
     * @param {HostDocument} doc
     * @param {string} path
     */
    attach(doc, path) {
      const { model } = doc;
      paths.set(model, path);
      models.set(path, model);
      return () => {
        if (!model.isDisposed()) monaco.editor.setModelMarkers(model, OWNER, []);
        paths.delete(model);
        if (models.get(path) === model) models.delete(path);
      };
    },

    /**
     * Takes up what a server offers, or with null what it offered is gone.
     * @param {string} server
     * @param {LspClient | null} client
     * @param {string[]} languages
     */
    serverChanged(server, client, languages) {
      for (const one of registered.get(server) ?? []) one.dispose();
      registered.delete(server);
      if (!client || !languages.length) return;
      const rows = [...kFeatures, ...kMoreFeatures].filter(([method]) => client.abilities.options(method));
      registered.set(
        server,
        rows.map(([method, feature]) => feature(toolsFor(server, client, languages, method))),
      );
    },

    /** @param {string} method whose earlier answers no longer hold: "codeLens", "inlayHint", "semanticTokens" */
    refresh(method) {
      for (const fn of [...(refreshers.get(method) ?? [])]) fn();
    },

    /**
     * @param {HostDocument} doc
     * @param {readonly Problem[]} problems
     */
    showProblems(doc, problems) {
      monaco.editor.setModelMarkers(
        doc.model,
        OWNER,
        problems.map((one) => markerOf(monaco, one, addressOf)),
      );
    },

    /**
     * Tells of each edit as the protocol says it. The result ends that.
     * @param {HostDocument} doc
     * @param {(changes: import('../stores/lspsync.js').Change[]) => void} fn
     */
    onEdits(doc, fn) {
      /** @param {import('monaco').editor.IModelContentChangedEvent} event whose changes go from the end to the start */
      const tell = ({ changes }) => fn(changes.map(({ range, text }) => ({ range: toRange(range), text })));
      const handle = doc.model.onDidChangeContent(tell);
      return () => handle.dispose();
    },

    /**
     * Makes edits as one step that can be undone.
     * @param {HostDocument} doc
     * @param {readonly import('../stores/lspwire.js').TextEdit[]} edits
     */
    applyEdits(doc, edits) {
      const { model } = doc;
      model.pushStackElement();
      const operations = edits.map(({ range, newText }) => ({ range: fromRange(range), text: newText }));
      model.pushEditOperations([], operations, () => null);
      model.pushStackElement();
    },
  };
}

/**
 * What a server answers to what the text editor asks, which it may call off; null for what failed, which the
 * log says, unless it shall be loud.
 * @param {string} method
 * @param {(signal: AbortSignal) => Promise<any>} ask
 * @param {import('monaco').CancellationToken} [token]
 * @param {boolean} [loud]
 */
async function answered(method, ask, token, loud = false) {
  const abort = new AbortController();
  if (token?.isCancellationRequested) return null;
  const listening = token?.onCancellationRequested(() => abort.abort());
  try {
    return await ask(abort.signal);
  } catch (error) {
    if (error instanceof Dropped) return null;
    if (loud) throw error;
    note('warning', `A language server could not answer ${method}`, error);
    return null;
  } finally {
    listening?.dispose();
  }
}
