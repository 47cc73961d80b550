// The cards of Claude's tool calls: what it did, and what came of it.

import { html } from 'htm/preact';
import { useEffect, useMemo, useState } from 'preact/hooks';
import { icon } from '../../shell/icons.js';
import { reportError } from '../../shell/toasts.js';
import { lineDiff } from '../../stores/chatdiff.js';
import { changesOf, inputJson, partialField, tasksOf, toolLook } from '../../stores/chattools.js';
import { textOf } from '../../stores/chatwire.js';
import { Linked, WrittenArtifact } from './artifacts.js';
import { useConversation } from './conversation.js';
import { DiffLines } from './difflines.js';
import { openNamed } from './links.js';
import { placeOfRows, textNow } from './toolremark.js';

/** @typedef {Extract<import('../../stores/chatstream.js').Item, {kind: 'tool'}>} ToolItem */

/** @typedef {import('../../stores/chattools.js').ToolLook} ToolLook */

/** Longer results are folded to this many lines. */
const SHOWN_LINES = 12;

/** @param {{item: ToolItem}} props */
export function ToolCard({ item }) {
  const { name, input, result, ended, toolId } = item;
  const look = toolLook(name, input);
  const state = result ? (result.error ? 'failed' : 'done') : ended ? 'ended' : 'running';
  const lines = look.body === 'line';
  const [open, setOpen] = useState(!lines && look.body !== 'json');
  return html`
    <section
      class=${`chat-tool ${state}`}
      role="group"
      data-tool=${name}
      data-call=${toolId}
      aria-label=${`${look.label}, ${STATES[state]}`}
    >
      <${Head} look=${look} state=${state} open=${open} toggle=${() => setOpen(!open)} />
      ${open && html`<${Body} name=${name} input=${input} body=${look.body} applied=${state === 'done'} />`}
      ${result && (open || result.error) && html`<${Result} result=${result} body=${look.body} />`}
      <${WrittenArtifact} item=${item} />
    </section>
  `;
}

const STATES = { running: 'running', done: 'done', failed: 'failed', ended: 'without a result' };
const STATE_ICONS = { running: 'loading', done: 'check', failed: 'error', ended: 'circle-slash' };

/**
 * @param {object} props
 * @param {ToolLook} props.look
 * @param {keyof typeof STATES} props.state
 * @param {boolean} props.open
 * @param {() => void} props.toggle
 */
function Head({ look: { icon: name, label, detail, path }, state, open, toggle }) {
  const conversation = useConversation();
  const show = () => openNamed(path, conversation).catch((error) => reportError(`Could not open ${path}`, error));
  return html`
    <header class="chat-tool-head">
      <button type="button" class="chat-fold" aria-expanded=${String(open)} onClick=${toggle}>
        ${icon(open ? 'chevron-down' : 'chevron-right')} ${icon(name)} <span class="chat-tool-name">${label}</span>
        ${!path && html`<span class="chat-tool-detail">${detail}</span>`}
      </button>
      ${
        path &&
        html`<button type="button" class="chat-path" title=${path} onClick=${show}>
          <span>${conversation.inside(path) || path}</span>${detail.slice(path.length)}
        </button>`
      }
      <span class="chat-state" title=${STATES[state]}>
        ${icon(STATE_ICONS[state], state === 'running' ? 'spin' : '')}
      </span>
    </header>
  `;
}

/**
 * What a call is about.
 * @param {object} props
 * @param {string} props.name
 * @param {Record<string, any>} props.input
 * @param {ToolLook['body']} props.body
 * @param {boolean} [props.compare] with what stands on disk now
 * @param {boolean} [props.applied] whether it has happened
 */
export function Body({ name, input, body, compare = false, applied = false }) {
  if (body === 'command') return html`<pre class="chat-command" tabindex="0">${textOf(input.command)}</pre>`;
  if (body === 'changes') {
    return changesOf(name, input).map(
      (change, at) => html`<${Changes}
        key=${at}
        change=${change}
        whole=${name === 'Write'}
        compare=${compare && name === 'Write'}
        applied=${applied}
      />`,
    );
  }
  if (body === 'tasks') {
    return html`<ul class="chat-tasks">
      ${tasksOf(input).map(
        ({ words, state }) => html`<li class=${state}>
          ${icon(TASK_ICONS[/** @type {keyof typeof TASK_ICONS} */ (state)] ?? 'circle-large-outline')}
          ${words} <span class="unseen">${state}</span>
        </li>`,
      )}
    </ul>`;
  }
  const json = inputJson(input);
  return json && html`<pre class="chat-json" tabindex="0">${json}</pre>`;
}

const TASK_ICONS = { completed: 'pass-filled', in_progress: 'play-circle' };

/**
 * @param {object} props
 * @param {import('../../stores/chattools.js').Change} props.change
 * @param {boolean} props.whole whether its texts are those of the whole file
 * @param {boolean} props.compare a file that is to be written is compared with what stands there now
 * @param {boolean} props.applied
 */
function Changes({ change, whole, compare, applied }) {
  const { path, before, after } = change;
  const [now, setNow] = useState(/** @type {string | null} */ (null));
  const { inside } = useConversation();
  useEffect(() => {
    if (!compare) return undefined;
    let shown = true;
    textNow(inside(path)).then((text) => shown && setNow(text));
    return () => {
      shown = false;
    };
  }, [path, compare]);
  const diff = useMemo(() => lineDiff(now ?? before, after), [now, before, after]);
  return html`
    <div class="chat-diff" role="group" aria-label=${`${diff.added} lines added, ${diff.removed} removed`}>
      <${DiffLines}
        rows=${diff.rows}
        path=${inside(path) || path}
        place=${(/** @type {number} */ from, /** @type {number} */ to) =>
          placeOfRows({ ...change, id: inside(path), whole, applied }, diff.rows, from, to)}
      />
    </div>
  `;
}

/** @param {{result: import('../../stores/chatstream.js').ToolResult, body: string}} props */
function Result({ result: { text, error, images }, body }) {
  const lines = useMemo(() => text.split('\n'), [text]);
  const [all, setAll] = useState(false);
  // That an edit worked is what the card's mark says.
  if (!error && (body === 'changes' || body === 'tasks')) return null;
  if (!text) {
    return images
      ? html`<p class="chat-note">${images === 1 ? 'A picture' : `${images} pictures`}</p>`
      : null;
  }
  const folded = !all && lines.length > SHOWN_LINES + 2;
  return html`
    <pre class=${`chat-output ${error ? 'error' : ''}`} tabindex="0" aria-label="Result">
<${Linked} text=${folded ? lines.slice(0, SHOWN_LINES).join('\n') : text} /></pre
    >
    ${
      folded &&
      html`<button type="button" class="button quiet" onClick=${() => setAll(true)}>
        Show all ${lines.length} lines
      </button>`
    }
  `;
}

/** A call whose input is still coming. @param {{block: import('../../stores/chattail.js').TailBlock}} props */
export function GrowingTool({ block: { name, text } }) {
  const { icon: sign, label, body } = toolLook(name, {});
  const path = partialField(text, 'file_path');
  const words = body === 'command' ? partialField(text, 'command') : '';
  return html`
    <section class="chat-tool running" role="group" aria-label=${`${label}, being written`}>
      <header class="chat-tool-head">
        ${icon(sign)} <span class="chat-tool-name">${label}</span>
        <span class="chat-tool-detail">${path}</span>
        <span class="chat-state">${icon('loading', 'spin')}</span>
      </header>
      ${words && html`<pre class="chat-command">${words}</pre>`}
    </section>
  `;
}
