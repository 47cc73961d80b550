// Registers the history of repositories: its page and the commands on stashes, branches, tags and the reflog.

import { startBlame } from '../../editor/blame.js';
import { registerPage } from '../../editor/pages.js';
import { frontTab } from '../../editor/state.js';
import { openPage } from '../../editor/tabactions.js';
import { registerCommand } from '../../shell/commands.js';
import { pick } from '../../shell/quickpick.js';
import { get } from '../../bridge/api.js';
import { refWords } from '../../stores/gitrefs.js';
import { graphOf } from '../../stores/graph.js';
import { readRefs } from '../../stores/graphmodel.js';
import { pageOfId } from '../../stores/tabs.js';
import { onRepo, usable } from '../scm/branches.js';
import { tried } from '../scm/work.js';
import { tagHere } from './commitactions.js';
import { GraphPage } from './page.js';
import { deleteBranch, deleteTag, publishBranch, rebaseOnto, renameBranch } from './refactions.js';
import { chooseStash, stashChanges } from './stashactions.js';
import { loadGraphLook, repoNamed, toggleRefs } from './state.js';
import { chooseAuthor, choosePath, onlyMine } from './toolbar.js';
import { abortUnderWay, undoByLog } from './undo.js';

/**
 * @typedef {import('../../stores/gitstatus.js').Repo} Repo
 * @typedef {import('../../stores/graphmodel.js').Ref} Ref
 */

const hasRepo = () => usable().length > 0;

/** @type {[id: string, title: string, run: (repo: Repo) => unknown][]} */
const kCommands = [
  ['graph.show', 'Show History as a Graph', showGraph],
  ['graph.stash', 'Stash Changes…', stashChanges],
  ['graph.stashes', 'Stashes…', (repo) => chooseStash(repo, ({ hash }) => goToCommit(repo, hash))],
  ['graph.undo', 'Undo by Reflog…', undoByLog],
  ['graph.abort', 'Abort What Is Under Way…', abortUnderWay],
  ['graph.tag', 'Create Tag…', tagHead],
  ['graph.deleteTag', 'Delete Tag…', onRef('tag', 'Which tag is deleted?', deleteTag)],
  ['graph.renameBranch', 'Rename Branch…', onRef('local', 'Which branch is renamed?', renameBranch)],
  ['graph.deleteBranch', 'Delete Branch…', onRef('other', 'Which branch is deleted?', deleteBranch)],
  ['graph.publish', 'Publish Branch…', onRef('unpublished', 'Which branch is published?', publishBranch)],
  ['graph.rebase', 'Rebase onto Branch…', onRef('target', 'Rebase onto which branch?', rebaseRef)],
];

/** The history that is looked at. */
function storeInFront() {
  const page = pageOfId(frontTab.value?.id ?? '');
  return page?.name === 'graph' ? graphOf(page.arg) : null;
}

/** @type {[id: string, title: string, run: (store: ReturnType<typeof graphOf>) => unknown][]} */
const kViewCommands = [
  ['graph.refs', 'History: Show or Hide Branches and Tags', toggleRefs],
  ['graph.author', 'History: Filter by Author…', chooseAuthor],
  ['graph.mine', 'History: Only Mine', onlyMine],
  ['graph.path', 'History: Filter by Path…', choosePath],
  ['graph.refresh', 'History: Read Again', (store) => store.refresh.now()],
];

export function startGraph() {
  const title = (/** @type {string} */ name) => (usable().length > 1 ? `History of ${name}` : 'History');
  registerPage('graph', { title, component: GraphPage });
  for (const [id, title, run] of kCommands)
    registerCommand({ id, title, category: 'Git', when: hasRepo, run: onRepo(run) });
  for (const [id, title, run] of kViewCommands) {
    const act = () => {
      const store = storeInFront();
      return store && run(store);
    };
    registerCommand({ id, title, category: 'Git', when: () => storeInFront() !== null, run: act });
  }
  registerCommand({ id: 'graph.commit', title: 'Show Commit in the Graph', palette: false, run: showByName });
  loadGraphLook();
  startBlame();
}

/** @param {Repo} repo */
function showGraph({ name }) {
  openPage('graph', name);
}

/** @param {Repo} repo @param {string} hash */
function goToCommit(repo, hash) {
  showGraph(repo);
  void graphOf(repo.name).reveal(hash);
}

/** @param {{repo?: string, hash?: string}} [where] */
function showByName({ repo = '', hash = '' } = {}) {
  const found = repoNamed(repo);
  if (found && hash) goToCommit(found, hash);
}

/** @param {Repo} repo */
async function refsOf({ name }) {
  return readRefs(await get('git/graph', { repo: name, limit: '1' }));
}

/** @param {Repo} repo */
async function tagHead(repo) {
  await tried(`read the refs of ${repo.name}`, async () => {
    const answer = await get('git/log', { repo: repo.name, limit: '1' });
    const head = answer?.commits?.[0];
    if (!head) throw new Error('there is no commit yet');
    await tagHere(repo, head, await refsOf(repo));
  });
}

/** @param {Repo} repo @param {Ref} ref */
function rebaseRef(repo, { name, fullName }) {
  return rebaseOnto(repo, name, fullName);
}

/** Which refs a command may be about. @type {Record<string, (ref: Ref) => boolean>} */
const kEligible = {
  tag: ({ kind }) => kind === 'tag',
  local: ({ kind }) => kind === 'local',
  other: ({ kind, current }) => kind === 'local' && !current,
  unpublished: ({ kind, upstream }) => kind === 'local' && !upstream,
  target: ({ kind, current }) => kind !== 'tag' && !current,
};

const kNone = {
  tag: 'There is no tag',
  local: 'There is no branch yet',
  other: 'There is no other branch',
  unpublished: 'Every branch is published',
  target: 'There is no other branch',
};

/**
 * A command's work on a ref that is chosen first.
 * @param {keyof typeof kNone} which
 * @param {string} placeholder
 * @param {(repo: Repo, ref: Ref, refs: Ref[]) => unknown} work
 */
function onRef(which, placeholder, work) {
  return (/** @type {Repo} */ repo) =>
    tried(`list the branches of ${repo.name}`, async () => {
      const refs = await refsOf(repo);
      const shown = refs.filter(kEligible[which]);
      const chosen = await pick({
        title: `Branches and tags of ${repo.name}`,
        placeholder,
        items: shown.map((ref) => ({
          id: ref.fullName,
          label: ref.name,
          description: refWords(ref),
          icon: iconOf(ref),
        })),
        active: shown.find(({ current }) => current)?.fullName,
        empty: kNone[which],
      });
      const ref = shown.find(({ fullName }) => fullName === chosen?.id);
      if (ref) await work(repo, ref, refs);
    });
}

/** @param {Ref} ref */
const iconOf = ({ kind }) => (kind === 'tag' ? 'tag' : kind === 'remote' ? 'cloud' : 'git-branch');

