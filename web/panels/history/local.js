// What can be done with the local versions of a file.

import { openDiff } from '../../editor/diff.js';
import { saveDocument } from '../../editor/savefile.js';
import { bufferOf } from '../../editor/state.js';
import { openFile } from '../../editor/tabactions.js';
import { ask } from '../../shell/dialogs.js';
import { showMenu } from '../../shell/menus.js';
import { pick } from '../../shell/quickpick.js';
import { reportError, toast } from '../../shell/toasts.js';
import { repoFor } from '../../stores/git.js';
import { diffLocal } from '../../stores/gitdiffs.js';
import { idOf } from '../../stores/gitstatus.js';
import { following, followId, showSubject, subject } from '../../stores/history.js';
import { ago } from '../../stores/historytime.js';
import { splitEnds } from '../../stores/lineends.js';
import { CAUSE_WORDS, versionMoment } from '../../stores/localversions.js';
import {
  clearVersions,
  hasVersions,
  keepText,
  localVersions,
  readVersion,
  removeVersions,
  shownFile,
  showVersionsOf,
} from '../../stores/localversionsshown.js';
import { baseName } from '../../stores/paths.js';
import { roots } from '../../stores/settings.js';

/**
 * @typedef {import('../../stores/localversions.js').Version} Version
 * @typedef {import('../../stores/tabs.js').Tab} Tab
 * @typedef {{preview?: boolean, focus?: boolean}} OpenOptions
 */

/** The file that a tab is of; "" for pages and untitled texts. @param {Tab | null} tab */
export const fileOfTab = (tab) => (tab && tab.kind !== 'page' && tab.kind !== 'plan' && hasVersions(tab.id) ? tab.id : '');

/** Shows the file of a tab, while that is wanted. @param {Tab | null} tab */
export function followTab(tab) {
  const file = fileOfTab(tab);
  if (!following.value || !file) return;
  if (repoFor(file)?.repo.isRepo) followId(file);
  else showSubject(null);
  showVersionsOf(file);
}

/** Shows a file and stays with it. @param {import('../../stores/gitstatus.js').Repo} repo @param {string} path */
export function showFileOf(repo, path) {
  following.value = false;
  showSubject({ repo: repo.name, path });
  showVersionsOf(idOf(roots.value, repo, path));
}

/** What the panel calls the file it shows. */
export const shownName = () => subject.value?.path ?? shownFile.value;

/** @param {string} id @param {Version} version @param {OpenOptions} [options] */
export const compareVersion = (id, version, options) => openDiff(id, diffLocal(version.time), options);

/** @param {string} id @param {Version} older @param {Version} version */
const compareWithOlder = (id, older, version) => openDiff(id, diffLocal(older.time, version.time));

/**
 * Makes the text of a file that of an earlier version, as an edit that can be undone, and saves it. What was saved
 * stays as a version, and what was not becomes one.
 * @param {string} id
 * @param {Version} version
 */
export async function restoreLocal(id, version) {
  const name = baseName(id);
  try {
    const { text } = await readVersion(id, version.time);
    await openFile(id);
    const buffer = bufferOf(id);
    if (!buffer || buffer.readOnly) throw new Error('the file can no longer be edited as text');
    if (buffer.dirty.value && !(await mayReplace(name, version))) return;
    if (buffer.dirty.value) keepUnsaved(id, buffer);
    takeText(buffer, text, version);
    if ((await saveDocument(id, { restored: true })) === null) return;
    toast({ kind: 'info', text: `Restored ${name} from ${versionMoment(version.time)}` });
  } catch (error) {
    reportError(`Could not restore ${name}`, error);
  }
}

/** @param {string} name @param {Version} version */
async function mayReplace(name, version) {
  const answer = await ask({
    title: `Restore ${name} from ${versionMoment(version.time)}?`,
    text: 'It has changes that are not saved. They are kept as a version of their own, and undo brings them back.',
    buttons: [
      { id: 'restore', label: 'Restore', kind: 'primary' },
      { id: 'cancel', label: 'Cancel' },
    ],
  });
  return answer === 'restore';
}

/**
 * @param {import('../../editor/state.js').TextBuffer} buffer
 * @param {string} text
 * @param {Version} version
 */
function takeText(buffer, text, { encoding }) {
  const { base, savedState } = buffer;
  const disk = base ?? { size: 0, modified: 0, hash: '', racy: true };
  const changed = buffer.diskChanged.value;
  buffer.adopt({ text, encoding, base: disk, ...splitEnds(text) });
  // Until it is saved the disk holds what it held before.
  buffer.base = base;
  buffer.diskChanged.value = changed;
  buffer.savedState = savedState;
  buffer.encodingAgreed = true;
  buffer.refresh();
}

/**
 * Keeps a text that was never saved.
 * @param {string} id
 * @param {import('../../editor/state.js').TextBuffer} buffer
 */
export function keepUnsaved(id, buffer) {
  const bytes = buffer.bytes();
  if (bytes) void keepText(id, { bytes, encoding: buffer.encoding.value, cause: 'unsaved' });
}

/**
 * Asks which version is meant.
 * @param {string} id
 * @param {string} what becomes of it
 * @param {(id: string, version: Version) => unknown} act
 */
export async function chooseVersion(id, what, act) {
  let versions;
  try {
    versions = (await localVersions.versions(id)).reverse();
  } catch (error) {
    return reportError(`Could not read the local versions of ${baseName(id)}`, error);
  }
  const chosen = await pick({
    title: `Local versions of ${baseName(id)}`,
    placeholder: `Which version is ${what}?`,
    items: versions.map(({ time, cause }) => ({
      id: String(time),
      label: versionMoment(time),
      description: `${CAUSE_WORDS[cause]}, ${ago(time / 1000)}`,
      icon: VERSION_ICONS[cause],
    })),
    empty: 'No version of this file was kept yet.',
  });
  const version = versions.find(({ time }) => String(time) === chosen?.id);
  if (version) await act(id, version);
}

/** @type {Record<import('../../stores/localversions.js').Cause, string>} */
export const VERSION_ICONS = { saved: 'save', found: 'file', restored: 'discard', unsaved: 'edit' };

/** @param {string} id @param {Version} version */
export async function deleteVersion(id, version) {
  const sure = await mayDelete(`Delete the version of ${versionMoment(version.time)}?`, 'It cannot be brought back.');
  if (sure) await deleted(id, ({ time }) => time === version.time);
}

/** @param {string} id */
export async function deleteAllOf(id) {
  const text = 'They cannot be brought back. The file itself stays as it is.';
  if (await mayDelete(`Delete all local versions of ${baseName(id)}?`, text)) await deleted(id);
}

/** @param {string} title @param {string} text @param {string} [label] */
async function mayDelete(title, text, label = 'Delete') {
  const answer = await ask({
    title,
    text,
    buttons: [
      { id: 'delete', label, kind: 'danger' },
      { id: 'cancel', label: 'Cancel' },
    ],
  });
  return answer === 'delete';
}

/** @param {string} id @param {(version: Version) => boolean} [chosen] */
async function deleted(id, chosen) {
  try {
    await removeVersions(id, chosen);
  } catch (error) {
    reportError(`Could not delete local versions of ${baseName(id)}`, error);
  }
}

export async function clearAll() {
  const text = 'Those of all files in all folders of the workspace go to the Trash. The files themselves stay as they are.';
  if (!(await mayDelete('Delete all local versions?', text, 'Move to the Trash'))) return;
  try {
    await clearVersions();
  } catch (error) {
    reportError('Could not delete the local versions', error);
  }
}

/**
 * @param {number} x
 * @param {number} y
 * @param {string} id
 * @param {Version} version
 * @param {Version | undefined} older the version before it
 */
export function showLocalMenu(x, y, id, version, older) {
  void showMenu({
    x,
    y,
    label: 'Local version',
    items: [
      { label: 'Compare with the File as It Is', run: () => compareVersion(id, version) },
      {
        label: 'Compare with the Version Before',
        enabled: older !== undefined,
        run: () => older && compareWithOlder(id, older, version),
      },
      { label: 'Restore This Version', run: () => restoreLocal(id, version) },
      { kind: 'separator' },
      { label: 'Delete This Version…', run: () => deleteVersion(id, version) },
      { label: 'Delete All Local Versions of the File…', run: () => deleteAllOf(id) },
    ],
  });
}
