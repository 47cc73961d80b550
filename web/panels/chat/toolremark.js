// Lines of a change that Claude made, or wants to make, as places of the review basket.

import { lineOf } from '../../stores/chatdiff.js';
import { readTextFile } from '../../stores/files.js';
import { rangeOf } from '../github/pullremark.js';

/**
 * @typedef {import('../../stores/chatdiff.js').DiffRow} DiffRow
 * @typedef {import('../../stores/chattools.js').Change} Change
 *
 * @typedef {Change & {id: string, whole: boolean, applied: boolean}} ToolChange `id` is the workspace path, "" outside;
 *   `whole` says that the texts are those of the whole file
 */

/** A file that is not there, or not text, has none. @param {string} path workspace path */
export async function textNow(path) {
  if (!path.includes('/')) return '';
  try {
    return (await readTextFile(path)).text ?? '';
  } catch {
    return '';
  }
}

/**
 * A call tells the texts but not where they stand: the file does, while it has the text exactly once. Otherwise the
 * quoted lines must do.
 * @param {ToolChange} change
 * @param {readonly DiffRow[]} rows
 * @param {number} from index of the first
 * @param {number} to
 * @returns {Promise<import('../../stores/basket.js').RemarkPlace>}
 */
export async function placeOfRows({ path, before, after, id, whole, applied }, rows, from, to) {
  const range = rangeOf(rows, from, to);
  const first = whole ? 1 : lineOf(await textNow(id), applied ? after : before);
  const line = (/** @type {number} */ number) => (first ? first - 1 + number : 0);
  const place = { ...range, from: line(range.from), to: line(range.to), path: id || path };
  return {
    ...place,
    source: applied ? 'an edit of Claude' : 'an edit that Claude proposed',
    jump: id && first ? { command: 'basket.showFile', arg: { id, line: place.from } } : null,
  };
}
