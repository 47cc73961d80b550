// Registers the explorer: its panel, its commands and what it listens to.

import { effect } from '@preact/signals';
import { on, onReconnect } from '../../bridge/events.js';
import { onSaved } from '../../editor/savefile.js';
import { frontTab, isUntitled } from '../../editor/state.js';
import { registerCommand } from '../../shell/commands.js';
import { registerPanel, showPanel } from '../../shell/layout.js';
import { isOutside } from '../../stores/gitstatus.js';
import { isRoot } from '../../stores/paths.js';
import { roots } from '../../stores/settings.js';
import {
  addFolder,
  copyPaths,
  createEntry,
  deleteEntries,
  duplicateEntries,
  pasteFromClipboard,
  removeFolder,
  renameEntry,
  revealEntry,
  takeToClipboard,
} from './actions.js';
import { takeDrops } from './drop.js';
import { Explorer, focusTree } from './explorer.js';
import {
  clipboard,
  collapseAll,
  expand,
  focusRow,
  loadExplorer,
  followDisk,
  refresh,
  refreshAround,
  showPath,
  targets,
} from './state.js';

const hasRoots = () => roots.value.length > 0;
const hasTarget = () => targets.value.length > 0;
const hasEntry = () => targets.value.some((row) => !isRoot(row.path));
/** Keys such as Delete and F2 are the tree's only while it has the focus. */
const inTree = () => document.activeElement?.closest('.tree') instanceof Element;

/** @typedef {Parameters<typeof registerCommand>[0]} Command */

/** @type {Command[]} */
const kCommands = [
  { id: 'explorer.focus', title: 'Focus Explorer', keys: ['ctrl+shift+e'], global: true, run: () => show() },
  { id: 'explorer.newFile', title: 'New File…', when: hasRoots, run: () => createEntry(false) },
  { id: 'explorer.newFolder', title: 'New Folder…', when: hasRoots, run: () => createEntry(true) },
  { id: 'explorer.addFolder', title: 'Add Folder to Workspace…', keys: ['ctrl+k ctrl+o'], run: addFolder },
  { id: 'explorer.removeFolder', title: 'Remove Folder from Workspace…', when: hasRoots, run: removeFolder },
  { id: 'explorer.refresh', title: 'Refresh Explorer', when: hasRoots, run: refresh },
  { id: 'explorer.collapseAll', title: 'Collapse All Folders', when: hasRoots, run: collapseAll },
  { id: 'explorer.show', title: 'Show in Explorer', run: show },
  { id: 'explorer.expand', title: 'Open Folder', palette: false, run: showFolder },
  { id: 'explorer.reveal', title: 'Reveal in File Manager', when: hasTarget, run: () => revealEntry() },
  { id: 'explorer.copyPath', title: 'Copy Path', when: hasTarget, run: copyPaths },
  { id: 'explorer.duplicate', title: 'Duplicate', when: hasEntry, run: duplicateEntries },
];

/**
 * Commands whose keys count only in the tree; from the palette and menus they work anyway.
 * @type {Command[]}
 */
const kTreeCommands = [
  { id: 'explorer.rename', title: 'Rename…', keys: ['f2'], when: hasEntry, run: renameEntry },
  { id: 'explorer.delete', title: 'Delete', keys: ['delete'], when: hasEntry, run: deleteEntries },
  { id: 'explorer.cut', title: 'Cut', keys: ['ctrl+x'], when: hasEntry, run: () => takeToClipboard(true) },
  {
    id: 'explorer.copy',
    title: 'Copy',
    keys: ['ctrl+c'],
    when: hasTarget,
    run: () => takeToClipboard(false),
  },
  {
    id: 'explorer.paste',
    title: 'Paste',
    keys: ['ctrl+v'],
    when: () => clipboard.value.paths.length > 0 && hasRoots(),
    run: pasteFromClipboard,
  },
];

export function startExplorer() {
  registerPanel({
    id: 'explorer',
    title: 'Explorer',
    icon: 'files',
    place: 'side',
    component: Explorer,
    order: 10,
  });
  for (const command of kCommands) registerCommand({ ...command, category: 'Explorer' });
  for (const command of kTreeCommands)
    registerCommand({ ...command, category: 'Explorer', keysWhen: inTree, place: 'explorer' });
  takeDrops();
  const known = loadExplorer();
  on('fs.changed', followDisk);
  onReconnect(refresh);
  onSaved((path) => void refreshAround([path]));
  if (!known) openFirstRoots();
  followEditor();
}

/** At the very first start the folders are open, so that there is something to be seen. */
function openFirstRoots() {
  const stop = effect(() => {
    const names = roots.value.map((root) => root.name);
    if (names.length === 0) return;
    queueMicrotask(() => {
      stop();
      for (const name of names) void expand(name);
    });
  });
}

/** The tree lights up the file in front. */
function followEditor() {
  effect(() => {
    const id = frontTab.value?.id ?? '';
    if (id && !isUntitled(id) && !isOutside(id) && !inTree()) queueMicrotask(() => void showPath(id));
  });
}

/** @param {string} [path] */
async function show(path) {
  showPanel('explorer');
  if (path) await showPath(path);
  requestAnimationFrame(focusTree);
}

/** @param {string} path */
async function showFolder(path) {
  showPanel('explorer');
  await showPath(path);
  await expand(path);
  focusRow(path);
}
