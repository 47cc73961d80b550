// Who changed a line last: what git says of some lines of a commit, and which of them a line of an edited text is.

import { lineHunks, linesWithEnds } from './changes.js';
import { readSides } from './git.js';
import { isCut, readGit } from './gitexec.js';

/**
 * @typedef {object} BlameCommit
 * @property {string} hash
 * @property {string} author
 * @property {number} time seconds since the epoch
 * @property {string} subject
 * @property {string} path of the file in that commit
 *
 * @typedef {{repo: import('./gitstatus.js').Repo, path: string}} RepoFile
 */

/** Lines that are asked about at once, around the one that is wanted. */
export const BLAME_LINES = 50;
/** Larger texts are not compared: it could be felt. */
const kMostCharacters = 1_000_000;

/**
 * What "git blame --porcelain" wrote. It describes each commit once, with the first of its lines.
 * @param {string} out
 * @returns {Map<number, BlameCommit>} by line, from 1
 */
export function readPorcelain(out) {
  /** @type {Map<string, BlameCommit>} */
  const commits = new Map();
  /** @type {Map<number, BlameCommit>} */
  const lines = new Map();
  /** @type {BlameCommit | null} */
  let current = null;
  for (const row of out.split('\n')) {
    if (row.startsWith('\t')) {
      current = null; // the line itself
      continue;
    }
    if (current) {
      describe(current, row);
      continue;
    }
    const [, hash = '', line = ''] = /^([0-9a-f]{40}) \d+ (\d+)/.exec(row) ?? [];
    if (hash) {
      current = commits.get(hash) ?? { hash, author: '', time: 0, subject: '', path: '' };
      commits.set(hash, current);
      lines.set(Number(line), current);
    }
  }
  return lines;
}

/** @param {BlameCommit} commit @param {string} row */
function describe(commit, row) {
  const blank = row.indexOf(' ');
  const value = row.slice(blank + 1);
  const key = row.slice(0, blank);
  if (key === 'author') commit.author = value;
  else if (key === 'author-time') commit.time = Number(value) || 0;
  else if (key === 'summary') commit.subject = value;
  else if (key === 'filename') commit.path = value;
}

/**
 * The line of the older text that a line of the newer one is; 0 for one that was changed or added since.
 * @param {readonly import('./changes.js').Hunk[]} hunks
 * @param {number} line from 1
 */
export function olderLine(hunks, line) {
  let shift = 0;
  for (const { newStart, newCount, oldCount } of hunks) {
    if (line <= newStart) break;
    if (line <= newStart + newCount) return 0;
    shift += oldCount - newCount;
  }
  return line + shift;
}

/** Knows the blame of one file at the commit that is checked out, as far as it was asked. */
export class FileBlame {
  /** @param {RepoFile} file @param {string[]} committed its lines there */
  constructor(file, committed) {
    this.file = file;
    this.committed = committed;
    /** @type {Map<number, BlameCommit>} */
    this.lines = new Map();
  }

  /**
   * @param {RepoFile} file
   * @returns {Promise<FileBlame | null>} null where nothing is committed, or too much
   */
  static async of(file) {
    const { original } = await readSides(file, 'HEAD');
    if (!original || original.length > kMostCharacters) return null;
    return new FileBlame(file, linesWithEnds(original));
  }

  /**
   * The line of the commit that a line of a text is; 0 for one that is not committed.
   * @param {string} text with "\n" ends
   * @param {number} line from 1
   */
  committedLine(text, line) {
    if (text.length > kMostCharacters) return 0;
    const at = olderLine(lineHunks(this.committed, linesWithEnds(text)), line);
    return at <= this.committed.length ? at : 0;
  }

  /**
   * @param {number} line of the commit
   * @returns {Promise<BlameCommit | null>}
   */
  async commitOf(line) {
    const known = this.lines.get(line);
    if (known) return known;
    const first = Math.max(1, line - BLAME_LINES / 2);
    const last = Math.min(this.committed.length, first + BLAME_LINES - 1);
    const out = await this.ask(first, last);
    // Very long lines: what describes the commits stands before them, and is gone.
    const whole = isCut(out) ? await this.ask(line, line) : out;
    if (isCut(whole)) return null;
    for (const [at, commit] of readPorcelain(whole)) this.lines.set(at, commit);
    return this.lines.get(line) ?? null;
  }

  /** @param {number} first @param {number} last */
  ask(first, last) {
    const { repo, path } = this.file;
    return readGit(repo, ['blame', '--porcelain', `-L${first},${last}`, 'HEAD', '--', path], 'Blame lines');
  }
}
