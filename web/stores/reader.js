// The second reader: after a save Claude looks at the lines that changed and points out at most four things.
// Off until it is turned on, one file at a time, and a note goes with the line that it is about.

import { signal } from '@preact/signals';
import { call } from '../bridge/api.js';
import { lineHunks } from './changes.js';
import { note as log } from './log.js';
import { baseName } from './paths.js';
import * as uistate from './uistate.js';

/** More would be noise, whatever comes. */
export const MOST_NOTES = 4;

const kKey = 'reader.on';

/**
 * @typedef {{line: number, kind: string, text: string}} Remark lines count from 1
 * @typedef {{line: number, endLine: number}} Range both included
 *
 * A file as it was saved.
 * @typedef {object} Saved
 * @property {string[]} lines
 * @property {Range[]} changed the lines that changed since the last commit or since they were staged
 */

/** Whether the user has turned it on. */
export const readerOn = signal(false);
/** The file that Claude reads now, else "". */
export const reading = signal('');
/** Why the last reading came to nothing. */
export const readerFailure = signal('');

export function loadReader() {
  readerOn.value = uistate.get(kKey, /** @type {unknown} */ (false)) === true;
}

/** @param {boolean} on */
export function setReader(on) {
  readerOn.value = on;
  uistate.set(kKey, on || undefined);
  waiting.clear();
  readerFailure.value = '';
}

/** What was saved while another file was read; of each file only the latest counts. @type {Map<string, {saved: Saved, take: Take}>} */
const waiting = new Map();

/** @typedef {(remarks: Remark[], saved: Saved) => void} Take */

/**
 * Has a file read that was saved just now.
 * @param {string} path
 * @param {Saved} saved
 * @param {Take} take gets what Claude says of changed lines
 */
export async function readOver(path, saved, take) {
  if (!readerOn.value || saved.changed.length === 0) return;
  waiting.set(path, { saved, take });
  if (reading.value) return;
  for (let next = firstOf(waiting); next; next = firstOf(waiting)) {
    const [file, what] = next;
    waiting.delete(file);
    reading.value = file;
    await readOne(file, what);
    reading.value = '';
  }
}

/**
 * @template K, V
 * @param {Map<K, V>} map
 * @returns {[K, V] | undefined}
 */
const firstOf = (map) => map.entries().next().value;

/**
 * @param {string} path
 * @param {{saved: Saved, take: Take}} what
 */
async function readOne(path, { saved, take }) {
  try {
    const { notes } = await call('agent/notes', { path }, { job: `Read ${baseName(path)} over` });
    readerFailure.value = '';
    if (readerOn.value) take(remarksIn(notes, saved.changed), saved);
  } catch (error) {
    if (error instanceof DOMException && error.name === 'AbortError') return;
    // Nobody asked for it just now, so it must not interrupt.
    readerFailure.value = error instanceof Error ? error.message : String(error);
    log('warning', `Could not read ${path} over`, error);
  }
}

/**
 * The remarks of an answer that are about changed lines.
 * @param {unknown} notes
 * @param {readonly Range[]} changed
 * @returns {Remark[]}
 */
export function remarksIn(notes, changed) {
  return (Array.isArray(notes) ? notes : [])
    .map((one) => ({ line: Number(one?.line), kind: String(one?.kind ?? ''), text: String(one?.note ?? '').trim() }))
    .filter(({ line, text }) => text && changed.some((range) => range.line <= line && line <= range.endLine))
    .slice(0, MOST_NOTES);
}

/**
 * Remarks on a text that was edited since: those whose line is another one by now are gone.
 * @param {readonly Remark[]} remarks
 * @param {readonly string[]} before
 * @param {readonly string[]} now
 * @returns {Remark[]}
 */
export function movedRemarks(remarks, before, now) {
  const hunks = lineHunks(before, now);
  return remarks.flatMap((remark) => {
    const at = remark.line - 1;
    if (hunks.some(({ oldStart, oldCount }) => oldStart <= at && at < oldStart + oldCount)) return [];
    const earlier = hunks.filter(({ oldStart, oldCount }) => oldStart + oldCount <= at);
    const shift = earlier.reduce((sum, { oldCount, newCount }) => sum + newCount - oldCount, 0);
    return [{ ...remark, line: remark.line + shift }];
  });
}

const kKinds = /** @type {Record<string, string>} */ ({ bug: 'Likely bug', edge: 'Missed case', cleanup: 'Left behind' });

/** @param {Remark} remark */
export const kindWords = ({ kind }) => kKinds[kind] ?? 'Note';
