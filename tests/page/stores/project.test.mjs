import assert from 'node:assert/strict';
import { test } from 'node:test';
import { lostBySetUp, missingOf, readsAsSettings } from '../../../web/stores/project.js';
import { startBridge } from '../support/bridge.mjs';

const kNoFile = { status: 404, body: { error: 'file not found' } };
let answer = kNoFile;
const { asked } = await startBridge(({ route }) => (route === 'file/read' ? answer : undefined));
const file = (contents, more = {}) => ({ body: { ok: true, contents, size: contents.length, binary: false, ...more } });

test('project: what reads as settings is an object, and nothing the bridge would refuse', () => {
  for (const text of ['{}', ' {"a": [1, {"b": null}]}\n', '\uFEFF{"a": 1e99}', '{"a": "1e999 and a lone \\" quote"}'])
    assert.equal(readsAsSettings(text), true, text);
  const bad = ['{"a": 1,}', '// words\n{}', '[]', '"a"', 'null', '3', '{"a": 1e999}', '{"a": 1e-999}', `{"a": 1${'0'.repeat(400)}}`, '{', '\uFEFF\uFEFF{}'];
  for (const text of bad) assert.equal(readsAsSettings(text), false, text);
});

test('project: a set-up loses what stands in a file that does not read, and nothing otherwise', async () => {
  const lost = () => lostBySetUp('proj', { memory: true });
  answer = file('{"permissions": {},}');
  assert.deepEqual(await lost(), { path: 'proj/.claude/settings.local.json', text: '{"permissions": {},}' });
  assert.equal(asked.at(-1).query.get('path'), 'proj/.claude/settings.local.json');
  answer = file('{"permissions": {}}');
  assert.equal(await lost(), null);
  for (const empty of ['', ' \n\t']) {
    answer = file(empty);
    assert.equal(await lost(), null, 'there is nothing to lose');
  }
  answer = kNoFile;
  assert.equal(await lost(), null);
});

test('project: a file that was cut or is no text cannot be judged, so it is asked about', async () => {
  answer = file('{"a": 1}', { truncated: true });
  assert.ok(await lostBySetUp('proj', { dream: false }));
  answer = file('', { binary: true, size: 9 });
  assert.deepEqual(await lostBySetUp('proj', { dream: false }), { path: 'proj/.claude/settings.local.json', text: '' });
});

test('project: a file that is there and cannot be read stops the set-up', async () => {
  answer = { status: 404, body: { error: 'permission denied' } };
  await assert.rejects(lostBySetUp('proj', { memory: true }), /permission denied/);
});

test('project: what writes no settings reads none', async () => {
  const before = asked.length;
  assert.equal(await lostBySetUp('proj', { gitignore: true }), null);
  assert.equal(asked.length, before);
  assert.deepEqual(missingOf({ autoMemory: true, memoryIndex: true, isRepo: true, gitignored: false }), { gitignore: true });
});
