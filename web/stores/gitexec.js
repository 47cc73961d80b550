// Git commands that no route of their own exists for. They run by the shell, so every name in them is quoted,
// and in the repository's own folder, which may lie above the folder of the workspace it was found by.

import { call } from '../bridge/api.js';
import { refreshGit } from './git.js';
import { during, known } from './gitactions.js';
import { commandLine } from './shellquote.js';

/** @typedef {import('./gitstatus.js').Repo} Repo */

const kMostOutput = 200_000;
const encoder = new TextEncoder();

/** Whether the bridge may have cut an output, of which it keeps the end. @param {string} out */
export const isCut = (out) => out.length > kMostOutput / 4 && encoder.encode(out).length >= kMostOutput;

const kReadSeconds = 60;
const kActSeconds = 300;

/** A command that git refused or could not finish, with all that it wrote. */
export class GitError extends Error {
  /**
   * @param {number} exitCode
   * @param {string} out
   * @param {string} err
   */
  constructor(exitCode, out, err) {
    super(spoken({ exitCode, out, err }));
    this.name = 'GitError';
    this.exitCode = exitCode;
    this.out = out;
    this.err = err;
  }

  /** Both streams as they stand. */
  get streams() {
    return bothStreams(this);
  }

  /** Whether it stopped for the user to resolve something. */
  get conflict() {
    return /^CONFLICT /m.test(this.streams);
  }
}

/** @param {{out: string, err: string}} streams */
const bothStreams = ({ out, err }) => [err.trim(), out.trim()].filter(Boolean).join('\n');

/** @param {{exitCode: number, out: string, err: string}} answer */
function spoken(answer) {
  const words = bothStreams(answer);
  if (answer.exitCode === 0) return words;
  return words ? `${words} (code ${answer.exitCode})` : `git ended with code ${answer.exitCode}`;
}

/** @typedef {{exitCode: number, out: string, err: string}} Answer */

/**
 * The line for a git command in a repository.
 * @param {{root: string}} repo
 * @param {readonly string[]} words of the command; names in it that could begin with "-" stand behind "--" or in
 *   full
 */
export const gitLine = ({ root }, words) => commandLine('git', '-C', root, ...words);

/**
 * @param {Repo} repo
 * @param {string} line
 * @param {string} words
 * @param {number} timeout in seconds
 * @returns {Promise<Answer>}
 */
async function exec(repo, line, words, timeout) {
  const { name } = known(repo);
  // What git says is read here, so it must say it in one language.
  const body = { command: `export LC_ALL=C; ${line}`, root: name, timeout };
  const answer = await call('blueprint/exec', body, { job: `${words} in ${name}`, said: (one) => spoken(answerOf(one)) });
  return answerOf(answer);
}

/** @param {any} answer @returns {Answer} */
const answerOf = (answer) => ({
  exitCode: Number(answer?.exitCode ?? -1),
  out: String(answer?.out ?? ''),
  err: String(answer?.err ?? ''),
});

/**
 * Asks git for something that changes nothing.
 * @param {Repo} repo
 * @param {readonly string[]} words
 * @param {string} job what is asked, as the tray says it: "List stashes"
 * @returns {Promise<string>} its output; rejects with GitError
 */
export async function readGit(repo, words, job) {
  const { exitCode, out, err } = await exec(repo, gitLine(repo, words), job, kReadSeconds);
  if (exitCode !== 0) throw new GitError(exitCode, out, err);
  return out;
}

/**
 * Does something to a repository and asks for its status again, however it ended.
 * @param {Repo} repo
 * @param {readonly string[]} words
 * @param {string} job
 * @returns {Promise<string>} both streams; rejects with GitError
 */
export const actGit = (repo, words, job) => actLine(repo, gitLine(repo, words), job);

/**
 * The same for a line of more than one command.
 * @param {Repo} repo
 * @param {string} line
 * @param {string} job
 */
export async function actLine(repo, line, job) {
  try {
    const answer = await during(repo, job, () => exec(repo, line, job, kActSeconds));
    if (answer.exitCode !== 0) throw new GitError(answer.exitCode, answer.out, answer.err);
    return bothStreams(answer);
  } finally {
    await refreshGit();
  }
}
