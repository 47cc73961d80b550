// Taking over a file of key bindings as VS Code writes them, and writing one. Nothing changes here: a plan says
// what would be taken over, what not and why, and the changes that would hold afterwards.

import { areKeys, shownKeys } from '../shell/keynames.js';
import { addKeys, conflictsOf, removeKeys, tableOf } from './keybindings.js';
import { parseWhen } from './keybindingscontexts.js';
import { keysFromForeign, keysToForeign, oursOf, theirsOf } from './keybindingsforeign.js';
import { keysFault, keysNotes } from './keybindingsreserved.js';

/** The rest of a longer file is left out, which the plan says. */
export const MOST_READ = 1000;
/** Letters of a file: no file that a person keeps is longer. */
export const LONGEST_FILE = 1 << 20;

/**
 * @typedef {import('./keybindings.js').Changes} Changes
 * @typedef {import('./keybindings.js').Bindable & {title: string, category?: string}} Named
 *
 * @typedef {object} Taken
 * @property {string} theirs the command's name in the file
 * @property {Named} command
 * @property {string} keys
 * @property {string} [when]
 * @property {boolean} removes
 * @property {string} note
 *
 * @typedef {{keys: string, theirs: string, reason: string}} Left
 * @typedef {{taken: Taken[], left: Left[], next: Changes}} Plan
 */

/**
 * JSON with comments and trailing commas.
 * @param {string} text
 * @returns {unknown}
 */
export function parseLooseJson(text) {
  const bare = text
    .replace(/^\uFEFF/, '')
    .replace(/"(?:\\.|[^"\\])*"|\/\/[^\r\n]*|\/\*[^]*?\*\//g, (found) => (found[0] === '"' ? found : ' '))
    .replace(/"(?:\\.|[^"\\])*"|,(?=\s*[\]}])/g, (found) => (found[0] === '"' ? found : ''));
  return bare.trim() ? JSON.parse(bare) : [];
}

/**
 * @template {Named} T
 * @param {string} text of the file
 * @param {readonly T[]} commands
 * @param {Changes} user
 * @returns {Plan | {error: string}}
 */
export function planImport(text, commands, user) {
  if (text.length > LONGEST_FILE) return { error: 'it is too large to be a file of key bindings' };
  let rules;
  try {
    rules = parseLooseJson(text);
  } catch (error) {
    return { error: `it cannot be read: ${error instanceof Error ? error.message : error}` };
  }
  if (!Array.isArray(rules)) return { error: 'it is not a list of key bindings' };
  const known = new Map(commands.map((command) => [command.id, command]));
  /** @type {Plan} */
  const plan = { taken: [], left: [], next: user };
  for (const rule of rules.slice(0, MOST_READ)) takeRule(plan, rule, known);
  if (rules.length > MOST_READ) {
    plan.left.push({ keys: '', theirs: '', reason: `${rules.length - MOST_READ} more are not read` });
  }
  return plan;
}

/**
 * @param {Plan} plan
 * @param {any} rule
 * @param {Map<string, Named>} known
 */
function takeRule(plan, rule, known) {
  const name = typeof rule?.command === 'string' ? rule.command : '';
  const written = typeof rule?.key === 'string' ? rule.key : '';
  const removes = name.startsWith('-');
  const theirs = removes ? name.slice(1) : name;
  const leave = (/** @type {string} */ reason) => void plan.left.push({ keys: written, theirs: name, reason });
  if (!written) return leave('it names no keys');
  const read = keysFromForeign(written);
  if ('reason' in read) return leave(read.reason);
  const { keys, note } = read;
  if (!theirs) return takeFromAll(plan, keys, known, leave);
  const command = known.get(oursOf(theirs) ?? theirs);
  if (!command) return leave('there is no such command here');
  if (rule.args !== undefined && !removes) return leave('commands take no arguments here');
  if (removes) return takeAway(plan, { theirs, command, keys, removes, note }, leave);
  const when = whenFrom(rule.when, command);
  if ('reason' in when) return leave(when.reason);
  const fault = keysFault(keys);
  if (fault) return leave(fault);
  if (!areKeys(keys)) return leave('its keys are not understood');
  if (isThere(plan.next, command, keys, when.text)) return leave('it is so already');
  plan.next = addKeys(plan.next, command, keys, when.text);
  const notes = [note, ...keysNotes(keys)].filter(Boolean).join(' ');
  plan.taken.push({ theirs, command, keys, removes: false, note: notes, ...(when.text ? { when: when.text } : {}) });
}

/**
 * A condition that says no more than where the command's keys act anyway is none.
 * @param {unknown} text
 * @param {Named} command
 * @returns {{text: string | undefined} | {reason: string}}
 */
function whenFrom(text, { place }) {
  if (text === undefined || text === '') return { text: undefined };
  if (typeof text !== 'string') return { reason: 'its condition is not understood' };
  const read = parseWhen(text);
  if ('reason' in read) return read;
  const alone = read.when?.text === 'editorTextFocus' || read.when?.text === 'editorFocus';
  return { text: alone && place === 'text' ? undefined : read.when?.text };
}

/**
 * @param {Changes} user @param {Named} command @param {string} keys @param {string} [when]
 */
function isThere(user, command, keys, when) {
  const added = user.add.some((one) => one.command === command.id && one.keys === keys && one.when === when);
  const taken = user.remove.some((one) => one.command === command.id && one.keys === keys);
  return added || (when === undefined && !taken && (command.keys?.includes(keys) ?? false));
}

/**
 * @param {Plan} plan
 * @param {Taken} item
 * @param {(reason: string) => void} leave
 */
function takeAway(plan, item, leave) {
  const { command, keys } = item;
  const own = plan.next.add.find((one) => one.command === command.id && one.keys === keys);
  const there = own ?? (isThere(plan.next, command, keys) ? { keys } : null);
  if (!there) return leave(`${shownKeys(keys)} is not a key of "${command.title}" here`);
  plan.next = removeKeys(plan.next, command, { ...there, mine: own !== undefined });
  plan.taken.push(item);
}

/**
 * Keys with no command are taken from all that have them.
 * @param {Plan} plan
 * @param {string} keys
 * @param {Map<string, Named>} known
 * @param {(reason: string) => void} leave
 */
function takeFromAll(plan, keys, known, leave) {
  const having = [...known.values()].filter((command) => isThere(plan.next, command, keys));
  if (!having.length) return leave('no command has these keys here');
  for (const command of having) takeAway(plan, { theirs: '', command, keys, removes: true, note: '' }, leave);
}

/**
 * What else would act on keys that a plan takes over.
 * @param {Plan} plan
 * @param {readonly Named[]} commands
 * @returns {Map<Taken, import('./keybindings.js').Conflict<Named>[]>}
 */
export function planConflicts(plan, commands) {
  const table = tableOf(commands, plan.next);
  const found = plan.taken
    .filter(({ removes }) => !removes)
    .map((item) => {
      const binding = table.of.get(item.command.id)?.find(({ keys, when }) => keys === item.keys && when?.text === item.when);
      const strokes = item.keys.split(' ').map((stroke) => [stroke]);
      return /** @type {const} */ ([item, binding ? conflictsOf(table, binding, strokes) : []]);
    });
  return new Map(found.filter(([, conflicts]) => conflicts.length));
}

/**
 * The user's changes as a file. Commands that only this program has keep their own names.
 * @param {Changes} user
 */
export function exportText(user) {
  const lines = [
    ...user.remove.map(({ command, keys }) => ({ key: keysToForeign(keys), command: `-${theirsOf(command)}` })),
    ...user.add.map(({ command, keys, when }) => ({
      key: keysToForeign(keys),
      command: theirsOf(command),
      ...(when === undefined ? {} : { when: whenToForeign(when) }),
    })),
  ];
  return `[\n${lines.map((line) => `  ${JSON.stringify(line)}`).join(',\n')}\n]\n`;
}

/** @param {string} when */
const whenToForeign = (when) => when.replace(/(==|!=) ([\w.-]+)/g, "$1 '$2'");

