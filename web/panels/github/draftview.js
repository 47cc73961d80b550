// A comment that waits below its line, or in the list of all: its words, and what became of it.

import { html } from 'htm/preact';
import { useLayoutEffect, useRef } from 'preact/hooks';
import { icon } from '../../shell/icons.js';
import { toast } from '../../shell/toasts.js';
import { dropDraft, editDraft, postDraft, posting } from '../../stores/pulldrafts.js';
import { typing } from '../chat/fields.js';
import { openOutside } from './actions.js';
import { go, placeOf } from './pullstate.js';

/**
 * @param {object} props
 * @param {import('../../stores/pulldrafts.js').DraftsOf} props.pull
 * @param {import('../../stores/pulldrafts.js').Draft} props.draft
 * @param {() => void} props.leave where the focus goes when the field is left
 */
export function DraftView({ pull, draft, leave }) {
  const { path, line, from, url } = draft;
  const name = `${path}:${line}`;
  return html`<div class="pull-draft" role="group" aria-label=${`Comment on ${name}`}>
    <p class="pull-draft-head">
      ${icon(from === 'review' ? 'sparkle' : 'comment')}
      <span>${from === 'review' ? 'Found by Claude' : 'Your comment'}, line ${line}</span>
      ${url && html`<span class="pull-posted">posted</span>`}
    </p>
    ${url ? html`<${Posted} draft=${draft} />` : html`<${Writing} pull=${pull} draft=${draft} leave=${leave} />`}
    <${DraftButtons} pull=${pull} draft=${draft} leave=${leave} />
    ${draft.failure && html`<p class="pull-failure" role="alert">Could not post the comment: ${draft.failure}</p>`}
  </div>`;
}

/** @param {{draft: import('../../stores/pulldrafts.js').Draft}} props */
const Posted = ({ draft }) => html`<p class="pull-draft-text">${draft.body}</p>`;

/** @param {Parameters<typeof DraftView>[0]} props */
function Writing({ pull, draft, leave }) {
  const field = useRef(/** @type {HTMLTextAreaElement | null} */ (null));
  const wanted = placeOf(pull.arg).value.wanted === draft.id;
  // At once, not after the next frame: the keys that follow belong into it.
  useLayoutEffect(() => {
    if (!wanted) return;
    field.current?.focus();
    go(pull.arg, { wanted: 0 });
  }, [wanted]);
  /** @param {KeyboardEvent} event */
  const onKeyDown = (event) => {
    if (event.isComposing) return;
    if (event.key === 'Enter' && event.ctrlKey) void post(pull, draft.id, leave);
    else if (event.key === 'Escape') {
      leave();
      if (!draft.body.trim()) dropDraft(pull.url, draft.id);
    } else return;
    event.preventDefault();
    event.stopPropagation();
  };
  return html`<textarea
    class="field"
    ref=${field}
    rows=${Math.min(8, Math.max(2, draft.body.split('\n').length))}
    aria-label=${`Comment on ${draft.path} line ${draft.line}`}
    readonly=${posting.value === draft.id}
    value=${draft.body}
    onInput=${typing((words) => editDraft(pull.url, draft.id, words))}
    onKeyDown=${onKeyDown}
  ></textarea>`;
}

/** @param {Parameters<typeof DraftView>[0]} props */
function DraftButtons({ pull, draft, leave }) {
  const { id, url, body } = draft;
  const drop = () => {
    leave();
    dropDraft(pull.url, id);
  };
  if (url) {
    return html`<div class="pull-draft-buttons">
      <button type="button" class="button quiet" onClick=${() => openOutside(url)}>Show on GitHub</button>
      <button type="button" class="button" onClick=${drop}>Done</button>
    </div>`;
  }
  const busy = posting.value === id;
  return html`<div class="pull-draft-buttons">
    <button
      type="button"
      class="button primary"
      disabled=${posting.value !== 0 || !body.trim()}
      title="Ctrl+Enter"
      onClick=${() => post(pull, id, leave)}
    >
      ${busy ? 'Posting…' : 'Post on GitHub'}
    </button>
    <button type="button" class="button" disabled=${busy} onClick=${drop}>Drop</button>
  </div>`;
}

/**
 * @param {import('../../stores/pulldrafts.js').DraftsOf} pull
 * @param {number} id
 * @param {() => void} leave
 */
async function post(pull, id, leave) {
  if (!(await postDraft(pull, id))) return;
  toast({ kind: 'info', text: 'The comment is on GitHub.' });
  // The field that had the focus is gone.
  if (document.activeElement === document.body) leave();
}
