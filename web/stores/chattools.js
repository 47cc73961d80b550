// How the calls of Claude's tools are told: an icon, a line of words, and what the card's body is.

import { listOf, numberOf, recordOf, textOf } from './chatwire.js';

/**
 * @typedef {'command' | 'changes' | 'line' | 'tasks' | 'json'} ToolBody
 * @typedef {{icon: string, label: string, detail: string, path: string, body: ToolBody}} ToolLook
 * @typedef {{path: string, before: string, after: string}} Change
 */

/**
 * @typedef {object} KnownTool
 * @property {string} icon
 * @property {ToolBody} body
 * @property {string} [label] where the tool's own name says too little
 * @property {(input: Record<string, any>) => unknown} words
 * @property {string} [path] the field of the input that names a file
 */

/** @type {Record<string, KnownTool>} */
const LOOKS = {
  Bash: {
    icon: 'terminal',
    body: 'command',
    words: ({ command, description }) => description || firstLine(command),
  },
  BashOutput: { icon: 'terminal', body: 'line', label: 'Output of', words: ({ bash_id }) => bash_id },
  KillShell: { icon: 'terminal', body: 'line', label: 'End', words: ({ shell_id }) => shell_id },
  Edit: { icon: 'edit', body: 'changes', words: ({ file_path }) => file_path, path: 'file_path' },
  MultiEdit: {
    icon: 'edit',
    body: 'changes',
    label: 'Edit',
    words: ({ file_path }) => file_path,
    path: 'file_path',
  },
  Write: { icon: 'new-file', body: 'changes', words: ({ file_path }) => file_path, path: 'file_path' },
  NotebookEdit: {
    icon: 'notebook',
    body: 'changes',
    label: 'Edit',
    words: ({ notebook_path }) => notebook_path,
    path: 'notebook_path',
  },
  Read: { icon: 'file', body: 'line', words: readWords, path: 'file_path' },
  Grep: { icon: 'search', body: 'line', label: 'Search', words: searchWords },
  Glob: { icon: 'search', body: 'line', label: 'Find files', words: searchWords },
  LS: { icon: 'folder', body: 'line', label: 'List', words: ({ path }) => path },
  WebFetch: { icon: 'globe', body: 'line', label: 'Fetch', words: ({ url }) => url },
  WebSearch: { icon: 'globe', body: 'line', label: 'Search the web', words: ({ query }) => query },
  Task: { icon: 'hubot', body: 'line', label: 'Helper', words: ({ description }) => description },
  Agent: { icon: 'hubot', body: 'line', label: 'Helper', words: ({ description }) => description },
  TodoWrite: { icon: 'checklist', body: 'tasks', label: 'Tasks', words: taskWords },
  ExitPlanMode: { icon: 'notebook', body: 'line', label: 'Plan', words: ({ plan }) => firstLine(plan) },
  AskUserQuestion: { icon: 'question', body: 'line', label: 'Question', words: questionWords },
  Skill: { icon: 'extensions', body: 'line', words: ({ skill, command }) => skill || command },
};

/**
 * @param {string} name
 * @param {Record<string, any>} input
 * @returns {ToolLook}
 */
export function toolLook(name, input) {
  if (!Object.hasOwn(LOOKS, name)) {
    return { icon: 'tools', label: toolName(name), detail: '', path: '', body: 'json' };
  }
  const { icon, body, label = name, words, path } = LOOKS[name];
  return { icon, label, detail: textOf(words(input)), path: path ? textOf(input[path]) : '', body };
}

/** Tools of connected servers have long names: "mcp__server__tool". @param {string} name */
export function toolName(name) {
  const [, server, tool] = /^mcp__(.+?)__(.+)$/.exec(name) ?? [];
  return tool ? `${server}: ${tool}` : name || 'Tool';
}

/** @param {unknown} text */
function firstLine(text) {
  const lines = textOf(text).trim().split('\n');
  return lines.length > 1 ? `${lines[0]} …` : lines[0];
}

/** @param {Record<string, any>} input */
function readWords({ file_path, offset, limit }) {
  const from = numberOf(offset);
  const count = numberOf(limit);
  if (!from && !count) return file_path;
  const first = Math.max(1, from);
  return `${textOf(file_path)}, ${count ? `lines ${first} to ${first + count - 1}` : `from line ${first}`}`;
}

/** @param {Record<string, any>} input */
function searchWords({ pattern, path, glob }) {
  const where = [path, glob].map(textOf).filter(Boolean).join(', ');
  return where ? `${textOf(pattern)} in ${where}` : pattern;
}

/** @param {Record<string, any>} input */
function taskWords(input) {
  const tasks = tasksOf(input);
  return `${tasks.filter(({ state }) => state === 'completed').length} of ${tasks.length} done`;
}

/** @param {Record<string, any>} input */
function questionWords({ questions }) {
  return firstLine(recordOf(listOf(questions)[0]).question);
}

/**
 * @param {Record<string, any>} input
 * @returns {{words: string, state: string}[]}
 */
export const tasksOf = (input) =>
  listOf(input.todos).map((todo) => ({
    words: textOf(recordOf(todo).content),
    state: textOf(recordOf(todo).status),
  }));

/**
 * What a call of an editing tool changes. What stood in a file that is written whole is not in the call.
 * @param {string} name
 * @param {Record<string, any>} input
 * @returns {Change[]}
 */
export function changesOf(name, input) {
  const path = textOf(input.file_path) || textOf(input.notebook_path);
  if (name === 'Write') return [{ path, before: '', after: textOf(input.content) }];
  if (name === 'NotebookEdit') return [{ path, before: '', after: textOf(input.new_source) }];
  const edits = name === 'MultiEdit' ? listOf(input.edits).map(recordOf) : [input];
  return edits.map((edit) => ({ path, before: textOf(edit.old_string), after: textOf(edit.new_string) }));
}

/** The input without what the card shows anyway. @param {Record<string, any>} input */
export function inputJson(input) {
  return Object.keys(input).length ? JSON.stringify(input, null, 2) : '';
}

/**
 * A field of JSON that is still coming, as far as it has come; for what a tool is about to do.
 * @param {string} json
 * @param {string} name
 */
export function partialField(json, name) {
  const found = new RegExp(`"${name}"\\s*:\\s*"((?:[^"\\\\]|\\\\.)*)`, 's').exec(json);
  if (!found) return '';
  try {
    return String(JSON.parse(`"${found[1].replace(/\\u[0-9a-fA-F]{0,3}$/, '').replace(/\n/g, '\\n')}"`));
  } catch {
    return found[1];
  }
}
