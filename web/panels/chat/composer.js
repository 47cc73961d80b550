// The field that messages are written in, with what goes along and the buttons below.

import { html } from 'htm/preact';
import { useLayoutEffect, useRef, useState } from 'preact/hooks';
import { activeView, bufferOf, frontTab, isUntitled } from '../../editor/state.js';
import { runCommand } from '../../shell/commands.js';
import { ring } from '../../shell/focus.js';
import { icon } from '../../shell/icons.js';
import { IconButton } from '../../shell/places.js';
import { reportError, toast } from '../../shell/toasts.js';
import { busy } from '../../stores/chat.js';
import { inserted, mention, pathForClaude, selectedLines, typedAt } from '../../stores/chatmentions.js';
import { noRecall, recalled } from '../../stores/chatrecall.js';
import { draft, sentTexts, setDraft, submit } from '../../stores/chatsession.js';
import { workspacePath } from '../../stores/paths.js';
import { roots } from '../../stores/settings.js';
import { Attached, attach, attachFromWorkspace, attached, takeAttached } from './attachments.js';
import { Chips } from './chips.js';
import { composerField, focusComposer } from './focus.js';
import { Proposals, useProposals } from './proposals.js';

/** Where Up and Down stand among the earlier messages. */
let recall = noRecall;

export async function sendDraft() {
  const text = draft.value;
  if (!text.trim() && !attached.value.length) return;
  setDraft('');
  recall = noRecall;
  try {
    await submit(text, takeAttached());
  } catch (error) {
    reportError('Could not send the message', error);
  }
}

/**
 * Puts a mention where the caret is.
 * @param {string} words
 */
function insertWords(words) {
  const field = composerField();
  const from = field?.selectionStart ?? draft.value.length;
  const to = field?.selectionEnd ?? from;
  const { text, caret } = inserted(draft.value, { from, to }, words);
  setDraft(text);
  focusComposer();
  requestAnimationFrame(() => composerField()?.setSelectionRange(caret, caret));
}

/** Mentions the file in front, with the lines that are selected in it. */
export function mentionFront() {
  const id = frontTab.value?.id ?? '';
  if (!id || isUntitled(id))
    return toast({ kind: 'info', text: 'There is no file in front to be mentioned.' });
  const view = activeView();
  const buffer = bufferOf(id);
  const lines = buffer && view?.shows(buffer.doc) ? selectedLines(view.selection()) : null;
  return insertWords(mention(pathForClaude(roots.value, id), lines));
}

/**
 * Takes what was dropped on the chat: pictures of the workspace go along, everything else is mentioned.
 * @param {readonly string[]} paths absolute
 */
export async function takePaths(paths) {
  const mentions = [];
  for (const path of paths) {
    const inside = workspacePath(roots.value, path);
    if (inside.includes('/') && (await attachFromWorkspace(inside))) continue;
    mentions.push(mention(inside ? pathForClaude(roots.value, inside) : path));
  }
  if (mentions.length) insertWords(mentions.join(' '));
}

/** @param {DragEvent} event */
function onDrop(event) {
  const files = [...(event.dataTransfer?.files ?? [])];
  const rows = event.dataTransfer?.getData('text/x-marlin-paths') ?? '';
  if (!files.length && !rows) return;
  event.preventDefault();
  event.stopPropagation();
  const mentions = rows
    .split('\n')
    .filter(Boolean)
    .map((path) => mention(pathForClaude(roots.value, path)));
  if (mentions.length) insertWords(mentions.join(' '));
  attach(files).catch((error) => reportError('Could not take the picture', error));
}

/** @param {ClipboardEvent} event */
function onPaste(event) {
  const files = [...(event.clipboardData?.files ?? [])].filter(({ type }) => type.startsWith('image/'));
  if (!files.length) return;
  event.preventDefault();
  attach(files).catch((error) => reportError('Could not take the picture', error));
}

export function Composer() {
  const field = useRef(/** @type {HTMLTextAreaElement | null} */ (null));
  const [caret, setCaret] = useState(0);
  const [at, setAt] = useState(0);
  const [closed, setClosed] = useState('');
  const text = draft.value;
  const typed = typedAt(text, caret);
  const proposals = useProposals(typed);
  const list = closed === text ? [] : proposals;
  const lit = Math.min(at, list.length - 1);

  // The field grows with its text, up to what the style sheet allows.
  useLayoutEffect(() => {
    const element = field.current;
    if (!element) return;
    element.style.height = 'auto';
    element.style.height = `${element.scrollHeight + 2}px`;
  }, [text]);

  /** @param {import('./proposals.js').Proposal} proposal */
  const choose = (proposal) => {
    if (!typed) return;
    const next = inserted(text, typed, proposal.words);
    change(next.text, next.caret);
    requestAnimationFrame(() => field.current?.setSelectionRange(next.caret, next.caret));
  };
  /**
   * @param {string} words
   * @param {number} place
   */
  const change = (words, place) => {
    setDraft(words);
    setCaret(place);
    setAt(0);
  };
  /** @param {KeyboardEvent} event */
  const onKeyDown = (event) => {
    if (event.isComposing || event.keyCode === 229) return;
    const taken = list.length ? proposalKey(event) : fieldKey(event);
    if (!taken) return;
    event.preventDefault();
    event.stopPropagation();
  };
  /** @param {KeyboardEvent} event */
  const proposalKey = ({ key, shiftKey, ctrlKey, altKey }) => {
    if (shiftKey || ctrlKey || altKey) return false;
    if (key === 'ArrowDown') setAt(ring(lit, 1, list.length));
    else if (key === 'ArrowUp') setAt(ring(lit, -1, list.length));
    else if (key === 'Escape') setClosed(text);
    // A command that stands there already is sent, not proposed once more.
    else if (key === 'Enter' && list[lit].words === text.trim())
      return fieldKey(/** @type {any} */ ({ key }));
    else if (key === 'Enter' || key === 'Tab') choose(list[lit]);
    else return false;
    return true;
  };
  /** @param {KeyboardEvent} event */
  const fieldKey = ({ key, shiftKey, ctrlKey, altKey }) => {
    if (shiftKey || altKey) return false;
    if (key === 'Enter') {
      void sendDraft();
      return true;
    }
    if (key === 'Escape' && busy.value) {
      void runCommand('chat.interrupt');
      return true;
    }
    return !ctrlKey && (key === 'ArrowUp' || key === 'ArrowDown') && recallStep(key === 'ArrowUp' ? -1 : 1);
  };
  /** @param {-1 | 1} step */
  const recallStep = (step) => {
    const element = field.current;
    if (!element || element.selectionStart !== element.selectionEnd) return false;
    const edge = step < 0 ? text.slice(0, element.selectionStart) : text.slice(element.selectionEnd);
    if (edge.includes('\n')) return false; // the caret moves within the text
    const found = recalled(sentTexts.value, recall, step, text);
    if (!found) return false;
    recall = found.recall;
    change(found.text, found.text.length);
    setClosed(found.text);
    return true;
  };
  const follow = () => setCaret(field.current?.selectionEnd ?? 0);

  return html`
    <div class="chat-composer" data-takes-drops onDrop=${onDrop} onDragOver=${allowDrop}>
      ${list.length > 0 && html`<${Proposals} list=${list} at=${lit} choose=${choose} />`}
      <${Attached} />
      <textarea
        class="chat-field"
        ref=${field}
        data-focus
        rows="2"
        aria-label="Message to Claude"
        aria-autocomplete="list"
        aria-controls=${list.length ? 'chat-proposals' : undefined}
        aria-activedescendant=${list.length ? `chat-proposal-${lit}` : undefined}
        placeholder="Ask Claude. Enter sends, @ mentions a file, / is a command."
        value=${text}
        onInput=${(/** @type {Event} */ event) => {
          const element = /** @type {HTMLTextAreaElement} */ (event.target);
          recall = noRecall;
          change(element.value, element.selectionEnd);
        }}
        onKeyDown=${onKeyDown}
        onKeyUp=${follow}
        onClick=${follow}
        onPaste=${onPaste}
      ></textarea>
      <div class="chat-bar">
        <${Chips} />
        <${IconButton} icon="mention" command="chat.mention" />
        ${busy.value && html`<${IconButton} icon="debug-stop" command="chat.interrupt" />`}
        <button
          type="button"
          class="icon-button chat-send"
          aria-label=${busy.value ? 'Add to the queue' : 'Send'}
          title=${busy.value ? 'Add to the queue (Enter)' : 'Send (Enter)'}
          disabled=${!text.trim() && !attached.value.length}
          onClick=${() => void sendDraft()}
        >
          ${icon(busy.value ? 'add' : 'send')}
        </button>
      </div>
    </div>
  `;
}

/** @param {DragEvent} event */
function allowDrop(event) {
  const types = event.dataTransfer?.types ?? [];
  if (types.includes('Files') || types.includes('text/x-marlin-paths')) event.preventDefault();
}
