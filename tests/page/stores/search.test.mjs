import assert from 'node:assert/strict';
import { beforeEach, test } from 'node:test';
import { receive } from '../../../web/bridge/events.js';
import { hitsOfText } from '../../../web/stores/searchhits.js';
import { expandInLines, matchAll } from '../../../web/stores/searchmatch.js';
import * as search from '../../../web/stores/search.js';
import { utf8Length } from '../../../web/stores/encoding.js';
import { deferred, startBridge, until } from '../support/bridge.mjs';

/** Files on disk, searched as the native side would. */
let disk;
/** Holds the answers to searches back. */
let gate = null;
let failure = null;

const bridge = await startBridge(async ({ route, query, body }) => {
  if (route === 'search/text') {
    await gate?.promise;
    return failure ?? { body: { ok: true, error: '', results: nativeHits(query) } };
  }
  if (route === 'search/replace') return { body: replaceOnDisk(JSON.parse(body)) };
  if (route === 'file/read') return readFile(query.get('path'));
  return { body: { ok: true } };
});

function nativeHits(query) {
  const ext = query.get('ext').split(',').filter(Boolean);
  const options = {
    caseSensitive: query.get('case') === '1',
    wholeWord: query.get('word') === '1',
    regex: query.get('regex') === '1',
  };
  const hits = [...disk].flatMap(([path, text]) => {
    if (ext.length && !ext.includes(path.split('.').at(-1))) return [];
    return hitsOfText(path, text, matchAll(text, query.get('q'), options));
  });
  return hits
    .slice(0, 500)
    .map((hit) => ({ ...hit, matchColumn: utf8Length(hit.text.slice(0, hit.from)) + 1 }));
}

function readFile(path) {
  const contents = disk.get(path);
  if (contents === undefined) return { status: 404, body: { ok: false, error: 'file not found' } };
  return {
    body: {
      ok: true,
      path,
      name: path,
      exists: true,
      directory: false,
      size: utf8Length(contents),
      modified: 1,
      kind: 'text',
      binary: false,
      contents,
    },
  };
}

function replaceOnDisk({ query, replacement, paths }) {
  for (const path of paths) disk.set(path, disk.get(path).replaceAll(query, replacement));
  return { ok: true, files: paths.length, replacements: paths.length, failed: [] };
}

let texts = [];
const asOpen = (id, text, more = {}) => ({
  id,
  name: id.split('/').at(-1),
  dirty: true,
  mark: false,
  readOnly: false,
  text: () => text,
  edit: () => {},
  ...more,
});
/** How texts are matched; a test may let it fail. */
let match = async (list, { query, options, replacement, limit }) =>
  list.map((text) => matchAll(text, query, options, { replacement, limit }));
const realMatch = match;

search.startSearching({
  openTexts: () => texts,
  match: (...args) => match(...args),
  expand: async (lines, { query, options, replacement }) => expandInLines(lines, query, options, replacement),
});

const fresh = {
  query: '',
  replacement: '',
  caseSensitive: false,
  wholeWord: false,
  regex: false,
  extensions: '',
  include: '',
  exclude: '',
  asTree: false,
  replacing: false,
};

beforeEach(() => {
  disk = new Map([
    ['p/a.js', 'one foo\ntwo Foo\n'],
    ['p/b.md', 'foo'],
  ]);
  texts = [];
  gate = null;
  failure = null;
  match = realMatch;
  search.clearResults();
  search.setOptions(fresh);
  bridge.asked.length = 0;
});

const shape = () =>
  search.results.value.map(({ path, hits }) => `${path} ${hits.map(({ line }) => line).join()}`);
const searches = () => bridge.asked.filter(({ route }) => route === 'search/text');

async function look(options) {
  search.setOptions(options);
  await search.search();
}

test('search: every option reaches the native side, and its hits come by file', async () => {
  await look({ query: 'foo' });
  assert.deepEqual(shape(), ['p/a.js 1,2', 'p/b.md 1']);
  assert.deepEqual(search.counts.value, { hits: 3, files: 2, left: 0, stale: 0 });
  await look({ caseSensitive: true, wholeWord: true, extensions: 'js' });
  assert.deepEqual(shape(), ['p/a.js 1']);
  assert.equal(searches().at(-1).query.toString(), 'q=foo&case=1&word=1&regex=&ext=js');
});

test('search: keys that are quiet for a while start it, once', async () => {
  search.setOptions({ query: 'f' }, { soon: true });
  search.setOptions({ query: 'fo' }, { soon: true });
  assert.equal(searches().length, 0);
  await until(() => search.state.value.asked?.query === 'fo');
  assert.equal(searches().length, 1);
});

test('search: an empty query clears the results and asks nobody', async () => {
  await look({ query: 'foo' });
  await look({ query: '' });
  assert.deepEqual([shape(), search.state.value.asked], [[], null]);
  assert.equal(searches().length, 1);
});

test('search: results stay while the next search runs, which gives the former one up', async () => {
  await look({ query: 'two' });
  gate = deferred();
  const held = gate;
  search.setOptions({ query: 'foo' });
  const first = search.search();
  assert.equal(search.state.value.running, true);
  assert.deepEqual(shape(), ['p/a.js 2']);
  await until(() => searches().length === 2);
  search.setOptions({ query: 'one' });
  gate = null;
  await search.search();
  assert.deepEqual(shape(), ['p/a.js 1']);
  held.resolve();
  await first;
  assert.deepEqual(shape(), ['p/a.js 1'], 'a late answer is not taken');
  assert.equal(search.state.value.running, false);
});

test('search: texts that are matched too late are not taken either', async () => {
  texts = [asOpen('p/a.js', 'foo')];
  const late = deferred();
  const begun = deferred();
  match = () => {
    begun.resolve();
    return late.promise;
  };
  search.setOptions({ query: 'foo' });
  const first = search.search();
  await begun.promise;
  match = realMatch;
  await look({ query: 'nothing' });
  late.resolve([[{ from: 0, to: 3, replacement: '' }]]);
  await first;
  assert.deepEqual(shape(), []);
});

test('search: the words of a refused pattern stand as they are, and so do those of a failure', async () => {
  failure = { body: { ok: false, error: 'invalid pattern: x', results: [] } };
  texts = [asOpen('p/a.js', 'foo')];
  await look({ query: '(', regex: true });
  assert.deepEqual([search.state.value.error, shape()], ['invalid pattern: x', []]);
  assert.deepEqual(search.state.value.notes, [], 'nobody else is asked then');
  failure = { status: 500, body: { ok: false, error: 'no way' } };
  await look({ query: 'foo', regex: false });
  assert.deepEqual([search.state.value.error, search.state.value.running], ['no way', false]);
});

test('search: unsaved texts are searched instead of their files, untitled pages as well', async () => {
  texts = [
    asOpen('p/a.js', 'foo'),
    asOpen('p/b.md', 'nothing'),
    asOpen('untitled:1', 'a\nfoo'),
    asOpen('p/c.js', 'foo', { dirty: false }),
  ];
  await look({ query: 'foo' });
  assert.deepEqual(shape(), ['p/a.js 1', 'untitled:1 2']);
  await look({ extensions: '.JS' });
  assert.deepEqual(shape(), ['p/a.js 1'], 'an untitled page has no extension');
});

test('search: a text that cannot be searched here keeps the hits of its file, and that is said', async () => {
  texts = [asOpen('p/a.js', 'foo')];
  match = async () => Promise.reject(new Error('the pattern takes too long'));
  await look({ query: 'foo' });
  assert.deepEqual(shape(), ['p/a.js 1,2', 'p/b.md 1']);
  assert.deepEqual(search.state.value.notes, [
    'Unsaved changes were not searched (a.js): the pattern takes too long',
  ]);
});

test('search: an answer with as many hits as there can be is cut', async () => {
  disk.set('p/many', 'foo\n'.repeat(497));
  await look({ query: 'foo' });
  assert.deepEqual([search.state.value.cut, search.counts.value.hits], [true, 500]);
  disk.set('p/many', 'foo\n'.repeat(496));
  await search.search();
  assert.equal(search.state.value.cut, false);
});

test('search: filters work on the answer, without another search', async () => {
  await look({ query: 'foo' });
  search.setOptions({ include: '*.md' });
  assert.deepEqual([shape(), search.counts.value.left], [['p/b.md 1'], 2]);
  search.setOptions({ include: '', exclude: '*.md' });
  assert.deepEqual(shape(), ['p/a.js 1,2']);
  assert.equal(searches().length, 1);
  search.dismiss(search.results.value[0].hits.slice(0, 1));
  assert.deepEqual(shape(), ['p/a.js 2']);
  await search.search();
  assert.deepEqual(shape(), ['p/a.js 1,2'], 'a new search brings back what was dismissed');
});

test('search: hits follow the edits of open texts, and what a closed one did not save', async () => {
  await look({ query: 'foo' });
  texts = [asOpen('p/a.js', 'x\nx\nfoo')];
  search.textEdited('p/a.js');
  await until(() => shape()[0] === 'p/a.js 3');
  texts = [asOpen('p/b.md', '')];
  search.textEdited('p/b.md');
  await until(() => shape().length === 1);
  texts = [];
  search.textClosed('p/a.js');
  search.textClosed('p/b.md');
  await until(() => shape().join() === 'p/a.js 1,2,p/b.md 1');
});

test('search: hits follow files that change on disk; of very many it is only said', async () => {
  await look({ query: 'foo' });
  disk.set('p/a.js', 'none');
  receive(JSON.stringify({ type: 'fs.changed', paths: ['p/a.js'], count: 1 }));
  await until(() => shape().join() === 'p/b.md 1');
  disk.delete('p/b.md');
  receive(JSON.stringify({ type: 'fs.changed', paths: ['p'], count: 1 }));
  await until(() => shape().length === 0);
  disk = new Map([['p/a.js', 'foo']]);
  await search.search();
  const reads = () => bridge.asked.filter(({ route }) => route === 'file/read').length;
  const before = reads();
  receive(JSON.stringify({ type: 'fs.changed', paths: ['p/else'], count: 201 }));
  assert.deepEqual([search.counts.value.stale, reads()], [1, before]);
  await search.search();
  assert.equal(search.counts.value.stale, 0);
});

test('search: what hits become is worked out while a replacement is shown', async () => {
  await look({ query: '(f)oo', regex: true });
  assert.equal(search.previews.value.size, 0);
  search.setOptions({ replacing: true, replacement: '<$1>' });
  await until(() => search.previews.value.size === 3);
  assert.deepEqual([...search.previews.value.values()], ['<f>', '<F>', '<f>']);
  search.setOptions({ replacement: '' });
  await until(() => [...search.previews.value.values()].join() === ',,');
});

test('search: what was replaced is searched again', async () => {
  await look({ query: 'foo', caseSensitive: true, replacing: true, replacement: 'bar' });
  const [a, b] = search.results.value;
  const outcome = await search.replace([{ path: a.path, hits: a.hits, whole: true }]);
  assert.deepEqual([outcome.written, outcome.failed], [['p/a.js'], []]);
  assert.deepEqual(JSON.parse(bridge.asked.find(({ route }) => route === 'search/replace').body), {
    query: 'foo',
    replacement: 'bar',
    case: true,
    word: false,
    regex: false,
    paths: ['p/a.js'],
  });
  assert.deepEqual(shape(), ['p/b.md 1']);
  assert.ok(b);
});

test('search: what was meant is kept, each query once', () => {
  for (const query of ['a', 'b', 'b', 'a', '']) {
    search.setOptions({ query });
    search.rememberQuery();
  }
  assert.deepEqual(search.queries.value, ['b', 'a']);
});

test('search: one box gets the hits of files and unsaved texts in one list', async () => {
  texts = [asOpen('p/b.md', 'FOO FOO')];
  const { hits, cut } = await search.findText('foo', new AbortController().signal);
  assert.deepEqual(
    hits.map(({ path, column }) => `${path} ${column}`),
    ['p/a.js 5', 'p/a.js 5', 'p/b.md 1', 'p/b.md 5'],
  );
  assert.equal(cut, false);
});
