// The rows of the GitHub panel: repositories, what there is of each kind, and the single ones.

import { MOST, agoWords, checksSummary, reviewWords, stateWords } from './githubitems.js';
import { rowKey } from './gitrows.js';

/**
 * @typedef {'pulls' | 'issues' | 'runs'} SectionId
 * @typedef {import('./githubitems.js').Outcome} Outcome
 *
 * A row of a tree (stores/tree.js); its path is a key as those of source control are.
 * @typedef {import('./tree.js').Row & {repo: string, words: string, url: string, section?: SectionId,
 *   count?: string, pull?: import('./githubitems.js').Pull, issue?: import('./githubitems.js').Issue,
 *   run?: import('./githubitems.js').Run, outcome?: Outcome, failure?: string}} GithubRow
 */

/** @type {{id: SectionId, title: string}[]} */
const kSections = [
  { id: 'pulls', title: 'Pull Requests' },
  { id: 'issues', title: 'Issues' },
  { id: 'runs', title: 'Runs' },
];

/**
 * @param {readonly string[]} names of the repositories, in their order
 * @param {ReadonlyMap<string, import('./github.js').Overview>} overviews
 * @param {ReadonlySet<string>} collapsed keys
 * @param {number} now milliseconds
 * @returns {GithubRow[]}
 */
export function githubRows(names, overviews, collapsed, now) {
  return names.flatMap((name, at) => {
    const told = overviews.get(name);
    const key = rowKey(name);
    const expanded = told !== undefined && !collapsed.has(key);
    /** @type {GithubRow} */
    const top = {
      ...row(key, name, told !== undefined, expanded, 0, at, names.length),
      repo: name,
      words: told?.nameWithOwner ?? '',
      url: told?.nameWithOwner ? addressOf(told) : '',
      failure: told?.error,
    };
    return expanded ? [top, ...sectionRows(name, told, collapsed, now)] : [top];
  });
}

/**
 * A repository's own page: the address of anything in it, as far as its name goes.
 * @param {import('./github.js').Overview} told
 */
function addressOf({ nameWithOwner, pulls, issues, runs }) {
  for (const { url } of [...pulls, ...issues, ...runs]) {
    const at = url.indexOf(`/${nameWithOwner}/`);
    if (at > 0) return url.slice(0, at + nameWithOwner.length + 1);
  }
  return `https://github.com/${nameWithOwner}`;
}

/**
 * @param {string} repo
 * @param {import('./github.js').Overview} told
 * @param {ReadonlySet<string>} collapsed
 * @param {number} now
 * @returns {GithubRow[]}
 */
function sectionRows(repo, told, collapsed, now) {
  // A folder that gh knows nothing of has three empty lists, which would only hide the reason.
  const shown = kSections.filter(({ id }) => told[id].length > 0 || !told.error);
  return shown.flatMap(({ id, title }, at) => {
    const key = rowKey(repo, id);
    const expanded = !collapsed.has(key);
    const full = told[id].length >= MOST[id];
    /** @type {GithubRow} */
    const top = {
      ...row(key, title, true, expanded, 1, at, shown.length),
      repo,
      section: id,
      words: full ? `the newest ${MOST[id]} at most` : '',
      url: '',
      count: `${told[id].length}${full ? '+' : ''}`,
    };
    return expanded ? [top, ...itemRows(repo, id, told, now)] : [top];
  });
}

/**
 * @param {string} repo
 * @param {SectionId} section
 * @param {import('./github.js').Overview} told
 * @param {number} now
 * @returns {GithubRow[]}
 */
function itemRows(repo, section, { pulls, issues, runs }, now) {
  const make = {
    pulls: () => pulls.map((pull) => pullRow(pull, now)),
    issues: () => issues.map((issue) => issueRow(issue, now)),
    runs: () => runs.map((run) => runRow(run, now)),
  };
  const cells = make[section]();
  return cells.map(({ id, name, ...cell }, at) => ({
    ...row(rowKey(repo, section, String(id)), name, false, false, 2, at, cells.length),
    repo,
    section,
    ...cell,
  }));
}

/** @param {import('./githubitems.js').Pull} pull @param {number} now */
function pullRow(pull, now) {
  const { number, title, author, branch, url, checks, review, updated } = pull;
  const state = stateWords(pull);
  const summary = checksSummary(checks);
  const words = [author, branch, state === 'open' ? '' : state, reviewWords(review), summary.words, agoWords(updated, now)];
  return { id: number, name: `#${number} ${title}`, words: joined(words), url, pull, outcome: summary.outcome };
}

/** @param {import('./githubitems.js').Issue} issue @param {number} now */
function issueRow(issue, now) {
  const { number, title, author, url, comments, labels, updated } = issue;
  const talk = comments === 1 ? '1 comment' : comments ? `${comments} comments` : '';
  return { id: number, name: `#${number} ${title}`, words: joined([author, ...labels, talk, agoWords(updated, now)]), url, issue };
}

/** @param {import('./githubitems.js').Run} run @param {number} now */
function runRow(run, now) {
  const { id, title, workflow, branch, event, url, outcome, words, updated } = run;
  return { id, name: title, words: joined([workflow, branch, event, words, agoWords(updated, now)]), url, run, outcome };
}

/** @param {string[]} words */
const joined = (words) => words.filter(Boolean).join(', ');

/**
 * @param {string} path
 * @param {string} name
 * @param {boolean} directory
 * @param {boolean} expanded
 * @param {number} depth
 * @param {number} at
 * @param {number} siblings
 */
function row(path, name, directory, expanded, depth, at, siblings) {
  return { kind: /** @type {const} */ ('entry'), path, name, directory, expanded, depth, position: at + 1, siblings };
}
