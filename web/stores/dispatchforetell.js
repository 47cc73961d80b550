// Asks git what landing a task would do. Nothing moves by it: no branch, no file; only what the task has not
// committed is staged in its own folder, as landing does too.

import { inPlaceLanding, judge } from './dispatchjudge.js';
import {
  canForetell,
  factsCommand,
  hasUncommitted,
  isOnBranch,
  readDirt,
  readFacts,
  readNames,
  readTrial,
  trialCommand,
} from './dispatchlanding.js';
import { quoted } from './shellquote.js';

/**
 * @typedef {import('./dispatchlanding.js').LandingTask} LandingTask
 * @typedef {import('./dispatchlanding.js').Landing} Landing
 * @typedef {import('./dispatchlanding.js').Facts} Facts
 * @typedef {import('./dispatchlanding.js').Trial} Trial
 * @typedef {import('./dispatchlanding.js').Lists} Lists
 *
 * Runs a line in a shell.
 * @typedef {(command: string) => Promise<{exitCode: number, out: string, err: string}>} Run
 */

/**
 * @param {LandingTask} task
 * @param {Run} run
 * @returns {Promise<Landing>}
 */
export async function foretell(task, run) {
  if (!task.branch) return inPlaceLanding(task);
  const told = await run(factsCommand(task));
  if (told.exitCode !== 0) throw new Error(told.err.trim() || `the shell ended with code ${told.exitCode}`);
  const facts = readFacts(told.out);
  const trial = await tried(task, facts, run);
  return judge(task, facts, trial, await lists(task, facts, trial.tree, run));
}

/**
 * @param {LandingTask} task
 * @param {Facts} facts
 * @param {Run} run
 * @returns {Promise<Trial>}
 */
async function tried(task, facts, run) {
  /** @type {Trial} */
  const unknown = { known: false, why: '', tree: '', conflicts: [], bothSides: [] };
  // What is missing then is said by itself.
  if (!facts.head || !facts.tip) return unknown;
  if (!canForetell(facts.version)) return { ...unknown, why: `it needs git 2.38, and this is ${facts.version}` };
  return readTrial(await run(trialCommand(task, facts)));
}

const kNone = { paths: [], cut: false };

/**
 * @param {LandingTask} task
 * @param {Facts} facts
 * @param {string} tree what would come of it; "" when that is not known
 * @param {Run} run
 * @returns {Promise<Lists>}
 */
async function lists(task, facts, tree, run) {
  const enter = `cd -- ${quoted(task.repoRoot)}`;
  const names = 'git diff --name-only --no-renames -z';
  /** @param {string} command */
  const outOf = async (command) => (await run(`${enter} && { ${command}; }`)).out;
  /** @param {string} from @param {string} to @param {string} [more] */
  const between = async (from, to, more = '') =>
    from && to ? readNames(await outOf(`${names} ${more} ${quoted(from)} ${quoted(to)}`)) : kNone;

  const work = isOnBranch(facts, task) && hasUncommitted(facts) ? facts.theirtree : facts.tip;
  const [changed, status] = await Promise.all([
    between(facts.base, work),
    outOf('git --no-optional-locks status --porcelain=v1 -z --untracked-files=no --no-renames'),
  ]);
  // Without a trial the task's own changes are the best guess.
  const [touched, inTheWay, ignored] = await Promise.all([
    tree ? between(facts.head, tree) : changed,
    tree ? outOf(createdThere(facts.head, tree)).then(readNames) : kNone,
    tree ? outOf(`${createdThere(facts.head, tree)} | git check-ignore -z --stdin`).then(readNames) : kNone,
  ]);
  return { changed, touched, dirty: readDirt(status), inTheWay, ignored };
}

/**
 * Files that landing would create, of those that exist already. The names begin at the top of the repository.
 * @param {string} head
 * @param {string} tree
 */
function createdThere(head, tree) {
  const exists = `for name do if [ -e "$name" ] || [ -L "$name" ]; then printf "%s\\\\0" "$name"; fi; done`;
  const created = `git diff --name-only --no-renames --diff-filter=A -z ${quoted(head)} ${quoted(tree)}`;
  return `cd -- "$(git rev-parse --show-toplevel)" && ${created} | xargs -0 -r sh -c ${quoted(exists)} sh`;
}
