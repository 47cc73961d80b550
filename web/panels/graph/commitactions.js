// What can be done with a commit of the history.

import { ask, prompt } from '../../shell/dialogs.js';
import { toast } from '../../shell/toasts.js';
import { checkout, merge } from '../../stores/gitactions.js';
import { actGit } from '../../stores/gitexec.js';
import { refFault } from '../../stores/gitrefs.js';
import { told } from './outcome.js';

/**
 * @typedef {import('../../stores/gitstatus.js').Repo} Repo
 * @typedef {import('../../stores/graphmodel.js').GraphCommit} GraphCommit
 * @typedef {import('../../stores/graphmodel.js').Ref} Ref
 */

/** Where new commits go. @param {Repo} repo */
export const placeOf = ({ detached, branch }) => (detached ? 'the current commit' : branch);

/**
 * @param {string} title
 * @param {string} text
 * @param {string} button
 * @param {string} [detail]
 * @param {'primary' | 'danger'} [kind]
 */
export async function sure(title, text, button, detail, kind = 'primary') {
  const answer = await ask({
    title,
    text,
    detail,
    buttons: [
      { id: 'yes', label: button, kind },
      { id: 'cancel', label: 'Cancel' },
    ],
  });
  return answer === 'yes';
}

/** @param {GraphCommit} commit */
const lineOf = ({ short, subject, author }) => `${short} ${subject}\n${author}`;

/**
 * The bridge gives names to git as they are, and git takes such a one for an option.
 * @param {string} name
 */
function mustBeName(name) {
  if (name.startsWith('-')) throw new Error(`git takes a name that begins with a dash for an option: ${name}`);
  return name;
}

/**
 * @param {Repo} repo
 * @param {string} branch
 */
export function switchTo(repo, branch) {
  return told({
    repo,
    tried: `switch to ${branch}`,
    done: `Switched to ${branch}`,
    work: async () => checkout(repo, mustBeName(branch), false),
  });
}

/** @param {Repo} repo @param {GraphCommit} commit */
export async function checkOutCommit(repo, commit) {
  const { hash, short } = commit;
  const where = `The files become those of ${short}, and the head leaves ${placeOf(repo)}.`;
  const text = `${where} Commits that are made then are on no branch until one is created.`;
  if (!(await sure(`Check out ${short}?`, text, 'Check Out', lineOf(commit)))) return;
  await told({
    repo,
    tried: `check out ${short}`,
    done: `Checked out ${short}`,
    work: () => actGit(repo, ['checkout', '--detach', hash], `Check out ${short}`),
  });
}

/**
 * @param {Repo} repo
 * @param {{hash: string, short: string}} commit
 * @param {readonly Ref[]} refs
 */
export async function branchHere(repo, { hash, short }, refs) {
  const typed = await prompt({
    title: 'Create Branch',
    label: `Name of the branch, which begins at ${short}`,
    validate: (value) => refFault(value.trim(), 'branch', refs),
    button: 'Create Branch',
  });
  const name = typed?.trim();
  if (!name) return;
  await told({
    repo,
    tried: `create ${name}`,
    done: `Created ${name} at ${short}`,
    work: () => actGit(repo, ['branch', '--no-track', '--', name, hash], `Create ${name}`),
    actions: [{ label: `Switch to ${name}`, run: () => switchTo(repo, name) }],
  });
}

/**
 * @param {Repo} repo
 * @param {{hash: string, short: string}} commit
 * @param {readonly Ref[]} refs
 */
export async function tagHere(repo, { hash, short }, refs) {
  const typed = await prompt({
    title: 'Create Tag',
    label: `Name of the tag at ${short}`,
    validate: (value) => refFault(value.trim(), 'tag', refs),
    button: 'Next',
  });
  const name = typed?.trim();
  if (!name) return;
  const message = await prompt({
    title: `Create Tag ${name}`,
    label: 'Message; without one the tag is only a name',
    button: 'Create Tag',
  });
  if (message === null) return;
  const words = message.trim() ? ['--annotate', `--message=${message.trim()}`] : ['--no-sign'];
  await told({
    repo,
    tried: `create the tag ${name}`,
    done: `Created the tag ${name} at ${short}`,
    work: () => actGit(repo, ['tag', ...words, '--', name, hash], `Create the tag ${name}`),
  });
}

/** @param {Repo} repo @param {GraphCommit} commit */
export async function cherryPick(repo, commit) {
  const { hash, short, parents } = commit;
  const merged = parents.length > 1;
  const what = merged ? 'What this merge brought in becomes one commit' : 'The change becomes a new commit';
  if (!(await sure(`Cherry-pick ${short}?`, `${what} on ${placeOf(repo)}.`, 'Cherry-Pick', lineOf(commit)))) return;
  await told({
    repo,
    tried: `cherry-pick ${short}`,
    done: `Cherry-picked ${short}`,
    stopper: 'cherry-pick',
    work: () => actGit(repo, ['cherry-pick', ...(merged ? ['--mainline=1'] : []), hash], `Cherry-pick ${short}`),
  });
}

/** @param {Repo} repo @param {GraphCommit} commit */
export async function revertCommit(repo, commit) {
  const { hash, short, parents } = commit;
  const merged = parents.length > 1;
  const what = merged ? 'What this merge brought in is' : 'The change is';
  const text = `${what} taken back by a new commit on ${placeOf(repo)}. The commit itself stays in the history.`;
  if (!(await sure(`Revert ${short}?`, text, 'Revert', lineOf(commit)))) return;
  await told({
    repo,
    tried: `revert ${short}`,
    done: `Reverted ${short}`,
    stopper: 'revert',
    work: () => actGit(repo, ['revert', '--no-edit', ...(merged ? ['--mainline=1'] : []), hash], `Revert ${short}`),
  });
}

/**
 * @param {Repo} repo
 * @param {string} name of a branch, or a hash
 * @param {string} [detail]
 */
export async function mergeInto(repo, name, detail) {
  const into = placeOf(repo);
  const text = `Its commits come into ${into}, by a new commit where the two have parted.`;
  if (!(await sure(`Merge ${name} into ${into}?`, text, 'Merge', detail))) return;
  await told({
    repo,
    tried: `merge ${name} into ${into}`,
    done: `Merged ${name} into ${into}`,
    work: async () => merge(repo, mustBeName(name)),
  });
}

/** @param {string} text @param {string} what */
export async function copyText(text, what) {
  await navigator.clipboard.writeText(text);
  toast({ kind: 'info', text: `Copied ${what}` });
}
