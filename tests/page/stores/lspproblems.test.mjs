// Findings of language servers: what is kept of them, how they are counted, and the way from one to the next.
import assert from 'node:assert/strict';
import { beforeEach, test } from 'node:test';
import {
  counts,
  forgetProblems,
  nextProblem,
  onProblems,
  problems,
  problemsOf,
  takeDiagnostics,
} from '../../../web/stores/lspproblems.js';

const range = (line, from, to = from + 1) => ({ start: { line, character: from }, end: { line, character: to } });
const finding = (line, from, severity = 1, more = {}) => ({
  range: range(line, from),
  severity,
  message: `${line}:${from}`,
  ...more,
});
const take = (server, uri, ...diagnostics) => takeDiagnostics(server, { uri, diagnostics });

beforeEach(() => ['s', 't'].forEach(forgetProblems));

test('lsp problems: file by file and line by line, of all servers, and counted', () => {
  take('s', 'file:///b', finding(5, 0), finding(1, 4, 2), finding(1, 2, 4));
  take('t', 'file:///a', finding(3, 0, 3));
  take('t', 'file:///b', finding(2, 0));
  assert.deepEqual(
    problems.value.map(({ path, message }) => `${path} ${message}`),
    ['/a 3:0', '/b 1:2', '/b 1:4', '/b 2:0', '/b 5:0'],
  );
  assert.deepEqual(counts.value, { error: 2, warning: 1, info: 1, hint: 1 });
  take('s', 'file:///b');
  assert.deepEqual(problemsOf('/b').map(({ server }) => server), ['t']);
  forgetProblems('t');
  assert.deepEqual(problems.value, []);
});

test('lsp problems: who shows a file hears of its findings alone', () => {
  const heard = [];
  const stop = onProblems((path) => heard.push(path));
  take('s', 'file:///a', finding(1, 1));
  take('t', 'file:///b', finding(1, 1));
  forgetProblems('s');
  stop();
  take('s', 'file:///a', finding(1, 1));
  assert.deepEqual(heard, ['/a', '/b', '/a']);
});

test('lsp problems: all that servers say of a finding is kept', () => {
  const raw = finding(1, 1, 2, {
    source: 'clang',
    code: 42,
    codeDescription: { href: 'https://example.invalid/42' },
    tags: [1, 2],
    relatedInformation: [{ location: { uri: 'file:///c', range: range(0, 0) }, message: 'here' }, null],
  });
  take('s', 'file:///a', raw);
  const [{ raw: kept, ...one }] = problems.value;
  assert.deepEqual(one, {
    server: 's',
    path: '/a',
    range: range(1, 1),
    severity: 'warning',
    message: '1:1',
    source: 'clang',
    code: '42',
    link: 'https://example.invalid/42',
    unused: true,
    deprecated: true,
    related: [{ path: '/c', range: range(0, 0), message: 'here' }],
  });
  assert.deepEqual(kept, raw);
});

test('lsp problems: what makes no sense is left out, and without a severity it is an error', () => {
  take('s', 'file:///a', null, 5, { message: 'nowhere' }, { range: range(0, 0) }, finding(1, 1, 99));
  assert.deepEqual(problems.value.map(({ severity, message }) => [severity, message]), [
    ['error', ''],
    ['error', '1:1'],
  ]);
  take('s', 'jdt://x', finding(1, 1));
  takeDiagnostics('s', null);
  takeDiagnostics('s', { uri: 'file:///a', diagnostics: 'none' });
  assert.deepEqual(problems.value, []);
});

test('lsp problems: the next one and the one before, in a ring over files, past hints', () => {
  take('s', 'file:///a', finding(1, 0), finding(4, 0, 4), finding(7, 3));
  take('s', 'file:///c', finding(2, 0));
  const list = problems.value;
  const name = (problem) => problem && `${problem.path} ${problem.message}`;
  /** @type {[any, 1 | -1, string | null][]} */
  const cases = [
    [{ path: '/a', line: 0, character: 0 }, 1, '/a 1:0'],
    [{ path: '/a', line: 1, character: 0 }, 1, '/a 7:3'],
    [{ path: '/a', line: 7, character: 3 }, 1, '/c 2:0'],
    [{ path: '/b', line: 9, character: 9 }, 1, '/c 2:0'],
    [{ path: '/c', line: 2, character: 0 }, 1, '/a 1:0'],
    [{ path: '/a', line: 7, character: 3 }, -1, '/a 1:0'],
    [{ path: '/a', line: 7, character: 4 }, -1, '/a 7:3'],
    [{ path: '/a', line: 1, character: 0 }, -1, '/c 2:0'],
    [{ path: '/b', line: 0, character: 0 }, -1, '/a 7:3'],
    [null, 1, '/a 1:0'],
    [null, -1, '/c 2:0'],
  ];
  for (const [at, step, wanted] of cases) assert.equal(name(nextProblem(list, at, step)), wanted);
  assert.equal(nextProblem([], null, 1), null);
});
