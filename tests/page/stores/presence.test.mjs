import assert from 'node:assert/strict';
import { after, test } from 'node:test';
import * as presence from '../../../web/stores/presence.js';
import { isSecret, kSilent, silentBecause, toldOf } from '../../../web/stores/presencerules.js';
import { config } from '../../../web/stores/settings.js';
import { startBridge, until } from '../support/bridge.mjs';

const { asked } = await startBridge(() => ({ body: { ok: true, connected: true } }));
const told = () => asked.filter(({ route }) => route === 'presence').map(({ body }) => JSON.parse(body));
const situation = (fields) => ({
  path: 'proj/src/a.cpp',
  idle: false,
  paused: false,
  presenting: false,
  privateRoots: [],
  ...fields,
});

const stop = presence.startPresence();
after(stop);
const settled = (count) => until(() => told().length >= count);

test('presence: file and folder are told, never the way to the file', () => {
  assert.deepEqual(toldOf(situation({})), { file: 'a.cpp', project: 'proj', idle: false });
  assert.deepEqual(toldOf(situation({ idle: true })), { file: 'a.cpp', project: 'proj', idle: true });
  assert.deepEqual(toldOf(situation({ path: '' })), kSilent);
});

test('presence: private folders, secrets, a pause and a talk are silent, without the name of the project', () => {
  for (const fields of [
    { privateRoots: ['proj'] },
    { paused: true },
    { presenting: true },
    { path: 'proj/.env.local' },
  ]) {
    assert.deepEqual(toldOf(situation(fields)), kSilent);
    assert.notEqual(silentBecause(situation(fields)), '');
  }
  assert.equal(silentBecause(situation({ privateRoots: ['other'] })), '');
});

test('presence: files that may hold secrets are known by name or folder', () => {
  for (const path of ['p/.env', 'p/.ENV.prod', 'p/id_rsa', 'p/x.pem', 'p/.ssh/config', 'p/my-secrets.yml', 'p/credentials'])
    assert.equal(isSecret(path), true, path);
  for (const path of ['p/environment.ts', 'p/keyboard.js', 'p/tokenizer.cpp', 'p/secretary.md'])
    assert.equal(isSecret(path), false, path);
});

test('presence: without the setting or an id nothing is told', () => {
  config.value = { discordPresence: true, discordAppId: '' };
  presence.presentFile.value = 'proj/a.txt';
  config.value = { discordPresence: false, discordAppId: '42' };
  presence.presentFile.value = 'proj/b.txt';
  assert.deepEqual(told(), []);
});

test('presence: only changes are told, in their order, and idleness after its time', async () => {
  config.value = { discordPresence: true, discordAppId: '42' };
  await settled(1);
  presence.presentFile.value = 'proj/c.txt';
  await settled(2);
  presence.noteActivity();
  presence.presentFile.value = 'proj/c.txt';
  presence.noteActivity(20);
  await settled(3);
  presence.noteActivity();
  await settled(4);
  assert.deepEqual(told().map(({ file, idle }) => `${file} ${idle}`), [
    'b.txt false',
    'c.txt false',
    'c.txt true',
    'c.txt false',
  ]);
  assert.equal(presence.connected.value, true);
});

test('presence: a folder made private is silent at once', async () => {
  const count = told().length;
  presence.setPrivate('proj', true);
  await settled(count + 1);
  assert.deepEqual(told().at(-1), kSilent);
  presence.setPrivate('proj', false);
  assert.deepEqual(presence.privateRoots.value, []);
});
