import assert from 'node:assert/strict';
import { test } from 'node:test';
import { startBridge, until } from '../support/bridge.mjs';

let answer = () => ({ body: {} });
const bridge = await startBridge((asked) => answer(asked));
const written = () => bridge.asked.filter(({ method }) => method === 'POST').map(({ body }) => body);
/** A store of its own for each test: modules live once for each address. */
const fresh = (name) => import(`../../../web/stores/uistate.js?${name}`);

test('uistate: what was kept is read back, what is missing is the fallback', async () => {
  answer = () => ({ body: { layout: { side: 1 } } });
  const { get, loadUiState } = await fresh('read');
  await loadUiState();
  assert.deepEqual(get('layout', {}), { side: 1 });
  assert.equal(get('zoom', 1), 1);
});

test('uistate: changes go out together as one whole document', async () => {
  answer = ({ method }) => ({ body: method === 'POST' ? { ok: true } : { kept: true } });
  const { flush, loadUiState, set } = await fresh('write');
  await loadUiState();
  const before = written().length;
  set('a', 1);
  set('b', [2]);
  set('a', 3);
  await flush();
  assert.deepEqual(
    written()
      .slice(before)
      .map((text) => JSON.parse(text)),
    [{ kept: true, a: 3, b: [2] }],
  );
  set('a', 3);
  await flush();
  assert.equal(written().length, before + 1, 'the same value again is no change');
  set('b', undefined);
  await flush();
  assert.deepEqual(JSON.parse(written().at(-1)), { kept: true, a: 3 });
});

test('uistate: without a flush a change goes out by itself', async () => {
  const { loadUiState, set } = await fresh('timer');
  await loadUiState();
  const before = written().length;
  set('x', 1);
  await until(() => written().length === before + 1);
});

test('uistate: a document of exactly the limit goes out, one byte more is refused', async () => {
  answer = () => ({ body: {} });
  const { MAX_BYTES, flush, get, loadUiState, set } = await fresh('size');
  await loadUiState();
  const frame = '{"t":""}'.length;
  const room = MAX_BYTES - frame;
  assert.equal(set('t', 'x'.repeat(room + 1)), false);
  assert.equal(get('t', 'none'), 'none');
  assert.equal(set('t', 'ü'.repeat(room / 2 + 1)), false, 'bytes count, not characters');
  assert.equal(set('t', 'x'.repeat(room)), true);
  await flush();
  assert.equal(Buffer.byteLength(written().at(-1)), MAX_BYTES);
  assert.equal(set('u', 1), false);
  assert.equal(get('t', '').length, room, 'the old value stays');
});

test('uistate: writes never overtake one another', async () => {
  const order = [];
  answer = async ({ method, body }) => {
    if (method !== 'POST') return { body: {} };
    order.push(`begin ${JSON.parse(body).n}`);
    await new Promise((resolve) => setTimeout(resolve, 20));
    order.push(`end ${JSON.parse(body).n}`);
    return { body: { ok: true } };
  };
  const { flush, loadUiState, set } = await fresh('order');
  await loadUiState();
  set('n', 1);
  const first = flush();
  set('n', 2);
  await Promise.all([first, flush()]);
  assert.deepEqual(order, ['begin 1', 'end 1', 'begin 2', 'end 2']);
});

test('uistate: a write that failed is told and tried again with the next', async () => {
  answer = ({ method }) =>
    method === 'POST'
      ? { status: 500, body: { ok: false, error: 'could not write ui-state.json' } }
      : { body: {} };
  const { flush, loadUiState, set } = await fresh('retry');
  await loadUiState();
  set('a', 1);
  await assert.rejects(flush(), { words: 'could not write ui-state.json' });
  answer = () => ({ body: { ok: true } });
  await flush();
  assert.deepEqual(JSON.parse(written().at(-1)), { a: 1 });
});

test('uistate: a damaged document starts afresh', async () => {
  answer = () => ({ body: '{"layout":' });
  const { flush, get, loadUiState, set } = await fresh('damaged');
  await loadUiState();
  assert.equal(get('layout', 'fallback'), 'fallback');
  answer = () => ({ body: { ok: true } });
  set('a', 1);
  await flush();
  assert.deepEqual(JSON.parse(written().at(-1)), { a: 1 });
});

test('uistate: what could not be read is never overwritten', async () => {
  answer = () => ({ status: 401, body: { ok: false, error: 'invalid or missing session token' } });
  const { flush, loadUiState, set } = await fresh('unread');
  await assert.rejects(loadUiState(), { status: 401 });
  const before = written().length;
  set('a', 1);
  await flush();
  assert.equal(written().length, before);
});
