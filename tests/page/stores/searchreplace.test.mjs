import assert from 'node:assert/strict';
import { beforeEach, test } from 'node:test';
import { BridgeError } from '../../../web/bridge/api.js';
import { decodeBytes } from '../../../web/stores/encoding.js';
import { baseOf } from '../../../web/stores/saving.js';
import { hitsOfText } from '../../../web/stores/searchhits.js';
import { matchAll } from '../../../web/stores/searchmatch.js';
import { edited, replaceHits } from '../../../web/stores/searchreplace.js';

/** Files as they are on disk: text, encoding, and what goes on while they are looked at. */
let disk;
let open;
let written;
let native;
let nativeAnswer;
let search;
/** Runs while the matches are looked for. */
let meanwhile;

beforeEach(() => {
  disk = new Map();
  open = new Map();
  written = new Map();
  native = [];
  nativeAnswer = (paths) => ({ files: paths.length, replacements: 7, failed: [] });
  search = {
    query: 'foo',
    replacement: 'bar',
    options: { caseSensitive: false, wholeWord: false, regex: false },
  };
  meanwhile = () => {};
});

const put = (path, text, encoding = 'utf8', more = {}) =>
  disk.set(path, { text, encoding, size: text?.length ?? 0, modified: 100, ...more });

const openText = (path, text, more = {}) => {
  const one = { text: () => one.now, now: text, mark: false, readOnly: false, ...more };
  one.edit = (edits) => {
    one.now = edited(one.now, edits);
  };
  open.set(path, one);
  return one;
};

const ports = {
  open: (path) => open.get(path) ?? null,
  read: async (path) => {
    const file = disk.get(path);
    if (!file) throw new BridgeError(404, 'file/read', 'file not found');
    if (file.text === null) return { info: {}, text: null };
    const contents = file.encoding === 'utf8bom' ? `\ufeff${file.text}` : file.text;
    return { ...file, base: baseOf(contents, file.size, file.modified, 900000) };
  },
  files: {
    info: async (path) => disk.get(path) ?? null,
    contents: async (path) => disk.get(path).text,
    write: async (path, bytes) => written.set(path, bytes),
    create: () => assert.fail('nothing is made anew'),
    now: () => 900000,
  },
  match: async (text) => {
    const { query, replacement, options } = search;
    const matches = matchAll(text, query, options, { replacement });
    meanwhile();
    return matches;
  },
  replaceWhole: async (paths) => {
    native.push(...paths);
    return nativeAnswer(paths);
  },
};

const hitsIn = (path, text, mark = false) =>
  hitsOfText(path, text, matchAll(text, search.query, search.options), { mark });
const words = ({ failed }) => failed.map(({ path, words: why }) => `${path}: ${why}`);

test('searchreplace: edits are put in from front to back', () => {
  assert.equal(
    edited('abcdef', [
      { from: 0, to: 1, text: 'XX' },
      { from: 3, to: 3, text: '-' },
      { from: 5, to: 6, text: '' },
    ]),
    'XXbc-de',
  );
  assert.equal(edited('abc', []), 'abc');
});

test('searchreplace: an open text is changed in its editor, only where it was meant', async () => {
  const text = 'foo Foo\r\nfoo';
  const one = openText('p/a', text);
  const hits = hitsIn('p/a', text);
  const outcome = await replaceHits([{ path: 'p/a', hits: [hits[1]], whole: false }], ports);
  assert.equal(one.now, 'foo bar\r\nfoo');
  assert.deepEqual(outcome, { replaced: 1, written: [], unsaved: ['p/a'], failed: [] });
  await replaceHits([{ path: 'p/a', hits: hitsIn('p/a', one.now), whole: true }], ports);
  assert.equal(one.now, 'bar bar\r\nbar');
  assert.deepEqual([native, [...written.keys()]], [[], []], 'nothing is written behind its back');
});

test('searchreplace: a whole file goes to the native side, once its hits are still there', async () => {
  put('p/a', 'foo');
  put('p/b', 'fox');
  put('p/c', '\nfoo', 'utf8bom');
  const hits = (path, text, mark) => ({ path, hits: hitsIn(path, text, mark), whole: true });
  const outcome = await replaceHits(
    [hits('p/a', 'foo'), hits('p/b', 'foo'), hits('p/c', '\nfoo', true)],
    ports,
  );
  assert.deepEqual(native, ['p/a', 'p/c']);
  assert.deepEqual([outcome.replaced, outcome.written], [7, ['p/a', 'p/c']]);
  assert.deepEqual(words(outcome), ['p/b: it is no longer as it was when it was searched']);
});

test('searchreplace: what the native side could not do is told', async () => {
  put('p/a', 'foo');
  put('p/b', 'foo');
  const files = ['p/a', 'p/b'].map((path) => ({ path, hits: hitsIn(path, 'foo'), whole: true }));
  nativeAnswer = () => ({ files: 1, replacements: 1, failed: ['p/b'] });
  const outcome = await replaceHits(files, ports);
  assert.deepEqual([outcome.written, words(outcome)], [['p/a'], ['p/b: it could not be read or written']]);
  nativeAnswer = () => Promise.reject(new BridgeError(400, 'search/replace', 'invalid pattern: x'));
  const refused = await replaceHits(files, ports);
  assert.deepEqual(
    [refused.written, words(refused)],
    [[], ['p/a: invalid pattern: x', 'p/b: invalid pattern: x']],
  );
});

test('searchreplace: single matches of a file that is not open keep its encoding and line ends', async () => {
  put('p/a', 'foo é\r\nfoo\rfoo', 'windows1252');
  put('p/b', 'foo foo', 'utf8bom');
  const [first, second, third] = hitsIn('p/a', 'foo é\r\nfoo\rfoo');
  const outcome = await replaceHits(
    [
      { path: 'p/a', hits: [second, third], whole: false },
      { path: 'p/b', hits: hitsIn('p/b', 'foo foo', true).slice(1), whole: false },
    ],
    ports,
  );
  assert.deepEqual([outcome.replaced, outcome.written, native], [3, ['p/a', 'p/b'], []]);
  assert.deepEqual(decodeBytes(written.get('p/a')), { encoding: 'windows1252', text: 'foo é\r\nbar\rbar' });
  assert.deepEqual(decodeBytes(written.get('p/b')), { encoding: 'utf8bom', text: 'foo bar' });
  assert.ok(first);
});

test('searchreplace: a whole file that is not UTF-8 is written here, since the native side would change it', async () => {
  put('p/a', 'foo é foo', 'windows1252');
  const whole = [{ path: 'p/a', hits: hitsIn('p/a', 'foo é foo'), whole: true }];
  await replaceHits(whole, ports);
  assert.deepEqual(native, []);
  assert.deepEqual(decodeBytes(written.get('p/a')), { encoding: 'windows1252', text: 'bar é bar' });
  written.clear();
  search.replacement = '漢';
  assert.deepEqual(words(await replaceHits(whole, ports)), [
    'p/a: its encoding, Windows-1252, has no place for the new text',
  ]);
  assert.equal(written.size, 0);
});

test('searchreplace: groups come from the whole text, also across lines', async () => {
  search = { query: '(f)oo\\n(.)', replacement: '$2$1', options: { ...search.options, regex: true } };
  put('p/a', 'foo\nx');
  await replaceHits([{ path: 'p/a', hits: hitsIn('p/a', 'foo\nx'), whole: false }], ports);
  assert.equal(decodeBytes(written.get('p/a')).text, 'xf');
});

test('searchreplace: a match that is another by now, or a new text that is no text, is left alone', async () => {
  search = { query: 'fo+', replacement: 'x', options: { ...search.options, regex: true } };
  const hits = hitsIn('p/a', 'foo');
  const one = openText('p/a', 'fooo');
  const whole = (list) => [{ path: 'p/a', hits: list, whole: false }];
  assert.deepEqual(words(await replaceHits(whole(hits), ports)), [
    'p/a: it is no longer as it was when it was searched',
  ]);
  search = { ...search, query: '(.).', replacement: '$1' };
  one.now = 'ä';
  assert.deepEqual(words(await replaceHits(whole(hitsIn('p/a', 'ä')), ports)), [
    'p/a: the new text would cut a character in two',
  ]);
  assert.equal(one.now, 'ä');
});

test('searchreplace: nothing is written over a text that changed meanwhile', async () => {
  const hits = hitsIn('p/a', 'foo');
  const single = [{ path: 'p/a', hits, whole: false }];
  put('p/a', 'foo');
  meanwhile = () => put('p/a', 'fooo');
  assert.deepEqual(words(await replaceHits(single, ports)), ['p/a: it changed on disk meanwhile']);
  put('p/a', 'foo');
  meanwhile = () => disk.delete('p/a');
  assert.deepEqual(words(await replaceHits(single, ports)), ['p/a: it is no longer there']);
  assert.deepEqual(words(await replaceHits(single, ports)), ['p/a: file not found']);
  const one = openText('p/a', 'foo');
  meanwhile = () => {
    one.now = 'foo!';
  };
  assert.deepEqual(words(await replaceHits(single, ports)), ['p/a: it was edited meanwhile']);
  assert.equal(one.now, 'foo!');
  assert.equal(written.size, 0);
  meanwhile = () => put('p/b', 'foo', 'utf8', { modified: 101 }); // touched, with the same text
  put('p/b', 'foo');
  await replaceHits([{ path: 'p/b', hits: hitsIn('p/b', 'foo'), whole: false }], ports);
  assert.equal(decodeBytes(written.get('p/b')).text, 'bar');
});

test('searchreplace: what cannot be edited is left alone, and says so', async () => {
  openText('p/a', 'foo', { readOnly: true });
  put('p/b', null);
  put('p/c', 'foo', 'utf8', { truncated: true });
  const outcome = await replaceHits(
    ['p/a', 'p/b', 'p/c'].map((path) => ({ path, hits: hitsIn(path, 'foo'), whole: true })),
    ports,
  );
  assert.deepEqual(words(outcome), [
    'p/a: it cannot be edited',
    'p/b: it is no text',
    'p/c: it is too large to be changed here',
  ]);
  assert.deepEqual(native, []);
});
