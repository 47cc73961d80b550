// Findings that are asked for: when, with what, and what becomes of the answers.
import assert from 'node:assert/strict';
import { beforeEach, mock, test } from 'node:test';
import { Dropped } from '../../../web/stores/lspchannel.js';
import { DiagnosticPull, PULL_AFTER_MS } from '../../../web/stores/lsppull.js';

mock.timers.enable({ apis: ['setTimeout'] });

const source = (path) => ({ path, language: 'c', text: () => '', version: 1 });
let options;
let open;
let asked;
let taken;
let errors;
/** What the server does with a question. */
let answer;
let pull;

beforeEach(() => {
  options = {};
  open = [source('/p/a'), source('/p/b')];
  asked = [];
  taken = [];
  errors = [];
  answer = () => ({ kind: 'full', resultId: 'r1', items: ['bad'] });
  pull = new DiagnosticPull({
    options: () => options,
    sources: () => open,
    ask: async ({ path }, method, params) => {
      asked.push([path, method, params]);
      return answer(path);
    },
    take: (params) => taken.push(params),
    onError: (error) => errors.push(error.message),
  });
});

/** Lets the time pass after which it asks, and the answers come. */
async function later() {
  mock.timers.tick(PULL_AFTER_MS);
  for (let turn = 0; turn < 10; turn++) await Promise.resolve();
}

test('lsp pull: many changes are one question, and the next one says what is known', async () => {
  options = { identifier: 'tidy' };
  pull.changed(open[0]);
  mock.timers.tick(PULL_AFTER_MS - 1);
  pull.changed(open[0]);
  mock.timers.tick(PULL_AFTER_MS - 1);
  assert.deepEqual(asked, []);
  await later();
  assert.deepEqual(asked, [['/p/a', 'textDocument/diagnostic', { identifier: 'tidy' }]]);
  assert.deepEqual(taken, [{ uri: 'file:///p/a', diagnostics: ['bad'] }]);
  answer = () => ({ kind: 'unchanged', resultId: 'r2' });
  pull.changed(open[0]);
  await later();
  assert.equal(asked[1][2].previousResultId, 'r1');
  assert.equal(taken.length, 1, 'what is unchanged stays');
  pull.changed(open[0]);
  await later();
  assert.equal(asked[2][2].previousResultId, 'r2');
});

test('lsp pull: nothing is asked of a server that does not offer it', async () => {
  options = null;
  pull.changed(open[0]);
  pull.all();
  await later();
  assert.deepEqual(asked, []);
});

test('lsp pull: where files depend on each other, all are asked about', async () => {
  options = { interFileDependencies: true };
  answer = (path) => ({
    kind: 'full',
    items: [path],
    relatedDocuments: path === '/p/a' ? { 'file:///p/h': { kind: 'full', items: ['h'] }, 'file:///p/i': null } : {},
  });
  pull.changed(open[1]);
  await later();
  assert.deepEqual(asked.map(([path]) => path), ['/p/a', '/p/b']);
  assert.deepEqual(
    taken.map(({ uri, diagnostics }) => [uri, ...diagnostics]).sort(),
    [['file:///p/a', '/p/a'], ['file:///p/b', '/p/b'], ['file:///p/h', 'h']],
  );
});

test('lsp pull: a closed text has no findings, not even late ones', async () => {
  pull.changed(open[0]);
  await later();
  const [closed] = open.splice(0, 1);
  pull.closed(closed.path);
  assert.deepEqual(taken.at(-1), { uri: 'file:///p/a', diagnostics: [] });
  pull.closed('/p/b');
  assert.equal(taken.length, 2, 'nothing was told of it');
  pull.changed(open[0]);
  answer = () => {
    open = [];
    return { kind: 'full', items: ['late'] };
  };
  await later();
  assert.equal(asked.length, 2);
  assert.equal(taken.length, 2);
});

test('lsp pull: a question that the server drops is asked again, but not for ever', async () => {
  answer = () => Promise.reject(new Dropped('busy'));
  pull.changed(open[0]);
  for (let round = 0; round < 6; round++) await later();
  assert.equal(asked.length, 3);
  assert.deepEqual(errors, []);
  answer = () => Promise.reject(new Error('broken'));
  pull.changed(open[0]);
  for (let round = 0; round < 3; round++) await later();
  assert.equal(asked.length, 4);
  assert.deepEqual(errors, ['broken']);
  pull.changed(open[0]);
  pull.end();
  await later();
  assert.equal(asked.length, 4);
});
