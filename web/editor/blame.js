// Who changed the line of the cursor last, in the status bar while that is wanted. It is asked when the cursor
// rests, one question at a time, and about some lines around it at once.

import { effect, signal, untracked } from '@preact/signals';
import { html } from 'htm/preact';
import { registerCommand, runCommand } from '../shell/commands.js';
import { icon } from '../shell/icons.js';
import { showMenu } from '../shell/menus.js';
import { registerStatusItem } from '../shell/statusbar.js';
import { FileBlame } from '../stores/blame.js';
import { gitEpoch, repoFor } from '../stores/git.js';
import { diffIn } from '../stores/gitdiffs.js';
import { idOf } from '../stores/gitstatus.js';
import { readDetail } from '../stores/historydetail.js';
import { ago, moment } from '../stores/historytime.js';
import { note } from '../stores/log.js';
import { roots } from '../stores/settings.js';
import * as uistate from '../stores/uistate.js';
import { openDiff } from './diff.js';
import { cursor, frontBuffer, frontTab } from './state.js';

/**
 * @typedef {import('../stores/blame.js').BlameCommit} BlameCommit
 * @typedef {{repo: import('../stores/gitstatus.js').Repo, path: string}} RepoFile
 */

const kKey = 'editor.blame';
const kRestMs = 200;

const wanted = signal(false);
/**
 * What is said of the line; null for nothing.
 * @type {import('@preact/signals').Signal<{id: string, words: string, commit: BlameCommit | null, file: RepoFile} | null>}
 */
const shown = signal(null);

/** What is known of the file in front. @type {{id: string, epoch: number, blame: Promise<FileBlame | null>} | null} */
let known = null;
/** @type {ReturnType<typeof setTimeout> | undefined} */
let timer;
let running = false;
let again = false;

export function startBlame() {
  wanted.value = uistate.get(kKey, /** @type {unknown} */ (false)) === true;
  registerCommand({ id: 'blame.toggle', title: 'Toggle Blame', category: 'Git', checked: () => wanted.value, run: toggle });
  registerCommand({
    id: 'blame.show',
    title: 'Show the Commit of the Line',
    category: 'Git',
    when: () => shown.value?.commit != null,
    run: showCommit,
  });
  registerStatusItem({ id: 'editor.blame', side: 'left', order: 45, component: Blame });
  effect(() => {
    const buffer = wanted.value ? frontBuffer.value : null;
    void [cursor.value.line, gitEpoch.value];
    const id = frontTab.value?.id;
    untracked(() => {
      if (!buffer || shown.value?.id !== id) shown.value = null;
      if (buffer) soon();
    });
    return buffer?.onEdit(soon);
  });
}

function toggle() {
  wanted.value = !wanted.value;
  uistate.set(kKey, wanted.value);
}

function soon() {
  clearTimeout(timer);
  timer = setTimeout(() => void look(), kRestMs);
}

/** Looks at the line of the cursor, once more if it has moved meanwhile. */
async function look() {
  again = running;
  if (running) return;
  running = true;
  const id = frontTab.value?.id ?? '';
  try {
    const found = await lookAt(id, cursor.value.line);
    if (wanted.value && frontTab.value?.id === id) shown.value = found;
  } catch (error) {
    shown.value = null;
    note('info', `No blame for ${id}`, error); // a file that no commit has, for one
  }
  running = false;
  if (again) soon();
}

/** @param {string} id @param {number} line */
async function lookAt(id, line) {
  const file = repoFor(id);
  if (!file?.repo.isRepo || !frontBuffer.value) return null;
  if (known?.id !== id || known.epoch !== gitEpoch.value) known = { id, epoch: gitEpoch.value, blame: FileBlame.of(file) };
  const blame = await known.blame;
  const buffer = frontBuffer.value;
  if (!blame || !buffer) return null;
  const at = blame.committedLine(buffer.doc.lines().join('\n'), line);
  const commit = at ? await blame.commitOf(at) : null;
  if (!commit) return { id, words: buffer.dirty.value ? 'Not saved, or not committed' : 'Not committed', commit: null, file };
  return { id, words: `${commit.author}, ${ago(commit.time)}`, commit, file };
}

function Blame() {
  if (!shown.value) return null;
  const { words, commit } = shown.value;
  if (!commit) return html`<span class="status-item blame">${icon('person')} ${words}</span>`;
  const more = `${commit.subject}\n${commit.author}, ${moment(commit.time)}\n${commit.hash.slice(0, 10)}`;
  return html`<button type="button" class="status-item blame" title=${more} onClick=${menu}>
    ${icon('person')} <span class="unseen">Line last changed by </span>${words}: ${brief(commit.subject)}
  </button>`;
}

const kSubject = 40;

/** @param {string} subject */
const brief = (subject) => (subject.length > kSubject ? `${subject.slice(0, kSubject)}…` : subject);

/** @param {MouseEvent} event */
function menu(event) {
  const now = shown.value;
  if (!now?.commit) return;
  const { commit, file } = now;
  void showMenu({
    anchor: /** @type {Element} */ (event.currentTarget),
    label: 'Line',
    items: [
      { label: 'Show Commit in the Graph', run: showCommit },
      { label: 'Open Changes of the File', run: () => openChanges(file, commit) },
      { command: 'history.show' },
      { label: 'Copy Hash', run: () => navigator.clipboard.writeText(commit.hash) },
      { kind: 'separator' },
      { command: 'blame.toggle', label: 'Hide Blame' },
    ],
  });
}

function showCommit() {
  const now = shown.value;
  if (now?.commit) return runCommand('graph.commit', { repo: now.file.repo.name, hash: now.commit.hash });
}

/** @param {RepoFile} file @param {BlameCommit} commit */
async function openChanges({ repo, path }, { hash, path: then }) {
  const { parents, files } = await readDetail(repo.name, hash);
  const old = files.find((one) => one.path === then)?.oldPath ?? '';
  openDiff(idOf(roots.value, repo, then || path), diffIn({ hash, parent: parents[0] ?? '', old }));
}
