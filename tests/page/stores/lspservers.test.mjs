// Language servers against a bridge: how they begin, what they are told, and what happens when they end.
import assert from 'node:assert/strict';
import { beforeEach, test } from 'node:test';
import { receive } from '../../../web/bridge/events.js';
import { deferred, startBridge, until } from '../support/bridge.mjs';

const kRows = [
  { id: 'clangd', name: 'clangd', languages: ['c', 'cpp'], available: true, path: '/usr/bin/clangd' },
  { id: 'pyright', name: 'Pyright', languages: ['python'], available: true, path: '/usr/bin/pyright' },
  { id: 'gopls', name: 'gopls', languages: ['go'], available: false, install: 'go install' },
];

/** What the server says to a method; undefined leaves the request open. @type {Record<string, any>} */
let says = {};
/** Messages that the servers got, the newest process of each alone. @type {Record<string, any[]>} */
let got = {};
let starts = [];
let running = new Set();
/** Answers instead of the usual ones, by route. @type {Record<string, () => any>} */
let instead = {};

const capabilities = {
  textDocumentSync: { openClose: true, change: 2, save: { includeText: false } },
  hoverProvider: true,
};

const bridge = await startBridge(async ({ route, body }) => {
  const asked = body ? JSON.parse(body) : {};
  const given = await instead[route]?.(asked);
  if (given) return given;
  if (route === 'lsp/servers')
    return { body: { ok: true, servers: kRows.map((row) => ({ ...row, running: running.has(row.id) })) } };
  if (route === 'lsp/start') {
    starts.push(asked);
    got[asked.server] = [];
    running.add(asked.server);
  }
  if (route === 'lsp/stop') running.delete(asked.server);
  if (route === 'lsp/send') {
    const { server, message } = asked;
    got[server].push(message);
    const result = says[message.method];
    if (message.id !== undefined && message.method && result !== undefined)
      queueMicrotask(() => tell(server, { id: message.id, result }));
  }
  return { body: { ok: true } };
});

const servers = await import('../../../web/stores/lspservers.js');
const { problems } = await import('../../../web/stores/lspproblems.js');
const { applyConfig } = await import('../../../web/stores/settings.js');
const { Dropped } = await import('../../../web/stores/lspchannel.js');

/** @type {any[]} */
let edits = [];
let editFails = '';
const shown = [];
applyConfig({ roots: [{ name: 'p', path: '/p' }] });
await servers.connectServers({
  async applyEdit(edit) {
    if (editFails) throw new Error(editFails);
    edits.push(edit);
  },
  showMessage: async (type, text, actions) => (shown.push([type, text]), actions[0] ?? null),
  showDocument: async (uri) => uri === 'file:///p/a.c',
  onRefresh: (method) => shown.push(['refresh', method]),
});

const tell = (server, message) =>
  receive(JSON.stringify({ type: 'lsp.message', server, message: JSON.stringify({ jsonrpc: '2.0', ...message }) }));
const exits = (server, code = 1) => {
  running.delete(server);
  receive(JSON.stringify({ type: 'lsp.exit', server, code }));
};
const heard = (server, method) => (got[server] ?? []).filter((one) => one.method === method);
const phase = (id, wanted) => until(() => servers.stateOf(id).phase === wanted);
const findings = (server, uri, more = {}) =>
  tell(server, {
    method: 'textDocument/publishDiagnostics',
    params: { uri, diagnostics: [{ range: kRange, message: 'bad', severity: 1 }], ...more },
  });
const kRange = { start: { line: 0, character: 0 }, end: { line: 0, character: 1 } };

/** A text whose server runs. */
let text = 'int a;\n';
const open = (path = '/p/a.c', language = 'c') => servers.openSource({ path, language, text: () => text });

beforeEach(async () => {
  says = { initialize: { capabilities }, shutdown: null };
  instead = {};
  editFails = '';
  edits = [];
  text = 'int a;\n';
  for (const { id } of kRows) await servers.stopServer(id);
  running = new Set();
  starts = [];
  got = {};
});

/** Awaits that clangd has all that was said to it, and the page knows it. */
const quiet = () => until(() => servers.clientOfServer('clangd')?.channel.sending === false);

/** Starts clangd by a text; a server that the user stopped starts only when asked. */
async function started() {
  const source = open();
  await servers.restartServer('clangd');
  await until(() => heard('clangd', 'textDocument/didOpen').length === 1);
  await quiet();
  return source;
}

test('lsp servers: the first text of a language starts its server, which gets its root before the text', async () => {
  const source = open('/p/x.py', 'python');
  await phase('pyright', 'running');
  await until(() => heard('pyright', 'textDocument/didOpen').length === 1);
  assert.deepEqual(starts, [{ server: 'pyright', restart: true }], 'a process of an earlier page is ended');
  assert.deepEqual(
    got.pyright.map(({ method }) => method),
    ['initialize', 'initialized', 'textDocument/didOpen'],
  );
  const { params } = got.pyright[0];
  assert.deepEqual([params.rootUri, params.workspaceFolders], ['file:///p', [{ uri: 'file:///p', name: 'p' }]]);
  assert.deepEqual(params.capabilities.general.positionEncodings, ['utf-16']);
  assert.deepEqual(got.pyright[2].params.textDocument, {
    uri: 'file:///p/x.py',
    languageId: 'python',
    version: 1,
    text: 'int a;\n',
  });
  source.closed();
  open('/p/x.go', 'go').closed();
  assert.equal(servers.stateOf('gopls').phase, 'stopped', 'what is not installed is left alone');
});

test('lsp servers: changes go out in order with their versions, and are joined while one is under way', async () => {
  const source = await started();
  const gate = deferred();
  instead['lsp/send'] = async ({ server, message }) => {
    got[server].push(message);
    await gate.promise;
    return { body: { ok: true } };
  };
  const change = (words) => ({ range: kRange, text: words });
  for (const words of ['a', 'b', 'c']) source.changed([change(words)]);
  source.saved();
  await until(() => heard('clangd', 'textDocument/didChange').length === 1);
  assert.equal(heard('clangd', 'textDocument/didSave').length, 0);
  gate.resolve();
  await until(() => heard('clangd', 'textDocument/didSave').length === 1);
  const changes = heard('clangd', 'textDocument/didChange').map(({ params }) => params);
  assert.deepEqual(
    changes.map(({ textDocument, contentChanges }) => [textDocument.version, contentChanges.map((one) => one.text)]),
    [
      [2, ['a']],
      [4, ['b', 'c']],
    ],
  );
  source.closed();
  await until(() => heard('clangd', 'textDocument/didClose').length === 1);
});

test('lsp servers: changes of two texts are told apart', async () => {
  const source = await started();
  const other = open('/p/b.c');
  await until(() => heard('clangd', 'textDocument/didOpen').length === 2);
  await quiet();
  const gate = deferred();
  instead['lsp/send'] = async ({ server, message }) => {
    got[server].push(message);
    await gate.promise;
    return { body: { ok: true } };
  };
  for (const one of [source, source, other]) one.changed([{ range: kRange, text: one.source.path }]);
  gate.resolve();
  await until(() => heard('clangd', 'textDocument/didChange').length === 3);
  for (const { params } of heard('clangd', 'textDocument/didChange'))
    assert.equal(`file://${params.contentChanges[0].text}`, params.textDocument.uri);
  source.closed();
  other.closed();
});

test('lsp servers: a server that wants whole texts gets them, one that wants none gets none', async () => {
  says.initialize = { capabilities: { textDocumentSync: 1 } };
  const source = await started();
  text = 'int b;\n';
  source.changed([{ range: kRange, text: 'x' }]);
  await until(() => heard('clangd', 'textDocument/didChange').length === 1);
  assert.deepEqual(heard('clangd', 'textDocument/didChange')[0].params.contentChanges, [{ text: 'int b;\n' }]);
  source.closed();
  says.initialize = { capabilities: { textDocumentSync: { openClose: true, change: 0 } } };
  const silent = await started();
  silent.changed([{ range: kRange, text: 'x' }]);
  silent.saved();
  silent.closed();
  await until(() => heard('clangd', 'textDocument/didClose').length === 1);
  assert.deepEqual(got.clangd.map(({ method }) => method).slice(2), [
    'textDocument/didOpen',
    'textDocument/didClose',
  ]);
});

test('lsp servers: an answer to an older text is dropped, unless it narrows itself', async () => {
  const source = await started();
  const client = servers.clientOf(source.source);
  says['textDocument/hover'] = { contents: 'int' };
  assert.deepEqual(await client.ask(source.source, 'textDocument/hover', {}), { contents: 'int' });
  delete says['textDocument/hover'];
  const ask = (options) => client.ask(source.source, 'textDocument/hover', {}, options);
  const [late, any] = [ask(), ask({ anyVersion: true })];
  await until(() => heard('clangd', 'textDocument/hover').length === 3);
  source.changed([{ range: kRange, text: 'x' }]);
  for (const { id } of heard('clangd', 'textDocument/hover')) tell('clangd', { id, result: 'old' });
  assert.deepEqual([await late, await any], [null, 'old']);
  source.closed();
  assert.equal(await ask(), null, 'nothing is asked about a text that is closed');
});

test('lsp servers: findings are kept by file, those about an older text are not', async () => {
  const source = await started();
  findings('clangd', 'file:///p/a.c', { version: 1 });
  assert.equal(problems.value.length, 1);
  source.changed([{ range: kRange, text: 'x' }]);
  findings('clangd', 'file:///p/a.c', { version: 1, diagnostics: [] });
  assert.equal(problems.value.length, 1, 'that was about version 1');
  findings('clangd', 'file:///p/a.c', { version: 2, diagnostics: [] });
  assert.equal(problems.value.length, 0);
  findings('clangd', 'file:///p/other.h', { version: 1 });
  assert.equal(problems.value[0].path, '/p/other.h', 'also of files that are not open');
  source.closed();
});

test('lsp servers: one that dies is started again with all texts, three times, then it waits', async () => {
  const source = await started();
  const other = open('/p/b.cpp', 'cpp');
  source.changed([{ range: kRange, text: 'x' }]);
  findings('clangd', 'file:///p/a.c');
  text = 'int fish;\n';
  for (let time = 1; time <= servers.RESTARTS; time++) {
    exits('clangd', 139);
    assert.equal(problems.value.length, 0, 'its findings go with it');
    await until(() => heard('clangd', 'textDocument/didOpen').length === 2 && starts.length === time + 1);
    const texts = heard('clangd', 'textDocument/didOpen').map(({ params }) => params.textDocument);
    assert.deepEqual(
      texts.map(({ uri, version, text: words }) => [uri, version, words]),
      [
        ['file:///p/a.c', 2, 'int fish;\n'],
        ['file:///p/b.cpp', 1, 'int fish;\n'],
      ],
    );
    await phase('clangd', 'running');
  }
  exits('clangd', 139);
  assert.equal(servers.stateOf('clangd').phase, 'failed');
  assert.match(servers.stateOf('clangd').words, /^it ended with code 139/);
  open('/p/c.c').closed();
  assert.equal(starts.length, 4, 'another text does not start it either');
  await servers.restartServer('clangd');
  assert.equal(servers.stateOf('clangd').phase, 'running', 'the button does');
  source.closed();
  other.closed();
});

test('lsp servers: restarts of long ago do not count', async (context) => {
  const source = await started();
  const real = Date.now;
  context.after(() => (Date.now = real));
  for (let time = 0; time < servers.RESTARTS + 2; time++) {
    exits('clangd');
    await phase('clangd', 'running');
    const now = Date.now();
    Date.now = () => now + servers.RESTARTS_WITHIN_MS / 2;
  }
  assert.equal(servers.stateOf('clangd').phase, 'running');
  source.closed();
});

test('lsp servers: one that ends before it has answered counts too, and a question of it is dropped', async () => {
  delete says.initialize;
  const source = open();
  void servers.restartServer('clangd');
  await until(() => heard('clangd', 'initialize').length === 1);
  for (let time = 1; time <= servers.RESTARTS; time++) {
    exits('clangd');
    await until(() => starts.length === time + 1 && heard('clangd', 'initialize').length === 1);
  }
  exits('clangd');
  await phase('clangd', 'failed');
  says.initialize = { capabilities };
  await servers.restartServer('clangd');
  const client = servers.clientOf(source.source);
  const asked = assert.rejects(client.ask(source.source, 'textDocument/hover', {}), Dropped);
  await until(() => heard('clangd', 'textDocument/hover').length === 1);
  exits('clangd');
  await asked;
  await phase('clangd', 'running');
  source.closed();
});

test('lsp servers: what cannot be started says why, and starts when asked again', async () => {
  instead['lsp/start'] = () => ({ status: 400, body: { ok: false, error: 'clangd is not installed' } });
  const source = open();
  await servers.restartServer('clangd');
  assert.deepEqual(
    [servers.stateOf('clangd').phase, servers.stateOf('clangd').words],
    ['failed', 'clangd is not installed'],
  );
  instead = {};
  says.initialize = undefined;
  const starting = servers.restartServer('clangd');
  await until(() => heard('clangd', 'initialize').length === 1);
  tell('clangd', { id: heard('clangd', 'initialize')[0].id, error: { code: 1, message: 'bad options' } });
  await starting;
  assert.equal(servers.stateOf('clangd').words, 'bad options');
  source.closed();
});

test('lsp servers: stopping says good-bye first, and nothing starts it but the user', async () => {
  const source = await started();
  await servers.stopServer('clangd');
  assert.equal(heard('clangd', 'shutdown').length, 1);
  assert.equal(servers.stateOf('clangd').phase, 'stopped');
  exits('clangd', 0);
  source.changed([{ range: kRange, text: 'x' }]);
  open('/p/z.c').closed();
  assert.equal(servers.stateOf('clangd').phase, 'stopped');
  assert.equal(starts.length, 1);
  source.closed();
});

test('lsp servers: one that ends while it is being stopped stays so', async () => {
  const source = await started();
  delete says.shutdown;
  const stopping = servers.stopServer('clangd');
  await until(() => heard('clangd', 'shutdown').length === 1);
  exits('clangd', 0);
  await stopping;
  assert.equal(servers.stateOf('clangd').phase, 'stopped');
  assert.equal(starts.length, 1);
  source.closed();
});

test('lsp servers: the last words of an earlier process are not taken for those of the next', async () => {
  const source = await started();
  const gate = deferred();
  instead['lsp/start'] = async (asked) => {
    starts.push(asked);
    got[asked.server] = [];
    await gate.promise;
    return { body: { ok: true } };
  };
  const again = servers.restartServer('clangd');
  await until(() => starts.length === 2);
  findings('clangd', 'file:///p/a.c');
  assert.equal(problems.value.length, 0);
  gate.resolve();
  await again;
  findings('clangd', 'file:///p/a.c');
  assert.equal(problems.value.length, 1);
  source.closed();
});

test('lsp servers: a send that finds the process gone counts as its end, once', async () => {
  const source = await started();
  const gate = deferred();
  instead['lsp/start'] = async (asked) => {
    starts.push(asked);
    await gate.promise;
    return { body: { ok: true } };
  };
  instead['lsp/send'] = () => {
    delete instead['lsp/send'];
    return { status: 409, body: { ok: false, error: 'the language server is not running' } };
  };
  source.changed([{ range: kRange, text: 'x' }]);
  await until(() => starts.length === 2);
  exits('clangd');
  gate.resolve();
  await phase('clangd', 'running');
  assert.equal(starts.length, 2);
  source.closed();
});

test('lsp servers: what they ask of the editor is answered', async () => {
  const source = await started();
  shown.length = 0;
  const ask = async (method, params) => {
    const id = `s-${method}`;
    tell('clangd', { id, method, params });
    await until(() => got.clangd.some((one) => one.id === id));
    const { result, error } = got.clangd.find((one) => one.id === id);
    return error ?? result;
  };
  assert.deepEqual(await ask('workspace/configuration', { items: [{}, {}] }), [null, null]);
  assert.deepEqual(await ask('workspace/workspaceFolders'), [{ uri: 'file:///p', name: 'p' }]);
  assert.equal(await ask('window/workDoneProgress/create', { token: 1 }), null);
  assert.deepEqual(await ask('window/showMessageRequest', { type: 3, message: 'Which?', actions: [{ title: 'A', x: 1 }] }), {
    title: 'A',
    x: 1,
  });
  assert.deepEqual(await ask('window/showDocument', { uri: 'file:///p/a.c' }), { success: true });
  assert.equal((await ask('fish/swim', {})).code, -32601);
  assert.deepEqual(await ask('workspace/applyEdit', { edit: { changes: {} } }), { applied: true });
  assert.deepEqual(edits, [{ changes: {} }]);
  editFails = 'the file was changed meanwhile';
  got.clangd = [];
  assert.deepEqual(await ask('workspace/applyEdit', { edit: {} }), {
    applied: false,
    failureReason: 'the file was changed meanwhile',
  });
  assert.equal(await ask('workspace/inlayHint/refresh'), null);
  assert.deepEqual(shown, [
    [3, 'clangd: Which?'],
    ['refresh', 'inlayHint'],
  ]);
  source.closed();
});

test('lsp servers: what they register later counts, and files that they watch are told of', async () => {
  const source = await started();
  let told = 0;
  const stop = servers.onAbilities(() => told++);
  const registrations = [
    { id: '1', method: 'textDocument/formatting' },
    { id: '2', method: 'workspace/didChangeWatchedFiles', registerOptions: { watchers: [{ globPattern: '**/*.h' }] } },
  ];
  tell('clangd', { id: 1, method: 'client/registerCapability', params: { registrations } });
  assert.equal(told, 1);
  assert.deepEqual(servers.clientOf(source.source).abilities.options('textDocument/formatting'), {});
  receive(JSON.stringify({ type: 'fs.changed', paths: ['p/a.h', 'p/a.c', '/elsewhere/b.h'], count: 3 }));
  await until(() => heard('clangd', 'workspace/didChangeWatchedFiles').length === 1);
  assert.deepEqual(heard('clangd', 'workspace/didChangeWatchedFiles')[0].params.changes, [
    { uri: 'file:///p/a.h', type: 2 },
    { uri: 'file:///elsewhere/b.h', type: 2 },
  ]);
  stop();
  source.closed();
});

test('lsp servers: findings that must be asked for stand beside those that are told, and go with the server', async () => {
  says.initialize = { capabilities: { ...capabilities, diagnosticProvider: { interFileDependencies: false } } };
  const found = (message) => ({ kind: 'full', items: [{ range: kRange, message, severity: 2 }] });
  says['textDocument/diagnostic'] = found('asked');
  const source = await started();
  findings('clangd', 'file:///p/a.c');
  const messages = () => problems.value.map(({ message }) => message).sort();
  await until(() => messages().length === 2);
  assert.deepEqual(messages(), ['asked', 'bad']);
  says['textDocument/diagnostic'] = found('asked again');
  tell('clangd', { id: 'r', method: 'workspace/diagnostic/refresh' });
  await until(() => messages().includes('asked again'));
  assert.deepEqual(messages(), ['asked again', 'bad']);
  await servers.stopServer('clangd');
  assert.deepEqual(messages(), []);
  source.closed();
});

test('lsp servers: folders that come and go are told to those who want to know', async () => {
  says.initialize = { capabilities: { ...capabilities, workspace: { workspaceFolders: { changeNotifications: true } } } };
  const source = await started();
  applyConfig({ roots: [{ name: 'q', path: '/q' }] });
  await until(() => heard('clangd', 'workspace/didChangeWorkspaceFolders').length === 1);
  assert.deepEqual(heard('clangd', 'workspace/didChangeWorkspaceFolders')[0].params.event, {
    added: [{ uri: 'file:///q', name: 'q' }],
    removed: [{ uri: 'file:///p', name: 'p' }],
  });
  applyConfig({ roots: [{ name: 'p', path: '/p' }] });
  source.closed();
});

test('lsp servers: what a server does and says is to be seen', async () => {
  const source = await started();
  const progress = (value, token = 't') => tell('clangd', { method: '$/progress', params: { token, value } });
  progress({ kind: 'begin', title: 'indexing', percentage: 0 });
  assert.equal(servers.stateOf('clangd').progress, 'indexing 0 %');
  progress({ kind: 'report', message: '3/8', percentage: 37.5 });
  assert.equal(servers.stateOf('clangd').progress, 'indexing: 3/8 38 %');
  progress({ kind: 'end' });
  assert.equal(servers.stateOf('clangd').progress, '');
  tell('clangd', { method: 'window/logMessage', params: { type: 4, message: 'hello' } });
  assert.equal(servers.stateOf('clangd').said, 'hello\n');
  source.closed();
});

test('lsp servers: after a gap of the link texts are told anew, and a server that ended is started', async () => {
  const { sockets } = bridge;
  const { openLink } = await import('../../../web/bridge/events.js');
  openLink();
  await until(() => sockets.clients.size === 1);
  const source = await started();
  const asked = servers.clientOf(source.source).ask(source.source, 'textDocument/hover', {});
  const dropped = assert.rejects(asked, Dropped);
  await until(() => heard('clangd', 'textDocument/hover').length === 1);
  for (const socket of sockets.clients) socket.terminate();
  await dropped;
  await until(() => heard('clangd', 'textDocument/didOpen').length === 2);
  assert.equal(heard('clangd', 'textDocument/didClose').length, 1);
  assert.equal(starts.length, 1);
  running.delete('clangd');
  for (const socket of sockets.clients) socket.terminate();
  await until(() => starts.length === 2);
  await phase('clangd', 'running');
  source.closed();
});
