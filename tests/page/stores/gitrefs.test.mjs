import assert from 'node:assert/strict';
import { test } from 'node:test';
import { farWords, pickable, refFault, refRows, refSections, refWords } from '../../../web/stores/gitrefs.js';
import { ago } from '../../../web/stores/historytime.js';
import { parentOf } from '../../../web/stores/paths.js';
import { treeMove } from '../../../web/stores/tree.js';

const ref = (kind, name, more = {}) => ({ kind, name, fullName: name, hash: 'h', current: false, upstream: '', ahead: 0, behind: 0, time: 0, subject: '', ...more });
const refs = [
  ref('local', 'main', { current: true }),
  ref('local', 'feature'),
  ref('local', 'feat/a/deep'),
  ref('local', 'feat/b'),
  ref('remote', 'origin/main'),
  ref('tag', 'v1'),
];
const stashes = [{ index: 0, hash: 's1', time: 0, words: 'WIP on feat/b: abc' }];

test('refs: branches, remotes, tags and stashes are a tree with folders by the slashes', () => {
  const rows = refRows(refSections(refs, stashes, ''), new Set());
  assert.deepEqual(
    rows.map(({ name, depth, directory }) => `${' '.repeat(depth)}${name}${directory ? '/' : ''}`),
    ['Branches/', ' feat/', '  a/', '   deep', '  b', ' feature', ' main', 'Remotes/', ' origin/', '  main', 'Tags/', ' v1', 'Stashes/', ' WIP on feat/b: abc'],
  );
  assert.equal(rows[3].ref.name, 'feat/a/deep');
  assert.equal(rows.at(-1).stash.hash, 's1');
  assert.equal(rows[0].count, 4);
  // Keys lead up as the tree does.
  for (const row of rows) assert.ok(row.depth === 0 || rows.some(({ path }) => path === parentOf(row.path)), row.path);
  assert.equal(new Set(rows.map(({ path }) => path)).size, rows.length);
  assert.deepEqual(treeMove(rows, rows[3].path, 'ArrowLeft', 5), { focus: rows[2].path });
});

test('refs: what is folded hides what is below it, and empty sections are left out', () => {
  const rows = refRows(refSections(refs, [], ''), new Set(['local/feat:', 'remote']));
  assert.deepEqual(rows.map(({ name }) => name), ['Branches', 'feat', 'feature', 'main', 'Remotes', 'Tags', 'v1']);
  assert.deepEqual(refSections([], [], ''), []);
  const found = refRows(refSections(refs, stashes, 'feb'), new Set());
  assert.deepEqual(found.filter(({ directory }) => !directory).map(({ name }) => name), ['b', 'WIP on feat/b: abc']);
});

test('refs: what is said of a branch: how far, how old', () => {
  const now = 1_000_000;
  assert.equal(farWords(ref('local', 'a', { upstream: 'o/a', ahead: 2, behind: 1 })), '↓1 ↑2');
  assert.equal(farWords(ref('local', 'a')), 'not published');
  assert.equal(farWords(ref('remote', 'o/a')), '');
  assert.equal(refWords(ref('local', 'a', { current: true, upstream: 'o/a', ahead: 1, time: now - 7200 }), now), 'current · ↑1 · 2 hours ago');
  assert.equal(refWords(ref('local', 'a', { upstream: 'o/a', time: now - 60 }), now), '1 minute ago');
});

test('refs: ages in words', () => {
  const told = [0, -50, 59, 60, 3599, 3600, 86400, 6.9 * 86400, 14 * 86400, 70 * 86400, 800 * 86400].map((old) => ago(1e9 - old, 1e9));
  assert.deepEqual(told, ['just now', 'just now', 'just now', '1 minute ago', '59 minutes ago', '1 hour ago', '1 day ago', '6 days ago', '2 weeks ago', '2 months ago', '2 years ago']);
});

test('refs: a choice of branches has those of a remote that none here stands for', () => {
  const all = [ref('local', 'main', { upstream: 'fork/trunk' }), ref('local', 'topic'), ref('remote', 'origin/main'), ref('remote', 'fork/trunk'), ref('remote', 'origin/a/b'), ref('tag', 'v1')];
  const { local, remoteOnly } = pickable(all);
  assert.deepEqual(local.map(({ name }) => name), ['main', 'topic']);
  assert.deepEqual(remoteOnly.map(({ name }) => name), ['origin/a/b']);
});

test('refs: names that git refuses are told before it is asked', () => {
  const fault = (/** @type {string} */ name, what = 'branch') => refFault(name, /** @type {any} */ (what), refs);
  for (const name of ['', '-x', 'a b', 'a..b', 'a~1', 'x^', 'a:b', 'a?', 'a*', '[a', 'a\\b', 'a@{b', '/a', 'a/', 'a//b', 'a.', 'a.lock', 'main'])
    assert.notEqual(fault(name), '', name);
  for (const name of ['a', 'a/b', 'x;touch-pwned', '$(touch-pwned)', "it's", 'v1', 'ä']) assert.equal(fault(name), '', name);
  assert.match(fault('v1', 'tag'), /There is a tag v1/);
  assert.equal(fault('main', 'tag'), '');
});
