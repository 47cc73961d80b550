// A task's page: what it says and asks, what it has changed, and what can be done with it.

import { html } from 'htm/preact';
import { useEffect, useRef, useState } from 'preact/hooks';
import { signal } from '@preact/signals';
import { openFile } from '../../editor/tabactions.js';
import { icon } from '../../shell/icons.js';
import { showMenu } from '../../shell/menus.js';
import { rove } from '../../shell/places.js';
import { reportError } from '../../shell/toasts.js';
import { costWords } from '../../stores/chatusage.js';
import { diffOfTask, isAsking, sendToTask, taskById, tasksKnown, underWay } from '../../stores/dispatch.js';
import { abilitiesOf, counted, firstAndRest } from '../../stores/dispatchboard.js';
import { promptOf } from '../../stores/dispatchmemory.js';
import { orphans } from '../../stores/dispatchrescue.js';
import { setTaskDraft, talkOf, taskDraft } from '../../stores/dispatchtalks.js';
import { titleLine } from '../../stores/dispatchwire.js';
import { ConversationContext } from '../chat/conversation.js';
import { FollowEnd } from '../chat/follow.js';
import { typing } from '../chat/fields.js';
import { Doing, Items, Tail } from '../chat/items.js';
import { Questions } from '../chat/questions.js';
import { State, costOf } from './card.js';
import { conversationOfTask, pathInWorkspace } from './conversation.js';
import { openOrphan } from './orphans.js';
import { Changes, Counts } from './patchview.js';
import { openTries } from './slots.js';
import {
  discardWithQuestion,
  groupOf,
  landWithQuestion,
  modeNow,
  modeWords,
  openBoard,
  pickTaskMode,
  stopIt,
  taskMenu,
} from './taskactions.js';

/**
 * @typedef {import('../../stores/dispatchwire.js').Task} Task
 * @typedef {import('../../stores/dispatchwire.js').TaskDiff} TaskDiff
 */

/**
 * The side of each task that is in front, while its page is open.
 * @type {import('@preact/signals').Signal<ReadonlyMap<string, 'talk' | 'changes'>>}
 */
const sides = signal(new Map());
/**
 * What was last read of each task's changes, for the words on its tab.
 * @type {import('@preact/signals').Signal<ReadonlyMap<string, TaskDiff>>}
 */
const sums = signal(new Map());

/**
 * @param {string} id
 * @param {'talk' | 'changes'} side
 */
export function showSide(id, side) {
  sides.value = new Map(sides.value).set(id, side);
}

/** @param {string} id */
export function taskTitle(id) {
  const task = taskById(id);
  return task ? titleLine(task) : 'Task';
}

/** @param {{arg: string}} props */
export function TaskPage({ arg }) {
  const task = taskById(arg);
  if (!task) return html`<${Gone} id=${arg} />`;
  const side = sides.value.get(arg) ?? 'talk';
  const label = side === 'talk' ? 'Conversation' : 'Changes';
  return html`<${ConversationContext.Provider} value=${conversationOfTask(arg)}>
    <section class="task-page" aria-label=${titleLine(task)} data-task-page=${arg}>
      <${Head} task=${task} />
      ${task.status === 'failed' && html`<${Failure} task=${task} />`}
      <${Sides} task=${task} side=${side} />
      <div class="task-side" role="tabpanel" id=${`task-${side}-${arg}`} aria-label=${label}>
        ${side === 'talk' ? html`<${Talk} task=${task} />` : html`<${TaskChanges} task=${task} />`}
      </div>
    </section>
  <//>`;
}

/** @param {{id: string}} props */
function Gone({ id }) {
  if (!tasksKnown.value) return html`<p class="pane-note" role="status">Reading the tasks…</p>`;
  const left = orphans.value.find((one) => one.id === id);
  return html`<div class="pane-note" tabindex="0">
    <p>This task ended with the program that ran it.</p>
    ${
      left
        ? html`<button type="button" class="button" onClick=${() => openOrphan(left.directory)}>Show what it left</button>`
        : html`<button type="button" class="button" onClick=${() => openBoard()}>Show all tasks</button>`
    }
  </div>`;
}

/** @param {{task: Task}} props */
function Head({ task }) {
  const { id, branch, baseBranch, directory, model } = task;
  const canMode = abilitiesOf(task).mode;
  const cost = costOf(task);
  const { turns } = talkOf(id).usage.value;
  const told = model || talkOf(id).model.value;
  return html`<header class="task-head">
    <h2 class="task-name" title=${task.title}>${titleLine(task)}</h2>
    <div class="task-row">
      <${State} task=${task} />
      ${canMode && html`<${ModeButton} task=${task} />`}
      <span class="task-facts">
        ${[
          !canMode && modeWords(modeNow(task)),
          told.replace(/^claude-/, ''),
          cost > 0 && costWords(cost),
          turns > 0 && counted(turns, 'turn'),
          task.tries > 1 && `try ${task.try} of ${task.tries}`,
        ]
          .filter(Boolean)
          .join(' · ')}
      </span>
    </div>
    <p class="task-where" title=${directory}>
      ${icon(branch ? 'git-branch' : 'folder')}
      ${branch ? `${branch}${baseBranch && ` from ${baseBranch}`}` : `in place: ${directory}`}
    </p>
    <${Doings} task=${task} />
  </header>`;
}

/** @param {{task: Task}} props */
function Doings({ task }) {
  const { id } = task;
  const can = abilitiesOf(task);
  const group = groupOf(id);
  const tries = openTries.value;
  const buttons = [
    can.stop && { label: 'Stop', run: () => stopIt(id) },
    // What runs is stopped before it lands, so that is not the first thing to offer.
    can.land && { label: 'Land…', run: () => landWithQuestion(id), look: can.stop ? '' : 'primary' },
    can.discard && { label: 'Discard…', run: () => discardWithQuestion([id]) },
    can.close && { label: 'Close…', run: () => discardWithQuestion([id]) },
  ];
  return html`<div class="task-row" role="group" aria-label="What can be done">
    ${buttons.map(
      (one) =>
        one &&
        html`<button
          type="button"
          key=${one.label}
          class=${`button ${one.look ?? ''}`}
          disabled=${underWay.value.has(id)}
          onClick=${one.run}
        >
          ${one.label}
        </button>`,
    )}
    ${group && tries && html`<button type="button" class="button" onClick=${() => tries(group)}>Compare the tries</button>`}
    <button
      type="button"
      class="icon-button"
      aria-label="More"
      title="More"
      aria-haspopup="menu"
      onClick=${(/** @type {Event} */ event) =>
        showMenu({ anchor: /** @type {Element} */ (event.currentTarget), label: 'Task', items: taskMenu(id) })}
    >
      ${icon('ellipsis')}
    </button>
  </div>`;
}

/** @param {{task: Task}} props */
function ModeButton({ task }) {
  const words = `Mode: ${modeWords(modeNow(task))}`;
  return html`<button
    type="button"
    class="chat-chip"
    aria-haspopup="menu"
    aria-label=${words}
    onClick=${(/** @type {Event} */ event) => pickTaskMode(task.id, /** @type {Element} */ (event.currentTarget))}
  >
    ${icon('shield')} <span>${modeWords(modeNow(task))}</span>
  </button>`;
}

/** @param {{task: Task}} props */
function Failure({ task }) {
  const { first, rest } = firstAndRest(task.error);
  const stderr = talkOf(task.id).stderr.value.trim();
  const more = [rest, stderr].filter(Boolean).join('\n\n');
  return html`<div class="task-error" role="alert">
    <p>${icon('error')} <span>${first || 'The task failed.'}</span></p>
    ${more && html`<details><summary>More</summary><pre tabindex="0">${more}</pre></details>`}
  </div>`;
}

const SIDES = /** @type {const} */ ([
  { id: 'talk', label: 'Conversation' },
  { id: 'changes', label: 'Changes' },
]);

/** @param {{task: Task, side: 'talk' | 'changes'}} props */
function Sides({ task, side }) {
  const sum = sums.value.get(task.id);
  const asks = isAsking(task.id);
  return html`<div class="task-tabs" role="tablist" aria-label="Parts of the task" onKeyDown=${rove}>
    ${SIDES.map(
      ({ id, label }) => html`<button
        type="button"
        class="place-tab"
        role="tab"
        aria-selected=${String(id === side)}
        aria-controls=${id === side ? `task-${id}-${task.id}` : undefined}
        tabindex=${id === side ? 0 : -1}
        onClick=${() => showSide(task.id, id)}
        onFocus=${() => showSide(task.id, id)}
      >
        ${label}
        ${id === 'changes' && sum && sum.fileCount > 0 && html`<${Counts} added=${sum.added} removed=${sum.removed} />`}
        ${id === 'talk' && asks && side !== 'talk' && html`<span class="task-state asks">${icon('question')} asks</span>`}
      </button>`,
    )}
  </div>`;
}

/** @param {{task: Task}} props */
function Talk({ task }) {
  const { id } = task;
  const prompt = promptOf(id) || task.title;
  return html`<div class="task-talk">
    <${FollowEnd} label=${`What ${titleLine(task)} says`}>
      <div class="chat-item">
        <p class="unseen">You</p>
        <div class="chat-user">${prompt}</div>
      </div>
      <${Items} />
      <${Tail} />
      <${Doing} />
    <//>
    ${task.status !== 'failed' && html`<${StandardError} id=${id} />`}
    <${Questions} list=${talkOf(id).questions.value} />
    ${abilitiesOf(task).send && html`<${FollowUp} task=${task} />`}
  </div>`;
}

/** What the CLI wrote beside its lines; of a task that failed it stands above. @param {{id: string}} props */
function StandardError({ id }) {
  const text = talkOf(id).stderr.value.trim();
  return (
    text &&
    html`<details class="task-stderr">
      <summary>Standard error</summary>
      <pre tabindex="0">${text}</pre>
    </details>`
  );
}

/** A further message; Enter sends it. @param {{task: Task}} props */
function FollowUp({ task: { id, status } }) {
  const words = taskDraft(id);
  const [sending, setSending] = useState(false);
  const send = async () => {
    const text = words.trim();
    if (!text || sending) return;
    setSending(true);
    setTaskDraft(id, '');
    try {
      await sendToTask(id, text);
    } catch (error) {
      // What was typed meanwhile stays behind it.
      setTaskDraft(id, [text, taskDraft(id)].filter(Boolean).join('\n'));
      reportError('Could not send the message', error);
    } finally {
      setSending(false);
    }
  };
  /** @param {KeyboardEvent} event */
  const onKeyDown = (event) => {
    if (event.key !== 'Enter' || event.shiftKey || event.isComposing) return;
    event.preventDefault();
    event.stopPropagation();
    void send();
  };
  const running = status === 'running';
  return html`<div class="chat-composer">
    <textarea
      class="chat-field task-field"
      rows="2"
      aria-label="Message to the task"
      placeholder=${running ? 'Tell it more while it works' : 'A follow-up: it goes on where it ended'}
      value=${words}
      onInput=${typing((text) => setTaskDraft(id, text))}
      onKeyDown=${onKeyDown}
    ></textarea>
    <div class="chat-bar">
      <span class="task-hint">${running ? '' : 'It waits for room when others run.'}</span>
      <button type="button" class="button primary" disabled=${!words.trim() || sending} onClick=${send}>Send</button>
    </div>
  </div>`;
}

/** @param {{task: Task}} props */
function TaskChanges({ task }) {
  const { id, directory } = task;
  // Reading the changes stages them, so it is done when the task ends, not while it works.
  const ends = useRef(0);
  const before = useRef(task.status);
  if (before.current === 'running' && task.status !== 'running') ends.current += 1;
  before.current = task.status;
  useEffect(() => () => dropSum(id), []);
  return html`<${Changes}
    load=${() => diffOfTask(id)}
    epoch=${ends.current}
    source=${`task ${titleLine(task)}`}
    told=${(/** @type {TaskDiff} */ diff) => (sums.value = new Map(sums.value).set(id, diff))}
    opener=${(/** @type {string} */ path) => {
      const inside = pathInWorkspace(directory, path);
      return inside ? () => openFile(inside) : null;
    }}
  />`;
}

/** Counts that nobody keeps up to date say nothing. @param {string} id */
function dropSum(id) {
  const task = taskById(id);
  if (task?.status !== 'running') return;
  const rest = new Map(sums.value);
  rest.delete(id);
  sums.value = rest;
}
