// The conversation itself: what has settled, drawn once, and the open end, drawn as it grows.

import { html } from 'htm/preact';
import { useMemo } from 'preact/hooks';
import { icon } from '../../shell/icons.js';
import { costWords, timeWords } from '../../stores/chatusage.js';
import { useConversation } from './conversation.js';
import { linkMenu } from './links.js';
import { GrowingMarkdown, Markdown } from './markdown.js';
import { GrowingTool, ToolCard } from './tools.js';

/** @typedef {import('../../stores/chatstream.js').Item} Item */

export function Items() {
  const conversation = useConversation();
  const { items, dropped } = conversation.talk;
  return html`
    ${
      dropped.value > 0 &&
      html`<p class="chat-note">${dropped.value} earlier entries are not shown any more.</p>`
    }
    <ol class="chat-items" onContextMenu=${(/** @type {MouseEvent} */ event) => linkMenu(event, conversation)}>
      ${items.value.map((item) => html`<${Entry} key=${item.id} item=${item} />`)}
    </ol>
  `;
}

/** An item that is the same draws nothing again: its drawing is the same value. @param {{item: Item}} props */
function Entry({ item }) {
  return useMemo(
    () => html`<li class=${`chat-item ${item.kind} ${item.parent ? 'nested' : ''}`}>${drawn(item)}</li>`,
    [item],
  );
}

/** @param {Item} item */
function drawn(item) {
  switch (item.kind) {
    case 'user':
      return html`<p class="unseen">You</p>
        <div class="chat-user">
          ${item.text}
          ${item.images > 0 && html`<span class="chat-note">${icon('file-media')} ${pictures(item.images)}</span>`}
        </div>`;
    case 'text':
      return html`<${Markdown} text=${item.text} />`;
    case 'thinking':
      return html`<details class="chat-thinking">
        <summary>${icon('lightbulb')} Thinking</summary>
        <${Markdown} text=${item.text} />
      </details>`;
    case 'tool':
      return html`<${ToolCard} item=${item} />`;
    case 'result':
      return html`<${Result} item=${item} />`;
    case 'notice':
      return html`<p class=${`chat-notice ${item.level}`}>
        ${icon(NOTICE_ICONS[item.level])} <span>${item.text}</span>
      </p>`;
    case 'data':
      return html`<details class="chat-thinking">
        <summary>${icon('json')} ${item.title || 'Unknown block'}</summary>
        <pre class="chat-json" tabindex="0">${item.json}</pre>
      </details>`;
  }
}

const NOTICE_ICONS = { info: 'info', warning: 'warning', error: 'error' };

/** @param {number} count */
const pictures = (count) => (count === 1 ? '1 picture' : `${count} pictures`);

/** @param {{item: Extract<Item, {kind: 'result'}>}} props */
function Result({ item: { ok, words, costUsd, ms, turns } }) {
  const facts = [
    ms > 0 && timeWords(ms),
    turns > 1 && `${turns} steps`,
    costUsd > 0 && costWords(costUsd),
  ].filter(Boolean);
  return html`
    ${!ok && html`<p class="chat-notice error">${icon('error')} <span>${words}</span></p>`}
    ${facts.length > 0 && html`<p class="chat-result">${facts.join(' · ')}</p>`}
  `;
}

/** The blocks that still grow; drawn each frame, and nothing else is. */
export function Tail() {
  const { tail } = useConversation().talk;
  return tail.value.map(
    (block) => html`<div class=${`chat-item growing ${block.parent ? 'nested' : ''}`} key=${block.key}>
      ${growing(block)}
    </div>`,
  );
}

/** @param {import('../../stores/chattail.js').TailBlock} block */
function growing(block) {
  if (block.kind === 'text') return html`<${GrowingMarkdown} text=${block.text} />`;
  if (block.kind === 'tool') return html`<${GrowingTool} block=${block} />`;
  if (block.kind === 'thinking') {
    return html`<details class="chat-thinking">
      <summary>${icon('lightbulb')} Thinking…</summary>
      <${GrowingMarkdown} text=${block.text} />
    </details>`;
  }
  return null;
}

/** What Claude is doing while nothing grows. */
export function Doing() {
  const { talk, doing, working } = useConversation();
  const told = talk.status.value;
  const words =
    doing() ||
    (working() && !talk.tail.value.length
      ? (STATUS_WORDS[/** @type {keyof typeof STATUS_WORDS} */ (told)] ?? (told || 'Working…'))
      : '');
  return words && html`<p class="chat-doing">${icon('loading', 'spin')} ${words}</p>`;
}

const STATUS_WORDS = { compacting: 'Making room by summing up…', requesting: 'Waiting for the answer…' };
