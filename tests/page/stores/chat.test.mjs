// The conversation against a bridge: what is asked of it, in which order, and what a failure leaves.
import assert from 'node:assert/strict';
import { beforeEach, test } from 'node:test';
import { receive } from '../../../web/bridge/events.js';
import { asks, init, own, result, says, textDelta } from '../support/chatlines.mjs';
import { deferred, startBridge, until } from '../support/bridge.mjs';

/** Answers by route; a test puts its own in front. @type {Record<string, (body: any) => any>} */
let answers = {};
let sets = 0;
let runs = false;
let claude = { dispatchLimit: 3 };
/** @type {Record<string, string>} */
let files = {};

const bridge = await startBridge(async ({ route, query, body }) => {
  const asked = body ? JSON.parse(body) : {};
  if (answers[route]) {
    const given = await answers[route](asked);
    if (given) return given;
  }
  switch (route) {
    case 'agent/status':
      return { body: { ok: true, running: runs, sessionId: '', executable: '/usr/bin/claude' } };
    case 'agent/start':
      runs = true;
      return { body: { ok: true, executable: '/usr/bin/claude', cwd: '/p' } };
    case 'agent/control':
      return { body: { ok: true, requestId: `mb-control-${++sets}` } };
    case 'config':
      if (asked.claude) claude = asked.claude;
      return { body: { ok: true, config: { roots: [{ name: 'proj', path: '/p' }], claude } } };
    case 'file/write':
      files[asked.path] = asked.contents;
      return { body: { ok: true } };
    case 'file/info': {
      const path = query.get('path');
      return path in files
        ? { body: { path, exists: true } }
        : { status: 404, body: { ok: false, error: 'file not found' } };
    }
    case 'file/raw':
      return { body: files[query.get('path')] };
  }
  return { body: { ok: true } };
});

const chat = await import('../../../web/stores/chat.js');
const session = await import('../../../web/stores/chatsession.js');
const records = await import('../../../web/stores/chatrecords.js');
const { applyConfig } = await import('../../../web/stores/settings.js');
const { entries } = await import('../../../web/stores/log.js');

const values = new Map();
const storage = {
  getItem: (key) => values.get(key) ?? null,
  setItem: (key, value) => void values.set(key, value),
  removeItem: (key) => void values.delete(key),
};
chat.connectTalk(storage, 'run');
session.restoreSession();
records.startRecords();

const claudeSays = (...lines) =>
  lines.forEach((line) => receive(JSON.stringify({ type: 'agent.event', line })));
const exits = (code) => receive(JSON.stringify({ type: 'agent.exit', code }));
const sent = (route) =>
  bridge.asked.filter((one) => one.route === route).map(({ body }) => (body ? JSON.parse(body) : null));
const answerControl = (id, response, subtype = 'success') =>
  claudeSays(
    JSON.stringify({
      type: 'control_response',
      response: { subtype, request_id: id, ...(subtype === 'error' ? { error: response } : { response }) },
    }),
  );
const kinds = () => chat.items.value.map(({ kind }) => kind);

beforeEach(async () => {
  answers = {};
  claudeSays(result());
  await session.newTalk();
  runs = false;
  files = {};
  claude = { dispatchLimit: 3 };
  applyConfig({ roots: [{ name: 'proj', path: '/p' }], claude });
  bridge.asked.length = 0;
});

test('chat: the first message starts the CLI in the chosen mode, then goes out once', async () => {
  await session.submit('hello');
  const routes = bridge.asked.map(({ route }) => route).filter((route) => route.startsWith('agent/'));
  assert.deepEqual(
    routes,
    ['agent/start', 'agent/control', 'agent/send'],
    'and it is asked before it is told',
  );
  assert.deepEqual(sent('agent/start')[0], { permissionMode: 'acceptEdits' });
  assert.deepEqual(sent('agent/send'), [{ text: 'hello', images: [] }]);
  assert.equal(chat.running.value, true);
  assert.equal(chat.busy.value, true);
  assert.deepEqual(sent('agent/control')[0], { request: { subtype: 'initialize' } });
});

test('chat: while a turn runs messages wait, and go out one by one as turns end', async () => {
  await session.submit('one');
  await session.submit('two');
  await session.submit('three');
  assert.deepEqual(
    session.queue.value.map(({ text }) => text),
    ['two', 'three'],
  );
  assert.equal(sent('agent/send').length, 1);
  claudeSays(init(), says('1'), result());
  await until(() => sent('agent/send').length === 2);
  await until(() => !session.sending.value);
  assert.deepEqual(
    session.queue.value.map(({ text }) => text),
    ['three'],
  );
  claudeSays(result());
  await until(() => sent('agent/send').length === 3);
  assert.deepEqual(
    sent('agent/send').map(({ text }) => text),
    ['one', 'two', 'three'],
  );
});

test('chat: only one message is on its way at a time', async () => {
  const gate = deferred();
  let open = 0;
  let most = 0;
  answers['agent/send'] = async () => {
    most = Math.max(most, ++open);
    await gate.promise;
    open -= 1;
  };
  const first = session.submit('one');
  await until(() => open === 1);
  claudeSays(result()); // the turn may end before the bridge has answered
  const second = session.submit('two');
  await until(() => session.queue.value.length === 1);
  assert.equal(sent('agent/send').length, 1);
  gate.resolve(undefined);
  await Promise.all([first, second]);
  assert.deepEqual(
    sent('agent/send').map(({ text }) => text),
    ['one', 'two'],
    'and the next follows at once',
  );
  assert.equal(most, 1);
});

test('chat: a message that could not be sent is not lost, and nothing follows it by itself', async () => {
  answers['agent/send'] = () => ({
    status: 500,
    body: { ok: false, error: 'could not write to the Claude session' },
  });
  await assert.rejects(session.submit('precious'), { message: 'could not write to the Claude session' });
  assert.deepEqual(
    session.queue.value.map(({ text }) => text),
    ['precious'],
  );
  assert.equal(session.queuePaused.value, true);
  assert.equal(chat.busy.value, false);
  assert.equal(chat.items.value.at(-1).kind, 'notice');
  answers = {};
  await session.sendQueuedNow(session.queue.value[0].id);
  assert.equal(sent('agent/send').at(-1).text, 'precious');
  assert.equal(session.queue.value.length, 0);
});

test('chat: a CLI that does not start leaves the message and tells why', async () => {
  answers['agent/start'] = () => ({
    status: 500,
    body: { ok: false, error: 'The Claude CLI was not found.' },
  });
  await assert.rejects(session.submit('hi'), { message: 'The Claude CLI was not found.' });
  assert.equal(sent('agent/send').length, 0);
  assert.deepEqual(
    session.queue.value.map(({ text }) => text),
    ['hi'],
  );
});

test('chat: "send now" interrupts the turn, and its end sends the message', async () => {
  await session.submit('one');
  await session.submit('two');
  await session.submit('urgent');
  await session.sendQueuedNow(session.queue.value[1].id);
  assert.equal(sent('agent/interrupt').length, 1);
  assert.equal(sent('agent/send').length, 1);
  claudeSays(result({ is_error: true, subtype: 'error_during_execution' }));
  await until(() => sent('agent/send').length === 2);
  assert.equal(sent('agent/send')[1].text, 'urgent');
});

test('chat: after an interrupt by the user, and after a crash, nothing goes out by itself', async () => {
  await session.submit('one');
  await session.submit('two');
  await session.interrupt();
  claudeSays(result({ is_error: true, subtype: 'error_during_execution' }));
  assert.equal(session.queuePaused.value, true);
  assert.equal(sent('agent/send').length, 1);
  await session.sendQueuedNow(session.queue.value[0].id);
  await session.submit('three');
  exits(139);
  assert.equal(session.queuePaused.value, true);
  assert.equal(sent('agent/start').length, 1, 'and the CLI is not started again');
  assert.match(chat.items.value.at(-1).text, /139/);
});

test('chat: a turn whose end was lost does not hold up the queue for ever', async () => {
  await session.submit('one');
  await session.submit('two');
  await session.sendQueuedNow(session.queue.value[0].id);
  answerControl('mb-interrupt-1', {});
  assert.equal(sent('agent/send').length, 1);
  await until(() => sent('agent/send').length === 2, 8000);
  assert.equal(sent('agent/send')[1].text, 'two');
});

test('chat: an answer to a question carries its input, and the question goes when the bridge took it', async () => {
  await session.submit('hi');
  claudeSays(asks('q1', 'Bash', { command: 'make' }));
  const [question] = chat.questions.value;
  const { allowOnce } = await import('../../../web/stores/chatquestions.js');
  const gate = deferred();
  answers['agent/permission'] = () => gate.promise;
  const first = session.answer(question, allowOnce(question));
  const second = session.answer(question, allowOnce(question));
  await second;
  assert.equal(chat.questions.value.length, 1, 'it stays until the answer is out');
  gate.resolve(undefined);
  await first;
  assert.deepEqual(sent('agent/permission'), [
    { requestId: 'q1', behavior: 'allow', input: { command: 'make' } },
  ]);
  assert.deepEqual(chat.questions.value, []);
});

test('chat: an answer that fails leaves the question, one to a dead CLI withdraws all', async () => {
  await session.submit('hi');
  claudeSays(asks('q1', 'Bash', {}), asks('q2', 'Bash', {}));
  const [question] = chat.questions.value;
  const { deny } = await import('../../../web/stores/chatquestions.js');
  answers['agent/permission'] = () => ({
    status: 500,
    body: { ok: false, error: 'could not write to the Claude session' },
  });
  await assert.rejects(session.answer(question, deny(question, '')));
  assert.equal(chat.questions.value.length, 2);
  runs = false;
  answers['agent/permission'] = () => ({
    status: 409,
    body: { ok: false, error: 'the Claude session is not running' },
  });
  await assert.rejects(session.answer(question, deny(question, '')));
  assert.deepEqual(chat.questions.value, []);
  assert.equal(chat.running.value, false);
});

test('chat: the exit withdraws open questions and ends the turn', async () => {
  await session.submit('hi');
  claudeSays(asks('q1', 'Bash', {}));
  exits(137);
  assert.deepEqual(chat.questions.value, []);
  assert.equal(chat.busy.value, false);
  assert.equal(chat.running.value, false);
});

test('chat: a mode changes what runs when the CLI agrees, and is kept beside what others keep', async () => {
  await session.submit('hi');
  const change = session.setMode('plan');
  await until(() => sent('agent/control').some(({ request }) => request.subtype === 'set_permission_mode'));
  await new Promise((resolve) => setImmediate(resolve));
  answerControl(`mb-control-${sets}`, {});
  await change;
  assert.equal(chat.mode.value, 'plan');
  assert.deepEqual(claude, { dispatchLimit: 3, permissionMode: 'plan' });
  const refused = session.setMode('bypassPermissions');
  await until(() => sent('agent/control').some(({ request }) => request.mode === 'bypassPermissions'));
  answerControl(`mb-control-${sets}`, 'not allowed here', 'error');
  await assert.rejects(refused, { message: 'not allowed here' });
  assert.equal(chat.mode.value, 'plan');
});

test('chat: an answer of the CLI that overtakes the bridge still finds its request', async () => {
  await session.submit('hi');
  answers['agent/control'] = () => {
    answerControl('early-1', { totalTokens: 1234, maxTokens: 5000 });
    return { body: { ok: true, requestId: 'early-1' } };
  };
  await session.readUsage();
  assert.equal(chat.usage.value.contextTokens, 1234);
});

test('chat: stop asks the bridge, is no failure, and a later message goes on with the same words', async () => {
  await session.submit('hi');
  claudeSays(init(), says('hello'), result());
  answers['agent/stop'] = () => void exits(0);
  await session.stop();
  assert.equal(chat.running.value, false);
  assert.ok(!kinds().includes('notice'));
  assert.equal(session.canResume.value, true);
  await session.submit('go on');
  assert.equal(sent('agent/start').at(-1).resume, 'session-1');
  assert.deepEqual(kinds().filter((kind) => kind === 'user').length, 2);
});

test('chat: a reload brings back words, questions, waiting messages and the draft', async () => {
  await session.submit('hi');
  claudeSays(init(), says('hello'), asks('q9', 'Bash', { command: 'ls' }));
  await session.submit('later');
  session.setDraft('half a tho');
  await new Promise((resolve) => setTimeout(resolve, 300)); // what is kept is written at intervals
  const again = await import('../../../web/stores/chat.js?again');
  again.connectTalk(storage, 'run');
  assert.deepEqual(again.items.value, chat.items.value);
  assert.deepEqual(
    again.questions.value.map(({ id, input }) => [id, input]),
    [['q9', { command: 'ls' }]],
  );
  assert.equal(again.busy.value, true);
  assert.deepEqual(
    again.keptValue('queue').map(({ text }) => text),
    ['later'],
  );
  assert.equal(again.keptValue('draft'), 'half a tho');
  session.setDraft('');
});

test('chat: the growing end is told once a frame, however many pieces come', async () => {
  await session.submit('hi');
  let told = 0;
  const stop = chat.tail.subscribe(() => told++);
  told = 0;
  for (let i = 0; i < 500; i++) claudeSays(textDelta('word '));
  await until(() => chat.tail.value[0]?.text.length === 2500);
  stop();
  assert.ok(told <= 3, `${told} times`);
});

test('chat: unknown and malformed lines are in the log and nowhere else', async () => {
  const before = entries.value.at(-1)?.id ?? 0;
  claudeSays('{"type":"from_the_future","depth":{"x":17}}', 'no JSON at all');
  receive(JSON.stringify({ type: 'agent.event' }));
  assert.deepEqual(kinds(), []);
  const fresh = entries.value.filter(({ id, kind }) => id > before && kind === 'event');
  assert.equal(new Set(fresh.map(({ text, detail }) => text + detail)).size, 3);
  assert.match(fresh[0].detail, /"x": 17/);
  assert.ok(fresh.some(({ detail }) => detail === 'no JSON at all'));
});

test('chat: a turn keeps title and words, and resuming shows them and starts with the id', async () => {
  await session.submit('Mend the parser');
  claudeSays(init({ session_id: 's-keep' }), says('mended'), result());
  await records.keepTalk();
  const path = 'proj/.marlin/chats/s-keep.jsonl';
  assert.match(files[path], /mended/);
  const record = records.history.value.find(({ id }) => id === 's-keep');
  assert.equal(record.title, 'Mend the parser');
  await session.newTalk();
  runs = false;
  assert.deepEqual(kinds(), []);
  await records.resume(record);
  assert.deepEqual(kinds(), ['user', 'text', 'result']);
  assert.equal(sent('agent/start').at(-1).resume, 's-keep');
});

test('chat: a fork is asked for at one start only, and what others keep in the settings stays', async () => {
  const record = { id: 's-fork', title: 'T', named: false, root: 'proj', time: 1, turns: 1, cost: 0 };
  let during;
  answers['agent/start'] = () => {
    during = { ...claude };
    return undefined;
  };
  await records.fork(record);
  assert.deepEqual(during, { dispatchLimit: 3, forkSession: true });
  assert.deepEqual(claude, { dispatchLimit: 3, forkSession: false });
  assert.equal(chat.sessionId.value, 's-fork');
});

test('chat: a conversation is taken out of the list, its words go to the Trash', async () => {
  await session.submit('hi');
  claudeSays(init({ session_id: 's-gone' }), result());
  await records.keepTalk();
  await records.deleteTalk(records.history.value.find(({ id }) => id === 's-gone'));
  assert.deepEqual(sent('file/delete'), [{ path: 'proj/.marlin/chats/s-gone.jsonl' }]);
  assert.ok(!records.history.value.some(({ id }) => id === 's-gone'));
});

test('chat: own records among the CLI lines do not make it send or start anything', async () => {
  claudeSays(own('sent', { text: 'not by me' }), own('ended', { code: 1 }));
  assert.equal(sent('agent/send').length + sent('agent/start').length, 0);
});
