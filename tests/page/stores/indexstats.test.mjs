import assert from 'node:assert/strict';
import { test } from 'node:test';
import { receive } from '../../../web/bridge/events.js';
import { indexStats, onIndexChange, reindex, scanFound } from '../../../web/stores/indexstats.js';
import { loadSnapshot } from '../../../web/stores/settings.js';
import { startBridge } from '../support/bridge.mjs';

let index = { files: 10, truncated: false, seconds: 0.5, scanning: false };
/** What happens before the answer to a scan. */
let scan = () => ({ body: { ok: true } });
const bridge = await startBridge(({ route }) =>
  route === 'state' ? { body: { ok: true, config: {}, index, version: '0.2.5', pendingOpen: [] } } : scan(),
);
const progress = (more) => receive(JSON.stringify({ type: 'index.progress', done: 0, total: 0, ...more }));

test('indexstats: nothing is said before it is known, then what the snapshot says', async () => {
  assert.equal(indexStats.value, null);
  await loadSnapshot();
  assert.deepEqual(indexStats.value, index);
});

test('indexstats: a scan is told from its start to its end', async () => {
  let changes = 0;
  const end = onIndexChange(() => changes++);
  await reindex();
  assert.equal(bridge.asked.at(-1).route, 'reindex');
  assert.deepEqual([indexStats.value.scanning, indexStats.value.files], [true, 10]);
  progress({ phase: 'index', done: 7 });
  assert.deepEqual([scanFound.value, changes], [7, 0]);
  const stats = { files: 200000, truncated: true, seconds: 2, scanning: false };
  progress({ phase: 'done', done: 200000, total: 200000, stats });
  assert.deepEqual([indexStats.value, scanFound.value, changes], [stats, 0, 1]);
  receive(JSON.stringify({ type: 'fs.changed', paths: ['p/a'], count: 1 }));
  assert.equal(changes, 2, 'files that come or go change the list as well');
  end();
});

test('indexstats: a snapshot is newer than what was told before it', async () => {
  index = { files: 3, truncated: false, seconds: 0.1, scanning: true };
  await loadSnapshot();
  assert.deepEqual(indexStats.value, index);
});

test('indexstats: a scan that is done before its answer is here, or that never begins, is not taken for running', async () => {
  scan = () => {
    progress({
      phase: 'done',
      done: 4,
      total: 4,
      stats: { files: 4, truncated: false, seconds: 0.01, scanning: false },
    });
    return { body: { ok: true } };
  };
  await reindex();
  assert.deepEqual([indexStats.value.scanning, indexStats.value.files], [false, 4]);
  scan = () => ({ status: 500, body: { ok: false, error: 'no' } });
  await assert.rejects(reindex(), /no/);
  assert.equal(indexStats.value.scanning, false);
});
