// What came of a command of git: its words as they stand, and a way on where it stopped for conflicts.

import { showPanel } from '../../shell/layout.js';
import { ask } from '../../shell/dialogs.js';
import { reportError, toast } from '../../shell/toasts.js';
import { actGit, GitError } from '../../stores/gitexec.js';

/** @typedef {import('../../stores/gitstatus.js').Repo} Repo */

/** Commands that stop half-way, by the word that takes them back. @typedef {'cherry-pick' | 'revert' | 'merge'} Stopper */

/**
 * Does something and tells what came of it.
 * @param {object} what
 * @param {Repo} what.repo
 * @param {string} what.tried "cherry-pick 1a2b3c4"
 * @param {string} what.done "Cherry-picked 1a2b3c4"
 * @param {() => Promise<string>} what.work gives what git wrote
 * @param {Stopper} [what.stopper]
 * @param {import('../../shell/toasts.js').ToastAction[]} [what.actions]
 * @returns {Promise<boolean>} whether it was done
 */
export async function told({ repo, tried, done, work, stopper, actions }) {
  try {
    const output = await work();
    const last = output.trim().split('\n').at(-1)?.trim();
    toast({ kind: 'info', text: last ? `${done}: ${last}` : done, detail: output, actions });
    return true;
  } catch (error) {
    if (error instanceof GitError && error.conflict) await stopped(repo, tried, error, stopper);
    else reportError(`Could not ${tried}`, error);
    return false;
  }
}

/**
 * @param {Repo} repo
 * @param {string} tried
 * @param {GitError} error
 * @param {Stopper} [stopper]
 */
async function stopped(repo, tried, error, stopper) {
  const abort = stopper ? [{ id: 'abort', label: `Abort the ${words(stopper)}`, kind: /** @type {const} */ ('danger') }] : [];
  const answer = await ask({
    title: `Could not ${tried} without conflicts`,
    text: stopper
      ? 'Resolve the files in source control and commit, or abort and have everything as it was before.'
      : 'Resolve the files in source control.',
    detail: error.message,
    buttons: [{ id: 'resolve', label: 'Show the Conflicts', kind: 'primary' }, ...abort, { id: 'close', label: 'Close' }],
  });
  if (answer === 'resolve') showPanel('scm');
  if (answer === 'abort' && stopper) await abortIt(repo, stopper);
}

/** @param {Stopper} stopper */
const words = (stopper) => (stopper === 'cherry-pick' ? 'Cherry-Pick' : stopper === 'revert' ? 'Revert' : 'Merge');

/**
 * @param {Repo} repo
 * @param {Stopper | 'rebase'} what
 */
export function abortIt(repo, what) {
  return told({
    repo,
    tried: `abort the ${what}`,
    done: `Aborted the ${what}`,
    work: () => actGit(repo, [what, '--abort'], `Abort the ${what}`),
  });
}
