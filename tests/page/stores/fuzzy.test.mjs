import assert from 'node:assert/strict';
import { test } from 'node:test';
import { fuzzy } from '../../../web/shell/fuzzy.js';
import { narrow } from '../../../web/shell/quickpick.js';

const order = (query, ...labels) =>
  narrow(
    labels.map((label) => ({ id: label, label })),
    query,
  ).map(({ item }) => item.id);

test('fuzzy: the words of the query match in any order', () => {
  assert.deepEqual(order('panel toggle', 'View: Toggle Side Panel', 'View: Zoom In'), [
    'View: Toggle Side Panel',
  ]);
});

test('fuzzy: initials find a command', () => {
  assert.deepEqual(order('tsp', 'Toggle Side Panel', 'Save'), ['Toggle Side Panel']);
});

test('fuzzy: a beginning of a word comes before letters inside one', () => {
  assert.deepEqual(order('zo', 'Horizon', 'View: Zoom In'), ['View: Zoom In', 'Horizon']);
  assert.deepEqual(order('save', 'Autosave', 'Save All', 'Save'), ['Save', 'Save All', 'Autosave']);
});

test('fuzzy: a text without the letters does not match', () => {
  assert.equal(fuzzy('xyz', 'Toggle'), null);
  assert.equal(fuzzy('save x', 'Save'), null);
});

test('fuzzy: the letters that matched are told', () => {
  assert.deepEqual(fuzzy('side', 'Toggle Side')?.at, [7, 8, 9, 10]);
  assert.deepEqual(fuzzy('ts', 'Toggle Side')?.at, [0, 7]);
});

test('fuzzy: nothing typed is everything in its order', () => {
  assert.deepEqual(order('  ', 'b', 'a'), ['b', 'a']);
});
