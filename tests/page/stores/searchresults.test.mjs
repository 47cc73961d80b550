import assert from 'node:assert/strict';
import { test } from 'node:test';
import {
  countHits,
  filtered,
  gather,
  rowMove,
  rowsOf,
  stepHit,
  withFile,
} from '../../../web/stores/searchresults.js';
import { hitKey } from '../../../web/stores/searchhits.js';

const hit = (path, line) => ({
  path,
  line,
  column: 1,
  length: 1,
  text: `x${line}`,
  from: 0,
  to: 1,
  cut: false,
});
const disk = [hit('p/src/a.c', 1), hit('p/src/a.c', 2), hit('p/src/deep/er/b.c', 1), hit('p/z.md', 1)];
const files = gather(disk, new Map());
const everything = { include: '', exclude: '', dismissed: new Set() };
const shape = (rows) =>
  rows.map((row) => `${'  '.repeat(row.depth)}${row.name} ${row.position}/${row.siblings}`);
const view = { asTree: false, collapsed: new Set() };

test('searchresults: what an open text holds takes the place of its file, untitled pages come last', () => {
  const own = new Map([
    ['p/src/a.c', [hit('p/src/a.c', 9)]],
    ['untitled:1', [hit('untitled:1', 1)]],
    ['z/a.c', [hit('z/a.c', 1)]],
    ['p/z.md', []],
    ['p/new.c', [hit('p/new.c', 1)]],
  ]);
  const all = gather([...disk, hit('p/.marlin/history/a', 1)], own);
  assert.deepEqual(
    all.map(({ path, hits, own: mine }) => [path, hits.map(({ line }) => line), mine]),
    [
      ['p/new.c', [1], true],
      ['p/src/a.c', [9], true],
      ['p/src/deep/er/b.c', [1], false],
      ['z/a.c', [1], true],
      ['untitled:1', [1], true],
    ],
  );
});

test('searchresults: filters and dismissed hits leave the rest', () => {
  const paths = (filter) => filtered(files, { ...everything, ...filter }).map(({ path }) => path);
  assert.deepEqual(paths({ include: 'src' }), ['p/src/a.c', 'p/src/deep/er/b.c']);
  assert.deepEqual(paths({ exclude: 'src' }), ['p/z.md']);
  assert.deepEqual(paths({ include: 'src', exclude: '*.c' }), []);
  const left = filtered(files, { ...everything, dismissed: new Set([hitKey(disk[0]), hitKey(disk[3])]) });
  assert.deepEqual(
    left.map(({ path, hits }) => [path, hits.length]),
    [
      ['p/src/a.c', 1],
      ['p/src/deep/er/b.c', 1],
    ],
  );
  assert.equal(countHits(left), 2);
});

test('searchresults: a file that is searched again keeps its place, or goes', () => {
  const paths = (list) => list.map(({ path }) => path);
  assert.deepEqual(paths(withFile(files, 'p/src/a.c', [hit('p/src/a.c', 5)])), paths(files));
  assert.deepEqual(paths(withFile(files, 'p/src/a.c', [])), ['p/src/deep/er/b.c', 'p/z.md']);
  assert.deepEqual(paths(withFile(files, 'p/q.c', [hit('p/q.c', 1)]))[0], 'p/q.c');
});

test('searchresults: rows as a list of files, and as folders with chains in one', () => {
  assert.deepEqual(shape(rowsOf(files, { ...view, collapsed: new Set(['file p/src/a.c']) })), [
    'a.c 1/3',
    'b.c 2/3',
    '  x1 1/1',
    'z.md 3/3',
    '  x1 1/1',
  ]);
  const tree = rowsOf(files, { asTree: true, collapsed: new Set(['file p/z.md']) });
  assert.deepEqual(shape(tree), [
    'p 1/1',
    '  src 1/2',
    '    deep/er 1/2',
    '      b.c 1/1',
    '        x1 1/1',
    '    a.c 2/2',
    '      x1 1/2',
    '      x2 2/2',
    '  z.md 2/2',
  ]);
  assert.deepEqual(
    tree.filter(({ kind }) => kind === 'folder').map(({ path, count }) => [path, count]),
    [
      ['p', 4],
      ['p/src', 3],
      ['p/src/deep/er', 1],
    ],
  );
  assert.equal(new Set(tree.map(({ key }) => key)).size, tree.length);
});

test('searchresults: the next and the previous hit go round, also from files and from nowhere', () => {
  const key = (at) => `hit ${hitKey(disk[at])}`;
  assert.equal(stepHit(files, '', 1), disk[0]);
  assert.equal(stepHit(files, '', -1), disk[3]);
  assert.equal(stepHit(files, key(1), 1), disk[2]);
  assert.equal(stepHit(files, key(3), 1), disk[0]);
  assert.equal(stepHit(files, key(0), -1), disk[3]);
  assert.equal(stepHit(files, 'file p/src/deep/er/b.c', 1), disk[2]);
  assert.equal(stepHit(files, 'file p/src/deep/er/b.c', -1), disk[1]);
  assert.equal(stepHit([], '', 1), null);
});

test('searchresults: keys lead where those of a tree lead', () => {
  const rows = rowsOf(files, { ...view, collapsed: new Set(['file p/z.md']) });
  const [a, first, second] = rows.map(({ key }) => key);
  const last = rows.at(-1).key;
  const moves = [
    [a, 'ArrowDown', { focus: first }],
    [a, 'ArrowUp', { focus: a }],
    [a, 'ArrowRight', { focus: first }],
    [a, 'ArrowLeft', { collapse: a }],
    [first, 'ArrowLeft', { focus: a }],
    [first, 'ArrowRight', null],
    [last, 'ArrowRight', { expand: last }],
    [last, 'ArrowLeft', null],
    [a, 'End', { focus: last }],
    [last, 'Home', { focus: a }],
    [a, 'PageDown', { focus: second }],
    [last, 'ArrowDown', { focus: last }],
    ['gone', 'ArrowDown', { focus: a }],
    ['gone', 'x', null],
  ];
  for (const [key, pressed, expected] of moves)
    assert.deepEqual(rowMove(rows, key, pressed, 2), expected, `${key} ${pressed}`);
  assert.equal(rowMove([], '', 'ArrowDown', 2), null);
});
