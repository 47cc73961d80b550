import assert from 'node:assert/strict';
import { test } from 'node:test';
import { pathTest } from '../../../web/stores/searchglob.js';

const fits = (list, path) => pathTest(list)?.(path);

test('searchglob: an empty list says nothing', () => {
  for (const list of ['', '  ', ',', ' , ,']) assert.equal(pathTest(list), null);
});

test('searchglob: names anywhere, paths from a root, folders with all they hold', () => {
  const cases = [
    ['*.js', 'p/a.js', true],
    ['*.js', 'p/src/deep/a.js', true],
    ['*.js', 'p/a.jsx', false],
    ['src', 'p/src/a.c', true],
    ['src', 'p/lib/src/a.c', true],
    ['src', 'p/srcs/a.c', false],
    ['src', 'src/a.c', false], // the root's own name is no folder in it
    ['src/', 'p/src/a.c', true],
    ['./src', 'p/src/a.c', true],
    ['./src', 'p/lib/src/a.c', false],
    ['src/a.c', 'p/src/a.c', true],
    ['src/a.c', 'p/lib/src/a.c', false],
    ['p/src', 'p/src/a.c', true],
    ['p/src', 'q/src/a.c', false],
    ['src/*.c', 'p/src/deep/a.c', false],
    ['src/**/*.c', 'p/src/deep/er/a.c', true],
    ['src/**/*.c', 'p/src/a.c', true],
    ['src/**', 'p/src/deep/a.c', true],
    ['p/**', 'p/a.c', true],
    ['?.c', 'p/a.c', true],
    ['?.c', 'p/ab.c', false],
    ['[ab].c', 'p/b.c', true],
    ['[!ab].c', 'p/b.c', false],
    ['[!ab].c', 'p/c.c', true],
    ['*.{js,css}', 'p/a.css', true],
    ['*.{js,css}', 'p/a.md', false],
    ['a+b(1).c', 'p/a+b(1).c', true],
    ['*.md, docs', 'p/docs/a.c', true],
    ['*.md, docs', 'p/a.c', false],
    ['[z-a]', 'p/[z-a]', true],
    ['ünï*', 'p/ünïcode', true],
  ];
  for (const [list, path, expected] of cases) assert.equal(fits(list, path), expected, `${list} ${path}`);
});
