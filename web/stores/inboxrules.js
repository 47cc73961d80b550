// Rules by which the page answers questions itself: this tool, with this input, of this task, this folder or the
// chat. A rule fits exactly or not at all; one that says no wins over all that say yes; and what has to be read
// and chosen, a plan or a question of Claude, no rule ever answers.

import { toolLook } from './chattools.js';
import { recordOf, textOf } from './chatwire.js';
import { baseName, isInside } from './paths.js';

/**
 * @typedef {import('./chatquestions.js').Question} Question
 *
 * Who asks: the chat, in the folder it runs in, or a task. Ids of tasks begin anew with each run of the program,
 * so its time belongs to it.
 * @typedef {object} Asker
 * @property {string} task its id, "" for the chat
 * @property {number} createdAt of the task
 * @property {string} folder that it was made for, or that the chat runs in
 * @property {string} directory where it works
 *
 * What the input must be. "input": this very one. "below": a file in this folder, or this file, told from where
 * the asker works ("" is all of it). "any": whatever it is.
 * @typedef {{kind: 'input', input: Record<string, any>} | {kind: 'below', folder: string} | {kind: 'any'}} Match
 *
 * Whose questions: the chat's, one task's, or those of all tasks of a folder.
 * @typedef {{kind: 'chat', folder: string} | {kind: 'task', id: string, createdAt: number, folder: string}
 *   | {kind: 'folder', folder: string}} Scope
 *
 * @typedef {object} Rule
 * @property {string} id
 * @property {'allow' | 'deny'} behavior
 * @property {string} tool
 * @property {Match} match
 * @property {Scope} scope
 * @property {number} made milliseconds since the epoch
 */

/** More than this many would be a list that nobody looks through. */
export const MOST_RULES = 200;

const kShell = new Set(['Bash']);
/** Tools that act on one file, and the field that names it. */
const kFileFields = new Map([
  ['Edit', 'file_path'],
  ['MultiEdit', 'file_path'],
  ['Write', 'file_path'],
  ['Read', 'file_path'],
  ['NotebookEdit', 'notebook_path'],
]);
/** What must be read before it is answered, however the CLI sent it. */
const kNever = new Set(['ExitPlanMode', 'AskUserQuestion']);
/** Writing these changes what is allowed or run later, so that no rule for a folder covers them. */
const kGuarded = new Set(['.git', '.claude', '.mcp.json', '.marlin', '.husky', '.envrc']);

/** @param {Question} question */
export const canHaveRule = ({ kind, tool }) => kind === 'tool' && tool !== '' && !kNever.has(tool);

/**
 * The rule that answers a question; null when the user has to.
 * @param {readonly Rule[]} rules
 * @param {Question} question
 * @param {Asker} asker
 */
export function ruleFor(rules, question, asker) {
  if (!canHaveRule(question)) return null;
  const fitting = rules.filter((rule) => fits(rule, question, asker));
  return fitting.find(({ behavior }) => behavior === 'deny') ?? fitting[0] ?? null;
}

/**
 * @param {Rule} rule
 * @param {Question} question
 * @param {Asker} asker
 */
function fits({ tool, match, scope, behavior }, question, asker) {
  if (tool !== question.tool || !inScope(scope, asker)) return false;
  if (match.kind === 'any') return behavior === 'deny' || !kShell.has(tool);
  if (match.kind === 'input') return sameInput(tool, match.input, question.input, behavior);
  const path = pathIn(question, asker);
  if (path === null || !isBelow(path, match.folder)) return false;
  return behavior === 'deny' || !isGuarded(path);
}

/** @param {string} path */
const isGuarded = (path) => path.split('/').some((name) => kGuarded.has(name));

/**
 * Whether a rule that fits by a file's name needs a look at the disk before it allows: a link may lead elsewhere.
 * @param {Rule} rule
 */
export const mindsLinks = ({ behavior, match }) => behavior === 'allow' && match.kind === 'below';

/**
 * Whether a file is, links followed, still where the rule says.
 * @param {Rule} rule
 * @param {string} directory where the asker works, links followed
 * @param {string} path the file, links followed
 */
export function fitsReally({ match }, directory, path) {
  if (match.kind !== 'below' || !directory || !path.startsWith(`${directory}/`)) return false;
  const inside = path.slice(directory.length + 1);
  return isBelow(inside, match.folder) && !isGuarded(inside);
}

/**
 * @param {Scope} scope
 * @param {Asker} asker
 */
function inScope(scope, { task, createdAt, folder }) {
  if (scope.folder !== folder) return false;
  if (scope.kind === 'chat') return task === '';
  if (scope.kind === 'folder') return task !== '';
  return scope.id === task && scope.createdAt === createdAt;
}

/**
 * A command is compared whole, never by how it begins: "make" is not "make; rm -rf ~". What is only said about it
 * does not count. For a "no" the words of a command are enough, in whatever way it is to be run.
 * @param {string} tool
 * @param {Record<string, any>} known
 * @param {Record<string, any>} input
 * @param {'allow' | 'deny'} behavior
 */
function sameInput(tool, known, input, behavior) {
  if (!kShell.has(tool)) return canonical(known) === canonical(input);
  if (behavior === 'deny') return textOf(input.command) !== '' && input.command === known.command;
  return canonical(essence(known)) === canonical(essence(input));
}

/** @param {Record<string, any>} input */
function essence(input) {
  const { description, ...rest } = input;
  return rest;
}

/** Equal for equal values, in whatever order their fields come. @param {any} value @returns {string} */
function canonical(value) {
  if (Array.isArray(value)) return `[${value.map(canonical).join(',')}]`;
  if (value === null || typeof value !== 'object') return JSON.stringify(value) ?? 'null';
  const names = Object.keys(value).sort();
  return `{${names.map((name) => `${JSON.stringify(name)}:${canonical(value[name])}`).join(',')}}`;
}

/**
 * The file that a question is about, told from where the asker works; null for none, and for one outside of it.
 * @param {Question} question
 * @param {Asker} asker
 */
export function pathIn({ tool, input }, { directory }) {
  const path = textOf(input[kFileFields.get(tool) ?? '']);
  const whole = path.startsWith('/') ? path : `${directory}/${path}`;
  const top = directory.replace(/\/+$/, '');
  if (!path || !top || path.includes('\0') || !whole.startsWith(`${top}/`)) return null;
  const names = whole.slice(top.length + 1).split('/').filter((name) => name !== '' && name !== '.');
  // Where ".." leads only the disk can say.
  return names.length === 0 || names.includes('..') ? null : names.join('/');
}

/**
 * @param {string} path
 * @param {string} folder or the file itself; "" is all
 */
const isBelow = (path, folder) => folder === '' || isInside(path, folder);

// Making rules

/** @typedef {{id: string, label: string, match: Match}} MatchChoice */
/** @typedef {{id: string, label: string, scope: Scope}} ScopeChoice */

/**
 * What a rule made from a question may ask of the input, the narrowest first.
 * @param {Question} question
 * @param {Asker} asker
 * @returns {MatchChoice[]}
 */
export function matchChoices(question, asker) {
  const { tool, input } = question;
  const exact = { kind: /** @type {const} */ ('input'), input };
  if (kShell.has(tool)) return [{ id: 'input', label: 'exactly this command', match: exact }];
  const path = pathIn(question, asker);
  if (path !== null) return belowChoices(path);
  const any = { id: 'any', label: 'any use of this tool', match: { kind: /** @type {const} */ ('any') } };
  const only = { id: 'input', label: 'exactly this input', match: exact };
  // A file outside of where the asker works is never a matter of course.
  return kFileFields.has(tool) ? [only] : [only, any];
}

/**
 * The file, its folder, and those around it.
 * @param {string} path
 * @returns {MatchChoice[]}
 */
function belowChoices(path) {
  const parts = path.split('/');
  const folders = parts.map((_, at) => parts.slice(0, at).join('/')).reverse();
  return [path, ...folders].map((folder, at) => ({
    id: `below:${folder}`,
    label: at === 0 ? `the file ${path}` : folder ? `files in ${folder}/` : 'all files where it works',
    match: { kind: 'below', folder },
  }));
}

/**
 * @param {Asker} asker
 * @returns {ScopeChoice[]}
 */
export function scopeChoices({ task, createdAt, folder }) {
  if (!task) return [{ id: 'chat', label: 'the chat', scope: { kind: 'chat', folder } }];
  return [
    { id: 'task', label: 'this task', scope: { kind: 'task', id: task, createdAt, folder } },
    { id: 'folder', label: `every task in ${nameOf(folder)}`, scope: { kind: 'folder', folder } },
  ];
}

/** @param {string} folder */
const nameOf = (folder) => baseName(folder) || folder;

/**
 * A list with one more rule; one that says the same of the same is replaced.
 * @param {readonly Rule[]} rules
 * @param {Omit<Rule, 'id' | 'made'>} wanted
 * @param {number} now
 * @returns {Rule[]}
 */
export function withRule(rules, { behavior, tool, match, scope }, now) {
  const about = (/** @type {Pick<Rule, 'tool' | 'match' | 'scope'>} */ one) =>
    canonical([one.tool, one.match, one.scope]);
  const same = about({ tool, match, scope });
  const others = rules.filter((one) => about(one) !== same);
  const taken = new Set(others.map(({ id }) => id));
  let number = others.length + 1;
  while (taken.has(`r${number}`)) number++;
  return [...others, { id: `r${number}`, behavior, tool, match, scope, made: now }].slice(-MOST_RULES);
}

/**
 * Rules that can still fit: those of tasks that are gone never will.
 * @param {readonly Rule[]} rules
 * @param {readonly {id: string, createdAt: number}[]} tasks all there are
 */
export function livingRules(rules, tasks) {
  const known = new Map(tasks.map(({ id, createdAt }) => [id, createdAt]));
  const living = rules.filter(({ scope }) => scope.kind !== 'task' || known.get(scope.id) === scope.createdAt);
  return living.length === rules.length ? rules : living;
}

/**
 * @param {Rule} rule
 * @param {string} [title] of the task it is for
 */
export function ruleWords({ behavior, tool, match, scope }, title = '') {
  const { label } = toolLook(tool, {});
  const verb = behavior === 'allow' ? 'Allow' : 'Refuse';
  const who =
    scope.kind === 'chat'
      ? `for the chat in ${nameOf(scope.folder)}`
      : scope.kind === 'folder'
        ? `for every task in ${nameOf(scope.folder)}`
        : `for the task ${title || scope.id}`;
  return `${verb} ${label}${matchWords(tool, match)}, ${who}`;
}

/**
 * @param {string} tool
 * @param {Match} match
 */
function matchWords(tool, match) {
  if (match.kind === 'any') return ', whatever it is';
  if (match.kind === 'below') return match.folder ? ` in ${match.folder}` : ' where it works';
  const { command } = match.input;
  return kShell.has(tool) ? `: ${textOf(command)}` : `: ${JSON.stringify(match.input)}`;
}

/**
 * Rules that were kept. One that does not make sense is left out: it might fit more than was meant.
 * @param {unknown} kept
 * @returns {Rule[]}
 */
export function restoredRules(kept) {
  if (!Array.isArray(kept)) return [];
  const rules = kept.map(restoredRule).filter((rule) => rule !== null);
  return rules.filter((rule, at) => rules.findIndex(({ id }) => id === rule.id) === at).slice(-MOST_RULES);
}

/**
 * @param {unknown} kept
 * @returns {Rule | null}
 */
function restoredRule(kept) {
  const { id, behavior, tool, match, scope, made } = recordOf(kept);
  if (!textOf(id) || !textOf(tool) || (behavior !== 'allow' && behavior !== 'deny')) return null;
  const wholeMatch = restoredMatch(recordOf(match));
  const wholeScope = restoredScope(recordOf(scope));
  if (!wholeMatch || !wholeScope) return null;
  return { id, behavior, tool, match: wholeMatch, scope: wholeScope, made: Number(made) || 0 };
}

/**
 * @param {Record<string, any>} match
 * @returns {Match | null}
 */
function restoredMatch({ kind, input, folder }) {
  if (kind === 'any') return { kind };
  if (kind === 'below' && typeof folder === 'string') return { kind, folder };
  if (kind === 'input' && recordOf(input) === input) return { kind, input };
  return null;
}

/**
 * @param {Record<string, any>} scope
 * @returns {Scope | null}
 */
function restoredScope({ kind, id, createdAt, folder }) {
  if (!textOf(folder)) return null;
  if (kind === 'chat' || kind === 'folder') return { kind, folder };
  if (kind === 'task' && textOf(id) && typeof createdAt === 'number') return { kind, id, createdAt, folder };
  return null;
}
