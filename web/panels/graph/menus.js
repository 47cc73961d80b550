// The menus of the history: of a commit, of a branch or tag, of a stash, of a file of a commit.

import { openDiff } from '../../editor/diff.js';
import { openFile } from '../../editor/tabactions.js';
import { showMenu } from '../../shell/menus.js';
import { followerOf } from '../../stores/gitactions.js';
import { diffIn, diffWith } from '../../stores/gitdiffs.js';
import { idOf, isOutside } from '../../stores/gitstatus.js';
import { isStash } from '../../stores/graphmodel.js';
import { roots } from '../../stores/settings.js';
import { showFileHistory } from '../history/actions.js';
import {
  branchHere,
  checkOutCommit,
  cherryPick,
  copyText,
  mergeInto,
  placeOf,
  revertCommit,
  switchTo,
  tagHere,
} from './commitactions.js';
import { deleteBranch, deleteTag, publishBranch, rebaseOnto, renameBranch } from './refactions.js';
import { stashActions } from './stashactions.js';

/**
 * @typedef {import('../../stores/graph.js').GraphStore} GraphStore
 * @typedef {import('../../stores/graphmodel.js').GraphCommit} GraphCommit
 * @typedef {import('../../stores/graphmodel.js').Ref} Ref
 * @typedef {import('../../stores/gitstatus.js').Repo} Repo
 * @typedef {import('../../stores/historystash.js').Stash} Stash
 * @typedef {import('../../stores/historydetail.js').CommitFile} CommitFile
 * @typedef {import('../../stores/historydetail.js').CommitDetail} CommitDetail
 * @typedef {import('../../shell/menus.js').MenuItem} MenuItem
 */

const kSeparator = { kind: /** @type {const} */ ('separator') };

/**
 * @param {number} x
 * @param {number} y
 * @param {GraphStore} store
 * @param {GraphCommit} commit
 */
export function showCommitMenu(x, y, store, commit) {
  const { repo } = store;
  if (!repo) return;
  const stash = isStash(commit) && store.stashes.value.find(({ hash }) => hash === commit.hash);
  const items = stash ? stashItems(repo, stash, store) : commitItems(repo, commit, store.graph.value?.refs ?? []);
  void showMenu({ x, y, label: 'Commit', items: [...items, kSeparator, ...copyItems(commit)] });
}

/**
 * @param {Repo} repo
 * @param {GraphCommit} commit
 * @param {readonly Ref[]} refs
 * @returns {MenuItem[]}
 */
function commitItems(repo, commit, refs) {
  const { hash, short } = commit;
  const here = refs.filter((ref) => ref.hash === hash);
  const place = placeOf(repo);
  return [
    ...switchItems(repo, here),
    { label: 'Check Out This Commit…', run: () => checkOutCommit(repo, commit) },
    kSeparator,
    { label: 'Create Branch Here…', run: () => branchHere(repo, commit, refs) },
    { label: 'Create Tag Here…', run: () => tagHere(repo, commit, refs) },
    kSeparator,
    { label: `Cherry-Pick onto ${place}…`, run: () => cherryPick(repo, commit) },
    { label: `Revert on ${place}…`, run: () => revertCommit(repo, commit) },
    { label: `Merge into ${place}…`, run: () => mergeInto(repo, hash, `${short} ${commit.subject}`) },
    { label: `Rebase ${place} onto It…`, run: () => rebaseOnto(repo, short, hash) },
  ];
}

/**
 * @param {Repo} repo
 * @param {readonly Ref[]} here
 * @returns {MenuItem[]}
 */
function switchItems(repo, here) {
  return here
    .filter(({ kind, current }) => kind !== 'tag' && !current)
    .map((ref) => {
      const branch = ref.kind === 'remote' ? followerOf(ref.name) : ref.name;
      const from = ref.kind === 'remote' ? ` from ${ref.name}` : '';
      return { label: `Switch to ${branch}${from}`, run: () => switchTo(repo, branch) };
    });
}

/** @param {GraphCommit} commit @returns {MenuItem[]} */
const copyItems = ({ hash, subject }) => [
  { label: 'Copy Hash', run: () => copyText(hash, hash) },
  { label: 'Copy Subject', run: () => copyText(subject, 'the subject') },
];

/**
 * @param {Repo} repo
 * @param {Stash} stash
 * @param {GraphStore} store
 * @returns {MenuItem[]}
 */
const stashItems = (repo, stash, store) => stashActions(repo, stash, ({ hash }) => store.reveal(hash));

/**
 * @param {number} x
 * @param {number} y
 * @param {GraphStore} store
 * @param {{ref?: Ref, stash?: Stash}} row
 */
export function showRefMenu(x, y, store, { ref, stash }) {
  const { repo } = store;
  if (!repo || (!ref && !stash)) return;
  const items = ref ? refItems(repo, ref, store) : stashItems(repo, /** @type {Stash} */ (stash), store);
  void showMenu({ x, y, label: ref ? ref.name : 'Stash', items });
}

/**
 * @param {Repo} repo
 * @param {Ref} ref
 * @param {GraphStore} store
 * @returns {MenuItem[]}
 */
function refItems(repo, ref, store) {
  const refs = store.graph.value?.refs ?? [];
  const { kind, current, name, hash, fullName } = ref;
  const short = hash.slice(0, 7);
  const place = placeOf(repo);
  const only = store.filter.value.ref === hash;
  /** @type {MenuItem[]} */
  const moving = current
    ? []
    : [
        ...switchItems(repo, [ref]),
        kSeparator,
        { label: `Merge into ${place}…`, run: () => mergeInto(repo, name) },
        { label: `Rebase ${place} onto It…`, run: () => rebaseOnto(repo, name, fullName) },
      ];
  return [
    ...moving,
    kSeparator,
    { label: 'Show Only Its History', checked: only, run: () => store.sift({ ref: only ? '' : hash }) },
    { label: 'Create Branch Here…', run: () => branchHere(repo, { hash, short }, refs) },
    { label: 'Create Tag Here…', run: () => tagHere(repo, { hash, short }, refs) },
    kSeparator,
    ...(kind === 'local' ? localItems(repo, ref, refs) : []),
    ...(kind === 'tag' ? [{ label: 'Delete Tag…', run: () => deleteTag(repo, ref) }] : []),
    kSeparator,
    { label: 'Copy Name', run: () => copyText(name, name) },
  ];
}

/**
 * @param {Repo} repo
 * @param {Ref} ref
 * @param {readonly Ref[]} refs
 * @returns {MenuItem[]}
 */
const localItems = (repo, ref, refs) => [
  ...(ref.upstream ? [] : [{ label: 'Publish…', run: () => publishBranch(repo, ref, refs) }]),
  { label: 'Rename Branch…', run: () => renameBranch(repo, ref, refs) },
  { label: 'Delete Branch…', run: () => deleteBranch(repo, ref), enabled: !ref.current },
];

/**
 * Shows what a commit did to a file.
 * @param {Repo} repo
 * @param {CommitDetail} detail
 * @param {CommitFile} file
 * @param {{preview?: boolean, focus?: boolean}} [options]
 */
export function openCommitFile(repo, detail, file, options) {
  const kind = diffIn({ hash: detail.hash, parent: detail.parents[0] ?? '', old: file.oldPath });
  openDiff(idOf(roots.value, repo, file.path), kind, options);
}

/**
 * @param {number} x
 * @param {number} y
 * @param {Repo} repo
 * @param {CommitDetail} detail
 * @param {CommitFile} file
 */
export function showFileMenu(x, y, repo, detail, file) {
  const id = idOf(roots.value, repo, file.path);
  const items = [
    { label: 'Open Changes', run: () => openCommitFile(repo, detail, file) },
    { label: 'Compare with the File as It Is', run: () => openDiff(id, diffWith(detail.hash)), enabled: file.status !== 'D' },
    { label: 'Open File', run: () => openFile(id), enabled: !isOutside(id) },
    { label: 'Show File History', run: () => showFileHistory(repo, file.path) },
    kSeparator,
    { label: 'Copy Path', run: () => copyText(`${repo.root}/${file.path}`, file.path) },
  ];
  void showMenu({ x, y, label: file.path, items });
}
