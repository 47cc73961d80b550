// The tries of one task beside each other: which files each changed, the same place of a file in all of them, and
// a command that tells which of them works. Nothing here asks the bridge; trychecks.js does.

import { quoted } from './shellquote.js';

/**
 * @typedef {import('./dispatchwire.js').TaskDiff} TaskDiff
 * @typedef {import('./dispatchwire.js').ChangedFile} ChangedFile
 * @typedef {import('./patch.js').PatchFile} PatchFile
 * @typedef {import('./patch.js').PatchLine} PatchLine
 *
 * A file with what each try did to it; null where a try left it alone.
 * @typedef {{path: string, tries: ({added: number, removed: number} | null)[]}} FileRow
 *
 * Lines of the file as it was, with what stands there in each try; null where a try changed nothing.
 * @typedef {{from: number, to: number, tries: (PatchLine[] | null)[]}} Region
 *
 * @typedef {object} CheckResult
 * @property {number} exitCode
 * @property {number} ms how long it ran, -1 when that is not known
 * @property {string} tail the last lines it printed
 * @property {boolean} cut whether there was more
 */

/** Lines of a check's output that are shown: its end is where the reason stands. */
export const TAIL_LINES = 60;
/** The bridge hands on the last so many bytes. */
const kOutputBytes = 200000;

/**
 * All files that any try changed, in the order of their names.
 * @param {readonly (TaskDiff | null)[]} diffs one a try; null while it is not known
 * @returns {FileRow[]}
 */
export function fileRows(diffs) {
  /** @type {Map<string, FileRow>} */
  const rows = new Map();
  diffs.forEach((diff, at) => {
    for (const { path: told, added, removed } of diff?.files ?? []) {
      const path = newName(told);
      const row = rows.get(path) ?? { path, tries: diffs.map(() => null) };
      row.tries[at] = { added, removed };
      rows.set(path, row);
    }
  });
  return [...rows.values()].sort((a, b) => (a.path < b.path ? -1 : 1));
}

/**
 * Where a file is now, of the way git's counts tell a rename: "src/{old => new}/a.c", "a => b".
 * @param {string} told
 */
export function newName(told) {
  const [, before, after, rest] = /^(.*)\{.* => (.*)\}(.*)$/.exec(told) ?? [];
  if (before === undefined) return told.slice(told.lastIndexOf(' => ') + 1).replace(/^=> /, '');
  return `${before}${after}${rest}`.replace('//', '/');
}

/**
 * The places at which any try changed a file. Places that touch each other are one, so that each stands beside
 * what the others made of it.
 * @param {readonly (PatchFile | null)[]} files one a try
 * @returns {Region[]}
 */
export function regionsOf(files) {
  const hunks = files.flatMap((file) => file?.hunks ?? []);
  const spans = hunks
    .map(({ oldStart, oldLines }) => ({ from: oldStart, to: oldStart + Math.max(oldLines, 1) - 1 }))
    .sort((a, b) => a.from - b.from);
  /** @type {{from: number, to: number}[]} */
  const joined = [];
  for (const span of spans) {
    const last = joined.at(-1);
    if (last && span.from <= last.to + 1) last.to = Math.max(last.to, span.to);
    else joined.push({ ...span });
  }
  return joined.map(({ from, to }) => ({ from, to, tries: files.map((file) => linesIn(file, from, to)) }));
}

/**
 * @param {PatchFile | null} file
 * @param {number} from
 * @param {number} to
 */
function linesIn(file, from, to) {
  const inside = (file?.hunks ?? []).filter(({ oldStart }) => oldStart >= from && oldStart <= to);
  return inside.length ? inside.flatMap(({ lines }) => lines) : null;
}

/**
 * Tries that made the very same of a file, as a number each: equal numbers, equal files.
 * @param {readonly (PatchFile | null)[]} files
 */
export function likeness(files) {
  const texts = files.map((file) => file && JSON.stringify([file.kind, file.binary, file.modes, file.hunks]));
  return texts.map((text) => (text === null ? -1 : texts.indexOf(text)));
}

// Checks

const kMark = 'marlin-check';

/**
 * One line for the shell that runs a command in a folder, and tells at its end how long that took: the answer's
 * own time holds the wait for its turn, too.
 * @param {string} directory
 * @param {string} command
 */
export function checkCommand(directory, command) {
  const run = `sh -c ${quoted(command)} 2>&1; code=$?`;
  const tell = `printf '${kMark} %s\\n' "$(($(date +%s%3N) - begin))" >&2`;
  return `cd -- ${quoted(directory)} && { begin=$(date +%s%3N); ${run}; ${tell}; exit $code; }`;
}

/**
 * @param {{exitCode: number, out: string, err: string}} answer
 * @returns {CheckResult}
 */
export function readCheck({ exitCode, out, err }) {
  const mark = new RegExp(`^${kMark} (\\d+)$`, 'm').exec(err);
  // Without the mark the folder could not be entered, and the shell says why.
  const lines = (mark ? out : out + err).replace(/\n+$/, '').split('\n');
  const cut = lines.length > TAIL_LINES || new TextEncoder().encode(out).length >= kOutputBytes;
  return { exitCode, ms: mark ? Number(mark[1]) : -1, tail: lines.slice(-TAIL_LINES).join('\n'), cut };
}

/**
 * Files that are changed otherwise than before: a check may leave some behind, and they would land.
 * @param {TaskDiff} before
 * @param {TaskDiff} after
 */
export function leftBehind(before, after) {
  const told = (/** @type {ChangedFile} */ { path, added, removed }) => `${added} ${removed} ${path}`;
  const known = new Set(before.files.map(told));
  return after.files.filter((file) => !known.has(told(file))).map(({ path }) => newName(path));
}

/** @param {number} ms */
export function durationWords(ms) {
  if (ms < 0) return '';
  if (ms < 10000) return `${(ms / 1000).toFixed(1)} s`;
  const seconds = Math.round(ms / 1000);
  return seconds < 60 ? `${seconds} s` : `${Math.floor(seconds / 60)} min ${seconds % 60} s`;
}
