import assert from 'node:assert/strict';
import { beforeEach, test } from 'node:test';
import { receive } from '../../../web/bridge/events.js';
import * as quickopen from '../../../web/stores/quickopen.js';
import { needles, rankPaths, splitGoal, wordsOf } from '../../../web/stores/quickopenrank.js';
import { config } from '../../../web/stores/settings.js';
import { startBridge, until } from '../support/bridge.mjs';

let files = [];
const bridge = await startBridge(({ route, query }) => {
  if (route === 'search/files') {
    const q = query.get('q').replace(/[A-Z]/g, (letter) => letter.toLowerCase());
    const lower = (path) => path.replace(/[A-Z]/g, (letter) => letter.toLowerCase());
    const results = files.filter((path) => lower(path).includes(q)).slice(0, 200);
    return { body: { ok: true, results: results.map((path) => ({ path, name: path.split('/').at(-1) })) } };
  }
  if (route === 'file/info') {
    const there = files.includes(query.get('path'));
    return there
      ? { body: { path: query.get('path') } }
      : { status: 404, body: { ok: false, error: 'file not found' } };
  }
  return { body: { ok: true } };
});

const asked = () =>
  bridge.asked.filter(({ route }) => route === 'search/files').map(({ query }) => query.get('q'));
const changed = (paths) => receive(JSON.stringify({ type: 'fs.changed', paths, count: paths.length }));
const ranked = (paths, text) => rankPaths(paths, wordsOf(text)).map(({ path }) => path);
const found = async (text) => (await quickopen.findFiles(text)).files.map(({ path }) => path);

beforeEach(() => {
  config.value = { roots: [{ name: 'p', path: '/p' }] };
  for (const path of [...quickopen.recentFiles.value]) quickopen.forgetOpened(path);
  files = ['p/src/main.c', 'p/src/util/list.c', 'p/docs/main.md', 'p/README.md', 'p/.marlin/backups/main'];
  receive(JSON.stringify({ type: 'index.progress', phase: 'done', done: 5, total: 5, stats: { files: 5 } }));
  bridge.asked.length = 0;
});

test('quickopenrank: a goal is taken off the end', () => {
  const cases = [
    ['a b', { words: 'a b' }],
    ['a:12', { words: 'a', line: 12 }],
    ['a:12:3', { words: 'a', line: 12, column: 3 }],
    [':7', { words: '', line: 7 }],
    ['a:', { words: 'a', line: 1 }],
    ['a:12:', { words: 'a', line: 12 }],
    ['a:0', { words: 'a', line: 1 }],
    ['a:b', { words: 'a:b' }],
    ['', { words: '' }],
  ];
  for (const [typed, goal] of cases) assert.deepEqual(splitGoal(typed), goal, typed);
});

test('quickopenrank: words in any order, a name before a folder', () => {
  const paths = ['p/main/list.c', 'p/src/main.c', 'p/src/domain.c', 'p/src/main.test.c'];
  assert.deepEqual(ranked(paths, 'main'), [
    'p/src/main.c',
    'p/src/main.test.c',
    'p/src/domain.c',
    'p/main/list.c',
  ]);
  assert.deepEqual(ranked(paths, 'c list MAIN'), ['p/main/list.c']);
  assert.deepEqual(ranked(paths, 'src/main'), ['p/src/main.c', 'p/src/main.test.c']);
  assert.deepEqual(ranked(paths, 'nothing'), []);
  assert.deepEqual(ranked(['p/lib/src/a.c', 'p/mysrcs/a.c'], 'src a.c'), ['p/lib/src/a.c', 'p/mysrcs/a.c']);
  assert.deepEqual(ranked(paths, ''), paths, 'without words they stay as they come');
});

test('quickopenrank: the letters that fit are told for name and folders', () => {
  const [file] = rankPaths(['p/src/main.c'], wordsOf('in src c'));
  assert.deepEqual(
    [file.nameAt, file.folderAt],
    [
      [2, 3, 5],
      [2, 3, 4],
    ],
  );
  const [across] = rankPaths(['p/src/main.c'], wordsOf('rc/ma'));
  assert.deepEqual(
    [across.nameAt, across.folderAt],
    [
      [0, 1],
      [3, 4, 5],
    ],
  );
  assert.equal(
    rankPaths(['p/İx.c'], wordsOf('x'))[0].nameAt[0],
    1,
    'a letter that is longer in lower case does no harm',
  );
});

test('quickopenrank: the longest word is asked for, of other letters only a piece that the native side can fold', () => {
  assert.deepEqual(needles(['a', 'bcd', 'ef']), ['bcd', 'ef', 'a']);
  assert.deepEqual(needles(['größen']), ['gr']);
  assert.deepEqual(needles(['größe-x']), ['e-x']);
  assert.deepEqual(needles(['漢字']), ['漢字']);
});

test('quickopen: the longest word goes out, the rest is ranked here', async () => {
  assert.deepEqual(await found('md main'), ['p/docs/main.md']);
  assert.deepEqual(asked(), ['main']);
  assert.deepEqual(await found('nothing'), []);
});

test('quickopen: a full answer serves longer words too, until files come or go', async () => {
  assert.deepEqual(await found('ma'), ['p/src/main.c', 'p/docs/main.md']);
  assert.deepEqual(await found('mai'), ['p/src/main.c', 'p/docs/main.md']);
  assert.deepEqual(asked(), ['ma']);
  files.push('p/maine.c');
  changed(['p/maine.c']);
  assert.deepEqual((await found('mai')).length, 3);
  assert.deepEqual(asked(), ['ma', 'mai']);
  config.value = { roots: [{ name: 'q', path: '/q' }] };
  await found('mai');
  assert.deepEqual(asked(), ['ma', 'mai', 'mai']);
});

test('quickopen: where an answer was cut, the next word is asked for as well', async () => {
  files = [...Array.from({ length: 250 }, (_, i) => `p/module/f${i}.c`), 'p/module/zoo.c'];
  const first = await quickopen.findFiles('module');
  assert.deepEqual([first.files.length, first.cut], [200, true]);
  const both = await quickopen.findFiles('module zoo');
  assert.deepEqual([both.files.map(({ path }) => path), both.cut], [['p/module/zoo.c'], false]);
  assert.deepEqual(asked(), ['module', 'zoo']);
  assert.deepEqual(await found('module/zoo'), ['p/module/zoo.c'], 'a cut answer serves no longer word');
});

test('quickopen: files opened lately come first, the latest foremost, and only those of open folders', async () => {
  quickopen.noteOpened('p/docs/main.md');
  quickopen.noteOpened('q/else.md');
  quickopen.noteOpened('p/README.md');
  quickopen.noteOpened('p/docs/main.md');
  assert.deepEqual(quickopen.recentFiles.value, ['p/docs/main.md', 'p/README.md']);
  const { files: all } = await quickopen.findFiles('');
  assert.deepEqual(all.map(({ path, recent }) => [path, recent]).slice(0, 3), [
    ['p/docs/main.md', true],
    ['p/README.md', true],
    ['p/src/main.c', false],
  ]);
  assert.deepEqual(await found('main'), ['p/docs/main.md', 'p/src/main.c']);
  assert.ok(!all.some(({ path }) => path.includes('.marlin')), "the editor's backups stay out of sight");
});

test('quickopen: what is gone from disk is forgotten, with all that a folder held', async () => {
  quickopen.noteOpened('p/docs/main.md');
  quickopen.noteOpened('p/src/main.c');
  files = ['p/src/main.c'];
  changed(['p/docs', 'p/src/main.c']);
  await until(() => quickopen.recentFiles.value.length === 1);
  assert.deepEqual(quickopen.recentFiles.value, ['p/src/main.c']);
});

test('quickopen: a search that is no longer wanted ends', async () => {
  const abort = new AbortController();
  const search = quickopen.findFiles('readme', abort.signal);
  abort.abort();
  await assert.rejects(search, { name: 'AbortError' });
  assert.deepEqual(await found('readme'), ['p/README.md'], 'and leaves nothing behind');
});
