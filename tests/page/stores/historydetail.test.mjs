import assert from 'node:assert/strict';
import { beforeEach, test } from 'node:test';
import { diffIn, diffRule, diffWith, isDiff } from '../../../web/stores/gitdiffs.js';
import { readCommitSides, readDetail, renameWords, statusWords } from '../../../web/stores/historydetail.js';
import { startBridge } from '../support/bridge.mjs';

const hash = 'c'.repeat(40);
const parent = 'd'.repeat(40);
let files = [];
const bridge = await startBridge(({ route, query }) => {
  if (route === 'git/commit-diff') return { body: { ok: true, original: '\uFEFFa\r\nb', modified: query.get('path') } };
  return { body: { ok: true, hash: query.get('hash'), parents: [parent], author: 'Ann', message: 'm', files } };
});
beforeEach(() => void (bridge.asked.length = 0));

test('commit: renames show what differs in braces', () => {
  assert.equal(renameWords('a.txt', 'b.txt'), 'a.txt => b.txt');
  assert.equal(renameWords('src/a/x.txt', 'src/b/x.txt'), 'src/{a => b}/x.txt');
  assert.equal(renameWords('src/x.txt', 'src/b/x.txt'), 'src/{ => b}/x.txt');
  assert.equal(renameWords('src/b/x.txt', 'src/x.txt'), 'src/{b => }/x.txt');
  assert.equal(renameWords('src/x.txt', 'src/y.txt'), 'src/{x.txt => y.txt}');
  assert.equal(renameWords('x.txt', 'deep/x.txt'), '{ => deep}/x.txt');
  assert.equal(renameWords('a/a/x', 'a/x'), 'a/{a => }/x');
  assert.equal(statusWords('T'), 'type changed');
  assert.equal(statusWords('X'), 'changed');
});

test('commit: its details are read once, and whole whatever they lack', async () => {
  files = [{ path: 'a', status: 'M', additions: 1, deletions: 0 }, {}, { path: 'bin' }];
  const detail = await readDetail('p', hash);
  assert.deepEqual(detail.files[1], { path: 'bin', oldPath: '', status: '', additions: -1, deletions: -1 });
  assert.equal(detail.files.length, 2);
  assert.equal(await readDetail('p', hash), detail);
  assert.equal(bridge.asked.length, 1);
  await readDetail('other', hash);
  assert.equal(bridge.asked.length, 2);
});

test('commit: what it did to a file is a comparison by its name at both times', async () => {
  const kind = diffIn({ hash, parent, old: 'an old/na:me %' });
  assert.ok(isDiff(kind));
  const { left, right, words, suffix, commit } = diffRule(kind);
  assert.deepEqual([left, right, words, suffix], [parent, hash, ['ddddddd', 'ccccccc'], ' (ccccccc)']);
  const repo = /** @type {any} */ ({ name: 'p' });
  assert.deepEqual(await readCommitSides({ repo, path: 'new' }, commit), { left: 'a\nb', right: 'new' });
  const { query } = bridge.asked[0];
  assert.deepEqual(Object.fromEntries(query), { repo: 'p', hash, parent, path: 'new', old: 'an old/na:me %' });
  assert.deepEqual(diffRule(diffIn({ hash, parent: '', old: '' })).words, ['Nothing', 'ccccccc']);
  for (const other of ['diff-commit:', `diff-commit:${hash}`, 'diff-commit:xyz::', `diff-commit:${hash}:zz:`]) assert.equal(isDiff(other), false, other);
});

test('commit: a comparison with a commit is called by its short name', () => {
  assert.equal(diffRule(diffWith(hash)).suffix, ' (ccccccc)');
  assert.equal(diffRule(diffWith(hash)).left, hash);
  assert.equal(diffRule(diffWith('main')).suffix, ' (main)');
});
