// Open files follow the disk: what to look at after an event or a gap in them, and what the user is told.

import { signal } from '@preact/signals';
import { on, onReconnect } from '../bridge/events.js';
import { note } from '../stores/log.js';
import { affectedIds, diskChange, diskPorts, followDisk, toldAs } from '../stores/outside.js';
import { roots } from '../stores/settings.js';
import { distrustBases, retryDocument } from './documents.js';
import { inTurn } from './savefile.js';
import { bufferOf, documents, isUntitled } from './state.js';

/** Counts the looks at files that turned out to be different, for who shows what is on disk. */
export const diskTurns = signal(0);

export function startOutside() {
  on('fs.changed', (event) => {
    distrustBases();
    return lookAt(affectedIds(diskChange(event), openFiles(), (id) => toldAs(roots.value, id)));
  });
  onReconnect(checkAllDisk);
}

/** After a gap in the events anything may have changed. */
export function checkAllDisk() {
  return lookAt(openFiles());
}

function openFiles() {
  return [...documents.value.keys()].filter((id) => !isUntitled(id));
}

/** @param {string[]} ids */
async function lookAt(ids) {
  await Promise.all(ids.map((id) => inTurn(id, () => look(id))));
}

/** @param {string} id */
async function look(id) {
  const buffer = bufferOf(id);
  if (!buffer) return retryDocument(id);
  try {
    if ((await followDisk(buffer, diskPorts)) !== 'same') diskTurns.value++;
  } catch (error) {
    // The text is as it was, and saving looks again.
    note('warning', `Could not look at ${id} after a change on disk`, error);
  }
}
