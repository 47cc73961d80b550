import assert from 'node:assert/strict';
import { test } from 'node:test';
import { receive } from '../../../web/bridge/events.js';
import * as browser from '../../../web/stores/browser.js';
import { startBridge } from '../support/bridge.mjs';

const { asked } = await startBridge(() => undefined);
const told = () => asked.map(({ body }) => JSON.parse(body));
const own = 'http://127.0.0.1:4100';

test('browser: what is typed becomes an address, and the editor itself is never shown', () => {
  const url = (words) => browser.addressOf(words, own).url ?? null;
  assert.equal(url(' localhost:3000/a '), 'http://localhost:3000/a');
  assert.equal(url('127.0.0.1'), 'http://127.0.0.1/');
  assert.equal(url('example.org/x?y'), 'https://example.org/x?y');
  assert.equal(url('http://example.org'), 'http://example.org/');
  for (const words of ['', 'file:///etc/passwd', 'javascript://x', 'http://', 'a b'])
    assert.equal(url(words), null, words);
  for (const words of ['localhost:4100', 'http://127.0.0.1:4100/api/file/raw', '[::1]:4100'])
    assert.match(browser.addressOf(words, own).fault, /the editor itself/, words);
});

test('browser: places go out in their order, once each, and a pane that was never shown is not hidden', async () => {
  await browser.hidePane();
  assert.deepEqual(asked, []);
  const place = { x: 1, y: 2, w: 300, h: 200, visible: true };
  void browser.setPlace(place);
  void browser.setPlace({ ...place });
  void browser.setPlace({ ...place, w: 310 });
  await browser.hidePane();
  assert.deepEqual(told(), [
    { cmd: 'bounds', ...place },
    { cmd: 'bounds', ...place, w: 310 },
    { cmd: 'bounds', ...place, w: 310, visible: false },
  ]);
});

test('browser: a report without a field means that it is empty', () => {
  receive(JSON.stringify({ type: 'browser.event', kind: 'state', url: 'http://a/', canBack: true, loading: true }));
  assert.deepEqual(browser.shown.value, {
    url: 'http://a/',
    title: '',
    canBack: true,
    canForward: false,
    loading: true,
    error: '',
  });
});

test('browser: a failure stays until another address or another try', async () => {
  const push = (fields) => receive(JSON.stringify({ type: 'browser.event', kind: 'state', loading: false, ...fields }));
  await browser.navigate('http://b/');
  push({ url: 'http://b/', loading: true });
  push({ url: 'http://before/', error: 'no' });
  push({ url: 'http://before/', title: 'the page before' });
  push({ url: 'http://b/', loading: true });
  push({ url: 'http://b/', title: "the engine's own words" });
  assert.equal(browser.shown.value.error, 'no');
  await browser.steer('reload');
  assert.equal(browser.shown.value.error, '');
  push({ url: 'http://b/', error: 'no' });
  push({ url: 'http://c/', loading: true });
  assert.equal(browser.shown.value.error, '');
});

test('browser: servers that a terminal names are remembered, the newest first, once each', () => {
  receive(JSON.stringify({ type: 'terminal.data', id: 't', data: 'Local: \u001b[36mhttp://localhost:\u001b[1m5173\u001b[0m/\r\n' }));
  receive(JSON.stringify({ type: 'terminal.data', id: 't', data: 'on http://0.0.0.0:8000 (press)' }));
  receive(JSON.stringify({ type: 'terminal.data', id: 't', data: 'again http://localhost:5173/ and https://example.org:99' }));
  assert.deepEqual(browser.seenServers.value, ['http://localhost:5173/', 'http://localhost:8000']);
  assert.equal(browser.newestServer.value, 'http://localhost:5173/');
});
