// A plan as a card: its parts with a place for a comment each, back to Claude or approved into a mode.

import { html } from 'htm/preact';
import { useMemo, useState } from 'preact/hooks';
import { freshUntitledId, placeBuffer } from '../../editor/documents.js';
import { tabs } from '../../editor/state.js';
import { icon } from '../../shell/icons.js';
import { reportError } from '../../shell/toasts.js';
import { planParts, planReply } from '../../stores/chatplan.js';
import { approvePlan, deny } from '../../stores/chatquestions.js';
import { MODES } from '../../stores/chatsession.js';
import { textOf } from '../../stores/chatwire.js';
import { openTab } from '../../stores/tabs.js';
import { Frame, give } from './card.js';
import { typing } from './fields.js';
import { Markdown } from './markdown.js';

/** Modes that a plan can be carried out in. */
const INTO = MODES.filter(({ id }) => ['default', 'acceptEdits', 'bypassPermissions'].includes(id));

/** @param {{question: import('../../stores/chatquestions.js').Question}} props */
export function PlanCard({ question }) {
  const plan = textOf(question.input.plan);
  const parts = useMemo(() => planParts(plan), [plan]);
  const [comments, setComments] = useState(/** @type {ReadonlyMap<number, string>} */ (new Map()));
  const [general, setGeneral] = useState('');
  const [mode, setMode] = useState('acceptEdits');
  const reply = planReply(parts, comments, general);
  const approve = () => {
    const into = INTO.find(({ id }) => id === mode)?.label ?? mode;
    return give(question, approvePlan(question, mode), `You approved the plan (${into}).`);
  };
  const back = () => give(question, deny(question, reply || 'Keep planning.'), 'You sent the plan back.');
  return html`
    <${Frame} label="Claude has a plan" sign="notebook" id=${question.id} onEnter=${approve} onEscape=${back}>
      <div class="chat-plan">
        ${parts.map(
          (part, at) => html`<${Part}
            key=${at}
            part=${part}
            comment=${comments.get(at)}
            setComment=${(/** @type {string | undefined} */ words) => setComments(changed(comments, at, words))}
          />`,
        )}
        ${!parts.length && html`<p class="chat-note">The plan is empty.</p>`}
      </div>
      <input
        class="field"
        aria-label="A comment on the plan as a whole"
        placeholder="A comment on the plan as a whole"
        value=${general}
        onInput=${typing(setGeneral)}
      />
      <div class="chat-buttons">
        <label class="chat-into"
          >Carry it out with
          <select
            class="field"
            value=${mode}
            onChange=${typing(setMode)}
          >
            ${INTO.map(({ id, label }) => html`<option value=${id}>${label}</option>`)}
          </select>
        </label>
        <button type="button" class="button primary" onClick=${approve}>Approve</button>
        <button type="button" class="button" onClick=${back}>${reply ? 'Send back with comments' : 'Keep planning'}</button>
        <button type="button" class="button" onClick=${() => void openAsDocument(plan)}>Open as a document</button>
      </div>
    <//>
  `;
}

/**
 * @param {ReadonlyMap<number, string>} comments
 * @param {number} at
 * @param {string | undefined} words
 */
function changed(comments, at, words) {
  const next = new Map(comments);
  if (words === undefined) next.delete(at);
  else next.set(at, words);
  return next;
}

/** @param {{part: string, comment: string | undefined, setComment: (words: string | undefined) => void}} props */
function Part({ part, comment, setComment }) {
  const open = comment !== undefined;
  return html`
    <div class="chat-plan-part">
      <${Markdown} text=${part} />
      <button
        type="button"
        class="icon-button"
        aria-label=${open ? 'Take the comment away' : 'Comment on this part'}
        aria-pressed=${String(open)}
        onClick=${() => setComment(open ? undefined : '')}
      >
        ${icon('comment')}
      </button>
      ${
        open &&
        html`<textarea
          class="field"
          rows="2"
          aria-label=${`Comment on: ${part.slice(0, 60)}`}
          value=${comment}
          onInput=${typing(setComment)}
        ></textarea>`
      }
    </div>
  `;
}

/** @param {string} plan */
async function openAsDocument(plan) {
  try {
    const id = freshUntitledId();
    await placeBuffer(id, { path: '', name: 'Plan', language: 'markdown', text: plan, eol: '\n' });
    tabs.value = openTab(tabs.value, { kind: 'markdown', id }).state;
  } catch (error) {
    reportError('Could not open the plan', error);
  }
}
