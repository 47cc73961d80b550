import assert from 'node:assert/strict';
import { test } from 'node:test';
import { olderLine, readPorcelain } from '../../../web/stores/blame.js';
import { lineHunks, linesWithEnds } from '../../../web/stores/changes.js';

const a = 'a'.repeat(40);
const b = 'b'.repeat(40);

test('blame: a commit is described once, and all of its lines know it', () => {
  const out = [
    `${a} 1 1 2`,
    'author Ann B.',
    'author-mail <ann@x>',
    'author-time 1700000000',
    'author-tz +0000',
    `summary ${b} 1 1 is no head`,
    'previous 0123 old.txt',
    'filename some old.txt',
    `\t${b} 9 9 nor is this`,
    `${a} 2 2`,
    '\tsecond',
    `${b} 7 3 1`,
    'author Bob',
    'summary',
    'filename x',
    '\t',
    `${a} 3 4 1`,
    '\tlast',
    '',
  ].join('\n');
  const lines = readPorcelain(out);
  assert.deepEqual([...lines.keys()], [1, 2, 3, 4]);
  assert.deepEqual(lines.get(1), { hash: a, author: 'Ann B.', time: 1700000000, subject: `${b} 1 1 is no head`, path: 'some old.txt' });
  assert.equal(lines.get(4), lines.get(1));
  assert.equal(lines.get(3).author, 'Bob');
  assert.equal(readPorcelain('').size, 0);
  assert.equal(readPorcelain('fatal: no such path').size, 0);
});

test('blame: lines of an edited text are those of the older one, or of none', () => {
  const from = linesWithEnds('1\n2\n3\n4\n5\n');
  const at = (/** @type {string} */ text) => {
    const to = linesWithEnds(text);
    const hunks = lineHunks(from, to);
    return to.map((_, index) => olderLine(hunks, index + 1));
  };
  assert.deepEqual(at('1\n2\n3\n4\n5\n'), [1, 2, 3, 4, 5]);
  assert.deepEqual(at('new\n1\n2\n3\n4\n5\n'), [0, 1, 2, 3, 4, 5]);
  assert.deepEqual(at('1\n4\n5\n'), [1, 4, 5]);
  assert.deepEqual(at('1\nx\ny\n3\n5\nz\n'), [1, 0, 0, 3, 5, 0]);
  assert.deepEqual(at(''), []);
});
