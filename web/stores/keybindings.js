// The user's key bindings: keys added to commands and keys taken from them. What was there from the start is
// with the commands; here both become the one table by which keys are looked up.

import { signal } from '@preact/signals';
import { areKeys, isBare, normalKeys } from '../shell/keynames.js';
import { parseWhen, placeOfWhen } from './keybindingscontexts.js';
import { get, set } from './uistate.js';

/** Of each list. */
export const MOST_RULES = 1000;
const LONGEST_ID = 200;
const LONGEST_WHEN = 300;
const KEPT = 'keys.bindings';

/**
 * @typedef {{command: string, keys: string, when?: string}} Rule
 * @typedef {{add: readonly Rule[], remove: readonly Rule[]}} Changes the later of those added go before the earlier
 *
 * What the table needs to know of a command.
 * @typedef {object} Bindable
 * @property {string} id
 * @property {string[]} [keys]
 * @property {string} [place] the only one in which its keys act
 */

/**
 * @template {Bindable} T
 * @typedef {object} Binding
 * @property {T} command
 * @property {string} keys
 * @property {boolean} mine
 * @property {import('./keybindingscontexts.js').When | null} when
 */

/**
 * @template {Bindable} T
 * @typedef {object} Table
 * @property {Map<string, Binding<T>[]>} exact by all strokes; of each list the last that can run wins
 * @property {Map<string, Binding<T>[]>} first chords, by their first stroke
 * @property {Map<string, Binding<T>[]>} of by command: the user's own first, the latest of them foremost
 * @property {Map<string, T[]>} dead by a stroke, the commands that the user took it from
 */

/** @type {Changes} */
export const kNone = { add: [], remove: [] };

/** @type {import('@preact/signals').Signal<Changes>} */
export const changes = signal(kNone);

export function loadKeybindings() {
  changes.value = readChanges(get(KEPT, null));
}

/**
 * Keeps other changes from now on.
 * @param {Changes} next
 */
export function keepChanges(next) {
  const cut = next.add.length > MOST_RULES || next.remove.length > MOST_RULES;
  if (cut) throw new Error(`more than ${MOST_RULES} key bindings cannot be kept`);
  const empty = !next.add.length && !next.remove.length;
  if (!set(KEPT, empty ? undefined : next)) throw new Error('there is no room left to keep it');
  changes.value = next;
}

/**
 * What was kept, without all that makes no sense. Commands that are not known stay: they may come back.
 * @param {unknown} kept
 * @returns {Changes}
 */
export function readChanges(kept) {
  const lists = /** @type {{add?: unknown, remove?: unknown}} */ (typeof kept === 'object' && kept ? kept : {});
  return { add: readRules(lists.add), remove: readRules(lists.remove) };
}

/** @param {unknown} list @returns {Rule[]} */
function readRules(list) {
  if (!Array.isArray(list)) return [];
  return list.slice(0, MOST_RULES).flatMap((rule) => {
    const { command, keys, when } = rule ?? {};
    if (typeof command !== 'string' || !command || command.length > LONGEST_ID) return [];
    if (typeof keys !== 'string' || !areKeys(keys)) return [];
    if (when === undefined) return [{ command, keys }];
    if (typeof when !== 'string' || when.length > LONGEST_WHEN || 'reason' in parseWhen(when)) return [];
    return [{ command, keys, when }];
  });
}

/**
 * @template {Bindable} T
 * @param {readonly T[]} commands in the order they were registered
 * @param {Changes} user
 * @returns {Table<T>}
 */
export function tableOf(commands, user) {
  /** @type {Table<T>} */
  const table = { exact: new Map(), first: new Map(), of: new Map(), dead: new Map() };
  const known = new Map(commands.map((command) => [command.id, command]));
  const taken = new Set(user.remove.map(({ command, keys }) => `${command} ${keys}`));
  for (const command of commands) {
    for (const keys of command.keys ?? []) {
      if (!taken.has(`${command.id} ${keys}`)) put(table, { command, keys, mine: false, when: null });
      else if (!isBare(keys)) at(table.dead, keys.split(' ')[0]).push(command);
    }
  }
  for (const { command: id, keys, when } of user.add) {
    const command = known.get(id);
    if (command) put(table, { command, keys, mine: true, when: whenOf(when) });
  }
  return table;
}

/**
 * @template {Bindable} T
 * @param {Table<T>} table
 * @param {Binding<T>} binding
 */
function put(table, binding) {
  const { keys, mine, command } = binding;
  at(table.exact, keys).push(binding);
  const [first, second] = keys.split(' ');
  if (second) at(table.first, first).push(binding);
  const own = at(table.of, command.id);
  if (mine) own.unshift(binding);
  else own.push(binding);
}

/**
 * @template V
 * @param {Map<string, V[]>} map
 * @param {string} key
 */
function at(map, key) {
  const found = map.get(key) ?? [];
  map.set(key, found);
  return found;
}

/** @param {string} [when] as it was kept, and so can be read */
function whenOf(when) {
  const read = when === undefined ? { when: null } : parseWhen(when);
  return 'when' in read ? read.when : null;
}

/** @param {Rule} one @param {Rule} other */
const same = (one, other) => one.command === other.command && one.keys === other.keys && one.when === other.when;

/**
 * @param {Changes} user
 * @param {Bindable} command
 * @param {string} keys
 * @param {string} [when]
 * @returns {Changes}
 */
export function addKeys(user, command, keys, when) {
  /** @type {Rule} */
  const rule = { command: command.id, keys: normalKeys(keys), ...(when === undefined ? {} : { when }) };
  const add = user.add.filter((one) => !same(one, rule));
  if (when !== undefined || !command.keys?.includes(rule.keys)) return { ...user, add: [...add, rule] };
  // One of its own, and so there again, or still.
  return { add, remove: user.remove.filter((one) => !same(one, rule)) };
}

/**
 * @param {Changes} user
 * @param {Bindable} command
 * @param {{keys: string, mine: boolean, when?: string}} which
 * @returns {Changes}
 */
export function removeKeys(user, command, { keys, mine, when }) {
  const rule = { command: command.id, keys, ...(when === undefined ? {} : { when }) };
  if (mine) return { ...user, add: user.add.filter((one) => !same(one, rule)) };
  if (user.remove.some((one) => same(one, rule))) return user;
  return { ...user, remove: [...user.remove, rule] };
}

/**
 * @param {Changes} user
 * @param {Bindable} command
 * @param {{keys: string, mine: boolean, when?: string}} which
 * @param {string} keys instead of those
 */
export const replaceKeys = (user, command, which, keys) =>
  normalKeys(keys) === which.keys ? user : addKeys(removeKeys(user, command, which), command, keys, which.when);

/**
 * As it was from the start.
 * @param {Changes} user
 * @param {string} id
 * @returns {Changes}
 */
export function resetKeys(user, id) {
  const others = (/** @type {readonly Rule[]} */ rules) => rules.filter(({ command }) => command !== id);
  return { add: others(user.add), remove: others(user.remove) };
}

/** @param {Changes} user @param {string} id */
export const isChanged = (user, id) => [...user.add, ...user.remove].some(({ command }) => command === id);

/**
 * `same`: the other has the very keys. `begins`: the other is a chord that begins with them. `cut`: the other
 * already acts on the first stroke of this chord.
 * @template {Bindable} T
 * @typedef {{kind: 'same' | 'begins' | 'cut', with: Binding<T>}} Conflict
 */

/**
 * What else acts on some strokes where a command's keys count.
 * @template {Bindable} T
 * @param {Table<T>} table
 * @param {{command: T, mine: boolean, when: Binding<T>['when']}} one whose strokes they are
 * @param {readonly (readonly string[])[]} strokes each by all the names that it answers to
 * @returns {Conflict<T>[]}
 */
export function conflictsOf(table, one, strokes) {
  const [firsts, seconds] = strokes;
  /** @type {Conflict<T>[]} */
  const found = [];
  /** @param {Conflict<T>['kind']} kind @param {Binding<T>[]} [list] */
  const take = (kind, list = []) => {
    for (const other of list) if (meet(one, other) && !found.some((known) => known.with === other)) found.push({ kind, with: other });
  };
  for (const first of firsts ?? []) {
    if (!seconds) take('begins', table.first.get(first));
    else for (const second of seconds) take('same', table.exact.get(`${first} ${second}`));
    take(seconds ? 'cut' : 'same', table.exact.get(first));
  }
  return found;
}

/**
 * Whether two bindings can want a key at the same moment. Where one acts in its own place only, that it goes
 * before the general one there is meant, unless the user made one of them.
 * @template {Bindable} T
 * @param {{command: T, mine: boolean, when: Binding<T>['when']}} one
 * @param {Binding<T>} other
 */
function meet(one, other) {
  if (one.command.id === other.command.id) return false;
  const [here, there] = [placeOf(one), placeOf(other)];
  if (here === there) return true;
  return (!here || !there) && (one.mine || other.mine);
}

/**
 * Where alone a binding acts; "" for everywhere.
 * @param {{command: Bindable, when: import('./keybindingscontexts.js').When | null}} binding
 */
export const placeOf = ({ command, when }) => command.place || placeOfWhen(when);
