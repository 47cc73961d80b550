// Matches texts beside the page, so that a pattern that takes for ever holds up nothing: matcher.js ends
// this worker when it is late.

import { expandInLines, matchAll } from '../../stores/searchmatch.js';

/**
 * @typedef {object} Order
 * @property {number} id
 * @property {readonly string[]} [texts]
 * @property {readonly {text: string, from: number, to: number}[]} [lines]
 * @property {import('../../stores/search.js').MatchWish} wanted
 */

addEventListener('message', ({ data }) => {
  const { id } = /** @type {Order} */ (data);
  try {
    postMessage({ id, result: done(data) });
  } catch (error) {
    postMessage({ id, error: error instanceof Error ? error.message : String(error) });
  }
});

/** @param {Order} order */
function done({ texts, lines, wanted: { query, options, replacement, limit } }) {
  if (lines) return expandInLines(lines, query, options, replacement);
  return texts?.map((text) => matchAll(text, query, options, { replacement, limit }));
}
