// The list of earlier conversations, and the form in which the page keeps their words: the CLI repeats
// nothing when it takes up a conversation again.

import { listOf, parseRecord, recordOf, textOf, numberOf } from './chatwire.js';
import { joinPath } from './paths.js';

/** Older conversations leave the list; the CLI's own record of them stays. */
export const LISTED = 200;
export const TITLE_CHARS = 80;
/** Characters of one conversation that are kept. */
export const TRANSCRIPT_CHARS = 2000000;

/**
 * @typedef {object} ChatRecord
 * @property {string} id the CLI's session id
 * @property {string} title
 * @property {boolean} named the user gave the title
 * @property {string} root name of the root that holds its words, "" when they are not kept
 * @property {number} time milliseconds, of the last turn
 * @property {number} turns
 * @property {number} cost dollars
 */

/**
 * @param {unknown} kept
 * @returns {ChatRecord[]}
 */
export function restoredHistory(kept) {
  return listOf(kept)
    .map(recordOf)
    .filter(({ id }) => isSessionId(id))
    .map(({ id, title, named, root, time, turns, cost }) => ({
      id,
      title: textOf(title) || 'Untitled',
      named: named === true,
      root: textOf(root),
      time: numberOf(time),
      turns: numberOf(turns),
      cost: numberOf(cost),
    }))
    .slice(0, LISTED);
}

/** It becomes part of a file's name and of a command line. @param {unknown} id */
export const isSessionId = (id) => /^[A-Za-z0-9][A-Za-z0-9_-]{0,127}$/.test(textOf(id));

/**
 * The list with a conversation brought up to date, the newest first. Its title stays: the user may have given
 * it, and the words that it was made of may be lost by now.
 * @param {readonly ChatRecord[]} list
 * @param {ChatRecord} record
 */
export function recorded(list, record) {
  const before = list.find(({ id }) => id === record.id);
  const titled = before ? { title: before.title, named: before.named } : {};
  return [{ ...record, ...titled }, ...list.filter(({ id }) => id !== record.id)].slice(0, LISTED);
}

/**
 * @param {readonly ChatRecord[]} list
 * @param {string} id
 * @param {string} title
 */
export const renamed = (list, id, title) =>
  list.map((record) => (record.id === id ? { ...record, title: titleFrom(title), named: true } : record));

/**
 * @param {readonly ChatRecord[]} list
 * @param {string} id
 */
export const forgotten = (list, id) => list.filter((record) => record.id !== id);

/** The beginning of the first message. @param {string} text */
export function titleFrom(text) {
  const line = text.replace(/\s+/g, ' ').trim();
  if (!line) return 'Untitled';
  return line.length <= TITLE_CHARS ? line : `${line.slice(0, TITLE_CHARS - 1).trimEnd()}…`;
}

/** @param {string} root */
export const chatFolder = (root) => joinPath(root, '.marlin/chats');

/**
 * @param {string} root
 * @param {string} id
 */
export const transcriptPath = (root, id) => joinPath(chatFolder(root), `${id}.jsonl`);

/**
 * The newest lines that fit, one after the other.
 * @param {readonly string[]} lines
 */
export function transcriptText(lines) {
  let chars = 0;
  let from = lines.length;
  while (from > 0 && chars + lines[from - 1].length < TRANSCRIPT_CHARS) chars += lines[--from].length + 1;
  return lines.slice(from).join('\n');
}

/**
 * The lines of a transcript; a last one that was cut short by a crash is left out.
 * @param {string} text
 */
export const transcriptLines = (text) => text.split('\n').filter((line) => parseRecord(line) !== null);
