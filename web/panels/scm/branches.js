// Branches and remotes: switching, creating, merging, and the exchange with where the others work.

import { get } from '../../bridge/api.js';
import { ask, prompt } from '../../shell/dialogs.js';
import { pick } from '../../shell/quickpick.js';
import { toast } from '../../shell/toasts.js';
import { repos } from '../../stores/git.js';
import {
  branches,
  checkout,
  fetchAll,
  followerOf,
  lacksUpstream,
  merge,
  pull,
  push,
} from '../../stores/gitactions.js';
import { refWords, pickable } from '../../stores/gitrefs.js';
import { readRefs } from '../../stores/graphmodel.js';
import { switchTo } from '../graph/commitactions.js';
import { publishBranch } from '../graph/refactions.js';
import { repoInFront } from './state.js';
import { tried } from './work.js';

/** @typedef {import('../../stores/git.js').Repo} Repo */
/** @typedef {import('../../shell/quickpick.js').PickItem} PickItem */

const kCreate = '+';
const kPublish = '^';

export const usable = () => repos.value.filter(({ isRepo }) => isRepo);

/**
 * The repository that a command is about: the given one, the only one, or the one that is chosen.
 * @param {Repo} [given]
 * @returns {Promise<Repo | null>}
 */
export async function whichRepo(given) {
  const all = usable();
  if (given || all.length < 2) return given ?? all[0] ?? null;
  const front = repoInFront.value;
  const chosen = await pick({
    title: 'Repositories',
    placeholder: 'Which repository?',
    items: all.map(({ name, branch }) => ({ id: name, label: name, description: branch })),
    active: front?.name,
  });
  return all.find(({ name }) => name === chosen?.id) ?? null;
}

/**
 * A command's work on the repository that it is about.
 * @param {(repo: Repo) => unknown} work
 */
export const onRepo = (work) => async (/** @type {Repo | undefined} */ given) => {
  const repo = await whichRepo(given);
  if (repo) await work(repo);
};

/**
 * The last line that git wrote says what came of it.
 * @param {string} words
 * @param {string} output
 */
function tell(words, output) {
  const last = output.trim().split('\n').at(-1)?.trim();
  toast({ kind: 'info', text: last ? `${words}: ${last}` : words, detail: output });
}

/** @param {Repo} repo */
export async function switchBranch(repo) {
  await tried(`list the branches of ${repo.name}`, async () => {
    const refs = readRefs(await get('git/graph', { repo: repo.name, limit: '1' }));
    const { local, remoteOnly } = pickable(refs);
    const current = refs.find((ref) => ref.current);
    const unpublished = current && !current.upstream;
    const chosen = await pick({
      title: `Branches of ${repo.name}`,
      placeholder: 'Switch to a branch, or create one',
      items: [
        { id: kCreate, label: 'Create Branch…', icon: 'add' },
        ...(unpublished ? [{ id: kPublish, label: `Publish ${current.name}…`, icon: 'cloud-upload' }] : []),
        ...local.map((ref) => refItem(ref, 'Branches')),
        ...remoteOnly.map((ref) => refItem(ref, 'Remote branches')),
      ],
      active: current?.fullName,
    });
    if (chosen?.id === kCreate) return createBranch(repo, local.map(({ name }) => name));
    if (chosen?.id === kPublish && current) return publishBranch(repo, current, refs);
    const ref = refs.find(({ fullName }) => fullName === chosen?.id);
    if (!ref || ref.current) return undefined;
    return switchTo(repo, ref.kind === 'remote' ? followerOf(ref.name) : ref.name);
  });
}

/**
 * A branch with how far it is from its upstream, and how old.
 * @param {import('../../stores/graphmodel.js').Ref} ref
 * @param {string} group
 * @returns {PickItem}
 */
const refItem = (ref, group) => ({
  id: ref.fullName,
  label: ref.name,
  icon: ref.kind === 'remote' ? 'cloud' : 'git-branch',
  group,
  description: refWords(ref),
});

/**
 * The branch that is chosen to compare a file with; '' for none.
 * @param {Repo} repo
 * @param {string} name of the file
 */
export async function chooseBranch(repo, name) {
  let branch = '';
  await tried(`list the branches of ${repo.name}`, async () => {
    const { local, remote } = await branches(repo);
    const chosen = await pick({
      title: `Compare ${name}`,
      placeholder: 'With which branch?',
      items: branchItems(local, remote, repo.branch),
      empty: 'There is no branch yet',
    });
    branch = chosen?.label ?? '';
  });
  return branch;
}

/**
 * @param {string[]} local
 * @param {string[]} remote
 * @param {string} current
 * @returns {PickItem[]}
 */
function branchItems(local, remote, current) {
  return [
    ...local.map((name) => ({
      id: `local ${name}`,
      label: name,
      icon: 'git-branch',
      group: 'Branches',
      description: name === current ? 'current' : '',
    })),
    ...remote.map((name) => ({ id: `remote ${name}`, label: name, icon: 'cloud', group: 'Remote branches' })),
  ];
}

/**
 * @param {Repo} repo
 * @param {string[]} [taken]
 */
export async function createBranch(repo, taken) {
  const names = taken ?? (await branches(repo)).local;
  const name = await prompt({
    title: 'Create Branch',
    label: `Name of the branch, which begins at ${repo.detached ? 'the current commit' : repo.branch}`,
    validate: (value) => branchFault(value.trim(), names),
    button: 'Create Branch',
  });
  if (name) await tried(`create ${name.trim()}`, () => checkout(repo, name.trim(), true));
}

/**
 * What can be seen to be wrong with a name; git knows more rules.
 * @param {string} name
 * @param {string[]} taken
 */
function branchFault(name, taken) {
  if (!name) return 'A branch needs a name';
  if (taken.includes(name)) return `There is a branch ${name} already`;
  if (/[\s~^:?*[\\]/.test(name)) return 'A name has no blanks and none of ~ ^ : ? * [ \\';
  return '';
}

/** @param {Repo} repo */
export async function mergeBranch(repo) {
  await tried(`list the branches of ${repo.name}`, async () => {
    const { local, remote } = await branches(repo);
    const others = repo.detached ? local : local.filter((name) => name !== repo.branch);
    const into = repo.detached ? 'the current commit' : repo.branch;
    const chosen = await pick({
      title: `Merge into ${into}`,
      placeholder: `Which branch is merged into ${into}?`,
      items: branchItems(others, remote, ''),
      empty: 'There is no other branch',
    });
    if (!chosen) return;
    await tried(`merge ${chosen.label} into ${into}`, async () => {
      tell(`Merged ${chosen.label} into ${into}`, await merge(repo, chosen.label));
    });
  });
}

/** @param {Repo} repo */
export async function pushBranch(repo) {
  const { name, branch, upstream, detached } = repo;
  const follow = !upstream && !detached;
  if (follow && !(await mayFollow(repo))) return;
  await tried(`push ${detached ? name : branch}`, async () => {
    tell(`Pushed ${branch}`, await pushed(repo, follow));
  });
}

/**
 * The upstream may have gone since the last status.
 * @param {Repo} repo
 * @param {boolean} follow
 */
async function pushed(repo, follow) {
  try {
    return await push(repo, { setUpstream: follow });
  } catch (error) {
    if (follow || repo.detached || !lacksUpstream(error) || !(await mayFollow(repo))) throw error;
    return push(repo, { setUpstream: true });
  }
}

/** @param {Repo} repo */
async function mayFollow({ branch }) {
  const answer = await ask({
    title: `Publish ${branch}?`,
    text: `The branch has no upstream. It can be pushed to origin, and follow ${branch} there from now on.`,
    buttons: [
      { id: 'publish', label: 'Push and Follow', kind: 'primary' },
      { id: 'cancel', label: 'Cancel' },
    ],
  });
  return answer === 'publish';
}

/** @param {Repo} repo */
export async function pullBranch(repo) {
  await tried(`pull ${repo.branch}`, async () => tell(`Pulled ${repo.branch}`, await pull(repo)));
}

/** @param {Repo} repo */
export async function fetchRepo(repo) {
  await tried(`fetch ${repo.name}`, async () => tell(`Fetched ${repo.name}`, await fetchAll(repo)));
}
