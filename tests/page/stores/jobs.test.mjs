import assert from 'node:assert/strict';
import { afterEach, test } from 'node:test';
import { KEPT_RESULTS, SHOW_AFTER_MS, activeJobs, clearEnded, jobs, run } from '../../../web/stores/jobs.js';
import { deferred } from '../support/bridge.mjs';

/** Timers of the page's modules, which only `tick` lets pass. */
const timers = new Map();
let now = 0;
globalThis.setTimeout = (fn, ms) => timers.set({}, { fn, at: now + ms }) && [...timers.keys()].at(-1);
globalThis.clearTimeout = (id) => void timers.delete(id);

function tick(ms) {
  now += ms;
  for (const [id, { fn, at }] of timers) if (at <= now && timers.delete(id)) fn();
}

afterEach(clearEnded);

const shown = () => jobs.value.map(({ title, state, result }) => ({ title, state, result }));

test('jobs: a short one is never seen', async () => {
  assert.equal(await run('short', async () => 7), 7);
  tick(SHOW_AFTER_MS);
  assert.deepEqual(shown(), []);
});

test('jobs: after three seconds it has a row, which keeps its result', async () => {
  const work = deferred();
  const done = run('long', () => work.promise);
  tick(SHOW_AFTER_MS - 1);
  assert.deepEqual(shown(), []);
  tick(1);
  assert.deepEqual(shown(), [{ title: 'long', state: 'running', result: '' }]);
  work.resolve('3 commits');
  assert.equal(await done, '3 commits');
  assert.deepEqual(shown(), [{ title: 'long', state: 'done', result: '3 commits' }]);
  assert.ok(jobs.value[0].endedAt >= jobs.value[0].startedAt);
  assert.equal(activeJobs.value.length, 0);
});

test('jobs: a failure keeps its words in the row and reaches the caller', async () => {
  const work = deferred();
  const done = run('push', () => work.promise);
  tick(SHOW_AFTER_MS);
  work.reject(new Error('no upstream'));
  await assert.rejects(done, { message: 'no upstream' });
  assert.deepEqual(shown(), [{ title: 'push', state: 'failed', result: 'no upstream' }]);
});

test('jobs: cancelling aborts the work', async () => {
  const done = run(
    'slow',
    (signal) => new Promise((_, reject) => (signal.onabort = () => reject(signal.reason))),
  );
  tick(SHOW_AFTER_MS);
  jobs.value[0].cancel();
  await assert.rejects(done, { name: 'AbortError' });
  assert.deepEqual(shown(), [{ title: 'slow', state: 'cancelled', result: '' }]);
});

test('jobs: progress shows in the row', async () => {
  const work = deferred();
  const done = run('index', async (_signal, progress) => {
    progress('12 of 40');
    await work.promise;
  });
  tick(SHOW_AFTER_MS);
  assert.equal(jobs.value[0].progress, '12 of 40');
  work.resolve(undefined);
  await done;
});

test('jobs: one that waits for a slot shows at once', async () => {
  const held = [1, 2, 3].map(() => deferred());
  const running = held.map(({ promise }) => run('first', () => promise, { queued: true }));
  const last = run('last', async () => {}, { queued: true });
  assert.deepEqual(shown(), [{ title: 'last', state: 'waiting', result: '' }]);
  for (const one of held) one.resolve(undefined);
  await Promise.all([...running, last]);
});

test('jobs: only so many results are kept', async () => {
  for (let i = 0; i < KEPT_RESULTS + 5; i++) {
    const work = deferred();
    const done = run(`job ${i}`, () => work.promise);
    tick(SHOW_AFTER_MS);
    work.resolve('');
    await done;
  }
  assert.equal(jobs.value.length, KEPT_RESULTS);
  assert.equal(jobs.value[0].title, 'job 5');
});
