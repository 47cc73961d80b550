// A unified diff as data: files, hunks, and lines with their numbers on both sides. What is cut, at its
// beginning or its end, is read as far as it goes.

import { parsePatch } from 'diff';

/**
 * @typedef {'old' | 'new'} Side
 * @typedef {'same' | 'added' | 'removed'} LineKind
 *
 * @typedef {object} PatchLine
 * @property {LineKind} kind
 * @property {string} text without its end
 * @property {number} old its number on the old side; 0 when it is not there
 * @property {number} new
 * @property {boolean} noEnd nothing ends it: it is the last one, and the file stops there
 *
 * @typedef {object} PatchHunk
 * @property {number} oldStart
 * @property {number} oldLines
 * @property {number} newStart
 * @property {number} newLines
 * @property {PatchLine[]} lines
 *
 * @typedef {'modified' | 'added' | 'deleted' | 'renamed' | 'copied'} FileKind
 *
 * @typedef {object} PatchFile
 * @property {string} path on the new side, or where it was when it is gone
 * @property {string} oldPath another one than `path` only for what was renamed or copied
 * @property {FileKind} kind
 * @property {boolean} binary
 * @property {string} modes "100644 → 100755" when that changed, else ""
 * @property {PatchHunk[]} hunks
 * @property {number} added
 * @property {number} removed
 * @property {boolean} cut its end is missing
 */

/** @typedef {ReturnType<typeof parsePatch>[number]} Parsed */

const kFileStart = /^(?=diff --git )/m;
const kHunkStart = /^@@ -(\d+)(?:,\d+)? \+(\d+)(?:,\d+)? @@/;

/**
 * @param {string} text
 * @param {{cut?: boolean}} [options] `cut`: the end is missing, so that the last line may be half of one
 * @returns {PatchFile[]} what stands before the first file is left out
 */
export function readPatch(text, { cut = false } = {}) {
  const pieces = text.split(kFileStart).filter((piece) => /^(?:diff --git |--- )/.test(piece));
  return pieces.flatMap((piece, at) => readPiece(piece, cut && at === pieces.length - 1));
}

/**
 * @param {string} piece one file as a rule
 * @param {boolean} cut
 */
function readPiece(piece, cut) {
  if (!cut) {
    try {
      return parsePatch(piece).map((parsed) => fileOf(parsed, false));
    } catch {
      // Counts that do not fit its lines: the piece is cut although nobody knew.
    }
  }
  try {
    return parsePatch(mended(piece)).map((parsed) => fileOf(parsed, true));
  } catch {
    return [unreadable(piece)];
  }
}

/**
 * A piece whose last hunk claims no more lines than it has, without a half line at its end.
 * @param {string} piece
 */
function mended(piece) {
  const lines = piece.split('\n').slice(0, -1);
  const start = lines.findLastIndex((line) => kHunkStart.test(line));
  if (start < 0) return lines.join('\n');
  const [, from, to] = kHunkStart.exec(lines[start] ?? '') ?? [];
  const body = lines.slice(start + 1);
  const count = (/** @type {string} */ signs) => body.filter((line) => signs.includes(line[0] ?? ' ')).length;
  const head = `@@ -${from},${count(' -')} +${to},${count(' +')} @@`;
  return [...lines.slice(0, start), ...(body.length ? [head, ...body] : []), ''].join('\n');
}

/**
 * A file of which only the name can be told.
 * @param {string} piece
 * @returns {PatchFile}
 */
function unreadable(piece) {
  const path = /^diff --git "?a\/.* "?b\/(.*?)"?$/m.exec(piece)?.[1] ?? '';
  return {
    path,
    oldPath: path,
    kind: 'modified',
    binary: false,
    modes: '',
    hunks: [],
    added: 0,
    removed: 0,
    cut: true,
  };
}

/**
 * @param {Parsed} parsed
 * @param {boolean} cut
 * @returns {PatchFile}
 */
function fileOf(parsed, cut) {
  const older = nameOf(parsed.oldFileName, 'a/');
  const newer = nameOf(parsed.newFileName, 'b/');
  const hunks = parsed.hunks.map(hunkOf);
  const lines = hunks.flatMap((hunk) => hunk.lines);
  const path = newer || older;
  return {
    path,
    oldPath: older || path,
    kind: kindOf(parsed, older, newer),
    binary: parsed.isBinary === true,
    modes: modesOf(parsed),
    hunks,
    added: lines.filter(({ kind }) => kind === 'added').length,
    removed: lines.filter(({ kind }) => kind === 'removed').length,
    cut,
  };
}

/**
 * @param {string | undefined} name
 * @param {string} prefix
 */
function nameOf(name = '', prefix) {
  if (name === '/dev/null') return '';
  return name.startsWith(prefix) ? name.slice(prefix.length) : name;
}

/**
 * @param {Parsed} parsed
 * @param {string} older
 * @param {string} newer
 * @returns {FileKind}
 */
function kindOf(parsed, older, newer) {
  if (parsed.isCreate || !older) return 'added';
  if (parsed.isDelete || !newer) return 'deleted';
  if (parsed.isCopy) return 'copied';
  return parsed.isRename || older !== newer ? 'renamed' : 'modified';
}

/** @param {Parsed} parsed */
function modesOf({ oldMode = '', newMode = '', isCreate, isDelete }) {
  return !isCreate && !isDelete && oldMode && newMode && oldMode !== newMode ? `${oldMode} → ${newMode}` : '';
}

/**
 * @param {Parsed['hunks'][number]} hunk
 * @returns {PatchHunk}
 */
function hunkOf({ oldStart, oldLines, newStart, newLines, lines }) {
  let [older, newer] = [oldStart, newStart];
  /** @type {PatchLine[]} */
  const read = [];
  for (const line of lines) {
    const text = line.slice(1).replace(/\r$/, '');
    const last = read.at(-1);
    if (line[0] === '\\' && last) last.noEnd = true;
    else if (line[0] === '+') read.push({ kind: 'added', text, old: 0, new: newer++, noEnd: false });
    else if (line[0] === '-') read.push({ kind: 'removed', text, old: older++, new: 0, noEnd: false });
    else read.push({ kind: 'same', text, old: older++, new: newer++, noEnd: false });
  }
  return { oldStart, oldLines, newStart, newLines, lines: read };
}

/**
 * The line of a file at a number, if the patch shows it.
 * @param {PatchFile} file
 * @param {Side} side
 * @param {number} number
 */
export function lineAt(file, side, number) {
  for (const { lines } of file.hunks) {
    const found = number > 0 && lines.find((line) => line[side] === number);
    if (found) return found;
  }
  return null;
}

/**
 * The texts of some lines of one side, as far as the patch shows them.
 * @param {PatchFile} file
 * @param {Side} side
 * @param {number} from
 * @param {number} to
 */
export function linesBetween(file, side, from, to) {
  return file.hunks
    .flatMap(({ lines }) => lines)
    .filter((line) => line[side] >= from && line[side] <= to && line[side] > 0)
    .map(({ text }) => text);
}

/**
 * @param {readonly PatchFile[]} files
 * @param {string} path
 */
export const fileAt = (files, path) => files.find((file) => file.path === path) ?? null;

/** @param {PatchHunk} hunk */
export function hunkWords({ oldStart, oldLines, newStart, newLines }) {
  const lines = (/** @type {number} */ start, /** @type {number} */ count) =>
    count === 1 ? `line ${start}` : `lines ${start}–${start + count - 1}`;
  if (newLines === 0) return `Old ${lines(oldStart, oldLines)}`;
  const words = lines(newStart, newLines);
  return words[0]?.toUpperCase() + words.slice(1);
}
