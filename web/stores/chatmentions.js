// Mentions in a message: "@" and a path as the CLI reads it, with lines behind it for a part of a file. And
// what is being typed right now, for the list of proposals.

import { absolutePath, rootOf } from './paths.js';
import { findFiles } from './quickopen.js';

/** @typedef {import('./paths.js').Root} Root */
/** @typedef {{kind: 'file' | 'command', query: string, from: number, to: number}} Typed */

/**
 * The CLI runs in the first root: what lies there is named from there, all else in full.
 * @param {readonly Root[]} roots
 * @param {string} path of the workspace
 */
export function pathForClaude(roots, path) {
  const root = rootOf(path);
  return roots[0]?.name === root && path !== root
    ? path.slice(root.length + 1)
    : absolutePath(roots, path) || path;
}

/**
 * @param {string} path as the CLI reads it
 * @param {{from: number, to: number} | null} [lines] from 1
 */
export function mention(path, lines = null) {
  const name = /[\s"'()]/.test(path) ? `@"${path.replaceAll('"', '\\"')}"` : `@${path}`;
  if (!lines) return name;
  return lines.from === lines.to ? `${name}#L${lines.from}` : `${name}#L${lines.from}-${lines.to}`;
}

/**
 * What stands before the caret: a mention or, at the very beginning, a slash command that is being typed.
 * @param {string} text
 * @param {number} caret
 * @returns {Typed | null}
 */
export function typedAt(text, caret) {
  const before = text.slice(0, caret);
  const command = /^\/(\S*)$/.exec(before);
  if (command) return { kind: 'command', query: command[1], from: 0, to: caret };
  const file = /(?:^|\s)@([^\s@"]*)$/.exec(before);
  if (!file) return null;
  return { kind: 'file', query: file[1], from: caret - file[1].length - 1, to: caret };
}

/**
 * Files of the workspace that a mention may mean, the best first.
 * @param {string} query
 * @param {AbortSignal} signal
 */
export async function mentionable(query, signal) {
  return (await findFiles(query, signal)).files.map(({ path }) => path);
}

/**
 * The text with a piece of it replaced, and where the caret stands then. A blank follows, so that typing
 * can go on.
 * @param {string} text
 * @param {{from: number, to: number}} span
 * @param {string} words
 */
export function inserted(text, { from, to }, words) {
  const rest = text.slice(to);
  const blank = /^\s/.test(rest) ? '' : ' ';
  const gap = from > 0 && !/\s$/.test(text.slice(0, from)) ? ' ' : '';
  const head = `${text.slice(0, from)}${gap}${words}`;
  return { text: `${head}${blank}${rest}`, caret: head.length + 1 };
}

/**
 * The lines that are selected; null without a selection.
 * @param {{line: number, column: number, endLine: number, endColumn: number} | null} selection
 * @returns {{from: number, to: number} | null}
 */
export function selectedLines(selection) {
  if (!selection) return null;
  const { line, column, endLine, endColumn } = selection;
  if (line === endLine && column === endColumn) return null;
  // A selection that ends before the first character of a line does not hold that line.
  return { from: line, to: endColumn === 1 && endLine > line ? endLine - 1 : endLine };
}
