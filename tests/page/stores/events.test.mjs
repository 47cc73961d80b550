import assert from 'node:assert/strict';
import { test } from 'node:test';
import {
  BACK_OFF_MS,
  lastGapMs,
  linkState,
  on,
  onReconnect,
  openLink,
  receive,
} from '../../../web/bridge/events.js';
import { clearLog, entries } from '../../../web/stores/log.js';
import { startBridge, until } from '../support/bridge.mjs';

const bridge = await startBridge(() => undefined);
const addresses = [];
bridge.sockets.on('connection', (_socket, request) => addresses.push(request.url));
const logged = () => entries.value.map(({ kind, text }) => `${kind}: ${text}`);

test('events: the link opens with the token in its query and hands events out by type', async () => {
  const got = [];
  const off = on('fs.changed', (event) => got.push(event.count));
  openLink();
  await until(() => linkState.value === 'open');
  assert.match(addresses[0], /\?token=/);
  const [socket] = bridge.sockets.clients;
  socket.send('{"type":"fs.changed","count":3}');
  await until(() => got.length === 1);
  off();
  socket.send('{"type":"fs.changed","count":4}');
  socket.send('{"type":"end"}');
  await until(() => logged().includes('event: Unknown event "end"'));
  assert.deepEqual(got, [3]);
});

test('events: what nobody understands is logged with all its fields, never thrown', () => {
  clearLog();
  receive('{"type":"from.the.future","x":[1]}');
  receive('not json');
  receive('null');
  receive('[1]');
  assert.deepEqual(logged(), [
    'event: Unknown event "from.the.future"',
    'event: A message that is not JSON',
    'event: Unknown event "undefined"',
    'event: Unknown event "undefined"',
  ]);
  assert.match(entries.value[0].detail, /"x": \[/);
});

test('events: a handler that fails, now or later, does not keep the next from its event', async () => {
  clearLog();
  const got = [];
  const offs = [
    on('x', () => {
      throw new Error('first');
    }),
    on('x', async () => {
      throw new Error('second');
    }),
    on('x', () => got.push('third')),
  ];
  receive('{"type":"x"}');
  await until(() => entries.value.length === 2);
  assert.deepEqual(got, ['third']);
  for (const off of offs) off();
});

test('events: a lost link comes back by itself, and then everything is read again', async () => {
  clearLog();
  const read = [];
  const off = onReconnect(() => read.push('state'));
  onReconnect(() => Promise.reject(new Error('one hook fails')));
  for (const socket of bridge.sockets.clients) socket.terminate();
  await until(() => linkState.value === 'down');
  await until(() => linkState.value === 'open');
  await until(() => read.length === 1);
  assert.ok(lastGapMs.value >= BACK_OFF_MS[0]);
  await until(() => logged().some((line) => line.startsWith('error: Could not read the state again')));
  assert.equal(logged().filter((line) => line === 'link: The link to the editor was lost').length, 1);
  off();
});

test('events: while it is down the waits grow, and the loss is told once', async () => {
  clearLog();
  const attempts = [];
  bridge.server.prependListener('upgrade', (_request, socket) => {
    if (attempts.push(Date.now()) <= 3) socket.destroy();
  });
  for (const socket of bridge.sockets.clients) socket.terminate();
  await until(() => attempts.length === 4);
  await until(() => linkState.value === 'open');
  const waits = attempts.slice(1).map((time, i) => time - attempts[i]);
  for (const [i, wait] of waits.entries())
    assert.ok(wait >= BACK_OFF_MS[i + 1] - 20, `wait ${i} was ${wait} ms`);
  assert.equal(logged().filter((line) => line === 'link: The link to the editor was lost').length, 1);
});
