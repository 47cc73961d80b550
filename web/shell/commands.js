// The one table of commands. Keys, palette, menus and buttons all act through it, so that each thing
// the editor can do has one name, one place and one set of keys.

import { computed, signal } from '@preact/signals';
import { changes, tableOf } from '../stores/keybindings.js';
import { holds } from './keycontexts.js';
import { normalKeys, shownKeys } from './keynames.js';
import { reportError } from './toasts.js';

/**
 * @typedef {object} Command
 * @property {string} id
 * @property {string} title as the palette shows it: "Save", "Toggle Side Panel"
 * @property {string} [category] before the title in the palette: "File"
 * @property {string[]} [keys] "ctrl+s", or a chord "ctrl+k ctrl+o", until the user binds it otherwise
 * @property {() => boolean} [when] whether it can run now; without it always
 * @property {() => boolean} [keysWhen] whether its keys count now; from menus and the palette it runs anyway
 * @property {string} [place] where `keysWhen` lets its keys count: in two such places the same keys may mean two things
 * @property {() => boolean} [checked] a state it switches, shown as a mark in menus
 * @property {(arg?: any) => any} run
 * @property {boolean} [palette] false keeps it out of the palette
 * @property {boolean} [global] its keys act before a focused text editor sees them
 *
 * @typedef {import('../stores/keybindings.js').Binding<Command>} Binding
 */

/** @type {Map<string, Command>} */
const table = new Map();

/** All commands, in the order they were registered. @type {import('@preact/signals').Signal<Command[]>} */
export const commands = signal([]);

/** What each key means: the commands' own keys with the user's changes. */
export const bindings = computed(() => tableOf(commands.value, changes.value));

/**
 * Adds a command, or replaces the one of that id. The result takes it out again.
 * @param {Command} command
 */
export function registerCommand(command) {
  const entry = { ...command, keys: command.keys?.map(normalKeys) };
  table.set(entry.id, entry);
  commands.value = [...table.values()];
  return () => {
    if (table.get(entry.id) !== entry) return;
    table.delete(entry.id);
    commands.value = [...table.values()];
  };
}

/** @param {string} id */
export const commandById = (id) => table.get(id);

/** @param {Command} command */
export const enabled = (command) => command.when?.() ?? true;

/**
 * Runs a command if it can run now. A failure is told to the user, with the command's title.
 * @param {string} id
 * @param {any} [arg]
 * @returns {Promise<any>} what the command gave; undefined when it did not run or failed
 */
export async function runCommand(id, arg) {
  const command = table.get(id);
  if (!command || !enabled(command)) return undefined;
  try {
    return await command.run(arg);
  } catch (error) {
    reportError(`Could not run "${fullTitle(command)}"`, error);
    return undefined;
  }
}

/** @param {Command} command */
export const fullTitle = ({ category, title }) => (category ? `${category}: ${title}` : title);

/**
 * The key of a command as people read it, or "". The user's own goes before others.
 * @param {string} id
 */
export function keyFor(id) {
  const keys = bindings.value.of.get(id)?.[0]?.keys;
  return keys ? shownKeys(keys) : '';
}

/**
 * What a stroke means, after the strokes of a chord that has begun.
 * @param {string[]} names the stroke's names, the best first
 * @param {string} begun "" or the first stroke of a chord
 * @param {(binding: Binding) => boolean} admits
 * @returns {{command: Command} | {chord: string} | null}
 */
export function lookUp(names, begun, admits) {
  const { exact, first } = bindings.value;
  const acts = (/** @type {Binding} */ binding) => admits(binding) && actsNow(binding);
  for (const name of names) {
    const stroke = begun ? `${begun} ${name}` : name;
    // Of two that claim a key the later registration wins, as a more special one comes later, and what the
    // user bound goes before both.
    const whole = exact.get(stroke)?.findLast(acts);
    const chord = begun ? undefined : first.get(stroke)?.findLast(acts);
    if (whole && (whole.mine || !chord?.mine)) return { command: whole.command };
    if (chord) return { chord: stroke };
  }
  return null;
}

/** @param {Binding} binding */
const actsNow = ({ command, when }) =>
  (!when || holds(when)) && (command.keysWhen?.() ?? true) && enabled(command);

/**
 * Whether the user took a stroke from a command whose keys count here. It must not act there, nor anything
 * that a text editor would do with it by itself.
 * @param {string[]} names
 */
export const takenAway = (names) =>
  names.some((name) => bindings.value.dead.get(name)?.some((command) => command.keysWhen?.() ?? true));
