// The language servers: which there are, which run, and the texts they are told of. A server starts with the
// first file of its language and then stays, one process for all folders of the workspace. One that dies is
// started again; one that keeps dying waits for the user.

import { effect, signal } from '@preact/signals';
import { BridgeError, call, get } from '../bridge/api.js';
import { on, onReconnect } from '../bridge/events.js';
import { listOf, recordOf, textOf } from './chatwire.js';
import { note } from './log.js';
import { LspClient } from './lspclient.js';
import { forgetProblems, takeDiagnostics } from './lspproblems.js';
import { watchedChanges } from './lspwatch.js';
import { pathOfUri } from './lspwire.js';
import { absolutePath } from './paths.js';
import { config, roots, version } from './settings.js';

/** So many restarts within this time, and the next one is the user's. */
export const RESTARTS = 3;
export const RESTARTS_WITHIN_MS = 180000;
const SAID_CHARS = 16384;

/**
 * @typedef {import('./lspsync.js').SourceText} SourceText
 * @typedef {import('./lspclient.js').ClientPorts} ClientPorts
 *
 * A row of the catalogue.
 * @typedef {object} ServerRow
 * @property {string} id
 * @property {string} name
 * @property {string[]} languages
 * @property {boolean} available
 * @property {string} path "" where the settings name a command of its own, or nothing was found
 * @property {string} install how to get it; may be empty
 * @property {string} homepage
 *
 * "lost" is a server that could not be reached because the link is down.
 * @typedef {'stopped' | 'starting' | 'running' | 'stopping' | 'failed' | 'lost'} Phase
 * @typedef {object} ServerState
 * @property {Phase} phase
 * @property {string} words why it failed
 * @property {string} progress what it says it is doing
 * @property {string} said the end of what it told the editor to note
 * @typedef {Pick<ClientPorts, 'applyEdit' | 'showMessage' | 'showDocument' | 'onRefresh'>} EditorPorts
 * @typedef {{id: string, client: LspClient | null, answering: boolean, restarts: number[]}} Server
 */

/** @type {import('@preact/signals').Signal<ServerRow[]>} */
export const catalogue = signal([]);
/** Of those that were ever started here. @type {import('@preact/signals').Signal<ReadonlyMap<string, ServerState>>} */
export const states = signal(new Map());

/** @type {Map<string, Server>} */
const servers = new Map();
/** The texts that are open in the editor, by path. @type {Map<string, SourceText>} */
const sources = new Map();
/** @type {Set<(id: string, client: LspClient | null) => void>} */
const abilityListeners = new Set();
/** @type {EditorPorts | null} */
let editor = null;

/** @type {ServerState} */
const STOPPED = { phase: 'stopped', words: '', progress: '', said: '' };

/** The user's own command for a server; "" for none. @param {string} id */
export const ownCommand = (id) => textOf(recordOf(config.value.languageServers)[id]);

/** @param {string} id */
export const stateOf = (id) => states.value.get(id) ?? STOPPED;

/**
 * Calls `fn` when what a server can do has changed; with null when it is gone.
 * @param {(id: string, client: LspClient | null) => void} fn
 */
export function onAbilities(fn) {
  abilityListeners.add(fn);
  return () => void abilityListeners.delete(fn);
}

/**
 * Listens from now on, and reads which servers there are.
 * @param {EditorPorts} ports what servers may do to the editor
 */
export async function connectServers(ports) {
  editor = ports;
  on('lsp.message', ({ server, message }) => {
    const one = servers.get(textOf(server));
    if (one?.answering) one.client?.receive(textOf(message));
  });
  on('lsp.exit', ({ server, code }) => {
    // Until the bridge has said that the next process runs, this is the end of the one before. Should it be the
    // next one's after all, the first message to it fails.
    if (servers.get(textOf(server))?.answering) died(textOf(server), `it ended with code ${code}`);
  });
  on('fs.changed', ({ paths }) => filesChanged(listOf(paths).map(textOf)));
  onReconnect(lookAgain);
  let before = roots.value;
  effect(() => {
    const now = roots.value;
    for (const { client } of servers.values()) client?.rootsChanged(before, now);
    before = now;
  });
  await readCatalogue();
}

export async function readCatalogue() {
  const rows = listOf((await get('lsp/servers')).servers).map(recordOf);
  catalogue.value = rows.map((row) => ({
    id: textOf(row.id),
    name: textOf(row.name),
    languages: listOf(row.languages).map(textOf),
    available: row.available === true,
    path: textOf(row.path),
    install: textOf(row.install),
    homepage: textOf(row.homepage),
  }));
  for (const { language } of sources.values()) startFor(language);
  return rows;
}

/**
 * The server of a language, if there is one on this machine.
 * @param {string} language
 */
export const serverFor = (language) =>
  catalogue.value.find(({ languages, available }) => available && languages.includes(language));

/** Started by a text, unless the user has stopped it or it has failed. @param {string} language */
function startFor(language) {
  const row = serverFor(language);
  if (row && !servers.has(row.id)) void launch(row.id);
}

/**
 * Tells the servers of a text that was opened.
 * @param {Omit<SourceText, 'version'>} text
 */
export function openSource({ path, language, text }) {
  /** @type {SourceText} */
  const source = { path, language, text, version: 1 };
  sources.set(path, source);
  startFor(language);
  clientOf(source)?.documents.didOpen(source);
  return {
    source,
    /** @param {readonly import('./lspsync.js').Change[]} changes */
    changed(changes) {
      source.version += 1;
      clientOf(source)?.documents.didChange(source, changes);
    },
    saved: () => clientOf(source)?.documents.didSave(source),
    closed() {
      if (sources.get(path) === source) sources.delete(path);
      clientOf(source)?.documents.didClose(source);
    },
  };
}

/**
 * The text of a path as servers know it.
 * @param {string} path absolute
 */
export const sourceOf = (path) => sources.get(path);

/**
 * The conversation that a text takes part in; null while its server does not run.
 * @param {SourceText} source
 */
export function clientOf({ language }) {
  const client = servers.get(serverFor(language)?.id ?? '')?.client;
  return client?.ready ? client : null;
}

/** @param {string} id */
export function clientOfServer(id) {
  const client = servers.get(id)?.client;
  return client?.ready ? client : null;
}

/** All conversations that can be asked. */
export const runningClients = () =>
  [...servers.values()].flatMap(({ id, client }) => (client?.ready ? [{ id, client }] : []));

/**
 * @param {string} id
 * @param {Partial<ServerState>} change
 */
function setState(id, change) {
  states.value = new Map(states.value).set(id, { ...stateOf(id), ...change });
}

/** Starts a server, or starts it again; asked for by the user, it begins to count anew. @param {string} id */
export async function restartServer(id) {
  const server = servers.get(id);
  if (server) server.restarts = [];
  await endConversation(id);
  await launch(id);
}

/** @param {string} id */
export async function stopServer(id) {
  if (!servers.has(id)) return;
  setState(id, { phase: 'stopping', words: '', progress: '' });
  await endConversation(id);
  await call('lsp/stop', { server: id });
  // Somebody may have started it meanwhile.
  if (stateOf(id).phase === 'stopping') setState(id, { phase: 'stopped', words: '', progress: '' });
}

/** @param {string} id @returns {Promise<string>} the end of what the server wrote to standard error */
export const readServerLog = async (id) => textOf((await get('lsp/log', { server: id })).log);

/** @param {string} id */
async function endConversation(id) {
  const server = servers.get(id);
  const client = server?.client;
  if (!server || !client) return;
  await client.end();
  if (server.client === client) release(server);
}

/** @param {Server} server */
function release(server) {
  server.client?.close('the language server is gone');
  server.client = null;
  server.answering = false;
  forgetProblems(server.id);
  for (const fn of [...abilityListeners]) fn(server.id, null);
}

/** @param {string} id */
async function launch(id) {
  const server = servers.get(id) ?? { id, client: null, answering: false, restarts: [] };
  servers.set(id, server);
  const client = new LspClient(portsFor(server));
  server.client = client;
  server.answering = false;
  setState(id, { phase: 'starting', words: '', progress: '' });
  try {
    // A process of an earlier page would not take a second introduction.
    await call('lsp/start', { server: id, restart: true });
    if (server.client !== client) return;
    server.answering = true;
    await client.begin();
  } catch (error) {
    if (server.client === client) failed(server, error);
    return;
  }
  if (server.client !== client) return;
  setState(id, { phase: 'running', words: '', progress: '' });
  for (const source of sources.values())
    if (serverFor(source.language)?.id === id) client.documents.didOpen(source);
  for (const fn of [...abilityListeners]) fn(id, client);
}

/**
 * @param {Server} server
 * @param {unknown} error
 */
function failed(server, error) {
  release(server);
  const gone = error instanceof BridgeError && error.status === 0;
  const words = error instanceof Error ? error.message : String(error);
  setState(server.id, { phase: gone ? 'lost' : 'failed', words, progress: '' });
}

/**
 * The process has ended by itself.
 * @param {string} id
 * @param {string} words
 */
function died(id, words) {
  const server = servers.get(id);
  if (!server?.client || stateOf(id).phase === 'stopping') return;
  release(server);
  const now = Date.now();
  server.restarts = server.restarts.filter((at) => at > now - RESTARTS_WITHIN_MS);
  if (server.restarts.length >= RESTARTS) {
    return setState(id, { phase: 'failed', words: `${words}, for the fourth time in three minutes`, progress: '' });
  }
  server.restarts.push(now);
  note('warning', `The language server ${id} is started again: ${words}`);
  void launch(id);
}

/** After a gap of the link: answers and findings may have been missed. */
async function lookAgain() {
  const rows = await readCatalogue();
  for (const { id, client } of [...servers.values()]) {
    const { phase } = stateOf(id);
    const runs = rows.some((row) => row.id === id && row.running === true);
    if (phase === 'lost') void launch(id);
    else if (client && !runs) died(id, 'it ended while the link was down');
    else if (client?.ready) {
      client.channel.dropWaiting('the link was down');
      client.documents.reopen();
    } else if (client) void restartServer(id);
  }
}

/** @param {readonly string[]} paths of the workspace, or absolute */
function filesChanged(paths) {
  const absolute = paths.map((path) => (path.startsWith('/') ? path : absolutePath(roots.value, path)));
  for (const { client } of runningClients()) {
    const changes = watchedChanges(client.abilities.all('workspace/didChangeWatchedFiles'), absolute);
    if (changes.length) client.channel.notify('workspace/didChangeWatchedFiles', { changes });
  }
}

/**
 * @param {Server} server
 * @returns {ClientPorts}
 */
function portsFor(server) {
  const { id } = server;
  const { applyEdit, showMessage, showDocument, onRefresh } = /** @type {EditorPorts} */ (editor);
  const { name } = catalogue.value.find((row) => row.id === id) ?? { name: id };
  return {
    send: (message) => call('lsp/send', { server: id, message }),
    roots: () => roots.value,
    version: version.value,
    onDiagnostics: (params) => {
      const { uri, version: about } = recordOf(params);
      const source = sources.get(pathOfUri(uri));
      // What is said of an older text stands in the wrong places; the newer text gets its own findings.
      if (source && typeof about === 'number' && about < source.version) return;
      takeDiagnostics(id, params);
    },
    onPulled: (params) => takeDiagnostics(id, params, true),
    applyEdit,
    showMessage: (type, text, actions) => showMessage(type, `${name}: ${text}`, actions),
    showDocument,
    onRefresh,
    log: (text) => setState(id, { said: `${stateOf(id).said}${text}\n`.slice(-SAID_CHARS) }),
    onProgress: (progress) => setState(id, { progress }),
    onAbilities: () => {
      const client = server.client;
      if (!client?.ready) return;
      for (const fn of [...abilityListeners]) fn(id, client);
    },
    onFailure: (error) => {
      if (error instanceof BridgeError && error.status === 409) died(id, 'it does not run');
      else if (server.client) failed(server, error);
    },
    onOddity: (text, detail) => note('event', `${name}: ${text}`, detail),
  };
}
