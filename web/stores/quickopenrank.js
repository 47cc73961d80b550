// Which files fit some words, and which of them fits best: a word in the name beats one in the folders.

import { baseName } from './paths.js';

/**
 * @typedef {object} Goal where in a file to go
 * @property {string} words what is left without the goal
 * @property {number} [line]
 * @property {number} [column]
 *
 * @typedef {{path: string, score: number, nameAt: number[], folderAt: number[]}} RankedPath
 *   with the places of the letters that fit, in the name and in the folders above
 */

/**
 * Takes ":12" or ":12:3" off the end of what was typed.
 * @param {string} typed
 * @returns {Goal}
 */
export function splitGoal(typed) {
  const [, words = '', line, column] = /^(.*?)(?::(\d*)(?::(\d*))?)?$/s.exec(typed) ?? [];
  if (line === undefined) return { words: typed };
  return {
    words,
    line: Math.max(1, Number(line)),
    ...(column ? { column: Math.max(1, Number(column)) } : {}),
  };
}

/** @param {string} typed */
export function wordsOf(typed) {
  return [...new Set(typed.toLowerCase().split(/\s+/).filter(Boolean))];
}

/**
 * The words in the order in which they are worth asking for: the longest leaves the fewest files.
 * The native side folds A to Z only, so of a word with other letters only a piece in ASCII can be asked for.
 * @param {readonly string[]} words
 */
export function needles(words) {
  const pieces = words.map((word) => longest(word.match(/[\0-\x7f]+/g) ?? []) || word);
  return [...new Set(pieces)].sort((a, b) => b.length - a.length);
}

/** @param {readonly string[]} texts */
function longest(texts) {
  return texts.reduce((best, text) => (text.length > best.length ? text : best), '');
}

/**
 * @param {string} path
 * @param {readonly string[]} words in lower case
 * @returns {RankedPath | null} null when a word is nowhere in the path
 */
export function rankPath(path, words) {
  const name = baseName(path);
  const start = path.length - name.length;
  const lower = foldCase(path);
  /** @type {Set<number>} */
  const letters = new Set();
  let score = -(name.length / 4) - path.length / 100;
  for (const word of words) {
    const found = placeInName(lower, word, start) ?? placeInFolders(lower, word, start);
    if (!found) return null;
    score += found.score;
    for (let i = 0; i < word.length; i++) letters.add(found.at + i);
  }
  const all = [...letters].sort((a, b) => a - b);
  const nameAt = all.filter((at) => at >= start).map((at) => at - start);
  return { path, score, nameAt, folderAt: all.filter((at) => at < start) };
}

/**
 * In lower case with every letter at its place; a few letters are longer in lower case and stay.
 * @param {string} text
 */
function foldCase(text) {
  const lower = text.toLowerCase();
  if (lower.length === text.length) return lower;
  return Array.from({ length: text.length }, (_, i) => {
    const unit = text.charAt(i).toLowerCase();
    return unit.length === 1 ? unit : text.charAt(i);
  }).join('');
}

/** @param {string} lower @param {string} word @param {number} start of the name */
function placeInName(lower, word, start) {
  // A word with slashes may begin in the folders, and "src/" means the files that lie right there.
  const from = word.includes('/') ? Math.max(0, start - word.lastIndexOf('/') - 1) : start;
  const first = lower.indexOf(word, from);
  if (first < 0) return null;
  const at = atWordStart(lower, word, first);
  const rest = lower.slice(at + word.length);
  const whole = at <= start && (rest === '' || /^\.[^.]*$/.test(rest));
  const place = at <= start ? 30 : isWordStart(lower, at) ? 15 : 0;
  return { at, score: 100 + place + (whole ? 30 : 0) + word.length };
}

/** @param {string} lower @param {string} word @param {number} start of the name */
function placeInFolders(lower, word, start) {
  const folders = lower.slice(0, start);
  const at = folders.lastIndexOf(word);
  if (at < 0) return null;
  const begins = at === 0 || folders[at - 1] === '/';
  const whole = begins && folders[at + word.length] === '/';
  return { at, score: 10 + (begins ? 5 : 0) + (whole ? 5 : 0) + word.length };
}

/** @param {string} lower @param {string} word @param {number} first where it is found first */
function atWordStart(lower, word, first) {
  for (let at = first; at >= 0; at = lower.indexOf(word, at + 1)) if (isWordStart(lower, at)) return at;
  return first;
}

/** @param {string} text @param {number} at */
function isWordStart(text, at) {
  return at === 0 || /[\s/._-]/.test(/** @type {string} */ (text[at - 1]));
}

/**
 * All that fit, the best first; without words all, as they come.
 * @param {readonly string[]} paths
 * @param {readonly string[]} words
 * @returns {RankedPath[]}
 */
export function rankPaths(paths, words) {
  const fitting = paths.flatMap((path) => rankPath(path, words) ?? []);
  if (words.length === 0) return fitting;
  return fitting.sort((a, b) => b.score - a.score || (a.path < b.path ? -1 : 1));
}
