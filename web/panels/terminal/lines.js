// Lines of a terminal as people see them: rows that were wrapped belong together.

/** @typedef {import('xterm').Terminal['buffer']['active']} Buffer */

/** The first row of the line that a row belongs to. @param {Buffer} buffer @param {number} row */
export function lineStart(buffer, row) {
  let first = row;
  while (first > 0 && buffer.getLine(first)?.isWrapped) first -= 1;
  return first;
}

/** The last row of that line. @param {Buffer} buffer @param {number} row */
export function lineEnd(buffer, row) {
  let last = row;
  while (buffer.getLine(last + 1)?.isWrapped) last += 1;
  return last;
}

/**
 * The text of rows, one line of text for each line of the terminal.
 * @param {Buffer} buffer @param {number} from row @param {number} to row, included
 * @param {number} [column] where the text begins in the first row
 */
export function textOf(buffer, from, to, column = 0) {
  /** @type {string[]} */
  const lines = [];
  for (let row = from; row <= to; row++) {
    const line = buffer.getLine(row);
    if (!line) continue;
    const whole = buffer.getLine(row + 1)?.isWrapped === true && row < to;
    const text = line.translateToString(!whole, row === from ? column : 0);
    if (line.isWrapped && row > from) lines[lines.length - 1] += text;
    else lines.push(text);
  }
  return lines.join('\n').trimEnd();
}

/**
 * A line with the cell of each of its characters, for what is found in its text.
 * @param {Buffer} buffer @param {number} row
 * @returns {{text: string, cells: {x: number, y: number}[]}} counted from 1, as links are
 */
export function lineWithCells(buffer, row) {
  let text = '';
  /** @type {{x: number, y: number}[]} */
  const cells = [];
  const last = lineEnd(buffer, row);
  for (let y = lineStart(buffer, row); y <= last; y++) {
    const line = buffer.getLine(y);
    for (let x = 0; line && x < line.length; x++) {
      const cell = line.getCell(x);
      if (!cell || cell.getWidth() === 0) continue; // the right half of a wide character
      const chars = cell.getChars() || ' ';
      for (let i = 0; i < chars.length; i++) cells.push({ x: x + 1, y: y + 1 });
      text += chars;
    }
  }
  return { text, cells };
}
