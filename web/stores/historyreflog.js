// Where a branch has been, from git's own notes, and what it takes to go back.

/**
 * @typedef {object} LogEntry
 * @property {string} hash where the branch stood after it
 * @property {string} before where it stood before; "" when the notes begin here
 * @property {number} time seconds since the epoch
 * @property {string} words what was done
 * @property {boolean} movesBranch false for a change of branches, which undoing must not make a branch follow
 */

/** How many entries are shown. */
export const MOST_ENTRIES = 200;

/**
 * Lists the notes of a branch; without one those of the head.
 * @param {string} branch
 */
export const listEntries = (branch) => [
  'log',
  '--walk-reflogs',
  `--max-count=${MOST_ENTRIES + 1}`,
  '--date=unix',
  '--format=%H%x1f%gd%x1f%gs',
  branch ? `refs/heads/${branch}` : 'HEAD',
  '--',
];

/**
 * @param {string} out
 * @returns {LogEntry[]} the latest first
 */
export function readEntries(out) {
  const lines = out.split('\n').filter(Boolean).map(readLine);
  return lines
    .map((line, at) => ({ ...line, before: lines[at + 1]?.hash ?? '' }))
    .slice(0, MOST_ENTRIES);
}

/** @param {string} line */
function readLine(line) {
  const [hash = '', selector = '', ...rest] = line.split('\x1f');
  const told = rest.join('\x1f');
  return {
    hash,
    time: Number(/@\{(\d+)\}$/.exec(selector)?.[1] ?? 0),
    words: entryWords(told),
    movesBranch: !told.startsWith('checkout:'),
  };
}

/** What git calls things, and what people do. @type {[RegExp, string][]} */
const kWords = [
  [/^commit \(initial\): /, 'First commit: '],
  [/^commit \(amend\): /, 'Amend: '],
  [/^commit \(merge\): /, 'Merge: '],
  [/^commit \(cherry-pick\): /, 'Cherry-pick: '],
  [/^commit: /, 'Commit: '],
  [/^cherry-pick: (?:fast-forward)?/, 'Cherry-pick '],
  [/^revert: /, 'Revert: '],
  [/^merge ([^:]+): /, 'Merge $1: '],
  [/^pull[^:]*: /, 'Pull: '],
  [/^rebase[^:]*: /, 'Rebase: '],
  [/^reset: moving to /, 'Reset to '],
  [/^checkout: moving from (.+) to (.+)$/, 'Switch from $1 to $2'],
  [/^branch: Created from /, 'Created from '],
  [/^Branch: renamed refs\/heads\/(.+) to refs\/heads\/(.+)$/, 'Renamed from $1 to $2'],
  [/^clone: /, 'Clone: '],
];

/** @param {string} told */
export function entryWords(told) {
  const found = kWords.find(([pattern]) => pattern.test(told));
  return found ? told.replace(...found).trim() : told || 'Moved';
}

/**
 * Moves the branch, or the head without one, to where it stood, and takes the files along; git refuses where
 * that would overwrite changes that are not committed.
 * @param {string} hash
 */
export const goBack = (hash) => ['reset', '--keep', hash];

/** Commits that one place has and another has not. @param {string} from @param {string} to */
export const listBetween = (from, to) => ['log', '--format=%h %s', '--max-count=51', `${from}..${to}`, '--'];

/**
 * The first fifty of a list, and that there are more.
 * @param {string} out
 */
export function someLines(out) {
  const lines = out.split('\n').filter(Boolean);
  return lines.length > 50 ? [...lines.slice(0, 50), 'and more'] : lines;
}
