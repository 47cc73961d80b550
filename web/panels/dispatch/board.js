// The board: all tasks of this run in columns by what there is to do with them, and what earlier runs have left.

import { html } from 'htm/preact';
import { useEffect, useState } from 'preact/hooks';
import { runCommand } from '../../shell/commands.js';
import { icon } from '../../shell/icons.js';
import { IconButton } from '../../shell/places.js';
import { reportError } from '../../shell/toasts.js';
import { executable, statusKnown } from '../../stores/chat.js';
import { account, readAccount } from '../../stores/chatsession.js';
import {
  isAsking,
  limit,
  listFailure,
  readTasks,
  runningTasks,
  setLimit,
  taskRoots,
  tasks,
  tasksKnown,
} from '../../stores/dispatch.js';
import { boardMove, columnsOf } from '../../stores/dispatchboard.js';
import { findOrphans } from '../../stores/dispatchrescue.js';
import { note } from '../../stores/log.js';
import { typing } from '../chat/fields.js';
import { Account, NotFound } from '../chat/welcome.js';
import { TaskCard } from './card.js';
import { TaskForm, formShown } from './form.js';
import { Orphans } from './orphans.js';
import { focusCard } from './place.js';

const MOST_RUNNING = 8;

export function Board() {
  useEffect(() => {
    findOrphans().catch((error) => note('warning', 'Could not look for worktrees of earlier tasks', error));
  }, [taskRoots.value]);
  const empty = tasksKnown.value && tasks.value.length === 0;
  return html`<section class="board" aria-label="Board of tasks">
    <${Head} />
    ${listFailure.value && html`<${Failure} />`}
    ${formShown.value && html`<${TaskForm} />`}
    <${Missing} />
    ${empty ? html`<${Empty} />` : html`<${Columns} />`}
    <${Orphans} />
  </section>`;
}

function Head() {
  const running = runningTasks.value.length;
  return html`<header class="board-head">
    <h2>Tasks</h2>
    <button
      type="button"
      class="button primary"
      tabindex=${formShown.value ? undefined : 0}
      aria-expanded=${String(formShown.value)}
      onClick=${() => runCommand('dispatch.new')}
    >
      ${icon('add')} New task
    </button>
    <span class="board-fill">${running > 0 && `${running} of ${limit.value} running`}</span>
    <label class="board-limit"
      >At once
      <select
        class="field"
        onChange=${typing((count) => {
          setLimit(Number(count)).catch((error) => reportError('Could not set how many run at once', error));
        })}
      >
        ${Array.from(
          { length: MOST_RUNNING },
          (_, at) => html`<option selected=${limit.value === at + 1}>${at + 1}</option>`,
        )}
      </select>
    </label>
    <${IconButton} icon="refresh" command="dispatch.refresh" />
  </header>`;
}

function Failure() {
  return html`<div class="task-error" role="alert">
    <p>${icon('error')} <span>Could not read the tasks: ${listFailure.value}</span></p>
    <button type="button" class="button" onClick=${() => readTasks()}>Try Again</button>
  </div>`;
}

/** What is missing before a task can run: the same words as the chat's. */
function Missing() {
  useEffect(() => {
    // Asking starts the CLI, so only for somebody who looks.
    if (!statusKnown.value || account.value || !executable.value.includes('/')) return;
    readAccount().catch((error) => note('warning', 'Could not ask who is signed in', error));
  }, [statusKnown.value, executable.value]);
  if (!statusKnown.value) return null;
  if (!executable.value.includes('/')) return html`<${NotFound} />`;
  return account.value?.loggedIn === false ? html`<${Account} />` : null;
}

function Empty() {
  return html`<div class="board-empty">
    <p>
      A task is work for Claude in the background. Each gets a folder and a branch of its own, so you go on meanwhile;
      then you look at what it changed, and land it or throw it away.
    </p>
    ${
      !taskRoots.value.length
        ? html`<p>Add a folder to the workspace first.</p>
            <button type="button" class="button primary" onClick=${() => runCommand('explorer.addFolder')}>Add a folder</button>`
        : !formShown.value &&
          html`<button type="button" class="button" onClick=${() => runCommand('dispatch.new')}>Describe the first task</button>`
    }
  </div>`;
}

function Columns() {
  const [at, setAt] = useState('');
  const columns = columnsOf(tasks.value, isAsking);
  const all = columns.flatMap((column) => column.tasks);
  const stop = all.some(({ id }) => id === at) ? at : (all[0]?.id ?? '');
  /** @param {KeyboardEvent} event */
  const onKeyDown = (event) => {
    if (event.ctrlKey || event.altKey || event.metaKey || event.shiftKey) return;
    const from = event.target instanceof HTMLElement ? (event.target.dataset.task ?? '') : '';
    const to = from ? boardMove(columns, from, event.key) : null;
    if (!to) return;
    event.preventDefault();
    focusCard(to);
  };
  return html`<div class="board-columns" onKeyDown=${onKeyDown}>
    ${columns.map(
      ({ id, title, tasks: inside }) => html`<section
        key=${id}
        class="board-column"
        data-column=${id}
        aria-labelledby=${`board-${id}`}
      >
        <h3 id=${`board-${id}`}>${title} <span class="board-count">${inside.length || ''}</span></h3>
        <ul>
          ${inside.map(
            (task) => html`<${TaskCard}
              key=${task.id}
              task=${task}
              stop=${task.id === stop}
              onFocus=${() => setAt(task.id)}
            />`,
          )}
        </ul>
      </section>`,
    )}
  </div>`;
}
