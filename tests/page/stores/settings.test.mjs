import assert from 'node:assert/strict';
import { test } from 'node:test';
import { receive } from '../../../web/bridge/events.js';
import { startBridge, until } from '../support/bridge.mjs';

let config = { roots: [{ name: 'proj', path: '/p' }] };
let pendingOpen = [];
const bridge = await startBridge(({ route, body }) => {
  if (route === 'workspace/remove') return { body: { ok: true, config: { roots: [] } } };
  if (route === 'workspace/add') {
    config = { roots: [...config.roots, { name: 'more', path: JSON.parse(body).path }] };
    return { body: { ok: true, name: 'more', alreadyOpen: false } };
  }
  const state = { ok: true, config, version: '0.2.5', pendingOpen };
  pendingOpen = [];
  return { body: state };
});
const fresh = (name) => import(`../../../web/stores/settings.js?${name}`);
const target = (path, directory = false) => ({ path, directory });

test('settings: the snapshot gives settings, roots and version', async () => {
  const { config: shown, loadSnapshot, roots, version } = await fresh('snapshot');
  await loadSnapshot();
  assert.deepEqual(shown.value, config);
  assert.deepEqual(roots.value, [{ name: 'proj', path: '/p' }]);
  assert.equal(version.value, '0.2.5');
});

test('settings: what was to be opened waits for a listener and is delivered once', async () => {
  const { loadSnapshot, onOpenTargets } = await fresh('pending');
  pendingOpen = [target('proj/a.txt')];
  await loadSnapshot();
  const got = [];
  onOpenTargets((targets) => got.push(...targets));
  await loadSnapshot();
  assert.deepEqual(got, [target('proj/a.txt')]);
});

test('settings: an open request in a new folder is delivered once the folder is known', async () => {
  const { loadSnapshot, onOpenTargets, roots } = await fresh('request');
  await loadSnapshot();
  config = { roots: [...config.roots, { name: 'other', path: '/o' }] };
  const got = [];
  onOpenTargets((targets) => got.push([targets[0].path, roots.value.some(({ name }) => name === 'other')]));
  receive(JSON.stringify({ type: 'open.request', targets: [target('other/b.txt')], rootsChanged: true }));
  await until(() => got.length === 1);
  assert.deepEqual(got, [['other/b.txt', true]]);
});

test('settings: malformed targets and settings are left out', async () => {
  const { applyConfig, config: shown, onOpenTargets, roots } = await fresh('malformed');
  const got = [];
  onOpenTargets((targets) => got.push(...targets));
  receive(
    JSON.stringify({
      type: 'open.request',
      targets: [null, 7, {}, target('proj', true)],
      rootsChanged: false,
    }),
  );
  receive(JSON.stringify({ type: 'open.request', targets: 'x', rootsChanged: false }));
  await until(() => got.length === 1);
  assert.deepEqual(got, [target('proj', true)]);
  applyConfig({ theme: 'x' });
  for (const wrong of [undefined, null, 'text', [1]]) applyConfig(wrong);
  assert.deepEqual(shown.value, { theme: 'x' });
  assert.deepEqual(roots.value, []);
});

test('settings: adding and removing a folder shows at once', async () => {
  const { addRoot, removeRoot, roots } = await fresh('roots');
  assert.equal((await addRoot('/m')).name, 'more');
  assert.ok(roots.value.some(({ name }) => name === 'more'));
  await removeRoot('more');
  assert.deepEqual(JSON.parse(bridge.asked.at(-1).body), { name: 'more' });
  assert.deepEqual(roots.value, []);
});
