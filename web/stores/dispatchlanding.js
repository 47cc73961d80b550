// What git is asked before a task lands, and what it answers: which branch receives, what has come to it since,
// whether the merge goes through, and which files stand in its way. dispatchforetell.js asks, dispatchjudge.js
// says what that means.

import { quoted } from './shellquote.js';

/**
 * A task as far as its landing goes.
 * @typedef {object} LandingTask
 * @property {string} repoRoot the folder it was made for
 * @property {string} directory where it works
 * @property {string} branch "" for one that works in place
 * @property {string} baseBranch
 * @property {string} status
 *
 * Short answers of git, "" for what it could not say.
 * @typedef {Record<(typeof kFacts)[number], string>} Facts
 *
 * What merging would make of the two sides.
 * @typedef {object} Trial
 * @property {boolean} known
 * @property {string} why it is not known
 * @property {string} tree what would come of it, "" when that is not known
 * @property {{path: string, words: string}[]} conflicts
 * @property {string[]} bothSides files that both sides changed, and git joined
 *
 * @typedef {{paths: string[], cut: boolean}} Names cut when more was told than the bridge hands on
 *
 * @typedef {object} Lists
 * @property {Names} changed by the task
 * @property {Names} touched by the landing, in the working copy that receives
 * @property {Dirt} dirty
 * @property {Names} inTheWay files that landing would create, and that are there already
 * @property {Names} ignored those of them that git ignores: it would write over them without a word
 *
 * @typedef {object} Dirt what is not committed in the working copy that receives
 * @property {string[]} staged also what is only marked to be added: git merges with a clean index only
 * @property {string[]} unstaged
 * @property {string[]} unmerged
 * @property {boolean} cut
 *
 * "stop": trying would harm. "fails": it will not go through. "ask": it goes through, and may not be what is
 * wanted. "note": good to know.
 * @typedef {'stop' | 'fails' | 'ask' | 'note'} Weight
 * @typedef {{id: string, weight: Weight, words: string, paths?: string[]}} Finding
 *
 * @typedef {object} Landing
 * @property {boolean} inPlace the task worked in the folder itself: landing only closes it
 * @property {string} place what receives: "main", or "the detached head 1a2b3c4"
 * @property {string} head the commit there
 * @property {number} drift commits that came to it since the task began
 * @property {boolean} uncommitted whether landing commits the task's work first
 * @property {{files: number, added: number, removed: number}} counts of what lands
 * @property {string[]} changed
 * @property {string[]} touched
 * @property {string[]} bothSides
 * @property {{path: string, words: string}[]} conflicts
 * @property {Finding[]} findings the gravest first
 */

/** The bridge hands on this many bytes of a command's output, its end. */
export const OUTPUT_BYTES = 200000;

const kFacts = /** @type {const} */ ([
  'version',
  'head',
  'branch',
  'midway',
  'autostash',
  'identity',
  'tip',
  'base',
  'basetree',
  'drift',
  'related',
  'common',
  'theircommon',
  'theirbranch',
  'theirhead',
  'theirheadtree',
  'theirtree',
  'counts',
]);

export const kBranches = 'refs/heads/';
const kMidway = ['MERGE_HEAD', 'CHERRY_PICK_HEAD', 'REVERT_HEAD', 'rebase-merge', 'rebase-apply'];

/**
 * One line for the shell that tells the short facts, each on a line behind its name. What git cannot say is empty.
 * @param {LandingTask} task
 */
export function factsCommand({ repoRoot, directory, branch }) {
  const ref = quoted(kBranches + branch);
  const there = `git -C ${quoted(directory)}`;
  const common = 'rev-parse --path-format=absolute --git-common-dir';
  const exists = 'test -e "$(git rev-parse --git-path $name)"';
  const midway = `for name in ${kMidway.join(' ')}; do ${exists} && echo $name; done`;
  const counts = 'LC_ALL=C git diff --shortstat "$base" "$theirtree"';
  /** @type {Facts} */
  const asked = {
    version: 'LC_ALL=C git --version',
    head: 'git rev-parse -q --verify "HEAD^{commit}"',
    branch: 'git symbolic-ref -q HEAD',
    midway: `{ ${midway}; } | head -n 1`,
    autostash: 'git config --type=bool merge.autostash',
    identity: 'git var GIT_COMMITTER_IDENT',
    tip: `git rev-parse -q --verify ${quoted(`${kBranches}${branch}^{commit}`)}`,
    // The branch's oldest entry is the commit it was made at; without a log, where the two went apart.
    base: `git rev-list -g ${ref} -- | tail -n 1 | grep . || git merge-base HEAD ${ref}`,
    basetree: 'git rev-parse -q --verify "$base^{tree}"',
    drift: 'git rev-list --count "$base..HEAD"',
    related: 'git merge-base --is-ancestor "$base" HEAD && echo yes',
    common: `git ${common}`,
    theircommon: `${there} ${common}`,
    theirbranch: `${there} symbolic-ref -q HEAD`,
    theirhead: `${there} rev-parse -q --verify "HEAD^{commit}"`,
    theirheadtree: `${there} rev-parse -q --verify "HEAD^{tree}"`,
    // As landing does, so that files are seen which git does not know yet.
    theirtree: `${there} add -A; ${there} write-tree`,
    counts: `test "$theirbranch" = ${ref} || theirtree=$tip; ${counts}`,
  };
  const lines = Object.entries(asked).map(
    ([name, command]) => `${name}=$({ ${command}; } 2>/dev/null); printf '%s\\n' "${name} $${name}"`,
  );
  return `cd -- ${quoted(repoRoot)} && { ${lines.join('; ')}; }`;
}

/**
 * @param {string} out
 * @returns {Facts}
 */
export function readFacts(out) {
  const told = new Map(out.split('\n').map((line) => [line.split(' ', 1)[0], line]));
  const facts = kFacts.map((name) => [name, told.get(name)?.slice(name.length + 1) ?? '']);
  return /** @type {Facts} */ (Object.fromEntries(facts));
}

/**
 * @param {Facts} facts
 * @param {LandingTask} task
 */
export const isOnBranch = (facts, { branch }) => facts.theirbranch === kBranches + branch;

/**
 * Whether landing commits work of the task before it merges.
 * @param {Facts} facts
 */
export const hasUncommitted = (facts) => facts.theirtree !== '' && facts.theirtree !== facts.theirheadtree;

/** Older ones cannot merge without a working copy. @param {string} version "git version 2.39.5" */
export function canForetell(version) {
  const [, major = '0', minor = '0'] = /(\d+)\.(\d+)/.exec(version) ?? [];
  return Number(major) > 2 || (Number(major) === 2 && Number(minor) >= 38);
}

/**
 * One line for the shell that merges into nothing: neither branch nor folder changes.
 * @param {LandingTask} task
 * @param {Facts} facts
 */
export function trialCommand(task, facts) {
  const merge = (/** @type {string} */ source) =>
    `git merge-tree --write-tree -z --name-only --messages ${quoted(facts.head)} ${source}`;
  const enter = `cd -- ${quoted(task.repoRoot)}`;
  if (!isOnBranch(facts, task) || !hasUncommitted(facts)) return `${enter} && ${merge(quoted(facts.tip))}`;
  // What landing will commit, as a commit that nothing points to.
  const author = '-c user.name=landing -c user.email=landing@localhost';
  const made = `git ${author} commit-tree ${quoted(facts.theirtree)} -p ${quoted(facts.tip)} -m landing`;
  return `${enter} && commit=$(${made}) && ${merge('"$commit"')}`;
}

/**
 * Reads what the trial printed: the tree, the names in conflict, an empty name, then messages, each as the
 * number of its paths, the paths, its kind and its words.
 * @param {{exitCode: number, out: string, err: string}} answer
 * @returns {Trial}
 */
export function readTrial({ exitCode, out, err }) {
  /** @type {Trial} */
  const trial = { known: false, why: '', tree: '', conflicts: [], bothSides: [] };
  const parts = out.split('\0');
  const tree = /^[0-9a-f]{40,64}$/.test(parts[0] ?? '') ? /** @type {string} */ (parts[0]) : '';
  if (exitCode === 1 && !tree && out) {
    return { ...trial, known: true, conflicts: [{ path: '', words: kTooMany }] };
  }
  if (exitCode > 1 || !tree) {
    return { ...trial, why: err.trim().split('\n')[0] || `git ended with code ${exitCode}` };
  }
  const names = parts.indexOf('', 1);
  const conflicted = parts.slice(1, names);
  const { joined, words } = readMessages(parts.slice(names + 1));
  const conflicts = conflicted.map((path) => ({ path, words: words.get(path) ?? 'Both sides changed it' }));
  const told = new Set(conflicted);
  return { ...trial, known: true, tree, conflicts, bothSides: joined.filter((path) => !told.has(path)) };
}

const kTooMany = 'There are more conflicts than can be listed';

/** @param {string[]} parts */
function readMessages(parts) {
  /** @type {string[]} */
  const joined = [];
  /** @type {Map<string, string>} */
  const words = new Map();
  for (let at = 0; at + 1 < parts.length; ) {
    const count = Number(parts[at]);
    const paths = parts.slice(at + 1, at + 1 + count);
    const kind = parts[at + 1 + count] ?? '';
    const text = (parts[at + 2 + count] ?? '').trim();
    if (!Number.isInteger(count) || count < 0) break;
    if (kind === 'Auto-merging') joined.push(...paths);
    else for (const path of paths) if (!words.has(path)) words.set(path, text.replace(/^CONFLICT /, ''));
    at += count + 3;
  }
  return { joined: [...new Set(joined)], words };
}

const encoder = new TextEncoder();

/**
 * Names with a NUL behind each; of an output that was cut the first one may be half a name.
 * @param {string} out
 * @returns {Names}
 */
export function readNames(out) {
  const cut = encoder.encode(out).length >= OUTPUT_BYTES;
  return { paths: out.split('\0').slice(cut ? 1 : 0, -1).filter(Boolean), cut };
}

/**
 * @param {string} out of "git status --porcelain=v1 -z" without renames
 * @returns {Dirt}
 */
export function readDirt(out) {
  const { paths, cut } = readNames(out);
  /** @type {Dirt} */
  const dirt = { staged: [], unstaged: [], unmerged: [], cut };
  for (const entry of paths) {
    const code = entry.slice(0, 2);
    const path = entry.slice(3);
    if (/U|AA|DD/.test(code)) dirt.unmerged.push(path);
    else if (code[0] !== ' ' || code === ' A') dirt.staged.push(path);
    else dirt.unstaged.push(path);
  }
  return dirt;
}
