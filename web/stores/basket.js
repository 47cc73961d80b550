// The review basket: remarks on lines of any comparison, gathered until they go out together. It is kept over a
// restart and emptied only by what was sent, or by hand.

import { signal } from '@preact/signals';
import { listOf, numberOf, recordOf, textOf } from './chatwire.js';
import * as uistate from './uistate.js';

const kKey = 'basket.remarks';
/** Lines of a place that are kept with a remark: more say nothing that the file does not. */
export const QUOTED_LINES = 30;

/**
 * Where a remark stands.
 * @typedef {object} RemarkPlace
 * @property {string} path as people know the file, a workspace path where it has one
 * @property {'old' | 'new'} side of the comparison
 * @property {number} from the first line, from 1; 0 where the lines have no number that is known
 * @property {number} to
 * @property {string[]} quote the lines as they stood there
 * @property {string} source what the lines are of: "working tree", "pull request #12 of proj", "task Fix it"
 * @property {{command: string, arg: any} | null} jump the command that shows the place; its argument must be
 *   plain data, since it is kept
 *
 * @typedef {RemarkPlace & {id: number, text: string}} Remark
 */

/** @type {import('@preact/signals').Signal<readonly Remark[]>} */
export const remarks = signal([]);
/** Whether there is more than the native side has room for: it would not outlive the window. */
export const unsaved = signal(false);

let lastId = 0;

export function loadBasket() {
  remarks.value = listOf(uistate.get(kKey, [])).map(restored).filter(({ path, text }) => path && text);
}

/**
 * @param {unknown} raw
 * @returns {Remark}
 */
function restored(raw) {
  const { path, side, from, to, quote, source, text, jump } = recordOf(raw);
  const command = textOf(recordOf(jump).command);
  return {
    id: ++lastId,
    path: textOf(path),
    side: side === 'old' ? 'old' : 'new',
    from: numberOf(from),
    to: numberOf(to),
    quote: listOf(quote).map(textOf),
    source: textOf(source),
    text: textOf(text),
    jump: command ? { command, arg: recordOf(jump).arg } : null,
  };
}

/** @param {readonly Remark[]} next */
function put(next) {
  remarks.value = next;
  unsaved.value = !uistate.set(
    kKey,
    next.map(({ id: _id, ...remark }) => remark),
  );
}

/**
 * @param {RemarkPlace} place
 * @param {string} text
 * @returns {number} its id; 0 for a remark without words, which is none
 */
export function addRemark(place, text) {
  if (!text.trim()) return 0;
  const quote = place.quote.slice(0, QUOTED_LINES);
  const remark = restored({ ...place, quote, text: text.trim() });
  put([...remarks.value, remark]);
  return remark.id;
}

/** @param {number} id @param {string} text */
export const editRemark = (id, text) =>
  put(remarks.value.map((remark) => (remark.id === id ? { ...remark, text } : remark)));

/** @param {number} id */
export const removeRemark = (id) => put(remarks.value.filter((remark) => remark.id !== id));

/** Takes out what was sent; remarks that came meanwhile stay. @param {readonly Remark[]} sent */
export function removeSent(sent) {
  const ids = new Set(sent.map(({ id }) => id));
  put(remarks.value.filter(({ id }) => !ids.has(id)));
}

/** @param {{path: string, from: number, to: number}} place */
export function placeWords({ path, from, to }) {
  if (!from) return path;
  return from === to ? `${path}:${from}` : `${path}:${from}-${to}`;
}

/**
 * All remarks as one message.
 * @param {readonly Remark[]} list
 */
export function messageOf(list) {
  const lead = list.length === 1 ? 'Please see to this remark of a review.' : 'Please see to these remarks of a review.';
  const parts = list.map((remark, at) => {
    const head = list.length === 1 ? placeWords(remark) : `${at + 1}. ${placeWords(remark)}`;
    const old = remark.side === 'old' ? ', as it was before' : '';
    const about = `${head}${remark.source || old ? ` (${remark.source}${old})` : ''}`;
    const quote = remark.quote.map((line) => `> ${line}`.trimEnd()).join('\n');
    return [about, quote, remark.text.trim()].filter(Boolean).join('\n\n');
  });
  return [lead, ...parts].join('\n\n');
}

/** A title for a task that is made of remarks. @param {readonly Remark[]} list */
export function titleOf(list) {
  const files = [...new Set(list.map(({ path }) => path.slice(path.lastIndexOf('/') + 1)))];
  const more = files.length > 2 ? ` and ${files.length - 2} more` : '';
  return `Review remarks on ${files.slice(0, 2).join(', ')}${more}`;
}
