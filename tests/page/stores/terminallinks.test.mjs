import assert from 'node:assert/strict';
import { test } from 'node:test';
import { candidates, findPaths, homeOf, plainPath } from '../../../web/stores/terminallinks.js';

const found = (text) => findPaths(text).map(({ path, line, column }) => [path, line, column].filter((one) => one !== undefined).join(':'));

/** A line of output, and the links in it. */
const kLines = [
  ['src/a.cpp:12:5: error: expected ;', ['src/a.cpp:12:5']],
  ['In file included from src/b.hpp:3,', ['src/b.hpp:3']],
  ['main.c:9: warning', ['main.c:9']],
  ['web/a.ts(3,7): error TS2322', ['web/a.ts:3:7']],
  ['a.cs(14): note', ['a.cs:14']],
  ['  File "/home/u/p/a b.py", line 12, in <module>', ['/home/u/p/a b.py:12']],
  ['    at run (file:///home/u/p/x.js:4:11)', ['/home/u/p/x.js:4:11']],
  ['    at /home/u/p/x.mjs:4:11', ['/home/u/p/x.mjs:4:11']],
  ['./run.sh and ../up/y', ['./run.sh', '../up/y']],
  ['diff --git a/src/x.js b/src/x.js', ['a/src/x.js', 'b/src/x.js']],
  ['~/notes/todo.md', ['~/notes/todo.md']],
  ['See docs/guide.md.', ['docs/guide.md']],
  ['"web/x.js"', ['web/x.js']],
  ['größe/ä.txt:7', ['größe/ä.txt:7']],
  ['a.c:1 b.c:2', ['a.c:1', 'b.c:2']],
];

test('terminal links: files in the output of compilers, interpreters and other tools', () => {
  for (const [text, links] of kLines) assert.deepEqual(found(text), links, text);
});

test('terminal links: what only looks like a file is none', () => {
  const lines = [
    'listening on localhost:8080',
    'https://example.org/a/b.html',
    'http://localhost:3000/x:1',
    '12:30:45 done',
    'error:3',
    'progress 3/4',
    '2026/11/20',
    '// comment',
    'and/ or',
    '',
    'x'.repeat(3000) + '/a.c:1',
  ];
  for (const text of lines) assert.deepEqual(found(text), [], text);
});

test('terminal links: a link covers its numbers, and none lies over another', () => {
  const text = 'x: src/a.cpp:12:5: error';
  const [link] = findPaths(text);
  assert.equal(text.slice(link.start, link.end), 'src/a.cpp:12:5');
  const sentence = 'Read docs/a.md.';
  const [plain] = findPaths(sentence);
  assert.equal(sentence.slice(plain.start, plain.end), 'docs/a.md');
  for (const [line] of kLines) {
    const links = findPaths(line);
    for (let i = 1; i < links.length; i++) assert.ok(links[i - 1].end <= links[i].start, line);
  }
});

test('terminal links: a line number past counting is no number', () => {
  assert.deepEqual(found('a.c:99999999999999999999'), []);
});

const roots = [
  { name: 'p', path: '/home/u/p' },
  { name: 'lib', path: '/srv/lib' },
];

test('terminal links: a name may lie below the folder of the terminal or of any root', () => {
  const around = { cwd: '/home/u/p/build', home: '/home/u', roots };
  assert.deepEqual(candidates('src/a.c', around), ['p/build/src/a.c', 'p/src/a.c', 'lib/src/a.c']);
  assert.deepEqual(candidates('../src/a.c', around)[0], 'p/src/a.c');
  assert.deepEqual(candidates('/srv/lib/x.h', around), ['lib/x.h']);
  assert.deepEqual(candidates('~/p/x.h', around), ['p/x.h']);
  assert.deepEqual(candidates('a/src/x.js', { ...around, cwd: '/home/u/p' }), ['p/a/src/x.js', 'lib/a/src/x.js', 'p/src/x.js', 'lib/src/x.js']);
});

test('terminal links: nothing outside the workspace is a link', () => {
  const around = { cwd: '/tmp', home: '', roots };
  assert.deepEqual(candidates('/etc/passwd', around), []);
  assert.deepEqual(candidates('~/x', around), []);
  assert.deepEqual(candidates('../../../etc/passwd', { ...around, roots: [] }), []);
});

test('terminal links: dots in a path are walked, never above the top', () => {
  assert.equal(plainPath('/a/./b/../c//d'), '/a/c/d');
  assert.equal(plainPath('/../../x'), '/x');
});

test('terminal links: the home folder is told from folders below it', () => {
  assert.equal(homeOf(roots), '/home/u');
  assert.equal(homeOf([{ name: 'r', path: '/root/x' }]), '/root');
  assert.equal(homeOf([{ name: 'r', path: '/rooted' }]), '');
});
