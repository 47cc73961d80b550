// What is done with notes: nothing that was typed is lost on the way.

import { ask, prompt } from '../../shell/dialogs.js';
import { reportError } from '../../shell/toasts.js';
import { changedOutside, createNote, dirty, draft, kept, openFile, openNote, saveNote } from '../../stores/memory.js';

/** True when the open note may be left. */
async function settled() {
  if (!dirty.value) return true;
  const answer = await ask({
    title: `Save ${openFile.value}?`,
    text: 'It was changed and not saved.',
    buttons: [
      { id: 'save', label: 'Save', kind: 'primary' },
      { id: 'drop', label: 'Drop the Changes', kind: 'danger' },
      { id: 'stay', label: 'Go On Writing' },
    ],
  });
  if (answer === 'save') return save();
  if (answer === 'drop') draft.value = kept.value;
  return answer === 'drop';
}

/** @param {string} file "" for the graph */
export async function goTo(file) {
  if (!(await settled())) return;
  if (!file) {
    openFile.value = '';
    return;
  }
  try {
    await openNote(file);
  } catch (error) {
    reportError(`Could not open ${file}`, error);
  }
}

/** True when it is saved. */
export async function save() {
  if (!dirty.value) return true;
  try {
    if (await changedOutside()) {
      const answer = await ask({
        title: `${openFile.value} was changed meanwhile`,
        text: 'Claude or another program has written to it since you opened it.',
        buttons: [
          { id: 'write', label: 'Replace It with Mine', kind: 'danger' },
          { id: 'stay', label: 'Go On Writing' },
        ],
      });
      if (answer !== 'write') return false;
    }
    await saveNote();
    return true;
  } catch (error) {
    reportError(`Could not save ${openFile.value}`, error);
    return false;
  }
}

export async function newNote() {
  if (!(await settled())) return;
  const name = await prompt({
    title: 'New note',
    label: 'Name',
    validate: (value) => (/[/\\]|\.\./.test(value) ? 'A name without folders.' : value.trim() ? '' : 'A name, please.'),
    button: 'Create',
  });
  if (name) await createNote(name.trim());
}
