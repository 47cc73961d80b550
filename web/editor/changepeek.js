// A look at what stood at a changed place: the old lines below it, with steps to the next and the way back.

import { html } from 'htm/preact';
import { render } from 'preact';
import { runCommand } from '../shell/commands.js';
import { IconButton } from '../shell/places.js';
import { markOf } from '../stores/changes.js';
import { changeAt, changeBeside, revertChange } from './changebars.js';
import { activeView, frontBuffer } from './state.js';

/** The most lines that a look takes of the view; the rest scrolls. */
const kMostRows = 12;

/** @typedef {import('./changebars.js').ShownChange} ShownChange */

/** Takes the open one away. @type {(() => void) | null} */
let closeOpen = null;

export function closePeek() {
  closeOpen?.();
  closeOpen = null;
}

/**
 * Shows a change, or closes the look when there is none.
 * @param {ShownChange | null} change
 */
export function peek(change) {
  closePeek();
  const view = activeView();
  const buffer = frontBuffer.value;
  if (!change || !view || !buffer) return;
  const { line, endLine, kind } = markOf(change.hunk);
  view.reveal(line);
  const element = document.createElement('div');
  element.className = 'change-peek-place';
  const rows = Math.min(kMostRows, Math.max(1, change.old.length)) + 2;
  const stopInsert = view.insert(kind === 'removed-top' ? 0 : endLine, rows, element);
  // The text may become another one, or go, while the look is open.
  const stopWatching = buffer.onEdit(closePeek);
  const stopFront = frontBuffer.subscribe((now) => now !== buffer && queueMicrotask(closePeek));
  function close() {
    stopWatching();
    stopFront();
    render(null, element);
    stopInsert();
  }
  closeOpen = close;
  render(html`<${Peek} change=${change} line=${line} />`, element);
  /** @type {HTMLElement | null} */ (element.querySelector('button'))?.focus();
}

/** @param {number} [line] */
export function peekAt(line) {
  peek(changeAt(line));
}

/**
 * Goes to the next change; an open look goes along.
 * @param {1 | -1} step
 * @param {boolean} [look]
 */
export function stepTo(step, look = closeOpen !== null) {
  const change = changeBeside(step);
  if (!change) return;
  if (look) return peek(change);
  activeView()?.reveal(markOf(change.hunk).line);
  activeView()?.focus();
}

function back() {
  closePeek();
  activeView()?.focus();
}

/** @param {{change: ShownChange, line: number}} props */
function Peek({ change, line }) {
  const { at, count, old } = change;
  const lines = old.length === 1 ? '1 line' : `${old.length} lines`;
  const words = old.length ? `${lines} of the index` : 'Nothing stood here in the index';
  const revert = () => {
    closePeek();
    revertChange(line);
    activeView()?.focus();
  };
  const stage = () => {
    back();
    activeView()?.reveal(line);
    return runCommand('changes.stage');
  };
  /** @param {KeyboardEvent} event */
  const onKey = (event) => {
    if (event.key !== 'Escape') return;
    event.preventDefault();
    event.stopPropagation();
    back();
  };
  const oldText = old.join('').replace(/\n$/, '');
  return html`<section class="change-peek" aria-label=${`Change ${at + 1} of ${count}`} onKeyDown=${onKey}>
    <header class="change-peek-bar">
      <span>Change ${at + 1} of ${count} <span class="change-peek-words">${words}</span></span>
      <${IconButton} icon="arrow-up" label="Previous Change" onClick=${() => stepTo(-1)} />
      <${IconButton} icon="arrow-down" label="Next Change" onClick=${() => stepTo(1)} />
      <${IconButton} icon="add" label="Stage Change" onClick=${stage} />
      ${!frontBuffer.value?.readOnly && html`<${IconButton} icon="discard" label="Revert Change" onClick=${revert} />`}
      <${IconButton} icon="close" label="Close" onClick=${back} />
    </header>
    ${
      old.length > 0 &&
      html`<pre class="change-peek-old" tabindex="0" aria-label="Lines of the index">${oldText}</pre>`
    }
  </section>`;
}
