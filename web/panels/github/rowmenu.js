// The menu of a row of the GitHub panel.

import { showMenu } from '../../shell/menus.js';
import { pullArg } from '../../stores/pull.js';
import { activate, checkOut, openInPane, openOutside, openPull } from './actions.js';
import { lookOver } from './review.js';

/** @typedef {import('../../stores/githubrows.js').GithubRow} GithubRow */
/** @typedef {import('../../shell/menus.js').MenuItem} MenuItem */

/**
 * @param {number} x
 * @param {number} y
 * @param {GithubRow} row
 */
export function showRowMenu(x, y, row) {
  void showMenu({ x, y, label: 'GitHub', items: rowMenu(row) });
}

/**
 * @param {GithubRow} row
 * @returns {MenuItem[]}
 */
function rowMenu(row) {
  const separator = { kind: /** @type {const} */ ('separator') };
  return [
    ...(row.directory ? [{ label: row.expanded ? 'Fold' : 'Unfold', run: () => activate(row) }] : []),
    ...pullItems(row),
    separator,
    ...(row.url ? linkItems(row.url) : []),
    separator,
    { command: 'github.refresh' },
  ];
}

/**
 * @param {GithubRow} row
 * @returns {MenuItem[]}
 */
function pullItems({ repo, pull }) {
  if (!pull) return [];
  const arg = pullArg(repo, pull.number);
  return [
    { label: 'Open', run: () => openPull(repo, pull.number) },
    { label: 'Check Out…', run: () => checkOut(arg) },
    { label: 'Look It Over', run: () => (openPull(repo, pull.number), lookOver({ url: pull.url, arg })) },
  ];
}

/**
 * @param {string} url
 * @returns {MenuItem[]}
 */
function linkItems(url) {
  return [
    { label: 'Open in Browser', run: () => openOutside(url) },
    { label: 'Open in the Browser Pane', run: () => openInPane(url) },
    { label: 'Copy Link', run: () => navigator.clipboard.writeText(url) },
  ];
}
