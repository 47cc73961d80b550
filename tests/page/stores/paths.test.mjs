import assert from 'node:assert/strict';
import { test } from 'node:test';
import * as paths from '../../../web/stores/paths.js';

const roots = [
  { name: 'app', path: '/home/me/app' },
  { name: 'lib', path: '/home/me/app/lib' },
];

test('paths: parts of a path', () => {
  assert.equal(paths.baseName('app/src/a.txt'), 'a.txt');
  assert.equal(paths.baseName('app'), 'app');
  assert.equal(paths.parentOf('app/src/a.txt'), 'app/src');
  assert.equal(paths.parentOf('app'), '');
  assert.equal(paths.rootOf('app/src'), 'app');
  assert.ok(paths.isRoot('app') && !paths.isRoot('app/x') && !paths.isRoot(''));
});

test('paths: inside means a whole component', () => {
  assert.ok(paths.isInside('app/src', 'app/src'));
  assert.ok(paths.isInside('app/src/a', 'app/src'));
  assert.ok(!paths.isInside('app/src2', 'app/src'));
  assert.equal(paths.relabel('app/src/a', 'app/src', 'app/new'), 'app/new/a');
  assert.equal(paths.relabel('app/src2/a', 'app/src', 'app/new'), 'app/src2/a');
});

test('paths: workspace and absolute paths go both ways', () => {
  assert.equal(paths.absolutePath(roots, 'app/src/a'), '/home/me/app/src/a');
  assert.equal(paths.absolutePath(roots, 'app'), '/home/me/app');
  assert.equal(paths.absolutePath(roots, 'gone/a'), '');
  assert.equal(paths.workspacePath(roots, '/home/me/app/lib/x'), 'app/lib/x', 'the first root wins');
  assert.equal(paths.workspacePath(roots, '/home/me/app'), 'app');
  assert.equal(paths.workspacePath(roots, '/home/me/app2/x'), '');
});

test('paths: a root at the top of the file system has no double slash', () => {
  const top = [{ name: 'folder', path: '/' }];
  assert.equal(paths.absolutePath(top, 'folder/etc/a'), '/etc/a');
  assert.equal(paths.absolutePath(top, 'folder'), '/');
  assert.equal(paths.workspacePath(top, '/etc/a'), 'folder/etc/a');
});

test('paths: names that cannot be given say why', () => {
  for (const name of ['', ' ', 'a/b', '.', '..', 'a\\b', 'a\0b', 'taken']) {
    assert.notEqual(paths.nameProblem(name, ['taken']), '', JSON.stringify(name));
  }
  for (const name of ['a', '.hidden', 'ü ö', '...']) assert.equal(paths.nameProblem(name, ['taken']), '');
  assert.equal(paths.nameProblem('a/b', [], { nested: true }), '');
  for (const name of ['/a', 'a//b', 'a/', 'a/../b'])
    assert.notEqual(paths.nameProblem(name, [], { nested: true }), '', name);
});

test('paths: a rename box selects the stem', () => {
  assert.equal(paths.stemLength('a.tar.gz', false), 5);
  assert.equal(paths.stemLength('.bashrc', false), 7);
  assert.equal(paths.stemLength('dir.d', true), 5);
});

test('paths: only the outermost of several', () => {
  assert.deepEqual(paths.outermost(['a/b', 'a', 'c/d', 'c/d2', 'c/d/e', 'a']), ['a', 'c/d', 'c/d2']);
});

test('paths: tabs of one name are told apart by as little as it takes', () => {
  const hints = paths.tabHints(['p/a/x.js', 'p/b/x.js', 'p/y.js', 'q/a/x.js']);
  assert.equal(hints.get('p/y.js'), '');
  assert.equal(hints.get('p/b/x.js'), 'b');
  assert.equal(hints.get('p/a/x.js'), 'p/a');
  assert.equal(hints.get('q/a/x.js'), 'q/a');
});

test('paths: links in a file lead into its root and never out of it', () => {
  const from = 'app/docs/guide/a.md';
  const rows = [
    ['b.md', 'app/docs/guide/b.md', ''],
    ['../img/x%20y.png', 'app/docs/img/x y.png', ''],
    ['/top.md', 'app/top.md', ''],
    ['#part', from, 'part'],
    ['b.md#c', 'app/docs/guide/b.md', 'c'],
    ['../../../secret', '', ''],
    ['https://example.org', '', ''],
    ['javascript:alert(1)', '', ''],
    ['//host/x', '', ''],
    ['100%.md', 'app/docs/guide/100%.md', ''],
  ];
  for (const [href, path, fragment] of rows)
    assert.deepEqual(paths.resolveLink(from, href), { path, fragment }, href);
});
