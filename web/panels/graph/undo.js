// Undoing by git's own notes of where a branch has been, and stopping what stands half-way.

import { ask } from '../../shell/dialogs.js';
import { pick } from '../../shell/quickpick.js';
import { toast } from '../../shell/toasts.js';
import { actGit, GitError, readGit } from '../../stores/gitexec.js';
import { goBack, listBetween, listEntries, readEntries, someLines } from '../../stores/historyreflog.js';
import { ago } from '../../stores/historytime.js';
import { tried } from '../scm/work.js';
import { branchHere, placeOf, sure } from './commitactions.js';
import { abortIt, told } from './outcome.js';

/**
 * @typedef {import('../../stores/gitstatus.js').Repo} Repo
 * @typedef {import('../../stores/historyreflog.js').LogEntry} LogEntry
 */

/**
 * The notes of the current branch, as those of the head change branches in between.
 * @param {Repo} repo
 */
export async function undoByLog(repo) {
  await tried(`read where ${placeOf(repo)} has been`, async () => {
    const branch = repo.detached ? '' : repo.branch;
    const entries = readEntries(await readGit(repo, listEntries(branch), 'Read the reflog'));
    const chosen = await pick({
      title: `Where ${placeOf(repo)} has been`,
      placeholder: 'Go back to before which step?',
      items: entries.map(({ words, hash, time }, at) => ({
        id: String(at),
        label: words,
        description: `${hash.slice(0, 7)} · ${ago(time)}`,
        icon: 'history',
      })),
      empty: 'Git has noted nothing yet',
    });
    const entry = chosen && entries[Number(chosen.id)];
    if (entry) await offer(repo, entry);
  });
}

/** @param {Repo} repo @param {LogEntry} entry */
async function offer(repo, entry) {
  const { before, words, movesBranch, hash } = entry;
  const mayGoBack = movesBranch && before !== '';
  const [lost, found] = mayGoBack ? await bothWays(repo, before) : [[], []];
  const answer = await ask({
    title: mayGoBack ? `Go back to before "${words}"?` : words,
    text: mayGoBack ? backWords(repo, before, lost.length) : onlyWords(entry),
    detail: [
      ...(lost.length ? ['Commits that leave the branch:', ...lost] : []),
      ...(found.length ? ['Commits that come back:', ...found] : []),
    ].join('\n'),
    buttons: [
      ...(mayGoBack ? [{ id: 'back', label: 'Go Back', kind: /** @type {const} */ ('danger') }] : []),
      { id: 'branch', label: 'Create a Branch There…' },
      { id: 'cancel', label: 'Cancel' },
    ],
  });
  if (answer === 'back') await back(repo, before);
  if (answer === 'branch') await branchHere(repo, { hash, short: hash.slice(0, 7) }, []);
}

/** @param {LogEntry} entry */
const onlyWords = ({ movesBranch }) =>
  movesBranch
    ? 'Git has noted nothing before this step.'
    : 'This step changed branches. Switch to the other branch to undo it.';

/** @param {Repo} repo @param {string} before @param {number} lost */
function backWords(repo, before, lost) {
  const rest = lost
    ? 'Commits that leave it are on no branch then; git keeps them for some weeks, and this list brings them back.'
    : 'No commit is lost by it.';
  return [
    `${placeOf(repo)} moves to ${before.slice(0, 7)}, and the files with it.`,
    'Changes that are not committed stay; git refuses where they would be overwritten.',
    rest,
  ].join(' ');
}

/**
 * What leaves the branch, and what comes back.
 * @param {Repo} repo
 * @param {string} before
 */
function bothWays(repo, before) {
  const between = async (/** @type {string} */ from, /** @type {string} */ to) =>
    someLines(await readGit(repo, listBetween(from, to), 'Compare'));
  return Promise.all([between(before, 'HEAD'), between('HEAD', before)]);
}

/** @param {Repo} repo @param {string} before */
function back(repo, before) {
  return told({
    repo,
    tried: `go back to ${before.slice(0, 7)}`,
    done: `${placeOf(repo)} is at ${before.slice(0, 7)} again`,
    work: () => actGit(repo, goBack(before), 'Go back'),
  });
}

/** What may stand half-way, with the reference that says so. @type {[import('./outcome.js').Stopper | 'rebase', string][]} */
const kHalfWay = [
  ['rebase', 'REBASE_HEAD'],
  ['merge', 'MERGE_HEAD'],
  ['cherry-pick', 'CHERRY_PICK_HEAD'],
  ['revert', 'REVERT_HEAD'],
];

/** @param {Repo} repo */
export async function abortUnderWay(repo) {
  await tried(`look what is under way in ${repo.name}`, async () => {
    const what = await underWay(repo);
    if (!what) return void toast({ kind: 'info', text: `Nothing is under way in ${repo.name}` });
    const text = `The files and ${placeOf(repo)} become as they were before it. What was resolved since is lost.`;
    if (await sure(`Abort the ${what}?`, text, `Abort the ${what}`, undefined, 'danger')) await abortIt(repo, what);
  });
}

/** @param {Repo} repo */
async function underWay(repo) {
  for (const [what, ref] of kHalfWay) {
    try {
      await readGit(repo, ['rev-parse', '--quiet', '--verify', ref], 'Look what is under way');
      return what;
    } catch (error) {
      if (!(error instanceof GitError)) throw error; // git says by its code that there is none
    }
  }
  return null;
}
