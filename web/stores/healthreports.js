// How the parts of the program that can be cut or missing are, in words: pure readings of what the bridge
// tells.

import { kIndexLimit } from './indexstats.js';

/**
 * @typedef {'ok' | 'busy' | 'warning' | 'error' | 'unknown'} Health
 * @typedef {{health: Health, words: string, detail?: string}} Report
 */

/**
 * @param {import('./indexstats.js').IndexStats | null} stats
 * @param {number} found files that a running scan has found so far
 * @returns {Report}
 */
export function indexReport(stats, found) {
  if (!stats) return { health: 'unknown', words: 'Nothing is known of the list of files.' };
  const files = stats.files.toLocaleString('en');
  if (stats.scanning) {
    const soFar = found ? ` ${found.toLocaleString('en')} files so far.` : '';
    return {
      health: 'busy',
      words: `All files are being listed.${soFar}`,
      detail: `Until then searches read the folders themselves; the former list has ${files} files.`,
    };
  }
  const words = `${files} ${stats.files === 1 ? 'file' : 'files'}, listed in ${seconds(stats.seconds)}.`;
  if (!stats.truncated) return { health: 'ok', words };
  return {
    health: 'warning',
    words: `${words} The list was cut.`,
    detail:
      `No more than ${kIndexLimit.toLocaleString('en')} files are listed; others are found neither by name nor ` +
      'by text. Open the folders that are worked in, instead of one that holds them all.',
  };
}

/** @param {number} value */
function seconds(value) {
  return value < 0.1 ? 'less than 0.1 s' : `${value.toFixed(1)} s`;
}

/**
 * @typedef {{at: Date, count: number, told: number}} Batch of changes on disk: `told` of `count` paths came
 *
 * @param {Batch | null} last
 * @param {number} cutBatches how many since the start told only some of their paths
 * @returns {Report}
 */
export function watcherReport(last, cutBatches) {
  const limits =
    'At most 50,000 folders are watched, and a system may allow fewer; the watcher does not tell. ' +
    'When a change on disk is not noticed, scan again.';
  if (!last)
    return {
      health: 'unknown',
      words: 'No change on disk was told of since the page was loaded.',
      detail: limits,
    };
  const paths = `${last.count.toLocaleString('en')} ${last.count === 1 ? 'path' : 'paths'}`;
  const words = `The last changes on disk came at ${clock(last.at)}: ${paths}.`;
  const cut = cutBatches
    ? ` ${cutBatches} times more paths changed than are told by name; all that is in view was read again.`
    : '';
  return { health: 'ok', words, detail: limits + cut };
}

/** @param {Date} time */
export function clock(time) {
  return time.toLocaleTimeString([], { hour12: false });
}

/**
 * @param {import('../bridge/events.js').LinkState} link
 * @param {number} gapMs of the last gap; 0 when there was none
 * @returns {Report}
 */
export function linkReport(link, gapMs) {
  if (link === 'down')
    return { health: 'error', words: 'The link to the editor is down; it is tried again and again.' };
  if (link === 'connecting') return { health: 'busy', words: 'The link to the editor is being made.' };
  if (!gapMs) return { health: 'ok', words: 'The link to the editor was up all the time.' };
  return {
    health: 'ok',
    words: `The link is up. Its last gap was ${seconds(gapMs / 1000)}; everything was read again after it.`,
  };
}

/** @param {any} answer of claude/auth */
export function claudeReport({ known, loggedIn, email, subscription }) {
  if (!known) return report('warning', 'The Claude CLI is there, but did not say who is signed in.');
  if (!loggedIn) return report('warning', 'The Claude CLI is there. Nobody is signed in.');
  return report('ok', `Signed in${email ? ` as ${email}` : ''}${subscription ? `, ${subscription}` : ''}.`);
}

/** @param {any} answer of git/status */
export function gitReport({ gitAvailable, repos }) {
  if (!gitAvailable) return report('error', 'git was not found on PATH.');
  const list = Array.isArray(repos) ? repos : [];
  const failed = list.filter(({ error }) => error);
  if (failed.length) return report('warning', failed.map(({ name, error }) => `${name}: ${error}`).join(' '));
  if (list.length === 0) return report('ok', 'git is there; no folder is in a repository.');
  return report('ok', list.length === 1 ? '1 repository.' : `${list.length} repositories.`);
}

/** @param {any} answer of github/status */
export function githubReport({ installed, authenticated, version, account, message }) {
  if (!installed) return report('warning', message || 'gh was not found.');
  if (!authenticated) return report('warning', message || `gh ${version} is there. Nobody is signed in.`);
  return report('ok', `gh ${version}${account ? `, signed in as ${account}` : ''}.`);
}

/** @param {any} answer of lsp/servers */
export function serversReport({ servers }) {
  const list = Array.isArray(servers) ? servers : [];
  const there = list.filter(({ available }) => available);
  const running = list.filter((server) => server.running).map(({ name }) => name);
  const busy = running.length ? `; running: ${running.join(', ')}` : '';
  const words = `${there.length} of ${list.length} known language servers are installed${busy}.`;
  return {
    ...report(there.length ? 'ok' : 'warning', words),
    detail: there.map(({ name, path }) => `${name}: ${path}`).join('\n'),
  };
}

/** @param {any} answer of update */
export function updateReport({ state, currentVersion, version, error, lastCheck }) {
  if (!currentVersion) return report('unknown', 'This build does not update itself.');
  const checked = lastCheck ? ` Last looked for one ${new Date(lastCheck * 1000).toLocaleString()}.` : '';
  if (state === 'failed') return report('error', `${error || 'the update failed'}${checked}`);
  if (version && version !== currentVersion)
    return report('ok', `Version ${currentVersion}; ${version} is there.${checked}`);
  return report('ok', `Version ${currentVersion}.${checked}`);
}

/**
 * @param {Health} health
 * @param {string} words
 * @returns {Report}
 */
function report(health, words) {
  return { health, words };
}
