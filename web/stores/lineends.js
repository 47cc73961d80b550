// Line ends, kept as the file has them.
//
// The text view knows one line end a document and turns all others into it. A file with LF only or CRLF only
// needs no more. For any other file the ends are kept here, one letter a line break ("n" LF, "w" CRLF, "m" CR),
// moved along with every edit and woven back in when the text leaves the page. A line nobody touched keeps its own.

/** @typedef {{startLine: number, endLine: number, text: string}} LineChange lines count from 1 */

/** @type {Record<string, string>} */
const kBreaks = { n: '\n', w: '\r\n', m: '\r' };
const kAnyBreak = /\r\n|\r|\n/g;

/**
 * The letters of a text's line breaks, in order.
 * @param {string} text
 */
export function endsOf(text) {
  /** @type {string[]} */
  const letters = [];
  for (const [mark] of text.matchAll(kAnyBreak)) letters.push(letterOf(mark));
  return letters.join('');
}

/** @param {string} mark */
function letterOf(mark) {
  if (mark === '\r\n') return 'w';
  return mark === '\r' ? 'm' : 'n';
}

/**
 * @param {string} ends
 * @returns {"none" | "lf" | "crlf" | "cr" | "mixed"}
 */
export function kindOf(ends) {
  if (ends === '') return 'none';
  const first = ends[0];
  for (let i = 1; i < ends.length; i++) {
    if (ends[i] !== first) return 'mixed';
  }
  if (first === 'w') return 'crlf';
  return first === 'm' ? 'cr' : 'lf';
}

/**
 * The commonest end; LF when there is none.
 * @param {string} ends
 */
export function commonest(ends) {
  const count = { n: 0, w: 0, m: 0 };
  for (const letter of ends) count[/** @type {'n' | 'w' | 'm'} */ (letter)]++;
  if (count.w > count.n && count.w >= count.m) return 'w';
  return count.m > count.n ? 'm' : 'n';
}

/**
 * What the text view and the buffer need to know of a text that was read.
 * @param {string} text
 * @returns {{eol: "\n" | "\r\n", ends: string | null}} `ends` is null where the one line end says it all
 */
export function splitEnds(text) {
  const ends = endsOf(text);
  const kind = kindOf(ends);
  const eol = commonest(ends) === 'w' ? '\r\n' : '\n';
  return { eol, ends: kind === 'mixed' || kind === 'cr' ? ends : null };
}

/**
 * How many line breaks a text holds.
 * @param {string} text
 */
export function countBreaks(text) {
  return text.match(kAnyBreak)?.length ?? 0;
}

/**
 * The letters after an edit. New breaks take the end of the line they were typed in, or of the line above.
 * @param {string} ends
 * @param {readonly LineChange[]} changes positions before the edit
 */
export function editEnds(ends, changes) {
  // From the last line up, so that no change moves the lines of one still to come.
  const ordered = [...changes].sort((a, b) => b.startLine - a.startLine || b.endLine - a.endLine);
  for (const { startLine, endLine, text } of ordered) {
    const from = startLine - 1;
    const to = endLine - 1;
    const typed = ends[from] ?? ends[from - 1] ?? commonest(ends);
    ends = ends.slice(0, from) + typed.repeat(countBreaks(text)) + ends.slice(to);
  }
  return ends;
}

/**
 * The text with its own line ends. Letters that are missing, which an edit of the whole text can leave,
 * are the commonest one.
 * @param {readonly string[]} lines
 * @param {string} ends
 */
export function weaveEnds(lines, ends) {
  const usual = commonest(ends);
  let after = '';
  /** @type {string[]} */
  const parts = [lines.at(-1) ?? ''];
  for (let i = lines.length - 2; i >= 0; i--) {
    const letter = ends[i] ?? usual;
    // An empty line that was put between CR and LF would be lost: read again, the two are one CRLF.
    const merges = letter === 'm' && after === 'n' && lines[i + 1] === '';
    after = merges ? 'n' : letter;
    parts.push(/** @type {string} */ (kBreaks[after]), /** @type {string} */ (lines[i]));
  }
  return parts.reverse().join('');
}

/**
 * Remembers the ends of earlier states of a document, so that undo brings back the line ends as well.
 * Bounded: the oldest states are forgotten, and undoing to one of them falls back to `editEnds`.
 */
export class EndsHistory {
  /**
   * @param {string} ends
   * @param {number} version
   */
  constructor(ends, version, limit = 1000) {
    this.ends = ends;
    this.limit = limit;
    this.states = new Map([[version, ends]]);
  }

  /**
   * @param {readonly LineChange[]} changes
   * @param {number} version the state the document is in now
   */
  edit(changes, version) {
    this.ends = this.states.get(version) ?? editEnds(this.ends, changes);
    this.states.delete(version);
    this.states.set(version, this.ends);
    if (this.states.size > this.limit) {
      const oldest = this.states.keys().next().value;
      if (oldest !== undefined) this.states.delete(oldest);
    }
  }
}
