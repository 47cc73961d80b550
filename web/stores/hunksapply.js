// Asks git for the change of one file and hands it parts of it back. Both ways go byte for byte: the answer of
// a command is text, so what git says travels in Base64, and what it is given through a file.

import { call } from '../bridge/api.js';
import { createFile } from './files.js';
import { refreshGit } from './git.js';
import { known } from './gitactions.js';
import { bytesOf, parseDiff } from './hunks.js';
import { isInside, joinPath } from './paths.js';
import { roots } from './settings.js';
import { commandLine } from './shellquote.js';

/**
 * @typedef {import('./gitstatus.js').Repo} Repo
 * @typedef {'work' | 'staged' | 'untracked'} Which `work` is what is not staged of a file that git knows
 */

/** The bridge cuts what a command says; a change that comes near it is not whole. */
export const MOST_OUTPUT = 199_000;

/** The same whatever the user's own settings are. */
const kDiff = [
  ...['diff', '--no-color', '--no-ext-diff', '--no-textconv', '--no-relative'],
  ...['--src-prefix=a/', '--dst-prefix=b/', '--unified=3', '--inter-hunk-context=0'],
];

/** @type {Record<Which, (path: string) => string[]>} */
const kWhat = {
  work: (path) => ['--', path],
  staged: (path) => ['--cached', '--', path],
  untracked: (path) => ['--no-index', '--', '/dev/null', path],
};

/**
 * What differs in a file; null when nothing does.
 * @param {Repo} repo
 * @param {string} path in the repository
 * @param {Which} which
 */
export async function readDiff(repo, path, which) {
  const said = await readPatch(repo, ['--no-renames', ...kWhat[which](path)], `Read the changes of ${path}`);
  if (said === null) throw new Error('the change is too large to be taken apart: stage it as a whole');
  return parseDiff(said);
}

/**
 * What "git diff" says, byte for byte.
 * @param {Repo} repo
 * @param {string[]} what its further arguments
 * @param {string} words what is done, as the tray says it
 * @returns {Promise<string | null>} null when it is too much to be told
 */
export async function readPatch(repo, what, words) {
  const git = ['git', '--no-optional-locks', '--literal-pathspecs', '-c', 'core.quotepath=false', '-C', repo.root];
  const diff = commandLine(...git, ...kDiff, ...what);
  // The dot says that git came to its end; a comparison with nothing ends with 1 where there is a difference.
  // The outer braces take the input that the bridge puts behind a command, which is not for the last of a pipe.
  const command = `{ { ${diff}; [ $? -le 1 ] && printf .; } | base64 -w 0; }`;
  const { out, err } = await run(repo, command, words);
  if (out.length > MOST_OUTPUT) return null;
  const said = atob(out.trim());
  if (!said.endsWith('.')) throw new Error(err.trim() || 'git did not say what differs');
  return said.slice(0, -1);
}

let made = 0;

/**
 * Puts a patch on what is staged.
 * @param {Repo} repo
 * @param {string} patch bytes as characters
 * @param {string} words what is done, as the tray says it
 */
export async function applyToIndex(repo, patch, words) {
  const root = rootOfRepo(repo);
  const name = `.marlin/part-${Date.now().toString(36)}-${++made}.patch`;
  await createFile(joinPath(root.name, name), bytesOf(patch));
  const file = joinPath(root.path.replace(/\/+$/, ''), name);
  const apply = ['apply', '--cached', '--whitespace=nowarn', '--no-ignore-whitespace'];
  const command = commandLine('git', '-C', repo.root, ...apply, '--', file);
  try {
    // Not by the bridge, which would put the file into the user's Trash.
    const { exitCode, err } = await run(repo, `{ ${command}; code=$?; ${commandLine('rm', '-f', '--', file)}; exit $code; }`, words);
    if (exitCode !== 0) throw new Error(err.trim() || `git ended with code ${exitCode}`);
  } finally {
    await refreshGit();
  }
}

/**
 * A folder of the workspace in which the repository lies, or that lies in it.
 * @param {Repo} repo
 */
function rootOfRepo({ name, root }) {
  const found =
    roots.value.find((one) => one.name === name) ??
    roots.value.find(({ path }) => isInside(path, root) || isInside(root, path));
  if (!found) throw new Error(`${name} is not among the folders of the workspace any more`);
  return found;
}

/**
 * @param {Repo} repo
 * @param {string} command
 * @param {string} words
 */
async function run(repo, command, words) {
  const body = { command, root: rootOfRepo(known(repo)).name, timeout: 30 };
  const { exitCode, out, err } = await call('blueprint/exec', body, { job: words });
  return { exitCode, out: String(out), err: String(err) };
}
