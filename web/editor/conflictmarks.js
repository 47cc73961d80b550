// The conflicts of open texts: where they are, their grounds behind the lines, and what deciding one does.
// Each decision is one edit, which undo takes back.

import { signal } from '@preact/signals';
import { chosen, conflictsIn, decided, mayHoldConflicts } from '../stores/conflict.js';
import { watchBuffers } from './documents.js';

/**
 * @typedef {import('../stores/buffers.js').TextBuffer} TextBuffer
 * @typedef {import('../stores/conflict.js').Conflict} Conflict
 * @typedef {import('../stores/conflict.js').Choice} Choice
 */

/** Keys rest this long before a text is looked through again. */
const kQuietMs = 150;
/** Larger texts are left alone: looking through them could be felt. */
const kMostCharacters = 2_000_000;

/** Of each open text that has some. @type {import('@preact/signals').Signal<ReadonlyMap<string, Conflict[]>>} */
const found = signal(new Map());

/** @type {Conflict[]} */
const kNone = [];

/** @param {string} id */
export const conflictsOf = (id) => found.value.get(id) ?? kNone;

/** Calls `fn` now and whenever the conflicts of a text became others. @param {() => void} fn */
export const onConflicts = (fn) => found.subscribe(fn);

export function watchConflicts() {
  watchBuffers((id, buffer) => {
    /** @type {ReturnType<typeof setTimeout> | undefined} */
    let timer;
    /** @type {string[]} */
    let decorations = [];
    const { model } = /** @type {import('./host.js').HostDocument} */ (buffer.doc);
    const look = () => {
      timer = undefined;
      const conflicts = lookThrough(buffer);
      if (conflicts.length === 0 && !found.value.has(id)) return;
      enter(id, conflicts);
      decorations = model.deltaDecorations(decorations, conflicts.flatMap(groundsOf));
    };
    const stop = buffer.onEdit(() => {
      timer ??= setTimeout(look, kQuietMs);
    });
    look();
    return () => {
      clearTimeout(timer);
      stop();
      enter(id, []);
    };
  });
}

/** @param {TextBuffer} buffer */
function lookThrough(buffer) {
  const text = buffer.doc.text();
  return text.length <= kMostCharacters && mayHoldConflicts(text) ? conflictsIn(buffer.doc.lines()) : [];
}

/**
 * @param {string} id
 * @param {Conflict[]} conflicts
 */
function enter(id, conflicts) {
  const next = new Map(found.value);
  if (conflicts.length) next.set(id, conflicts);
  else next.delete(id);
  found.value = next;
}

/** @param {Conflict} conflict */
function groundsOf({ start, end, ours, theirs }) {
  return [
    ground(start + 1, Math.max(start + 1, ours.to), 'conflict-ours'),
    ground(theirs.from + 1, end + 1, 'conflict-theirs'),
  ];
}

/**
 * @param {number} startLineNumber
 * @param {number} endLineNumber
 * @param {string} className
 */
export function ground(startLineNumber, endLineNumber, className) {
  return {
    range: { startLineNumber, startColumn: 1, endLineNumber, endColumn: 1 },
    options: { isWholeLine: true, className, marginClassName: className },
  };
}

/**
 * Decides conflicts of a text as it is now.
 * @param {TextBuffer} buffer
 * @param {Choice} choice
 * @param {object} [options]
 * @param {number} [options.line] only the conflict at this line, from 1
 * @param {readonly (readonly string[] | null)[]} [options.bases] what stood there before, where the text does not tell
 * @returns {number} how many were decided
 */
export function decideIn(buffer, choice, { line, bases = [] } = {}) {
  if (buffer.readOnly) return 0;
  const lines = buffer.doc.lines();
  const conflicts = conflictsIn(lines);
  let count = 0;
  const next = decided(lines, conflicts, (conflict, at) => {
    const meant = line === undefined || (conflict.start < line && line <= conflict.end + 1);
    const text = meant ? chosen(lines, conflict, choice, bases[at]) : null;
    if (text) count++;
    return text;
  });
  if (count > 0) buffer.doc.setText(next.join('\n'));
  return count;
}
