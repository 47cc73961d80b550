// A pull request's page as data: the command lines that ask gh for it, and what comes back. Nothing here asks
// the bridge.

import { listOf, numberOf, recordOf, textOf } from './chatwire.js';
import { pullOf } from './githubitems.js';
import { fileAt } from './patch.js';
import { quoted } from './shellquote.js';

/**
 * The bridge keeps the end of what a command prints, 200000 bytes; of a patch the beginning is worth more, so
 * it is cut before.
 */
export const PATCH_BYTES = 190000;

/** gh lists no more files than this. */
export const LISTED_FILES = 100;

/**
 * @typedef {import('./githubitems.js').Pull & {body: string, head: string, changedFiles: number,
 *   files: {path: string, added: number, removed: number}[]}} Detail
 *
 * @typedef {object} PullFile
 * @property {string} path
 * @property {string} oldPath
 * @property {import('./patch.js').FileKind | ''} kind "" while its part of the patch is not there
 * @property {number} added
 * @property {number} removed
 * @property {import('./patch.js').PatchFile | null} patch
 */

const kFields = [
  'number',
  'title',
  'body',
  'author',
  'state',
  'isDraft',
  'headRefName',
  'baseRefName',
  'headRefOid',
  'url',
  'updatedAt',
  'additions',
  'deletions',
  'changedFiles',
  'files',
  'reviewDecision',
  'statusCheckRollup',
  'labels',
];

/** Where the bridge finds gh although it is not on PATH, in its order. */
const kPath = 'export PATH="$PATH:/home/linuxbrew/.linuxbrew/bin:${HOME:-/tmp}/.local/bin:/usr/local/bin:/snap/bin"; ';

/** @param {number} number */
export const viewCommand = (number) => `${kPath}gh pr view ${number} --json ${kFields.join(',')}`;

/** @param {number} number */
export const patchCommand = (number) => `${kPath}{ ${patchOf(number)} | head -c ${PATCH_BYTES}; }`;

/** @param {number} number */
export const checkoutCommand = (number) => `${kPath}gh pr checkout ${number}`;

/** @param {number} number */
const patchOf = (number) => `gh pr diff ${number} --color never`;

/**
 * The part of the patch that is one file's. Its first line ends with the file's name, quoted or as it stands.
 * @param {number} number
 * @param {string} path
 */
export function filePatchCommand(number, path) {
  const ends = [` b/${path}`, ` ${gitQuoted(`b/${path}`)}`];
  const names = ['MB_END', 'MB_QUOTED_END'];
  const given = names.map((name, at) => `${name}=${quoted(ends[at] ?? '')}`).join(' ');
  const endsWith = names.map((name) => `substr($0, length($0) - length(ENVIRON["${name}"]) + 1) == ENVIRON["${name}"]`);
  const script = `/^diff --git /{on = ${endsWith.join(' || ')}} on`;
  return `${kPath}{ ${patchOf(number)} | LC_ALL=C ${given} awk ${quoted(script)} | head -c ${PATCH_BYTES}; }`;
}

/**
 * A name as git writes it when it holds more than plain letters.
 * @param {string} name
 */
export function gitQuoted(name) {
  /** @type {Record<number, string>} */
  const short = { 7: '\\a', 8: '\\b', 9: '\\t', 10: '\\n', 11: '\\v', 12: '\\f', 13: '\\r', 34: '\\"', 92: '\\\\' };
  const letters = [...new TextEncoder().encode(name)].map((byte) => {
    if (short[byte]) return short[byte];
    return byte < 32 || byte > 126 ? `\\${byte.toString(8).padStart(3, '0')}` : String.fromCharCode(byte);
  });
  return `"${letters.join('')}"`;
}

/**
 * @param {string} text what "gh pr view" printed
 * @returns {Detail | null}
 */
export function readDetail(text) {
  let raw;
  try {
    raw = recordOf(JSON.parse(text));
  } catch {
    return null;
  }
  const pull = pullOf(raw);
  if (!pull.number) return null;
  return {
    ...pull,
    body: textOf(raw.body),
    head: textOf(raw.headRefOid),
    changedFiles: numberOf(raw.changedFiles),
    files: listOf(raw.files).map((file) => ({
      path: textOf(recordOf(file).path),
      added: numberOf(recordOf(file).additions),
      removed: numberOf(recordOf(file).deletions),
    })),
  };
}

/** Whether a patch that a command printed lacks its end. @param {string} text */
export const isCut = (text) => new TextEncoder().encode(text).length >= PATCH_BYTES;

/**
 * The files of a pull request: those of the patch, then those that it was cut before.
 * @param {Detail} detail
 * @param {readonly import('./patch.js').PatchFile[]} patch
 * @returns {PullFile[]}
 */
export function pullFiles(detail, patch) {
  const shown = patch.map((file) => {
    const told = detail.files.find(({ path }) => path === file.path);
    const { path, oldPath, kind, added, removed } = file;
    // Of a file whose end is missing, gh knows the true numbers.
    const counts = file.cut && told ? told : { added, removed };
    return { path, oldPath, kind, added: counts.added, removed: counts.removed, patch: file };
  });
  const rest = detail.files.filter(({ path }) => !fileAt(patch, path));
  return [
    ...shown,
    ...rest.map(({ path, added, removed }) => ({
      path,
      oldPath: path,
      kind: /** @type {const} */ (''),
      added,
      removed,
      patch: null,
    })),
  ];
}

/**
 * What is not there of a pull request's files, in words; "" when all is.
 * @param {Detail} detail
 * @param {readonly PullFile[]} files
 * @param {boolean} cut
 */
export function missingWords(detail, files, cut) {
  const unlisted = detail.changedFiles - files.length;
  const words = [];
  if (cut) words.push(`The patch is longer than ${PATCH_BYTES / 1000} KB: the files behind that are read one by one.`);
  if (unlisted > 0) words.push(`${unlisted} more files are not listed: gh tells of ${LISTED_FILES} at most.`);
  return words.join(' ');
}
