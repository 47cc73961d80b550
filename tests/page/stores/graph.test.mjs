import assert from 'node:assert/strict';
import { beforeEach, test } from 'node:test';
import * as git from '../../../web/stores/git.js';
import { GraphStore, graphOf, readPathLog } from '../../../web/stores/graph.js';
import { fileCommits, followId, following, joined, moreCommits, olderPath, showMore, showOlderName, showSubject, subject } from '../../../web/stores/history.js';
import { applyConfig, version } from '../../../web/stores/settings.js';
import { startBridge, until } from '../support/bridge.mjs';

const repo = { name: 'p', root: '/w/p', isRepo: true, branch: 'main', files: [] };
let total = 3;
let refs = '';
/** @type {Record<string, string[]>} hashes by path */
let logs = {};
let detailFiles = {};
const commitAt = (at) => ({ hash: `c${at}`, parents: at + 1 < total ? [`c${at + 1}`] : [], author: 'Ann', refs: at === 1 ? refs : '' });
let stashes = '';
const bridge = await startBridge(({ route, query, body }) => {
  if (route === 'git/graph') {
    const count = Math.min(total, Number(query.get('limit')), 5000);
    return { body: { ok: true, commits: Array.from({ length: count }, (_, at) => commitAt(at)), refs: [] } };
  }
  if (route === 'git/log') {
    const hashes = (logs[query.get('path')] ?? []).slice(0, Number(query.get('limit')));
    return { body: { ok: true, commits: hashes.map((hash) => ({ hash, short: hash })) } };
  }
  if (route === 'git/commit-detail') return { body: { ok: true, hash: query.get('hash'), files: detailFiles[query.get('hash')] ?? [] } };
  if (route === 'blueprint/exec') return { body: { ok: true, exitCode: body.includes('stash') ? 0 : 1, out: stashes, err: '' } };
  return { body: { ok: true, gitAvailable: true, repos: [repo] } };
});
const limits = () => bridge.asked.filter(({ route }) => route === 'git/graph').map(({ query }) => Number(query.get('limit')));
const execs = () => bridge.asked.filter(({ route }) => route === 'blueprint/exec').length;

beforeEach(async () => {
  total = 3;
  refs = '';
  stashes = '';
  logs = {};
  detailFiles = {};
  showSubject(null);
  version.value = '1';
  applyConfig({ roots: [{ name: 'p', path: '/w/p' }] });
  await git.refreshGit();
  bridge.asked.length = 0;
});

test('graph: more is read in steps, up to what the bridge lists', async () => {
  total = 9000;
  const store = new GraphStore('p');
  await store.read();
  assert.equal(store.commits.value.length, 500);
  assert.equal(store.mayLoadMore, true);
  store.loadMore();
  store.loadMore();
  await until(() => store.commits.value.length === 2000 && !store.loading.value);
  store.loadMore();
  await until(() => store.commits.value.length === 5000 && !store.loading.value);
  assert.equal(store.mayLoadMore, false);
  assert.equal(store.cut.value, true);
  store.loadMore();
  assert.deepEqual(limits(), [500, 2000, 5000]);
  assert.equal(store.lanes.value.length, 5000);
});

test('graph: a whole history says so, and what did not change stays the same value', async () => {
  const store = new GraphStore('p');
  await store.read();
  assert.equal(store.cut.value, false);
  assert.equal(store.selected.value, 'c0');
  const before = store.graph.value;
  await store.read();
  assert.equal(store.graph.value, before);
  refs = 'tag: v1';
  await store.read();
  assert.notEqual(store.graph.value, before);
});

test('graph: the commit that is checked out is in front at first', async () => {
  refs = 'HEAD -> main';
  const store = new GraphStore('p');
  await store.read();
  assert.equal(store.selected.value, 'c1');
});

test('graph: it is read again when refs change, while it is shown', async () => {
  const store = graphOf('p');
  assert.equal(graphOf('p'), store);
  const stop = store.watch();
  await until(() => store.graph.value !== null);
  total = 4;
  await git.refreshGit();
  await until(() => store.commits.value.length === 4);
  stop();
  total = 5;
  bridge.asked.length = 0;
  await git.refreshGit();
  await store.refresh.now();
  assert.deepEqual(limits().length, 1, 'only what was asked for by hand');
});

test('graph: a commit further down is read up to, and a filter that hides it goes', async () => {
  total = 1500;
  const store = new GraphStore('p');
  store.sift({ text: 'nothing' });
  await store.reveal('c1200');
  assert.deepEqual(limits(), [500, 2000]);
  assert.equal(store.selected.value, 'c1200');
  assert.equal(store.commits.value.length, 1500);
  store.sift({ text: 'nothing' });
  await store.reveal('elsewhere');
  assert.equal(store.commits.value.length, 0, 'what no list has is shown without one');
});

test('graph: stashes are listed at first, and then while there are some', async () => {
  const store = new GraphStore('p');
  stashes = `${'a'.repeat(40)}\x1f1700000000\x1fWIP\n`;
  await store.read();
  assert.deepEqual(store.stashes.value.map(({ words }) => words), ['WIP']);
  stashes = '';
  await store.read();
  assert.deepEqual(store.stashes.value, []);
  await store.read();
  assert.equal(execs(), 2);
});

test('graph: the commits of a path alone are listed, without lines', async () => {
  logs['app/[id].ts'] = ['c2', 'unknown'];
  const store = new GraphStore('p');
  await store.read();
  await store.siftByPath('app/[id].ts');
  assert.deepEqual(store.commits.value.map(({ hash }) => hash), ['c2']);
  assert.equal(store.lanes.value, null);
  await store.siftByPath('');
  assert.equal(store.commits.value.length, 3);
  assert.equal((await readPathLog('p', 'none', 5)).length, 0);
});

test('file history: follows the file in front unless it is to stay, with older names and more commits', async () => {
  logs['b.txt'] = ['n3', 'n2'];
  logs['a.txt'] = ['n2', 'n1'];
  detailFiles.n2 = [{ path: 'b.txt', oldPath: 'a.txt', status: 'R' }];
  followId('p/b.txt');
  await until(() => fileCommits.value.length === 2);
  assert.deepEqual(subject.value, { repo: 'p', path: 'b.txt' });
  assert.equal(olderPath.value, 'a.txt');
  await showOlderName();
  assert.deepEqual(fileCommits.value.map(({ hash, path }) => `${hash} ${path}`), ['n3 b.txt', 'n2 b.txt', 'n1 a.txt']);
  assert.equal(olderPath.value, '');
  following.value = false;
  followId('p/c.txt');
  assert.equal(subject.value.path, 'b.txt');
  following.value = true;
  followId('other/c.txt');
  assert.equal(subject.value.path, 'b.txt', 'what is in no repository has no history to show');
  logs['c.txt'] = Array.from({ length: 300 }, (_, at) => `h${at}`);
  followId('p/c.txt');
  await until(() => fileCommits.value.length === 200);
  assert.equal(moreCommits.value, true);
  await showMore();
  assert.equal(fileCommits.value.length, 300);
  assert.equal(moreCommits.value, false);
  assert.deepEqual(joined([[{ hash: 'x' }, { hash: 'y' }], [{ hash: 'y' }]]).map(({ hash }) => hash), ['x', 'y']);
});
