// What can be done with what GitHub has: open it, check it out, sign in.

import { openPage } from '../../editor/tabactions.js';
import { call } from '../../bridge/api.js';
import { ask } from '../../shell/dialogs.js';
import { pick } from '../../shell/quickpick.js';
import { reportError, toast } from '../../shell/toasts.js';
import { navigate } from '../../stores/browser.js';
import { refreshGit, repos } from '../../stores/git.js';
import { overviews } from '../../stores/github.js';
import { checkOutPull, pullArg, pullOfArg } from '../../stores/pull.js';
import { frontTerminal, typeInto } from '../../stores/terminals.js';
import { openTerminal } from '../terminal/actions.js';
import { fold, collapsed } from './state.js';

/** @typedef {import('../../stores/githubrows.js').GithubRow} GithubRow */

/** @param {string} url */
export async function openOutside(url) {
  try {
    await call('github/open', { url });
  } catch (error) {
    reportError(`Could not open ${url}`, error);
  }
}

/** @param {string} url */
export async function openInPane(url) {
  openPage('browser', '');
  try {
    await navigate(url);
  } catch (error) {
    reportError(`Could not open ${url}`, error);
  }
}

/**
 * @param {string} repo name of the root
 * @param {number} number
 * @param {{preview?: boolean, focus?: boolean}} [options]
 */
export function openPull(repo, number, options = {}) {
  openPage('pull', pullArg(repo, number), options);
}

/**
 * Shows what a row stands for, or folds and unfolds what holds others.
 * @param {GithubRow} row
 * @param {{preview?: boolean, focus?: boolean}} [options]
 */
export function activate(row, options = {}) {
  if (row.pull) return openPull(row.repo, row.pull.number, options);
  if (row.directory) return fold(row.path, !collapsed.value.has(row.path));
  return row.url ? openOutside(row.url) : undefined;
}

/** Begins to sign in where the questions of gh can be answered. */
export async function signIn() {
  const before = frontTerminal.value?.key;
  await openTerminal();
  const terminal = frontTerminal.value;
  if (terminal && terminal.key !== before) typeInto(terminal.key, 'gh auth login\r');
}

/** One of the pull requests that are known, by typing. */
export async function choosePull() {
  const items = [...overviews.value.values()].flatMap(({ name, pulls }) =>
    pulls.map(({ number, title, author }) => ({
      id: pullArg(name, number),
      label: `#${number} ${title}`,
      description: [overviews.value.size > 1 ? name : '', author].filter(Boolean).join(', '),
    })),
  );
  const chosen = await pick({
    title: 'Open Pull Request',
    placeholder: 'Number, title or author of a pull request',
    items,
    empty: 'No pull request fits.',
  });
  if (!chosen) return;
  const { repo, number } = pullOfArg(chosen.id);
  openPull(repo, number);
}

/**
 * Switches to the branch of a pull request, after a question where files are changed.
 * @param {string} arg
 */
export async function checkOut(arg) {
  const { repo: name, number } = pullOfArg(arg);
  const changed = repos.value.find((repo) => repo.name === name)?.files.length ?? 0;
  if (changed > 0 && !(await mayCheckOut(number, changed))) return;
  try {
    await checkOutPull(arg);
    toast({ kind: 'info', text: `Checked out #${number}` });
  } catch (error) {
    reportError(`Could not check out #${number}`, error);
  }
  await refreshGit();
}

/** @param {number} number @param {number} changed */
async function mayCheckOut(number, changed) {
  const files = changed === 1 ? '1 file is' : `${changed} files are`;
  const answer = await ask({
    title: `Check out #${number} with changes in the working tree?`,
    text: `${files} not committed. Git carries them along where it can, and refuses where the branch changes them too.`,
    buttons: [
      { id: 'go', label: `Check Out #${number}`, kind: 'primary' },
      { id: 'cancel', label: 'Cancel' },
    ],
  });
  return answer === 'go';
}
