// The symbols of the text in front, read again as it changes, for the outline, the breadcrumbs and the choice of
// a symbol.

import { effect, signal, untracked } from '@preact/signals';
import { registerCommand } from '../shell/commands.js';
import { pick } from '../shell/quickpick.js';
import { Dropped } from '../stores/lspchannel.js';
import { note } from '../stores/log.js';
import { clientOf, onAbilities, runningClients, sourceOf } from '../stores/lspservers.js';
import { allSymbols, foundSymbols, outlineOf, symbolIcon } from '../stores/lspsymbols.js';
import { absolutePath, workspacePath } from '../stores/paths.js';
import { registerSource } from '../stores/searchsources.js';
import { roots } from '../stores/settings.js';
import { openPlace } from './lsp.js';
import { activeView, cursor, frontBuffer, frontTab } from './state.js';

/** After the last key; the outline may lag behind the text, the text never behind the outline. */
const kReadAfterMs = 350;
/** So many symbols of the workspace are listed. */
const kMostSymbols = 300;
/** And so many where other kinds of answers stand beside them. */
const kMostInBox = 12;

/** @typedef {import('../stores/lspsymbols.js').OutlineSymbol} OutlineSymbol */

/**
 * Of the text in front; `known` is false while no server tells of its symbols.
 * @type {import('@preact/signals').Signal<{id: string, tree: OutlineSymbol[], known: boolean}>}
 */
export const outline = signal({ id: '', tree: [], known: false });

/** @type {ReturnType<typeof setTimeout> | undefined} */
let timer;

export function startOutline() {
  effect(() => {
    const id = frontTab.value?.id ?? '';
    const buffer = frontBuffer.value;
    untracked(() => {
      if (outline.value.id !== id) outline.value = { id, tree: [], known: false };
      void read();
    });
    return buffer?.onEdit(readSoon);
  });
  onAbilities(readSoon);
  registerSource({ id: 'symbols', title: 'Symbols', order: 20, least: 1, delayMs: kReadAfterMs, find: symbolsFor });
  registerCommand({
    id: 'editor.symbols',
    title: 'Go to Symbol in File…',
    category: 'Go',
    keys: ['ctrl+shift+o'],
    global: true,
    when: () => outline.value.known,
    run: pickSymbol,
  });
  registerCommand({
    id: 'editor.workspaceSymbols',
    title: 'Go to Symbol in Workspace…',
    category: 'Go',
    keys: ['ctrl+t'],
    global: true,
    when: () => symbolClients().length > 0,
    run: pickWorkspaceSymbol,
  });
}

function readSoon() {
  clearTimeout(timer);
  timer = setTimeout(() => void read(), kReadAfterMs);
}

async function read() {
  const id = frontTab.value?.id ?? '';
  const source = frontBuffer.value && sourceOf(absolutePath(roots.value, id));
  const client = source && clientOf(source);
  if (!source || !client?.abilities.options('textDocument/documentSymbol')) {
    outline.value = { id, tree: [], known: false };
    return;
  }
  try {
    const answer = await client.ask(source, 'textDocument/documentSymbol', {});
    // Null also stands for an answer to an older text, after which another one comes.
    if (answer !== null && frontTab.value?.id === id) outline.value = { id, tree: outlineOf(answer), known: true };
  } catch (error) {
    if (!(error instanceof Dropped)) note('warning', 'Could not read the symbols', error);
  }
}

/** Where the cursor is, as the protocol counts. */
export const cursorPosition = () => ({ line: cursor.value.line - 1, character: cursor.value.column - 1 });

/** @param {OutlineSymbol} symbol */
export function goToSymbol({ place: { start } }) {
  const view = activeView();
  view?.reveal(start.line + 1, start.character + 1);
  view?.focus();
}

/** The symbols of the text in front, to choose from. @returns {import('../shell/quickpick.js').PickItem[]} */
export const symbolChoices = () =>
  allSymbols(outline.value.tree).map(({ symbol, depth }) => ({
    id: symbol.key,
    label: symbol.name,
    description: [depth > 0 ? parentName(symbol.key) : '', symbol.detail].filter(Boolean).join(' '),
    icon: symbolIcon(symbol.kind),
  }));

/** Shows symbols while one of them is being chosen. */
export function symbolPreview() {
  const view = activeView();
  const before = view?.viewState();
  const buffer = frontBuffer.value;
  let shown = false;
  const find = (/** @type {string} */ key) =>
    allSymbols(outline.value.tree).find(({ symbol }) => symbol.key === key)?.symbol;
  return {
    /** @param {string | undefined} key */
    show(key) {
      const symbol = key !== undefined && find(key);
      if (!symbol) return;
      shown = true;
      view?.reveal(symbol.place.start.line + 1, symbol.place.start.character + 1);
    },
    /** Goes to what was chosen, or back to where the view was. @param {string | undefined} key */
    end(key) {
      const symbol = key !== undefined && find(key);
      if (symbol) goToSymbol(symbol);
      else if (shown && buffer && view?.shows(buffer.doc) && before) view.show(buffer.doc, before);
    },
  };
}

async function pickSymbol() {
  const preview = symbolPreview();
  const chosen = await pick({
    title: 'Symbol',
    placeholder: 'Go to a symbol of this file',
    empty: 'No symbol fits',
    items: symbolChoices(),
    onActive: (item) => preview.show(item?.id),
  });
  preview.end(chosen?.id);
}

/** @param {string} key */
function parentName(key) {
  const parent = key.slice(0, key.lastIndexOf('/'));
  return allSymbols(outline.value.tree).find(({ symbol }) => symbol.key === parent)?.symbol.name ?? '';
}

const symbolClients = () => runningClients().filter(({ client }) => client.abilities.options('workspace/symbol'));

/**
 * Symbols of the whole workspace that fit some letters, of all servers that know any.
 * @param {string} query
 * @param {AbortSignal} signal
 */
export async function findSymbols(query, signal) {
  const answers = await Promise.all(
    symbolClients().map(({ client }) =>
      client.channel.request('workspace/symbol', { query }, signal).catch((error) => {
        if (!(error instanceof Dropped)) note('warning', 'A language server could not look for symbols', error);
        return null;
      }),
    ),
  );
  return answers.flatMap(foundSymbols).slice(0, kMostSymbols);
}

/**
 * Symbols for the box that searches everything.
 * @param {string} query
 * @param {AbortSignal} signal
 */
async function symbolsFor(query, signal) {
  const found = await findSymbols(query.trim(), signal);
  const items = found.slice(0, kMostInBox).map((one, at) => ({
    ...symbolItem(one, String(at)),
    open: () => openPlace(one.path, one.range.start.line + 1, one.range.start.character + 1),
  }));
  const more = found.length > kMostInBox;
  return { items, note: more ? `Symbols: the first ${kMostInBox} of ${found.length}.` : '' };
}

async function pickWorkspaceSymbol() {
  /** @type {import('@preact/signals').Signal<import('../shell/quickpick.js').PickRow[]>} */
  const rows = signal([]);
  /** @type {Map<string, import('../stores/lspsymbols.js').FoundSymbol>} */
  const found = new Map();
  let asking = new AbortController();
  /** @param {string} query */
  const ask = async (query) => {
    asking.abort();
    asking = new AbortController();
    const { signal: mine } = asking;
    const list = query.trim() ? await findSymbols(query.trim(), mine) : [];
    if (mine.aborted) return;
    found.clear();
    for (const [at, one] of list.entries()) found.set(String(at), one);
    rows.value = list.map((one, at) => ({ item: symbolItem(one, String(at)), at: [] }));
  };
  const chosen = await pick({
    title: 'Symbol in the workspace',
    placeholder: 'Type letters of a symbol’s name',
    empty: 'No symbol fits',
    items: [],
    live: { rows, note: signal(''), ask },
  });
  asking.abort();
  const symbol = chosen && found.get(chosen.id);
  if (symbol) await openPlace(symbol.path, symbol.range.start.line + 1, symbol.range.start.character + 1);
}

/**
 * @param {import('../stores/lspsymbols.js').FoundSymbol} symbol
 * @param {string} id
 */
function symbolItem({ name, container, kind, path, range }, id) {
  const where = `${workspacePath(roots.value, path) || path}:${range.start.line + 1}`;
  return { id, label: name, description: [container, where].filter(Boolean).join(' · '), icon: symbolIcon(kind) };
}
