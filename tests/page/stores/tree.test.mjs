import assert from 'node:assert/strict';
import { test } from 'node:test';
import * as tree from '../../../web/stores/tree.js';

const entry = (path, directory = false) => ({ name: path.split('/').at(-1), path, directory, size: 0 });
const listings = new Map([
  ['p', [entry('p/src', true), entry('p/Zoo', true), entry('p/a.txt'), entry('p/abc.txt'), entry('p/b.txt')]],
  ['p/src', [entry('p/src/main.c')]],
  ['q', { error: 'cannot list: q' }],
]);
const roots = [{ name: 'p' }, { name: 'q' }];
const rows = tree.visibleRows(roots, new Set(['p', 'p/src', 'p/Zoo', 'q']), listings);

test('tree: rows in order, with depth and place among siblings', () => {
  assert.deepEqual(
    rows.map((row) => `${'  '.repeat(row.depth)}${row.name} ${row.position}/${row.siblings}`),
    [
      'p 1/2',
      '  src 1/5',
      '    main.c 1/1',
      '  Zoo 2/5',
      '    Loading… 1/1',
      '  a.txt 3/5',
      '  abc.txt 4/5',
      '  b.txt 5/5',
      'q 2/2',
      '  cannot list: q 1/1',
    ],
  );
  assert.deepEqual(
    rows.map((row) => row.kind).filter((kind) => kind !== 'entry'),
    ['loading', 'error'],
  );
});

test('tree: folders that are closed show nothing of what they hold', () => {
  assert.deepEqual(
    tree.visibleRows(roots, new Set(), listings).map((row) => row.name),
    ['p', 'q'],
  );
});

test('tree: the editor keeps its own backups out of sight', () => {
  assert.deepEqual(tree.visibleEntries([entry('p/.marlin', true), entry('p/.env')]), [entry('p/.env')]);
});

test('tree: keys lead where those of a tree lead', () => {
  const moves = [
    ['p', 'ArrowDown', { focus: 'p/src' }],
    ['p', 'ArrowUp', { focus: 'p' }],
    ['p/Zoo', 'ArrowDown', { focus: 'p/a.txt' }], // over the row that says it is loading
    ['p/src', 'ArrowRight', { focus: 'p/src/main.c' }],
    ['p/src', 'ArrowLeft', { collapse: 'p/src' }],
    ['p/src/main.c', 'ArrowLeft', { focus: 'p/src' }],
    ['p/src/main.c', 'ArrowRight', null],
    ['p/Zoo', 'ArrowRight', null], // nothing below it yet
    ['p', 'End', { focus: 'q' }],
    ['q', 'Home', { focus: 'p' }],
    ['p', 'PageDown', { focus: 'p/src/main.c' }],
    ['q', 'PageUp', { focus: 'p/abc.txt' }],
    ['gone', 'ArrowDown', { focus: 'p' }],
    ['p', 'x', null],
  ];
  for (const [path, key, wanted] of moves)
    assert.deepEqual(tree.treeMove(rows, path, key, 3), wanted, `${path} ${key}`);
  const closed = tree.visibleRows(roots, new Set(), listings);
  assert.deepEqual(tree.treeMove(closed, 'p', 'ArrowRight', 3), { expand: 'p' });
  assert.equal(tree.treeMove(closed, 'p', 'ArrowLeft', 3), null);
  assert.equal(tree.treeMove([], '', 'ArrowDown', 3), null);
});

test('tree: a range has the entries from one row to the other', () => {
  assert.deepEqual(tree.rangeOf(rows, 'p/src', 'p/a.txt'), ['p/src', 'p/src/main.c', 'p/Zoo', 'p/a.txt']);
  assert.deepEqual(tree.rangeOf(rows, 'p/a.txt', 'p/Zoo'), ['p/Zoo', 'p/a.txt']);
  assert.deepEqual(tree.rangeOf(rows, 'gone', 'p/Zoo'), ['p/Zoo']);
  assert.deepEqual(tree.rangeOf(rows, 'p', 'gone'), []);
});

test('tree: typing jumps to the next name that begins so', () => {
  assert.equal(tree.typeahead(rows, 'p', 'a'), 'p/a.txt');
  assert.equal(tree.typeahead(rows, 'p/a.txt', 'a'), 'p/abc.txt', 'the same letter goes on');
  assert.equal(tree.typeahead(rows, 'p/a.txt', 'aa'), 'p/abc.txt');
  assert.equal(tree.typeahead(rows, 'p/abc.txt', 'a'), 'p/a.txt', 'and round');
  assert.equal(tree.typeahead(rows, 'p/abc.txt', 'ab'), 'p/abc.txt', 'more letters stay where they fit');
  assert.equal(tree.typeahead(rows, 'q', 'Z'), 'p/Zoo');
  assert.equal(tree.typeahead(rows, 'p', 'load'), '', 'messages are not names');
  assert.equal(tree.typeahead(rows, 'p', 'x'), '');
});

test('tree: what must be open to see a path', () => {
  assert.deepEqual(tree.ancestors('p/a/b/c'), ['p', 'p/a', 'p/a/b']);
  assert.deepEqual(tree.ancestors('p'), []);
  assert.equal(tree.targetFolder('p/a', true), 'p/a');
  assert.equal(tree.targetFolder('p/a', false), 'p');
});

test('tree: moves that make no sense say so', () => {
  assert.notEqual(tree.moveProblem(['p'], 'q'), '');
  assert.notEqual(tree.moveProblem(['p/src'], 'p/src/deep'), '');
  assert.notEqual(tree.moveProblem(['p/src'], 'p/src'), '');
  assert.equal(tree.moveProblem(['p/src', 'p/a.txt'], 'p/src2'), '');
  assert.deepEqual(tree.moves(['p/a.txt', 'p/src/main.c'], 'p'), [{ from: 'p/src/main.c', to: 'p/main.c' }]);
});
