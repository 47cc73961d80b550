// Puts background tasks into the shell: the board, a task's page, the list at the side, commands, messages.

import { registerPage } from '../../editor/pages.js';
import { frontTab } from '../../editor/state.js';
import { sessionToken } from '../../bridge/token.js';
import { registerCommand } from '../../shell/commands.js';
import { registerPanel, showPanel } from '../../shell/layout.js';
import { pick } from '../../shell/quickpick.js';
import { registerStatusItem } from '../../shell/statusbar.js';
import { reportError } from '../../shell/toasts.js';
import { askingTasks, connectDispatch, isAsking, limit, readTasks, setLimit, taskById, tasks } from '../../stores/dispatch.js';
import { abilitiesOf, lookOf } from '../../stores/dispatchboard.js';
import { findOrphans, mayHaveOrphans, orphans } from '../../stores/dispatchrescue.js';
import { titleLine } from '../../stores/dispatchwire.js';
import { note } from '../../stores/log.js';
import { pageOfId } from '../../stores/tabs.js';
import { setTaskConversations } from '../chat/conversation.js';
import { focusQuestion } from '../chat/card.js';
import { Board } from './board.js';
import { conversationOfTask, focusFollowUp } from './conversation.js';
import { openTerminalIn, openWorktree, startFolders } from './folders.js';
import { formShown } from './form.js';
import { OrphanPage, openOrphan, orphanTitle } from './orphans.js';
import { TaskBadge, TaskList, TaskListActions } from './panel.js';
import { focusForm } from './place.js';
import { openTries } from './slots.js';
import { TaskPage, showSide, taskTitle } from './task.js';
import {
  discardWithQuestion,
  groupOf,
  landWithQuestion,
  openBoard,
  openTask,
  pickTaskMode,
  stopIt,
} from './taskactions.js';
import { TaskStatus, startTelling } from './tell.js';

/**
 * @typedef {Parameters<typeof registerCommand>[0]} Command
 * @typedef {import('../../stores/dispatchwire.js').Task} Task
 */

/** The task whose page is in front. @returns {Task | undefined} */
function frontTask() {
  const page = pageOfId(frontTab.value?.id ?? '');
  return page?.name === 'task' ? taskById(page.arg) : undefined;
}

/** @param {keyof ReturnType<typeof abilitiesOf>} ability */
const some = (ability) => () => tasks.value.some((task) => abilitiesOf(task)[ability]);

/**
 * Does something with the task in front, else with one that the user chooses among those it can be done with.
 * @param {(task: Task) => boolean} fits
 * @param {(id: string) => unknown} run
 */
function withTask(fits, run) {
  return async () => {
    const front = frontTask();
    if (front && fits(front)) return run(front.id);
    const list = tasks.value.filter(fits);
    const id = list.length === 1 ? list[0]?.id : await chooseTask(list);
    return id ? run(id) : undefined;
  };
}

/** @param {Task[]} list */
async function chooseTask(list) {
  const chosen = await pick({
    title: 'Task',
    placeholder: 'Which task?',
    empty: 'No such task.',
    items: list.map((task) => ({
      id: task.id,
      label: titleLine(task),
      description: [lookOf(task, isAsking(task.id)).words, task.branch].filter(Boolean).join(' · '),
    })),
  });
  return chosen?.id;
}

const has = (/** @type {keyof ReturnType<typeof abilitiesOf>} */ ability) => (/** @type {Task} */ task) =>
  abilitiesOf(task)[ability];
const owns = (/** @type {Task} */ task) => task.worktree && has('discard')(task);
const hasTasks = () => tasks.value.length > 0;

/** @type {Command[]} */
const kCommands = [
  { id: 'dispatch.board', title: 'Show the Board', keys: ['ctrl+alt+k'], global: true, run: () => openBoard() },
  { id: 'dispatch.focus', title: 'Show the List', run: () => showPanel('dispatch') },
  { id: 'dispatch.new', title: 'New Task', keys: ['ctrl+alt+n'], global: true, run: newTaskForm },
  { id: 'dispatch.refresh', title: 'Read the Tasks Again', run: refresh },
  { id: 'dispatch.open', title: 'Open Task…', when: hasTasks, run: withTask(() => true, openTask) },
  {
    id: 'dispatch.question',
    title: 'Go to the Question of a Task',
    when: () => askingTasks.value.length > 0,
    run: goToQuestion,
  },
  {
    id: 'dispatch.changes',
    title: 'Show the Changes of a Task…',
    when: hasTasks,
    run: withTask(() => true, (id) => (showSide(id, 'changes'), openTask(id))),
  },
  { id: 'dispatch.followUp', title: 'Write to a Task…', when: some('send'), run: withTask(has('send'), writeTo) },
  { id: 'dispatch.stop', title: 'Stop Task…', when: some('stop'), run: withTask(has('stop'), stopIt) },
  {
    id: 'dispatch.mode',
    title: 'Mode of a Task…',
    when: some('mode'),
    run: withTask(has('mode'), (id) => pickTaskMode(id, document.querySelector('.task-page .chat-chip') ?? document.body)),
  },
  { id: 'dispatch.land', title: 'Land Task…', when: some('land'), run: withTask(has('land'), landWithQuestion) },
  {
    id: 'dispatch.discard',
    title: 'Discard Task…',
    when: () => some('discard')() || some('close')(),
    run: withTask((task) => has('discard')(task) || has('close')(task), (id) => discardWithQuestion([id])),
  },
  {
    id: 'dispatch.compare',
    title: 'Compare the Tries of a Task…',
    when: () => openTries.value !== null && tasks.value.some(({ id }) => groupOf(id) !== ''),
    run: withTask(({ id }) => groupOf(id) !== '', (id) => openTries.value?.(groupOf(id))),
  },
  {
    id: 'dispatch.openFolder',
    title: 'Open Worktree of a Task as Folder…',
    when: () => tasks.value.some(owns),
    run: withTask(owns, openWorktree),
  },
  {
    id: 'dispatch.terminal',
    title: 'Open Terminal in the Worktree of a Task…',
    when: () => tasks.value.some(owns),
    run: withTask(owns, (id) => openTerminalIn(taskById(id)?.directory ?? '')),
  },
  { id: 'dispatch.limit', title: 'How Many Tasks Run at Once…', run: chooseLimit },
  { id: 'dispatch.left', title: 'Worktrees of Earlier Runs…', run: chooseOrphan },
];

function newTaskForm() {
  openBoard();
  formShown.value = true;
  focusForm();
}

async function refresh() {
  await readTasks();
  await findOrphans();
}

/** @param {string} id */
function writeTo(id) {
  showSide(id, 'talk');
  openTask(id);
  focusFollowUp(id);
}

/** Opens the first task that asks, with the focus on its question: the user has asked for it. */
function goToQuestion() {
  const front = frontTask();
  const task = askingTasks.value.find(({ id }) => id === front?.id) ?? askingTasks.value[0];
  if (!task) return;
  showSide(task.id, 'talk');
  openTask(task.id);
  requestAnimationFrame(() => {
    const page = document.querySelector(`[data-task-page="${CSS.escape(task.id)}"]`);
    if (page) focusQuestion(page, conversationOfTask(task.id));
  });
}

async function chooseLimit() {
  const chosen = await pick({
    title: 'How many tasks run at once',
    placeholder: 'How many tasks run at once',
    items: Array.from({ length: 8 }, (_, at) => ({
      id: String(at + 1),
      label: String(at + 1),
      description: limit.value === at + 1 ? 'as it is' : '',
    })),
  });
  if (chosen) await setLimit(Number(chosen.id));
}

async function chooseOrphan() {
  await findOrphans();
  const chosen = await pick({
    title: 'Worktrees of earlier runs',
    placeholder: 'Which worktree?',
    empty: 'Earlier runs have left none.',
    items: orphans.value.map(({ directory, title, branch }) => ({ id: directory, label: title, description: branch })),
  });
  if (chosen) openOrphan(chosen.id);
}

export function startDispatch() {
  setTaskConversations(conversationOfTask);
  registerPage('board', { title: () => 'Tasks', component: Board });
  registerPage('task', { title: taskTitle, component: TaskPage });
  registerPage('worktree', { title: orphanTitle, component: OrphanPage });
  registerPanel({
    id: 'dispatch',
    title: 'Tasks',
    icon: 'run-all',
    place: 'side',
    order: 50,
    component: TaskList,
    actions: TaskListActions,
    badge: TaskBadge,
  });
  for (const command of kCommands) registerCommand({ ...command, category: 'Tasks' });
  registerStatusItem({ id: 'dispatch', side: 'left', order: 65, component: TaskStatus });
  startFolders();
  startTelling();
  connectDispatch(sessionStorage, sessionToken())
    .then(() => (mayHaveOrphans.value ? findOrphans() : undefined))
    .catch((error) => {
      note('error', 'Could not begin with the tasks', error);
      reportError('Could not read the tasks', error);
    });
}
