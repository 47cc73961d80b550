// Files named in the output of programs: "src/a.cpp:12:5", "a.ts(3,7)", `File "a.py", line 9`.
// What looks like a file is only a candidate; whether it is one is asked of the disk before it is a link.

import { workspacePath } from './paths.js';

/**
 * @typedef {{path: string, line?: number, column?: number, start: number, end: number}} PathLink
 *   `start` and `end` are the columns in the text, the end excluded
 */

/** A line longer than this is data, not a message. */
const LONGEST = 2000;

/** Characters that a path in a message is made of; blanks only where quotes are around it. */
const NAME = '[^\\s\'"`<>|:;,(){}\\[\\]]';
const NUMBER = '\\d{1,7}(?!\\d)';
/** Addresses of other kinds, whose insides are no files. */
const ADDRESS = /\b(?!file:)[a-z][a-z0-9+.-]*:\/\/\S+/gi;

const FORMS = [
  // File "a b.py", line 12
  new RegExp(`"(?<path>[^"\\n]+)", line (?<line>${NUMBER})`, 'dg'),
  // a.ts(12,5) and a.ts(12)
  new RegExp(`(?<path>${NAME}*\\.\\w{1,12})\\((?<line>${NUMBER})(?:, ?(?<column>${NUMBER}))?\\)`, 'dg'),
  // a.cpp:12:5, a.cpp:12, and file://…/a.js:1:2 without its scheme
  new RegExp(`(?:file://)?(?<path>${NAME}+):(?<line>${NUMBER})(?::(?<column>${NUMBER}))?`, 'dg'),
  // ./a/b, /usr/include/x.h, src/a.cpp: a slash, and a name behind it
  new RegExp(`(?<path>(?:~|\\.{1,2})?(?:${NAME}*/)+${NAME}+)`, 'dg'),
];

/**
 * The places in a line that may name a file, none over another, in their order.
 * @param {string} text
 * @returns {PathLink[]}
 */
export function findPaths(text) {
  if (text.length > LONGEST) return [];
  const taken = [...text.matchAll(ADDRESS)].map(({ index, 0: all }) => ({ start: index, end: index + all.length }));
  /** @type {PathLink[]} */
  const found = [];
  for (const form of FORMS) {
    for (const match of text.matchAll(form)) {
      const link = linkOf(match);
      if (!link || taken.some((one) => link.start < one.end && one.start < link.end)) continue;
      taken.push(link);
      found.push(link);
    }
  }
  return found.sort((a, b) => a.start - b.start);
}

/** @param {RegExpMatchArray} match @returns {PathLink | null} */
function linkOf(match) {
  const { path: raw, line, column } = match.groups ?? {};
  const [start, pathEnd] = /** @type {any} */ (match).indices.groups.path;
  const path = line ? raw : raw.replace(/[.!?]+$/, ''); // the end of a sentence
  if (!plausible(path, line !== undefined)) return null;
  // The numbers are part of the link, and so are the words between them and a quoted path.
  const end = line ? (match.index ?? 0) + match[0].length : pathEnd - (raw.length - path.length);
  return { path, start, end, ...(line && { line: Number(line) }), ...(column && { column: Number(column) }) };
}

/** @param {string} path @param {boolean} numbered */
function plausible(path, numbered) {
  if (!/[\p{L}\p{N}]/u.test(path) || path.includes('//')) return false;
  // A time of day and "error:3" have numbers too: without a slash it takes an extension.
  return path.includes('/') ? numbered || !/^[\d./-]+$/.test(path) : /\.[A-Za-z_]\w{0,11}$/.test(path);
}

/**
 * The workspace paths that a name in the output may mean, the likeliest first.
 * @param {string} path
 * @param {object} around
 * @param {string} around.cwd absolute folder in which the terminal began
 * @param {string} around.home
 * @param {readonly import('./paths.js').Root[]} around.roots
 * @returns {string[]}
 */
export function candidates(path, { cwd, home, roots }) {
  const names = [path];
  // Patches name files below "a" and "b".
  if (/^[ab]\//.test(path)) names.push(path.slice(2));
  const folders = [cwd, ...roots.map((root) => root.path)];
  const all = names.flatMap((name) => {
    if (name.startsWith('/')) return [name];
    if (name.startsWith('~/')) return home ? [`${home}${name.slice(1)}`] : [];
    return folders.map((folder) => `${folder}/${name}`);
  });
  const known = all.map((absolute) => workspacePath(roots, plainPath(absolute))).filter((one) => one.includes('/'));
  return [...new Set(known)];
}

/** Without "." and "..". @param {string} absolute */
export function plainPath(absolute) {
  /** @type {string[]} */
  const parts = [];
  for (const part of absolute.split('/')) {
    if (part === '..') parts.pop();
    else if (part !== '' && part !== '.') parts.push(part);
  }
  return `/${parts.join('/')}`;
}

/**
 * The home folder, as far as it can be told from folders below it.
 * @param {readonly import('./paths.js').Root[]} roots
 */
export function homeOf(roots) {
  for (const { path } of roots) {
    const found = /^(?:\/home\/[^/]+|\/root)(?=\/|$)/.exec(path);
    if (found) return found[0];
  }
  return '';
}
