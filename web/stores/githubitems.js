// What gh tells of pull requests, issues and runs, as the page shows it. Nothing here asks the bridge.

import { listOf, numberOf, recordOf, textOf } from './chatwire.js';

/** How many of each the bridge asks gh for: a list of that length may be cut. */
export const MOST = { pulls: 30, issues: 30, runs: 20 };

/**
 * @typedef {'ok' | 'failed' | 'waiting' | 'none'} Outcome
 * @typedef {{name: string, outcome: Outcome, words: string, url: string}} Check
 *
 * @typedef {object} Pull
 * @property {number} number
 * @property {string} title
 * @property {string} author
 * @property {string} state "open", "closed" or "merged"
 * @property {boolean} draft
 * @property {string} branch
 * @property {string} base
 * @property {string} url
 * @property {string} updated as gh writes it
 * @property {number} added
 * @property {number} removed
 * @property {string} review gh's word, such as "APPROVED"
 * @property {Check[]} checks
 * @property {string[]} labels
 *
 * @typedef {object} Issue
 * @property {number} number
 * @property {string} title
 * @property {string} author
 * @property {string} url
 * @property {string} updated
 * @property {number} comments
 * @property {string[]} labels
 *
 * @typedef {object} Run
 * @property {number} id
 * @property {string} title
 * @property {string} workflow
 * @property {string} branch
 * @property {string} event
 * @property {string} url
 * @property {string} updated
 * @property {Outcome} outcome
 * @property {string} words
 */

/**
 * @param {unknown} raw
 * @returns {Pull}
 */
export function pullOf(raw) {
  const pull = recordOf(raw);
  return {
    number: numberOf(pull.number),
    title: textOf(pull.title),
    author: textOf(recordOf(pull.author).login),
    state: textOf(pull.state).toLowerCase(),
    draft: pull.isDraft === true,
    branch: textOf(pull.headRefName),
    base: textOf(pull.baseRefName),
    url: textOf(pull.url),
    updated: textOf(pull.updatedAt),
    added: numberOf(pull.additions),
    removed: numberOf(pull.deletions),
    review: textOf(pull.reviewDecision),
    checks: listOf(pull.statusCheckRollup).map(checkOf),
    labels: labelsOf(pull.labels),
  };
}

/**
 * @param {unknown} raw
 * @returns {Issue}
 */
export function issueOf(raw) {
  const issue = recordOf(raw);
  return {
    number: numberOf(issue.number),
    title: textOf(issue.title),
    author: textOf(recordOf(issue.author).login),
    url: textOf(issue.url),
    updated: textOf(issue.updatedAt),
    comments: listOf(issue.comments).length,
    labels: labelsOf(issue.labels),
  };
}

/**
 * @param {unknown} raw
 * @returns {Run}
 */
export function runOf(raw) {
  const run = recordOf(raw);
  const ended = textOf(run.status).toLowerCase() === 'completed';
  const word = textOf(ended ? run.conclusion : run.status);
  return {
    id: numberOf(run.databaseId),
    title: textOf(run.displayTitle) || textOf(run.name),
    workflow: textOf(run.workflowName) || textOf(run.name),
    branch: textOf(run.headBranch),
    event: textOf(run.event),
    url: textOf(run.url),
    updated: textOf(run.updatedAt),
    outcome: ended ? outcomeOf(word) : 'waiting',
    words: plain(word) || (ended ? 'ended' : 'waiting'),
  };
}

/**
 * What gh calls an outcome; a word that is not here is a failure that nobody has heard of yet.
 * @type {Record<string, Outcome>}
 */
const kOutcomes = {
  SUCCESS: 'ok',
  NEUTRAL: 'none',
  SKIPPED: 'none',
  PENDING: 'waiting',
  EXPECTED: 'waiting',
  QUEUED: 'waiting',
  IN_PROGRESS: 'waiting',
  WAITING: 'waiting',
  REQUESTED: 'waiting',
  '': 'waiting',
};

/** @param {string} word */
const outcomeOf = (word) => kOutcomes[word.toUpperCase()] ?? 'failed';

/** @param {string} word */
const plain = (word) => word.toLowerCase().replaceAll('_', ' ');

/**
 * A check of the Actions, or a status that another service has set.
 * @param {unknown} raw
 * @returns {Check}
 */
export function checkOf(raw) {
  const check = recordOf(raw);
  const name = textOf(check.name) || textOf(check.context) || 'check';
  const workflow = textOf(check.workflowName);
  const running = 'status' in check && textOf(check.status).toUpperCase() !== 'COMPLETED';
  const word = running ? textOf(check.status) : textOf(check.conclusion) || textOf(check.state);
  return {
    name: workflow ? `${workflow} / ${name}` : name,
    outcome: running ? 'waiting' : outcomeOf(word),
    words: plain(word) || 'waiting',
    url: textOf(check.detailsUrl) || textOf(check.targetUrl),
  };
}

/**
 * All checks as one outcome, the worst first: what failed matters before what is still under way.
 * @param {readonly Check[]} checks
 * @returns {{outcome: Outcome, words: string}}
 */
export function checksSummary(checks) {
  if (checks.length === 0) return { outcome: 'none', words: 'no checks' };
  const count = (/** @type {Outcome} */ outcome) => checks.filter((check) => check.outcome === outcome).length;
  const [failed, waiting, ok] = [count('failed'), count('waiting'), count('ok')];
  const of = checks.length === 1 ? '1 check' : `${checks.length} checks`;
  if (failed) return { outcome: 'failed', words: `${failed} of ${of} failed` };
  if (waiting) return { outcome: 'waiting', words: `${waiting} of ${of} not done yet` };
  return ok ? { outcome: 'ok', words: `${of} passed` } : { outcome: 'none', words: `${of} skipped` };
}

/** @type {Record<string, string>} */
const kReviews = {
  APPROVED: 'approved',
  CHANGES_REQUESTED: 'changes requested',
  REVIEW_REQUIRED: 'review required',
};

/**
 * What reviewers have decided; "" where nobody has to.
 * @param {string} decision
 */
export const reviewWords = (decision) => kReviews[decision] ?? plain(decision);

/** @param {Pull} pull */
export const stateWords = ({ state, draft }) => (state === 'open' && draft ? 'draft' : state || 'open');

/**
 * @param {string} when a date as gh writes it
 * @param {number} now milliseconds
 */
export function agoWords(when, now) {
  const seconds = (now - Date.parse(when)) / 1000;
  if (!Number.isFinite(seconds)) return '';
  const steps = /** @type {const} */ ([
    [3600, 60, 'minute'],
    [86400, 3600, 'hour'],
    [86400 * 60, 86400, 'day'],
    [86400 * 730, 86400 * 30, 'month'],
    [Infinity, 86400 * 365, 'year'],
  ]);
  if (seconds < 60) return 'just now';
  const [, unit, name] = steps.find(([below]) => seconds < below) ?? steps[4];
  const count = Math.floor(seconds / unit);
  return `${count} ${name}${count === 1 ? '' : 's'} ago`;
}

/** @param {unknown} labels */
const labelsOf = (labels) => listOf(labels).map((label) => textOf(recordOf(label).name)).filter(Boolean);
