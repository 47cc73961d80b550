// The frame of a question's card, and the way of its answer.

import { html } from 'htm/preact';
import { icon } from '../../shell/icons.js';
import { reportError } from '../../shell/toasts.js';
import { questionKey } from '../../stores/chatquestions.js';
import { chatConversation, conversationOf } from './conversation.js';

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
  const list = card?.closest('.chat-questions');
  const conversation = conversationOf(question);
  try {
    await conversation.answer(question, body, words);
    if (list) focusQuestion(list, conversation);
  } catch (error) {
    reportError('Could not answer', error);
  }
}

/**
 * Puts the focus on the first question, or the field when there is none.
 * @param {ParentNode} place
 * @param {import('./conversation.js').Conversation} conversation
 */
export function focusQuestion(place, { focusField }) {
  requestAnimationFrame(() => {
    const card = place.querySelector('.chat-question');
    if (card instanceof HTMLElement && card.isConnected) card.focus();
    else focusField();
  });
}

/** The chat's first question. */
export function focusNextQuestion() {
  requestAnimationFrame(() => {
    const chat = document.querySelector('.chat');
    focusQuestion(chat ?? document.createElement('div'), chatConversation);
  });
}

/**
 * The frame of a card, with its two keys.
 * @param {object} props
 * @param {string} props.label
 * @param {string} props.sign
 * @param {Question} props.question
 * @param {() => unknown} props.onEnter
 * @param {() => unknown} props.onEscape
 * @param {any} props.children
 */
export function Frame({ label, sign, question, onEnter, onEscape, children }) {
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
  const key = questionKey(question);
  return html`
    <section
      class="chat-question"
      role="group"
      tabindex="0"
      aria-label=${label}
      aria-busy=${String(conversationOf(question).answering.value.has(key))}
      data-question=${key}
      onKeyDown=${onKeyDown}
    >
      <h2 class="chat-question-title">${icon(sign)} ${label}</h2>
      ${children}
    </section>
  `;
}
