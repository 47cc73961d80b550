// What an edit changes, line by line, for showing. Texts that differ too much are not compared at length:
// the old lines are then followed by the new ones.

/** Lines around a change that are shown. */
export const CONTEXT = 3;
/** Steps of the comparison: a card must never hold up the page. */
export const MOST_CELLS = 250000;
export const SHOWN_ROWS = 400;

/**
 * A line with its numbers in both texts, from 1; 0 where it is not.
 * @typedef {{kind: 'same' | 'added' | 'removed' | 'gap', text: string, old: number, new: number}} DiffRow
 */

/**
 * @param {string} before
 * @param {string} after
 * @returns {{rows: DiffRow[], added: number, removed: number}}
 */
export function lineDiff(before, after) {
  const [from, to] = [linesOf(before), linesOf(after)];
  const { head, tail } = sameEnds(from, to);
  const middle = compared(from.slice(head, from.length - tail), to.slice(head, to.length - tail));
  const rows = [
    ...from.slice(0, head).map((text) => row('same', text)),
    ...middle,
    ...from.slice(from.length - tail).map((text) => row('same', text)),
  ];
  return {
    rows: shortened(numbered(rows)),
    added: middle.filter(({ kind }) => kind === 'added').length,
    removed: middle.filter(({ kind }) => kind === 'removed').length,
  };
}

/** @param {string} text */
function linesOf(text) {
  if (text === '') return [];
  const lines = text.split(/\r\n|\r|\n/);
  return lines.at(-1) === '' ? lines.slice(0, -1) : lines;
}

/**
 * @param {string[]} from
 * @param {string[]} to
 */
function sameEnds(from, to) {
  const most = Math.min(from.length, to.length);
  let head = 0;
  while (head < most && from[head] === to[head]) head++;
  let tail = 0;
  while (tail < most - head && from[from.length - 1 - tail] === to[to.length - 1 - tail]) tail++;
  return { head, tail };
}

/**
 * The longest common lines, by the table of their lengths.
 * @param {string[]} from
 * @param {string[]} to
 * @returns {DiffRow[]}
 */
function compared(from, to) {
  if (from.length * to.length > MOST_CELLS) {
    return [...from.map((text) => row('removed', text)), ...to.map((text) => row('added', text))];
  }
  const width = to.length + 1;
  const length = new Uint32Array((from.length + 1) * width);
  for (let i = from.length - 1; i >= 0; i--) {
    for (let j = to.length - 1; j >= 0; j--) {
      length[i * width + j] =
        from[i] === to[j]
          ? length[(i + 1) * width + j + 1] + 1
          : Math.max(length[(i + 1) * width + j], length[i * width + j + 1]);
    }
  }
  return walked(from, to, (i, j) => length[i * width + j]);
}

/**
 * @param {string[]} from
 * @param {string[]} to
 * @param {(i: number, j: number) => number} common length of the common lines from here on
 */
function walked(from, to, common) {
  /** @type {DiffRow[]} */
  const rows = [];
  let [i, j] = [0, 0];
  while (i < from.length || j < to.length) {
    if (i < from.length && j < to.length && from[i] === to[j]) {
      rows.push(row('same', from[i++]));
      j++;
    } else if (i < from.length && (j === to.length || common(i + 1, j) >= common(i, j + 1))) {
      rows.push(row('removed', from[i++]));
    } else rows.push(row('added', to[j++]));
  }
  return rows;
}

/** @param {DiffRow[]} rows */
function numbered(rows) {
  let [old, now] = [0, 0];
  for (const one of rows) {
    if (one.kind !== 'added') one.old = ++old;
    if (one.kind !== 'removed') one.new = ++now;
  }
  return rows;
}

/**
 * Only what is near a change, and not without end.
 * @param {DiffRow[]} rows
 */
function shortened(rows) {
  const near = new Uint8Array(rows.length);
  rows.forEach(({ kind }, at) => {
    if (kind !== 'same') near.fill(1, Math.max(0, at - CONTEXT), at + CONTEXT + 1);
  });
  /** @type {DiffRow[]} */
  const shown = [];
  rows.forEach((one, at) => {
    if (near[at]) shown.push(one);
    else if (shown.length && shown.at(-1)?.kind !== 'gap') shown.push(row('gap', ''));
  });
  if (shown.at(-1)?.kind === 'gap') shown.pop();
  if (shown.length <= SHOWN_ROWS) return shown;
  return [...shown.slice(0, SHOWN_ROWS), row('gap', `${shown.length - SHOWN_ROWS} more lines`)];
}

/**
 * @param {DiffRow['kind']} kind
 * @param {string} text
 * @returns {DiffRow}
 */
const row = (kind, text) => ({ kind, text, old: 0, new: 0 });

/**
 * The line of a file in which a part of it begins, from 1.
 * @param {string} file
 * @param {string} part
 * @returns {number} 0 where the file does not have it, or has it more than once
 */
export function lineOf(file, part) {
  const [whole, sought] = [file, part].map((text) => text.replace(/\r\n?/g, '\n'));
  const at = sought ? whole.indexOf(sought) : -1;
  if (at < 0 || whole.indexOf(sought, at + 1) >= 0) return 0;
  return whole.slice(0, at).split('\n').length;
}
