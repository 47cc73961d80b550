// Conflicts as git writes them into a file: where they are, what both sides say, and what the file becomes
// when one is taken. Lines are without their ends.

import { lineHunks } from './changes.js';

/**
 * Lines from `from` up to, not with, `to`; counted from 0.
 * @typedef {{from: number, to: number, label: string}} Part
 *
 * @typedef {object} Conflict
 * @property {number} start the line of its first marker
 * @property {number} end the line of its last one
 * @property {Part} ours
 * @property {Part | null} base what both began from, where git was told to write it
 * @property {Part} theirs
 *
 * @typedef {'ours' | 'theirs' | 'both' | 'bothTurned' | 'base'} Choice
 */

/** Git's markers: seven signs and a label. @type {[string, RegExp][]} */
const kMarkers = [
  ['ours', /^<{7}(?: (.*))?$/],
  ['base', /^\|{7}(?: (.*))?$/],
  ['theirs', /^={7}$/],
  ['end', /^>{7}(?: (.*))?$/],
];

/** Which marker may follow which part. @type {Record<string, string[]>} */
const kNext = { '': ['ours'], ours: ['base', 'theirs'], base: ['theirs'], theirs: ['end'] };

/**
 * The conflicts of a text. What is not whole, such as a line of signs below a heading, is text.
 * @param {readonly string[]} lines
 * @returns {Conflict[]}
 */
export function conflictsIn(lines) {
  /** @type {Conflict[]} */
  const found = [];
  let state = '';
  /** @type {Record<string, Part>} */
  let parts = {};
  lines.forEach((line, at) => {
    const marker = markerOf(line);
    // A new beginning counts, wherever the one before it was left.
    if (!marker || (marker.name !== 'ours' && !kNext[state].includes(marker.name))) return;
    if (parts[state]) parts[state].to = at;
    if (marker.name === 'end') {
      const { ours, base = null, theirs } = parts;
      found.push({ start: ours.from - 1, end: at, ours, base, theirs: { ...theirs, label: marker.label } });
      [state, parts] = ['', {}];
    } else {
      if (marker.name === 'ours') parts = {};
      state = marker.name;
      parts[state] = { from: at + 1, to: at + 1, label: marker.label };
    }
  });
  return found;
}

/** @param {string} line */
function markerOf(line) {
  for (const [name, marker] of kMarkers) {
    const found = marker.exec(line.replace(/\r$/, ''));
    if (found) return { name, label: found[1] ?? '' };
  }
  return null;
}

/** Whether a text may hold conflicts, which is quick to say. @param {string} text */
export const mayHoldConflicts = (text) => /^<{7}(?: |$)/m.test(text);

/**
 * @param {readonly string[]} lines
 * @param {Part} part
 */
export const linesOf = (lines, { from, to }) => lines.slice(from, to);

/**
 * What stands in a conflict's place when a choice is made; null when that cannot be said.
 * @param {readonly string[]} lines
 * @param {Conflict} conflict
 * @param {Choice} choice
 * @param {readonly string[] | null} [base] where the file does not tell it
 * @returns {string[] | null}
 */
export function chosen(lines, conflict, choice, base = null) {
  const [ours, theirs] = [linesOf(lines, conflict.ours), linesOf(lines, conflict.theirs)];
  switch (choice) {
    case 'ours':
      return ours;
    case 'theirs':
      return theirs;
    case 'both':
      return [...ours, ...theirs];
    case 'bothTurned':
      return [...theirs, ...ours];
    case 'base':
      return conflict.base ? linesOf(lines, conflict.base) : base && [...base];
  }
}

/**
 * The text with some conflicts decided.
 * @param {readonly string[]} lines
 * @param {readonly Conflict[]} conflicts in their order
 * @param {(conflict: Conflict, at: number) => readonly string[] | null} decide null leaves one as it is
 * @returns {string[]}
 */
export function decided(lines, conflicts, decide) {
  /** @type {string[]} */
  const out = [];
  let at = 0;
  conflicts.forEach((conflict, index) => {
    const text = decide(conflict, index);
    if (text === null) return;
    out.push(...lines.slice(at, conflict.start), ...text);
    at = conflict.end + 1;
  });
  return [...out, ...lines.slice(at)];
}

/**
 * The conflict at a line, or -1.
 * @param {readonly Conflict[]} conflicts
 * @param {number} line from 1
 */
export function conflictAt(conflicts, line) {
  return conflicts.findIndex(({ start, end }) => start < line && line <= end + 1);
}

/**
 * The next conflict behind a line, or before it; past the last comes the first again.
 * @param {readonly Conflict[]} conflicts
 * @param {number} line from 1
 * @param {1 | -1} step
 * @returns {number} -1 when there are none
 */
export function nextConflict(conflicts, line, step) {
  if (conflicts.length === 0) return -1;
  if (step > 0) return Math.max(0, conflicts.findIndex(({ start }) => start + 1 > line));
  const before = conflicts.findLastIndex(({ end }) => end + 1 < line);
  return before < 0 ? conflicts.length - 1 : before;
}

/**
 * Where the conflicts of a text lie in the text of one side, as a line range from 1; null where nobody can tell.
 * @param {readonly string[]} lines
 * @param {readonly Conflict[]} conflicts
 * @param {'ours' | 'theirs'} side
 * @param {readonly string[]} text of that side
 * @returns {({from: number, to: number} | null)[]} ranges as of parts
 */
export function placesIn(lines, conflicts, side, text) {
  const whole = decided(lines, conflicts, (conflict) => linesOf(lines, conflict[side]));
  const hunks = lineHunks(whole, text);
  let shift = 0;
  return conflicts.map(({ start, end, [side]: part }) => {
    const from = start + shift;
    const to = from + part.to - part.from;
    shift += to - from - (end + 1 - start);
    return mapped(hunks, { from, to });
  });
}

/**
 * Where each conflict's lines were before both sides changed them; null where that cannot be told for sure.
 * @param {readonly string[]} lines
 * @param {readonly Conflict[]} conflicts
 * @param {readonly string[]} ours the whole text of that side
 * @param {readonly string[]} base
 */
export function basePlaces(lines, conflicts, ours, base) {
  const hunks = lineHunks(ours, base);
  return placesIn(lines, conflicts, 'ours', ours).map((place) => place && mapped(hunks, place));
}

/**
 * What stood there.
 * @param {readonly string[]} lines
 * @param {readonly Conflict[]} conflicts
 * @param {readonly string[]} ours
 * @param {readonly string[]} base
 * @returns {(string[] | null)[]}
 */
export function basesOf(lines, conflicts, ours, base) {
  return basePlaces(lines, conflicts, ours, base).map((place, at) => {
    const { base: told } = conflicts[at];
    return told ? linesOf(lines, told) : place && base.slice(place.from, place.to);
  });
}

/**
 * A range of lines in the text that hunks lead to. An end of it inside a hunk has no place there.
 * @param {readonly import('./changes.js').Hunk[]} hunks
 * @param {{from: number, to: number}} range
 */
function mapped(hunks, { from, to }) {
  const start = boundary(hunks, from, false);
  const end = boundary(hunks, to, true);
  return start !== null && end !== null && start <= end ? { from: start, to: end } : null;
}

/**
 * @param {readonly import('./changes.js').Hunk[]} hunks
 * @param {number} line before which the boundary is
 * @param {boolean} isEnd then what is put in there lies before it
 */
function boundary(hunks, line, isEnd) {
  let shift = 0;
  for (const { oldStart, oldCount, newStart, newCount } of hunks) {
    const end = oldStart + oldCount;
    if (line < oldStart || (line === oldStart && (!isEnd || oldCount > 0))) return line + shift;
    if (line < end) return null;
    shift = newStart + newCount - end;
  }
  return line + shift;
}

/**
 * What a file in conflict lacks, from the versions that the index has of it.
 * @param {string} listed what "git ls-files -u -z" said
 * @returns {{stages: Set<number>, modes: Set<string>}}
 */
export function stagesIn(listed) {
  const entries = listed.split('\0').map((line) => /^(\d{6}) [0-9a-f]+ ([123])\t/.exec(line));
  const known = entries.filter((entry) => entry !== null);
  return { stages: new Set(known.map(([, , stage]) => Number(stage))), modes: new Set(known.map(([, mode]) => mode)) };
}
