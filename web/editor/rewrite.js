// Rewriting the selection by instruction: a field above it, and Claude's answer as an inline comparison that is
// taken or left. The text itself changes only when it is taken, as one step of undo.

import { effect, signal } from '@preact/signals';
import { html } from 'htm/preact';
import { render } from 'preact';
import { useLayoutEffect, useRef } from 'preact/hooks';
import { registerCommand } from '../shell/commands.js';
import { icon } from '../shell/icons.js';
import { rove } from '../shell/places.js';
import { toast } from '../shell/toasts.js';
import { askRewrite, contextOf, placeOf, stepsOf, textIn } from '../stores/rewrite.js';
import { activeView, frontBuffer, frontTab, isUntitled } from './state.js';

/**
 * @typedef {import('../stores/buffers.js').TextBuffer} TextBuffer
 * @typedef {import('../stores/rewrite.js').Place} Place
 * @typedef {import('./host.js').HostDocument} HostDocument
 * @typedef {import('./host.js').HostEditor} HostEditor
 * @typedef {'asking' | 'working' | 'shown' | 'failed'} State
 *
 * @typedef {object} Rewrite
 * @property {string} id
 * @property {TextBuffer} buffer
 * @property {string} mark the decoration that follows the code through other edits
 * @property {string} code as it was when it was sent
 * @property {string} answer
 * @property {string} instruction
 * @property {import('@preact/signals').Signal<State>} state
 * @property {string} words why there is no answer
 * @property {AbortController | null} abort
 */

/** The rows that the field takes among the lines. */
const kFieldRows = 3;

/** One at a time. @type {Rewrite | null} */
let open = null;
/** What is drawn for it. @type {(() => void)[]} */
let drawn = [];
/** The instruction that was given last, to be had again. */
let lastInstruction = '';

const canRewrite = () => frontBuffer.value !== null && frontBuffer.value.readOnly === '';
const isShown = () => open?.state.value === 'shown';
const inText = () => document.activeElement?.closest('.text-view') instanceof Element;

export function startRewrite() {
  registerCommand({
    id: 'rewrite.start',
    title: 'Rewrite Selection…',
    category: 'Claude',
    keys: ['ctrl+i'],
    global: true,
    when: canRewrite,
    keysWhen: inText,
    place: 'text',
    run: begin,
  });
  registerCommand({ id: 'rewrite.accept', title: 'Accept the Rewrite', category: 'Claude', when: isShown, run: () => open && accept(open) });
  registerCommand({ id: 'rewrite.discard', title: 'Discard the Rewrite', category: 'Claude', when: () => open !== null, run: closeToText });
  // A look at another text in between does not end it.
  effect(() => {
    const front = frontBuffer.value;
    queueMicrotask(() => {
      if (!open) return;
      undraw();
      if (front === open.buffer) whenShown(open, 60);
    });
  });
}

/** @param {TextBuffer} buffer */
const modelOf = (buffer) => /** @type {HostDocument} */ (buffer.doc).model;

function begin() {
  const buffer = frontBuffer.value;
  const selected = activeView()?.selection();
  if (!buffer || !selected) return;
  if (open) close();
  const lines = buffer.doc.lines();
  const place = placeOf(lines, selected);
  const code = textIn(lines, place);
  if (!code.trim()) return void toast({ kind: 'info', text: 'Select the code to rewrite, then say how.' });
  const range = {
    startLineNumber: place.line,
    startColumn: place.column,
    endLineNumber: place.endLine,
    endColumn: place.endColumn,
  };
  const never = 1; // what is typed at its ends is not part of it
  const options = { className: 'rewrite-place', stickiness: never, isWholeLine: place.column === 1 };
  const [mark] = modelOf(buffer).deltaDecorations([], [{ range, options }]);
  open = {
    id: frontTab.value?.id ?? '',
    buffer,
    mark,
    code,
    answer: '',
    instruction: lastInstruction,
    state: signal(/** @type {State} */ ('asking')),
    words: '',
    abort: null,
  };
  draw(open);
}

/**
 * Where the code is by now; null when it is another one.
 * @param {Rewrite} rewrite
 * @returns {Place | null}
 */
function placeNow({ buffer, mark, code }) {
  const range = modelOf(buffer).getDecorationRange(mark);
  if (!range) return null;
  const { startLineNumber: line, startColumn: column, endLineNumber: endLine, endColumn } = range;
  const place = { line, column, endLine, endColumn };
  return textIn(buffer.doc.lines(), place) === code ? place : null;
}

/** The view follows the tabs a moment later. @param {Rewrite} rewrite @param {number} frames */
function whenShown(rewrite, frames) {
  if (open !== rewrite || frontBuffer.value !== rewrite.buffer) return;
  if (activeView()?.shows(rewrite.buffer.doc)) draw(rewrite);
  else if (frames > 0) requestAnimationFrame(() => whenShown(rewrite, frames - 1));
}

/** @param {Rewrite} rewrite */
function draw(rewrite) {
  undraw();
  const view = activeView();
  const range = modelOf(rewrite.buffer).getDecorationRange(rewrite.mark);
  if (!view || !range) return;
  const element = document.createElement('div');
  element.className = 'rewrite-place-top';
  const stopEdits = rewrite.buffer.onEdit(() => checkPlace(rewrite));
  const remove = view.insert(range.startLineNumber - 1, kFieldRows, element);
  render(html`<${Field} rewrite=${rewrite} />`, element);
  drawn = [
    () => {
      stopEdits();
      render(null, element);
      remove();
    },
    ...(rewrite.state.value === 'shown' ? drawAnswer(rewrite, view) : []),
  ];
}

function undraw() {
  for (const remove of drawn) remove();
  drawn = [];
}

/**
 * What goes is marked in the text, what comes stands in room below it.
 * @param {Rewrite} rewrite
 * @param {HostEditor} view
 */
function drawAnswer(rewrite, view) {
  const place = placeNow(rewrite);
  if (!place) return [];
  const model = modelOf(rewrite.buffer);
  const steps = stepsOf(rewrite.buffer.doc.lines(), place, rewrite.answer);
  const gone = steps.filter(({ count }) => count > 0).map(({ line, count }) => ({
    range: { startLineNumber: line, startColumn: 1, endLineNumber: line + count - 1, endColumn: 1 },
    options: { isWholeLine: true, className: 'rewrite-gone', marginClassName: 'rewrite-gone' },
  }));
  const marks = model.deltaDecorations([], gone);
  const rooms = steps.filter(({ added }) => added.length > 0).map(({ line, count, added }) => {
    const element = document.createElement('div');
    element.className = 'rewrite-new';
    element.tabIndex = 0;
    element.setAttribute('role', 'group');
    element.setAttribute('aria-label', 'New lines');
    render(added.map((text) => html`<div>${text || ' '}</div>`), element);
    return view.insert(line + count - 1, added.length, element);
  });
  return [() => void (model.isDisposed() || model.deltaDecorations(marks, [])), ...rooms];
}

/** Edits elsewhere move the code; one within it makes the answer meaningless. @param {Rewrite} rewrite */
function checkPlace(rewrite) {
  if (open !== rewrite || rewrite.state.value === 'asking' || placeNow(rewrite)) return;
  rewrite.abort?.abort();
  fail(rewrite, 'the code was changed meanwhile. Select it again.');
}

/**
 * @param {Rewrite} rewrite
 * @param {string} words
 */
function fail(rewrite, words) {
  rewrite.words = words;
  rewrite.state.value = 'failed';
  redraw(rewrite);
}

/** @param {Rewrite} rewrite */
function redraw(rewrite) {
  if (open === rewrite && frontBuffer.value === rewrite.buffer) draw(rewrite);
}

function close() {
  if (!open) return;
  const { buffer, mark, abort } = open;
  open = null;
  abort?.abort();
  undraw();
  const model = modelOf(buffer);
  if (!model.isDisposed()) model.deltaDecorations([mark], []);
}

function closeToText() {
  close();
  activeView()?.focus();
}

/** @param {Rewrite} rewrite */
async function send(rewrite) {
  const { buffer, id } = rewrite;
  const instruction = rewrite.instruction.trim();
  const range = modelOf(buffer).getDecorationRange(rewrite.mark);
  if (!instruction || !range) return;
  lastInstruction = instruction;
  rewrite.abort?.abort();
  const lines = buffer.doc.lines();
  const { startLineNumber: line, startColumn: column, endLineNumber: endLine, endColumn } = range;
  const place = { line, column, endLine, endColumn };
  // Before anything is sent, the code may well have been changed.
  rewrite.code = textIn(lines, place);
  const abort = new AbortController();
  rewrite.abort = abort;
  rewrite.state.value = 'working';
  redraw(rewrite);
  const what = {
    instruction,
    code: rewrite.code,
    language: buffer.language.value,
    path: isUntitled(id) ? '' : id,
    context: contextOf(lines, place),
  };
  try {
    rewrite.answer = await askRewrite(what, abort.signal);
    if (rewrite.abort !== abort || open !== rewrite) return;
    if (rewrite.answer === rewrite.code) return fail(rewrite, 'Claude gave the code back as it is.');
    if (!placeNow(rewrite)) return fail(rewrite, 'the code was changed meanwhile. Select it again.');
    rewrite.state.value = 'shown';
    redraw(rewrite);
  } catch (error) {
    if (rewrite.abort !== abort || open !== rewrite || hasFailed(rewrite)) return;
    if (abort.signal.aborted || isAbort(error)) {
      rewrite.state.value = 'asking';
      redraw(rewrite);
    } else fail(rewrite, error instanceof Error ? error.message : String(error));
  }
}

/** @param {Rewrite} rewrite */
const hasFailed = ({ state }) => state.peek() === 'failed';

/** From the tray it can be cancelled as well. @param {unknown} error */
const isAbort = (error) => error instanceof DOMException && error.name === 'AbortError';

/** @param {Rewrite} rewrite */
function accept(rewrite) {
  const place = placeNow(rewrite);
  if (!place) return fail(rewrite, 'the code was changed meanwhile. Select it again.');
  const { buffer, answer } = rewrite;
  close();
  const range = {
    startLineNumber: place.line,
    startColumn: place.column,
    endLineNumber: place.endLine,
    endColumn: place.endColumn,
  };
  const model = modelOf(buffer);
  model.pushStackElement();
  model.pushEditOperations([], [{ range, text: answer.replaceAll('\n', buffer.doc.eol()) }], () => null);
  model.pushStackElement();
  activeView()?.focus();
}

/** @param {{rewrite: Rewrite}} props */
function Field({ rewrite }) {
  const place = useRef(/** @type {HTMLElement | null} */ (null));
  const state = rewrite.state.value;
  useLayoutEffect(() => {
    const selector = state === 'shown' ? '.rewrite-accept' : 'textarea';
    const target = /** @type {HTMLElement | null | undefined} */ (place.current?.querySelector(selector));
    target?.focus();
  }, [state]);
  /** @param {KeyboardEvent} event */
  const onKey = (event) => {
    if (event.isComposing) return;
    const inField = event.target instanceof HTMLTextAreaElement;
    if (event.key === 'Escape') closeToText();
    else if (inField && event.key === 'Enter' && !event.shiftKey) void send(rewrite);
    else if (!inField && state === 'shown' && event.key === 'Tab' && !event.shiftKey) accept(rewrite);
    else return;
    event.preventDefault();
    event.stopPropagation();
  };
  return html`<section class="rewrite" aria-label="Rewrite the selection" ref=${place} onKeyDown=${onKey}>
    <textarea
      class="field"
      rows="1"
      aria-label="How to rewrite the selection"
      placeholder="How shall Claude rewrite this? (Enter)"
      value=${rewrite.instruction}
      readonly=${state === 'working'}
      onInput=${(/** @type {Event} */ event) => {
        rewrite.instruction = /** @type {HTMLTextAreaElement} */ (event.target).value;
      }}
    ></textarea>
    <div class="rewrite-bar" role="toolbar" aria-label="Rewrite" onKeyDown=${rove}>
      <span class="rewrite-words" role="status">${statusWords(rewrite)}</span>
      <${Buttons} rewrite=${rewrite} />
    </div>
  </section>`;
}

/** @param {Rewrite} rewrite */
function statusWords({ state, words }) {
  switch (state.value) {
    case 'working':
      return 'Claude is writing…';
    case 'failed':
      return `Could not rewrite: ${words}`;
    case 'shown':
      return 'Tab or Enter takes it, Escape leaves the text as it is';
    default:
      return 'Shift+Enter begins a new line';
  }
}

/** @param {{rewrite: Rewrite}} props */
function Buttons({ rewrite }) {
  const stop = () => rewrite.abort?.abort();
  switch (rewrite.state.value) {
    case 'working':
      return html`<button type="button" class="button" onClick=${stop}>${icon('debug-stop')} Stop</button>`;
    case 'shown':
      return html`
        <button type="button" class="button primary rewrite-accept" onClick=${() => accept(rewrite)}>Accept</button>
        <button type="button" class="button" onClick=${closeToText}>Discard</button>
        <button type="button" class="button" onClick=${() => send(rewrite)}>Again</button>
      `;
    default:
      return html`
        <button type="button" class="button primary" onClick=${() => send(rewrite)}>Rewrite</button>
        <button type="button" class="button" onClick=${closeToText}>Close</button>
      `;
  }
}
