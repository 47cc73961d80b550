// Earlier conversations: find one, take it up again, branch off, rename, take it out of the list.

import { signal } from '@preact/signals';
import { html } from 'htm/preact';
import { useState } from 'preact/hooks';
import { ask, prompt } from '../../shell/dialogs.js';
import { fuzzy } from '../../shell/fuzzy.js';
import { icon } from '../../shell/icons.js';
import { showMenu } from '../../shell/menus.js';
import { reportError } from '../../shell/toasts.js';
import { busy, sessionId } from '../../stores/chat.js';
import { deleteTalk, fork, history, renameTalk, resume } from '../../stores/chatrecords.js';
import { costWords } from '../../stores/chatusage.js';
import { typing } from './fields.js';
import { focusComposer } from './focus.js';

/** @typedef {import('../../stores/chathistory.js').ChatRecord} ChatRecord */

export const historyShown = signal(false);

const NONE_YET = 'Conversations are listed here once a turn has ended.';

export function History() {
  const [query, setQuery] = useState('');
  const found = history.value.filter(({ title }) => !query.trim() || fuzzy(query, title));
  return html`
    <section class="chat-history" aria-label="Earlier conversations">
      <div class="chat-history-find">
        <input
          class="field"
          type="search"
          data-focus
          aria-label="Find a conversation"
          placeholder="Find a conversation"
          value=${query}
          onInput=${typing(setQuery)}
        />
        <button type="button" class="button" onClick=${leave}>Back</button>
      </div>
      ${!found.length && html`<p class="empty">${query ? 'Nothing matches.' : NONE_YET}</p>`}
      <ul>
        ${found.map((record) => html`<${Row} key=${record.id} record=${record} />`)}
      </ul>
    </section>
  `;
}

function leave() {
  historyShown.value = false;
  focusComposer();
}

/** @param {{record: ChatRecord}} props */
function Row({ record }) {
  const { id, title, time, turns, cost } = record;
  const here = id === sessionId.value;
  const facts = [
    new Date(time).toLocaleString(),
    `${turns} ${turns === 1 ? 'turn' : 'turns'}`,
    cost > 0 && costWords(cost),
  ];
  const items = () => [
    { label: 'Resume', run: () => take(record, resume) },
    { label: 'Fork', run: () => take(record, fork) },
    { kind: /** @type {const} */ ('separator') },
    { label: 'Rename…', run: () => rename(record) },
    { label: 'Delete from the List…', run: () => remove(record) },
  ];
  return html`
    <li class="chat-record" onContextMenu=${(/** @type {MouseEvent} */ event) => {
      event.preventDefault();
      void showMenu({ x: event.clientX, y: event.clientY, label: title, items: items() });
    }}>
      <button
        type="button"
        class="chat-record-name"
        aria-current=${here ? 'true' : undefined}
        onClick=${() => take(record, resume)}
      >
        <span>${title}</span>
        <span class="chat-note">${facts.filter(Boolean).join(' · ')}</span>
      </button>
      <button
        type="button"
        class="icon-button"
        aria-label=${`More for ${title}`}
        aria-haspopup="menu"
        onClick=${(/** @type {Event} */ event) => {
          const anchor = /** @type {Element} */ (event.currentTarget);
          const { left, bottom } = anchor.getBoundingClientRect();
          void showMenu({ x: left, y: bottom, anchor, label: title, items: items() });
        }}
      >
        ${icon('ellipsis')}
      </button>
    </li>
  `;
}

/**
 * @param {ChatRecord} record
 * @param {(record: ChatRecord) => Promise<void>} how
 */
async function take(record, how) {
  if (!(await mayLeave())) return;
  historyShown.value = false;
  focusComposer();
  try {
    await how(record);
  } catch (error) {
    reportError(`Could not take up "${record.title}"`, error);
  }
}

/** A turn that is under way would be cut short. */
export async function mayLeave() {
  if (!busy.value) return true;
  const answer = await ask({
    title: 'Claude is still working',
    text: 'The turn that is under way will be stopped.',
    buttons: [
      { id: 'stop', label: 'Stop and go on', kind: 'danger' },
      { id: 'stay', label: 'Stay here' },
    ],
  });
  return answer === 'stop';
}

/** @param {ChatRecord} record */
async function rename({ id, title }) {
  const words = await prompt({
    title: 'Rename the conversation',
    label: 'Title',
    value: title,
    select: [0, title.length],
    button: 'Rename',
    validate: (value) => (value.trim() ? '' : 'A title is needed.'),
  });
  if (words !== null) renameTalk(id, words);
}

/** @param {ChatRecord} record */
async function remove(record) {
  const answer = await ask({
    title: `Delete "${record.title}" from the list?`,
    text: 'Its words go to the Trash. What Claude itself keeps of the conversation stays.',
    buttons: [
      { id: 'delete', label: 'Delete from the list', kind: 'danger' },
      { id: 'keep', label: 'Keep' },
    ],
  });
  if (answer !== 'delete') return;
  try {
    await deleteTalk(record);
  } catch (error) {
    reportError('Could not delete the words of the conversation', error);
  }
}
