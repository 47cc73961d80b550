// Opening, reloading and letting go of the documents behind the tabs.

import { signal } from '@preact/signals';
import { decodeAs } from '../stores/encoding.js';
import { TextBuffer } from '../stores/buffers.js';
import { readBytes, readTextFile } from '../stores/files.js';
import { splitEnds } from '../stores/lineends.js';
import { baseName, isInside, relabel } from '../stores/paths.js';
import { closeTab, renameTabs } from '../stores/tabs.js';
import { editorHost } from './lazy.js';
import { bufferOf, documents, isShown, isUntitled, tabs } from './state.js';

/**
 * @typedef {import('./state.js').OpenDocument} OpenDocument
 * @typedef {import('./state.js').Content} Content
 * @typedef {import('../stores/buffers.js').TextBuffer} Buffer
 */

/**
 * Told of every new buffer; its result is called when the buffer goes.
 * @type {Set<(id: string, buffer: Buffer) => () => void>}
 */
const watchers = new Set();
/** @type {Map<string, (() => void)[]>} */
const endings = new Map();

/** @param {(id: string, buffer: Buffer) => () => void} fn */
export function watchBuffers(fn) {
  watchers.add(fn);
}

/**
 * Told of a text with changes that makes way for what is on disk, before it does.
 * @type {Set<(id: string, buffer: Buffer) => void>}
 */
const lossListeners = new Set();

/** @param {(id: string, buffer: Buffer) => void} fn */
export function beforeLoss(fn) {
  lossListeners.add(fn);
}

/** Told of each file or folder that the editor renamed. @type {Set<(from: string, to: string) => void>} */
const renameListeners = new Set();

/** @param {(from: string, to: string) => void} fn */
export function onRenamed(fn) {
  renameListeners.add(fn);
}

/**
 * The document of a path, read from disk when it is not open yet.
 * @param {string} path
 * @returns {OpenDocument}
 */
export function openDocument(path) {
  const there = documents.value.get(path);
  if (there) return there;
  const content = signal(/** @type {Content} */ ({ kind: 'loading' }));
  const document = { id: path, content, ready: Promise.resolve() };
  enter(document);
  document.ready = load(document);
  return document;
}

/** @param {OpenDocument} document */
function enter(document) {
  documents.value = new Map(documents.value).set(document.id, document);
}

/**
 * Reads the file again after a failure, or when it is no text.
 * @param {string} id
 */
export function retryDocument(id) {
  const document = documents.value.get(id);
  const kind = document?.content.value.kind;
  if (!document || (kind !== 'failed' && kind !== 'facts')) return;
  document.content.value = { kind: 'loading' };
  document.ready = load(document);
}

/** @param {OpenDocument} document */
async function load(document) {
  /** @type {Content} */
  let content;
  try {
    content = await readContent(document.id);
  } catch (error) {
    content = { kind: 'failed', words: error instanceof Error ? error.message : String(error) };
  }
  // It may have been closed, or restored from a backup, while the file was read.
  if (documents.value.get(document.id) !== document || document.content.value.kind !== 'loading') {
    if (content.kind === 'text') content.buffer.dispose();
    return;
  }
  document.content.value = content;
  if (content.kind === 'text') watch(document.id, content.buffer);
}

/**
 * @param {string} path
 * @returns {Promise<Content>}
 */
async function readContent(path) {
  const [file, host] = await Promise.all([readTextFile(path), editorHost()]);
  if (file.text === null) return { kind: 'facts', info: file.info };
  const { info, text, encoding, eol, ends, base, truncated } = file;
  const doc = host.createDocument(text, info.language || 'plaintext', eol, path);
  const readOnly = truncated ? 'truncated' : '';
  const { name, language } = info;
  return {
    kind: 'text',
    buffer: new TextBuffer({ path, name, language, doc, encoding, ends, base, readOnly }),
  };
}

/**
 * @param {string} id
 * @param {Buffer} buffer
 */
function watch(id, buffer) {
  endings.set(
    id,
    [...watchers].map((fn) => fn(id, buffer)),
  );
}

/**
 * Puts a text in place that does not come from disk: an untitled page, or one restored from a backup.
 * @param {string} id
 * @param {Omit<ConstructorParameters<typeof TextBuffer>[0], 'doc'> & {text: string, eol: '\n' | '\r\n'}} start
 * @param {{unsaved?: boolean}} [options]
 */
export async function placeBuffer(id, { text, eol, ...start }, { unsaved = false } = {}) {
  const host = await editorHost();
  const doc = host.createDocument(text, start.language || 'plaintext', eol, start.path);
  const buffer = new TextBuffer({ ...start, doc });
  // Before anybody watches it: a text that looks saved for a moment would have its backup emptied.
  if (unsaved) buffer.markUnsaved();
  const content = signal(/** @type {Content} */ ({ kind: 'text', buffer }));
  dropDocument(id);
  enter({ id, content, ready: Promise.resolve() });
  watch(id, buffer);
  return buffer;
}

/** The lowest untitled id that is free. */
export function freshUntitledId() {
  let number = 1;
  while (documents.value.has(`untitled:${number}`)) number++;
  return `untitled:${number}`;
}

/** @param {string} id */
export function untitledName(id) {
  return `Untitled-${id.slice('untitled:'.length)}`;
}

/**
 * Lets a document go that no tab shows any more.
 * @param {string} id
 */
export function releaseDocument(id) {
  if (!isShown(id)) dropDocument(id);
}

/** @param {string} id */
function dropDocument(id) {
  const document = documents.value.get(id);
  if (!document) return;
  for (const end of endings.get(id) ?? []) end();
  endings.delete(id);
  const rest = new Map(documents.value);
  rest.delete(id);
  const buffer = bufferOf(id);
  documents.value = rest;
  // The views let go of the text first: they still listen to it in this turn, a comparison in the next too.
  if (buffer) setTimeout(() => setTimeout(() => buffer.dispose()));
}

/**
 * Takes the file as it is on disk; what was typed can be brought back by undo.
 * @param {string} id
 */
export async function reloadFromDisk(id) {
  const buffer = bufferOf(id);
  if (!buffer) return;
  const file = await readTextFile(id);
  if (file.text === null || file.truncated) throw new Error('the file can no longer be edited as text');
  if (buffer.dirty.value) for (const fn of lossListeners) fn(id, buffer);
  buffer.adopt(file);
}

/**
 * Reads the file again in an encoding the user chose.
 * @param {string} id
 * @param {import('../stores/encoding.js').Encoding} encoding
 */
export async function reopenWithEncoding(id, encoding) {
  const buffer = bufferOf(id);
  if (!buffer?.base) return;
  const bytes = await readBytes(id);
  const text = decodeAs(bytes, encoding);
  if (text === null) throw new Error('the bytes of the file are not valid in that encoding');
  buffer.adopt({ text, encoding, base: buffer.base, ...splitEnds(text) });
  buffer.encodingAgreed = true;
}

/** Since something changed on disk, sizes and times alone are no longer trusted. */
export function distrustBases() {
  for (const id of documents.value.keys()) {
    const base = bufferOf(id)?.base;
    if (base) base.racy = true;
  }
}

/**
 * Tabs, documents and buffers follow a rename on disk.
 * @param {string} from
 * @param {string} to
 */
export function followRename(from, to) {
  /** @type {Map<string, OpenDocument>} */
  const next = new Map();
  /** @type {[string, string, Buffer][]} */
  const watched = [];
  for (const [id, document] of documents.value) {
    const moved = isUntitled(id) ? id : relabel(id, from, to);
    const buffer = bufferOf(id);
    if (moved !== id && buffer) watched.push([id, moved, buffer]);
    if (moved !== id) renameDocument(document, moved);
    next.set(moved, document);
  }
  documents.value = next;
  tabs.value = renameTabs(tabs.value, (id) => (isUntitled(id) ? id : relabel(id, from, to)));
  for (const each of watched) watchAnew(...each);
  for (const fn of renameListeners) fn(from, to);
}

/**
 * A text that was written to a new path goes on as that file.
 * @param {string} id
 * @param {string} path
 * @param {{base: import('../stores/buffers.js').Base, language: string, state: ReturnType<Buffer['state']>}} saved
 */
export function adoptPath(id, path, { base, language, state }) {
  const document = documents.value.get(id);
  const buffer = bufferOf(id);
  if (!document || !buffer) return;
  closeTabsOf(path);
  buffer.base = base;
  if (language && isUntitled(id)) buffer.setLanguage(language);
  renameDocument(document, path);
  buffer.diskChanged.value = false;
  buffer.markSaved(state);
  const others = [...documents.value].filter(([each]) => each !== id);
  documents.value = new Map([...others, [path, document]]);
  tabs.value = renameTabs(tabs.value, (each) => (each === id ? path : each));
  watchAnew(id, path, buffer);
}

/** @param {string} path */
function closeTabsOf(path) {
  for (const group of tabs.value.groups) {
    for (const tab of group.tabs.filter((each) => each.id === path)) {
      tabs.value = closeTab(tabs.value, group.id, tab.key);
    }
  }
  releaseDocument(path);
}

/**
 * @param {OpenDocument} document
 * @param {string} id
 */
function renameDocument(document, id) {
  const buffer = bufferOf(document.id);
  document.id = id;
  if (!buffer) return;
  buffer.path.value = id;
  buffer.name.value = baseName(id);
}

/**
 * Who watches a buffer knows it by its id, so a new id means to begin anew.
 * @param {string} from
 * @param {string} to
 * @param {Buffer} buffer
 */
function watchAnew(from, to, buffer) {
  for (const end of endings.get(from) ?? []) end();
  endings.delete(from);
  watch(to, buffer);
}

/**
 * Open texts with changes at or below a path.
 * @param {string} path
 */
export function dirtyBelow(path) {
  return [...documents.value.keys()].filter((id) => isInside(id, path) && bufferOf(id)?.dirty.value);
}
