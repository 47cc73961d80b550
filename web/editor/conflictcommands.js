// The commands that decide conflicts, in a text and in the conflict editor.

import { registerCommand } from '../shell/commands.js';
import { toast } from '../shell/toasts.js';
import { conflictAt, nextConflict } from '../stores/conflict.js';
import { repoFor } from '../stores/git.js';
import { followTexts, kChoices } from './conflictlens.js';
import { conflictsOf, decideIn, watchConflicts } from './conflictmarks.js';
import { markResolved, openConflict, pageInFront, startConflictPages } from './conflictview.js';
import { saveDocument } from './savefile.js';
import { activeView, frontBuffer, frontTab } from './state.js';

/**
 * @typedef {import('../stores/conflict.js').Choice} Choice
 * @typedef {import('./host.js').HostEditor} HostEditor
 * @typedef {import('../stores/buffers.js').TextBuffer} TextBuffer
 * @typedef {{id: string, buffer: TextBuffer, view: HostEditor, bases: readonly (readonly string[] | null)[]}} Place
 */

/** @returns {Place | null} */
function placeInFront() {
  const page = pageInFront();
  if (page) return page;
  const buffer = frontBuffer.value;
  const view = activeView();
  const id = frontTab.value?.id ?? '';
  return buffer && view ? { id, buffer, view, bases: [] } : null;
}

const hasConflicts = () => conflictsOf(placeInFront()?.id ?? '').length > 0;

/** @param {Place} place */
const lineOf = ({ view }) => view.selection()?.line ?? 1;

/** @param {1 | -1} step */
function goTo(step) {
  const place = placeInFront();
  if (!place) return;
  const conflicts = conflictsOf(place.id);
  const conflict = conflicts[nextConflict(conflicts, lineOf(place), step)];
  if (conflict) place.view.reveal(conflict.start + 1);
  place.view.focus();
}

/** @param {Choice} choice */
function decideHere(choice) {
  const place = placeInFront();
  if (!place) return;
  const { buffer, bases, id } = place;
  const conflicts = conflictsOf(id);
  const at = conflictAt(conflicts, lineOf(place));
  const meant = conflicts[at] ?? (conflicts.length === 1 ? conflicts[0] : null);
  if (!meant) return void toast({ kind: 'info', text: 'There is no conflict at the cursor.' });
  const done = decideIn(buffer, choice, { line: meant.start + 1, bases });
  if (!done) toast({ kind: 'info', text: 'What stood there before both changes cannot be told here.' });
  place.view.focus();
}

/** @param {Choice} choice */
function decideAll(choice) {
  const place = placeInFront();
  if (!place) return;
  const count = decideIn(place.buffer, choice, { bases: place.bases });
  toast({ kind: 'info', text: `${count === 1 ? '1 conflict' : `${count} conflicts`} decided. Undo takes it back.` });
}

const isPage = () => pageInFront() !== null;

/** @type {Parameters<typeof registerCommand>[0][]} */
const kCommands = [
  ...kChoices.map(([choice, title]) => ({
    id: `conflict.${choice}`,
    title,
    when: hasConflicts,
    run: () => decideHere(choice),
  })),
  { id: 'conflict.allOurs', title: 'Accept All Ours', when: hasConflicts, run: () => decideAll('ours') },
  { id: 'conflict.allTheirs', title: 'Accept All Theirs', when: hasConflicts, run: () => decideAll('theirs') },
  { id: 'conflict.next', title: 'Go to Next Conflict', keys: ['alt+f5'], global: true, when: hasConflicts, run: () => goTo(1) },
  {
    id: 'conflict.previous',
    title: 'Go to Previous Conflict',
    keys: ['shift+alt+f5'],
    global: true,
    when: hasConflicts,
    run: () => goTo(-1),
  },
  {
    id: 'conflict.open',
    title: 'Open Conflict Editor',
    when: () => !isPage() && hasConflicts() && repoFor(frontTab.value?.id ?? '') !== null,
    run: (id = frontTab.value?.id ?? '') => openConflict(id),
  },
  { id: 'conflict.resolve', title: 'Mark as Resolved', when: isPage, run: () => markResolved(pageInFront()?.id ?? '') },
  {
    id: 'conflict.save',
    title: 'Save',
    keys: ['ctrl+s'],
    palette: false,
    when: isPage,
    run: () => saveDocument(pageInFront()?.id ?? ''),
  },
];

export function startConflicts() {
  for (const command of kCommands) registerCommand({ ...command, category: 'Conflict', place: 'conflict' });
  startConflictPages();
  watchConflicts();
  followTexts();
}
