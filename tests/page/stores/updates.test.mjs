import assert from 'node:assert/strict';
import { beforeEach, test } from 'node:test';
import { receive } from '../../../web/bridge/events.js';
import { config } from '../../../web/stores/settings.js';
import * as updates from '../../../web/stores/updates.js';
import * as words from '../../../web/stores/updatewords.js';
import { startBridge, until } from '../support/bridge.mjs';

const kInstalled = { ...words.kNoStatus, currentVersion: '0.2.5' };
let answer = { status: 200, body: kInstalled };
const { asked } = await startBridge(({ route }) => (route === 'update' ? answer : undefined));
const actions = () => asked.filter(({ route }) => route === 'update').map(({ query }) => query.get('action'));

/** @type {(() => void) | undefined} */
let tick;
await updates.startUpdates((fn, time) => {
  assert.equal(time, 12 * 60 * 60 * 1000);
  tick = fn;
});

beforeEach(() => {
  asked.length = 0;
  answer = { status: 200, body: kInstalled };
});

const push = (fields) => receive(JSON.stringify({ type: 'update.state', ...kInstalled, ...fields }));

test('updates: a failure shows when the user asked or the state is failed, a quiet one never', async () => {
  push({ state: 'idle', error: 'no release has been published there yet' });
  assert.equal(updates.updateError.value, '');
  push({ state: 'failed', error: 'the update did not carry a valid signature and was ignored' });
  assert.match(updates.updateError.value, /signature/);
  await updates.checkNow();
  push({ state: 'idle', error: 'words' });
  assert.equal(updates.updateError.value, 'words');
  config.value = { automaticUpdates: true };
  tick?.();
  await until(() => actions().includes('check-quiet') && updates.update.value.error === '');
  push({ state: 'idle', error: 'quiet again' });
  assert.equal(updates.updateError.value, '');
});

test('updates: twice a day it looks again, and only where that is wanted and possible', async () => {
  config.value = { automaticUpdates: false };
  push({ state: 'uptodate' });
  tick?.();
  config.value = { automaticUpdates: true };
  for (const state of ['checking', 'downloading', 'ready']) {
    push({ state });
    tick?.();
  }
  push({ state: 'uptodate', currentVersion: '' });
  tick?.();
  assert.deepEqual(actions(), []);
  push({ state: 'uptodate' });
  tick?.();
  await until(() => updates.update.value.state === 'idle'); // the answer's
  assert.deepEqual(actions(), ['check-quiet']);
});

test('updates: restarting installs first, lets everybody write, and then ends the program', async () => {
  answer = { status: 409, body: { ok: false, error: 'there is no verified download to install' } };
  await assert.rejects(updates.applyAndRestart(), /no verified download/);
  assert.deepEqual(asked.map(({ route }) => route), ['update']);
  answer = { status: 200, body: { ...kInstalled, state: 'ready' } };
  asked.length = 0;
  await updates.applyAndRestart();
  assert.deepEqual(asked.map(({ route }) => route), ['update', 'shutdown']);
});

test('updates: the status bar speaks only of what waits for the user', () => {
  const said = (fields) => words.badgeOf({ ...kInstalled, version: '0.3', ...fields })?.words ?? null;
  assert.equal(said({ state: 'available' }), 'Version 0.3 is there');
  assert.equal(said({ state: 'downloading', progress: 40 }), 'Downloading 40 %');
  assert.equal(said({ state: 'ready' }), 'Restart to update');
  for (const state of ['idle', 'checking', 'uptodate', 'failed']) assert.equal(said({ state }), null);
});

test('updates: what a stranger sends is read as far as it makes sense', () => {
  assert.deepEqual(words.readStatus(null), words.kNoStatus);
  const odd = words.readStatus({ state: 'flying', version: 7, size: 'x', progress: 50, error: 'e' });
  assert.deepEqual(odd, { ...words.kNoStatus, progress: 50, error: 'e' });
});

test('updates: the sheet tells version, age, what was verified and what will run', () => {
  const status = { ...kInstalled, state: 'ready', version: '0.3.0', published: '2026-03-01', size: 5 * 1048576 };
  const facts = words.verifiedFacts(status, '/home/ann/Marlin.AppImage', Date.parse('2026-03-11'));
  const said = Object.fromEntries(facts.map(({ label, value }) => [label, value]));
  assert.equal(said.Version, '0.3.0; you have 0.2.5');
  assert.equal(said.Published, '2026-03-01 (10 days ago)');
  assert.equal(said.Size, '5.0 MiB');
  assert.match(said.Digest, /is the one in the signed manifest/);
  assert.equal(said['Installed as'], 'AppImage');
  assert.match(said['At the restart'], /place of \/home\/ann\/Marlin\.AppImage/);
  const before = words.verifiedFacts({ ...status, state: 'available', published: '', size: 0 }, '/usr/lib/x', 0);
  assert.deepEqual(before.map(({ label }) => label), ['Version', 'Signature', 'Digest', 'Installed as', 'At the restart']);
  assert.match(before[2].value, /once it is downloaded/);
  assert.match(before[4].value, /pkexec/);
});

test('updates: ages of releases', () => {
  const now = Date.parse('2026-03-10T12:00:00Z');
  assert.equal(words.ageOf('2026-03-10', now), 'today');
  assert.equal(words.ageOf('2026-03-09', now), 'yesterday');
  assert.equal(words.ageOf('2025-12-10', now), '3 months ago');
  assert.equal(words.ageOf('2027-01-01', now), 'dated in the future');
  assert.equal(words.ageOf('soon', now), '');
});

test('updates: each state has its words', () => {
  const said = (fields) => words.stateWords({ ...kInstalled, ...fields });
  assert.match(said({ currentVersion: '' }), /does not update itself/);
  assert.equal(said({ state: 'uptodate', version: '0.2.5' }), 'Version 0.2.5 is the newest.');
  assert.equal(said({ state: 'uptodate', version: '0.3' }), 'Version 0.3 is left out; you have 0.2.5.');
});
