import assert from 'node:assert/strict';
import { test } from 'node:test';
import { KEPT_CHARS, KEPT_TEXT, LineKeeper, PIECE_CHARS, keptForm } from '../../../web/stores/chatkeep.js';
import { says, textDelta } from '../support/chatlines.mjs';

/** A tab's storage that refuses what is too much. */
function storage(limit = 5000000) {
  const values = new Map();
  return {
    values,
    writes: 0,
    getItem: (key) => values.get(key) ?? null,
    removeItem: (key) => void values.delete(key),
    setItem(key, value) {
      const others = [...values].reduce((sum, [name, text]) => sum + (name === key ? 0 : text.length), 0);
      if (others + value.length > limit) throw new DOMException('full', 'QuotaExceededError');
      values.set(key, value);
      this.writes += 1;
    },
  };
}

test('chat keep: lines come back in their order, without what a later line replaces', () => {
  const store = storage();
  const keeper = new LineKeeper(store, 'run-1');
  assert.deepEqual(keeper.load(), []);
  const lines = [says('one'), says('two\nlines'), 'not JSON'];
  for (const line of [lines[0], textDelta('gone'), lines[1], lines[2]]) keeper.add(line);
  keeper.flush();
  assert.deepEqual(new LineKeeper(store, 'run-1').load(), lines);
});

test('chat keep: another run of the program begins empty', () => {
  const store = storage();
  const keeper = new LineKeeper(store, 'run-1');
  keeper.add(says('old'));
  keeper.flush();
  keeper.keep('draft', 'old draft');
  const next = new LineKeeper(store, 'run-2');
  assert.deepEqual(next.load(), []);
  assert.equal(next.kept('draft'), undefined);
  assert.ok(![...store.values.values()].some((text) => text.includes('"old"')), 'and the old words are gone');
});

test('chat keep: the oldest lines go, the newest stay, and only the last piece is written again', () => {
  const store = storage();
  const keeper = new LineKeeper(store, 'run');
  keeper.load();
  const count = 3000;
  for (let i = 0; i < count; i++) keeper.add(says(`${i} ${'x'.repeat(900)}`));
  keeper.flush();
  const size = [...store.values.values()].reduce((sum, text) => sum + text.length, 0);
  assert.ok(size <= KEPT_CHARS + PIECE_CHARS, `${size} characters`);
  const back = new LineKeeper(store, 'run').load();
  assert.ok(back.length > 800 && back.length < count);
  assert.deepEqual(JSON.parse(back.at(-1)).message.content[0].text.split(' ')[0], String(count - 1));
  assert.ok(keeper.first > 0);
  assert.ok(store.writes < count / 10, `${store.writes} writes`);
});

test('chat keep: it goes on where an earlier page stopped', () => {
  const store = storage();
  const first = new LineKeeper(store, 'run');
  first.load();
  for (let i = 0; i < 200; i++) first.add(says(`${i} ${'x'.repeat(900)}`));
  first.flush();
  const second = new LineKeeper(store, 'run');
  const before = second.load();
  second.add(says('more'));
  second.flush();
  assert.deepEqual(new LineKeeper(store, 'run').load(), [...before, says('more')]);
});

test('chat keep: a full storage costs old lines, not the newest', () => {
  const store = storage(200000);
  const keeper = new LineKeeper(store, 'run');
  keeper.load();
  for (let i = 0; i < 500; i++) keeper.add(says(`${i} ${'x'.repeat(900)}`));
  keeper.flush();
  const back = new LineKeeper(store, 'run').load();
  assert.match(back.at(-1), /"499 /);
  assert.ok(back.length > 50);
  assert.equal(keeper.keep('queue', 'y'.repeat(300000)), false, 'what does not fit is told');
  assert.equal(keeper.kept('queue'), undefined);
});

test('chat keep: long texts in a line are cut, and the line stays what it was', () => {
  const data = 'A'.repeat(KEPT_TEXT * 4);
  const line = JSON.stringify({ type: 'user', message: { content: [{ type: 'image', source: { data } }] } });
  const form = keptForm(line);
  assert.ok(form.length < KEPT_TEXT + 500);
  assert.equal(JSON.parse(form).message.content[0].type, 'image');
  assert.equal(keptForm('x'.repeat(KEPT_TEXT * 2)), '', 'a long line that is not JSON is not kept');
  assert.equal(keptForm('{"event":1,"type":"stream_event"}'), '', 'whatever the order of its fields');
});

test('chat keep: a new conversation forgets the old one', () => {
  const store = storage();
  const keeper = new LineKeeper(store, 'run');
  keeper.load();
  for (let i = 0; i < 200; i++) keeper.add(says(`${i} ${'x'.repeat(900)}`));
  keeper.flush();
  keeper.clear();
  assert.deepEqual(new LineKeeper(store, 'run').load(), []);
  assert.ok([...store.values.values()].every((text) => !text.includes('xxx')));
});
