import assert from 'node:assert/strict';
import { test } from 'node:test';
import {
  NO_FILTER,
  authors,
  badgeWords,
  badges,
  isHead,
  isSifted,
  reachable,
  readGraph,
  readRefs,
  sifted,
  unpushed,
} from '../../../web/stores/graphmodel.js';

const commit = (hash, parents = [], more = {}) => ({
  hash,
  short: hash,
  parents,
  author: 'Ann',
  email: 'ann@x',
  time: 1,
  subject: `Do ${hash}`,
  refs: '',
  ...more,
});
const ref = (kind, name, hash, more = {}) => ({ kind, name, hash, ...more });
const graph = (commits, refs = []) => readGraph({ commits, refs });

test('history: an answer is read whole, whatever it lacks', () => {
  assert.deepEqual(readGraph(null), { commits: [], refs: [] });
  const { commits, refs } = readGraph({ commits: [{ hash: 'abcdefghi', parents: ['x', 3] }, {}, null], refs: [{ kind: 'odd' }, { name: 'a' }] });
  assert.equal(commits[0].short, 'abcdefg');
  assert.deepEqual(commits[0].parents, ['x']);
  assert.equal(commits.length, 1);
  assert.deepEqual(refs, []);
});

test('history: a branch that is called like a tag comes with its folder, and is told by its own name', () => {
  const [branch, tag, remote] = readRefs({
    refs: [ref('local', 'heads/x', 'h'), ref('tag', 'tags/x', 'h'), ref('remote', 'origin/x', 'h')],
  });
  assert.deepEqual([branch.name, branch.fullName], ['x', 'refs/heads/x']);
  assert.deepEqual([tag.name, tag.fullName], ['x', 'refs/tags/x']);
  assert.deepEqual([remote.name, remote.fullName], ['origin/x', 'refs/remotes/origin/x']);
});

test('history: the parts of a stash are left out, and the stash is not a merge', () => {
  const { commits } = graph([commit('s', ['a', 'i', 'u'], { refs: 'refs/stash' }), commit('u'), commit('i', ['a']), commit('a')]);
  assert.deepEqual(commits.map(({ hash }) => hash), ['s', 'a']);
  assert.deepEqual(commits[0].parents, ['a']);
});

test('history: unpushed are those ahead of the upstream, and those that no remote has', () => {
  const commits = [commit('t', ['b']), commit('c', ['b']), commit('b', ['a']), commit('o', ['a']), commit('a')];
  const main = ref('local', 'main', 'c', { current: true, upstream: 'origin/main' });
  const told = (...refs) => [...unpushed(graph(commits, refs))].sort();
  assert.deepEqual(told(main, ref('remote', 'origin/main', 'a')), ['b', 'c']);
  // Another remote branch has one of them, but the upstream has not.
  assert.deepEqual(told(main, ref('remote', 'origin/main', 'a'), ref('remote', 'origin/other', 'b')), ['b', 'c']);
  assert.deepEqual(told(main, ref('remote', 'origin/main', 'c'), ref('local', 'topic', 't')), ['t']);
  assert.deepEqual(told(main, ref('remote', 'origin/main', 'c'), ref('remote', 'origin/o', 'o')), []);
  assert.deepEqual(told(main), [], 'without a remote there is nowhere to push to');
  assert.deepEqual(told(ref('local', 'main', 'c', { current: true }), ref('remote', 'fork/main', 'a')), ['b', 'c']);
  // A tag alone does not make a commit one that waits to be pushed.
  assert.deepEqual(told(main, ref('remote', 'origin/main', 'c'), ref('tag', 'v1', 'o')), []);
});

test('history: names stand at their commits, the current branch first', () => {
  const commits = [commit('b', ['a'], { refs: 'HEAD -> main, tag: v1' }), commit('a', [], { refs: 'refs/stash' })];
  const refs = [ref('tag', 'v1', 'b'), ref('remote', 'origin/main', 'b'), ref('local', 'old', 'b'), ref('local', 'main', 'b', { current: true })];
  const found = badges(graph(commits, refs));
  assert.deepEqual(found.get('b').map(badgeWords), ['current branch main', 'branch old', 'remote branch origin/main', 'tag v1']);
  assert.deepEqual(found.get('a').map(badgeWords), ['stash']);
  const away = badges(graph([commit('b', [], { refs: 'HEAD, main' })], [ref('local', 'main', 'b')]));
  assert.deepEqual(away.get('b').map(badgeWords), ['branch main', 'here without a branch']);
  assert.equal(isHead({ refs: 'HEADLINE' }), false);
  assert.equal(isHead({ refs: 'HEAD' }), true);
});

test('history: filters by words, author, address, branch and path narrow the list together', () => {
  const commits = graph([
    commit('abc1', ['def2'], { subject: 'Fix the Parser', author: 'Bob', email: 'BOB@x' }),
    commit('def2', ['aaa3'], { subject: 'Write docs' }),
    commit('fff4', ['aaa3'], { subject: 'Fix docs' }),
    commit('aaa3', [], { subject: 'Begin' }),
  ]).commits;
  const found = (change) => sifted(commits, { ...NO_FILTER, ...change }).map(({ hash }) => hash);
  assert.equal(sifted(commits, NO_FILTER), commits);
  assert.deepEqual(found({ text: 'fix' }), ['abc1', 'fff4']);
  assert.deepEqual(found({ text: 'docs fix' }), ['fff4']);
  assert.deepEqual(found({ text: 'bob' }), ['abc1']);
  assert.deepEqual(found({ text: 'def2' }), ['def2']);
  assert.deepEqual(found({ text: 'ef2' }), [], 'a hash is known by its beginning');
  assert.deepEqual(found({ author: 'Bob' }), ['abc1']);
  assert.deepEqual(found({ email: 'bob@X' }), ['abc1']);
  assert.deepEqual(found({ ref: 'def2' }), ['def2', 'aaa3']);
  assert.deepEqual(found({ ref: 'fff4', text: 'fix' }), ['fff4']);
  assert.deepEqual(found({ hashes: new Set(['aaa3']) }), ['aaa3']);
  // A branch's history is whole, so that its lines can be drawn.
  assert.equal(isSifted({ ...NO_FILTER, ref: 'def2' }), false);
  assert.equal(isSifted({ ...NO_FILTER, text: ' ' }), false);
  assert.equal(isSifted({ ...NO_FILTER, hashes: new Set() }), true);
  assert.deepEqual([...reachable(commits, 'abc1')], ['abc1', 'def2', 'aaa3']);
  assert.deepEqual(authors(commits), [{ author: 'Ann', count: 3 }, { author: 'Bob', count: 1 }]);
});
