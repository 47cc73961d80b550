import assert from 'node:assert/strict';
import { test } from 'node:test';
import {
  decodeAs,
  decodeBytes,
  encodeText,
  splitMark,
  textHash,
  unencodable,
  utf8Length,
  writeBody,
} from '../../../web/stores/encoding.js';

const utf8 = (text) => new TextEncoder().encode(text);

test('encoding: text that is UTF-8 is read as UTF-8, its mark told apart', () => {
  assert.deepEqual(decodeBytes(utf8('aé日😀')), { encoding: 'utf8', text: 'aé日😀' });
  assert.deepEqual(decodeBytes(Uint8Array.of(0xef, 0xbb, 0xbf, 0x61)), { encoding: 'utf8bom', text: 'a' });
  assert.deepEqual(decodeBytes(new Uint8Array()), { encoding: 'utf8', text: '' });
  assert.deepEqual(splitMark('\uFEFF\uFEFFa'), { encoding: 'utf8bom', text: '\uFEFFa' });
});

test('encoding: any other bytes are Windows-1252, and each of the 256 comes back as it was', () => {
  assert.deepEqual(decodeBytes(Uint8Array.of(0x41, 0xe9, 0x42)), { encoding: 'windows1252', text: 'AéB' });
  const all = Uint8Array.from({ length: 256 }, (_, byte) => byte);
  const { encoding, text } = decodeBytes(all);
  assert.equal(encoding, 'windows1252');
  assert.deepEqual(encodeText(text, encoding), all);
});

test('encoding: overlong and surrogate sequences are not taken for UTF-8', () => {
  for (const bytes of [
    [0xc0, 0x80],
    [0xed, 0xa0, 0x80],
    [0xf4, 0x90, 0x80, 0x80],
    [0xe2, 0x82],
  ]) {
    const { encoding, text } = decodeBytes(Uint8Array.from(bytes));
    assert.equal(encoding, 'windows1252');
    assert.deepEqual([...(encodeText(text, encoding) ?? [])], bytes);
  }
});

test('encoding: a character without a byte is refused and named, not replaced', () => {
  assert.equal(encodeText('a→b', 'windows1252'), null);
  assert.deepEqual(unencodable('a→é日→😀', 'windows1252'), ['→', '日', '😀']);
  assert.deepEqual(unencodable('a→b', 'utf8'), []);
  assert.deepEqual(encodeText('€', 'windows1252'), Uint8Array.of(0x80));
});

test('encoding: the mark is written back', () => {
  assert.deepEqual(encodeText('a', 'utf8bom'), Uint8Array.of(0xef, 0xbb, 0xbf, 0x61));
});

test('encoding: reading in an encoding that the bytes are not valid in gives nothing', () => {
  assert.equal(decodeAs(Uint8Array.of(0xe9), 'utf8'), null);
  assert.equal(decodeAs(Uint8Array.of(0xe9), 'windows1252'), 'é');
  assert.equal(decodeAs(utf8('é'), 'windows1252'), 'Ã©');
});

test('encoding: utf8Length counts what the encoder writes', () => {
  for (const text of ['', 'abc', 'é', '日本', '😀', 'a\ud800', '\udc00b', '\ud83d\ud83d\ude00', '\uFEFFx']) {
    assert.equal(utf8Length(text), utf8(text).length, JSON.stringify(text));
  }
});

test('encoding: the body of a write is JSON with the bytes in it as they are', () => {
  const text = 'q"b\\n\nt\tz\u0000 \u001f é😀/';
  const body = writeBody('p/"ö".txt', utf8(text));
  assert.deepEqual(JSON.parse(String(body)), { path: 'p/"ö".txt', contents: text });
  const raw = /** @type {Uint8Array} */ (writeBody('a', Uint8Array.of(0xe9, 0x22, 0xff)));
  assert.deepEqual([...raw.slice(-7)], [0x22, 0xe9, 0x5c, 0x22, 0xff, 0x22, 0x7d]);
  const marked = /** @type {Uint8Array} */ (writeBody('ö', Uint8Array.of(0xff, 10, 0x5c, 0x1f)));
  assert.equal(new TextDecoder('latin1').decode(marked.slice(-18)), '"\xff\\u000a\\\\\\u001f"}');
});

test('encoding: the hash tells small changes apart', () => {
  const texts = ['', 'a', 'b', 'ab', 'ba', 'a\n', 'a\r\n', ' a', 'a'.repeat(1000), `${'a'.repeat(999)}b`];
  assert.equal(new Set(texts.map(textHash)).size, texts.length);
  assert.match(textHash('proj/a.txt'), /^[0-9a-f]{16}$/);
});
