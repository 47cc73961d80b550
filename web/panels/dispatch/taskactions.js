// What a task's buttons, menus and commands do: with the questions that come before what cannot be undone.

import { openPage } from '../../editor/tabactions.js';
import { ask } from '../../shell/dialogs.js';
import { showMenu } from '../../shell/menus.js';
import { reportError, toast } from '../../shell/toasts.js';
import { MODES } from '../../stores/chatsession.js';
import {
  discardTask,
  isAsking,
  landTask,
  setTaskMode,
  stopTask,
  taskById,
  tasks,
  underWay,
} from '../../stores/dispatch.js';
import { abilitiesOf, counted } from '../../stores/dispatchboard.js';
import { talkOf } from '../../stores/dispatchtalks.js';
import { titleLine, tryGroups } from '../../stores/dispatchwire.js';
import { openFilesWords, openTerminalIn, openWorktree, savedBefore } from './folders.js';
import { landingPreview, openTries } from './slots.js';

/**
 * @typedef {import('../../stores/dispatchwire.js').Task} Task
 * @typedef {import('./slots.js').Landing} Landing
 * @typedef {import('../../shell/menus.js').MenuItem} MenuItem
 */

export const openBoard = () => openPage('board', '');
/** @param {string} id */
export const openTask = (id) => openPage('task', id);

/**
 * Shows what landing would do, lands if the user says so, and tells of it.
 * @param {Landing} landing
 * @param {() => Promise<unknown>} land
 * @returns {Promise<boolean>} whether it has landed
 */
export async function landThroughPreview(landing, land) {
  if (!(await savedBefore(landing.directory))) return false;
  const landed = (await landingPreview()?.(landing, land)) === true;
  if (landed) toast({ kind: 'info', text: `"${titleLine(landing)}" has landed.` });
  return landed;
}

/** @param {string} id */
export async function landWithQuestion(id) {
  const task = taskById(id);
  if (!task || underWay.value.has(id)) return false;
  return landThroughPreview(task, () => landTask(id));
}

/**
 * Throws tasks away after one question for all of them.
 * @param {readonly string[]} ids
 * @returns {Promise<boolean>} whether all are gone
 */
export async function discardWithQuestion(ids) {
  const list = ids.map(taskById).filter((task) => task !== undefined);
  if (!list.length || !(await mayDiscard(list))) return false;
  let all = true;
  for (const task of list) {
    try {
      await discardTask(task.id);
    } catch (error) {
      all = false;
      reportError(`Could not discard "${titleLine(task)}"`, error);
    }
  }
  return all;
}

/** @param {Task[]} list */
async function mayDiscard(list) {
  const [first] = list;
  const own = list.filter(({ branch }) => branch);
  const name = list.length === 1 && first ? `"${titleLine(first)}"` : counted(list.length, 'task');
  if (!own.length) {
    const answer = await ask({
      title: `Close ${name}?`,
      text: 'It worked in the folder itself: what it changed there stays.',
      buttons: [
        { id: 'yes', label: 'Close', kind: 'primary' },
        { id: 'no', label: 'Cancel' },
      ],
    });
    return answer === 'yes';
  }
  const details = own.flatMap(({ branch, directory }) => [
    `Branch ${branch}`,
    `Folder ${directory}`,
    ...[openFilesWords(directory)].filter(Boolean),
  ]);
  const answer = await ask({
    title: `Discard ${name}?`,
    text: 'All that was not landed is lost. This cannot be undone.',
    detail: details.join('\n'),
    buttons: [
      { id: 'yes', label: own.length === 1 ? 'Discard branch and folder' : 'Discard branches and folders', kind: 'danger' },
      { id: 'no', label: 'Cancel' },
    ],
  });
  return answer === 'yes';
}

/** @param {string} id */
export async function stopIt(id) {
  const task = taskById(id);
  try {
    await stopTask(id);
  } catch (error) {
    reportError(`Could not stop "${task ? titleLine(task) : id}"`, error);
  }
}

/** The mode that counts for a task now. @param {Task} task */
export const modeNow = ({ id, mode, status }) => (status === 'running' && talkOf(id).mode.value) || mode;

/** @param {string} id */
export const modeWords = (id) => MODES.find((mode) => mode.id === id)?.label ?? id;

/** @param {string} id of a task that runs */
function modeItems(id) {
  const task = taskById(id);
  const now = task ? modeNow(task) : '';
  return MODES.map((mode) => ({
    label: `${mode.label}: ${mode.words}`,
    checked: mode.id === now,
    run: async () => {
      try {
        await setTaskMode(id, mode.id);
      } catch (error) {
        reportError('Could not change the mode', error);
      }
    },
  }));
}

/**
 * @param {string} id
 * @param {Element} anchor
 */
export const pickTaskMode = (id, anchor) => showMenu({ anchor, label: 'Mode', items: modeItems(id) });

/** The group of tries that a task belongs to, "" for none. @param {string} id */
export function groupOf(id) {
  for (const [group, list] of tryGroups(tasks.value)) if (list.some((task) => task.id === id)) return group;
  return '';
}

/**
 * All that can be done with a task, as a menu.
 * @param {string} id
 * @returns {MenuItem[]}
 */
export function taskMenu(id) {
  const task = taskById(id);
  if (!task) return [];
  const can = abilitiesOf(task);
  const group = groupOf(id);
  const tries = openTries.value;
  const files = task.worktree && (can.land || can.discard);
  return [
    { label: isAsking(id) ? 'Open and Answer' : 'Open', keys: 'Enter', run: () => openTask(id) },
    ...(group && tries ? [{ label: 'Compare the Tries', run: () => tries(group) }] : []),
    ...(can.mode ? [{ label: 'Mode', items: modeItems(id) }] : []),
    ...(can.stop ? [{ label: 'Stop', run: () => stopIt(id) }] : []),
    ...(files
      ? [
          { kind: /** @type {const} */ ('separator') },
          { label: 'Open Worktree as Folder', run: () => openWorktree(id) },
          { label: 'Open Terminal There', run: () => openTerminalIn(task.directory) },
        ]
      : []),
    { kind: 'separator' },
    ...(task.branch ? [{ label: 'Copy the Branch’s Name', run: () => navigator.clipboard.writeText(task.branch) }] : []),
    { label: 'Copy the Folder’s Path', run: () => navigator.clipboard.writeText(task.directory) },
    ...(can.land || can.discard || can.close ? [{ kind: /** @type {const} */ ('separator') }] : []),
    ...(can.land ? [{ label: 'Land…', run: () => landWithQuestion(id) }] : []),
    ...(can.discard ? [{ label: 'Discard Branch and Folder…', keys: 'Delete', run: () => discardWithQuestion([id]) }] : []),
    ...(can.close ? [{ label: 'Close the Task…', keys: 'Delete', run: () => discardWithQuestion([id]) }] : []),
  ];
}
