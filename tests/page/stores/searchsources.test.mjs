import assert from 'node:assert/strict';
import { test } from 'node:test';
import { Everywhere, registerSource } from '../../../web/stores/searchsources.js';
import { deferred } from '../support/bridge.mjs';

const item = (id) => ({ id, label: id, open: () => {} });
const source = (id, order, find, more = {}) => ({
  id,
  title: id,
  order,
  least: 1,
  delayMs: 0,
  find,
  ...more,
});
const shape = (box) =>
  box.answers.value.map(({ source: { id }, items, pending }) => [id, items.map((one) => one.id), pending]);

test('searchsources: answers stand in the order of their sources, each as soon as it is there', async () => {
  const slow = deferred();
  const ends = [
    registerSource(source('late', 2, async () => ({ items: [item('b')], note: 'more' }))),
    registerSource(source('slow', 1, () => slow.promise)),
    registerSource(source('long', 3, async () => ({ items: [] }), { least: 3 })),
  ];
  const box = new Everywhere();
  const [first, second] = box.ask('xy');
  await second;
  assert.deepEqual(shape(box), [
    ['slow', [], true],
    ['late', ['b'], false],
  ]);
  assert.equal(box.answers.value[1].note, 'more');
  slow.resolve({ items: [item('a')] });
  await first;
  assert.deepEqual(shape(box)[0], ['slow', ['a'], false]);
  ends.forEach((end) => end());
  assert.deepEqual([box.ask('xy'), box.answers.value], [[], []]);
});

test('searchsources: what was found stays until the next text is answered, and late answers are dropped', async () => {
  const waits = new Map();
  const signals = [];
  const end = registerSource(
    source('one', 1, (query, signal) => {
      signals.push(signal);
      const wait = deferred();
      waits.set(query, wait);
      return wait.promise;
    }),
  );
  const box = new Everywhere();
  const [first] = box.ask('a');
  waits.get('a').resolve({ items: [item('a')] });
  await first;
  const [second] = box.ask('ab');
  assert.deepEqual(shape(box), [['one', ['a'], true]]);
  const [third] = box.ask('abc');
  assert.equal(signals[1].aborted, true);
  waits.get('abc').resolve({ items: [item('abc')] });
  await third;
  waits.get('ab').resolve({ items: [item('ab')] });
  await second;
  assert.deepEqual(shape(box), [['one', ['abc'], false]]);
  end();
});

test('searchsources: a source that fails says why, and a delayed one is not asked for a text that is gone', async () => {
  let calls = 0;
  const ends = [
    registerSource(source('bad', 1, () => Promise.reject(new Error('no way')))),
    registerSource(
      source(
        'later',
        2,
        async () => {
          calls += 1;
          return { items: [] };
        },
        { delayMs: 5 },
      ),
    ),
  ];
  const box = new Everywhere();
  const before = box.ask('a');
  await Promise.all([...before, ...box.ask('ab')]);
  assert.equal(box.answers.value[0].note, 'bad: no way');
  assert.equal(calls, 1);
  ends.forEach((end) => end());
});
