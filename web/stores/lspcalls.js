// Who calls a function and what it calls, as language servers tell it.

import { listOf, recordOf, textOf } from './chatwire.js';
import { pathOfUri, rangeFrom } from './lspwire.js';

/**
 * @typedef {import('./lspwire.js').Range} Range
 *
 * Something that calls or is called.
 * @typedef {object} CallItem
 * @property {string} name
 * @property {string} detail
 * @property {number} kind as the protocol counts, from 1
 * @property {string} path absolute
 * @property {Range} range of its name
 * @property {Record<string, any>} raw as the server sent it, to ask further with
 *
 * @typedef {'incoming' | 'outgoing'} Direction
 *
 * `path` and `range` are the place to go to: of a caller the call, of what is called its name.
 * @typedef {{item: CallItem, path: string, range: Range}} Call
 */

/** @param {unknown} answer to "textDocument/prepareCallHierarchy" @returns {CallItem[]} */
export const callItems = (answer) => listOf(answer).flatMap(itemFrom);

/** @param {unknown} value @returns {CallItem[]} empty for what has no place */
function itemFrom(value) {
  const raw = recordOf(value);
  const path = pathOfUri(raw.uri);
  const range = rangeFrom(raw.selectionRange) ?? rangeFrom(raw.range);
  if (!path || !range) return [];
  return [{ name: textOf(raw.name), detail: textOf(raw.detail), kind: Number(raw.kind) || 0, path, range, raw }];
}

/**
 * @param {unknown} answer to "callHierarchy/incomingCalls" or "callHierarchy/outgoingCalls"
 * @param {Direction} direction
 * @returns {Call[]}
 */
export const callsFrom = (answer, direction) =>
  listOf(answer).flatMap((one) => {
    const { from, to, fromRanges } = recordOf(one);
    return itemFrom(direction === 'incoming' ? from : to).flatMap((item) => {
      const places = direction === 'incoming' ? listOf(fromRanges).flatMap((range) => rangeFrom(range) ?? []) : [];
      return (places.length ? places : [item.range]).map((range) => ({ item, path: item.path, range }));
    });
  });
