// The frame of a question's card, and the way of its answer.

import { html } from 'htm/preact';
import { icon } from '../../shell/icons.js';
import { reportError } from '../../shell/toasts.js';
import { answer, answering } from '../../stores/chatsession.js';
import { focusComposer } from './focus.js';

/** @typedef {import('../../stores/chatquestions.js').Question} Question */
/** @typedef {import('../../stores/chatquestions.js').Answer} Answer */

/**
 * Sends an answer; the focus that was in the card goes on to the next one or the field.
 * @param {Question} question
 * @param {Answer} body
 * @param {string} words
 */
export async function give(question, body, words) {
  const card = document.activeElement?.closest('.chat-question');
  try {
    await answer(question, body, words);
    if (card) focusNextQuestion();
  } catch (error) {
    reportError('Could not answer', error);
  }
}

/** Puts the focus on the first question, or the field when there is none. */
export function focusNextQuestion() {
  requestAnimationFrame(() => {
    const card = document.querySelector('.chat-question');
    if (card instanceof HTMLElement) card.focus();
    else focusComposer();
  });
}

/**
 * The frame of a card, with its two keys.
 * @param {object} props
 * @param {string} props.label
 * @param {string} props.sign
 * @param {string} props.id
 * @param {() => unknown} props.onEnter
 * @param {() => unknown} props.onEscape
 * @param {any} props.children
 */
export function Frame({ label, sign, id, onEnter, onEscape, children }) {
  /** @param {KeyboardEvent} event */
  const onKeyDown = (event) => {
    if (event.isComposing || event.ctrlKey || event.altKey || event.metaKey || event.shiftKey) return;
    // In a field or on a button of the card, Enter is theirs.
    if (event.key === 'Enter' && event.target === event.currentTarget) onEnter();
    else if (event.key === 'Escape') onEscape();
    else return;
    event.preventDefault();
    event.stopPropagation();
  };
  return html`
    <section
      class="chat-question"
      role="group"
      tabindex="0"
      aria-label=${label}
      aria-busy=${String(answering.value.has(id))}
      data-question=${id}
      onKeyDown=${onKeyDown}
    >
      <h2 class="chat-question-title">${icon(sign)} ${label}</h2>
      ${children}
    </section>
  `;
}
