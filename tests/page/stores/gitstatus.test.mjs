import assert from 'node:assert/strict';
import { test } from 'node:test';
import { diffRule, diffWith, isDiff, kindFor } from '../../../web/stores/gitdiffs.js';
import { gitRows, rowKey } from '../../../web/stores/gitrows.js';
import {
  branchWords,
  groupsOf,
  idOf,
  isOutside,
  readStatus,
  repoOf,
  rootsWithout,
  shownRepos,
  treeMarks,
} from '../../../web/stores/gitstatus.js';
import { ancestors, treeMove } from '../../../web/stores/tree.js';

/** A change as the bridge tells it, by git's two letters. */
function change(path, xy, counts = {}) {
  const [index, work] = xy;
  const untracked = work === '?';
  const conflicted = xy === 'UU';
  return {
    path,
    index,
    work,
    staged: index !== '.',
    unstaged: work !== '.',
    untracked,
    conflicted,
    ...counts,
  };
}

const repo = (name, root, files = [], more = {}) => ({
  name,
  root,
  isRepo: true,
  branch: 'main',
  upstream: '',
  ahead: 0,
  behind: 0,
  detached: false,
  files,
  ...more,
});

const brief = (groups) =>
  groups.map(({ id, changes }) => `${id}: ${changes.map(({ letter, path }) => `${letter} ${path}`).join(', ')}`);

test('git: a change is in the groups that its letters name', () => {
  const files = [
    change('both.c', 'MM'),
    change('clash.c', 'UU'),
    change('gone.c', '.D'),
    change('moved.c', 'R.'),
    change('new.c', '.?'),
    change('soon.c', '.A'),
    change('staged.c', 'A.'),
  ];
  assert.deepEqual(brief(groupsOf(repo('p', '/p', files))), [
    'conflicts: ! clash.c',
    'staged: M both.c, R moved.c, A staged.c',
    'changes: M both.c, D gone.c, A soon.c',
    'untracked: U new.c',
  ]);
  assert.deepEqual(groupsOf(repo('p', '/p')), []);
});

test('git: each group has its own line counts, and an unknown count adds nothing', () => {
  const files = [
    change('both.c', 'MM', { stagedAdded: 1, stagedRemoved: 2, workAdded: 3, workRemoved: 4 }),
    change('picture.png', 'MM'),
    change('new.c', '.?', { workAdded: 5, workRemoved: 0 }),
  ];
  const [staged, changes, untracked] = groupsOf(repo('p', '/p', files));
  assert.deepEqual([staged.added, staged.removed], [1, 2]);
  assert.deepEqual([changes.added, changes.removed], [3, 4]);
  assert.deepEqual([untracked.added, untracked.removed], [5, 0]);
  assert.deepEqual(changes.changes[1], {
    path: 'picture.png',
    letter: 'M',
    kind: 'modified',
    added: undefined,
    removed: undefined,
  });
});

test('git: an answer is taken whole, whatever it lacks', () => {
  assert.deepEqual(readStatus(null), { available: true, repos: [] });
  assert.deepEqual(readStatus({ gitAvailable: false, repos: 'x' }), { available: false, repos: [] });
  const { repos } = readStatus({ repos: [{ name: 'p', root: '/p', error: 'no' }, { root: '/q' }, null] });
  assert.equal(repos.length, 1);
  assert.deepEqual(repos[0], repo('p', '/p', [], { isRepo: false, branch: '', error: 'no' }));
});

test('git: a path of a repository becomes a workspace path, or stays absolute beside the workspace', () => {
  const whole = repo('p', '/home/u/p');
  assert.equal(idOf([{ name: 'p', path: '/home/u/p' }], whole, 'src/a.c'), 'p/src/a.c');
  // The folder of the workspace is a part of the repository.
  const part = [{ name: 'src', path: '/home/u/p/src/' }];
  assert.equal(idOf(part, whole, 'src/a.c'), 'src/a.c');
  assert.equal(idOf(part, whole, 'README'), '/home/u/p/README');
  assert.equal(isOutside('/home/u/p/README'), true);
  assert.equal(isOutside('p/README'), false);
  assert.equal(idOf([{ name: 'all', path: '/' }], repo('all', '/'), 'etc/x'), 'all/etc/x');
});

test('git: a file finds its repository, of two the inner one', () => {
  const outer = repo('p', '/home/u/p');
  const inner = repo('lib', '/home/u/p/lib');
  const roots = [
    { name: 'p', path: '/home/u/p' },
    { name: 'lib', path: '/home/u/p/lib' },
    { name: 'doc', path: '/home/u/doc' },
  ];
  const found = (id) => {
    const file = repoOf([outer, inner], roots, id);
    return file && [file.repo.name, file.path];
  };
  assert.deepEqual(found('p/src/a.c'), ['p', 'src/a.c']);
  assert.deepEqual(found('p/lib/b.c'), ['lib', 'b.c']);
  assert.deepEqual(found('lib/b.c'), ['lib', 'b.c']);
  assert.deepEqual(found('/home/u/p/README'), ['p', 'README']);
  assert.equal(found('doc/a'), null);
  assert.equal(found('/home/u/pp/README'), null);
  assert.equal(found('untitled:1'), null);
  assert.equal(found('nowhere/a'), null);
  assert.deepEqual(repoOf([repo('all', '/')], [{ name: 'all', path: '/' }], 'all/etc/x')?.path, 'etc/x');
});

test('git: a repository goes with its last folder, and a folder without one is told', () => {
  const repos = [repo('a', '/w/r'), repo('gone', '/w/gone')];
  const roots = [
    { name: 'b', path: '/w/r/b' },
    { name: 'late', path: '/w/late' },
  ];
  assert.deepEqual(shownRepos(repos, roots).map(({ name }) => name), ['a']);
  assert.deepEqual(rootsWithout(repos, roots).map(({ name }) => name), ['late']);
});

test('git: the tree of files gets a letter for each change, and a mark for the folders above', () => {
  const files = [
    change('src/deep/a.c', 'M.'),
    change('src/new.c', '.?'),
    change('old/gone.c', '.D'),
    change('both.c', 'A.'),
    change('twice.c', 'AM'),
  ];
  const marks = treeMarks([repo('p', '/p', files)], [{ name: 'p', path: '/p' }]);
  const told = [...marks].map(([path, { letter, kind }]) => `${path} ${letter} ${kind}`).sort();
  assert.deepEqual(told, [
    'p  modified',
    'p/both.c A added',
    'p/old/gone.c D deleted',
    'p/src  modified',
    'p/src/deep  modified',
    'p/src/deep/a.c M modified',
    'p/src/new.c U untracked',
    'p/twice.c M modified',
  ]);
  assert.equal(treeMarks([repo('p', '/p', files)], [{ name: 's', path: '/p/src' }]).has('/p/both.c'), false);
});

test('git: the branch in words', () => {
  assert.equal(branchWords(repo('p', '/p')), 'branch main, no upstream');
  const far = { upstream: 'origin/main', ahead: 2, behind: 1 };
  assert.equal(branchWords(repo('p', '/p', [], far)), 'branch main, upstream origin/main, 2 ahead, 1 behind');
  assert.equal(branchWords(repo('p', '/p', [], { branch: '(detached)', detached: true })), 'detached head');
});

test('git: each group opens the comparison that shows its changes', () => {
  assert.deepEqual(['conflicts', 'staged', 'changes', 'untracked'].map(kindFor), [
    'diff-head',
    'diff-staged',
    'diff',
    'text',
  ]);
  assert.equal(isDiff('diff-head'), true);
  assert.equal(isDiff('text'), false);
  assert.equal(isDiff('toString'), false);
  assert.equal(isDiff('diff-with:'), false);
  assert.equal(isDiff(diffWith('topic/x')), true);
  const { left, right, suffix } = diffRule(diffWith('topic/x'));
  assert.deepEqual([left, right, suffix], ['topic/x', '', ' (topic/x)']);
});

test('git: rows are a tree whose keys lead upwards, also for names with slashes and blanks', () => {
  const repos = [repo('p', '/p', [change('a dir/x y.c', '.M'), change('sub/', '.?')]), repo('q', '/q')];
  const rows = gitRows(repos, new Set());
  assert.deepEqual(
    rows.map((row) => `${'  '.repeat(row.depth)}${row.name}|${row.folder} ${row.position}/${row.siblings}`),
    ['p| 1/2', '  Changes| 1/2', '    x y.c|a dir 1/1', '  Untracked| 2/2', '    sub| 1/1', 'q| 2/2'],
  );
  const file = rowKey('p', 'changes', 'a dir/x y.c');
  assert.equal(rows[2].path, file);
  assert.deepEqual(ancestors(file), [rowKey('p'), rowKey('p', 'changes')]);
  assert.deepEqual(treeMove(rows, file, 'ArrowLeft', 9), { focus: rowKey('p', 'changes') });
  assert.deepEqual(treeMove(rows, rowKey('p', 'changes'), 'ArrowRight', 9), { focus: file });
  assert.deepEqual(treeMove(rows, rowKey('q'), 'ArrowRight', 9), null);
});

test('git: folded parts show only their own row', () => {
  const repos = [repo('p', '/p', [change('a.c', '.M'), change('b.c', 'M.')]), repo('q', '/q', [change('c', '.M')])];
  const names = (...folded) => gitRows(repos, new Set(folded)).map(({ name }) => name);
  assert.deepEqual(names(rowKey('p', 'changes'), rowKey('q')), ['p', 'Staged Changes', 'b.c', 'Changes', 'q']);
});
