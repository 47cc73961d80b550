// Messages that wait for their turn.

import { html } from 'htm/preact';
import { useState } from 'preact/hooks';
import { icon } from '../../shell/icons.js';
import { reportError } from '../../shell/toasts.js';
import { busy } from '../../stores/chat.js';
import {
  dropQueued,
  editQueued,
  moveQueued,
  queue,
  queuePaused,
  sendQueuedNow,
} from '../../stores/chatsession.js';
import { typing } from './fields.js';

export function Queue() {
  const all = queue.value;
  if (!all.length) return null;
  const words = queuePaused.value ? 'Held back: send one when you are ready' : 'Sent one after the other';
  return html`
    <section class="chat-queue" aria-label="Waiting messages">
      <h2 class="chat-note">${all.length === 1 ? '1 message waits' : `${all.length} messages wait`}. ${words}.</h2>
      <ol>
        ${all.map((message, at) => html`<${Row} key=${message.id} message=${message} at=${at} count=${all.length} />`)}
      </ol>
    </section>
  `;
}

/** @param {{message: import('../../stores/chatqueue.js').Message, at: number, count: number}} props */
function Row({ message: { id, text, images }, at, count }) {
  const [words, setWords] = useState(/** @type {string | null} */ (null));
  const keep = () => {
    if (words !== null) editQueued(id, words);
    setWords(null);
  };
  /** @param {KeyboardEvent} event */
  const onKeyDown = (event) => {
    if (event.isComposing) return;
    if (event.key === 'Enter' && !event.shiftKey) keep();
    else if (event.key === 'Escape') setWords(null);
    else return;
    event.preventDefault();
    event.stopPropagation();
  };
  /**
   * @param {string} name
   * @param {string} label
   * @param {() => unknown} run
   * @param {boolean} [disabled]
   */
  const button = (name, label, run, disabled = false) => html`<button
    type="button"
    class="icon-button"
    aria-label=${label}
    title=${label}
    disabled=${disabled}
    onClick=${run}
  >
    ${icon(name)}
  </button>`;
  const now = () => sendQueuedNow(id).catch((error) => reportError('Could not send the message', error));
  return html`
    <li class="chat-queued">
      ${
        words === null
          ? html`<span class="chat-queued-text">${text || 'Pictures'}${images.length > 0 && ` (${images.length})`}</span>`
          : html`<textarea
              class="field"
              rows="2"
              aria-label="The waiting message"
              ref=${(/** @type {HTMLTextAreaElement | null} */ field) => field !== document.activeElement && field?.focus()}
              value=${words}
              onInput=${typing(setWords)}
              onKeyDown=${onKeyDown}
              onBlur=${keep}
            ></textarea>`
      }
      ${button('arrow-up', 'Move up', () => moveQueued(id, at - 1), at === 0)}
      ${button('arrow-down', 'Move down', () => moveQueued(id, at + 1), at === count - 1)}
      ${button('edit', 'Edit', () => setWords(text))}
      ${button('send', busy.value ? 'Interrupt and send now' : 'Send now', now)}
      ${button('close', 'Remove', () => dropQueued(id))}
    </li>
  `;
}
