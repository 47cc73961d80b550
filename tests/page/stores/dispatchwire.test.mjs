// Tasks, lists and changes as the bridge tells them, and what is made of missing or odd fields.
import assert from 'node:assert/strict';
import { test } from 'node:test';
import { inOrder, readDiff, readList, readTask, titleLine, tryGroups } from '../../../web/stores/dispatchwire.js';

const task = (id, more = {}) => readTask({ id, status: 'done', title: 'T', repoRoot: '/p', createdAt: 5, ...more });

test('dispatch wire: a task without an id or with an unknown status is none; other fields have empty values', () => {
  assert.equal(readTask({ status: 'done' }), null);
  assert.equal(readTask({ id: 't1-1', status: 'dreaming' }), null);
  assert.equal(readTask('t1-1'), null);
  assert.equal(readTask(null), null);
  const odd = readTask({ id: 't1-1', status: 'failed', title: 7, cost: 'much', tries: null, worktree: 'yes', error: {} });
  assert.deepEqual(
    [odd.title, odd.cost, odd.try, odd.tries, odd.worktree, odd.error, odd.branch],
    ['', 0, 1, 1, false, '', ''],
  );
});

test('dispatch wire: a list leaves out what is no task, and takes only roots with a name', () => {
  const list = readList({
    tasks: [{ id: 't1-1', status: 'queued' }, 'x', { id: 't2-1' }],
    limit: 5,
    roots: [{ name: 'a', git: true }, { name: 'b', git: 1 }, { git: true }],
  });
  assert.deepEqual(list.tasks.map(({ id }) => id), ['t1-1']);
  assert.equal(list.limit, 5);
  assert.deepEqual(list.roots, [
    { name: 'a', git: true },
    { name: 'b', git: false },
  ]);
  assert.deepEqual(readList(undefined), { tasks: [], limit: 2, roots: [] });
});

test('dispatch wire: a patch that was cut says so and loses the mark', () => {
  const whole = readDiff({ files: [{ path: 'a', added: 1, removed: 2 }, { added: 3 }], added: 1, removed: 2, fileCount: 1, patch: 'diff\n' });
  assert.deepEqual(whole.files, [{ path: 'a', added: 1, removed: 2 }]);
  assert.equal(whole.cut, false);
  const cut = readDiff({ patch: 'diff --git\n+half\n… (diff truncated)\n' });
  assert.deepEqual([cut.cut, cut.patch], [true, 'diff --git\n+half']);
});

test('dispatch wire: tasks of one millisecond stand in the order of their numbers, the tenth behind the second', () => {
  const ids = inOrder([task('t10-5'), task('t2-5'), task('t1-9', { createdAt: 9 })]).map(({ id }) => id);
  assert.deepEqual(ids, ['t2-5', 't10-5', 't1-9']);
});

test('dispatch wire: a title of several lines is called by its first, one without words by its id', () => {
  assert.equal(titleLine({ id: 't1-1', title: '  Fix it\nand more' }), 'Fix it');
  assert.equal(titleLine({ id: 't1-1', title: ' \n' }), 't1-1');
});

test('dispatch wire: tries belong together by title, folder and number, also when two groups are alike', () => {
  const tries = (from, more) =>
    [1, 2, 3].map((number, at) =>
      task(`t${from + at}-1`, { try: number, tries: 3, createdAt: from + at, ...more }),
    );
  const list = [
    ...tries(1),
    task('t4-1', { createdAt: 4 }),
    ...tries(5),
    ...tries(8, { title: 'Other' }),
    task('t11-1', { try: 1, tries: 2, createdAt: 11 }), // its second could not be made
  ];
  const groups = [...tryGroups(list)].map(([id, inside]) => [id, inside.map((one) => one.id)]);
  assert.deepEqual(groups, [
    ['t1-1', ['t1-1', 't2-1', 't3-1']],
    ['t5-1', ['t5-1', 't6-1', 't7-1']],
    ['t8-1', ['t8-1', 't9-1', 't10-1']],
  ]);
});

test('dispatch wire: a group that lacks its last try takes none of the next; groups made at once have as many each', () => {
  const made = (numbers, tries) =>
    [...tryGroups(numbers.map((number, at) => task(`t${at + 1}-1`, { try: number, tries, createdAt: at }))).values()].map(
      (inside) => inside.map((one) => one.id),
    );
  assert.deepEqual(made([1, 2, 1, 2, 3], 3), [['t1-1', 't2-1'], ['t3-1', 't4-1', 't5-1']]);
  assert.deepEqual(made([1, 1, 2, 2], 2).map((inside) => inside.length), [2, 2]);
});

test('dispatch wire: tries of two groups that came to be in turns are not mixed up', () => {
  const list = [
    task('t1-1', { try: 1, tries: 2, createdAt: 1 }),
    task('t2-1', { try: 1, tries: 2, createdAt: 2, repoRoot: '/q' }),
    task('t3-1', { try: 2, tries: 2, createdAt: 3 }),
    task('t4-1', { try: 2, tries: 2, createdAt: 4, repoRoot: '/q' }),
  ];
  const groups = [...tryGroups(list).values()].map((inside) => inside.map(({ id }) => id));
  assert.deepEqual(groups, [['t1-1', 't3-1'], ['t2-1', 't4-1']]);
});
