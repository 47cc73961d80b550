// What a language server may do to a text just before it is saved, when the user has chosen so. A save never
// waits long for it, and goes on without it.

import { Dropped } from '../stores/lspchannel.js';
import { listOf, recordOf } from '../stores/chatwire.js';
import { note } from '../stores/log.js';
import { clientOf, sourceOf } from '../stores/lspservers.js';
import { stepsFrom } from '../stores/lspedit.js';
import { editsFrom } from '../stores/lspwire.js';
import { absolutePath } from '../stores/paths.js';
import { roots } from '../stores/settings.js';
import { editorHost } from './lazy.js';
import { fixOnSave, formatOnSave } from './lspoptions.js';
import { beforeSave } from './savefile.js';

/** For each of the two. */
const kWithinMs = 2000;
const kFixAll = 'source.fixAll';

/** @typedef {import('../stores/lspclient.js').LspClient} LspClient */
/** @typedef {import('../stores/lspsync.js').SourceText} SourceText */

export function startSaveActions() {
  beforeSave(async (id, buffer) => {
    const source = sourceOf(absolutePath(roots.value, id));
    const client = source && clientOf(source);
    if (!source || !client) return;
    const doc = /** @type {import('./host.js').HostDocument} */ (buffer.doc);
    if (fixOnSave.value) await change(doc, 'fix', (signal) => fixes(client, source, doc, signal));
    if (formatOnSave.value) await change(doc, 'format', (signal) => formats(client, source, doc, signal));
  });
}

/**
 * @param {import('./host.js').HostDocument} doc
 * @param {string} what
 * @param {(signal: AbortSignal) => Promise<import('../stores/lspwire.js').TextEdit[]>} find
 */
async function change(doc, what, find) {
  try {
    const edits = await find(AbortSignal.timeout(kWithinMs));
    if (edits.length) (await editorHost()).languageServices.applyEdits(doc, edits);
  } catch (error) {
    const words = error instanceof Dropped ? `the language server took longer than ${kWithinMs / 1000} s` : error;
    note('warning', `Could not ${what} the text before saving it`, words);
  }
}

/**
 * @param {LspClient} client
 * @param {SourceText} source
 * @param {import('./host.js').HostDocument} doc
 * @param {AbortSignal} signal
 */
async function formats(client, source, doc, signal) {
  if (!client.abilities.options('textDocument/formatting')) return [];
  const { spaces, size } = doc.indent();
  const options = { tabSize: size, insertSpaces: spaces };
  return editsFrom(await client.ask(source, 'textDocument/formatting', { options }, { signal }));
}

/**
 * All that the server would fix by itself in this file.
 * @param {LspClient} client
 * @param {SourceText} source
 * @param {import('./host.js').HostDocument} doc
 * @param {AbortSignal} signal
 */
async function fixes(client, source, doc, signal) {
  const offer = client.abilities.options('textDocument/codeAction');
  if (!offer) return [];
  const lines = doc.lines();
  const end = { line: lines.length - 1, character: lines.at(-1)?.length ?? 0 };
  const params = {
    range: { start: { line: 0, character: 0 }, end },
    context: { diagnostics: [], only: [kFixAll], triggerKind: 2 },
  };
  const actions = listOf(await client.ask(source, 'textDocument/codeAction', params, { signal }));
  const action = actions.map(recordOf).find(({ kind }) => String(kind).startsWith(kFixAll));
  if (!action) return [];
  const { version } = source;
  const resolves = !action.edit && offer.resolveProvider === true;
  const whole = resolves ? await client.channel.request('codeAction/resolve', action, signal) : action;
  if (source.version !== version) return [];
  return stepsFrom(recordOf(whole).edit)
    .flatMap((step) => (step.kind === 'edit' ? step.files : []))
    .filter(({ path }) => path === source.path)
    .flatMap(({ edits }) => edits);
}
