// A plan as a card: its parts with a place for a comment each, back to Claude or approved into a mode. The
// same plan opens as a document, where its lines are commented on (plandocument.js).

import { html } from 'htm/preact';
import { useMemo } from 'preact/hooks';
import { tabs } from '../../editor/state.js';
import { focusGroup } from '../../editor/tabactions.js';
import { icon } from '../../shell/icons.js';
import { planParts, planReply, sameRange, withComment } from '../../stores/chatplan.js';
import { changeDraft, draftOf } from '../../stores/chatplandrafts.js';
import { approvePlan, deny, questionKey } from '../../stores/chatquestions.js';
import { MODES } from '../../stores/chatsession.js';
import { textOf } from '../../stores/chatwire.js';
import { openTab, planTabId } from '../../stores/tabs.js';
import { Frame, give } from './card.js';
import { typing } from './fields.js';
import { Markdown } from './markdown.js';

/** @typedef {import('../../stores/chatquestions.js').Question} Question */

/** Modes that a plan can be carried out in. */
const INTO = MODES.filter(({ id }) => ['default', 'acceptEdits', 'bypassPermissions'].includes(id));

/**
 * The two answers to a plan, as its draft stands.
 * @param {Question} question
 */
function answersTo(question) {
  const { comments, general, mode } = draftOf(question);
  const reply = planReply(textOf(question.input.plan), comments, general);
  const into = INTO.find(({ id }) => id === mode)?.label ?? mode;
  return {
    hasReply: reply !== '',
    approve: () => give(question, approvePlan(question, mode), `You approved the plan (${into}).`),
    back: () => give(question, deny(question, reply || 'Keep planning.'), 'You sent the plan back.'),
  };
}

/** @param {{question: Question}} props */
export function PlanCard({ question }) {
  const { approve, back } = answersTo(question);
  const plan = textOf(question.input.plan);
  const parts = useMemo(() => planParts(plan), [plan]);
  const { comments } = draftOf(question);
  const onLines = comments.filter((one) => !parts.some((part) => sameRange(part, one))).length;
  return html`
    <${Frame} label="Claude has a plan" sign="notebook" question=${question} onEnter=${approve} onEscape=${back}>
      <div class="chat-plan">
        ${parts.map((part) => html`<${Part} key=${part.from} question=${question} part=${part} />`)}
        ${!parts.length && html`<p class="chat-note">The plan is empty.</p>`}
      </div>
      ${onLines > 0 && html`<p class="chat-note">Comments on lines, in the document: ${onLines}</p>`}
      <${PlanAnswers} question=${question}>
        <button type="button" class="button" onClick=${() => openPlan(question)}>Open as a document</button>
      <//>
    <//>
  `;
}

/**
 * What goes along with the answer, and its buttons: the same on the card and in the document.
 * @param {{question: Question, children?: any}} props
 */
export function PlanAnswers({ question, children }) {
  const { hasReply, approve, back } = answersTo(question);
  const { general, mode } = draftOf(question);
  return html`
    <input
      class="field"
      aria-label="A comment on the plan as a whole"
      placeholder="A comment on the plan as a whole"
      value=${general}
      onInput=${typing((words) => changeDraft(question, { general: words }))}
    />
    <div class="chat-buttons">
      <label class="chat-into"
        >Carry it out with
        <select class="field" value=${mode} onChange=${typing((id) => changeDraft(question, { mode: id }))}>
          ${INTO.map(({ id, label }) => html`<option value=${id}>${label}</option>`)}
        </select>
      </label>
      <button type="button" class="button primary" onClick=${approve}>Approve</button>
      <button type="button" class="button" onClick=${back}>${hasReply ? 'Send back with comments' : 'Keep planning'}</button>
      ${children}
    </div>
  `;
}

/** @param {{question: Question, part: import('../../stores/chatplan.js').PlanPart}} props */
function Part({ question, part }) {
  const { comments } = draftOf(question);
  const words = comments.find((one) => sameRange(one, part))?.words;
  const open = words !== undefined;
  const comment = (/** @type {string | undefined} */ next) =>
    changeDraft(question, { comments: withComment(draftOf(question).comments, part, next) });
  return html`
    <div class="chat-plan-part">
      <${Markdown} text=${part.text} />
      <button
        type="button"
        class="icon-button"
        aria-label=${open ? 'Take the comment away' : 'Comment on this part'}
        aria-pressed=${String(open)}
        onClick=${() => comment(open ? undefined : '')}
      >
        ${icon('comment')}
      </button>
      ${
        open &&
        html`<textarea
          class="field"
          rows="2"
          aria-label=${`Comment on: ${part.text.slice(0, 60)}`}
          value=${words}
          onInput=${typing(comment)}
        ></textarea>`
      }
    </div>
  `;
}

/** @param {Question} question */
function openPlan(question) {
  tabs.value = openTab(tabs.value, { kind: 'plan', id: planTabId(questionKey(question)) }).state;
  focusGroup(tabs.value.active);
}
