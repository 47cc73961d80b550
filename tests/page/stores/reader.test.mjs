import assert from 'node:assert/strict';
import { beforeEach, test } from 'node:test';
import { kindWords, loadReader, movedRemarks, readOver, readerFailure, readerOn, reading, remarksIn, setReader } from '../../../web/stores/reader.js';
import * as uistate from '../../../web/stores/uistate.js';
import { deferred, startBridge, until } from '../support/bridge.mjs';

let answer = () => ({ body: { ok: true, notes: [] } });
const bridge = await startBridge((one) => (one.route === 'agent/notes' ? answer(JSON.parse(one.body)) : undefined));
const asked = () => bridge.asked.filter(({ route }) => route === 'agent/notes').map(({ body }) => JSON.parse(body).path);
const saved = { lines: ['a', 'b', 'c'], changed: [{ line: 2, endLine: 3 }] };

beforeEach(() => {
  bridge.asked.length = 0;
  setReader(true);
});

test('reader: it is off until it is turned on, and stays so', async () => {
  setReader(false);
  await readOver('p/a', saved, assert.fail);
  assert.deepEqual(asked(), []);
  loadReader();
  assert.equal(readerOn.value, false);
  setReader(true);
  assert.equal(uistate.get('reader.on', false), true);
  readerOn.value = false;
  loadReader();
  assert.equal(readerOn.value, true);
});

test('reader: only changed lines count, and no more than four notes', () => {
  const notes = [1, 2, 3, 2, 3, 2].map((line) => ({ line, kind: 'bug', note: ` n${line} ` }));
  const kept = remarksIn([...notes, null, { line: 'x', note: 'y' }], saved.changed);
  assert.deepEqual(kept.map(({ line }) => line), [2, 3, 2, 3]);
  assert.equal(kept[0].text, 'n2');
  assert.deepEqual(remarksIn([{ line: 2, note: ' ' }, { line: 2.5, note: 'half' }].slice(0, 1), saved.changed), []);
  assert.deepEqual(remarksIn('nothing', saved.changed), []);
  assert.equal(kindWords({ line: 1, kind: 'edge', text: '' }), 'Missed case');
  assert.equal(kindWords({ line: 1, kind: 'odd', text: '' }), 'Note');
});

test('reader: a file without changed lines is not sent', async () => {
  await readOver('p/a', { lines: ['a'], changed: [] }, assert.fail);
  assert.deepEqual(asked(), []);
});

test('reader: one at a time; of a file that is saved again only the latest is read', async () => {
  const hold = deferred();
  const taken = [];
  answer = async ({ path }) => {
    if (path === 'p/a') await hold.promise;
    return { body: { ok: true, notes: [{ line: 2, kind: 'bug', note: path }] } };
  };
  const first = readOver('p/a', saved, (remarks) => taken.push(['a', remarks[0].text]));
  await until(() => asked().length === 1);
  assert.equal(reading.value, 'p/a');
  void readOver('p/b', saved, () => taken.push(['b old']));
  void readOver('p/b', saved, (remarks) => taken.push(['b', remarks[0].text]));
  assert.deepEqual(asked(), ['p/a']);
  hold.resolve();
  await first;
  assert.deepEqual(asked(), ['p/a', 'p/b']);
  assert.deepEqual(taken, [['a', 'p/a'], ['b', 'p/b']]);
  assert.equal(reading.value, '');
});

test('reader: a failure is kept in words and stops nothing; turned off, an answer is dropped', async () => {
  answer = () => ({ status: 500, body: { ok: false, error: 'the Claude CLI could not be found' } });
  let count = 0;
  await readOver('p/a', saved, () => count++);
  assert.equal(count, 0);
  assert.equal(readerFailure.value, 'the Claude CLI could not be found');
  answer = () => ({ body: { ok: true, notes: [{ line: 2, note: 'x' }] } });
  await readOver('p/a', saved, () => count++);
  assert.equal(count, 1);
  assert.equal(readerFailure.value, '');
  const hold = deferred();
  answer = async () => (await hold.promise, { body: { ok: true, notes: [{ line: 2, note: 'x' }] } });
  const late = readOver('p/a', saved, () => count++);
  await until(() => asked().length === 3);
  setReader(false);
  hold.resolve();
  await late;
  assert.equal(count, 1);
  assert.equal(reading.value, '');
});

test('reader: notes move with their lines and go with them', () => {
  const before = ['a', 'b', 'c', 'd'];
  const remarks = [1, 2, 4].map((line) => ({ line, kind: 'bug', text: String(line) }));
  const moved = movedRemarks(remarks, before, ['new', 'a', 'B', 'c', 'd']);
  assert.deepEqual(moved.map(({ text, line }) => [text, line]), [['1', 2], ['4', 5]]);
  assert.deepEqual(movedRemarks(remarks, before, before), remarks);
});
