import assert from 'node:assert/strict';
import { test } from 'node:test';
import { on, openLink } from '../../../web/bridge/events.js';
import { takeToken } from '../../../web/bridge/token.js';
import {
  checkAlive,
  closeTerminal,
  createTerminal,
  frontTerminal,
  keepTerminals,
  listenToTerminals,
  renameTerminal,
  resizeTerminal,
  restoreTerminals,
  setInputErrorHandler,
  startTerminal,
  terminalByKey,
  terminalLayout,
  terminals,
  typeInto,
} from '../../../web/stores/terminals.js';
import { deferred, startBridge, until } from '../support/bridge.mjs';

/** Answers by route; without one the bridge says ok. @type {Record<string, (body: any) => any>} */
let answers = {};
const bridge = await startBridge(({ route, body }) => answers[route]?.(JSON.parse(body || '{}')));
const stored = new Map();
const sessionStorage = {
  get length() {
    return stored.size;
  },
  key: (i) => [...stored.keys()][i] ?? null,
  getItem: (name) => stored.get(name) ?? null,
  setItem: (name, value) => void stored.set(name, value),
  removeItem: (name) => void stored.delete(name),
};
const page = { location: { href: 'http://x/?token=t' }, history: { replaceState() {} }, sessionStorage };
takeToken(page);
listenToTerminals();
openLink();
await until(() => bridge.sockets.clients.size === 1);

const push = (event) => [...bridge.sockets.clients].forEach((socket) => socket.send(JSON.stringify(event)));
/** Resolves when all that was pushed so far has been handed out. */
function allReceived() {
  return new Promise((resolve) => {
    const stop = on('probe', () => resolve(stop()));
    push({ type: 'probe' });
  });
}
const bodies = (route) => bridge.asked.filter((one) => one.route === route).map(({ body }) => JSON.parse(body));
function screen(size = { cols: 80, rows: 24 }) {
  const got = [];
  return { got, data: (data) => got.push(data), exit: (code) => got.push(code), size: async () => size };
}
/** A running terminal with its id. */
async function running(id, one = screen()) {
  answers['terminal/create'] = () => ({ body: { ok: true, id, kind: 'shell', command: 'bash', cwd: '/p' } });
  const key = await createTerminal({ kind: 'shell', title: id, screen: () => one });
  return { key, one };
}

test('terminals: what the program writes before the answer is not lost', async () => {
  const answer = deferred();
  answers['terminal/create'] = () => answer.promise;
  const one = screen({ cols: 99, rows: 11 });
  const made = createTerminal({ kind: 'shell', title: 'Shell', cwd: 'proj/src', screen: () => one });
  assert.equal(frontTerminal.value.state, 'starting');
  await until(() => bodies('terminal/create').length === 1);
  push({ type: 'terminal.data', id: 'term1', data: '$ ' });
  push({ type: 'terminal.data', id: 'term7', data: 'of another page' });
  await allReceived();
  answer.resolve({ body: { ok: true, id: 'term1', kind: 'shell', command: 'bash', cwd: '/home/u/proj/src' } });
  const key = await made;
  assert.deepEqual(bodies('terminal/create')[0], { kind: 'shell', cols: 99, rows: 11, cwd: 'proj/src' });
  assert.deepEqual(one.got, ['$ ']);
  const { id, cwd, state } = terminalByKey(key);
  assert.deepEqual([id, cwd, state], ['term1', '/home/u/proj/src', 'running']);
  push({ type: 'terminal.data', id: 'term1', data: 'more' });
  await until(() => one.got.length === 2);
  closeTerminal(key);
});

test('terminals: one request with keys is under way for each terminal', async () => {
  const { key } = await running('term2');
  const other = await running('term3');
  bridge.asked.length = 0;
  const waits = [];
  answers['terminal/input'] = () => {
    const wait = deferred();
    waits.push(wait);
    return wait.promise;
  };
  for (const letter of 'make') typeInto(key, letter);
  typeInto(other.key, 'x');
  await until(() => waits.length === 2);
  assert.deepEqual(
    bodies('terminal/input').map(({ id, data }) => `${id} ${data}`).sort(),
    ['term2 m', 'term3 x'],
  );
  for (const wait of waits) wait.resolve({ body: { ok: true } });
  await until(() => waits.length === 3);
  assert.deepEqual(bodies('terminal/input')[2], { id: 'term2', data: 'ake' });
  waits[2].resolve({ body: { ok: true } });
  delete answers['terminal/input'];
  closeTerminal(key);
  closeTerminal(other.key);
});

test('terminals: an exit is shown with its code, the bridge forgets the terminal, the tab stays', async () => {
  const { key, one } = await running('term4');
  bridge.asked.length = 0;
  push({ type: 'terminal.data', id: 'term4', data: 'bye' });
  push({ type: 'terminal.exit', id: 'term4', code: 7 });
  await until(() => bodies('terminal/kill').length === 1);
  assert.deepEqual(bodies('terminal/kill'), [{ id: 'term4' }]);
  assert.deepEqual(one.got, ['bye', 7]);
  assert.deepEqual([terminalByKey(key).state, terminalByKey(key).code], ['exited', 7]);
  typeInto(key, 'nobody reads this');
  closeTerminal(key);
  await until(() => terminals.value.length === 0);
  assert.equal(bodies('terminal/input').length, 0);
  assert.equal(bodies('terminal/kill').length, 1, 'not a second time');
});

test('terminals: closing one that runs ends it, and late output goes nowhere', async () => {
  const { key, one } = await running('term5');
  bridge.asked.length = 0;
  closeTerminal(key);
  await until(() => bodies('terminal/kill').length === 1);
  push({ type: 'terminal.exit', id: 'term5', code: 129 });
  await allReceived();
  assert.deepEqual(one.got, []);
  assert.equal(terminalByKey(key), undefined);
});

test('terminals: one that is closed while it is being made is ended when its id comes', async () => {
  const answer = deferred();
  answers['terminal/create'] = () => answer.promise;
  bridge.asked.length = 0;
  const made = createTerminal({ kind: 'shell', title: 'x', screen: () => screen() });
  await until(() => bodies('terminal/create').length === 1);
  closeTerminal(terminals.value[0].key);
  answer.resolve({ body: { ok: true, id: 'term10', cwd: '' } });
  await made;
  await until(() => bodies('terminal/kill').some(({ id }) => id === 'term10'));
  assert.equal(terminals.value.length, 0);
});

test('terminals: the words of a failure to start reach the caller, and no tab stays', async () => {
  answers['terminal/create'] = () => ({ status: 500, body: { ok: false, error: 'could not create a terminal: no ptys' } });
  await assert.rejects(
    createTerminal({ kind: 'shell', title: 'x', screen: () => screen() }),
    /^BridgeError: could not create a terminal: no ptys$/,
  );
  assert.equal(terminals.value.length, 0);
  assert.deepEqual(terminalLayout.value.groups, []);
});

test('terminals: a size is told once, and one that came too early is told with the id', async () => {
  const answer = deferred();
  answers['terminal/create'] = () => answer.promise;
  bridge.asked.length = 0;
  const made = createTerminal({ kind: 'shell', title: 'x', screen: () => screen() });
  await until(() => bodies('terminal/create').length === 1);
  resizeTerminal(terminals.value[0].key, 100, 30);
  answer.resolve({ body: { ok: true, id: 'term11', cwd: '' } });
  const key = await made;
  await until(() => bodies('terminal/resize').length === 1);
  assert.deepEqual(bodies('terminal/resize'), [{ id: 'term11', cols: 100, rows: 30 }]);
  resizeTerminal(key, 100, 30);
  resizeTerminal(key, 101, 30);
  await until(() => bodies('terminal/resize').length === 2);
  assert.equal(bodies('terminal/resize')[1].cols, 101);
  closeTerminal(key);
});

test('terminals: keys for a terminal that the bridge does not know are told', async () => {
  const { key } = await running('term12');
  answers['terminal/input'] = () => ({ body: { ok: false } });
  const told = [];
  setInputErrorHandler((which, error) => told.push([which, error.message]));
  typeInto(key, 'x');
  await until(() => told.length === 1);
  assert.deepEqual(told, [[key, 'the terminal term12 does not exist any more']]);
  delete answers['terminal/input'];
  closeTerminal(key);
});

test('terminals: an exited one starts again in the same tab', async () => {
  const { key, one } = await running('term13');
  push({ type: 'terminal.exit', id: 'term13', code: 0 });
  await until(() => terminalByKey(key).state === 'exited');
  answers['terminal/create'] = () => ({ body: { ok: true, id: 'term14', cwd: '/p' } });
  await startTerminal(key, one);
  assert.deepEqual([terminalByKey(key).id, terminalByKey(key).state, terminalByKey(key).code], ['term14', 'running', null]);
  push({ type: 'terminal.data', id: 'term14', data: 'again' });
  await until(() => one.got.at(-1) === 'again');
  closeTerminal(key);
});

test('terminals: a reload takes up what still runs, and shows what has gone', async () => {
  const { key: first } = await running('term20');
  const { key: second } = await running('term21');
  renameTerminal(first, 'server');
  keepTerminals(sessionStorage);
  // What a reload leaves of this page's memory: nothing.
  terminals.value = [];
  terminalLayout.value = { groups: [], active: '' };
  bridge.asked.length = 0;
  answers['terminal/input'] = ({ id }) => ({ body: { ok: id === 'term20' } });
  const screens = new Map();
  await restoreTerminals(sessionStorage, ({ key }) => {
    screens.set(key, screen());
    return screens.get(key);
  });
  delete answers['terminal/input'];
  assert.deepEqual(
    terminals.value.map(({ id, title, state, code }) => [id, title, state, code]),
    [
      ['term20', 'server', 'running', null],
      ['term21', 'term21', 'exited', null],
    ],
  );
  assert.equal(frontTerminal.value.key, second);
  push({ type: 'terminal.data', id: 'term20', data: 'still here' });
  await until(() => screens.get(first).got.length === 1);
  const third = await running('term22');
  assert.ok(![first, second].includes(third.key), 'a new key is not an old one');
  for (const { key } of terminals.value) closeTerminal(key);
});

test('terminals: after the link was lost, one that the bridge forgot is shown as ended', async () => {
  const { key } = await running('term30');
  answers['terminal/input'] = () => ({ body: { ok: false } });
  await checkAlive(terminalByKey(key));
  delete answers['terminal/input'];
  assert.deepEqual([terminalByKey(key).state, terminalByKey(key).code], ['exited', null]);
  closeTerminal(key);
});
