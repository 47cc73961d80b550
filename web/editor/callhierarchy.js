// The calls of the function at the cursor, to choose from, and from each of them on to its own.

import { registerCommand } from '../shell/commands.js';
import { pick } from '../shell/quickpick.js';
import { reportError, toast } from '../shell/toasts.js';
import { Dropped } from '../stores/lspchannel.js';
import { callItems, callsFrom } from '../stores/lspcalls.js';
import { clientOf, sourceOf } from '../stores/lspservers.js';
import { symbolIcon } from '../stores/lspsymbols.js';
import { absolutePath, workspacePath } from '../stores/paths.js';
import { roots } from '../stores/settings.js';
import { openPlace } from './lsp.js';
import { offered } from './lspcommands.js';
import { cursorPosition } from './outline.js';
import { frontTab } from './state.js';

/**
 * @typedef {import('../stores/lspcalls.js').CallItem} CallItem
 * @typedef {import('../stores/lspcalls.js').Direction} Direction
 */

const kPrepare = 'textDocument/prepareCallHierarchy';

/** @type {Record<Direction, {title: (name: string) => string, placeholder: string, empty: string}>} */
const kWords = {
  incoming: {
    title: (name) => `Calls of ${name}`,
    placeholder: 'Enter goes to the call, Ctrl+Enter shows who calls the caller',
    empty: 'Nothing calls it',
  },
  outgoing: {
    title: (name) => `What ${name} calls`,
    placeholder: 'Enter goes there, Ctrl+Enter shows what that calls',
    empty: 'It calls nothing',
  },
};

export function startCallHierarchy() {
  const category = 'Editor';
  const when = () => offered(kPrepare);
  registerCommand({
    id: 'editor.incomingCalls',
    title: 'Show Incoming Calls…',
    category,
    keys: ['shift+alt+h'],
    when,
    run: () => showCalls('incoming'),
  });
  registerCommand({
    id: 'editor.outgoingCalls',
    title: 'Show Outgoing Calls…',
    category,
    when,
    run: () => showCalls('outgoing'),
  });
}

/** @param {Direction} direction */
async function showCalls(direction) {
  const source = sourceOf(absolutePath(roots.value, frontTab.value?.id ?? ''));
  const client = source && clientOf(source);
  if (!source || !client) return;
  try {
    const [first] = callItems(await client.ask(source, kPrepare, { position: cursorPosition() }));
    if (!first) return toast({ kind: 'info', text: 'The language server knows of no function at the cursor.' });
    /** @type {CallItem | null} */
    let item = first;
    while (item) item = await chooseCall(client, item, direction);
  } catch (error) {
    if (!(error instanceof Dropped)) reportError('Could not find the calls', error);
  }
}

/**
 * @param {import('../stores/lspclient.js').LspClient} client
 * @param {CallItem} item
 * @param {Direction} direction
 * @returns {Promise<CallItem | null>} whose calls to show next
 */
async function chooseCall(client, item, direction) {
  const { title, ...words } = kWords[direction];
  const calls = callsFrom(await client.channel.request(`callHierarchy/${direction}Calls`, { item: item.raw }), direction);
  const chosen = await pick({
    ...words,
    title: title(item.name),
    items: calls.map(({ item: { name, detail, kind }, path, range }, at) => ({
      id: String(at),
      label: name,
      description: [detail, `${workspacePath(roots.value, path) || path}:${range.start.line + 1}`].filter(Boolean).join(' · '),
      icon: symbolIcon(kind),
    })),
  });
  const call = chosen && calls[Number(chosen.id)];
  if (!call) return null;
  if (chosen.beside) return call.item;
  await openPlace(call.path, call.range.start.line + 1, call.range.start.character + 1);
  return null;
}
