// The list of key bindings as the page shows it, and how they are changed.

import { computed, signal } from '@preact/signals';
import { bindings, commandById, commands } from '../../shell/commands.js';
import { ask } from '../../shell/dialogs.js';
import { shownKeys } from '../../shell/keynames.js';
import { toast } from '../../shell/toasts.js';
import { addKeys, changes, keepChanges, kNone, removeKeys, replaceKeys, resetKeys } from '../../stores/keybindings.js';
import { exportText } from '../../stores/keybindingsimport.js';
import { filterRows, keyRows } from '../../stores/keybindingsrows.js';
import { recordKeys } from './record.js';

/** @typedef {import('../../stores/keybindingsrows.js').Row} Row */

/** @type {import('@preact/signals').Signal<import('../../stores/keybindingsrows.js').Filter>} */
export const filter = signal({ words: '', strokes: [], conflicts: false, mine: false });

const allRows = computed(() => keyRows(commands.value, bindings.value, changes.value));
export const rows = computed(() => filterRows(allRows.value, filter.value));
export const conflictCount = computed(() => allRows.value.filter((row) => row.conflicts.length).length);

export const hasChanges = () => changes.value.add.length + changes.value.remove.length > 0;

/** What the last import changed, to be taken back as long as nothing else was. */
const imported = signal({ before: kNone, after: kNone });
export const canUndoImport = () => imported.value.before !== imported.value.after && changes.value === imported.value.after;

/** @param {Partial<import('../../stores/keybindingsrows.js').Filter>} change */
export function setFilter(change) {
  filter.value = { ...filter.value, ...change };
}

/**
 * Asks for keys, in place of those of the row; for a row without any, and with `another`, beside what there is.
 * @param {Row} row
 * @param {{another?: boolean}} [options]
 */
export async function changeRow(row, { another = false } = {}) {
  const command = commandById(row.command.id);
  if (!command) return;
  const replaced = row.keys && !another ? row : null;
  const keys = await recordKeys(command, replaced);
  if (!keys) return;
  keepChanges(replaced ? replaceKeys(changes.value, command, replaced, keys) : addKeys(changes.value, command, keys));
}

/** @param {Row} row */
export function removeRow(row) {
  if (row.keys) keepChanges(removeKeys(changes.value, row.command, row));
}

/** @param {Row} row */
export function resetRow(row) {
  keepChanges(resetKeys(changes.value, row.command.id));
}

export async function resetAll() {
  const { add, remove } = changes.value;
  const answer = await ask({
    title: 'Reset all keyboard shortcuts?',
    text: `${countWords(add.length, 'added key')} and ${countWords(remove.length, 'key')} taken away are forgotten.`,
    buttons: [
      { id: 'reset', label: 'Reset All', kind: 'danger' },
      { id: 'cancel', label: 'Cancel' },
    ],
  });
  if (answer === 'reset') keepChanges(kNone);
}

/** @param {import('../../stores/keybindingsimport.js').Plan} plan */
export function takeOver(plan) {
  const before = changes.value;
  keepChanges(plan.next);
  imported.value = { before, after: plan.next };
  const text = `${countWords(plan.taken.length, 'key binding')} taken over.`;
  const close = toast({ kind: 'info', text, actions: [{ label: 'Undo', run: () => (undoImport(), close()) }] });
}

export function undoImport() {
  if (canUndoImport()) keepChanges(imported.value.before);
}

export async function copyAsFile() {
  await navigator.clipboard.writeText(exportText(changes.value));
  toast({ kind: 'info', text: 'Your key bindings are in the clipboard, as VS Code keeps them in keybindings.json.' });
}

/** Shows all that has the keys of a row. @param {Row} row */
export function showSame(row) {
  filter.value = { words: '', strokes: row.keys.split(' ').map((stroke) => [stroke]), conflicts: false, mine: false };
}

/** What is pressed in the filter. */
export const filterKeys = computed(() => shownStrokes(filter.value.strokes.map(([name]) => name)));

/** @param {readonly string[]} strokes */
export const shownStrokes = (strokes) => (strokes.length ? shownKeys(strokes.join(' ')) : '');

/** @param {number} count @param {string} what */
export const countWords = (count, what) => `${count} ${what}${count === 1 ? '' : 's'}`;
