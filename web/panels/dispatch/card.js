// A task as a card: what it is called, how it stands, and what it cost. On the board and in the side panel.

import { html } from 'htm/preact';
import { icon } from '../../shell/icons.js';
import { showMenu } from '../../shell/menus.js';
import { costWords } from '../../stores/chatusage.js';
import { isAsking, underWay } from '../../stores/dispatch.js';
import { firstAndRest, lookOf } from '../../stores/dispatchboard.js';
import { talkOf } from '../../stores/dispatchtalks.js';
import { titleLine } from '../../stores/dispatchwire.js';
import { discardWithQuestion, modeNow, modeWords, openTask, taskMenu } from './taskactions.js';

/** @typedef {import('../../stores/dispatchwire.js').Task} Task */

/** How a task stands, as a word with a sign. @param {{task: Task}} props */
export function State({ task }) {
  const { words, sign, look } = lookOf(task, isAsking(task.id), underWay.value.get(task.id));
  return html`<span class=${`task-state ${look}`}>${icon(sign, look === 'busy' ? 'spin' : '')} ${words}</span>`;
}

/** What a task has cost so far, in dollars. @param {Task} task */
export const costOf = ({ id, cost }) => Math.max(cost, talkOf(id).usage.value.cost);

/** @param {Task} task */
function facts(task) {
  const cost = costOf(task);
  return [
    task.tries > 1 && `try ${task.try} of ${task.tries}`,
    task.branch ? task.baseBranch && `from ${task.baseBranch}` : 'in place',
    modeWords(modeNow(task)),
    cost > 0 && costWords(cost),
  ].filter(Boolean);
}

/**
 * @param {object} props
 * @param {Task} props.task
 * @param {boolean} props.stop whether the Tab key stops here
 * @param {() => void} props.onFocus
 */
export function TaskCard({ task, stop, onFocus }) {
  const { id, error, status } = task;
  const trouble = status === 'failed' ? firstAndRest(error).first : '';
  const menu = (/** @type {MouseEvent} */ event) => {
    event.preventDefault();
    void showMenu({ x: event.clientX, y: event.clientY, label: titleLine(task), items: taskMenu(id) });
  };
  return html`<li class="task-card" onContextMenu=${menu}>
    <button
      type="button"
      class="task-open"
      data-task=${id}
      tabindex=${stop ? 0 : -1}
      onClick=${() => openTask(id)}
      onFocus=${onFocus}
      onKeyDown=${(/** @type {KeyboardEvent} */ event) => cardKey(event, id)}
    >
      <span class="task-title">${titleLine(task)}</span>
      <span class="task-line"><${State} task=${task} /> <span class="task-facts">${facts(task).join(' · ')}</span></span>
      ${trouble && html`<span class="task-trouble">${trouble}</span>`}
    </button>
  </li>`;
}

/**
 * @param {KeyboardEvent} event
 * @param {string} id
 */
function cardKey(event, id) {
  const card = /** @type {Element} */ (event.currentTarget);
  if (event.key === 'ContextMenu' || (event.key === 'F10' && event.shiftKey)) {
    void showMenu({ anchor: card, label: 'Task', items: taskMenu(id) });
  } else if (event.key === 'Delete') void discardWithQuestion([id]);
  else return;
  event.preventDefault();
  event.stopPropagation();
}
