import assert from 'node:assert/strict';
import { test } from 'node:test';
import { KEPT_ENTRIES, clearLog, entries, note } from '../../../web/stores/log.js';

test('log: an entry keeps its kind, words and detail in a form that can be shown', () => {
  const ring = {};
  ring.self = ring;
  note('error', 'words', new Error('why'));
  note('event', 'object', { a: 1 });
  note('info', 'text', 'as it is');
  note('info', 'none');
  note('info', 'ring', ring);
  note('info', 'null', null);
  const details = entries.value.map(({ detail }) => detail);
  assert.match(details[0], /Error: why/);
  assert.equal(details[1], '{\n  "a": 1\n}');
  assert.deepEqual(details.slice(2), ['as it is', '', '[object Object]', '']);
});

test('log: the oldest go when it is full', () => {
  clearLog();
  for (let i = 0; i <= KEPT_ENTRIES; i++) note('info', String(i));
  assert.equal(entries.value.length, KEPT_ENTRIES);
  assert.equal(entries.value[0].text, '1');
  assert.equal(new Set(entries.value.map(({ id }) => id)).size, KEPT_ENTRIES);
});
