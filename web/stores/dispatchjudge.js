// What landing a task would do, judged from git's answers: what speaks against it, and how gravely.

import { counted } from './dispatchboard.js';
import { hasUncommitted, isOnBranch, kBranches } from './dispatchlanding.js';

/**
 * @typedef {import('./dispatchlanding.js').LandingTask} LandingTask
 * @typedef {import('./dispatchlanding.js').Facts} Facts
 * @typedef {import('./dispatchlanding.js').Trial} Trial
 * @typedef {import('./dispatchlanding.js').Lists} Lists
 * @typedef {import('./dispatchlanding.js').Landing} Landing
 * @typedef {import('./dispatchlanding.js').Finding} Finding
 * @typedef {import('./dispatchlanding.js').Weight} Weight
 */

/** @type {Weight[]} */
const kWeights = ['stop', 'fails', 'ask', 'note'];

/** @param {string} ref */
const shortRef = (ref) => (ref.startsWith(kBranches) ? ref.slice(kBranches.length) : ref);

/**
 * The gravest of what was found; "clear" when nothing speaks against it.
 * @param {Landing} landing
 * @returns {'stop' | 'fails' | 'ask' | 'clear'}
 */
export function verdictOf({ findings }) {
  const first = findings[0]?.weight ?? 'note';
  return first === 'note' ? 'clear' : first;
}

/**
 * @param {LandingTask} task
 * @param {Facts} facts
 * @param {Trial} trial
 * @param {Lists} lists
 * @returns {Landing}
 */
export function judge(task, facts, trial, lists) {
  const branch = shortRef(facts.branch);
  const place = branch || `the detached head ${facts.head.slice(0, 7)}`;
  const findings = [
    ...midwayFindings(facts, place),
    ...worktreeFindings(task, facts),
    ...copyFindings(facts, lists),
    ...trialFindings(trial, place),
    ...wayFindings(lists),
    ...placeFindings(task, facts, branch, place),
    ...cutFindings(lists),
  ];
  return {
    inPlace: false,
    place,
    head: facts.head,
    drift: Number(facts.drift) || 0,
    uncommitted: isOnBranch(facts, task) && hasUncommitted(facts),
    counts: readCounts(facts.counts),
    changed: lists.changed.paths,
    touched: lists.touched.paths,
    bothSides: trial.bothSides,
    conflicts: trial.conflicts,
    findings: findings.sort((a, b) => kWeights.indexOf(a.weight) - kWeights.indexOf(b.weight)),
  };
}

/**
 * A task without a branch has changed the folder itself.
 * @param {LandingTask} task
 * @returns {Landing}
 */
export function inPlaceLanding({ repoRoot }) {
  return {
    inPlace: true,
    place: repoRoot,
    head: '',
    drift: 0,
    uncommitted: false,
    counts: readCounts(''),
    changed: [],
    touched: [],
    bothSides: [],
    conflicts: [],
    findings: [],
  };
}

/** @param {string} told "3 files changed, 10 insertions(+), 1 deletion(-)", without what is nothing */
function readCounts(told) {
  const number = (/** @type {RegExp} */ wanted) => Number(wanted.exec(told)?.[1] ?? 0);
  return { files: number(/(\d+) file/), added: number(/(\d+) insertion/), removed: number(/(\d+) deletion/) };
}

/**
 * @param {string} id
 * @param {Weight} weight
 * @param {string} words
 * @param {string[]} [paths]
 * @returns {Finding}
 */
const found = (id, weight, words, paths) => (paths ? { id, weight, words, paths } : { id, weight, words });

/**
 * @param {Facts} facts
 * @param {string} place
 */
function midwayFindings({ head, midway, identity }, place) {
  const findings = [];
  if (!head) findings.push(found('unborn', 'stop', 'There is no commit yet to land on.'));
  if (midway) findings.push(midwayFinding(midway, place));
  if (!identity) {
    const words = 'Git does not know your name and e-mail address, so it cannot commit.';
    findings.push(found('identity', 'fails', words));
  }
  return findings;
}

/**
 * @param {string} midway
 * @param {string} place
 */
function midwayFinding(midway, place) {
  // A landing that fails is followed by "git merge --abort", which would end the user's own merge.
  if (midway === 'MERGE_HEAD') {
    const why = 'Finish or abort it first: a landing that fails would throw it away.';
    return found('midway', 'stop', `A merge is under way on ${place}. ${why}`);
  }
  if (/^(CHERRY_PICK|REVERT)_HEAD$/.test(midway)) {
    const what = midway.startsWith('CHERRY') ? 'cherry-pick' : 'revert';
    return found('midway', 'fails', `A ${what} is under way on ${place}. Finish or abort it first.`);
  }
  return found('midway', 'ask', 'A rebase is under way: what lands now lands in the middle of it.');
}

/**
 * @param {LandingTask} task
 * @param {Facts} facts
 */
function worktreeFindings(task, facts) {
  const { directory, branch, status } = task;
  const { common, theircommon, theirtree, basetree, tip, theirbranch, theirhead } = facts;
  if (!theirhead || theircommon !== common) {
    const words = `The task's folder ${directory} is gone, or no worktree of this repository any more.`;
    return [found('folder', 'stop', words)];
  }
  if (!tip) return [found('branch', 'stop', `The task's branch ${branch} is gone.`)];
  const findings = [];
  if (!theirtree) {
    findings.push(found('index', 'ask', "What the task's folder would commit is not known: git cannot read it."));
  } else if (theirtree === basetree) {
    findings.push(found('nothing', 'fails', 'This task changed nothing, so there is nothing to land.'));
  }
  if (!isOnBranch(facts, task)) {
    const where = theirbranch ? `the branch ${shortRef(theirbranch)}` : 'no branch';
    const words = `The task's folder is on ${where}, not on ${branch}.`;
    findings.push(found('strayed', 'ask', `${words} Only what is on ${branch} lands, and the folder is removed.`));
  }
  if (status === 'running' || status === 'queued') {
    const words = 'The task has not ended. Landing stops it, and takes what is there then.';
    findings.push(found('running', 'ask', words));
  }
  return findings;
}

/**
 * @param {Facts} facts
 * @param {Lists} lists
 */
function copyFindings({ autostash }, { dirty, touched }) {
  // Git then puts the user's changes away itself, and takes them out again behind the merge.
  const weight = autostash === 'true' ? 'ask' : 'fails';
  const names = new Set(touched.paths);
  const overlap = dirty.unstaged.filter((path) => names.has(path));
  const beside = dirty.unstaged.length - overlap.length;
  const findings = [];
  if (dirty.unmerged.length) {
    const words = 'There are unresolved conflicts in the working copy.';
    findings.push(found('unmerged', 'fails', words, dirty.unmerged));
  }
  if (dirty.staged.length) {
    const words = 'Changes are staged. Git merges only when nothing is: commit or unstage them first.';
    findings.push(found('staged', weight, words, dirty.staged));
  }
  if (overlap.length) {
    const words = 'You have changes of your own in files that would land. Commit or stash them first.';
    findings.push(found('overlap', weight, words, overlap));
  }
  if (beside > 0) {
    const words = `${counted(beside, 'file')} of yours with changes ${beside === 1 ? 'is' : 'are'} not touched by it.`;
    findings.push(found('beside', 'note', words));
  }
  return findings;
}

/**
 * @param {Trial} trial
 * @param {string} place
 */
function trialFindings({ known, why, conflicts, bothSides }, place) {
  if (!known) {
    return why ? [found('unknown', 'ask', `Whether there are conflicts cannot be foretold: ${why}.`)] : [];
  }
  if (conflicts.length) {
    const paths = conflicts.map(({ path }) => path).filter(Boolean);
    return [found('conflicts', 'fails', `It conflicts with what is on ${place}.`, paths)];
  }
  if (!bothSides.length) return [];
  const words = `${counted(bothSides.length, 'file')} changed on both sides; git can join them.`;
  return [found('joined', 'note', words, bothSides)];
}

/** @param {Lists} lists */
function wayFindings({ inTheWay, ignored }) {
  const quiet = new Set(ignored.paths);
  const loud = inTheWay.paths.filter((path) => !quiet.has(path));
  const findings = [];
  if (loud.length) {
    findings.push(found('untracked', 'fails', 'Files that git does not know stand where new ones would land.', loud));
  }
  if (quiet.size) {
    const words = 'Ignored files would be written over, without a way back.';
    findings.push(found('ignored', 'ask', words, [...quiet]));
  }
  return findings;
}

/**
 * @param {LandingTask} task
 * @param {Facts} facts
 * @param {string} branch
 * @param {string} place
 */
function placeFindings({ baseBranch }, { related, base }, branch, place) {
  const findings = [];
  if (!branch) {
    const words = `No branch is checked out: it would land on ${place}, and be lost when another one is.`;
    findings.push(found('detached', 'ask', words));
  } else if (baseBranch && baseBranch !== branch && baseBranch !== 'HEAD') {
    const words = `The task began on ${baseBranch}, but ${branch} is checked out: it lands on ${branch}.`;
    findings.push(found('other', 'ask', words));
  }
  if (base && related !== 'yes') {
    const words = `The commit that the task began at is not on ${place}: what came before it lands too.`;
    findings.push(found('rewritten', 'ask', words));
  }
  return findings;
}

/** @param {Lists} lists */
function cutFindings({ changed, touched, dirty, inTheWay }) {
  if (![changed, touched, dirty, inTheWay].some(({ cut }) => cut)) return [];
  const words = 'There are more files than can be looked at, so some may not have been compared.';
  return [found('cut', 'ask', words)];
}
