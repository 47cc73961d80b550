import assert from 'node:assert/strict';
import { test } from 'node:test';
import { HoleWatch } from '../../../web/stores/indexholes.js';
import { until } from '../support/bridge.mjs';

/** A watch over folders that are named so, with the paths it asked about and the scans it made. */
function makeWatch({ everyMs = 0 } = {}) {
  const asked = [];
  const scans = [];
  const info = async (path) => {
    asked.push(path);
    if (path.includes('gone')) return null;
    if (path.includes('odd')) throw new Error('no answer');
    return { directory: path.includes('folder') };
  };
  const scan = async () => void scans.push(Date.now());
  return { watch: new HoleWatch(scan, { info, quietMs: 10, everyMs }), asked, scans };
}
const told = (...paths) => ({ paths, count: paths.length });

test('indexholes: a folder that changed has the list made anew, once for all that come together', async () => {
  const { watch, scans, asked } = makeWatch();
  await watch.look(told('p/a', 'p/gone', 'p/odd', 'p/folder', 'p/b'));
  assert.deepEqual(asked, ['p/a', 'p/gone', 'p/odd', 'p/folder'], 'one folder is enough');
  await watch.look(told('p/folder2'));
  assert.equal(scans.length, 0, 'not before things are quiet');
  await until(() => scans.length === 1);
  await watch.look(told('p/folder'));
  await until(() => scans.length === 2);
});

test('indexholes: files alone cost one question each and no scan', async () => {
  const { watch, scans, asked } = makeWatch();
  await watch.look(told('p/a', 'p/.git/index', 'p/.marlin', 'p/.marlin/backups/x', '/outside'));
  await watch.look(told('p/a', 'p/.gitignore'));
  assert.deepEqual(asked, ['p/a', 'p/.gitignore']);
  assert.deepEqual([watch.timer, scans], [undefined, []]);
});

test('indexholes: a notice that names only some of its paths is taken for the worst, without a question', async () => {
  const { watch, scans, asked } = makeWatch();
  await watch.look({ paths: ['p/a'], count: 500 });
  await until(() => scans.length === 1);
  assert.deepEqual(asked, []);
});

test('indexholes: scans keep their distance', async () => {
  const { watch, scans } = makeWatch({ everyMs: 60 });
  await watch.look(told('p/folder'));
  await until(() => scans.length === 1);
  await watch.look(told('p/folder'));
  await until(() => scans.length === 2);
  assert.ok(scans[1] - scans[0] >= 59, `${scans[1] - scans[0]} ms`);
});
