// The conflict editor: what both sides made of a file and what they began from, above the file itself, in
// which the conflicts are decided. Files without lines to choose among have choices of their own.

import { html } from 'htm/preact';
import { useEffect, useState } from 'preact/hooks';
import { call } from '../bridge/api.js';
import { runCommand } from '../shell/commands.js';
import { ask } from '../shell/dialogs.js';
import { icon } from '../shell/icons.js';
import { reportError, toast } from '../shell/toasts.js';
import { readConflict, takeWhole } from '../stores/conflictgit.js';
import { repoFor } from '../stores/git.js';
import { conflictNames, stage } from '../stores/gitactions.js';
import { idOf } from '../stores/gitstatus.js';
import { baseName } from '../stores/paths.js';
import { roots } from '../stores/settings.js';
import { openTab, pageOfId } from '../stores/tabs.js';
import { conflictsOf } from './conflictmarks.js';
import { Panes, isInPanes, shownIn } from './conflictpanes.js';
import { openDocument, releaseDocument } from './documents.js';
import { registerPage } from './pages.js';
import { saveDocument } from './savefile.js';
import { bufferOf, documents, frontTab, isShown, tabs } from './state.js';
import { openFile, openPage } from './tabactions.js';

/** @typedef {import('../stores/conflictgit.js').Sides} Sides */

export function startConflictPages() {
  registerPage('conflict', { title: (id) => `${baseName(id)} (Conflict)`, component: ConflictPage });
}

/** @param {string} id workspace path */
export const openConflict = (id, options = {}) => openPage('conflict', id, options);

/** What the page in front shows, if it is one with a text. */
export function pageInFront() {
  const page = pageOfId(frontTab.value?.id ?? '');
  const shown = shownIn(tabs.value.active);
  return page?.name === 'conflict' && shown?.id === page.arg ? shown : null;
}

/** @param {{arg: string, group: string}} props */
function ConflictPage({ arg: id, group }) {
  const [sides, failure, again] = useSides(id);
  const file = repoFor(id);
  if (!file) return html`<${Note}>${baseName(id)} is in no repository.<//>`;
  if (failure) return html`<${Note} alert>Could not read the conflict of ${baseName(id)}: ${failure}<//>`;
  if (!sides) return html`<${Note}>Reading the conflict…<//>`;
  if (sides.kind === 'none') return html`<${Over} id=${id} />`;
  if (sides.kind !== 'text') return html`<${WholeFile} id=${id} sides=${sides} again=${again} />`;
  return html`<${TextConflict} id=${id} group=${group} sides=${sides} />`;
}

/** @param {{alert?: boolean, children?: any}} props */
function Note({ alert = false, children }) {
  return html`<p class="pane-note" role=${alert ? 'alert' : 'status'} tabindex="0">${children}</p>`;
}

/**
 * The versions that git has, read again when the conflict comes or goes.
 * @param {string} id
 * @returns {[Sides | null, string, () => void]}
 */
function useSides(id) {
  const [read, setRead] = useState(/** @type {{sides: Sides | null, failure: string}} */ ({ sides: null, failure: '' }));
  const [turn, setTurn] = useState(0);
  const file = repoFor(id);
  // A conflicted path may be cut in the status, so every change of their number counts.
  const conflicts = file?.repo.files.filter(({ conflicted }) => conflicted).map(({ path }) => path).join('\n');
  useEffect(() => {
    let alive = true;
    if (!file) return undefined;
    readConflict(file)
      .then((sides) => alive && setRead({ sides, failure: '' }))
      .catch((error) => alive && setRead({ sides: null, failure: error.message }));
    return () => {
      alive = false;
    };
  }, [id, file !== null, conflicts, turn]);
  return [read.sides, read.failure, () => setTurn(turn + 1)];
}

/** What to do once a conflict is over. @param {{id: string}} props */
function Over({ id }) {
  const [others, setOthers] = useState(/** @type {string[]} */ ([]));
  const repo = repoFor(id)?.repo;
  useEffect(() => {
    if (repo) conflictNames(repo).then(setOthers, (error) => reportError('Could not list the conflicts', error));
  }, [repo?.files]);
  return html`<div class="pane-note" role="status">
    <p>${icon('check')} ${baseName(id)} is not in conflict${others.length ? '' : ', and no other file is'}.</p>
    ${others.map((path) => {
      const other = repo ? idOf(roots.value, repo, path) : path;
      return html`<button type="button" class="button" tabindex="0" key=${path} onClick=${() => openConflict(other)}>Go on with ${path}</button>`;
    })}
    ${others.length === 0 && html`<button type="button" class="button primary" tabindex="0" onClick=${() => runCommand('scm.desk')}>Open Commit Desk</button>`}
    <button type="button" class="button" onClick=${() => openFile(id)}>Open the File</button>
  </div>`;
}

/**
 * Ends a conflict with the text as it is.
 * @param {string} id
 */
export async function markResolved(id) {
  const file = repoFor(id);
  if (!file) return;
  const left = conflictsOf(id).length;
  if (left > 0) {
    const answer = await ask({
      title: `Mark ${baseName(id)} as resolved?`,
      text: `${left === 1 ? '1 conflict is' : `${left} conflicts are`} not decided. Their markers would be committed as text.`,
      buttons: [
        { id: 'mark', label: 'Mark as Resolved', kind: 'danger' },
        { id: 'cancel', label: 'Cancel' },
      ],
    });
    if (answer !== 'mark') return;
  }
  const buffer = bufferOf(id);
  if (buffer?.dirty.value && (await saveDocument(id)) === null) return;
  await told(`mark ${baseName(id)} as resolved`, () => stage(file.repo, [file.path]));
}

/**
 * @param {string} words
 * @param {() => Promise<unknown>} work
 */
async function told(words, work) {
  try {
    await work();
  } catch (error) {
    reportError(`Could not ${words}`, error);
  }
}

/** A file that one side deleted, or that has no lines. @param {{id: string, sides: Sides, again: () => void}} props */
function WholeFile({ id, sides, again }) {
  const file = repoFor(id);
  if (!file) return null;
  const name = baseName(id);
  /** @param {string} words @param {() => Promise<unknown>} work */
  const act = (words, work) => async () => {
    await told(words, work);
    again();
  };
  const remove = act(`delete ${name}`, async () => {
    if (!(await mayDelete(name))) return;
    // What is left of it goes where it can be brought back from.
    if (sides.gone !== 'both') await call('file/delete', { path: id }).catch(() => {});
    await stage(file.repo, [file.path]);
  });
  const keepIt = act(`keep ${name}`, () => stage(file.repo, [file.path]));
  const words = {
    ours: `You deleted ${name}, and the other side changed it.`,
    theirs: `You changed ${name}, and the other side deleted it.`,
    both: `Both sides deleted ${name}, or moved it to different places.`,
    '': `${name} has no lines to choose among, so one side's version is taken whole.`,
  }[sides.gone];
  /** @param {string} label @param {() => unknown} run */
  const button = (label, run) => html`<button type="button" class="button" tabindex="0" onClick=${run}>${label}</button>`;
  return html`<div class="pane-note conflict-whole" role="group" aria-label=${`Conflict of ${name}`}>
    <p>${icon('warning')} ${words}</p>
    ${sides.gone === '' && button('Use Ours', act(`take ours of ${name}`, () => takeWhole(file, 'ours')))}
    ${sides.gone === '' && button('Use Theirs', act(`take theirs of ${name}`, () => takeWhole(file, 'theirs')))}
    ${sides.gone === '' && button('Use the File as It Is', keepIt)}
    ${(sides.gone === 'ours' || sides.gone === 'theirs') && button('Keep the File', keepIt)}
    ${sides.gone !== '' && button('Delete the File', remove)}
    ${sides.gone !== 'both' && button('Open the File', () => openFile(id))}
  </div>`;
}

/** @param {string} name */
async function mayDelete(name) {
  const answer = await ask({
    title: `Delete ${name}?`,
    text: 'What is on disk goes to the Trash, and the deletion is staged.',
    buttons: [
      { id: 'delete', label: 'Delete the File', kind: 'danger' },
      { id: 'cancel', label: 'Cancel' },
    ],
  });
  return answer === 'delete';
}

/** @param {{id: string, group: string, sides: Sides}} props */
function TextConflict({ id, group, sides }) {
  const content = documents.value.get(id)?.content.value;
  const buffer = bufferOf(id);
  const known = documents.value.has(id);
  useEffect(() => {
    if (!known) openDocument(id);
  }, [id, known]);
  useEffect(() => () => void setTimeout(() => letGo(id)), [id]);
  if (content?.kind === 'failed') return html`<${Note} alert>Could not open ${id}: ${content.words}<//>`;
  if (!buffer) return html`<${Note}>Opening ${baseName(id)}…<//>`;
  return html`<${Panes} key=${id} id=${id} group=${group} sides=${sides} buffer=${buffer} />`;
}

/** A text that nothing shows any more goes; one that is not saved gets a tab instead. @param {string} id */
function letGo(id) {
  if (isInPanes(id) || isShown(id)) return;
  if (!bufferOf(id)?.dirty.value) return releaseDocument(id);
  tabs.value = openTab(tabs.value, { kind: 'text', id }).state;
  toast({ kind: 'info', text: `${baseName(id)} has unsaved changes and stays open.` });
}
