// The notes that Claude keeps of the project: their list, the one that is open, and what is typed into it.

import { computed, signal } from '@preact/signals';
import { call, get } from '../bridge/api.js';
import { repos } from './git.js';
import { isOlder, matching, pathsIn, readNote } from './memorylinks.js';

/** @typedef {import('./memorylinks.js').Note} Note */

/** Where they lie; "" when no folder of the workspace has any. */
export const directory = signal('');
/** @type {import('@preact/signals').Signal<Note[]>} */
export const notes = signal([]);
export const listed = signal(false);
export const query = signal('');
export const shownNotes = computed(() => matching(notes.value, query.value));

/** The file that is open, "" for none. */
export const openFile = signal('');
/** As it was read or last written. */
export const kept = signal('');
export const draft = signal('');
export const dirty = computed(() => openFile.value !== '' && draft.value !== kept.value);
/** Files of the project that the open note speaks of and that were changed after it. @type {import('@preact/signals').Signal<string[]>} */
export const changedSince = signal([]);

export async function readNotes() {
  const answer = await get('memory/list');
  directory.value = answer.directory;
  notes.value = answer.entries.map(readNote);
  listed.value = true;
}

/** What is typed and not saved must have been dealt with before. @param {string} file */
export async function openNote(file) {
  const { contents } = await get('memory/read', { file });
  openFile.value = file;
  kept.value = contents;
  draft.value = contents;
  changedSince.value = [];
  await findChanged(file, contents);
}

/** Claude may have written meanwhile; what it wrote is not replaced without a word. */
export async function changedOutside() {
  const { contents } = await get('memory/read', { file: openFile.value });
  return contents !== kept.value;
}

export async function saveNote() {
  const text = draft.value;
  await call('memory/write', { file: openFile.value, contents: text });
  kept.value = text;
  await readNotes();
}

/** @param {string} name */
export async function createNote(name) {
  const file = /\.md$/i.test(name) ? name : `${name}.md`;
  if (notes.value.some((note) => note.file === file)) throw new Error(`${file} is there already`);
  const contents = `---\nname: ${name.replace(/\.md$/i, '')}\ndescription: \n---\n\n`;
  await call('memory/write', { file, contents });
  await readNotes();
  await openNote(file);
}

/** @param {string} file @param {string} text */
async function findChanged(file, text) {
  const modified = notes.value.find((note) => note.file === file)?.modified;
  const repo = repos.value.find(({ isRepo }) => isRepo)?.name;
  if (!modified || !repo) return;
  /** @type {string[]} */
  const changed = [];
  for (const path of pathsIn(text)) {
    const { commits } = await get('git/log', { repo, path, limit: '1' });
    if (!commits?.[0]) continue;
    const { time } = await get('git/commit-detail', { repo, hash: commits[0].hash });
    if (isOlder(modified, time * 1000)) changed.push(path);
  }
  if (openFile.value === file) changedSince.value = changed;
}
