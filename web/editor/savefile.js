// Saving, with the questions that saving can raise.

import { ask, prompt } from '../shell/dialogs.js';
import { reportError } from '../shell/toasts.js';
import { unencodable } from '../stores/encoding.js';
import { fileInfo, savePorts } from '../stores/files.js';
import { joinPath, nameProblem, parentOf, rootOf, stemLength, baseName } from '../stores/paths.js';
import { watchedPorts } from '../stores/savewatch.js';
import { baseOf, contentsOf, saveBuffer, serialQueue } from '../stores/saving.js';
import { roots } from '../stores/settings.js';
import { openTab } from '../stores/tabs.js';
import { adoptPath } from './documents.js';
import { bufferOf, dirtyIds, isUntitled, tabs, titleOf } from './state.js';

/** Told of each path that was written, for whoever lists files. @type {Set<(path: string) => void>} */
const savedListeners = new Set();

/** @param {(path: string) => void} fn */
export function onSaved(fn) {
  savedListeners.add(fn);
}

/** May change a text before it is written. @type {Set<(id: string, buffer: import('./state.js').TextBuffer) => Promise<void>>} */
const beforeListeners = new Set();

/** @param {(id: string, buffer: import('./state.js').TextBuffer) => Promise<void>} fn must not reject */
export function beforeSave(fn) {
  beforeListeners.add(fn);
}

/** Saves and looks at the disk, which for one file must not happen at once. */
export const inTurn = serialQueue();

/**
 * Saves one document; an untitled one asks for its place.
 * @param {string} id
 * @param {{overwrite?: boolean, restored?: boolean}} [options] `restored`: the text is that of an earlier version,
 *   and is written as it stands
 * @returns {Promise<string | null>} the id it has now; null when it was not saved
 */
export function saveDocument(id, { overwrite = false, restored = false } = {}) {
  if (isUntitled(id)) return saveAs(id);
  return inTurn(id, async () => {
    const buffer = bufferOf(id);
    if (!buffer || buffer.readOnly) return null;
    if (!restored) for (const fn of beforeListeners) await fn(id, buffer);
    if (!(await mayEncode(buffer))) return null;
    try {
      const ports = watchedPorts(savePorts, { encoding: buffer.encoding.value, restored });
      return await written(id, await saveBuffer(buffer, ports, { overwrite }));
    } catch (error) {
      reportError(`Could not save ${buffer.name.value}`, error);
      return null;
    }
  });
}

/**
 * @param {string} id
 * @param {import('../stores/saving.js').SaveOutcome} outcome
 */
async function written(id, outcome) {
  if (outcome === 'saved') {
    for (const fn of savedListeners) fn(id);
    return id;
  }
  if (outcome === 'conflict') tabs.value = openTab(tabs.value, { kind: 'compare', id }).state;
  return null;
}

/**
 * A text that is not UTF-8 is written back as it was read only after a word from the user, and never
 * with characters lost.
 * @param {import('../stores/buffers.js').TextBuffer} buffer
 */
async function mayEncode(buffer) {
  const lost = unencodable(buffer.text(), buffer.encoding.value);
  if (buffer.encodingAgreed && lost.length === 0) return true;
  const keep = { id: 'keep', label: 'Save as Windows-1252', kind: /** @type {const} */ ('primary') };
  const answer = await ask({
    title: `Save ${buffer.name.value} in which encoding?`,
    text: lost.length
      ? `Windows-1252, the encoding of this file, has no place for: ${lost.join(' ')}`
      : 'This file is not UTF-8. It was read as Windows-1252 and can be written back the same way.',
    buttons: [
      ...(lost.length ? [] : [keep]),
      {
        id: 'utf8',
        label: 'Convert to UTF-8',
        ...(lost.length && { kind: /** @type {const} */ ('primary') }),
      },
      { id: 'cancel', label: 'Cancel' },
    ],
  });
  if (answer === 'utf8') buffer.setEncoding('utf8');
  else if (answer === 'keep') buffer.encodingAgreed = true;
  return answer === 'utf8' || answer === 'keep';
}

export async function saveAll() {
  for (const id of dirtyIds.value) {
    if (!isUntitled(id)) await saveDocument(id);
  }
  for (const id of dirtyIds.value) {
    if (isUntitled(id) && (await saveAs(id)) === null) return;
  }
}

/**
 * @param {string} id
 * @returns {Promise<string | null>}
 */
export async function saveAs(id) {
  const buffer = bufferOf(id);
  if (!buffer) return null;
  if (roots.value.length === 0) {
    reportError(
      `Could not save ${titleOf(id)}`,
      new Error('there is no folder in the workspace to save it in'),
    );
    return null;
  }
  const path = await askPath(id);
  if (path === null) return null;
  if (path === id) return saveDocument(id);
  const there = await fileInfo(path);
  if (there && !(await mayReplace(path))) return null;
  return writeAs(id, path, there !== null);
}

/** @param {string} id */
function askPath(id) {
  const folder = isUntitled(id) ? (roots.value[0]?.name ?? '') : parentOf(id);
  const name = isUntitled(id) ? `${titleOf(id)}.txt` : baseName(id);
  const start = folder.length + 1;
  return prompt({
    title: `Save ${titleOf(id)} as`,
    label: 'Path, beginning with a folder of the workspace',
    value: joinPath(folder, name),
    select: [start, start + stemLength(name, false)],
    validate: savePathProblem,
    button: 'Save',
  });
}

/** @param {string} path */
function savePathProblem(path) {
  const problem = nameProblem(path, [], { nested: true });
  if (problem) return problem;
  const names = roots.value.map((root) => root.name);
  if (!names.includes(rootOf(path))) return `The path begins with one of: ${names.join(', ')}`;
  return path.includes('/') ? '' : 'A file name is needed behind the folder.';
}

/** @param {string} path */
async function mayReplace(path) {
  const answer = await ask({
    title: `Replace ${baseName(path)}?`,
    text: `${path} exists already. What it holds now is lost.`,
    buttons: [
      { id: 'replace', label: 'Replace', kind: 'danger' },
      { id: 'cancel', label: 'Cancel' },
    ],
  });
  return answer === 'replace';
}

/**
 * @param {string} id
 * @param {string} path
 * @param {boolean} exists
 */
async function writeAs(id, path, exists) {
  const buffer = bufferOf(id);
  if (!buffer || !(await mayEncode(buffer))) return null;
  const state = buffer.state();
  const bytes = buffer.bytes();
  if (!bytes) return null;
  const ports = watchedPorts(savePorts, { encoding: buffer.encoding.value });
  try {
    await (exists ? ports.write(path, bytes) : ports.create(path, bytes));
  } catch (error) {
    reportError(`Could not save ${baseName(path)}`, error);
    return null;
  }
  const facts = await fileInfo(path);
  const base = baseOf(contentsOf(bytes), bytes.length, facts?.modified ?? 0, Date.now());
  adoptPath(id, path, { base, language: facts?.language ?? '', state });
  for (const fn of savedListeners) fn(path);
  return path;
}
