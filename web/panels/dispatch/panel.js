// The compact list at the side: what asks, runs, waits, and is to be reviewed.

import { html } from 'htm/preact';
import { useState } from 'preact/hooks';
import { runCommand } from '../../shell/commands.js';
import { icon } from '../../shell/icons.js';
import { IconButton } from '../../shell/places.js';
import { askingTasks, isAsking, listFailure, readTasks, runningTasks, tasks, tasksKnown } from '../../stores/dispatch.js';
import { boardMove, columnsOf, counted, listed } from '../../stores/dispatchboard.js';
import { orphans } from '../../stores/dispatchrescue.js';
import { TaskCard } from './card.js';
import { openBoard } from './taskactions.js';

export function TaskList() {
  const list = listed(columnsOf(tasks.value, isAsking));
  const left = orphans.value.length;
  return html`<div class="task-panel">
    ${
      listFailure.value &&
      html`<div class="task-error" role="alert">
        <p>${icon('error')} <span>Could not read the tasks: ${listFailure.value}</span></p>
        <button type="button" class="button" onClick=${() => readTasks()}>Try Again</button>
      </div>`
    }
    ${list.length > 0 ? html`<${Rows} list=${list} />` : html`<${Nothing} />`}
    ${
      left > 0 &&
      html`<button type="button" class="button quiet" onClick=${() => openBoard()}>
        ${counted(left, 'worktree')} of earlier runs
      </button>`
    }
  </div>`;
}

/** @param {{list: import('../../stores/dispatchwire.js').Task[]}} props */
function Rows({ list }) {
  const [at, setAt] = useState('');
  const stop = list.some(({ id }) => id === at) ? at : list[0]?.id;
  /** @param {KeyboardEvent} event */
  const onKeyDown = (event) => {
    if (event.ctrlKey || event.altKey || event.metaKey || event.shiftKey) return;
    const place = /** @type {Element} */ (event.currentTarget);
    const from = event.target instanceof HTMLElement ? (event.target.dataset.task ?? '') : '';
    const to = from ? boardMove([{ tasks: list }], from, event.key) : null;
    const card = to && place.querySelector(`[data-task="${CSS.escape(to)}"]`);
    if (!(card instanceof HTMLElement)) return;
    event.preventDefault();
    card.focus();
  };
  return html`<ul class="task-rows" aria-label="Tasks" onKeyDown=${onKeyDown}>
    ${list.map(
      (task) => html`<${TaskCard} key=${task.id} task=${task} stop=${task.id === stop} onFocus=${() => setAt(task.id)} />`,
    )}
  </ul>`;
}

function Nothing() {
  if (!tasksKnown.value) return !listFailure.value && html`<p class="empty" role="status">Reading the tasks…</p>`;
  return html`<div class="empty">
    <p>Nothing runs in the background.</p>
    <button type="button" class="button" onClick=${() => runCommand('dispatch.new')}>New task</button>
  </div>`;
}

export function TaskListActions() {
  return html`<${IconButton} icon="add" command="dispatch.new" /> <${IconButton} icon="project" command="dispatch.board" />`;
}

/** How many ask, else how many run. */
export function TaskBadge() {
  const asking = askingTasks.value.length;
  const count = asking || runningTasks.value.length;
  // Drawn by the style sheet: the button's name stays that of the panel.
  return count > 0 && html`<span class=${`scm-badge ${asking ? 'asks' : ''}`} data-count=${count}></span>`;
}
