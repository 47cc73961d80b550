// Pull requests that are shown as pages: what they are, their files and patches, read through the user's gh.

import { signal } from '@preact/signals';
import { call } from '../bridge/api.js';
import { numberOf, textOf } from './chatwire.js';
import { repos } from './git.js';
import { fileAt, readPatch } from './patch.js';
import {
  checkoutCommand,
  filePatchCommand,
  isCut,
  patchCommand,
  pullFiles,
  readDetail,
  viewCommand,
} from './pullwire.js';

/** Seconds that gh may take for an answer. */
const kPatienceS = 60;
const kCheckoutPatienceS = 300;

/**
 * @typedef {import('./pullwire.js').Detail} Detail
 * @typedef {import('./pullwire.js').PullFile} PullFile
 *
 * @typedef {object} PullPage
 * @property {boolean} loading
 * @property {string} failure why it could not be read last; the rest is then of the time before
 * @property {Detail | null} detail
 * @property {PullFile[]} files
 * @property {boolean} cut whether the patch of all files was too long
 * @property {ReadonlyMap<string, string>} fileFailures by path: why a single file's patch could not be read
 * @property {ReadonlySet<string>} reading paths of files that are being read
 */

/** @type {PullPage} */
const kEmpty = {
  loading: false,
  failure: '',
  detail: null,
  files: [],
  cut: false,
  fileFailures: new Map(),
  reading: new Set(),
};

/** @type {Map<string, import('@preact/signals').Signal<PullPage>>} */
const pages = new Map();

/**
 * @param {string} repo name of the root
 * @param {number} number
 */
export const pullArg = (repo, number) => `${repo}/${number}`;

/**
 * @param {string} arg as `pullArg` made it
 * @returns {{repo: string, number: number}}
 */
export function pullOfArg(arg) {
  const slash = arg.lastIndexOf('/');
  return { repo: arg.slice(0, slash), number: Number(arg.slice(slash + 1)) || 0 };
}

/** @param {string} arg */
export function pullPage(arg) {
  const there = pages.get(arg);
  if (there) return there;
  const made = signal(kEmpty);
  pages.set(arg, made);
  return made;
}

/**
 * Forgets the pages that nobody has open any more: who opens one again wants it as it is then.
 * @param {ReadonlySet<string>} open arguments
 */
export function keepPulls(open) {
  for (const arg of [...pages.keys()]) if (!open.has(arg)) pages.delete(arg);
}

/**
 * @param {string} arg
 * @param {Partial<PullPage>} next
 */
function change(arg, next) {
  const page = pullPage(arg);
  page.value = { ...page.value, ...next };
}

/**
 * Reads a pull request and its patch. A failure is told on the page.
 * @param {string} arg
 */
export async function readPull(arg) {
  if (pullPage(arg).value.loading) return;
  const { number } = pullOfArg(arg);
  change(arg, { loading: true, failure: '' });
  try {
    const [view, patch] = await Promise.all([
      runGh(arg, viewCommand(number), `Read pull request #${number}`),
      runGh(arg, patchCommand(number), `Read the patch of #${number}`),
    ]);
    const detail = readDetail(view);
    if (!detail) throw new Error('the answer of gh could not be read');
    const cut = isCut(patch);
    const files = pullFiles(detail, readPatch(patch, { cut }));
    change(arg, { loading: false, detail, files, cut, fileFailures: new Map() });
  } catch (error) {
    change(arg, { loading: false, failure: wordsOf(error) });
  }
}

/**
 * Reads what the patch of all files was cut before.
 * @param {string} arg
 * @param {string} path
 */
export async function readPullFile(arg, path) {
  const { reading } = pullPage(arg).value;
  if (reading.has(path)) return;
  change(arg, { reading: new Set(reading).add(path), fileFailures: without(pullPage(arg).value.fileFailures, path) });
  try {
    const { number } = pullOfArg(arg);
    const text = await runGh(arg, filePatchCommand(number, path), `Read the patch of ${path}`);
    const patch = fileAt(readPatch(text, { cut: isCut(text) }), path);
    if (!patch) throw new Error('the patch of the pull request does not have this file');
    // By gh's count of all lines, not by those that a cut leaves.
    const files = pullPage(arg).value.files.map((file) =>
      file.path === path ? { ...file, oldPath: patch.oldPath, kind: patch.kind, patch } : file,
    );
    change(arg, { files });
  } catch (error) {
    change(arg, { fileFailures: new Map(pullPage(arg).value.fileFailures).set(path, wordsOf(error)) });
  } finally {
    const left = new Set(pullPage(arg).value.reading);
    left.delete(path);
    change(arg, { reading: left });
  }
}

/**
 * Switches the working tree to the pull request's branch.
 * @param {string} arg
 * @returns {Promise<string>} what gh and git said
 */
export async function checkOutPull(arg) {
  const { number } = pullOfArg(arg);
  return runGh(arg, checkoutCommand(number), `Check out #${number}`, kCheckoutPatienceS);
}

/**
 * Runs a command in the repository of a page. It fails with gh's own words.
 * @param {string} arg
 * @param {string} command
 * @param {string} job
 * @param {number} [timeout] in seconds
 * @returns {Promise<string>} what it printed
 */
async function runGh(arg, command, job, timeout = kPatienceS) {
  const { repo: root } = pullOfArg(arg);
  // An unknown name would act on the first folder.
  if (!isKnown(root)) throw new Error(`git has told of no repository called ${root}`);
  const { exitCode, out, err } = await call('blueprint/exec', { command, root, timeout }, { job });
  const [printed, said] = [textOf(out), textOf(err).trim()];
  // In front of a pipe the exit code goes lost; then there are words and no output.
  if (numberOf(exitCode) !== 0 || (said && !printed.trim() && command.includes('|')))
    throw new Error(said || `gh exited with code ${exitCode}`);
  return printed;
}

/** @param {string} name */
export const isKnown = (name) => repos.value.some((repo) => repo.isRepo && repo.name === name);

/**
 * @param {ReadonlyMap<string, string>} map
 * @param {string} key
 */
function without(map, key) {
  const rest = new Map(map);
  rest.delete(key);
  return rest;
}

/** @param {unknown} error */
const wordsOf = (error) => (error instanceof Error ? error.message : String(error));
