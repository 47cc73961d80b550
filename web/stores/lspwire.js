// The values of the language server protocol: addresses of files, ranges, edits. Servers are not under this
// page's control, so whatever comes from them is read with care and gives something plain.

import { listOf, recordOf, textOf } from './chatwire.js';

/**
 * Lines and columns count from 0, columns in UTF-16 units, as in the texts of the page itself.
 * @typedef {{line: number, character: number}} Position
 * @typedef {{start: Position, end: Position}} Range
 * @typedef {{range: Range, newText: string}} TextEdit
 * @typedef {{uri: string, range: Range}} Location
 *
 * What an edit does to one file; `version` is null where the server did not say which text it means.
 * @typedef {{path: string, version: number | null, edits: TextEdit[]}} FileEdit
 */

/** Names of languages that the protocol knows under another name. @type {Record<string, string>} */
const LANGUAGE_NAMES = {
  shell: 'shellscript',
  sol: 'solidity',
  hcl: 'terraform',
  mysql: 'sql',
  pgsql: 'sql',
};

/** @param {string} language as the editor calls it */
export const protocolLanguage = (language) => LANGUAGE_NAMES[language] ?? language;

/** @param {string} absolute path of a file */
export const uriOf = (absolute) => `file://${absolute.split('/').map(encodeURIComponent).join('/')}`;

/**
 * Servers write addresses in their own way, so files are compared by path.
 * @param {unknown} uri
 * @returns {string} the absolute path, "" for what is no file of this machine
 */
export function pathOfUri(uri) {
  const rest = /^file:\/\/(?:localhost)?(\/[^?#]*)/i.exec(textOf(uri))?.[1] ?? '';
  try {
    return decodeURIComponent(rest);
  } catch {
    return rest;
  }
}

/** @param {unknown} value @returns {Position | null} */
function positionFrom(value) {
  const { line, character } = recordOf(value);
  return Number.isInteger(line) && Number.isInteger(character) && line >= 0 && character >= 0
    ? { line, character }
    : null;
}

/** @param {unknown} value @returns {Range | null} */
export function rangeFrom(value) {
  const start = positionFrom(recordOf(value).start);
  const end = positionFrom(recordOf(value).end);
  return start && end ? { start, end } : null;
}

/** @param {unknown} list @returns {TextEdit[]} */
export function editsFrom(list) {
  return listOf(list).flatMap((one) => {
    const range = rangeFrom(recordOf(one).range);
    return range ? [{ range, newText: textOf(one.newText) }] : [];
  });
}

/**
 * The places in an answer that may be one place, a list of them, or links.
 * @param {unknown} answer
 * @returns {Location[]}
 */
export function locationsFrom(answer) {
  const list = Array.isArray(answer) ? answer : [answer];
  return list.flatMap((one) => {
    const { uri, range, targetUri, targetSelectionRange, targetRange } = recordOf(one);
    const place = rangeFrom(range) ?? rangeFrom(targetSelectionRange) ?? rangeFrom(targetRange);
    const address = textOf(uri) || textOf(targetUri);
    return place && pathOfUri(address) ? [{ uri: address, range: place }] : [];
  });
}

/**
 * @param {Position} one
 * @param {Position} other
 */
export const comparePositions = (one, other) => one.line - other.line || one.character - other.character;
