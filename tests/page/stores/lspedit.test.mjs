// Edits of language servers: their steps, and the lines that they change.
import assert from 'node:assert/strict';
import { test } from 'node:test';
import { lineChanges, originsOf, pathsOf, stepsFrom } from '../../../web/stores/lspedit.js';

const range = (line, from, to = from, last = line) => ({
  start: { line, character: from },
  end: { line: last, character: to },
});
const edit = { range: range(0, 0), newText: 'x' };
const edits = (path, version = null) => ({ textDocument: { uri: `file://${path}`, version }, edits: [edit] });

test('lsp edit: texts that change, in both forms, with the versions that are meant', () => {
  assert.deepEqual(stepsFrom({ changes: { 'file:///a%20b': [edit], 'file:///c': [] } }), [
    { kind: 'edit', files: [{ path: '/a b', version: null, edits: [edit] }] },
  ]);
  const documentChanges = [edits('/a', 3), edits('/a', 3), edits('/b')];
  assert.deepEqual(stepsFrom({ documentChanges, changes: { 'file:///z': [edit] } }), [
    {
      kind: 'edit',
      files: [
        { path: '/a', version: 3, edits: [edit, edit] },
        { path: '/b', version: null, edits: [edit] },
      ],
    },
  ]);
  assert.deepEqual(stepsFrom(null), []);
});

test('lsp edit: files that come, move and go keep their place among the texts', () => {
  const documentChanges = [
    edits('/a'),
    { kind: 'create', uri: 'file:///new', options: { ignoreIfExists: true } },
    edits('/new'),
    { kind: 'rename', oldUri: 'file:///a', newUri: 'file:///b', options: { overwrite: true } },
    edits('/b'),
    { kind: 'delete', uri: 'file:///c', options: { recursive: true } },
    { kind: 'delete', uri: 'file:///d', options: { ignoreIfNotExists: true } },
  ];
  const steps = stepsFrom({ documentChanges });
  const files = (path) => ({ kind: 'edit', files: [{ path, version: null, edits: [edit] }] });
  assert.deepEqual(steps, [
    files('/a'),
    { kind: 'create', path: '/new', overwrite: false, lenient: true },
    files('/new'),
    { kind: 'rename', path: '/a', to: '/b', overwrite: true, lenient: false },
    files('/b'),
    { kind: 'delete', path: '/c', recursive: true, lenient: false },
    { kind: 'delete', path: '/d', recursive: false, lenient: true },
  ]);
  assert.deepEqual(steps.flatMap(pathsOf), ['/a', '/new', '/new', '/a', '/b', '/b', '/c', '/d']);
});

test('lsp edit: the text of a file is looked for where it is before the edit', () => {
  const steps = stepsFrom({
    documentChanges: [
      { kind: 'rename', oldUri: 'file:///dir', newUri: 'file:///folder' },
      { kind: 'rename', oldUri: 'file:///folder/a', newUri: 'file:///folder/b' },
      edits('/folder/b'),
      { kind: 'create', uri: 'file:///new' },
      edits('/new'),
      { kind: 'rename', oldUri: 'file:///new', newUri: 'file:///newer' },
      edits('/newer'),
      edits('/other'),
    ],
  });
  const found = [...originsOf(steps)].map(([{ path }, origin]) => [path, origin]);
  assert.deepEqual(found, [
    ['/folder/b', '/dir/a'],
    ['/new', ''],
    ['/newer', ''],
    ['/other', '/other'],
  ]);
});

test('lsp edit: an edit with a part that cannot be done is refused as a whole', () => {
  assert.throws(() => stepsFrom({ changes: { 'jdt://x': [] } }), /jdt:..x, which is no file of this machine/);
  assert.throws(() => stepsFrom({ documentChanges: [edits('/a'), { kind: 'link', uri: 'file:///b' }] }), /wants to link/);
  const rename = { kind: 'rename', oldUri: 'file:///a', newUri: 'other:b' };
  assert.throws(() => stepsFrom({ documentChanges: [rename] }), /other:b/);
});

test('lsp edit: the lines that change, before and after', () => {
  const lines = ['int a = a;', '', 'a();', 'end', 'last'];
  const list = [
    { range: range(2, 0, 1), newText: 'b' },
    { range: range(0, 8, 9), newText: 'b' },
    { range: range(0, 4, 5), newText: 'b' },
    { range: range(3, 3, 0, 4), newText: '\nnew\n' },
  ];
  assert.deepEqual(
    lineChanges(lines, list).map(({ line, before, after, edits: mine }) => [line, before, after, mine.length]),
    [
      [0, 'int a = a;', 'int b = b;', 2],
      [2, 'a();', 'b();', 1],
      [3, 'end\nlast', 'end\nnew\nlast', 1],
    ],
  );
  assert.deepEqual(lineChanges([], [edit]).map(({ before, after }) => [before, after]), [['', 'x']]);
  const gone = { range: range(9, 0, 3, 12), newText: '' };
  assert.deepEqual(lineChanges(lines, [gone]).map(({ before, after }) => [before.trim(), after]), [['', '']]);
});
