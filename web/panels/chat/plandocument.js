// A plan as a document in the editor area: its lines, with comments below those they are about, and the
// answers of the card at its foot.

import { html } from 'htm/preact';
import { useLayoutEffect, useMemo, useRef, useState } from 'preact/hooks';
import { freshUntitledId, placeBuffer } from '../../editor/documents.js';
import { tabs } from '../../editor/state.js';
import { icon } from '../../shell/icons.js';
import { showMenu } from '../../shell/menus.js';
import { lineKinds, planLines, rangeWords, sameRange, withComment } from '../../stores/chatplan.js';
import { changeDraft, draftOf } from '../../stores/chatplandrafts.js';
import { textOf } from '../../stores/chatwire.js';
import { openTab } from '../../stores/tabs.js';
import { ConversationContext, conversationOf } from './conversation.js';
import { typing } from './fields.js';
import { PlanAnswers } from './plan.js';
import { planOf } from './plantabs.js';

/**
 * @typedef {import('../../stores/chatquestions.js').Question} Question
 * @typedef {import('../../stores/chatplan.js').LineRange} LineRange
 */

const kPage = 10;

/** @param {{id: string}} props */
export function PlanDocument({ id }) {
  const question = planOf(id);
  if (!question) return null;
  return html`<${ConversationContext.Provider} value=${conversationOf(question)}>
    <${Plan} key=${id} question=${question} />
  <//>`;
}

/** @param {{question: Question}} props */
function Plan({ question }) {
  const plan = textOf(question.input.plan);
  const lines = useMemo(() => planLines(plan), [plan]);
  const { comments } = draftOf(question);
  /** The range that was commented on last, whose field takes the focus. */
  const [writing, setWriting] = useState(/** @type {LineRange | null} */ (null));
  /** @param {LineRange} range @param {string | undefined} words */
  const change = (range, words) =>
    changeDraft(question, { comments: withComment(draftOf(question).comments, range, words) });
  /** @param {LineRange} range */
  const comment = (range) => {
    if (!draftOf(question).comments.some((one) => sameRange(one, range))) change(range, '');
    setWriting({ ...range });
  };
  return html`<div class="plan-view">
    <${Lines} lines=${lines} comments=${comments} writing=${writing} comment=${comment} change=${change} plan=${plan} />
    <div class="plan-foot" role="group" aria-label="Answer to the plan">
      ${comments.length > 0 && html`<${Comments} comments=${comments} go=${setWriting} change=${change} />`}
      <${PlanAnswers} question=${question}>
        <button type="button" class="button" onClick=${() => copyToPage(plan)}>Copy into a new file</button>
      <//>
    </div>
  </div>`;
}

/**
 * The lines are one stop of the Tab key; arrows move among them, with Shift they choose several.
 * @param {object} props
 * @param {string[]} props.lines
 * @param {readonly import('../../stores/chatplan.js').PlanComment[]} props.comments
 * @param {LineRange | null} props.writing
 * @param {(range: LineRange) => void} props.comment
 * @param {(range: LineRange, words: string | undefined) => void} props.change
 * @param {string} props.plan
 */
function Lines({ lines, comments, writing, comment, change, plan }) {
  const place = useRef(/** @type {HTMLDivElement | null} */ (null));
  const [at, setAt] = useState(1);
  const [anchor, setAnchor] = useState(1);
  const kinds = useMemo(() => lineKinds(lines), [lines]);
  const range = { from: Math.min(at, anchor), to: Math.max(at, anchor) };
  /** @param {number} line @param {boolean} extend */
  const go = (line, extend) => {
    const to = Math.max(1, Math.min(lines.length, line));
    setAt(to);
    if (!extend) setAnchor(to);
    lineAt(place.current, to)?.focus();
  };
  /** @param {number} line */
  const commentAt = (line) =>
    comment(line >= range.from && line <= range.to ? range : { from: line, to: line });
  /** @param {KeyboardEvent} event */
  const onKeyDown = (event) => {
    if (!(event.target instanceof HTMLElement) || !event.target.matches('.plan-line')) return;
    if (event.ctrlKey || event.altKey || event.metaKey) return;
    const to = stepTo(event.key, at, lines.length);
    if (to !== null) go(to, event.shiftKey);
    else if (event.key === 'Enter' || event.key === ' ') comment(range);
    else if (event.key === 'Escape' && anchor !== at) setAnchor(at);
    else return;
    event.preventDefault();
    event.stopPropagation();
  };
  /** @param {MouseEvent} event @param {number} line */
  const onMenu = (event, line) => {
    event.preventDefault();
    const inside = line >= range.from && line <= range.to;
    if (!inside) go(line, false);
    const chosen = inside ? range : { from: line, to: line };
    void showMenu({
      x: event.clientX,
      y: event.clientY,
      label: 'Plan',
      items: planMenu(chosen, lines, plan, comment),
    });
  };
  return html`<div class="plan-lines" ref=${place} role="group" aria-label="Lines of the plan" onKeyDown=${onKeyDown}>
    ${lines.map((text, index) => {
      const line = index + 1;
      const chosen = anchor !== at && line >= range.from && line <= range.to;
      return html`
        <div
          key=${line}
          class=${`plan-line ${kinds[index]} ${chosen ? 'chosen' : ''}`}
          role="button"
          tabindex=${line === at ? 0 : -1}
          aria-pressed=${String(chosen)}
          data-line=${line}
          onClick=${(/** @type {MouseEvent} */ event) => go(line, event.shiftKey)}
          onDblClick=${() => commentAt(line)}
          onContextMenu=${(/** @type {MouseEvent} */ event) => onMenu(event, line)}
        >
          <span class="plan-number">${line}</span>
          <span class="plan-text">${text || ' '}</span>
          <span
            class="plan-add"
            aria-hidden="true"
            title="Comment (Enter)"
            onClick=${(/** @type {Event} */ event) => {
              event.stopPropagation();
              commentAt(line);
            }}
          >${icon('comment')}</span>
        </div>
        ${comments
          .filter(({ to }) => to === line)
          .map(
            (one) => html`<${Comment}
              key=${`${one.from}-${one.to}`}
              comment=${one}
              wanted=${writing !== null && sameRange(writing, one) ? writing : null}
              change=${change}
              leave=${() => lineAt(place.current, at)?.focus()}
            />`,
          )}
      `;
    })}
  </div>`;
}

/**
 * @param {string} key
 * @param {number} at
 * @param {number} count
 * @returns {number | null} the line a key leads to
 */
function stepTo(key, at, count) {
  const to = {
    ArrowUp: at - 1,
    ArrowDown: at + 1,
    PageUp: at - kPage,
    PageDown: at + kPage,
    Home: 1,
    End: count,
  }[key];
  return to ?? null;
}

/**
 * @param {HTMLElement | null} place
 * @param {number} line
 */
const lineAt = (place, line) =>
  /** @type {HTMLElement | null | undefined} */ (place?.querySelector(`[data-line="${line}"]`));

/**
 * @param {LineRange} range
 * @param {string[]} lines
 * @param {string} plan
 * @param {(range: LineRange) => void} comment
 * @returns {import('../../shell/menus.js').MenuItem[]}
 */
function planMenu(range, lines, plan, comment) {
  const what = range.from === range.to ? 'Line' : 'Lines';
  const text = lines.slice(range.from - 1, range.to).join('\n');
  return [
    { label: `Comment on the ${what}`, keys: 'Enter', run: () => comment(range) },
    { kind: 'separator' },
    { label: `Copy the ${what}`, run: () => navigator.clipboard.writeText(text) },
    { label: 'Copy the Plan', run: () => navigator.clipboard.writeText(plan) },
  ];
}

/**
 * @param {object} props
 * @param {import('../../stores/chatplan.js').PlanComment} props.comment
 * @param {LineRange | null} props.wanted another one each time its field is to have the focus
 * @param {(range: LineRange, words: string | undefined) => void} props.change
 * @param {() => void} props.leave
 */
function Comment({ comment, wanted, change, leave }) {
  const field = useRef(/** @type {HTMLTextAreaElement | null} */ (null));
  // At once, not after the next frame: the keys that follow belong into it.
  useLayoutEffect(() => {
    if (wanted) field.current?.focus();
  }, [wanted]);
  const drop = () => {
    change(comment, undefined);
    leave();
  };
  /** @param {KeyboardEvent} event */
  const onKeyDown = (event) => {
    if (event.key !== 'Escape' || event.isComposing) return;
    event.preventDefault();
    event.stopPropagation();
    if (comment.words.trim()) leave();
    else drop();
  };
  const name = rangeWords(comment);
  return html`<div class="plan-comment">
    <span class="plan-comment-name">${name}</span>
    <textarea
      class="field"
      ref=${field}
      rows="2"
      aria-label=${`Comment on ${name.toLowerCase()}`}
      value=${comment.words}
      onInput=${typing((words) => change(comment, words))}
      onKeyDown=${onKeyDown}
    ></textarea>
    <button type="button" class="icon-button" aria-label=${`Remove the comment on ${name.toLowerCase()}`} onClick=${drop}>
      ${icon('close')}
    </button>
  </div>`;
}

/**
 * All comments in a row, each a way to its place.
 * @param {object} props
 * @param {readonly import('../../stores/chatplan.js').PlanComment[]} props.comments
 * @param {(range: LineRange) => void} props.go
 * @param {(range: LineRange, words: string | undefined) => void} props.change
 */
function Comments({ comments, go, change }) {
  return html`<ul class="plan-comments" aria-label="Comments">
    ${comments.map(
      (one) => html`<li key=${`${one.from}-${one.to}`}>
        <button type="button" class="plan-comment-row" onClick=${() => go({ ...one })}>
          <b>${rangeWords(one)}</b> <span>${one.words.trim() || 'Nothing written yet'}</span>
        </button>
        <button
          type="button"
          class="icon-button"
          aria-label=${`Remove: ${rangeWords(one)}`}
          onClick=${() => change(one, undefined)}
        >
          ${icon('trash')}
        </button>
      </li>`,
    )}
  </ul>`;
}

/** @param {string} plan */
async function copyToPage(plan) {
  const id = freshUntitledId();
  await placeBuffer(id, { path: '', name: 'Plan', language: 'markdown', text: plan, eol: '\n' });
  tabs.value = openTab(tabs.value, { kind: 'text', id }).state;
}
