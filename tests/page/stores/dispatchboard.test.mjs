// Where tasks stand on the board, what is said of each, and where the keys lead.
import assert from 'node:assert/strict';
import { test } from 'node:test';
import { abilitiesOf, boardMove, columnsOf, firstAndRest, listed, lookOf } from '../../../web/stores/dispatchboard.js';

const STATUSES = ['queued', 'running', 'done', 'failed', 'stopped', 'merged', 'discarded'];
const task = (id, status, more = {}) => ({ id, status, branch: 'marlin/x', live: status === 'running', ...more });

test('dispatch board: each status has its column; what waits stands as it will start, the rest newest first, questions above all', () => {
  const list = [
    ...STATUSES.map((status, at) => task(`${at}`, status)),
    task('7', 'queued'),
    task('8', 'running'),
    task('9', 'running'),
  ];
  const columns = columnsOf(list, (id) => id === '1');
  assert.deepEqual(
    columns.map(({ id, tasks }) => [id, tasks.map((one) => one.id).join()]),
    [
      ['queued', '0,7'],
      ['running', '1,9,8'],
      ['review', '2'],
      ['trouble', '4,3'],
      ['closed', '6,5'],
    ],
  );
  assert.deepEqual(listed(columns).map(({ id }) => id).join(), '1,9,8,0,7,2,4,3');
});

test('dispatch board: what is under way comes before a question, a question before the status', () => {
  assert.equal(lookOf(task('a', 'running'), true, 'Landing').words, 'Landing…');
  assert.equal(lookOf(task('a', 'running'), true).words, 'Asks');
  assert.equal(lookOf(task('a', 'stopped'), true).words, 'Stopped');
  for (const status of STATUSES) assert.ok(lookOf(task('a', status), false).words, status);
});

test('dispatch board: what can be done with a task follows its status and whether it has a branch', () => {
  const can = (status, more) =>
    Object.entries(abilitiesOf(task('a', status, more)))
      .filter(([, yes]) => yes)
      .map(([name]) => name)
      .join();
  assert.equal(can('queued'), 'stop,send,land,discard');
  assert.equal(can('running'), 'stop,send,mode,land,discard');
  assert.equal(can('running', { live: false }), 'stop,send,land,discard');
  assert.equal(can('done'), 'send,land,discard');
  assert.equal(can('failed', { branch: '' }), 'send,close');
  assert.equal(can('merged'), '');
  assert.equal(can('discarded', { branch: '' }), '');
});

test('dispatch board: arrows stay in the column, and sideways skip the empty ones', () => {
  const columns = [
    { tasks: [{ id: 'a' }, { id: 'b' }, { id: 'c' }] },
    { tasks: [] },
    { tasks: [{ id: 'd' }, { id: 'e' }] },
  ];
  const way = (from, ...keys) => keys.map((key) => boardMove(columns, from, key));
  assert.deepEqual(way('a', 'ArrowUp', 'ArrowDown', 'End', 'ArrowLeft', 'ArrowRight'), ['a', 'b', 'c', null, 'd']);
  assert.deepEqual(way('c', 'ArrowDown', 'Home', 'ArrowRight'), ['c', 'a', 'e']);
  assert.deepEqual(way('e', 'ArrowLeft', 'ArrowRight', 'x'), ['b', null, null]);
  assert.equal(boardMove([...columns, { tasks: [{ id: 'f' }] }], 'f', 'ArrowLeft'), 'd', 'the nearest one');
  assert.deepEqual(way('gone', 'ArrowDown', 'ArrowRight'), [null, null]);
});

test('dispatch board: a failure of several lines gives its first and the rest', () => {
  assert.deepEqual(firstAndRest('\nfatal: a\nhint: b\nhint: c\n'), { first: 'fatal: a', rest: 'hint: b\nhint: c' });
  assert.deepEqual(firstAndRest(''), { first: '', rest: '' });
});
