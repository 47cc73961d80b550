// Small signs for what gh tells: what a row is, and how checks and runs ended.

import { icon } from '../../shell/icons.js';

/** @type {Record<import('../../stores/githubitems.js').Outcome, string>} */
const kOutcomeIcons = { ok: 'pass', failed: 'error', waiting: 'sync', none: 'circle-slash' };

/** @param {import('../../stores/githubitems.js').Outcome} outcome */
export const outcomeIcon = (outcome) => icon(kOutcomeIcons[outcome], `outcome-${outcome}`);

/** @param {import('../../stores/githubrows.js').GithubRow} row */
export function rowIcon({ pull, issue, run, section, depth }) {
  if (pull) return icon(pull.draft ? 'git-pull-request-draft' : 'git-pull-request', pull.draft ? 'quiet' : '');
  if (issue) return icon('issues');
  if (run) return icon('play-circle');
  return depth === 0 && !section ? icon('repo') : '';
}
