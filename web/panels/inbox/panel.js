// The "Inbox" panel: every question that waits, of the chat and of all tasks, with the cards that the
// conversations have; below them the rules by which the page answers some itself.

import { html } from 'htm/preact';
import { signal } from '@preact/signals';
import { useLayoutEffect, useRef } from 'preact/hooks';
import { icon } from '../../shell/icons.js';
import { IconButton } from '../../shell/places.js';
import { automatic, entries, removeRule, shownRules, wordsOfRule } from '../../stores/inbox.js';
import { Card } from '../chat/questions.js';
import { goToPlace } from './place.js';

/** @typedef {import('../../stores/inbox.js').Entry} Entry */

/** The entry that had the focus last, "" when the focus has gone elsewhere since. */
export const focused = signal('');

export function Inbox() {
  const list = entries.value;
  const box = useRef(/** @type {HTMLDivElement | null} */ (null));
  const before = useRef(/** @type {string[]} */ ([]));
  // An answered question takes the focus along with its card: the next one gets it.
  useLayoutEffect(() => {
    const keys = list.map(({ key }) => key);
    const at = before.current.indexOf(focused.value);
    before.current = keys;
    if (!focused.value || keys.includes(focused.value)) return;
    focused.value = '';
    if (document.activeElement === document.body) {
      focusEntry(box.current, keys[Math.min(Math.max(0, at), keys.length - 1)] ?? '');
    }
  }, [list]);
  return html`
    <div class="inbox" ref=${box} tabindex="-1">
      ${
        list.length === 0 &&
        html`<p class="empty">Nothing waits for you. What the chat and the tasks ask comes here.</p>`
      }
      <div class="inbox-questions" role="region" aria-label="Questions that wait">
        ${list.map((entry) => html`<${Row} key=${entry.key} entry=${entry} />`)}
      </div>
      <${Rules} />
      <${Answered} />
    </div>
  `;
}

/**
 * @param {ParentNode | null} place
 * @param {string} key "" for the panel itself
 */
function focusEntry(place, key) {
  const card = key && place?.querySelector(`[data-question="${CSS.escape(key)}"]`);
  if (card instanceof HTMLElement) card.focus();
  else if (place instanceof HTMLElement) place.focus();
}

/**
 * Puts the focus on a question, once the panel is drawn.
 * @param {string} key
 */
export function focusWaiting(key) {
  requestAnimationFrame(() => focusEntry(document.querySelector('.inbox'), key));
}

/** @param {{entry: Entry}} props */
function Row({ entry }) {
  const { key, question, who } = entry;
  /** @param {FocusEvent} event */
  const onFocusOut = (event) => {
    const { currentTarget, relatedTarget } = event;
    // Without a target the card itself may be going.
    if (!(currentTarget instanceof Node && relatedTarget instanceof Node)) return;
    if (!currentTarget.contains(relatedTarget) && focused.value === key) focused.value = '';
  };
  return html`
    <section
      class="inbox-entry"
      aria-label=${`${who} asks`}
      onFocusIn=${() => (focused.value = key)}
      onFocusOut=${onFocusOut}
    >
      <header class="inbox-who">
        ${icon(question.owner ? 'run-all' : 'comment-discussion')} <span class="inbox-name">${who}</span>
        <button type="button" class="button quiet" onClick=${() => goToPlace(question)}>
          Go There<span class="unseen">: ${who}</span>
        </button>
      </header>
      <${Card} question=${question} />
    </section>
  `;
}

/**
 * The button goes with its rule, and must not take the focus along.
 * @param {MouseEvent} event
 * @param {string} id
 */
function remove(event, id) {
  const box = event.currentTarget instanceof Element ? event.currentTarget.closest('.inbox') : null;
  removeRule(id);
  requestAnimationFrame(() => {
    if (document.activeElement !== document.body) return;
    const next = box?.querySelector('.inbox-rules summary') ?? box;
    if (next instanceof HTMLElement) next.focus();
  });
}

function Rules() {
  const list = shownRules.value;
  if (!list.length) {
    return html`<p class="inbox-note">
      A question's "Rule…" makes a rule: the page then answers the same question itself.
    </p>`;
  }
  return html`<details class="inbox-list inbox-rules" open>
    <summary>Rules (${list.length})</summary>
    <ul>
      ${list.map((rule) => {
        const words = wordsOfRule(rule);
        return html`<li key=${rule.id}>
          ${icon(rule.behavior === 'allow' ? 'pass' : 'circle-slash')} <span class="inbox-words">${words}</span>
          <${IconButton}
            icon="trash"
            label=${`Remove the rule: ${words}`}
            onClick=${(/** @type {MouseEvent} */ event) => remove(event, rule.id)}
          />
        </li>`;
      })}
    </ul>
  </details>`;
}

const clock = new Intl.DateTimeFormat(undefined, { hour: '2-digit', minute: '2-digit' });

function Answered() {
  const list = automatic.value;
  if (!list.length) return null;
  return html`<details class="inbox-list">
    <summary>Answered by rules (${list.length})</summary>
    <ul>
      ${list.map(
        ({ words, who, at, ok }) => html`<li key=${`${at} ${words}`}>
          ${icon(ok ? 'check' : 'warning')}
          <span class="inbox-words">${who}: ${ok ? words : `could not be answered. ${words}`}</span>
          <time class="inbox-time">${clock.format(at)}</time>
        </li>`,
      )}
    </ul>
  </details>`;
}

export function InboxBadge() {
  const count = entries.value.length;
  return count > 0 && html`<span class="count">${count}<span class="unseen"> questions</span></span>`;
}
