// What can be done with a branch, a remote's branch or a tag.

import { ask, prompt } from '../../shell/dialogs.js';
import { push } from '../../stores/gitactions.js';
import { actGit, GitError, gitLine, readGit } from '../../stores/gitexec.js';
import { refFault } from '../../stores/gitrefs.js';
import { listBetween, someLines } from '../../stores/historyreflog.js';
import { frontTerminal, typeInto } from '../../stores/terminals.js';
import { openTerminal } from '../terminal/actions.js';
import { tried } from '../scm/work.js';
import { placeOf, sure } from './commitactions.js';
import { told } from './outcome.js';

/**
 * @typedef {import('../../stores/gitstatus.js').Repo} Repo
 * @typedef {import('../../stores/graphmodel.js').Ref} Ref
 */

/** @param {Repo} repo @param {Ref} ref @param {readonly Ref[]} refs */
export async function renameBranch(repo, { name }, refs) {
  const typed = await prompt({
    title: `Rename ${name}`,
    label: 'New name of the branch. Its name on a remote stays as it is.',
    value: name,
    validate: (value) => (value.trim() === name ? '' : refFault(value.trim(), 'branch', refs)),
    button: 'Rename',
  });
  const to = typed?.trim();
  if (!to || to === name) return;
  await told({
    repo,
    tried: `rename ${name} to ${to}`,
    done: `Renamed ${name} to ${to}`,
    work: () => actGit(repo, ['branch', '--move', '--', name, to], `Rename ${name}`),
  });
}

/**
 * Git deletes a branch that is merged; for another one, what would be left without a name is shown first.
 * @param {Repo} repo
 * @param {Ref} ref
 */
export async function deleteBranch(repo, { name, fullName }) {
  const text = 'Its commits stay as long as another branch or tag has them. The branch on a remote stays as it is.';
  if (!(await sure(`Delete ${name}?`, text, 'Delete Branch', undefined, 'danger'))) return;
  const remove = (/** @type {string} */ how) => actGit(repo, ['branch', how, '--', name], `Delete ${name}`);
  await told({
    repo,
    tried: `delete ${name}`,
    done: `Deleted ${name}`,
    work: async () => {
      try {
        return await remove('--delete');
      } catch (error) {
        if (!(error instanceof GitError) || !/not fully merged/.test(error.err)) throw error;
        if (!(await mayLose(repo, name, fullName))) throw stayed();
        return remove('-D');
      }
    },
  });
}

/** What the user cancelled is not told as a failure. */
const stayed = () => new DOMException('The branch stays', 'AbortError');

/**
 * @param {Repo} repo
 * @param {string} name
 * @param {string} fullName
 */
async function mayLose(repo, name, fullName) {
  const lost = someLines(await readGit(repo, listBetween('HEAD', fullName), `Compare ${name}`));
  const text = `${name} is not merged into ${placeOf(repo)}. These commits are not in it, and may be in no other branch:`;
  return sure(`Delete ${name} although it is not merged?`, text, 'Delete Anyway', lost.join('\n'), 'danger');
}

/** @param {Repo} repo @param {Ref} ref */
export async function deleteTag(repo, { name, hash }) {
  const text = `It stands at ${hash.slice(0, 7)}. A tag on a remote stays as it is.`;
  if (!(await sure(`Delete the tag ${name}?`, text, 'Delete Tag', undefined, 'danger'))) return;
  await told({
    repo,
    tried: `delete the tag ${name}`,
    done: `Deleted the tag ${name}`,
    work: () => actGit(repo, ['tag', '--delete', '--', name], `Delete the tag ${name}`),
  });
}

/**
 * Pushes a branch that follows none yet, and lets it follow what it becomes.
 * @param {Repo} repo
 * @param {Ref} ref
 * @param {readonly Ref[]} refs
 */
export async function publishBranch(repo, ref, refs) {
  const { name, current, fullName } = ref;
  const remote = await whereTo(repo, name, refs);
  if (!remote) return;
  // The route pushes the current branch, to origin only.
  const byRoute = current && remote === 'origin';
  await told({
    repo,
    tried: `publish ${name}`,
    done: `Published ${name} on ${remote}`,
    work: () =>
      byRoute
        ? push(repo, { setUpstream: true })
        : actGit(repo, ['push', '--set-upstream', '--', remote, `${fullName}:${fullName}`], `Publish ${name}`),
  });
}

/**
 * @param {Repo} repo
 * @param {string} name
 * @param {readonly Ref[]} refs
 * @returns {Promise<string>} the name of a remote; "" for none
 */
async function whereTo(repo, name, refs) {
  let remotes = ['origin'];
  await tried(`list the remotes of ${repo.name}`, async () => {
    remotes = (await readGit(repo, ['remote'], 'List the remotes')).split('\n').filter(Boolean);
  });
  if (!remotes.length) {
    await ask({
      title: `${repo.name} has no remote`,
      text: 'Add one in a terminal, such as: git remote add origin <address>. Then publish again.',
      buttons: [{ id: 'ok', label: 'OK', kind: 'primary' }],
    });
    return '';
  }
  const taken = new Set(refs.filter(({ kind }) => kind === 'remote').map((ref) => ref.name));
  const first = remotes.includes('origin') ? ['origin'] : [];
  const shown = [...first, ...remotes.filter((one) => one !== 'origin')].slice(0, 4);
  const known = shown.filter((one) => taken.has(`${one}/${name}`));
  const answer = await ask({
    title: `Publish ${name}?`,
    text: `The branch has no upstream. It can be pushed, and follow ${name} there from now on.`,
    detail: known.map((one) => `${one} has a branch of that name already.`).join('\n') || undefined,
    buttons: [
      ...shown.map((one, at) => ({
        id: `to ${one}`,
        label: shown.length > 1 ? `Push to ${one} and Follow` : 'Push and Follow',
        ...(at === 0 && { kind: /** @type {const} */ ('primary') }),
      })),
      { id: 'cancel', label: 'Cancel' },
    ],
  });
  return answer?.startsWith('to ') ? answer.slice(3) : '';
}

/**
 * A rebase may stop at each commit, so it runs where the user can go on with it.
 * @param {Repo} repo
 * @param {string} name as it is told
 * @param {string} onto a full name, or a hash
 */
export async function rebaseOnto(repo, name, onto) {
  const text = [
    `The commits of ${placeOf(repo)} that ${name} does not have are written anew on top of it.`,
    'It runs in a terminal. Where it stops, go on there by git rebase --continue, or take it back by git rebase --abort.',
  ];
  if (!(await sure(`Rebase ${placeOf(repo)} onto ${name}?`, text.join(' '), 'Start in a Terminal'))) return;
  const before = frontTerminal.value?.key;
  await openTerminal();
  const key = frontTerminal.value?.key;
  if (key && key !== before) typeInto(key, `${gitLine(repo, ['rebase', onto])}\r`);
}
