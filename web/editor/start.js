// Puts the editor area into the shell and brings back what was open.

import { effect } from '@preact/signals';
import { call } from '../bridge/api.js';
import { runCommand } from '../shell/commands.js';
import { setCenter } from '../shell/layout.js';
import { reportError } from '../shell/toasts.js';
import { version, onOpenTargets } from '../stores/settings.js';
import { onLeave } from '../stores/windowstate.js';
import { EditorArea } from './area.js';
import { registerEditorCommands } from './commands.js';
import { flushBackups, restoreBackups, startHotExit } from './hotexit.js';
import { editorHost } from './lazy.js';
import { registerOutsideCommand } from './openoutside.js';
import { startOutside } from './outside.js';
import { dropEmptyUntitled, keepSession, restoreSession } from './session.js';
import { registerEditorStatus } from './status.js';
import { openFile } from './tabactions.js';

export function startEditor() {
  registerEditorCommands();
  registerEditorStatus();
  registerOutsideCommand();
  startHotExit();
  restoreSession();
  setCenter(EditorArea);
  onLeave(flushBackups);
  startOutside();
  whenSnapshotIsThere(() => void finishStart());
}

/**
 * The roots come with the snapshot, and backups lie below the roots.
 * @param {() => void} fn
 */
function whenSnapshotIsThere(fn) {
  let done = false;
  const stop = effect(() => {
    if (!version.value || done) return;
    done = true;
    queueMicrotask(() => {
      stop();
      fn();
    });
  });
}

async function finishStart() {
  void editorHost().then((host) => host.setLinkOpener(openWebAddress));
  await restoreBackups();
  dropEmptyUntitled();
  keepSession();
  // Only now, so that a file asked for comes to the front of what was restored.
  onOpenTargets((targets) => void openTargets(targets));
}

/** @param {import('../stores/settings.js').OpenTarget[]} targets */
async function openTargets(targets) {
  for (const { path, directory } of targets) {
    if (directory) await runCommand('explorer.expand', path);
    else await openFile(path);
  }
}

/** @param {string} url */
export function openWebAddress(url) {
  call('browser', { cmd: 'external', url }).catch((error) => reportError(`Could not open ${url}`, error));
}
