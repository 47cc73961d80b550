import assert from 'node:assert/strict';
import { test } from 'node:test';
import { BridgeError, call, errorWords, get, raw } from '../../../web/bridge/api.js';
import { takeToken } from '../../../web/bridge/token.js';
import { jobs } from '../../../web/stores/jobs.js';
import { deferred, startBridge, until } from '../support/bridge.mjs';

let answer = () => undefined;
const bridge = await startBridge((asked) => answer(asked));
takeToken({
  location: { href: 'http://x/?token=secret' },
  history: { state: null, replaceState() {} },
  sessionStorage: { getItem: () => null, setItem() {} },
});

test('api: a call posts JSON with the token in its header and nowhere else', async () => {
  answer = () => ({ body: { ok: true, name: 'proj' } });
  assert.deepEqual(await call('workspace/add', { path: '/p' }), { ok: true, name: 'proj' });
  const { route, method, body, headers, query } = bridge.asked.at(-1);
  assert.deepEqual([route, method, body], ['workspace/add', 'POST', '{"path":"/p"}']);
  assert.equal(headers['x-marlin-token'], 'secret');
  assert.equal(headers.cookie, undefined);
  assert.equal([...query].length, 0);
});

test('api: query values survive blanks, plus signs, percent signs and other scripts', async () => {
  const path = 'proj/a b+c%20&ü/日.txt';
  await get('file/info', { path });
  assert.equal(bridge.asked.at(-1).query.get('path'), path);
});

test('api: a failure carries status, route and the words of the bridge', async () => {
  answer = () => ({ status: 404, body: { ok: false, error: 'file not found' } });
  await assert.rejects(get('file/info', { path: 'x' }), (error) => {
    assert.ok(error instanceof BridgeError);
    assert.deepEqual([error.status, error.route, error.words], [404, 'file/info', 'file not found']);
    assert.equal(error.message, 'file not found');
    return true;
  });
});

test('api: words come through from bodies that are not valid JSON', () => {
  const rows = [
    ['{"ok":false,"error":"plain"}', 'plain'],
    ['{"ok":false,"error":"tab\there"}', 'tab\there'],
    ['{"ok":false,"error":"return\rhere"}', 'return\rhere'],
    ['{"ok":false,"error":"a \\"quote\\" and \\\\ and \u0001"}', 'a "quote" and \\ and \u0001'],
    ['{"ok":false,"error":"nul \u0000 byte"}', 'nul \u0000 byte'],
    ['<html>', ''],
    ['', ''],
    ['{"error":7}', ''],
  ];
  for (const [body, words] of rows) assert.equal(errorWords(body), words);
});

test('api: a failed answer without words names its status', async () => {
  answer = () => ({ status: 500, body: '' });
  await assert.rejects(call('open', {}), { words: 'the answer was status 500' });
});

test('api: an answer that is no JSON is a failure in words', async () => {
  answer = () => ({ body: '{"ok":' });
  await assert.rejects(get('state'), { status: 200, words: 'the answer of state could not be read' });
});

test('api: a bridge that is gone is status 0', async () => {
  const fetchBefore = globalThis.fetch;
  globalThis.fetch = () => fetchBefore('', {}).then(() => Promise.reject(new TypeError('fetch failed')));
  await assert.rejects(call('state'), { status: 0, words: 'the editor does not answer' });
  globalThis.fetch = fetchBefore;
});

test('api: aborting ends the wait with the reason of the abort', async () => {
  const never = deferred();
  answer = () => never.promise;
  const abort = new AbortController();
  const waiting = get('tree', {}, { signal: abort.signal });
  abort.abort();
  await assert.rejects(waiting, { name: 'AbortError' });
  never.resolve(undefined);
});

test('api: raw gives the bytes, and a failure its words', async () => {
  answer = ({ query }) =>
    query.get('path') === 'proj/a'
      ? { body: 'bytes' }
      : { status: 404, body: { ok: false, error: 'file not found' } };
  assert.equal(await (await raw('proj/a')).text(), 'bytes');
  await assert.rejects(raw('proj/b'), { words: 'file not found' });
});

test('api: three long calls run at once, the others wait in the tray, short ones pass by', async () => {
  const held = [];
  answer = ({ route }) => {
    if (route !== 'git/fetch') return { body: { ok: true } };
    const one = deferred();
    held.push(one);
    return one.promise;
  };
  const calls = [1, 2, 3, 4, 5].map(() => call('git/fetch'));
  await until(() => held.length === 3);
  assert.deepEqual(await call('file/write', {}), { ok: true });
  assert.equal(held.length, 3);
  assert.deepEqual(
    jobs.value.map(({ title, state }) => [title, state]),
    [
      ['Fetch', 'waiting'],
      ['Fetch', 'waiting'],
    ],
  );
  held[0].resolve({ body: { ok: true } });
  await until(() => held.length === 4);
  held[1].resolve({ body: { ok: true } });
  await until(() => held.length === 5);
  for (const one of held) one.resolve({ body: { ok: true } });
  await Promise.all(calls);
});

test('api: a long call that fails gives its slot back', async () => {
  answer = () => ({ status: 400, body: { ok: false, error: 'no remote' } });
  for (let i = 0; i < 5; i++) await assert.rejects(call('git/push'), { words: 'no remote' });
  answer = () => undefined;
  assert.deepEqual(await call('git/pull'), { ok: true });
});
