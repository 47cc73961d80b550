// Staging, unstaging, discarding: what it does to a row of the panel, with the questions before it.

import { call } from '../../bridge/api.js';
import { dirtyBelow } from '../../editor/documents.js';
import { closeGone } from '../../editor/tabactions.js';
import { ask } from '../../shell/dialogs.js';
import { pick } from '../../shell/quickpick.js';
import { reportError } from '../../shell/toasts.js';
import { refreshGit } from '../../stores/git.js';
import { conflictNames, conflictsLike, discard, stage, unstage } from '../../stores/gitactions.js';
import { groupsOf, idOf, isOutside } from '../../stores/gitstatus.js';
import { baseName } from '../../stores/paths.js';
import { roots } from '../../stores/settings.js';

/**
 * @typedef {import('../../stores/gitrows.js').GitRow} GitRow
 * @typedef {import('../../stores/gitstatus.js').GroupId} GroupId
 */

/**
 * The paths that a row stands for, of some groups.
 * @param {GitRow} row
 * @param {GroupId[]} ids
 */
function pathsOf(row, ids) {
  const { repo, group, change } = row;
  if (change) return group && ids.includes(group.id) ? [change.path] : [];
  const groups = (group ? [group] : groupsOf(repo)).filter(({ id }) => ids.includes(id));
  return [...new Set(groups.flatMap(({ changes }) => changes.map(({ path }) => path)))];
}

/** @param {GitRow} row */
const stageable = (row) => pathsOf(row, ['changes', 'untracked']);
/** @param {GitRow} row */
const unstageable = (row) => pathsOf(row, ['staged']);
/** @param {GitRow} row */
const discardable = (row) => pathsOf(row, ['changes']);

/** Untracked files of the workspace: git cannot discard them, and the bridge deletes none elsewhere. @param {GitRow} row */
const deletable = (row) =>
  row.group?.id === 'untracked'
    ? pathsOf(row, ['untracked']).filter((path) => !isOutside(idOf(roots.value, row.repo, path)))
    : [];

/** @param {GitRow} row */
export const isConflict = (row) => row.group?.id === 'conflicts';
/** @param {GitRow} row */
export const mayStage = (row) => isConflict(row) || stageable(row).length > 0;
/** @param {GitRow} row */
export const mayUnstage = (row) => unstageable(row).length > 0;
/** @param {GitRow} row */
export const mayDiscard = (row) => discardable(row).length > 0 || deletable(row).length > 0;

/**
 * What a list of paths is called in a sentence.
 * @param {string[]} paths
 */
const called = (paths) => (paths.length === 1 ? baseName(nameOf(paths[0] ?? '')) : `${paths.length} files`);

/** A nested repository is listed with a slash at its end. @param {string} path */
const nameOf = (path) => path.replace(/\/$/, '');

/**
 * @param {string} words what is tried
 * @param {() => Promise<unknown>} work
 * @returns {Promise<boolean>} whether it was done
 */
export async function tried(words, work) {
  try {
    await work();
    return true;
  } catch (error) {
    reportError(`Could not ${words}`, error);
    return false;
  }
}

/** @param {GitRow} row */
export async function stageRow(row) {
  if (isConflict(row)) return resolveRow(row);
  const paths = stageable(row);
  if (paths.length) await tried(`stage ${called(paths)}`, () => stage(row.repo, paths));
}

/** @param {GitRow} row */
export async function unstageRow(row) {
  const paths = unstageable(row);
  if (paths.length) await tried(`unstage ${called(paths)}`, () => unstage(row.repo, paths));
}

/** Tells git that a conflict is over, which is what staging does. @param {GitRow} row */
async function resolveRow(row) {
  const name = row.change ? row.change.path : 'the conflicts';
  await tried(`mark ${name} as resolved`, async () => {
    const paths = row.change ? [await wholeName(row)] : await conflictNames(row.repo);
    const known = paths.filter((path) => path !== null);
    if (known.length) await stage(row.repo, known);
  });
}

/**
 * The whole name of a conflict, of which a status tells only the last word.
 * @param {GitRow} row
 * @returns {Promise<string | null>} null when the user was asked which one is meant, and chose none
 */
export async function wholeName({ repo, change }) {
  const told = change?.path ?? '';
  const found = conflictsLike(await conflictNames(repo), told);
  if (found.length === 1) return /** @type {string} */ (found[0]);
  if (found.length === 0) throw new Error('it is not in conflict any more');
  const items = found.map((name) => ({ id: name, label: name }));
  const chosen = await pick({ title: 'Files in conflict', placeholder: `Which ${told} is meant?`, items });
  return chosen?.id ?? null;
}

/** @param {GitRow} row */
export async function discardRow(row) {
  const { repo } = row;
  const changed = discardable(row);
  const untracked = deletable(row);
  if (untracked.length) return deleteUntracked(row, untracked);
  if (!changed.length || !(await mayLose(row, changed))) return undefined;
  return tried(`discard the changes of ${called(changed)}`, () => discard(repo, changed));
}

/**
 * @param {GitRow} row
 * @param {string[]} paths
 */
async function mayLose({ repo }, paths) {
  const one = paths.length === 1;
  const unsaved = paths.flatMap((path) => dirtyBelow(idOf(roots.value, repo, path)));
  const kept = unsaved.length ? ` ${unsaved.length} open with unsaved changes stay open in the editor.` : '';
  const answer = await ask({
    title: `Discard the changes of ${called(paths)}?`,
    text: `${one ? 'The file becomes' : 'The files become'} what is staged, else what was committed last. This cannot be undone.${kept}`,
    ...(!one && { detail: paths.join('\n') }),
    buttons: [
      { id: 'discard', label: 'Discard Changes', kind: 'danger' },
      { id: 'cancel', label: 'Cancel' },
    ],
  });
  return answer === 'discard';
}

/**
 * @param {GitRow} row
 * @param {string[]} paths
 */
async function deleteUntracked({ repo }, paths) {
  const one = paths.length === 1;
  const answer = await ask({
    title: `Delete ${called(paths)}?`,
    text: `Git does not know ${one ? 'it' : 'them'} yet. ${one ? 'It goes' : 'They go'} to the Trash, from where the desktop can bring ${one ? 'it' : 'them'} back.`,
    ...(!one && { detail: paths.join('\n') }),
    buttons: [
      { id: 'delete', label: 'Move to the Trash', kind: 'danger' },
      { id: 'cancel', label: 'Cancel' },
    ],
  });
  if (answer !== 'delete') return;
  const gone = new Set();
  for (const path of paths) {
    const id = idOf(roots.value, repo, nameOf(path));
    if (await tried(`delete ${baseName(id)}`, () => call('file/delete', { path: id }))) gone.add(id);
  }
  closeGone((id) => gone.has(id));
  await refreshGit();
}
