import assert from 'node:assert/strict';
import { test } from 'node:test';
import {
  MOST_DIFFERENCES,
  hunkAt,
  lineHunks,
  linesWithEnds,
  markOf,
  nextHunk,
  plainText,
  textEdits,
  withoutHunk,
} from '../../../web/stores/changes.js';

const lines = (text) => linesWithEnds(text);
const hunks = (from, to) =>
  lineHunks(lines(from), lines(to)).map((one) => [one.oldStart, one.oldCount, one.newStart, one.newCount]);

/** What the edits make of a text, applied from the end so that offsets stay true. */
function edited(before, edits) {
  return edits.reduceRight((text, { start, end, text: put }) => text.slice(0, start) + put + text.slice(end), before);
}

/** The same numbers every time. */
function randoms(seed) {
  let state = seed;
  return (below) => {
    state = (state * 48271) % 2147483647;
    return Math.floor((state / 2147483647) * below);
  };
}

test('changes: lines keep their ends, and a missing last end is seen', () => {
  assert.deepEqual(lines('a\n\nb'), ['a\n', '\n', 'b']);
  assert.deepEqual(lines(''), []);
  assert.deepEqual(hunks('a\nb\n', 'a\nb'), [[1, 1, 1, 1]]);
});

test('changes: a text is compared without mark and with one kind of line end', () => {
  assert.equal(plainText('\uFEFFa\r\nb\rc\n'), 'a\nb\nc\n');
});

test('changes: added, removed and changed lines are hunks of their own', () => {
  assert.deepEqual(hunks('a\nb\nc\n', 'a\nb\nc\n'), []);
  assert.deepEqual(hunks('a\nc\n', 'a\nb\nc\n'), [[1, 0, 1, 1]]);
  assert.deepEqual(hunks('a\nb\nc\n', 'a\nc\n'), [[1, 1, 1, 0]]);
  assert.deepEqual(hunks('a\nb\nc\nd\ne\n', 'a\nB\nc\nd\nE\nf\n'), [
    [1, 1, 1, 1],
    [4, 1, 4, 2],
  ]);
  assert.deepEqual(hunks('', 'a\n'), [[0, 0, 0, 1]]);
  assert.deepEqual(hunks('a\n', ''), [[0, 1, 0, 0]]);
});

test('changes: the fewest lines are told as changed', () => {
  const count = (from, to) => hunks(from, to).reduce((sum, [, old, , now]) => sum + old + now, 0);
  assert.equal(count('a\nb\nc\na\nb\nb\na\n', 'c\nb\na\nb\na\nc\n'), 5);
  assert.equal(count('x\n1\n2\n3\ny\n', '1\n2\n3\nx\ny\n'), 2);
});

test('changes: texts that differ too much are one change, and nearly as much still told apart', () => {
  const numbered = (from, count) => Array.from({ length: count }, (_, i) => `${from + i}\n`).join('');
  const half = MOST_DIFFERENCES / 2;
  const shared = 'same\n';
  const within = hunks(numbered(0, half - 1) + shared + '1\n', numbered(5000, half - 1) + shared + '2\n');
  assert.equal(within.length, 2);
  const beyond = hunks(numbered(0, half) + shared + '1\n', numbered(5000, half) + shared + '2\n');
  assert.deepEqual(beyond, [[0, half + 2, 0, half + 2]]);
});

test('changes: any two texts are told apart rightly, and edits make one of the other', () => {
  const random = randoms(7);
  const pieces = ['a', 'b', '\n', '\n', 'ab\n', '\u{1F600}', '\u{1F601}\n', '\r\n'];
  const text = () => Array.from({ length: random(24) }, () => pieces[random(pieces.length)]).join('');
  for (let round = 0; round < 3000; round++) {
    const [from, to] = [text(), text()];
    const found = lineHunks(lines(from), lines(to));
    const reverted = found.reduceRight((now, hunk) => withoutHunk(lines(from), lines(now), hunk), to);
    // Taking a hunk back may join lines, where one had no end; without that it gives the old text.
    if (/\n$/.test(from) && /\n$/.test(to)) assert.equal(reverted, from, JSON.stringify([from, to]));
    const edits = textEdits(from, to);
    assert.equal(edited(from, edits), to, JSON.stringify([from, to]));
    for (const { start, end } of edits) {
      for (const at of [start, end]) {
        const pair = from.slice(Math.max(0, at - 1), at + 1);
        assert.doesNotMatch(pair, /^(\r\n|[\uD800-\uDBFF][\uDC00-\uDFFF])$/, JSON.stringify([from, to, at]));
      }
    }
  }
});

test('changes: an edit touches only the letters that differ', () => {
  assert.deepEqual(textEdits('one\ntwo words\nthree\n', 'one\ntwo more words\nthree\nfour\n'), [
    { start: 8, end: 8, text: 'more ' },
    { start: 20, end: 20, text: 'four\n' },
  ]);
  assert.deepEqual(textEdits('a\u{1F600}b\n', 'a\u{1F601}b\n'), [{ start: 1, end: 3, text: '\u{1F601}' }]);
  assert.deepEqual(textEdits('same', 'same'), []);
});

test('changes: a mark stands at the new lines, and for removed ones at the line above', () => {
  const marks = (from, to) => lineHunks(lines(from), lines(to)).map(markOf);
  assert.deepEqual(marks('a\nd\n', 'a\nb\nc\nd\n'), [{ line: 2, endLine: 3, kind: 'added' }]);
  assert.deepEqual(marks('a\nb\n', 'a\nB\n'), [{ line: 2, endLine: 2, kind: 'changed' }]);
  assert.deepEqual(marks('a\nb\nc\n', 'a\nc\n'), [{ line: 1, endLine: 1, kind: 'removed' }]);
  assert.deepEqual(marks('a\nb\n', 'b\n'), [{ line: 1, endLine: 1, kind: 'removed-top' }]);
});

test('changes: stepping goes round, and a line finds its change', () => {
  const found = lineHunks(lines('a\nb\nc\nd\ne\nf\n'), lines('a\nB\nc\nd\ne\nf\ng\n'));
  assert.equal(hunkAt(found, 2), 0);
  assert.equal(hunkAt(found, 3), -1);
  assert.equal(hunkAt(found, 7), 1);
  assert.equal(nextHunk(found, 1, 1), 0);
  assert.equal(nextHunk(found, 2, 1), 1);
  assert.equal(nextHunk(found, 7, 1), 0);
  assert.equal(nextHunk(found, 7, -1), 0);
  assert.equal(nextHunk(found, 2, -1), 1);
  assert.equal(nextHunk([], 1, 1), -1);
  const long = lineHunks(lines('a\nb\nc\nd\n'), lines('A\nb\nC\nD\n'));
  assert.equal(nextHunk(long, 4, -1), 0, 'from inside a change it is the one before');
});

test('changes: one change is taken back and the others stay', () => {
  const [from, to] = [lines('a\nb\nc\nd\n'), lines('A\nb\nd\ne\n')];
  const found = lineHunks(from, to);
  assert.deepEqual(
    found.map((hunk) => withoutHunk(from, to, hunk)),
    ['a\nb\nd\ne\n', 'A\nb\nc\nd\ne\n', 'A\nb\nd\n'],
  );
});
