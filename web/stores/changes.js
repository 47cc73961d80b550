// What differs between two texts, line by line: for the bars beside changed lines, and for taking over
// another text without moving what stays the same.

/**
 * A run of old lines and the new ones in their place; lines count from 0, and either count may be 0.
 * @typedef {{oldStart: number, oldCount: number, newStart: number, newCount: number}} Hunk
 * @typedef {'added' | 'changed' | 'removed' | 'removed-top'} MarkKind
 * @typedef {{line: number, endLine: number, kind: MarkKind}} Mark lines count from 1
 */

/** The comparison gives up beyond this many differing lines, as its time grows with their square. */
export const MOST_DIFFERENCES = 1000;

/**
 * The lines of a text, each with its end, so that a missing last end is a difference too.
 * @param {string} text with "\n" ends
 */
export function linesWithEnds(text) {
  return text.match(/[^\n]*\n|[^\n]+/g) ?? [];
}

/**
 * A text as the comparison wants it: one kind of line end and no byte order mark.
 * @param {string} text
 */
export function plainText(text) {
  return text.replace(/^\uFEFF/, '').replace(/\r\n?/g, '\n');
}

/**
 * The differences of two lists of lines, in order. Lists that differ too much have one for all.
 * @param {readonly string[]} from
 * @param {readonly string[]} to
 * @returns {Hunk[]}
 */
export function lineHunks(from, to) {
  const { head, tail } = sameEnds(from, to);
  const [a, b] = numbered(from.slice(head, from.length - tail), to.slice(head, to.length - tail));
  if (a.length === 0 && b.length === 0) return [];
  return middleHunks(a, b).map((hunk) => ({
    ...hunk,
    oldStart: hunk.oldStart + head,
    newStart: hunk.newStart + head,
  }));
}

/**
 * @param {readonly string[]} from
 * @param {readonly string[]} to
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
 * Equal lines get equal numbers, which compare faster.
 * @param {string[][]} lists
 */
function numbered(...lists) {
  /** @type {Map<string, number>} */
  const numbers = new Map();
  return lists.map((list) =>
    Int32Array.from(list, (line) => {
      const known = numbers.get(line);
      if (known !== undefined) return known;
      numbers.set(line, numbers.size);
      return numbers.size - 1;
    }),
  );
}

/**
 * @param {Int32Array} a
 * @param {Int32Array} b
 */
function middleHunks(a, b) {
  const all = { oldStart: 0, oldCount: a.length, newStart: 0, newCount: b.length };
  if (a.length === 0 || b.length === 0) return [all];
  const rounds = shortestWay(a, b);
  return rounds ? hunksOf(a.length, b.length, rounds) : [all];
}

/**
 * The greedy search of E. W. Myers, "An O(ND) Difference Algorithm": round d keeps for each diagonal k how far
 * d steps reach in `a`. Gives what each round began with, or null when there are too many.
 * @param {Int32Array} a
 * @param {Int32Array} b
 */
function shortestWay(a, b) {
  const most = Math.min(a.length + b.length, MOST_DIFFERENCES);
  const middle = most + 1;
  const reach = new Int32Array(2 * most + 3);
  /** @type {Int32Array[]} */
  const rounds = [];
  for (let d = 0; d <= most; d++) {
    rounds.push(reach.slice(middle - d - 1, middle + d + 2));
    for (let k = -d; k <= d; k += 2) {
      const at = middle + k;
      let x = wentDown(reach, at, d, k) ? reach[at + 1] : reach[at - 1] + 1;
      let y = x - k;
      while (x < a.length && y < b.length && a[x] === b[y]) {
        x++;
        y++;
      }
      reach[at] = x;
      if (x >= a.length && y >= b.length) return rounds;
    }
  }
  return null;
}

/**
 * Whether the best way to diagonal `k`, which stands at `at`, takes a line of the new text, not of the old.
 * @param {Int32Array} reach
 * @param {number} at
 * @param {number} d
 * @param {number} k
 */
function wentDown(reach, at, d, k) {
  return k === -d || (k !== d && reach[at - 1] < reach[at + 1]);
}

/**
 * Walks the rounds backwards, noting each line that is only on one side.
 * @param {number} oldLength
 * @param {number} newLength
 * @param {Int32Array[]} rounds
 */
function hunksOf(oldLength, newLength, rounds) {
  const removed = new Uint8Array(oldLength);
  const added = new Uint8Array(newLength);
  let x = oldLength;
  let y = newLength;
  for (let d = rounds.length - 1; d > 0; d--) {
    const reach = rounds[d];
    const k = x - y;
    const at = k + d + 1;
    const down = wentDown(reach, at, d, k);
    x = reach[down ? at + 1 : at - 1];
    y = x - (down ? k + 1 : k - 1);
    if (down) added[y] = 1;
    else removed[x] = 1;
  }
  return runs(removed, added);
}

/**
 * @param {Uint8Array} removed
 * @param {Uint8Array} added
 */
function runs(removed, added) {
  /** @type {Hunk[]} */
  const hunks = [];
  let [i, j] = [0, 0];
  while (i < removed.length || j < added.length) {
    const [oldStart, newStart] = [i, j];
    while (removed[i]) i++;
    while (added[j]) j++;
    if (i > oldStart || j > newStart) {
      hunks.push({ oldStart, oldCount: i - oldStart, newStart, newCount: j - newStart });
    } else {
      i++;
      j++;
    }
  }
  return hunks;
}

/**
 * Where a hunk shows beside the new text. Removed lines stand at the line above them, or over the first.
 * @param {Hunk} hunk
 * @returns {Mark}
 */
export function markOf({ oldCount, newStart, newCount }) {
  if (newCount > 0) {
    return { line: newStart + 1, endLine: newStart + newCount, kind: oldCount > 0 ? 'changed' : 'added' };
  }
  const line = Math.max(1, newStart);
  return { line, endLine: line, kind: newStart > 0 ? 'removed' : 'removed-top' };
}

/**
 * The hunk whose mark covers a line, or -1.
 * @param {readonly Hunk[]} hunks
 * @param {number} line from 1
 */
export function hunkAt(hunks, line) {
  return hunks.findIndex((hunk) => {
    const mark = markOf(hunk);
    return mark.line <= line && line <= mark.endLine;
  });
}

/**
 * The next hunk behind a line, or before it; past the last comes the first again.
 * @param {readonly Hunk[]} hunks
 * @param {number} line from 1
 * @param {1 | -1} step
 * @returns {number} -1 when there are none
 */
export function nextHunk(hunks, line, step) {
  if (hunks.length === 0) return -1;
  const marks = hunks.map(markOf);
  if (step > 0) return Math.max(0, marks.findIndex((mark) => mark.line > line));
  const before = marks.findLastIndex((mark) => mark.endLine < line);
  return before < 0 ? hunks.length - 1 : before;
}

/**
 * The new text with one hunk as it was.
 * @param {readonly string[]} from with their ends
 * @param {readonly string[]} to with their ends
 * @param {Hunk} hunk
 */
export function withoutHunk(from, to, { oldStart, oldCount, newStart, newCount }) {
  const old = from.slice(oldStart, oldStart + oldCount);
  return to.toSpliced(newStart, newCount, ...old).join('');
}

/**
 * Edits that make one text of another and leave alone what they share, for cursors to stay where they are.
 * @param {string} before
 * @param {string} after with the same kind of line ends
 * @returns {{start: number, end: number, text: string}[]} offsets in `before`, in order
 */
export function textEdits(before, after) {
  const from = linesWithEnds(before);
  const to = linesWithEnds(after);
  let line = 0;
  let offset = 0;
  return lineHunks(from, to).map(({ oldStart, oldCount, newStart, newCount }) => {
    while (line < oldStart) offset += from[line++].length;
    const old = from.slice(oldStart, oldStart + oldCount).join('');
    const text = to.slice(newStart, newStart + newCount).join('');
    const { head, tail } = sameLetters(old, text);
    return {
      start: offset + head,
      end: offset + old.length - tail,
      text: text.slice(head, text.length - tail),
    };
  });
}

/**
 * How much two texts share at their ends, without cutting a character or a line end in two.
 * @param {string} old
 * @param {string} text
 */
function sameLetters(old, text) {
  const most = Math.min(old.length, text.length);
  let head = 0;
  while (head < most && old[head] === text[head]) head++;
  while (cuts(old, head) || cuts(text, head)) head--;
  let tail = 0;
  while (tail < most - head && old.at(-1 - tail) === text.at(-1 - tail)) tail++;
  while (cuts(old, old.length - tail) || cuts(text, text.length - tail)) tail--;
  return { head, tail };
}

/**
 * @param {string} text
 * @param {number} at
 */
function cuts(text, at) {
  return /^(?:\r\n|[\uD800-\uDBFF][\uDC00-\uDFFF])$/.test(text.slice(Math.max(0, at - 1), at + 1));
}
