// The problems as rows of a list: each file with what was found in it below.

import { baseName, parentOf, workspacePath } from './paths.js';

/** More rows than this only slow the list down; it says that there are more. */
export const MOST_ROWS = 2000;

/**
 * @typedef {import('./lspproblems.js').Problem} Problem
 * @typedef {{kind: 'file', key: string, path: string, name: string, folder: string, count: number, open: boolean}} FileRow
 * @typedef {{kind: 'problem', key: string, path: string, problem: Problem}} ProblemRow
 * @typedef {FileRow | ProblemRow} Row
 */

/**
 * @param {readonly Problem[]} list in the order of their files
 * @param {{filter: string, closed: ReadonlySet<string>, roots: readonly {name: string, path: string}[]}} look
 * @returns {{rows: Row[], cut: number}} `cut` counts the problems that are not among the rows for want of room
 */
export function problemRows(list, { filter, closed, roots }) {
  const words = filter.toLowerCase().split(/\s+/).filter(Boolean);
  /** @type {Map<string, Problem[]>} */
  const files = new Map();
  for (const problem of list) {
    if (problem.severity === 'hint' || !words.every((word) => wordsOf(problem).includes(word))) continue;
    files.set(problem.path, [...(files.get(problem.path) ?? []), problem]);
  }
  /** @type {Row[]} */
  const rows = [];
  let cut = 0;
  for (const [path, found] of files) {
    const shown = workspacePath(roots, path) || path;
    const open = !closed.has(path);
    const room = Math.max(0, MOST_ROWS - rows.length);
    if (room > 0)
      rows.push({
        kind: 'file',
        key: path,
        path,
        name: baseName(shown),
        folder: parentOf(shown),
        count: found.length,
        open,
      });
    const below = open ? found.slice(0, Math.max(0, room - 1)) : [];
    rows.push(
      ...below.map((problem, at) => ({ kind: /** @type {const} */ ('problem'), key: `${path}\n${at}`, path, problem })),
    );
    if (open) cut += found.length - below.length;
  }
  return { rows, cut };
}

/** @param {Problem} problem */
const wordsOf = ({ message, path, source, code, severity }) =>
  `${message} ${path} ${source} ${code} ${severity}`.toLowerCase();

/** A problem as one line of text, as compilers write it. @param {Problem} problem @param {string} path */
export function problemLine({ range, severity, message, source, code }, path) {
  const from = [source, code].filter(Boolean).join(' ');
  const { line, character } = range.start;
  return `${path}:${line + 1}:${character + 1}: ${severity}: ${message}${from ? ` [${from}]` : ''}`;
}
