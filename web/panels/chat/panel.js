// The "Claude" panel: the conversation, questions above the field, the field.

import { html } from 'htm/preact';
import { IconButton } from '../../shell/places.js';
import { isEmpty, questions, running, stderr } from '../../stores/chat.js';
import { title } from '../../stores/chatrecords.js';
import { canResume, stopping } from '../../stores/chatsession.js';
import { Composer } from './composer.js';
import { Drawer } from './drawer.js';
import { FollowEnd } from './follow.js';
import { History, historyShown } from './historyview.js';
import { Doing, Items, Tail } from './items.js';
import { Questions } from './questions.js';
import { Queue } from './queueview.js';
import { Welcome } from './welcome.js';

export function Chat() {
  if (historyShown.value) return html`<${History} />`;
  return html`
    <div class="chat">
      <${Conversation} />
      <${Questions} list=${questions.value} />
      <${Drawer} />
      <${Queue} />
      <${Composer} />
    </div>
  `;
}

function Conversation() {
  return html`<${FollowEnd} label=${title.value || 'Conversation'}>
    ${isEmpty.value ? html`<${Welcome} />` : html`<${Items} />`}
    <${Tail} />
    <${Doing} />
  <//>`;
}

export function ChatActions() {
  return html`
    ${stderr.value !== '' && html`<${IconButton} icon="warning" command="chat.stderr" />`}
    ${canResume.value && html`<${IconButton} icon="debug-continue" command="chat.continue" />`}
    ${running.value && !stopping.value && html`<${IconButton} icon="debug-disconnect" command="chat.stop" />`}
    <${IconButton} icon="history" command="chat.history" />
    <${IconButton} icon="add" command="chat.new" />
  `;
}

/** How many questions wait. */
export function ChatBadge() {
  const count = questions.value.length;
  return count > 0 && html`<span class="count">${count}<span class="unseen"> questions</span></span>`;
}
