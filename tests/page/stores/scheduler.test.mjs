import assert from 'node:assert/strict';
import { test } from 'node:test';
import { Slots } from '../../../web/bridge/scheduler.js';

test('scheduler: slots are given in the order they were asked for', async () => {
  const slots = new Slots(1);
  const order = [];
  const release = await slots.take();
  const second = slots.take().then((give) => (order.push('second'), give()));
  const third = slots.take().then((give) => (order.push('third'), give()));
  assert.deepEqual(order, []);
  release();
  await Promise.all([second, third]);
  assert.deepEqual(order, ['second', 'third']);
  assert.equal(slots.free, 1);
});

test('scheduler: giving back twice frees one slot', async () => {
  const slots = new Slots(2);
  const release = await slots.take();
  release();
  release();
  assert.equal(slots.free, 2);
});

test('scheduler: who gives up while waiting leaves the queue', async () => {
  const slots = new Slots(1);
  const release = await slots.take();
  const abort = new AbortController();
  const waiting = slots.take(abort.signal);
  abort.abort();
  await assert.rejects(waiting, { name: 'AbortError' });
  release();
  assert.equal(slots.free, 1);
  assert.equal(slots.queue.length, 0);
});

test('scheduler: an abort that came before asking takes no slot', async () => {
  const slots = new Slots(1);
  await assert.rejects(slots.take(AbortSignal.abort()), { name: 'AbortError' });
  assert.equal(slots.free, 1);
});

test('scheduler: an abort after the slot was given does not free it', async () => {
  const slots = new Slots(1);
  const abort = new AbortController();
  const release = await slots.take(abort.signal);
  abort.abort();
  assert.equal(slots.free, 0);
  release();
  assert.equal(slots.free, 1);
});
