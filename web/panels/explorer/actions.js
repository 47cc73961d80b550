// What the explorer does to files: create, rename, duplicate, delete, copy, move, import.

import { call } from '../../bridge/api.js';
import { closeGone } from '../../editor/tabactions.js';
import { dirtyBelow, followRename } from '../../editor/documents.js';
import { openFile } from '../../editor/tabactions.js';
import { saveDocument } from '../../editor/savefile.js';
import { bufferOf } from '../../editor/state.js';
import { ask, prompt } from '../../shell/dialogs.js';
import { reportError, toast } from '../../shell/toasts.js';
import { createFile, createFolder } from '../../stores/files.js';
import {
  absolutePath,
  baseName,
  isInside,
  isRoot,
  joinPath,
  nameProblem,
  outermost,
  parentOf,
  stemLength,
} from '../../stores/paths.js';
import { addRoot, removeRoot, roots } from '../../stores/settings.js';
import { moveProblem, moves, targetFolder } from '../../stores/tree.js';
import {
  clipboard,
  expand,
  focusRow,
  focused,
  followMove,
  listings,
  refreshAround,
  showPath,
  targets,
} from './state.js';

/** The folder that the focus is in; the first root when nothing has it. */
function folderInFocus() {
  const row = targets.value[0];
  if (row) return targetFolder(row.path, row.directory);
  return focused.value ? parentOf(focused.value) : (roots.value[0]?.name ?? '');
}

/**
 * Names that a folder is known to hold.
 * @param {string} folder
 */
function namesIn(folder) {
  const listing = listings.value.get(folder);
  return Array.isArray(listing) ? listing.map((entry) => entry.name) : [];
}

/** @param {boolean} directory */
export async function createEntry(directory) {
  const folder = folderInFocus();
  if (!folder) return;
  await expand(folder);
  const what = directory ? 'folder' : 'file';
  const name = await prompt({
    title: `New ${what} in ${folder}`,
    label: 'Name; slashes make folders',
    validate: (value) => nameProblem(value, namesIn(folder), { nested: true }),
    button: `Create ${what}`,
  });
  if (name === null) return;
  const path = joinPath(folder, name);
  try {
    await (directory ? createFolder(path) : createFile(path, new Uint8Array()));
  } catch (error) {
    reportError(`Could not create ${name}`, error);
    return;
  }
  await refreshAround([path]);
  await showPath(path);
  if (directory) await expand(path);
  else await openFile(path);
}

export async function renameEntry() {
  const row = targets.value[0];
  if (!row || isRoot(row.path)) return;
  const folder = parentOf(row.path);
  const siblings = namesIn(folder).filter((name) => name !== row.name);
  const name = await prompt({
    title: `Rename ${row.name}`,
    label: 'New name',
    value: row.name,
    select: [0, stemLength(row.name, row.directory)],
    validate: (value) => nameProblem(value, siblings),
    button: 'Rename',
  });
  if (name === null || name === row.name) return;
  await renameAll([{ from: row.path, to: joinPath(folder, name) }], 'rename');
}

/**
 * @param {{from: string, to: string}[]} list
 * @param {string} verb
 */
async function renameAll(list, verb) {
  for (const { from, to } of list) {
    try {
      await call('file/rename', { from, to });
    } catch (error) {
      reportError(`Could not ${verb} ${baseName(from)}`, error);
      break;
    }
    followRename(from, to);
    followMove(from, to);
    await refreshAround([from, to]);
    await showPath(to);
  }
}

export async function duplicateEntries() {
  for (const path of outermost(targets.value.map((row) => row.path))) {
    if (isRoot(path)) continue;
    await tried(`Could not duplicate ${baseName(path)}`, () => call('file/duplicate', { path }));
    await refreshAround([path]);
  }
}

/**
 * @param {string} words
 * @param {() => Promise<unknown>} work
 */
async function tried(words, work) {
  try {
    await work();
    return true;
  } catch (error) {
    reportError(words, error);
    return false;
  }
}

export async function deleteEntries() {
  const paths = outermost(targets.value.map((row) => row.path)).filter((path) => !isRoot(path));
  if (paths.length === 0 || !(await mayDelete(paths))) return;
  /** @type {string[]} */
  const gone = [];
  for (const path of paths) {
    if (await tried(`Could not delete ${baseName(path)}`, () => call('file/delete', { path })))
      gone.push(path);
  }
  closeGone((id) => gone.some((path) => isInside(id, path)));
  await refreshAround(paths);
  // A row that is gone hands the focus to its folder.
  if (gone.some((path) => isInside(focused.value, path))) focusRow(parentOf(gone[0] ?? ''));
}

/** @param {string[]} paths */
async function mayDelete(paths) {
  const name = baseName(/** @type {string} */ (paths[0]));
  const one = paths.length === 1;
  const what = one ? name : `${paths.length} entries`;
  const unsaved = paths.flatMap(dirtyBelow);
  const lost = unsaved.length ? ` ${unsaved.length} open with unsaved changes stay open in the editor.` : '';
  const answer = await ask({
    title: `Delete ${what}?`,
    text: `${one ? 'It goes' : 'They go'} to the Trash, from where the desktop can bring ${one ? 'it' : 'them'} back.${lost}`,
    ...(!one && { detail: paths.join('\n') }),
    buttons: [
      { id: 'delete', label: 'Move to the Trash', kind: 'danger' },
      { id: 'cancel', label: 'Cancel' },
    ],
  });
  return answer === 'delete';
}

/** @param {boolean} cut */
export function takeToClipboard(cut) {
  const paths = outermost(targets.value.map((row) => row.path)).filter((path) => !cut || !isRoot(path));
  if (paths.length) clipboard.value = { paths, cut };
}

export async function pasteFromClipboard() {
  const { paths, cut } = clipboard.value;
  const folder = folderInFocus();
  if (!paths.length || !folder) return;
  if (!cut) return copyInto(paths, folder);
  clipboard.value = { paths: [], cut: false };
  await moveInto(paths, folder);
}

/**
 * @param {readonly string[]} paths
 * @param {string} folder
 */
export async function copyInto(paths, folder) {
  const sources = paths.map((path) => absolutePath(roots.value, path)).filter(Boolean);
  await importInto(sources, folder);
}

/**
 * @param {readonly string[]} paths
 * @param {string} folder
 */
export async function moveInto(paths, folder) {
  const problem = moveProblem(paths, folder);
  if (problem) {
    toast({ kind: 'warning', text: problem });
    return;
  }
  await renameAll(moves(paths, folder), 'move');
}

/**
 * Copies files and folders from anywhere.
 * @param {readonly string[]} sources absolute paths
 * @param {string} folder
 */
export async function importInto(sources, folder) {
  const what =
    sources.length === 1 ? baseName(/** @type {string} */ (sources[0])) : `${sources.length} entries`;
  const words = `Could not copy ${what} into ${baseName(folder)}`;
  await tried(words, () =>
    call('file/import', { sources, dest: folder }, { job: `Copy ${what} into ${folder}` }),
  );
  await expand(folder);
}

/**
 * Adds a folder to the workspace.
 * @param {string} [typed] absolute path
 */
export async function addFolder(typed) {
  const path =
    typed ??
    (await prompt({
      title: 'Add a folder to the workspace',
      label: 'Path of the folder, such as ~/project',
      value: '~/',
      select: [2, 2],
      validate: (value) => (/^[~/]/.test(value) ? '' : 'The path begins with / or ~.'),
      button: 'Add Folder',
    }));
  if (!path) return;
  try {
    const { name } = await addRoot(path.trim());
    await expand(name);
    focusRow(name);
  } catch (error) {
    reportError(`Could not add ${path}`, error);
  }
}

/** @param {string} [name] */
export async function removeFolder(name = rootInFocus()) {
  if (!name || !(await mayRemove(name))) return;
  if (!(await tried(`Could not remove ${name}`, () => removeRoot(name)))) return;
  closeGone((id) => isInside(id, name));
}

function rootInFocus() {
  const path = targets.value[0]?.path ?? roots.value[0]?.name ?? '';
  return path.split('/')[0] ?? '';
}

/**
 * Unsaved text below a folder that goes has nowhere to be kept, so it is saved first.
 * @param {string} name
 */
async function mayRemove(name) {
  const unsaved = dirtyBelow(name);
  const answer = await ask({
    title: `Remove ${name} from the workspace?`,
    text: 'Nothing on disk is touched.',
    ...(unsaved.length && { detail: `Saved first:\n${unsaved.join('\n')}` }),
    buttons: [
      {
        id: 'remove',
        label: unsaved.length ? 'Save and Remove' : 'Remove from the Workspace',
        kind: 'primary',
      },
      { id: 'cancel', label: 'Cancel' },
    ],
  });
  if (answer !== 'remove') return false;
  for (const id of unsaved) await saveDocument(id);
  return unsaved.every((id) => !bufferOf(id)?.dirty.value);
}

/** @param {string} [path] */
export async function revealEntry(path = targets.value[0]?.path) {
  if (path) await tried(`Could not reveal ${baseName(path)}`, () => call('shell/reveal', { path }));
}

export async function copyPaths() {
  const paths = targets.value.map((row) => absolutePath(roots.value, row.path));
  await navigator.clipboard.writeText(paths.join('\n'));
  toast({ kind: 'info', text: paths.length === 1 ? `Copied ${paths[0]}` : `Copied ${paths.length} paths` });
}
