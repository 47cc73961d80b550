// The second reader's notes beside the lines: a mark in the margin, its words on hover, a look below the line,
// and a list. A note goes when its line becomes another one, or when the user has seen enough of it.

import { signal } from '@preact/signals';
import { html } from 'htm/preact';
import { render } from 'preact';
import { registerCommand, runCommand } from '../shell/commands.js';
import { icon } from '../shell/icons.js';
import { IconButton } from '../shell/places.js';
import { pick } from '../shell/quickpick.js';
import { registerStatusItem } from '../shell/statusbar.js';
import { toast } from '../shell/toasts.js';
import { lineHunks, linesWithEnds, markOf } from '../stores/changes.js';
import { readSides, repoFor } from '../stores/git.js';
import { baseName } from '../stores/paths.js';
import { kindWords, loadReader, movedRemarks, readOver, readerFailure, readerOn, reading, setReader } from '../stores/reader.js';
import { watchBuffers } from './documents.js';
import { onSaved } from './savefile.js';
import { activeView, bufferOf, frontBuffer, frontTab } from './state.js';
import { openFile } from './tabactions.js';

/**
 * @typedef {import('../stores/buffers.js').TextBuffer} TextBuffer
 * @typedef {import('../stores/reader.js').Remark} Remark
 * @typedef {{key: number, id: string, remark: Remark, text: string, mark: string}} Note `text` is that of its line
 */

/** @type {import('@preact/signals').Signal<readonly Note[]>} */
const notes = signal([]);
let lastKey = 0;

/** The rows of a look at a note. */
const kRows = 4;
/** Takes the open look away. @type {(() => void) | null} */
let closeOpen = null;

/** @type {Record<string, string>} */
const kIcons = { bug: 'bug', edge: 'warning', cleanup: 'trash' };

const hasNotes = () => notes.value.length > 0;

/** @type {Parameters<typeof registerCommand>[0][]} */
const kCommands = [
  {
    id: 'reader.toggle',
    title: 'Second Reader: Read After Each Save',
    checked: () => readerOn.value,
    run: toggle,
  },
  { id: 'reader.next', title: 'Second Reader: Show Next Note', when: hasNotes, run: showNext },
  { id: 'reader.list', title: 'Second Reader: Show Notes…', when: hasNotes, run: list },
  { id: 'reader.clear', title: 'Second Reader: Dismiss All Notes', when: hasNotes, run: () => drop(() => true) },
];

export function startReader() {
  loadReader();
  for (const command of kCommands) registerCommand({ ...command, category: 'Claude' });
  registerStatusItem({ id: 'reader', side: 'right', order: 90, component: ReaderStatus });
  onSaved((id) => void saved(id));
  watchBuffers((id, buffer) => {
    const stop = buffer.onEdit(() => dropChanged(id, buffer));
    return () => {
      stop();
      notes.value = notes.value.filter((note) => note.id !== id);
    };
  });
  // The marks belong to the text editor, which tells of no press on them.
  document.addEventListener('mousedown', ({ target }) => {
    const key = target instanceof Element ? /\bnote-(\d+)\b/.exec(target.getAttribute('class') ?? '') : null;
    const note = key && notes.value.find((one) => one.key === Number(key[1]));
    if (note) requestAnimationFrame(() => look(note));
  });
}

function toggle() {
  setReader(!readerOn.value);
  if (!readerOn.value) return drop(() => true);
  toast({ kind: 'info', text: 'The second reader is on: after each save Claude reads the lines that changed.' });
}

/** @param {string} id */
async function saved(id) {
  const buffer = bufferOf(id);
  if (!readerOn.value || !buffer) return;
  const lines = [...buffer.doc.lines()];
  const changed = await changedLines(id, lines);
  await readOver(id, { lines, changed }, (remarks) => show(id, remarks, lines));
}

/**
 * What changed since the last commit: all of a file that is in none, and nothing where there is no git.
 * @param {string} id
 * @param {string[]} lines
 */
async function changedLines(id, lines) {
  const all = [{ line: 1, endLine: lines.length }];
  const file = repoFor(id);
  if (!file) return [];
  try {
    const base = linesWithEnds((await readSides(file, 'HEAD')).original);
    const hunks = lineHunks(base, linesWithEnds(lines.join('\n')));
    return hunks.filter(({ newCount }) => newCount > 0).map(markOf);
  } catch {
    return all; // a new file is in no commit
  }
}

/**
 * @param {string} id
 * @param {Remark[]} remarks on the lines as they were saved
 * @param {string[]} lines
 */
function show(id, remarks, lines) {
  drop((note) => note.id === id);
  const buffer = bufferOf(id);
  if (!buffer) return;
  const now = buffer.doc.lines();
  const { model } = /** @type {import('./host.js').HostDocument} */ (buffer.doc);
  const fresh = movedRemarks(remarks, lines, now).map((remark) => {
    const key = ++lastKey;
    const [mark] = model.deltaDecorations([], [decorationOf(remark, key)]);
    return { key, id, remark, text: now[remark.line - 1], mark };
  });
  notes.value = [...notes.value, ...fresh];
}

/**
 * @param {Remark} remark
 * @param {number} key
 */
function decorationOf(remark, key) {
  const { line, kind, text } = remark;
  // Claude's words are words, whatever signs they hold.
  const value = `**${kindWords(remark)}:** ${text.replace(/[\\`*_{}[\]()#+\-.!<>|~&]/g, '\\$&')}`;
  return {
    range: { startLineNumber: line, startColumn: 1, endLineNumber: line, endColumn: 1 },
    options: {
      isWholeLine: true,
      // Beside the number of the line: another column would move the text when the first note comes.
      lineNumberClassName: `margin-note note-${key} ${Object.hasOwn(kIcons, kind) ? kind : ''}`,
      lineNumberHoverMessage: { value },
      hoverMessage: { value },
    },
  };
}

/** @param {Note} note */
function lineOf({ id, mark }) {
  const buffer = bufferOf(id);
  if (!buffer) return null;
  const { model } = /** @type {import('./host.js').HostDocument} */ (buffer.doc);
  return model.getDecorationRange(mark)?.startLineNumber ?? null;
}

/**
 * @param {string} id
 * @param {TextBuffer} buffer
 */
function dropChanged(id, buffer) {
  if (!notes.value.some((note) => note.id === id)) return;
  const { model } = /** @type {import('./host.js').HostDocument} */ (buffer.doc);
  drop((note) => {
    if (note.id !== id) return false;
    const line = lineOf(note);
    return line === null || model.getLineContent(line) !== note.text;
  });
}

/** @param {(note: Note) => boolean} isGone */
function drop(isGone) {
  const gone = notes.value.filter(isGone);
  if (gone.length === 0) return;
  notes.value = notes.value.filter((note) => !gone.includes(note));
  closeLook();
  for (const { id, mark } of gone) {
    const buffer = bufferOf(id);
    if (buffer) /** @type {import('./host.js').HostDocument} */ (buffer.doc).model.deltaDecorations([mark], []);
  }
}

function closeLook() {
  closeOpen?.();
  closeOpen = null;
}

/** The words of a note below its line. @param {Note} note */
function look(note) {
  closeLook();
  const view = activeView();
  const buffer = frontBuffer.value;
  const line = lineOf(note);
  if (!view || !buffer || line === null || frontTab.value?.id !== note.id) return;
  view.reveal(line);
  const element = document.createElement('div');
  element.className = 'margin-look-place';
  const remove = view.insert(line, kRows, element);
  const stopFront = frontBuffer.subscribe((now) => now !== buffer && queueMicrotask(closeLook));
  closeOpen = () => {
    stopFront();
    render(null, element);
    remove();
  };
  render(html`<${Look} note=${note} />`, element);
  /** @type {HTMLElement | null} */ (element.querySelector('button'))?.focus();
}

function back() {
  closeLook();
  activeView()?.focus();
}

/** @param {{note: Note}} props */
function Look({ note }) {
  const { remark } = note;
  const dismiss = () => {
    drop((one) => one === note);
    back();
  };
  /** @param {KeyboardEvent} event */
  const onKey = (event) => {
    if (event.key !== 'Escape') return;
    event.preventDefault();
    event.stopPropagation();
    back();
  };
  return html`<section class="margin-look" aria-label="Note of the second reader" onKeyDown=${onKey}>
    <header>
      <b>${kindWords(remark)}</b>
      <${IconButton} icon="check" label="Dismiss Note" onClick=${dismiss} />
      <${IconButton} icon="arrow-down" label="Next Note" onClick=${() => runCommand('reader.next')} />
      <${IconButton} icon="close" label="Close" onClick=${back} />
    </header>
    <p tabindex="0">${remark.text}</p>
  </section>`;
}

/** @param {Note} note */
async function goTo(note) {
  const line = lineOf(note) ?? note.remark.line;
  await openFile(note.id, { line });
  requestAnimationFrame(() => requestAnimationFrame(() => look(note)));
}

/** The next note behind the cursor in this file, else the first of another. */
function showNext() {
  const id = frontTab.value?.id;
  const line = activeView()?.selection()?.line ?? 0;
  const ordered = [...notes.value].sort((a, b) => (lineOf(a) ?? 0) - (lineOf(b) ?? 0));
  const here = ordered.filter((note) => note.id === id);
  const next = here.find((note) => (lineOf(note) ?? 0) > line) ?? ordered.find((note) => note.id !== id) ?? here[0];
  return next && goTo(next);
}

async function list() {
  const items = notes.value.map((note) => ({
    id: String(note.key),
    label: note.remark.text,
    description: `${kindWords(note.remark)}, ${baseName(note.id)}:${lineOf(note) ?? note.remark.line}`,
    icon: kIcons[note.remark.kind] ?? 'comment',
  }));
  const chosen = await pick({ title: 'Notes of the second reader', placeholder: 'Go to a note', items });
  const note = notes.value.find(({ key }) => String(key) === chosen?.id);
  if (note) await goTo(note);
}

function ReaderStatus() {
  if (!readerOn.value) return null;
  const count = notes.value.length;
  const failed = readerFailure.value;
  const words = failed
    ? `The second reader could not read: ${failed}`
    : reading.value
      ? `The second reader reads ${baseName(reading.value)}`
      : `Second reader: ${count === 1 ? '1 note' : `${count} notes`}`;
  const turnOff = { label: 'Turn It Off', run: () => runCommand('reader.toggle') };
  const open = () => (count ? runCommand('reader.list') : toast({ kind: 'info', text: words, actions: [turnOff] }));
  return html`<button type="button" class="status-item" title=${words} onClick=${open}>
    ${icon(failed ? 'warning' : 'eye')}
    <span class="unseen" role="status">${words}</span>
    <span aria-hidden="true">${reading.value ? '…' : count || ''}</span>
  </button>`;
}
