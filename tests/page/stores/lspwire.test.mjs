// Values of the language server protocol: addresses, places, edits, patterns, and what is no such value.
import assert from 'node:assert/strict';
import { test } from 'node:test';
import { ServerAbilities } from '../../../web/stores/lspcapabilities.js';
import { globExpression, watchedChanges } from '../../../web/stores/lspwatch.js';
import {
  editsFrom,
  locationsFrom,
  pathOfUri,
  protocolLanguage,
  rangeFrom,
  uriOf,
} from '../../../web/stores/lspwire.js';

const range = (line, from, to = from) => ({ start: { line, character: from }, end: { line, character: to } });

test('lsp wire: a path comes back from its address, however it is written', () => {
  for (const path of ['/a/b.c', '/my files/100%.c', '/ü/#?.c', '/a:b/[x].ts', '/']) {
    assert.equal(pathOfUri(uriOf(path)), path);
  }
  assert.equal(uriOf('/a b/c:d'), 'file:///a%20b/c%3Ad');
  assert.equal(pathOfUri('file:///a:b/c'), '/a:b/c');
  assert.equal(pathOfUri('file://localhost/a'), '/a');
  assert.equal(pathOfUri('FILE:///a'), '/a');
  assert.equal(pathOfUri('file:///a%ZZ'), '/a%ZZ');
  for (const odd of ['jdt://x/y', 'file:a', '', null, 5, 'untitled:1']) assert.equal(pathOfUri(odd), '');
});

test('lsp wire: ranges and edits that make no sense are left out', () => {
  assert.deepEqual(rangeFrom(range(1, 2, 3)), range(1, 2, 3));
  for (const odd of [null, {}, { start: { line: 1 } }, { ...range(1, 1), end: { line: -1, character: 0 } }, 'x'])
    assert.equal(rangeFrom(odd), null);
  assert.equal(rangeFrom({ start: { line: 1.5, character: 0 }, end: { line: 2, character: 0 } }), null);
  assert.deepEqual(editsFrom([{ range: range(0, 1), newText: 'x' }, { newText: 'y' }, null]), [
    { range: range(0, 1), newText: 'x' },
  ]);
  assert.deepEqual(editsFrom({}), []);
});

test('lsp wire: one place, a list of places, and links', () => {
  const one = { uri: 'file:///a', range: range(1, 1) };
  const link = { targetUri: 'file:///b', targetRange: range(0, 0), targetSelectionRange: range(2, 2) };
  assert.deepEqual(locationsFrom(one), [one]);
  assert.deepEqual(locationsFrom([one, link, null, { uri: 'jdt://x', range: range(1, 1) }]), [
    one,
    { uri: 'file:///b', range: range(2, 2) },
  ]);
  assert.deepEqual(locationsFrom({ targetUri: 'file:///b', targetRange: range(0, 0) }).length, 1);
  assert.deepEqual(locationsFrom(null), []);
});

test('lsp wire: languages go by the names of the protocol', () => {
  assert.equal(protocolLanguage('shell'), 'shellscript');
  assert.equal(protocolLanguage('pgsql'), 'sql');
  assert.equal(protocolLanguage('cpp'), 'cpp');
});

test('lsp watch: patterns fit paths as servers mean them', () => {
  /** @type {[string, string, boolean][]} */
  const cases = [
    ['**/*.py', '/p/a.py', true],
    ['**/*.py', '/p/deep/er/a.py', true],
    ['**/*.py', '/p/a.pyc', false],
    ['**/*.{ts,js}', '/p/a.js', true],
    ['**/{a,b}/*.{ts,js}', '/p/b/x.ts', true],
    ['**/{a,b}/*.{ts,js}', '/p/c/x.ts', false],
    ['/p/*', '/p/a', true],
    ['/p/*', '/p/a/b', false],
    ['/p/?.c', '/p/ab.c', false],
    ['/p/[a-c].c', '/p/b.c', true],
    ['/p/[!a-c].c', '/p/b.c', false],
    ['/p/[!a-c].c', '/p/x.c', true],
    ['/p/a.b', '/p/axb', false],
    ['/p/**', '/p/a/b/c', true],
    ['/p/[', '/p/[', true],
    ['/p/[z-a]', '/p/b', false],
  ];
  for (const [pattern, path, fits] of cases)
    assert.equal(globExpression(pattern).test(path), fits, `${pattern} on ${path}`);
});

test('lsp watch: only changes that were asked for, also below a folder', () => {
  const options = [
    { watchers: [{ globPattern: '**/*.py' }, { globPattern: { baseUri: 'file:///q', pattern: '*.toml' } }] },
    { watchers: [{ globPattern: { baseUri: { uri: 'file:///r/' }, pattern: '**' } }, null] },
    {},
  ];
  const paths = ['/p/a.py', '/p/a.c', '/q/x.toml', '/q/deep/x.toml', '/r/any', '/rest/any', ''];
  assert.deepEqual(watchedChanges(options, paths), [
    { uri: 'file:///p/a.py', type: 2 },
    { uri: 'file:///q/x.toml', type: 2 },
    { uri: 'file:///r/any', type: 2 },
  ]);
  assert.deepEqual(watchedChanges([], paths), []);
});

test('lsp abilities: what was said at the start, registered later, and taken back', () => {
  const abilities = new ServerAbilities({
    hoverProvider: true,
    renameProvider: { prepareProvider: true },
    completionProvider: false,
    executeCommandProvider: { commands: ['a'] },
    textDocumentSync: 1,
  });
  assert.deepEqual(abilities.options('textDocument/hover'), {});
  assert.deepEqual(abilities.options('textDocument/rename'), { prepareProvider: true });
  assert.equal(abilities.options('textDocument/completion'), null);
  assert.equal(abilities.options('textDocument/unheardOf'), null);
  assert.deepEqual(abilities.commands, ['a']);
  assert.equal(abilities.sync, 1);
  const registrations = [
    { id: '1', method: 'textDocument/completion', registerOptions: { triggerCharacters: ['.'] } },
    { id: '2', method: 'workspace/executeCommand', registerOptions: { commands: ['b'] } },
    { id: '3', method: 'textDocument/didChange', registerOptions: { syncKind: 2 } },
    { id: '4', method: 'textDocument/didSave', registerOptions: { includeText: true } },
    null,
  ];
  abilities.register({ registrations });
  assert.deepEqual(abilities.options('textDocument/completion'), { triggerCharacters: ['.'] });
  assert.deepEqual(abilities.commands, ['a', 'b']);
  assert.deepEqual(abilities.sync, { change: 2, openClose: true, save: { includeText: true } });
  abilities.unregister({ unregisterations: [{ id: '1', method: 'textDocument/completion' }] });
  assert.equal(abilities.options('textDocument/completion'), null);
  assert.doesNotThrow(() => new ServerAbilities(null).register(null));
});
