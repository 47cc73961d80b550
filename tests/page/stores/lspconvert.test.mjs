// Values of language servers as the text editor takes them.
import assert from 'node:assert/strict';
import { test } from 'node:test';
import {
  allWords,
  completionOf,
  editOperations,
  fromRange,
  markerOf,
  symbolsOf,
  toRange,
  words,
} from '../../../web/editor/lspconvert.js';

/** The names that conversions look up, each standing for itself. */
const names = new Proxy({}, { get: (_, name) => name });
const monaco = {
  languages: { CompletionItemKind: names, CompletionItemInsertTextRule: names, CompletionItemTag: names },
  MarkerSeverity: names,
  MarkerTag: names,
  Uri: { parse: (text) => `uri ${text}` },
};
const range = (line, from, to = from) => ({ start: { line, character: from }, end: { line, character: to } });
const place = (line, from, to = from) => ({
  startLineNumber: line,
  startColumn: from,
  endLineNumber: line,
  endColumn: to,
});
const fallback = { insert: place(3, 1, 4), replace: place(3, 1, 6) };
const proposal = (item, defaults = {}) => completionOf(monaco, item, defaults, fallback);

test('lsp values: lines and columns count from 1 here', () => {
  assert.deepEqual(fromRange(range(0, 0, 5)), place(1, 1, 6));
  assert.deepEqual(toRange(place(1, 1, 6)), range(0, 0, 5));
});

test('lsp values: a proposal with the least it can have', () => {
  const item = proposal({ label: 'fish' });
  assert.deepEqual([item.label, item.insertText, item.kind, item.range], ['fish', 'fish', 'Text', fallback]);
  assert.equal(item.insertTextRules, undefined);
});

test('lsp values: a proposal with all it can have', () => {
  const item = proposal({
    label: 'fish',
    labelDetails: { detail: '(int)', description: 'sea.h' },
    kind: 3,
    tags: [1],
    detail: 'void',
    documentation: { kind: 'markdown', value: '**Swims**' },
    insertText: 'unused',
    insertTextFormat: 2,
    textEdit: { range: range(2, 0, 3), newText: 'fish(${1})' },
    additionalTextEdits: [{ range: range(0, 0), newText: '#include\n' }],
    commitCharacters: ['(', 'too long'],
  });
  assert.deepEqual(item.label, { label: 'fish', detail: '(int)', description: 'sea.h' });
  assert.deepEqual([item.kind, item.tags, item.insertText], ['Function', ['Deprecated'], 'fish(${1})']);
  assert.equal(item.insertTextRules, 'InsertAsSnippet');
  assert.deepEqual(item.range, { insert: place(3, 1, 4), replace: place(3, 1, 4) });
  assert.deepEqual(item.additionalTextEdits, [{ range: place(1, 1), text: '#include\n' }]);
  assert.deepEqual(item.commitCharacters, ['(']);
});

test('lsp values: where a proposal goes: two ranges, the list\'s own, or the word when it makes no sense', () => {
  const two = { insert: range(2, 0, 3), replace: range(2, 0, 5), newText: 'x' };
  assert.deepEqual(proposal({ label: 'x', textEdit: two }).range, {
    insert: place(3, 1, 4),
    replace: place(3, 1, 6),
  });
  const item = proposal({ label: 'x', textEditText: 'y' }, { editRange: range(2, 1, 3), insertTextFormat: 2 });
  assert.deepEqual([item.insertText, item.range.insert], ['y', place(3, 2, 4)]);
  assert.equal(item.insertTextRules, 'InsertAsSnippet');
  assert.equal(proposal({ label: 'x', textEditText: 'y', insertText: 'z' }).insertText, 'z');
  const empty = proposal({ label: 'x', textEdit: { range: range(2, 0, 3), newText: '' } });
  assert.equal(empty.insertText, '', 'an edit that takes away is meant');
  for (const textEdit of [{ range: range(1, 0, 3), newText: '' }, { newText: '' }, 'x'])
    assert.deepEqual(proposal({ label: 'x', textEdit }).range, fallback);
});

test('lsp values: words as Markdown, plain ones as they stand', () => {
  assert.deepEqual(words('a *b*'), { value: 'a *b*' });
  assert.deepEqual(words({ kind: 'markdown', value: '*b*' }), { value: '*b*' });
  assert.deepEqual(words({ kind: 'plaintext', value: '  *b*\n<c>' }), { value: '\\*b\\*  \n\\<c\\>' });
  assert.deepEqual(words({ language: 'c', value: 'int a;' }), { value: '```c\nint a;\n```' });
  assert.deepEqual(words({ language: 'c', value: '````' }), { value: '`````c\n````\n`````' });
  for (const nothing of ['', null, {}, { kind: 'markdown', value: '' }]) assert.equal(words(nothing), undefined);
  assert.deepEqual(allWords(['a', '', { language: 'c', value: 'b' }]).length, 2);
  assert.deepEqual(allWords('a'), [{ value: 'a' }]);
});

test('lsp values: symbols as a tree, and those of older days as a list', () => {
  const tree = [
    {
      name: 'C',
      kind: 5,
      tags: [1, 9],
      range: range(0, 0, 9),
      selectionRange: range(0, 2, 3),
      children: [{ name: '', kind: 6, range: range(0, 4, 5) }, { name: 'lost' }],
    },
  ];
  const [top] = symbolsOf(tree);
  assert.deepEqual([top.name, top.kind, top.tags, top.range, top.selectionRange], ['C', 4, [1], place(1, 1, 10), place(1, 3, 4)]);
  assert.deepEqual(top.children.map(({ name, kind }) => [name, kind]), [['(no name)', 5]]);
  const [old] = symbolsOf([{ name: 'f', kind: 12, containerName: 'C', location: { uri: 'file:///a', range: range(1, 0) } }]);
  assert.deepEqual([old.name, old.containerName, old.range, old.kind], ['f', 'C', place(2, 1), 11]);
  assert.deepEqual(symbolsOf(null), []);
  assert.equal(symbolsOf([{ name: 'odd', kind: 999, range: range(0, 0) }])[0].kind, 25);
});

test('lsp values: a finding as a mark', () => {
  const problem = {
    range: range(0, 1, 2),
    severity: 'hint',
    message: 'm',
    source: '',
    code: 'E1',
    link: 'https://example.invalid',
    unused: true,
    deprecated: false,
    related: [{ path: '/b', range: range(1, 1), message: 'there' }],
  };
  const mark = markerOf(monaco, problem, (path) => `address of ${path}`);
  assert.deepEqual([mark.severity, mark.startColumn, mark.tags], ['Hint', 2, ['Unnecessary']]);
  assert.deepEqual(mark.code, { value: 'E1', target: 'uri https://example.invalid' });
  assert.equal(mark.relatedInformation[0].resource, 'address of /b');
  assert.equal(markerOf(monaco, { ...problem, link: '' }, String).code, 'E1');
});

test('lsp values: edits', () => {
  assert.deepEqual(editOperations([{ range: range(0, 0), newText: 'x' }, {}, null]), [
    { range: place(1, 1), text: 'x' },
  ]);
  assert.deepEqual(editOperations(null), []);
});
