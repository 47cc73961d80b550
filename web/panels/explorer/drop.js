// Files dropped from the desktop. The native side takes the drag, so the page learns of it by events that
// carry a place in the page, and finds out itself what lies there.

import { call } from '../../bridge/api.js';
import { on } from '../../bridge/events.js';
import { reportError } from '../../shell/toasts.js';
import { workspacePath } from '../../stores/paths.js';
import { roots } from '../../stores/settings.js';
import { targetFolder } from '../../stores/tree.js';
import { openFile } from '../../editor/tabactions.js';
import { importInto } from './actions.js';
import { dropFolder } from './state.js';

/**
 * What a place in the page takes: files go into a folder of the tree, anywhere else they are opened.
 * @param {Element | null} element
 * @returns {string} the folder, or ""
 */
function folderAt(element) {
  const row = element?.closest('[data-path]');
  const path = row?.getAttribute('data-path');
  if (path) return targetFolder(path, row?.getAttribute('data-directory') === 'true');
  // Below the last row is the last root, as it looks.
  return element?.closest('.tree') ? (roots.value.at(-1)?.name ?? '') : '';
}

/**
 * @param {string[]} paths absolute
 * @param {string} folder
 */
async function dropPaths(paths, folder) {
  if (folder) return importInto(paths, folder);
  const outside = paths.filter((path) => !workspacePath(roots.value, path));
  for (const path of paths) {
    const inside = workspacePath(roots.value, path);
    if (inside.includes('/')) await openFile(inside);
  }
  // What lies outside comes back as an open request, with its folder as a new root.
  if (outside.length) await call('open', { paths: outside });
}

export function takeDrops() {
  on('drag.over', ({ x, y }) => {
    dropFolder.value = folderAt(document.elementFromPoint(x, y));
  });
  on('drag.state', ({ active }) => {
    document.documentElement.classList.toggle('dropping', active === true);
    if (!active) dropFolder.value = '';
  });
  on('files.dropped', ({ paths, x, y }) => {
    const element = document.elementFromPoint(x, y);
    if (element?.closest('[data-takes-drops]')) return; // that place takes them in its own way
    const folder = folderAt(element);
    dropPaths(paths, folder).catch((error) => reportError('Could not open what was dropped', error));
  });
}
