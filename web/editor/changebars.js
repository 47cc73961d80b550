// The bars beside lines that differ from the index: which there are for each open text. They are worked out
// while the keys rest, and move along with the text meanwhile.

import { effect, signal } from '@preact/signals';
import { hunkAt, lineHunks, linesWithEnds, markOf, nextHunk, withoutHunk } from '../stores/changes.js';
import { gitEpoch, gitState, readSides, repoFor } from '../stores/git.js';
import { note } from '../stores/log.js';
import { watchBuffers } from './documents.js';
import { cursor, frontBuffer, frontTab, tabs } from './state.js';

/** Keys rest this long before a text is compared. */
const kQuietMs = 250;
/** Larger texts have no bars: comparing them could be felt. */
const kMostCharacters = 1_000_000;

/**
 * @typedef {import('../stores/buffers.js').TextBuffer} TextBuffer
 * @typedef {import('../stores/changes.js').Hunk} Hunk
 * @typedef {{base: string[], hunks: Hunk[]}} Changes `base` are the lines of the index
 */

/** @type {import('@preact/signals').Signal<ReadonlyMap<string, Changes>>} */
const changes = signal(new Map());

/** @param {string} id */
export function changesOf(id) {
  return changes.value.get(id) ?? null;
}

/** @param {string} id */
function isInFront(id) {
  return tabs.value.groups.some((group) => group.active === `text:${id}`);
}

export function startChangeBars() {
  watchBuffers((id, buffer) => track(id, buffer));
}

/**
 * @param {string} id
 * @param {TextBuffer} buffer
 */
function track(id, buffer) {
  /** @type {ReturnType<typeof setTimeout> | undefined} */
  let timer;
  /** @type {string[] | null} */
  let base = null;
  let readAt = -1;
  let alive = true;
  const compare = () => {
    clearTimeout(timer);
    timer = undefined;
    show(id, buffer, base);
  };
  const stopEdits = buffer.onEdit(() => {
    if (base) timer ??= setTimeout(compare, kQuietMs);
  });
  const stopReading = effect(() => {
    const file = isInFront(id) && gitState.value === 'ready' ? repoFor(id) : null;
    const epoch = gitEpoch.value;
    if (!file || epoch === readAt) return;
    readAt = epoch;
    void readBase(id, file).then((lines) => {
      if (!alive || readAt !== epoch) return;
      base = lines;
      compare();
    });
  });
  return () => {
    alive = false;
    clearTimeout(timer);
    stopEdits();
    stopReading();
    forget(id);
  };
}

/**
 * The lines of the index. A file that is not in it, or empty there, has nothing to be compared with.
 * @param {string} id
 * @param {{repo: import('../stores/gitstatus.js').Repo, path: string}} file
 */
async function readBase(id, file) {
  try {
    const { original } = await readSides(file, ':0');
    return original && original.length <= kMostCharacters ? linesWithEnds(original) : null;
  } catch (error) {
    note('info', `No change bars for ${id}`, error); // a conflict, for one, has no single text in the index
    return null;
  }
}

/**
 * @param {string} id
 * @param {TextBuffer} buffer
 * @param {string[] | null} base
 */
function show(id, buffer, base) {
  const doc = /** @type {import('./host.js').HostDocument} */ (buffer.doc);
  const lines = base ? linesOf(buffer) : null;
  if (!base || !lines) {
    if (changes.value.has(id)) forget(id);
    return doc.mark([]);
  }
  const hunks = lineHunks(base, lines);
  changes.value = new Map(changes.value).set(id, { base, hunks });
  doc.mark(hunks.map(markOf));
}

/**
 * The lines as git would see them, or null when there are too many.
 * @param {TextBuffer} buffer
 */
function linesOf(buffer) {
  const text = buffer.doc.lines().join('\n');
  return text.length <= kMostCharacters ? linesWithEnds(text) : null;
}

/** @param {string} id */
function forget(id) {
  const rest = new Map(changes.value);
  rest.delete(id);
  changes.value = rest;
}

/** The text in front and its changes, worked out anew: what acts on them must not act on old ones. */
function frontChanges() {
  const buffer = frontBuffer.value;
  const id = frontTab.value?.id ?? '';
  const base = changesOf(id)?.base;
  if (!buffer || !base) return null;
  show(id, buffer, base);
  const now = changesOf(id);
  return now && { id, buffer, ...now };
}

/** Whether there are changes to step among. */
export function hasChanges() {
  return (changesOf(frontTab.value?.id ?? '')?.hunks.length ?? 0) > 0 && frontBuffer.value !== null;
}

/**
 * @typedef {object} ShownChange
 * @property {string} id
 * @property {number} at index of the hunk
 * @property {number} count of all
 * @property {Hunk} hunk
 * @property {string[]} old lines
 */

/**
 * @param {ReturnType<typeof frontChanges>} found
 * @param {number} at
 * @returns {ShownChange | null}
 */
function shown(found, at) {
  const hunk = found?.hunks[at];
  if (!found || !hunk) return null;
  const old = found.base.slice(hunk.oldStart, hunk.oldStart + hunk.oldCount);
  return { id: found.id, at, count: found.hunks.length, hunk, old };
}

/**
 * The change at a line of the text in front.
 * @param {number} [line] that of the cursor, if there is none
 */
export function changeAt(line = cursor.value.line) {
  const found = frontChanges();
  return shown(found, hunkAt(found?.hunks ?? [], line));
}

/**
 * The next change of the text in front.
 * @param {1 | -1} step
 * @param {number} [line]
 */
export function changeBeside(step, line = cursor.value.line) {
  const found = frontChanges();
  return shown(found, nextHunk(found?.hunks ?? [], line, step));
}

/**
 * Puts the old lines of a change back, which undo takes away again.
 * @param {number} line of the change
 */
export function revertChange(line = cursor.value.line) {
  const found = frontChanges();
  const hunk = found?.hunks[hunkAt(found.hunks, line)];
  if (!found || !hunk || found.buffer.readOnly) return;
  const { id, buffer, base } = found;
  buffer.doc.setText(withoutHunk(base, linesOf(buffer) ?? [], hunk));
  show(id, buffer, base);
}
