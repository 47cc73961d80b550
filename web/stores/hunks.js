// Parts of a change: what git says differs in one file, and patches of some of its lines only. Texts are
// byte for byte, each byte one character, so that no encoding and no line end gets lost on the way.

/**
 * @typedef {object} Line
 * @property {' ' | '-' | '+'} kind
 * @property {string} text its bytes, without the newline
 * @property {boolean} open the newline at its end is missing
 * @property {number} old its number in the old text, from 1; of an added line that of the next one there
 * @property {number} now the same in the new text
 *
 * A run of changed lines without unchanged ones between them. Removed and added lines are paired in rows as
 * they stand beside each other in a comparison; a surplus of either kind has rows of its own.
 * @typedef {object} Run
 * @property {number} at index among the runs of its file
 * @property {Line[]} removed
 * @property {Line[]} added
 * @property {number} old where it begins in the old text
 * @property {number} now where it begins in the new text
 *
 * @typedef {object} FileDiff
 * @property {string} git the line "diff --git"
 * @property {string} from the name behind "---", as git wrote it; "/dev/null" for a new file
 * @property {string} to the name behind "+++"
 * @property {string} created the mode of a new file, else ""
 * @property {string} deleted the mode of a deleted one, else ""
 * @property {string} mode of a file that stays, where git tells it
 * @property {boolean} binary
 * @property {Line[][]} hunks
 * @property {Run[]} runs
 *
 * Lines of one side, both ends included.
 * @typedef {{side: 'old' | 'now', from: number, to: number}} Span
 */

const kNone = '/dev/null';

/**
 * Reads git's patch of one file.
 * @param {string} patch bytes as characters; "" when nothing differs
 * @returns {FileDiff | null}
 */
export function parseDiff(patch) {
  const lines = patch.split('\n');
  if (!lines[0].startsWith('diff --git ')) return null;
  const first = lines.findIndex((line) => line.startsWith('@@ '));
  const head = first < 0 ? lines : lines.slice(0, first);
  /** @param {string} start */
  const headed = (start) => head.find((line) => line.startsWith(start))?.slice(start.length) ?? '';
  const hunks = first < 0 ? [] : hunksIn(lines.slice(first));
  return {
    git: lines[0],
    from: headed('--- '),
    to: headed('+++ '),
    created: headed('new file mode '),
    deleted: headed('deleted file mode '),
    mode: headed('new mode ') || (/ (\d{6})$/.exec(headed('index '))?.[1] ?? ''),
    binary: head.some((line) => line.startsWith('Binary files ') || line.startsWith('GIT binary patch')),
    hunks,
    runs: runsIn(hunks),
  };
}

const kHunkHead = /^@@ -(\d+)(?:,(\d+))? \+(\d+)(?:,(\d+))? @@/;

/** @param {string[]} lines */
function hunksIn(lines) {
  /** @type {Line[][]} */
  const hunks = [];
  let [old, now] = [0, 0];
  for (const line of lines) {
    const head = kHunkHead.exec(line);
    if (head) {
      // An empty side is told with the line before it.
      old = Number(head[1]) + (head[2] === '0' ? 1 : 0);
      now = Number(head[3]) + (head[4] === '0' ? 1 : 0);
      hunks.push([]);
      continue;
    }
    const hunk = /** @type {Line[]} */ (hunks.at(-1));
    const kind = line[0];
    const last = hunk.at(-1);
    if (kind === '\\' && last) last.open = true;
    if (kind !== ' ' && kind !== '-' && kind !== '+') continue;
    hunk.push({ kind, text: line.slice(1), open: false, old, now });
    if (kind !== '+') old++;
    if (kind !== '-') now++;
  }
  return hunks;
}

/**
 * @param {Line[][]} hunks
 * @returns {Run[]}
 */
function runsIn(hunks) {
  /** @type {Run[]} */
  const runs = [];
  for (const hunk of hunks) {
    let inRun = false;
    for (const line of hunk) {
      const changed = line.kind !== ' ';
      if (changed && !inRun) runs.push({ at: runs.length, removed: [], added: [], old: line.old, now: line.now });
      inRun = changed;
      if (changed) /** @type {Run} */ (runs.at(-1))[line.kind === '-' ? 'removed' : 'added'].push(line);
    }
  }
  return runs;
}

/** @param {Run} run */
export const rowCount = ({ removed, added }) => Math.max(removed.length, added.length);

/**
 * @param {number} run index of it
 * @param {number} row
 */
const rowKey = (run, row) => `${run}:${row}`;

/**
 * All rows of some runs.
 * @param {readonly Run[]} runs
 * @returns {Set<string>}
 */
export function rowsOf(runs) {
  return new Set(runs.flatMap((run) => Array.from({ length: rowCount(run) }, (_, row) => rowKey(run.at, row))));
}

/**
 * The rows that lie in chosen lines. What one side has no line for belongs to its last line there, or, when
 * it has none at all, to the line before, or at the very top to the first.
 * @param {FileDiff} diff
 * @param {readonly Span[]} spans
 * @returns {Set<string>}
 */
export function rowsIn({ runs }, spans) {
  /** @type {Set<string>} */
  const rows = new Set();
  for (const run of runs) {
    for (let row = 0; row < rowCount(run); row++) {
      if (spans.some((span) => covers(span, lineOf(run, row, span.side)))) rows.add(rowKey(run.at, row));
    }
  }
  return rows;
}

/**
 * @param {Span} span
 * @param {number} line
 */
const covers = ({ from, to }, line) => from <= line && line <= to;

/**
 * @param {Run} run
 * @param {number} row
 * @param {'old' | 'now'} side
 */
function lineOf(run, row, side) {
  const lines = side === 'old' ? run.removed : run.added;
  return (lines[row] ?? lines.at(-1))?.[side] ?? Math.max(1, run[side] - 1);
}

/**
 * The runs that have a row in chosen lines.
 * @param {FileDiff} diff
 * @param {readonly Span[]} spans
 */
export function runsTouched(diff, spans) {
  const rows = rowsIn(diff, spans);
  return diff.runs.filter((run) => [...rowsOf([run])].some((row) => rows.has(row)));
}

/**
 * The change that undoes another.
 * @param {FileDiff} diff
 * @returns {FileDiff}
 */
export function inverted({ git, from, to, created, deleted, mode, binary, hunks }) {
  const turned = hunks.map((hunk) => hunk.map(turnedLine));
  return {
    git,
    from: sideName(to, 'a'),
    to: sideName(from, 'b'),
    created: deleted,
    deleted: created,
    mode,
    binary,
    hunks: turned,
    runs: runsIn(turned),
  };
}

/** @param {Line} line @returns {Line} */
function turnedLine(line) {
  const kind = { ' ': /** @type {const} */ (' '), '-': /** @type {const} */ ('+'), '+': /** @type {const} */ ('-') }[
    line.kind
  ];
  return { ...line, kind, old: line.now, now: line.old };
}

/**
 * A name as the other side of a patch writes it.
 * @param {string} name "b/x", or quoted
 * @param {'a' | 'b'} prefix
 */
function sideName(name, prefix) {
  return name === kNone ? name : name.replace(/^("?)[ab]\//, `$1${prefix}/`);
}

/**
 * A patch that makes of the old text one with the chosen rows only, for "git apply".
 * @param {FileDiff} diff
 * @param {ReadonlySet<string>} rows
 * @returns {string} bytes as characters; "" when no row is chosen
 */
export function partPatch(diff, rows) {
  let shift = 0;
  let next = 0;
  /** @type {string[]} */
  const parts = [];
  for (const hunk of diff.hunks) {
    const lines = endsMended(chosenLines(hunk, rows, () => next++));
    const [was, is] = [lines.filter(({ kind }) => kind !== '+'), lines.filter(({ kind }) => kind !== '-')];
    if (lines.every(({ kind }) => kind === ' ')) continue;
    const old = hunk[0].old;
    parts.push(`@@ -${range(old, was.length)} +${range(old + shift, is.length)} @@\n`);
    for (const { kind, text, open } of lines) parts.push(`${kind}${text}\n${open ? '\\ No newline at end of file\n' : ''}`);
    shift += is.length - was.length;
  }
  return parts.length ? headOf(diff, rows) + parts.join('') : '';
}

/**
 * @param {number} start
 * @param {number} count
 */
const range = (start, count) => `${count === 0 ? start - 1 : start},${count}`;

/**
 * A hunk with what is not chosen as it was. Rows are written one after another, for a line that comes in the
 * place of another must not slide behind those that stay.
 * @param {Line[]} hunk
 * @param {ReadonlySet<string>} rows
 * @param {() => number} nextRun gives the index of each run that begins
 * @returns {Line[]}
 */
function chosenLines(hunk, rows, nextRun) {
  /** @type {Line[]} */
  const lines = [];
  for (let at = 0; at < hunk.length; ) {
    if (hunk[at].kind === ' ') {
      lines.push({ ...hunk[at++] });
      continue;
    }
    const end = endOfRun(hunk, at);
    const [run] = runsIn([hunk.slice(at, end)]);
    const index = nextRun();
    for (let row = 0; row < rowCount(run); row++) {
      const [removed, added] = [run.removed[row], run.added[row]];
      const chosen = rows.has(rowKey(index, row));
      if (removed) lines.push({ ...removed, kind: chosen ? '-' : ' ' });
      if (added && chosen) lines.push({ ...added });
    }
    at = end;
  }
  return lines;
}

/**
 * @param {Line[]} hunk
 * @param {number} from
 */
function endOfRun(hunk, from) {
  const length = hunk.slice(from).findIndex(({ kind }) => kind === ' ');
  return length < 0 ? hunk.length : from + length;
}

/**
 * Only the last line of a text can lack its newline: one that has others behind it by now gets it.
 * @param {Line[]} lines
 * @returns {Line[]}
 */
function endsMended(lines) {
  const last = lines.findLastIndex(({ kind }) => kind !== '-');
  return lines.flatMap((line, at) => {
    if (!line.open || line.kind === '-' || at === last) return [line];
    const whole = { ...line, kind: /** @type {const} */ ('+'), open: false };
    return line.kind === '+' ? [whole] : [{ ...line, kind: /** @type {const} */ ('-') }, whole];
  });
}

/**
 * Parts of a change leave the file's mode alone, and neither make it nor take it away unless it was not there
 * before, or nothing of it is left.
 * @param {FileDiff} diff
 * @param {ReadonlySet<string>} rows
 */
function headOf(diff, rows) {
  const { git, from, to, created, deleted } = diff;
  if (created) return `${git}\nnew file mode ${created}\n--- ${kNone}\n+++ ${to}\n`;
  if (deleted && rows.size === rowsOf(diff.runs).size)
    return `${git}\ndeleted file mode ${deleted}\n--- ${from}\n+++ ${kNone}\n`;
  const name = from === kNone ? to : from;
  return `${git}\n--- ${sideName(name, 'a')}\n+++ ${sideName(name, 'b')}\n`;
}

/**
 * Why lines of a file cannot be taken one by one; "" when they can.
 * @param {FileDiff} diff
 */
export function partProblem({ binary, hunks, created, deleted, mode }) {
  if (binary) return 'git takes the file for binary, which has no lines: stage it as a whole';
  if ([created, deleted, mode].includes('160000')) return 'it is a repository of its own, which has no lines here';
  if (hunks.length === 0) return 'none of its lines differ';
  return '';
}

const strictUtf8 = new TextDecoder('utf-8', { fatal: true });
const windows1252 = new TextDecoder('windows-1252');

/**
 * Whether what is shown of a file is what git compares: the numbers of lines mean the same only then. A filter,
 * a lone carriage return or a change on disk a moment ago may be between the two.
 * @param {FileDiff} diff
 * @param {ReadonlySet<string>} rows
 * @param {{old?: readonly string[], now?: readonly string[]}} shown lines of the sides that are at hand
 */
export function fitsShown({ runs }, rows, { old, now }) {
  return runs.every(({ at, removed, added }) =>
    [removed, added].every((lines) =>
      lines.every((line, row) => {
        const shown = line.kind === '-' ? old?.[line.old - 1] : now?.[line.now - 1];
        const known = line.kind === '-' ? old : now;
        return !known || !rows.has(rowKey(at, row)) || sameText(line.text, shown);
      }),
    ),
  );
}

/**
 * @param {string} bytes
 * @param {string | undefined} shown
 */
function sameText(bytes, shown) {
  if (shown === undefined) return false;
  const plain = shown.replace(/^\uFEFF/, '');
  const array = bytesOf(bytes.replace(/\r$/, ''));
  try {
    if (strictUtf8.decode(array) === plain) return true;
  } catch {
    // Shown as the bridge reads what is not UTF-8.
  }
  return windows1252.decode(array) === plain;
}

/**
 * The bytes that a text of this module stands for.
 * @param {string} text
 * @returns {Uint8Array<ArrayBuffer>}
 */
export function bytesOf(text) {
  const bytes = new Uint8Array(text.length);
  for (let i = 0; i < text.length; i++) bytes[i] = text.charCodeAt(i);
  return bytes;
}

/**
 * The text of lines as it is read by people.
 * @param {string} bytes
 */
export function readable(bytes) {
  const array = bytesOf(bytes.replace(/\r$/, ''));
  try {
    return strictUtf8.decode(array);
  } catch {
    return windows1252.decode(array);
  }
}
