// Messages to and from one language server: their order, their answers, and what is called off.
import assert from 'node:assert/strict';
import { test } from 'node:test';
import { Channel, Dropped, NoSuchMethod } from '../../../web/stores/lspchannel.js';
import { deferred } from '../support/bridge.mjs';

/** A channel whose messages wait until the test lets them through. */
function stage(ports = {}) {
  const sent = [];
  const gates = [];
  const failures = [];
  const oddities = [];
  const heard = [];
  const channel = new Channel({
    send(message) {
      sent.push(structuredClone(message));
      const gate = deferred();
      gates.push(gate);
      return gate.promise;
    },
    onNotification: (method, params) => heard.push([method, params]),
    onRequest: async () => null,
    onFailure: (error) => failures.push(error.message),
    onOddity: (text) => oddities.push(text),
    ...ports,
  });
  const settle = () => new Promise((resolve) => setImmediate(resolve));
  /** Lets the message under way arrive. */
  const through = async () => (gates.shift().resolve(), settle());
  const refuse = async (words) => (gates.shift().reject(new Error(words)), settle());
  const answers = (message) => channel.receive(JSON.stringify({ jsonrpc: '2.0', ...message }));
  return { channel, sent, through, refuse, settle, answers, failures, oddities, heard };
}

test('lsp channel: one message at a time, in the order they were said', async () => {
  const { channel, sent, through } = stage();
  channel.notify('a', 1);
  channel.notify('b', 2);
  void channel.request('c', 3);
  assert.deepEqual(sent.map(({ method }) => method), ['a']);
  await through();
  assert.deepEqual(sent.map(({ method }) => method), ['a', 'b']);
  await through();
  await through();
  assert.deepEqual(sent.map(({ method, params }) => [method, params]), [
    ['a', 1],
    ['b', 2],
    ['c', 3],
  ]);
  assert.equal(sent[0].id, undefined);
  assert.ok(Number.isInteger(sent[2].id) && sent[2].id < 2 ** 31);
});

test('lsp channel: what waits last is joined when both are of one kind and agree', async () => {
  const { channel, sent, through } = stage();
  const join = (more) => (waiting) => (waiting.key === more.key ? { ...waiting, n: waiting.n + more.n } : null);
  const say = (more) => channel.notify('change', more, join(more));
  channel.notify('first', {});
  say({ key: 'x', n: 1 });
  say({ key: 'x', n: 2 });
  say({ key: 'y', n: 4 });
  channel.notify('other', {});
  say({ key: 'x', n: 8 });
  for (let at = 0; at < 5; at++) await through();
  assert.deepEqual(
    sent.map(({ params }) => params),
    [{}, { key: 'x', n: 3 }, { key: 'y', n: 4 }, {}, { key: 'x', n: 8 }],
    'what is under way, or has others behind it, is never changed',
  );
});

test('lsp channel: answers find their request in any order, also before the bridge has said "ok"', async () => {
  const { channel, sent, through, answers } = stage();
  const one = channel.request('one', {});
  const two = channel.request('two', {});
  answers({ id: sent[0].id, result: { fish: 1 } });
  assert.deepEqual(await one, { fish: 1 });
  await through();
  answers({ id: sent[1].id });
  assert.equal(await two, null);
  answers({ id: 999, result: 'nobody asked' });
});

test('lsp channel: a failure has the words of the server; old and cancelled answers are dropped', async () => {
  const { channel, sent, answers, through } = stage();
  const asked = ['a', 'b', 'c', 'd'].map((method) => channel.request(method, {}));
  for (let at = 0; at < 3; at++) await through();
  answers({ id: sent[0].id, error: { code: -32603, message: 'no compile commands' } });
  await assert.rejects(asked[0], /^Error: no compile commands$/);
  answers({ id: sent[1].id, error: { code: -32801, message: 'content modified' } });
  await assert.rejects(asked[1], Dropped);
  answers({ id: sent[2].id, error: { code: -32800 } });
  await assert.rejects(asked[2], Dropped);
  answers({ id: sent[3].id, error: 'odd' });
  await assert.rejects(asked[3], /the server refused/);
});

test('lsp channel: a request that waits is called off unsent, one under way with a word to the server', async () => {
  const { channel, sent, through, answers } = stage();
  const [first, second] = [new AbortController(), new AbortController()];
  const one = channel.request('one', {}, first.signal);
  const two = channel.request('two', {}, second.signal);
  second.abort();
  await assert.rejects(two, Dropped);
  first.abort();
  await assert.rejects(one, Dropped);
  await through();
  assert.deepEqual(sent.map(({ method, params }) => [method, params]), [
    ['one', {}],
    ['$/cancelRequest', { id: sent[0].id }],
  ]);
  answers({ id: sent[0].id, result: 'late' });
  await assert.rejects(channel.request('three', {}, first.signal), Dropped);
  assert.equal(channel.waiting.size, 0);
});

test('lsp channel: requests of the server are answered, those nobody knows with "method not found"', async () => {
  const { channel, sent, through, answers, settle } = stage({
    async onRequest(method, params) {
      if (method === 'sum') return params[0] + params[1];
      if (method === 'nothing') return undefined;
      if (method === 'broken') throw new Error('it broke');
      throw new NoSuchMethod('what?');
    },
  });
  answers({ id: 'x', method: 'sum', params: [1, 2] });
  answers({ id: 7, method: 'nothing' });
  answers({ id: 8, method: 'broken' });
  answers({ id: 9, method: 'fish' });
  await settle();
  for (let at = 0; at < 4; at++) await through();
  assert.deepEqual(sent.map(({ jsonrpc, ...rest }) => rest), [
    { id: 'x', result: 3 },
    { id: 7, result: null },
    { id: 8, error: { code: -32603, message: 'it broke' } },
    { id: 9, error: { code: -32601, message: 'what?' } },
  ]);
  assert.equal(channel.waiting.size, 0);
});

test('lsp channel: what is no message is told of and breaks nothing', () => {
  const { channel, oddities, heard } = stage();
  for (const text of ['', 'x', 'null', '[]', '5', '{}', '{"id":null}', '{"id":{},"result":1}']) channel.receive(text);
  assert.equal(oddities.length, 5);
  channel.receive('{"method":"note","params":[1]}');
  assert.deepEqual(heard, [['note', [1]]]);
});

test('lsp channel: a message that does not get through fails its request and is told of', async () => {
  const { channel, refuse, failures, sent } = stage();
  const one = channel.request('one', {});
  channel.notify('two', {});
  const failed = assert.rejects(one, /^Error: the language server is not running$/);
  await refuse('the language server is not running');
  await failed;
  assert.deepEqual(failures, ['the language server is not running']);
  assert.equal(sent.length, 2, 'the rest goes on');
});

test('lsp channel: closed, it sends nothing more and keeps nobody waiting', async () => {
  const { channel, sent, refuse, failures, answers, heard } = stage();
  const one = channel.request('one', {});
  channel.notify('two', {});
  const dropped = assert.rejects(one, Dropped);
  channel.close('gone');
  await dropped;
  channel.notify('three', {});
  await assert.rejects(channel.request('four', {}), Dropped);
  answers({ method: 'late' });
  await refuse('gone too');
  assert.deepEqual([sent.length, failures, heard], [1, [], []]);
});
