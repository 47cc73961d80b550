import assert from 'node:assert/strict';
import { test } from 'node:test';
import {
  byteOffset,
  readBytesBack,
  spellBytes,
  unitOffset,
  unitWalker,
} from '../../../web/stores/searchbytes.js';
import { expandInLines, matchAll } from '../../../web/stores/searchmatch.js';

const plain = { caseSensitive: false, wholeWord: false, regex: false };
const exact = { ...plain, caseSensitive: true };
const word = { ...plain, wholeWord: true };
const regex = { ...plain, regex: true };

/** Matches as they stand in the text. */
const found = (text, query, options, more) =>
  matchAll(text, query, options, more).map(({ from, to }) => `${from}:${text.slice(from, to)}`);
const replaced = (text, query, options, replacement) => {
  let at = 0;
  let out = '';
  for (const match of matchAll(text, query, options, { replacement })) {
    out += text.slice(at, match.from) + match.replacement;
    at = match.to;
  }
  return out + text.slice(at);
};

test('searchbytes: bytes and units of texts with characters of one to four bytes', () => {
  const text = 'aä€😀b';
  const starts = [0, 1, 3, 6, 10, 11]; // bytes at which characters begin, and the end
  const units = [0, 1, 2, 3, 5, 6];
  starts.forEach((byte, i) => {
    assert.equal(unitOffset(text, byte), units[i]);
    assert.equal(byteOffset(text, units[i]), byte);
  });
  assert.equal(unitOffset(text, 2), 1, 'a byte inside a character is that character');
  assert.equal(unitOffset(text, 8), 3);
  assert.equal(unitOffset(text, 99), text.length);
  const walk = unitWalker(text);
  assert.deepEqual(walk(2), { unit: 1, inside: true });
  assert.deepEqual(walk(3), { unit: 2, inside: false });
  assert.deepEqual(walk(11), { unit: 6, inside: false });
});

test('searchbytes: spelled bytes come back, and half a character does not', () => {
  for (const text of ['', 'plain', 'aä€😀b', '\ufeffmark'])
    assert.equal(readBytesBack(spellBytes(text)), text);
  assert.equal(spellBytes('ä').length, 2);
  assert.equal(readBytesBack(spellBytes('ä').slice(1)), null);
});

test('searchmatch: a plain text folds A to Z and nothing else', () => {
  assert.deepEqual(found('Foo fOO foo', 'foo', plain), ['0:Foo', '4:fOO', '8:foo']);
  assert.deepEqual(found('Foo fOO foo', 'foo', exact), ['8:foo']);
  assert.deepEqual(found('ÄRGER ärger', 'ärger', plain), ['6:ärger']);
  assert.deepEqual(found('ÄRGER', 'Ärger', plain), ['0:ÄRGER']);
  assert.deepEqual(found('aaaa', 'aa', plain), ['0:aa', '2:aa'], 'no match over another');
  assert.deepEqual(found('a.b', '.', plain), ['1:.']);
  assert.throws(() => matchAll('a', '', plain), /nothing to search for/);
});

test('searchmatch: a whole word ends at anything but letters, digits and the low line of ASCII', () => {
  assert.deepEqual(found('foo.bar foobar foo_bar', 'foo', word), ['0:foo']);
  assert.deepEqual(found('fooä', 'foo', word), ['0:foo']);
  assert.deepEqual(found('xa a a', 'a a', word), ['3:a a'], 'a candidate that fails moves on by one');
  assert.deepEqual(
    found('foobar', 'foo', { ...word, regex: true }),
    ['0:foo'],
    'patterns have no whole words',
  );
});

test('searchmatch: a limit ends the search', () => {
  assert.equal(matchAll('a'.repeat(9), 'a', plain, { limit: 5 }).length, 5);
  assert.equal(matchAll('a'.repeat(9), 'a', regex, { limit: 5 }).length, 5);
});

test('searchmatch: a pattern works on bytes, and its anchors on the whole text', () => {
  assert.deepEqual(found('one\ntwo\n', '^.', regex), ['0:o']);
  assert.deepEqual(found('one\ntwo', '.$', regex), ['6:o']);
  assert.deepEqual(found('a\nb', 'a.b', regex), [], 'a point is no line end');
  assert.deepEqual(found('äx', '..x', regex), ['0:äx'], 'a letter of two bytes is two points');
  assert.deepEqual(found('äx', '.x', regex), [], 'a match that begins inside a character is left out');
  assert.deepEqual(found('Ä ä', 'ä', regex), ['2:ä'], 'other letters have no other case');
  assert.deepEqual(found('é É', 'É', regex), ['2:É']);
  assert.deepEqual(found('㤀', 'ä.', regex), [], 'bytes have no other case');
  assert.deepEqual(found('Foo foo', 'f.o', { ...regex, caseSensitive: true }), ['4:foo']);
  assert.deepEqual(found('fooä', '\\bfoo\\b', regex), ['0:foo']);
  assert.deepEqual(found('\u00a0 x', '\\sx', regex), ['1: x']);
  assert.deepEqual(found('\u00a0x', '.\\sx', regex), [], 'only blanks of ASCII are blanks');
});

test('searchmatch: classes between brackets, and what only the native side knows', () => {
  assert.deepEqual(found('a1 _-', '[[:alpha:]]', regex), ['0:a']);
  assert.deepEqual(found('a1 _-', '[[:digit:][:punct:]]', regex), ['1:1', '3:_', '4:-']);
  assert.deepEqual(found('a1 ', '[^[:alnum:]]', regex), ['2: ']);
  assert.deepEqual(found('a]:b', '[\\]:]', regex), ['1:]', '2::']);
  assert.deepEqual(found('[x', '\\[[:x]', regex), ['0:[x']);
  assert.deepEqual(found('[1]', '\\[[[:digit:]]', regex), ['0:[1'], 'an escaped bracket opens nothing');
  assert.deepEqual(found('a:', '[a][:alpha]', regex), ['0:a:'], 'nor does one without a bracket around it');
  assert.throws(() => matchAll('a', '[[.hyphen.]]', regex), /unsaved text/);
  assert.throws(() => matchAll('a', '[[:nonsense:]]', regex), /unsaved text/);
  assert.throws(() => matchAll('a', '(', regex));
});

test('searchmatch: replacements name the match and its groups', () => {
  const cases = [
    ['ab', '(a)(b)?', '[$1$2]', '[ab]'],
    ['ab', '(a)', '$1x', 'axb'],
    ['ab', '(a)', '$10', 'a0b'],
    ['ac', '(a)(b)?', '<$2>', '<>c'],
    ['ab', '(a)', '$0$&$$', 'aa$b'],
    ['ab', '(a)', '$x$', '$x$b'],
    ['äb', '(ä)', '$1ö', 'äöb'],
    ['ab', 'x*', '-', '-a-b-'],
  ];
  for (const [text, query, replacement, expected] of cases)
    assert.equal(replaced(text, query, regex, replacement), expected);
  assert.equal(replaced('a a', 'a', plain, '$1$&'), '$1$& $1$&', 'a plain text has no groups');
  assert.equal(replaced('äb', 'x*', regex, '-'), '-ä-b-', 'nothing is put inside a character');
  const [cut] = matchAll('ä', '(.).', regex, { replacement: '$1' });
  assert.equal(cut.replacement, null, 'a replacement that is half a character cannot be told');
});

test('searchmatch: what a match in its line becomes, where the line tells', () => {
  const line = { text: 'let ab = 1', from: 4, to: 6 };
  assert.deepEqual(expandInLines([line], '(a)(b)', regex, '$2$1'), ['ba']);
  assert.deepEqual(expandInLines([line], 'ab', plain, '$2'), ['$2']);
  assert.deepEqual(expandInLines([{ text: 'ab', from: 0, to: 2 }], 'ab\\n', regex, 'x'), [null]);
  assert.deepEqual(expandInLines([{ text: 'aab', from: 0, to: 1 }], 'a+', regex, 'x'), [null]);
});
