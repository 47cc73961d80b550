import assert from 'node:assert/strict';
import { test } from 'node:test';
import {
  EndsHistory,
  commonest,
  countBreaks,
  editEnds,
  endsOf,
  kindOf,
  splitEnds,
  weaveEnds,
} from '../../../web/stores/lineends.js';

const lines = (text) => text.split(/\r\n|\r|\n/);

test('lineends: kinds of text', () => {
  const rows = [
    ['', 'none'],
    ['a', 'none'],
    ['a\nb\n', 'lf'],
    ['a\r\nb', 'crlf'],
    ['a\rb\r', 'cr'],
    ['a\r\nb\n', 'mixed'],
    ['a\n\r', 'mixed'],
  ];
  for (const [text, kind] of rows) assert.equal(kindOf(endsOf(text)), kind, JSON.stringify(text));
});

test('lineends: only what one line end cannot say is kept', () => {
  assert.deepEqual(splitEnds('a\nb\n'), { eol: '\n', ends: null });
  assert.deepEqual(splitEnds('a\r\nb\r\n'), { eol: '\r\n', ends: null });
  assert.deepEqual(splitEnds('a'), { eol: '\n', ends: null });
  assert.deepEqual(splitEnds('a\r\nb\nc\r\n'), { eol: '\r\n', ends: 'wnw' });
  assert.deepEqual(splitEnds('a\rb'), { eol: '\n', ends: 'm' });
});

test('lineends: the commonest, LF where nothing is commoner', () => {
  assert.equal(commonest(''), 'n');
  assert.equal(commonest('nw'), 'n');
  assert.equal(commonest('nww'), 'w');
  assert.equal(commonest('mmn'), 'm');
});

test('lineends: a mixed text that nobody touched is written as it was', () => {
  for (const text of ['a\r\nb\nc\rd', '\n\r\n\r', 'x\r\r\ny\n\n', 'end\r\n\n']) {
    assert.equal(weaveEnds(lines(text), endsOf(text)), text);
  }
});

test('lineends: edits move the ends of other lines along and leave them alone', () => {
  const change = (startLine, endLine, text) => [{ startLine, endLine, text }];
  assert.equal(editEnds('wnm', change(1, 1, 'x')), 'wnm');
  assert.equal(editEnds('wnm', change(1, 1, '\n')), 'wwnm', 'a new line ends as the line it was typed in');
  assert.equal(editEnds('wnm', change(2, 2, '\n\n')), 'wnnnm');
  assert.equal(editEnds('wnm', change(4, 4, '\r\n')), 'wnmm', 'after the last line: as the line above');
  assert.equal(editEnds('wnm', change(2, 3, '')), 'wm', 'joining two lines takes the end between them');
  assert.equal(editEnds('wnm', change(1, 4, 'all\ngone')), 'w');
  assert.equal(editEnds('', change(1, 1, 'a\nb')), 'n');
});

test('lineends: several changes of one edit do not disturb each other', () => {
  const changes = [
    { startLine: 1, endLine: 1, text: '\n' },
    { startLine: 3, endLine: 4, text: '' },
  ];
  assert.equal(editEnds('wnmw', changes), editEnds('wnmw', changes.toReversed()));
  assert.equal(editEnds('wnmw', changes), 'wwnw');
});

test('lineends: an empty line typed between CR and LF is still a line when the file is read again', () => {
  const ends = editEnds('mn', [{ startLine: 1, endLine: 1, text: '\n' }]);
  assert.equal(ends, 'mmn');
  const text = weaveEnds(['a', '', '', 'b'], 'mmn');
  assert.deepEqual(lines(text), ['a', '', '', 'b']);
});

test('lineends: letters that are missing are the commonest one', () => {
  assert.equal(weaveEnds(['a', 'b', 'c'], 'w'), 'a\r\nb\r\nc');
  assert.equal(countBreaks('a\r\nb\rc\n\n'), 4);
});

test('lineends: undo brings the line ends back as well', () => {
  const history = new EndsHistory('wn', 1);
  history.edit([{ startLine: 1, endLine: 3, text: 'x' }], 2);
  assert.equal(history.ends, '');
  history.edit([{ startLine: 1, endLine: 1, text: 'a\nb\nc' }], 1);
  assert.equal(history.ends, 'wn');
});

test('lineends: the memory of earlier states is bounded', () => {
  const history = new EndsHistory('n', 0, 3);
  for (let version = 1; version <= 5; version++)
    history.edit([{ startLine: 1, endLine: 1, text: '\n' }], version);
  assert.equal(history.states.size, 3);
  assert.equal(history.ends, 'nnnnnn');
});

test('lineends: a random walk of edits keeps text and ends together', () => {
  let seed = 7;
  const random = (below) => (seed = (seed * 1103515245 + 12345) % 2147483648) % below;
  let text = 'one\r\ntwo\nthree\rfour\r\n\nfive';
  let ends = endsOf(text);
  for (let round = 0; round < 500; round++) {
    const now = lines(text);
    const startLine = 1 + random(now.length);
    const endLine = Math.min(now.length, startLine + random(3));
    const typed = ['', 'x', '\n', 'a\nb', '\n\n'][random(5)];
    const next = editEnds(ends, [{ startLine, endLine, text: typed }]);
    const before = now.slice(0, startLine - 1);
    const after = now.slice(endLine);
    const middle = `${now[startLine - 1]}${typed}`.split('\n');
    const whole = [...before, ...middle, ...after];
    assert.equal(next.length, whole.length - 1);
    assert.equal(next.slice(0, startLine - 1), ends.slice(0, startLine - 1), 'ends above stay');
    assert.equal(next.slice(next.length - after.length + 1), ends.slice(ends.length - after.length + 1));
    text = weaveEnds(whole, next);
    ends = next;
    assert.equal(endsOf(text).length, ends.length);
  }
});
