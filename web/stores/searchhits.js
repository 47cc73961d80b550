// Hits of a search: how they come from the native side, how they are made from a text that the page holds,
// and where in such a text a hit lies.

import { utf8Length } from './encoding.js';
import { byteOffset, unitOffset } from './searchbytes.js';

/** The native side cuts the text of a hit at so many bytes. */
export const kTextBytes = 400;
/** The byte order mark's bytes, which the native side counts and an open text does not hold. */
const kMarkBytes = 3;

/**
 * As the bridge tells it: lines end at LF alone, columns and lengths count bytes.
 * @typedef {object} RawHit
 * @property {string} path
 * @property {number} line from 1
 * @property {number} column from 1, in the line as it is
 * @property {number} matchColumn from 1, in `text`
 * @property {number} length
 * @property {string} text the line without blanks around it, cut at 400 bytes
 *
 * @typedef {object} Hit
 * @property {string} path workspace path, or the id of an untitled page
 * @property {number} line as the native side counts
 * @property {number} column as the native side counts
 * @property {number} length in bytes
 * @property {string} text of the line, for show
 * @property {number} from where the match is in `text`; behind the end when the cut has left it out
 * @property {number} to
 * @property {boolean} cut whether the line goes on behind `text`
 *
 * @typedef {{line: number, column: number}} Position as the text editor counts, from 1
 */

/**
 * @param {RawHit} raw
 * @returns {Hit}
 */
export function hitOf({ path, line, column, matchColumn, length, text }) {
  const cut = utf8Length(text) >= kTextBytes;
  // What the cut left of a character came as U+FFFD.
  const shown = cut ? text.replace(/\ufffd$/, '') : text;
  const from = unitOffset(shown, matchColumn - 1);
  const to = unitOffset(shown, matchColumn - 1 + length);
  return { path, line, column, length, text: shown, from, to, cut };
}

/**
 * The hits of matches in a text that the page holds.
 * @param {string} path
 * @param {string} text without its byte order mark
 * @param {readonly {from: number, to: number}[]} matches in order
 * @param {{mark?: boolean}} [options] whether the file begins with a byte order mark
 * @returns {Hit[]}
 */
export function hitsOfText(path, text, matches, { mark = false } = {}) {
  let line = 1;
  let lineStart = 0;
  return matches.map(({ from, to }) => {
    for (
      let end = text.indexOf('\n', lineStart);
      end >= 0 && end < from;
      end = text.indexOf('\n', lineStart)
    ) {
      lineStart = end + 1;
      line += 1;
    }
    const whole = lineAt(text, lineStart);
    const before = byteOffset(whole, from - lineStart);
    const indent = /^[ \t\r]*/.exec(whole)?.[0].length ?? 0;
    const trimmed = whole.replace(/^[ \t\r\n]+|[ \t\r\n]+$/g, '');
    return hitOf({
      path,
      line,
      column: before + 1 + (mark && line === 1 ? kMarkBytes : 0),
      matchColumn: Math.max(1, before + 1 - indent),
      length: utf8Length(text.slice(from, to)),
      text: trimmed.slice(0, unitOffset(trimmed, kTextBytes)),
    });
  });
}

/** @param {string} text @param {number} start */
function lineAt(text, start) {
  const end = text.indexOf('\n', start);
  return text.slice(start, end < 0 ? undefined : end);
}

/**
 * Where a hit lies in a text, in UTF-16 units; null when something else stands there by now.
 * @param {string} text without its byte order mark, with the line ends of its file
 * @param {Hit} hit
 * @param {{mark?: boolean}} [options] whether the file begins with a byte order mark
 * @returns {{from: number, to: number} | null}
 */
export function placeOf(text, hit, { mark = false } = {}) {
  const start = lineStartOf(text, hit.line);
  if (start < 0) return null;
  const bytes = hit.column - 1 - (mark && hit.line === 1 ? kMarkBytes : 0);
  const from = start + unitOffset(lineAt(text, start), bytes);
  const to = from + unitOffset(text.slice(from, from + hit.length), hit.length);
  const whole = utf8Length(text.slice(from, to)) === hit.length;
  return whole && text.startsWith(hit.text.slice(hit.from, hit.to), from) ? { from, to } : null;
}

/**
 * @param {string} text
 * @param {number} line
 * @returns {number} -1 when there are not so many lines
 */
function lineStartOf(text, line) {
  let start = 0;
  for (let n = 1; n < line; n++) {
    const end = text.indexOf('\n', start);
    if (end < 0) return -1;
    start = end + 1;
  }
  return start;
}

/**
 * An offset as the text editor counts: its lines end at LF, CRLF and CR alike.
 * @param {string} text
 * @param {number} offset
 * @returns {Position}
 */
export function positionAt(text, offset) {
  let line = 1;
  let start = 0;
  for (const mark of text.matchAll(/\r\n|\r|\n/g)) {
    if (mark.index + mark[0].length > offset) break;
    start = mark.index + mark[0].length;
    line += 1;
  }
  return { line, column: offset - start + 1 };
}

/** @param {Hit} hit */
export function hitKey({ path, line, column, length }) {
  return `${path}\n${line}:${column}:${length}`;
}
