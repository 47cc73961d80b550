// Takes changed lines of a text back. Rows are those of hunks.js: the removed and the added lines of a change
// as they stand beside each other.

/** @typedef {import('./changes.js').Hunk} Hunk */

/**
 * The new text with its changes in some lines as they were.
 * @param {readonly string[]} from with their ends
 * @param {readonly string[]} to with their ends
 * @param {readonly Hunk[]} hunks
 * @param {{side: 'old' | 'now', from: number, to: number}} span lines from 1, both included
 * @param {boolean} whole takes back all of each change that the lines touch
 * @returns {string | null} null when they touch none
 */
export function withoutLines(from, to, hunks, span, whole) {
  /** @type {string[]} */
  const lines = [];
  let at = 0;
  let touched = false;
  for (const { oldStart, oldCount, newStart, newCount } of hunks) {
    lines.push(...to.slice(at, newStart));
    at = newStart + newCount;
    const old = from.slice(oldStart, oldStart + oldCount);
    const now = to.slice(newStart, at);
    const rows = Math.max(oldCount, newCount);
    const [start, count] = span.side === 'old' ? [oldStart, oldCount] : [newStart, newCount];
    /** @param {number} row */
    const isIn = (row) => {
      const line = count > 0 ? start + Math.min(row, count - 1) + 1 : Math.max(1, start);
      return span.from <= line && line <= span.to;
    };
    const chosen = Array.from({ length: rows }, (_, row) => isIn(row));
    const any = chosen.some(Boolean);
    touched ||= any;
    for (let row = 0; row < rows; row++) {
      const line = (whole ? any : chosen[row]) ? old[row] : now[row];
      if (line !== undefined) lines.push(line);
    }
  }
  if (!touched) return null;
  lines.push(...to.slice(at));
  // Only the last line of a text can lack its end.
  return lines.map((line, index) => (index < lines.length - 1 && !line.endsWith('\n') ? `${line}\n` : line)).join('');
}
