// A task's worktree as a folder of the workspace: opened with all that folders have, and gone again once the task
// has landed or was thrown away.

import { saveDocument } from '../../editor/savefile.js';
import { bufferOf, dirtyIds, documents } from '../../editor/state.js';
import { closeGone } from '../../editor/tabactions.js';
import { runCommand } from '../../shell/commands.js';
import { ask } from '../../shell/dialogs.js';
import { reportError, toast } from '../../shell/toasts.js';
import { counted } from '../../stores/dispatchboard.js';
import { onTask, taskById } from '../../stores/dispatch.js';
import { hideBackups } from '../../stores/dispatchfolders.js';
import { isClosed, titleLine } from '../../stores/dispatchwire.js';
import { isInside } from '../../stores/paths.js';
import { addRoot, removeRoot, roots } from '../../stores/settings.js';
import { openTerminal } from '../terminal/actions.js';

/** The name under which a folder is open in the workspace, "" when it is not. @param {string} directory */
export const worktreeRoot = (directory) => roots.value.find(({ path }) => path === directory)?.name ?? '';

/** @param {string} directory */
async function rootFor(directory) {
  const there = worktreeRoot(directory);
  if (there) return there;
  await hideBackups(directory);
  return (await addRoot(directory)).name;
}

/** @param {string} id of a task */
export async function openWorktree(id) {
  const task = taskById(id);
  if (task) await openFolder(task.directory);
}

/** @param {string} directory */
export async function openFolder(directory) {
  const name = await rootFor(directory);
  await runCommand('explorer.expand', name);
  await runCommand('explorer.focus');
}

/** A terminal in a task's folder, which must be in the workspace for that. @param {string} directory */
export async function openTerminalIn(directory) {
  await openTerminal({ cwd: await rootFor(directory) });
}

/** Files of a folder that are open, and those that are not saved. @param {string} directory */
function openFilesIn(directory) {
  const name = worktreeRoot(directory);
  if (!name) return { open: [], unsaved: [] };
  const open = [...documents.value.keys()].filter((id) => isInside(id, name));
  return { open, unsaved: dirtyIds.value.filter((id) => isInside(id, name)) };
}

/** What a question before landing or discarding says of files that are open, "" for nothing. @param {string} directory */
export function openFilesWords(directory) {
  const { open, unsaved } = openFilesIn(directory);
  if (unsaved.length) return `Not saved, and lost with the folder:\n${unsaved.join('\n')}`;
  return open.length ? `${counted(open.length, 'open file')} of its folder will be closed.` : '';
}

/**
 * What is typed belongs to the work that lands, so it is saved before.
 * @param {string} directory
 * @returns {Promise<boolean>} whether nothing is left to save
 */
export async function savedBefore(directory) {
  const { unsaved } = openFilesIn(directory);
  if (!unsaved.length) return true;
  const answer = await ask({
    title: 'Save before landing?',
    text: 'Files of the worktree are not saved. What is saved lands with the task.',
    detail: unsaved.join('\n'),
    buttons: [
      { id: 'save', label: 'Save and Go On', kind: 'primary' },
      { id: 'no', label: 'Cancel' },
    ],
  });
  if (answer !== 'save') return false;
  for (const id of unsaved) await saveDocument(id);
  return unsaved.every((id) => !bufferOf(id)?.dirty.value);
}

/**
 * Takes a folder that is gone out of the workspace, and says which files were open from it.
 * @param {string} directory
 * @param {string} title
 */
export async function closeFolder(directory, title) {
  const name = worktreeRoot(directory);
  if (!name) return;
  const { open } = openFilesIn(directory);
  await removeRoot(name);
  closeGone((id) => isInside(id, name));
  if (!open.length) return;
  const closed = `${counted(open.length, 'file')} of it ${open.length === 1 ? 'was' : 'were'} closed`;
  toast({ kind: 'info', text: `The folder of "${title}" is gone: ${closed}.`, detail: open.join('\n') });
}

/** Worktrees go with their tasks, whoever landed them. */
export function startFolders() {
  onTask((task) => {
    if (!task.worktree || !isClosed(task.status)) return;
    closeFolder(task.directory, titleLine(task)).catch((error) =>
      reportError(`Could not take ${task.directory} out of the workspace`, error),
    );
  });
}
