// What the list of key bindings shows: a row for each key of each command, and one for a command without any.

import { normalKeys, shownKeys } from '../shell/keynames.js';
import { conflictsOf, isChanged, placeOf } from './keybindings.js';

/**
 * @typedef {import('./keybindings.js').Bindable & {title: string, category?: string, palette?: boolean}} Named
 * @typedef {import('./keybindings.js').Conflict<Named>} Conflict
 *
 * @typedef {object} Row
 * @property {string} key tells rows apart
 * @property {Named} command
 * @property {boolean} known false for a command that is kept, but is not there
 * @property {string} title with its category
 * @property {string} keys "" without any
 * @property {boolean} mine
 * @property {boolean} changed the user changed something about the command
 * @property {string} [when]
 * @property {string} where
 * @property {'' | 'Default' | 'Yours' | 'Taken away'} source
 * @property {Conflict[]} conflicts
 *
 * @typedef {{words: string, strokes: readonly (readonly string[])[], conflicts: boolean, mine: boolean}} Filter
 */

/** @type {Record<string, string>} */
const kPlaces = {
  text: 'In the text',
  terminal: 'In terminals',
  explorer: 'In the explorer',
  search: 'In the search',
  conflict: 'In files with conflicts',
};

/** @param {Named} command */
const titleOf = ({ category, title }) => (category ? `${category}: ${title}` : title);

/**
 * All rows, by title; what is not known comes last.
 * @template {Named} T
 * @param {readonly T[]} commands
 * @param {import('./keybindings.js').Table<T>} table
 * @param {import('./keybindings.js').Changes} user
 * @returns {Row[]}
 */
export function keyRows(commands, table, user) {
  const rows = commands.flatMap((command) => {
    const own = table.of.get(command.id) ?? [];
    if (own.length) return own.map((binding, at) => rowOf(binding, at, table, user));
    // One that only works on what is handed to it has nothing to do when a key alone calls it.
    return command.palette === false && !isChanged(user, command.id) ? [] : [emptyRow(command, user)];
  });
  rows.sort((one, other) => one.title.localeCompare(other.title));
  return [...rows, ...unknownRows(commands, user)];
}

/**
 * @template {Named} T
 * @param {import('./keybindings.js').Binding<T>} binding
 * @param {number} at among those of its command: a row whose keys change stays the same row
 * @param {import('./keybindings.js').Table<T>} table
 * @param {import('./keybindings.js').Changes} user
 * @returns {Row}
 */
function rowOf(binding, at, table, user) {
  const { command, keys, mine, when } = binding;
  const strokes = keys.split(' ').map((stroke) => [stroke]);
  return {
    key: `${command.id} ${at}`,
    command,
    known: true,
    title: titleOf(command),
    keys,
    mine,
    changed: isChanged(user, command.id),
    when: when?.text,
    where: when?.text ?? kPlaces[placeOf(binding)] ?? '',
    source: mine ? 'Yours' : 'Default',
    conflicts: conflictsOf(table, binding, strokes),
  };
}

/** @param {Named} command @param {import('./keybindings.js').Changes} user @returns {Row} */
function emptyRow(command, user) {
  const changed = isChanged(user, command.id);
  return {
    ...{ key: `${command.id} 0`, command, known: true, title: titleOf(command), keys: '', mine: false, changed },
    ...{ where: '', source: changed ? 'Taken away' : '', conflicts: [] },
  };
}

/** @param {readonly Named[]} commands @param {import('./keybindings.js').Changes} user @returns {Row[]} */
function unknownRows(commands, user) {
  const known = new Set(commands.map(({ id }) => id));
  return user.add
    .filter(({ command }) => !known.has(command))
    .map(({ command, keys, when }, at) => ({
      ...{ key: `${command} ${at}`, command: { id: command, title: command }, known: false },
      ...{ title: `${command} (not there)`, keys, mine: true, changed: true, when, where: when ?? '' },
      ...{ source: /** @type {const} */ ('Yours'), conflicts: [] },
    }));
}

/**
 * @param {readonly Row[]} rows
 * @param {Filter} filter
 */
export function filterRows(rows, { words, strokes, conflicts, mine }) {
  const wanted = words.toLowerCase().split(/\s+/).filter(Boolean);
  return rows.filter((row) => {
    if (conflicts && !row.conflicts.length) return false;
    if (mine && !row.changed) return false;
    if (strokes.length && !hasStrokes(row.keys, strokes)) return false;
    const text = `${row.title} ${row.command.id} ${shownKeys(row.keys)} ${row.where}`.toLowerCase();
    return wanted.every((word) => text.includes(word));
  });
}

/**
 * Whether keys begin with what was pressed.
 * @param {string} keys
 * @param {readonly (readonly string[])[]} strokes each by all its names
 */
function hasStrokes(keys, strokes) {
  const own = keys ? normalKeys(keys).split(' ') : [];
  return strokes.every((names, i) => names.includes(own[i]));
}

/**
 * What a conflict means, in a sentence.
 * @param {Conflict} conflict
 */
export function conflictWords({ kind, with: other }) {
  const title = `"${titleOf(other.command)}"`;
  const where = kPlaces[placeOf(other)];
  const place = where ? `, ${where.charAt(0).toLowerCase()}${where.slice(1)}` : '';
  if (kind === 'same') return `${title} has the same keys${place}.`;
  if (kind === 'begins') return `${shownKeys(other.keys)} of ${title} begins with these keys${place}.`;
  return `${shownKeys(other.keys)} alone is ${title}${place}.`;
}
