import assert from 'node:assert/strict';
import { test } from 'node:test';
import { InputQueue, PIECE } from '../../../web/stores/terminalinput.js';
import { deferred } from '../support/bridge.mjs';

/** A queue whose requests end when the test says so. */
function make() {
  const sent = [];
  const failures = [];
  const queue = new InputQueue(
    (data) => {
      const one = { data, ...deferred() };
      sent.push(one);
      return one.promise;
    },
    (error) => failures.push(error),
  );
  return { queue, sent, failures, words: () => sent.map(({ data }) => data) };
}
const turn = () => new Promise((resolve) => setImmediate(resolve));

test('terminal input: one request is under way, what is typed meanwhile is joined in order', async () => {
  const { queue, sent, words } = make();
  for (const key of 'abc') queue.push(key);
  assert.deepEqual(words(), ['a']);
  sent[0].resolve();
  await turn();
  assert.deepEqual(words(), ['a', 'bc']);
  queue.push('d');
  queue.push('\r');
  await turn();
  assert.equal(sent.length, 2);
  sent[1].resolve();
  await turn();
  assert.deepEqual(words(), ['a', 'bc', 'd\r']);
  sent[2].resolve();
  await turn();
  queue.push('e');
  assert.deepEqual(words(), ['a', 'bc', 'd\r', 'e']);
});

test('terminal input: a request that fails is told once, is not sent again, and the next goes out', async () => {
  const { queue, sent, words, failures } = make();
  queue.push('a');
  queue.push('b');
  sent[0].reject(new Error('gone'));
  await turn();
  assert.deepEqual(words(), ['a', 'b']);
  assert.equal(failures.length, 1);
});

test('terminal input: a long paste goes out in pieces that cut no character in two', async () => {
  const { queue, sent, words } = make();
  const text = 'x'.repeat(PIECE - 1) + '🐟'.repeat(PIECE);
  queue.push(text);
  for (let at = 0; at < sent.length; at++) {
    sent[at].resolve();
    await turn();
  }
  assert.ok(words().length >= 3);
  assert.equal(words().join(''), text);
  for (const piece of words()) {
    assert.ok(piece.length <= PIECE);
    assert.ok(piece.isWellFormed());
  }
  assert.equal(words()[0].length, PIECE - 1);
});

test('terminal input: what waits is forgotten when the terminal has ended', async () => {
  const { queue, sent, words } = make();
  queue.push('a');
  queue.push('b');
  queue.clear();
  sent[0].resolve();
  await turn();
  assert.deepEqual(words(), ['a']);
});
