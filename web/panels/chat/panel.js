// The "Claude" panel: the conversation, questions above the field, the field.

import { html } from 'htm/preact';
import { useLayoutEffect, useRef, useState } from 'preact/hooks';
import { icon } from '../../shell/icons.js';
import { IconButton } from '../../shell/places.js';
import { isEmpty, questions, running, stderr } from '../../stores/chat.js';
import { title } from '../../stores/chatrecords.js';
import { canResume, stopping } from '../../stores/chatsession.js';
import { Composer } from './composer.js';
import { Drawer } from './drawer.js';
import { History, historyShown } from './historyview.js';
import { Doing, Items, Tail } from './items.js';
import { Questions } from './questions.js';
import { Queue } from './queueview.js';
import { Welcome } from './welcome.js';

/** Nearer to the end than this counts as being there, in px. */
const NEAR_END = 40;

export function Chat() {
  if (historyShown.value) return html`<${History} />`;
  return html`
    <div class="chat">
      <${Conversation} />
      <${Questions} />
      <${Drawer} />
      <${Queue} />
      <${Composer} />
    </div>
  `;
}

/** Follows the end as it grows, unless the user has scrolled away from it. */
function Conversation() {
  const scroller = useRef(/** @type {HTMLDivElement | null} */ (null));
  const content = useRef(/** @type {HTMLDivElement | null} */ (null));
  const stuck = useRef(true);
  const [away, setAway] = useState(false);
  const toEnd = () => {
    const element = scroller.current;
    if (element) element.scrollTop = element.scrollHeight;
  };

  useLayoutEffect(() => {
    const follow = () => stuck.current && toEnd();
    const observer = new ResizeObserver(follow);
    if (content.current) observer.observe(content.current);
    if (scroller.current) observer.observe(scroller.current);
    return () => observer.disconnect();
  }, []);
  const onScroll = () => {
    const { scrollTop = 0, clientHeight = 0, scrollHeight = 0 } = scroller.current ?? {};
    stuck.current = scrollHeight - clientHeight - scrollTop < NEAR_END;
    setAway(!stuck.current);
  };

  return html`
    <div class="chat-talk">
      <div
        class="chat-scroll"
        ref=${scroller}
        tabindex="0"
        role="log"
        aria-live="off"
        aria-label=${title.value || 'Conversation'}
        onScroll=${onScroll}
      >
        <div class="chat-content" ref=${content}>
          ${isEmpty.value ? html`<${Welcome} />` : html`<${Items} />`}
          <${Tail} />
          <${Doing} />
        </div>
      </div>
      ${
        away &&
        html`<button type="button" class="button chat-to-end" onClick=${() => ((stuck.current = true), toEnd())}>
          ${icon('arrow-down')} To the end
        </button>`
      }
    </div>
  `;
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
