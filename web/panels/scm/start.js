// Registers source control: its panel, the comparisons, the bars beside changed lines, and what the status
// bar says of the branch.

import { html } from 'htm/preact';
import { startChangeBars, changeAt, hasChanges, revertChange } from '../../editor/changebars.js';
import { peekAt, stepTo } from '../../editor/changepeek.js';
import { frontDiff, inlineDiff, loadDiffLook, openDiff, toggleInline } from '../../editor/diff.js';
import { canDiscardPart, canStagePart, canUnstagePart, discardPart, stagePart } from '../../editor/hunkactions.js';
import { frontTab, titleOf } from '../../editor/state.js';
import { openFile } from '../../editor/tabactions.js';
import { registerCommand, runCommand } from '../../shell/commands.js';
import { icon } from '../../shell/icons.js';
import { registerPanel, showPanel } from '../../shell/layout.js';
import { registerStatusItem } from '../../shell/statusbar.js';
import { toast } from '../../shell/toasts.js';
import { bringBack, cancel, earlierMessage, isWorking } from '../../stores/commitdesk.js';
import { refreshGit, repoFor, repos, startGit } from '../../stores/git.js';
import { diffWith, isDiff } from '../../stores/gitdiffs.js';
import { loadMessages, messages } from '../../stores/gitmessages.js';
import { rowKey } from '../../stores/gitrows.js';
import { branchWords, isOutside } from '../../stores/gitstatus.js';
import {
  chooseBranch,
  createBranch,
  fetchRepo,
  mergeBranch,
  onRepo,
  pullBranch,
  pushBranch,
  switchBranch,
  usable,
} from './branches.js';
import { commitRepo, focusMessage, proposeMessage } from './commitbox.js';
import { openDesk, reviewChange, startDesk } from './desk.js';
import { ScmActions, ScmBadge, ScmPanel } from './panel.js';
import { focusScm } from './place.js';
import { focused, loadScm, rows } from './state.js';
import { discardRow, mayDiscard, mayStage, mayUnstage, stageRow, unstageRow } from './work.js';

/** @typedef {Parameters<typeof registerCommand>[0]} Command */
/** @typedef {import('../../stores/git.js').Repo} Repo */

const frontId = () => frontTab.value?.id ?? '';
const inRepo = () => repoFor(frontId()) !== null;
const canOpen = () => isDiff(frontTab.value?.kind) && !isOutside(frontId());
const canStep = () => isDiff(frontTab.value?.kind) || hasChanges();

/** @type {Command[]} */
const kCommands = [
  { id: 'scm.focus', title: 'Focus Source Control', keys: ['ctrl+shift+g'], global: true, run: show },
  { id: 'scm.refresh', title: 'Refresh Repositories', run: refreshGit },
  { id: 'scm.compareStaged', title: 'Compare File with Staged', when: inRepo, run: () => openDiff(frontId(), 'diff') },
  {
    id: 'scm.compareCommit',
    title: 'Compare File with Last Commit',
    when: inRepo,
    run: () => openDiff(frontId(), 'diff-head'),
  },
  { id: 'scm.compareBranch', title: 'Compare File with Branch…', when: inRepo, run: compareBranch },
];

async function compareBranch() {
  const id = frontId();
  const file = repoFor(id);
  const branch = file && (await chooseBranch(file.repo, titleOf(id)));
  if (branch) openDiff(id, diffWith(branch));
}

const hasRepo = () => usable().length > 0;

/** @type {Command[]} */
const kRepoCommands = [
  { id: 'scm.commit', title: 'Commit', run: onRepo(commitOf) },
  { id: 'scm.message', title: 'Write Commit Message', run: showMessage },
  { id: 'scm.writeMessage', title: 'Write Commit Message with Claude', run: onRepo(proposeMessage) },
  { id: 'scm.desk', title: 'Open Commit Desk', run: onRepo(openDesk) },
  { id: 'scm.review', title: 'Look the Change Over with Claude', run: onRepo(reviewChange) },
  { id: 'scm.stageAll', title: 'Stage All Changes', run: onRepo(wholeRepo('stage', mayStage, stageRow)) },
  { id: 'scm.unstageAll', title: 'Unstage All Changes', run: onRepo(wholeRepo('unstage', mayUnstage, unstageRow)) },
  { id: 'scm.discardAll', title: 'Discard All Changes…', run: onRepo(wholeRepo('discard', mayDiscard, discardRow)) },
  { id: 'scm.push', title: 'Push', run: onRepo(pushBranch) },
  { id: 'scm.pull', title: 'Pull', run: onRepo(pullBranch) },
  { id: 'scm.fetch', title: 'Fetch', run: onRepo(fetchRepo) },
  { id: 'scm.switchBranch', title: 'Switch Branch…', run: onRepo(switchBranch) },
  { id: 'scm.createBranch', title: 'Create Branch…', run: onRepo((repo) => createBranch(repo)) },
  { id: 'scm.merge', title: 'Merge Branch…', run: onRepo(mergeBranch) },
];

/** Of the message that Claude writes: each is about all repositories in which there is one. @type {Command[]} */
const kMessageCommands = [
  {
    id: 'scm.earlierMessage',
    title: 'Bring Back the Earlier Commit Message',
    when: () => usable().some((repo) => earlierMessage(repo) !== ''),
    run: () => usable().forEach(bringBack),
  },
  {
    id: 'scm.stopMessage',
    title: 'Stop Writing the Commit Message',
    when: () => usable().some((repo) => isWorking(repo, 'message')),
    run: () => usable().forEach((repo) => cancel(repo, 'message')),
  },
];

/** @type {Command[]} */
const kChangeCommands = [
  { id: 'changes.next', title: 'Go to Next Change', keys: ['alt+f5'], global: true, when: canStep, run: () => step(1) },
  {
    id: 'changes.previous',
    title: 'Go to Previous Change',
    keys: ['shift+alt+f5'],
    global: true,
    when: canStep,
    run: () => step(-1),
  },
  { id: 'changes.peek', title: 'Show Change', keys: ['alt+f3'], global: true, when: hasChanges, run: peekHere },
  { id: 'changes.revert', title: 'Revert Change', when: hasChanges, run: () => revertChange() },
  { id: 'diff.openFile', title: 'Open the File of the Comparison', when: canOpen, run: () => openFile(frontId()) },
  {
    id: 'diff.inline',
    title: 'Inline View of Comparisons',
    checked: () => inlineDiff.value,
    run: toggleInline,
  },
];

/** @type {Command[]} */
const kPartCommands = [
  { id: 'changes.stage', title: 'Stage Change', when: canStagePart, run: () => stagePart(true) },
  {
    id: 'changes.stageLines',
    title: 'Stage Selected Lines',
    keys: ['ctrl+k ctrl+alt+s'],
    when: canStagePart,
    run: () => stagePart(false),
  },
  { id: 'changes.unstage', title: 'Unstage Change', when: canUnstagePart, run: () => stagePart(true) },
  {
    id: 'changes.unstageLines',
    title: 'Unstage Selected Lines',
    keys: ['ctrl+k ctrl+n'],
    when: canUnstagePart,
    run: () => stagePart(false),
  },
  { id: 'changes.discard', title: 'Discard Change…', when: canDiscardPart, run: () => discardPart(true) },
  {
    id: 'changes.discardLines',
    title: 'Discard Selected Lines…',
    keys: ['ctrl+k ctrl+r'],
    when: canDiscardPart,
    run: () => discardPart(false),
  },
];

/** @param {1 | -1} by */
function step(by) {
  const diff = frontDiff();
  if (!diff) stepTo(by);
  else if (by > 0) diff.nextChange();
  else diff.previousChange();
}

/** The change at the cursor, else the next one. */
function peekHere() {
  if (changeAt()) peekAt();
  else stepTo(1, true);
}

export function startScm() {
  registerPanel({
    id: 'scm',
    title: 'Source Control',
    icon: 'source-control',
    place: 'side',
    component: ScmPanel,
    actions: ScmActions,
    badge: ScmBadge,
    order: 30,
  });
  for (const command of kCommands) registerCommand({ ...command, category: 'Git' });
  for (const command of kRepoCommands) registerCommand({ ...command, category: 'Git', when: hasRepo });
  for (const command of kMessageCommands) registerCommand({ ...command, category: 'Git' });
  for (const command of [...kChangeCommands, ...kPartCommands]) registerCommand({ ...command, category: 'Changes' });
  registerStatusItem({ id: 'scm.branch', side: 'left', order: 10, component: Branch });
  loadScm();
  loadMessages();
  startDesk();
  loadDiffLook();
  startChangeBars();
  startGit();
}

function show() {
  showPanel('scm');
  requestAnimationFrame(focusScm);
}

function showMessage() {
  showPanel('scm');
  requestAnimationFrame(focusMessage);
}

/** Commits, or asks for the message first. @param {Repo} repo */
function commitOf(repo) {
  if (messages.value.get(repo.root)?.trim()) return commitRepo(repo);
  focused.value = rowKey(repo.name);
  return showMessage();
}

/** @typedef {import('../../stores/gitrows.js').GitRow} GitRow */

/**
 * Does with all of a repository what can be done with its row.
 * @param {string} words
 * @param {(row: GitRow) => boolean} may
 * @param {(row: GitRow) => unknown} work
 */
function wholeRepo(words, may, work) {
  return (/** @type {Repo} */ { name }) => {
    const row = rows.value.find(({ path }) => path === rowKey(name));
    if (row && may(row)) return work(row);
    return toast({ kind: 'info', text: `There is nothing to ${words} in ${name}` });
  };
}

/** The branch of the file in front, else of the first repository. */
function Branch() {
  const repo = repoFor(frontId())?.repo ?? repos.value[0];
  if (!repo?.isRepo) return null;
  const { name, branch, ahead, behind, files } = repo;
  const words = `${name}: ${branchWords(repo)}${files.length ? `, ${files.length} changes` : ''}`;
  const brief = [branch + (files.length ? '*' : ''), behind && `↓${behind}`, ahead && `↑${ahead}`];
  const open = () => runCommand('scm.switchBranch', repo);
  return html`<button type="button" class="status-item" title=${words} onClick=${open}>
    ${icon('git-branch')}
    <span class="unseen">${words}</span>
    <span aria-hidden="true">${brief.filter(Boolean).join(' ')}</span>
  </button>`;
}
