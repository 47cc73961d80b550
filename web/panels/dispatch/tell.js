// Tells of tasks that ask or have ended: to screen readers alone for who looks at the task, as a message for who does not.

import { effect, untracked } from '@preact/signals';
import { html } from 'htm/preact';
import { frontTab } from '../../editor/state.js';
import { runCommand } from '../../shell/commands.js';
import { icon } from '../../shell/icons.js';
import { toast } from '../../shell/toasts.js';
import { announce } from '../../stores/announce.js';
import { questionKey } from '../../stores/chatquestions.js';
import { toolLook } from '../../stores/chattools.js';
import { askingTasks, onTask, runningTasks, taskById, tasks } from '../../stores/dispatch.js';
import { counted, firstAndRest } from '../../stores/dispatchboard.js';
import { taskQuestions } from '../../stores/dispatchtalks.js';
import { titleLine } from '../../stores/dispatchwire.js';
import { pageTabId } from '../../stores/tabs.js';
import { openTask } from './taskactions.js';

/**
 * @typedef {import('../../stores/dispatchwire.js').Task} Task
 * @typedef {import('../../stores/chatquestions.js').Question} Question
 */

/** How long a message of an end stays. */
const END_MS = 8000;

/** Whether who looks at the editor sees it: on the board, or on the task's own page. @param {string} id */
const inFront = (id) => [pageTabId('task', id), pageTabId('board', '')].includes(frontTab.value?.id ?? '');

/** Tries of one task have the same title. @param {Task} task */
const nameOf = (task) => `"${titleLine(task)}"${task.tries > 1 ? ` (try ${task.try})` : ''}`;

/** @param {Question} question */
function questionWords({ kind, tool, input, owner = '' }) {
  const task = taskById(owner);
  const name = task ? nameOf(task) : 'A task';
  if (kind === 'plan') return `${name} has a plan that waits for you.`;
  if (kind === 'choice') return `${name} asks you something.`;
  const { label, detail } = toolLook(tool, input);
  return `${name} asks whether it may use ${label}. ${detail}`.trim();
}

/** @param {Task} task */
function endWords(task) {
  const name = nameOf(task);
  if (task.status === 'done') return `${name} is done.`;
  const { first } = firstAndRest(task.error);
  return first ? `${name} failed: ${first}` : `${name} failed.`;
}

export function startTelling() {
  onTask((task, before) => {
    const ended = task.status === 'done' || task.status === 'failed';
    if (!before || before.status === task.status || !ended) return;
    const words = endWords(task);
    if (inFront(task.id)) announce('task', words);
    else tell(task.status === 'failed' ? 'warning' : 'info', words, task.id, END_MS);
  });
  tellQuestions();
}

/**
 * @param {'info' | 'warning'} kind
 * @param {string} text
 * @param {string} id
 * @param {number} [stays] in ms; without it until it is dismissed
 */
function tell(kind, text, id, stays) {
  const dismiss = toast({ kind, text, actions: [{ label: 'Show', run: () => openTask(id) }] });
  if (stays) setTimeout(dismiss, stays);
  return dismiss;
}

/** A message of a question goes with the question, and when its task comes to the front. */
function tellQuestions() {
  /** By the question's key: what takes the message away, null when there is none. @type {Map<string, (() => void) | null>} */
  const known = new Map();
  effect(() => {
    const open = taskQuestions.value;
    const seen = new Set(open.flatMap((one) => (inFront(one.owner ?? '') ? [questionKey(one)] : [])));
    untracked(() => {
      const keys = new Set(open.map(questionKey));
      for (const [key, dismiss] of known) {
        if (keys.has(key) && !seen.has(key)) continue;
        dismiss?.();
        if (keys.has(key)) known.set(key, null);
        else known.delete(key);
      }
      for (const question of open) {
        const key = questionKey(question);
        if (known.has(key)) continue;
        const words = questionWords(question);
        if (seen.has(key)) announce('question', words);
        known.set(key, seen.has(key) ? null : tell('info', words, question.owner ?? ''));
      }
    });
  });
}

/** How many run and ask; a way to the board. */
export function TaskStatus() {
  const running = runningTasks.value.length;
  const asking = askingTasks.value.length;
  const waiting = tasks.value.filter(({ status }) => status === 'queued').length;
  const words = [
    running && `${counted(running, 'task')} ${running === 1 ? 'runs' : 'run'}`,
    asking && `${asking} ${asking === 1 ? 'asks' : 'ask'}`,
    waiting && `${waiting} ${waiting === 1 ? 'waits' : 'wait'}`,
  ].filter(Boolean);
  return (
    words.length > 0 &&
    html`<button
      type="button"
      class=${`status-item ${asking ? 'down' : ''}`}
      onClick=${() => runCommand(asking ? 'dispatch.question' : 'dispatch.board')}
    >
      ${icon(asking ? 'question' : 'run-all')} ${words.join(', ')}
    </button>`
  );
}
