// The symbols of a text as a tree, and problems as rows.
import assert from 'node:assert/strict';
import { test } from 'node:test';
import { MOST_ROWS, problemLine, problemRows } from '../../../web/stores/lsprows.js';
import {
  allSymbols,
  foundSymbols,
  outlineOf,
  outlineRows,
  symbolIcon,
  symbolsAt,
} from '../../../web/stores/lspsymbols.js';

const range = (from, to, column = 0) => ({
  start: { line: from, character: column },
  end: { line: to, character: 9 },
});
const names = (tree) => allSymbols(tree).map(({ symbol, depth }) => `${'  '.repeat(depth)}${symbol.name}`);

const tree = [
  { name: 'last', kind: 12, range: range(8, 9) },
  {
    name: 'Fish',
    kind: 5,
    detail: 'class',
    tags: [1],
    range: range(0, 6),
    selectionRange: range(0, 0, 6),
    children: [
      { name: 'size', kind: 6, range: range(1, 2) },
      { name: 'nowhere' },
      { name: '', kind: 8, range: range(3, 3) },
    ],
  },
];

test('lsp symbols: a tree in the order of the text, each with its place in it', () => {
  const outline = outlineOf(tree);
  assert.deepEqual(names(outline), ['Fish', '  size', '  (no name)', 'last']);
  assert.deepEqual(
    allSymbols(outline).map(({ symbol }) => symbol.key),
    ['0', '0/0', '0/1', '1'],
  );
  const [fish] = outline;
  assert.deepEqual([fish.detail, fish.kind, fish.deprecated, fish.place.start.character], ['class', 5, true, 6]);
  assert.deepEqual(outline[1].place, range(8, 9), 'without a name of its own, all of it');
  for (const odd of [null, {}, 'x', [null, 5, {}]]) assert.deepEqual(outlineOf(odd), []);
});

test('lsp symbols: a list of an older server is a tree by what holds what', () => {
  const old = (name, from, to) => ({ name, kind: 12, location: { uri: 'file:///a', range: range(from, to) } });
  const outline = outlineOf([old('inner', 2, 3), old('outer', 1, 6), old('next', 7, 9), old('deep', 3, 3)]);
  assert.deepEqual(names(outline), ['outer', '  inner', '    deep', 'next']);
});

test('lsp symbols: those that hold a place, from the outside in', () => {
  const outline = outlineOf(tree);
  const at = (line, character) => symbolsAt(outline, { line, character }).map(({ name }) => name);
  assert.deepEqual(at(1, 4), ['Fish', 'size']);
  assert.deepEqual(at(5, 0), ['Fish']);
  assert.deepEqual(at(7, 0), []);
  assert.deepEqual(at(9, 9), ['last'], 'also at the very end');
  assert.deepEqual(at(9, 10), []);
});

test('lsp symbols: what is folded hides what is below it', () => {
  const rows = outlineRows(outlineOf(tree), new Set(['0', '1']));
  assert.deepEqual(rows.map(({ symbol }) => symbol.name), ['Fish', 'last']);
});

test('lsp symbols: those of the workspace, also without an exact place', () => {
  const list = [
    { name: 'a', kind: 5, containerName: 'C', location: { uri: 'file:///a', range: range(1, 1) } },
    { name: 'b', location: { uri: 'file:///b' } },
    { name: 'c', location: { uri: 'jdt://c' } },
    null,
  ];
  assert.deepEqual(
    foundSymbols(list).map(({ name, container, path, range: { start } }) => [name, container, path, start.line]),
    [
      ['a', 'C', '/a', 1],
      ['b', '', '/b', 0],
    ],
  );
  assert.deepEqual(foundSymbols(null), []);
});

test('lsp symbols: every kind has an icon', () => {
  for (let kind = 0; kind <= 27; kind++) assert.match(symbolIcon(kind), /^symbol-[a-z-]+$/);
  assert.equal(symbolIcon(5), 'symbol-class');
  assert.equal(symbolIcon(22), 'symbol-enum-member');
});

const problem = (path, line, more = {}) => ({
  path,
  range: range(line, line),
  severity: 'error',
  message: `message ${line}`,
  source: 'cc',
  code: 'E1',
  ...more,
});
const roots = [{ name: 'p', path: '/home/p' }];
const look = (more = {}) => ({ filter: '', closed: new Set(), roots, ...more });

test('lsp rows: each file with its problems below, hints left out', () => {
  const list = [
    problem('/home/p/src/a.c', 1),
    problem('/home/p/src/a.c', 2, { severity: 'hint' }),
    problem('/usr/include/x.h', 3),
  ];
  const { rows, cut } = problemRows(list, look());
  assert.deepEqual(
    rows.map((row) => (row.kind === 'file' ? [row.name, row.folder, row.count] : row.problem.message)),
    [['a.c', 'p/src', 1], 'message 1', ['x.h', '/usr/include', 1], 'message 3'],
  );
  assert.equal(cut, 0);
  assert.equal(new Set(rows.map(({ key }) => key)).size, 4);
});

test('lsp rows: a filter looks at all that is shown, and folded files keep their count', () => {
  const list = [problem('/home/p/a.c', 1), problem('/home/p/b.c', 2, { severity: 'warning', source: 'Lint' })];
  const shown = (more) => problemRows(list, look(more)).rows.map(({ kind, path }) => `${kind} ${path}`);
  assert.deepEqual(shown({ filter: 'LINT warn' }), ['file /home/p/b.c', 'problem /home/p/b.c']);
  assert.deepEqual(shown({ filter: 'a.c message' }), ['file /home/p/a.c', 'problem /home/p/a.c']);
  assert.deepEqual(shown({ filter: 'lint e1 nothing' }), []);
  assert.deepEqual(shown({ closed: new Set(['/home/p/a.c']) }), [
    'file /home/p/a.c',
    'file /home/p/b.c',
    'problem /home/p/b.c',
  ]);
});

test('lsp rows: more than fit are counted, not drawn', () => {
  const list = Array.from({ length: MOST_ROWS + 50 }, (_, at) => problem(`/home/p/${at < 10 ? 'a' : 'b'}.c`, at));
  const { rows, cut } = problemRows(list, look());
  assert.equal(rows.length, MOST_ROWS);
  assert.equal(cut, MOST_ROWS + 50 - (MOST_ROWS - 2));
  const folded = problemRows(list, look({ closed: new Set(['/home/p/b.c']) }));
  assert.deepEqual([folded.rows.length, folded.cut], [12, 0], 'what is folded away is not missing');
});

test('lsp rows: a problem as a line of text', () => {
  assert.equal(problemLine(problem('/x', 4), 'p/a.c'), 'p/a.c:5:1: error: message 4 [cc E1]');
  assert.equal(problemLine(problem('/x', 4, { source: '', code: '' }), 'p/a.c'), 'p/a.c:5:1: error: message 4');
});
