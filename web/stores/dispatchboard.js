// How background tasks are laid out for the eye: columns by what there is to do with them, words for each state,
// and where the arrow keys lead.

import { isClosed } from './dispatchwire.js';

/**
 * @typedef {import('./dispatchwire.js').Task} Task
 * @typedef {'queued' | 'running' | 'review' | 'trouble' | 'closed'} ColumnId
 * @typedef {{id: ColumnId, title: string, tasks: Task[]}} Column
 * @typedef {{words: string, sign: string, look: 'quiet' | 'busy' | 'asks' | 'ok' | 'bad'}} TaskLook
 */

/** @type {Record<import('./dispatchwire.js').TaskStatus, ColumnId>} */
const COLUMN_OF = {
  queued: 'queued',
  running: 'running',
  done: 'review',
  failed: 'trouble',
  stopped: 'trouble',
  merged: 'closed',
  discarded: 'closed',
};

/** @type {{id: ColumnId, title: string}[]} */
const COLUMNS = [
  { id: 'queued', title: 'Waiting' },
  { id: 'running', title: 'Running' },
  { id: 'review', title: 'To review' },
  { id: 'trouble', title: 'Failed or stopped' },
  { id: 'closed', title: 'Closed' },
];

/**
 * All columns, also empty ones. Those that wait stand in the order they will start, of all others what asks comes
 * first, then the newest.
 * @param {readonly Task[]} tasks in the order of their creation
 * @param {(id: string) => boolean} asks
 * @returns {Column[]}
 */
export function columnsOf(tasks, asks) {
  return COLUMNS.map(({ id, title }) => {
    const inside = tasks.filter(({ status }) => COLUMN_OF[status] === id);
    if (id === 'queued') return { id, title, tasks: inside };
    inside.reverse();
    const first = inside.filter((task) => asks(task.id));
    return { id, title, tasks: [...first, ...inside.filter((task) => !asks(task.id))] };
  });
}

/** @type {Record<import('./dispatchwire.js').TaskStatus, TaskLook>} */
const LOOKS = {
  queued: { words: 'Waiting', sign: 'clock', look: 'quiet' },
  running: { words: 'Running', sign: 'loading', look: 'busy' },
  done: { words: 'Done', sign: 'check', look: 'ok' },
  failed: { words: 'Failed', sign: 'error', look: 'bad' },
  stopped: { words: 'Stopped', sign: 'debug-stop', look: 'quiet' },
  merged: { words: 'Landed', sign: 'git-merge', look: 'ok' },
  discarded: { words: 'Discarded', sign: 'trash', look: 'quiet' },
};

/**
 * @param {Pick<Task, 'status'>} task
 * @param {boolean} asks
 * @param {string} [underWay] what is being done with it
 * @returns {TaskLook}
 */
export function lookOf({ status }, asks, underWay = '') {
  if (underWay) return { words: `${underWay}…`, sign: 'loading', look: 'busy' };
  if (asks && status === 'running') return { words: 'Asks', sign: 'question', look: 'asks' };
  return LOOKS[status];
}

/** The compact list: what asks, runs or waits, then what is to be reviewed; nothing that is closed. */
export const listed = (/** @type {readonly Column[]} */ columns) =>
  ['running', 'queued', 'review', 'trouble'].flatMap(
    (id) => columns.find((column) => column.id === id)?.tasks ?? [],
  );

/** What can be done with a task as it stands. @param {Pick<Task, 'status' | 'branch' | 'live'>} task */
export function abilitiesOf({ status, branch, live }) {
  const open = !isClosed(status);
  return {
    stop: status === 'running' || status === 'queued',
    send: open,
    mode: status === 'running' && live,
    land: open && branch !== '',
    /** Without a branch there is nothing to land or to throw away: the task is only put away. */
    close: open && branch === '',
    discard: open && branch !== '',
  };
}

/**
 * Where an arrow key leads from a card: up and down in its column, left and right to the same height in the next
 * column that has any.
 * @param {readonly {tasks: readonly {id: string}[]}[]} columns
 * @param {string} from
 * @param {string} key
 * @returns {string | null} the id of a task; null for a key that leads nowhere
 */
export function boardMove(columns, from, key) {
  const column = columns.findIndex(({ tasks }) => tasks.some(({ id }) => id === from));
  if (column < 0) return null;
  const list = columns[column]?.tasks ?? [];
  const row = list.findIndex(({ id }) => id === from);
  const at = (/** @type {number} */ index) => list[Math.max(0, Math.min(list.length - 1, index))]?.id ?? null;
  switch (key) {
    case 'ArrowUp':
      return at(row - 1);
    case 'ArrowDown':
      return at(row + 1);
    case 'Home':
      return at(0);
    case 'End':
      return at(list.length - 1);
    case 'ArrowLeft':
      return sideways(columns.slice(0, column).reverse(), row);
    case 'ArrowRight':
      return sideways(columns.slice(column + 1), row);
    default:
      return null;
  }
}

/**
 * @param {readonly {tasks: readonly {id: string}[]}[]} columns
 * @param {number} row
 */
function sideways(columns, row) {
  const list = columns.find(({ tasks }) => tasks.length)?.tasks;
  return list?.[Math.min(row, list.length - 1)]?.id ?? null;
}

/**
 * A failure of several lines: the first for the eye, the rest on demand.
 * @param {string} text
 */
export function firstAndRest(text) {
  const lines = text.trim().split('\n');
  return { first: lines[0] ?? '', rest: lines.slice(1).join('\n').trim() };
}

/** @param {number} count @param {string} one @param {string} [many] */
export const counted = (count, one, many = `${one}s`) => `${count} ${count === 1 ? one : many}`;
