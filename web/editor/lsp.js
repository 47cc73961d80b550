// Joins the texts of the editor with language servers: tells servers what is typed, and shows what they find.

import { effect, untracked } from '@preact/signals';
import { reportError, toast } from '../shell/toasts.js';
import { recordOf } from '../stores/chatwire.js';
import { readTextFile } from '../stores/files.js';
import { note } from '../stores/log.js';
import { onProblems, problemsOf } from '../stores/lspproblems.js';
import {
  catalogue,
  clientOf,
  clientOfServer,
  connectServers,
  onAbilities,
  openSource,
  sourceOf,
} from '../stores/lspservers.js';
import { pathOfUri, rangeFrom } from '../stores/lspwire.js';
import { absolutePath, workspacePath } from '../stores/paths.js';
import { roots } from '../stores/settings.js';
import { watchBuffers } from './documents.js';
import { editorHost, whenEditorHost } from './lazy.js';
import { registerLanguageCommands } from './lspcommands.js';
import { applyWorkspaceEdit, Declined } from './lspedits.js';
import { startEditorOptions } from './lspoptions.js';
import { startSaveActions } from './lspsave.js';
import { onSaved } from './savefile.js';
import { openWebAddress } from './start.js';
import { isUntitled } from './state.js';
import { openFile } from './tabactions.js';

/** A text above this is not told to servers: every look at it would hold up both sides. */
const kMostCharacters = 4e6;

/** @typedef {import('./host.js').HostDocument} HostDocument */

/** Documents by absolute path. @type {Map<string, {doc: HostDocument, saved: () => void}>} */
const open = new Map();

export function startLanguages() {
  watchBuffers(attach);
  onSaved((id) => open.get(absolutePath(roots.value, id))?.saved());
  onProblems((path) => void showProblems(path));
  onAbilities((id, client) => void offer(id, client));
  registerLanguageCommands();
  startEditorOptions();
  startSaveActions();
  whenEditorHost((host) =>
    host.languageServices.connect({
      talk: conversation,
      read: readForLook,
      open: (path, line, column) => void openPlace(path, line, column),
      applyEdit: (edit) => applyWorkspaceEdit(edit).catch(unlessDeclined),
      run: (server, command) => runServerCommand(server, command).catch(refused),
      act: (server, action) => act(server, action).catch(refused),
      problemsOf,
    }),
  );
  connectServers({ applyEdit: serversEdit, showMessage, showDocument, onRefresh }).catch((error) =>
    note('warning', 'Could not read which language servers there are', error),
  );
}

/** @param {unknown} error */
function refused(error) {
  if (!(error instanceof Declined)) reportError('The language server could not do it', error);
}

/** @param {unknown} error */
function unlessDeclined(error) {
  if (!(error instanceof Declined)) throw error;
}

/**
 * An edit that a server asks for; both it and the user hear why it was not made.
 * @param {unknown} edit
 * @param {string} label
 */
async function serversEdit(edit, label) {
  try {
    await applyWorkspaceEdit(edit, label);
  } catch (error) {
    if (!(error instanceof Declined)) reportError('Could not make a change that a language server asked for', error);
    throw error;
  }
}

/**
 * @param {string} id
 * @param {import('./state.js').TextBuffer} buffer
 */
function attach(id, buffer) {
  const path = isUntitled(id) ? '' : absolutePath(roots.value, id);
  const doc = /** @type {HostDocument} */ (buffer.doc);
  if (!path || buffer.readOnly || doc.text().length > kMostCharacters) return () => {};
  /** @type {(() => void)[]} */
  const endings = [];
  let alive = true;
  void editorHost().then(({ languageServices }) => {
    if (!alive) return;
    endings.push(languageServices.attach(doc, path));
    endings.push(
      effect(() => {
        const language = buffer.language.value;
        const source = untracked(() => openSource({ path, language, text: () => doc.text() }));
        const stop = languageServices.onEdits(doc, source.changed);
        open.set(path, { doc, saved: source.saved });
        return () => {
          stop();
          source.closed();
          open.delete(path);
        };
      }),
    );
    languageServices.showProblems(doc, problemsOf(path));
  });
  return () => {
    alive = false;
    for (const end of endings) end();
  };
}

/** @param {string} path */
function conversation(path) {
  const source = sourceOf(path);
  const client = source && clientOf(source);
  return source && client ? { source, client } : null;
}

/**
 * @param {string} id
 * @param {import('../stores/lspclient.js').LspClient | null} client
 */
async function offer(id, client) {
  const { languages } = catalogue.value.find((row) => row.id === id) ?? { languages: [] };
  (await editorHost()).languageServices.serverChanged(id, client, languages);
}

/** @param {string} path */
async function showProblems(path) {
  const one = open.get(path);
  if (one) (await editorHost()).languageServices.showProblems(one.doc, problemsOf(path));
}

/** @param {string} path */
async function readForLook(path) {
  const id = workspacePath(roots.value, path);
  const outside = { text: `${path} lies outside the folders of the workspace.\n`, language: 'plaintext' };
  if (!id) return outside;
  try {
    const { info, text } = await readTextFile(id);
    return text === null ? outside : { text, language: info.language || 'plaintext' };
  } catch (error) {
    return { text: `${path}: ${error instanceof Error ? error.message : error}\n`, language: 'plaintext' };
  }
}

/**
 * @param {string} path absolute
 * @param {number} line from 1
 * @param {number} column from 1
 */
export async function openPlace(path, line, column) {
  const id = workspacePath(roots.value, path);
  if (id) return openFile(id, { line, column });
  toast({
    kind: 'info',
    text: `${path} lies outside the folders of the workspace, so it cannot be opened. Add its folder to read it.`,
  });
}

/**
 * @param {string} server
 * @param {Record<string, any>} action a fix, or a bare command as older servers send it
 */
async function act(server, action) {
  const client = clientOfServer(server);
  if (!client) throw new Error('the language server is not running');
  if (typeof action.command === 'string') return runServerCommand(server, action);
  const resolves = recordOf(client.abilities.options('textDocument/codeAction')).resolveProvider === true;
  const whole = action.edit || !resolves ? action : await client.channel.request('codeAction/resolve', action);
  if (whole.edit) await applyWorkspaceEdit(whole.edit);
  if (whole.command) await runServerCommand(server, whole.command);
}

/**
 * @param {string} server
 * @param {Record<string, any>} command
 */
async function runServerCommand(server, { command, arguments: args }) {
  const client = clientOfServer(server);
  if (!client) throw new Error('the language server is not running');
  await client.channel.request('workspace/executeCommand', { command, ...(args && { arguments: args }) });
}

/**
 * @param {number} type 1 is an error, 2 a warning
 * @param {string} text
 * @param {string[]} actions
 * @returns {Promise<string | null>} the action that was chosen
 */
function showMessage(type, text, actions) {
  // Servers are talkative: what is no trouble and no question is for the log.
  if (type > 2 && !actions.length) {
    note('info', text);
    return Promise.resolve(null);
  }
  const kind = type === 1 ? 'error' : type === 2 ? 'warning' : 'info';
  return new Promise((resolve) => {
    toast({ kind, text, actions: actions.map((label) => ({ label, run: () => resolve(label) })) });
    if (!actions.length) resolve(null);
  });
}

/**
 * @param {string} uri
 * @param {unknown} selection
 * @param {boolean} external
 */
async function showDocument(uri, selection, external) {
  const path = pathOfUri(uri);
  if (!external && path && workspacePath(roots.value, path)) {
    const { line, character } = rangeFrom(selection)?.start ?? { line: 0, character: 0 };
    await openPlace(path, line + 1, character + 1);
    return true;
  }
  if (!/^https?:/.test(uri)) return false;
  openWebAddress(uri);
  return true;
}

/** @param {string} method */
function onRefresh(method) {
  whenEditorHost((host) => host.languageServices.refresh(method));
}
