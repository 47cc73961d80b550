import assert from 'node:assert/strict';
import { test } from 'node:test';
import { Feed, HELD_CHARS } from '../../../web/stores/terminalfeed.js';
import { Backlog, BACKLOG_CHARS, DRAW_CHARS } from '../../../web/stores/terminaloutput.js';
import { deferred } from '../support/bridge.mjs';

function sink() {
  const got = [];
  return { got, data: (data) => got.push(data), exit: (code) => got.push(code) };
}

test('terminal feed: output and exit that come before the id are there when it comes, in order', async () => {
  const feed = new Feed();
  const answer = deferred();
  const one = sink();
  const made = feed.hold(
    () => answer.promise,
    ({ id }) => feed.attach(id, one),
  );
  feed.data('term1', 'a');
  feed.data('term1', 'b');
  feed.exit('term1', 3);
  assert.deepEqual(one.got, []);
  answer.resolve({ id: 'term1' });
  await made;
  assert.deepEqual(one.got, ['ab', 3]);
});

test('terminal feed: two that are made at once get each its own', async () => {
  const feed = new Feed();
  const answers = [deferred(), deferred()];
  const sinks = [sink(), sink()];
  const made = answers.map(({ promise }, i) => feed.hold(() => promise, ({ id }) => feed.attach(id, sinks[i])));
  feed.data('term2', 'second');
  feed.data('term1', 'first');
  answers[1].resolve({ id: 'term2' });
  await made[1];
  feed.data('term1', '!');
  answers[0].resolve({ id: 'term1' });
  await Promise.all(made);
  assert.deepEqual(sinks.map(({ got }) => got), [['first!'], ['second']]);
});

test('terminal feed: what nobody waits for is not kept', async () => {
  const feed = new Feed();
  feed.data('term9', 'of another page');
  assert.equal(feed.held.size, 0);
  const late = sink();
  feed.attach('term9', late);
  assert.deepEqual(late.got, []);
  await feed.hold(async () => feed.data('term8', 'x'), () => {});
  assert.equal(feed.held.size, 0, 'what is left when nothing is being made');
});

test('terminal feed: a failure to make one reaches the caller and ends the holding', async () => {
  const feed = new Feed();
  await assert.rejects(feed.hold(() => Promise.reject(new Error('no')), () => {}), /no/);
  feed.data('term1', 'x');
  assert.equal(feed.held.size, 0);
});

test('terminal feed: only so much is held, the end of it', async () => {
  const feed = new Feed();
  const one = sink();
  await feed.hold(
    async () => {
      feed.data('term1', 'a'.repeat(HELD_CHARS));
      feed.data('term1', 'bc');
    },
    () => feed.attach('term1', one),
  );
  assert.equal(one.got[0].length, HELD_CHARS);
  assert.ok(one.got[0].endsWith('abc'));
});

test('terminal feed: nothing reaches a terminal that was closed', () => {
  const feed = new Feed();
  const one = sink();
  feed.attach('term1', one);
  feed.data('term1', 'a');
  feed.detach('term1');
  feed.data('term1', 'b');
  feed.exit('term1', 0);
  assert.deepEqual(one.got, ['a']);
});

test('terminal output: small pieces are drawn together, a large one alone, in order', () => {
  const backlog = new Backlog();
  assert.deepEqual(backlog.take(), { text: '', skipped: 0 });
  backlog.push('a');
  backlog.push('b');
  backlog.push('x'.repeat(DRAW_CHARS + 5));
  backlog.push('c');
  assert.equal(backlog.take().text, 'ab');
  assert.equal(backlog.take().text.length, DRAW_CHARS + 5);
  assert.equal(backlog.take().text, 'c');
  assert.equal(backlog.length, 0);
});

test('terminal output: past the bound the oldest is left out, and the count is told once', () => {
  const backlog = new Backlog();
  backlog.push('old');
  const piece = 'y'.repeat(BACKLOG_CHARS / 2);
  backlog.push(piece);
  backlog.push(piece);
  assert.equal(backlog.length, BACKLOG_CHARS);
  const first = backlog.take();
  assert.equal(first.skipped, 3);
  assert.equal(first.text[0], 'y');
  assert.equal(backlog.take().skipped, 0);
  const huge = new Backlog();
  huge.push('z'.repeat(BACKLOG_CHARS + 1));
  assert.equal(huge.take().text.length, BACKLOG_CHARS + 1, 'the only piece stays, however long');
});
