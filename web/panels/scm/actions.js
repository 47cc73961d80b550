// What can be done with a row of the source control panel.

import { call } from '../../bridge/api.js';
import { openConflict as openConflictPage } from '../../editor/conflictview.js';
import { openDiff } from '../../editor/diff.js';
import { openFile } from '../../editor/tabactions.js';
import { reportError, toast } from '../../shell/toasts.js';
import { kindFor } from '../../stores/gitdiffs.js';
import { idOf, isOutside } from '../../stores/gitstatus.js';
import { baseName } from '../../stores/paths.js';
import { roots } from '../../stores/settings.js';
import { collapsed, fold } from './state.js';
import { tried, wholeName } from './work.js';

/** @typedef {import('../../stores/gitrows.js').GitRow} GitRow */

/** @param {GitRow} row */
export function idOfRow({ repo, change }) {
  return change ? idOf(roots.value, repo, change.path) : '';
}

/**
 * Shows a change, or folds and unfolds what is no change.
 * @param {GitRow} row
 * @param {{preview?: boolean, focus?: boolean}} [options]
 */
export function activate(row, options = {}) {
  const { change, group, path } = row;
  if (!change || !group) return fold(path, !collapsed.value.has(path));
  const kind = kindFor(group.id);
  if (group.id === 'conflicts') return openConflict(row, options);
  const id = idOfRow(row);
  if (kind !== 'text') return openDiff(id, kind, options);
  // A nested repository is listed as one folder.
  if (!change.path.endsWith('/') && !isOutside(id)) void openFile(id, options);
}

/**
 * @param {GitRow} row
 * @param {{preview?: boolean, focus?: boolean}} options
 */
function openConflict(row, options) {
  return tried(`open ${row.name}`, async () => {
    const path = await wholeName(row);
    if (path === null) return;
    const id = idOf(roots.value, row.repo, path);
    if (isOutside(id)) openDiff(id, 'diff-head', options);
    else openConflictPage(id, options);
  });
}

/** @param {GitRow} row */
export function mayOpenFile(row) {
  const { change } = row;
  return change !== undefined && change.kind !== 'deleted' && !change.path.endsWith('/') && !isOutside(idOfRow(row));
}

/** @param {GitRow} row */
export async function openRowFile(row) {
  if (row.group?.id !== 'conflicts') return openFile(idOfRow(row));
  return tried(`open ${row.name}`, async () => {
    const path = await wholeName(row);
    if (path !== null) await openFile(idOf(roots.value, row.repo, path));
  });
}

/** @param {GitRow} row */
export async function copyRowPath({ repo, change }) {
  const path = change ? `${repo.root}/${change.path}` : repo.root;
  await navigator.clipboard.writeText(path);
  toast({ kind: 'info', text: `Copied ${path}` });
}

/** @param {GitRow} row */
export async function revealRow(row) {
  const path = idOfRow(row);
  try {
    await call('shell/reveal', { path });
  } catch (error) {
    reportError(`Could not reveal ${baseName(path)}`, error);
  }
}
