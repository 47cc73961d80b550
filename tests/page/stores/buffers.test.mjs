import assert from 'node:assert/strict';
import { test } from 'node:test';
import { TextBuffer } from '../../../web/stores/buffers.js';
import { splitEnds } from '../../../web/stores/lineends.js';
import { makeDocument } from '../support/document.mjs';

function bufferOf(text, more = {}) {
  const { eol, ends } = splitEnds(text);
  const doc = makeDocument(text, eol);
  return {
    doc,
    buffer: new TextBuffer({ path: 'p/a', name: 'a', language: 'plaintext', doc, ends, ...more }),
  };
}

test('buffers: text that was only read is written as it was read', () => {
  for (const text of ['', 'a', 'a\nb\n', 'a\r\nb\r\n', 'a\r\nb\nc\rd', '\r', 'x\n\r\n']) {
    const { buffer } = bufferOf(text);
    assert.equal(buffer.text(), text, JSON.stringify(text));
    assert.equal(buffer.dirty.value, false);
  }
});

test('buffers: an edit makes it unsaved, undoing it makes it saved again', () => {
  const { buffer, doc } = bufferOf('a\nb');
  let edits = 0;
  buffer.onEdit(() => edits++);
  doc.edit(1, 1, 'x');
  assert.equal(buffer.dirty.value, true);
  doc.undo();
  assert.equal(buffer.dirty.value, false);
  assert.equal(edits, 2);
});

test('buffers: lines that nobody touched keep their own ends', () => {
  const { buffer, doc } = bufferOf('a\r\nb\nc\rd');
  assert.equal(buffer.lineEnd.value, 'mixed');
  doc.edit(1, 1, '\nnew');
  assert.equal(buffer.text(), 'a\r\nnew\r\nb\nc\rd');
  doc.undo();
  assert.equal(buffer.text(), 'a\r\nb\nc\rd');
  assert.equal(buffer.dirty.value, false);
});

test('buffers: line ends change only when asked, and can be asked for in a mixed text', () => {
  const { buffer } = bufferOf('a\r\nb\nc');
  buffer.setLineEnd('lf');
  assert.equal(buffer.text(), 'a\nb\nc');
  assert.equal(buffer.lineEnd.value, 'lf');
  assert.equal(buffer.dirty.value, true, 'also where the document itself had LF before');
  buffer.setLineEnd('crlf');
  assert.equal(buffer.text(), 'a\r\nb\r\nc');
});

test('buffers: old ends of lines with CR alone are told and kept', () => {
  const { buffer, doc } = bufferOf('a\rb');
  assert.equal(buffer.lineEnd.value, 'cr');
  doc.edit(2, 2, '\nc');
  assert.equal(buffer.text(), 'a\rb\rc');
});

test('buffers: keys typed while saving stay unsaved', () => {
  const { buffer, doc } = bufferOf('a');
  doc.edit(1, 1, '1');
  const saving = buffer.state();
  doc.edit(1, 1, '2');
  buffer.markSaved(saving);
  assert.equal(buffer.dirty.value, true);
  doc.undo();
  assert.equal(buffer.dirty.value, false);
});

test('buffers: another encoding is a change', () => {
  const { buffer } = bufferOf('é', { encoding: 'windows1252' });
  assert.equal(buffer.encodingAgreed, false);
  assert.deepEqual([...(buffer.bytes() ?? [])], [0xe9]);
  buffer.setEncoding('utf8');
  assert.equal(buffer.dirty.value, true);
  assert.deepEqual([...(buffer.bytes() ?? [])], [0xc3, 0xa9]);
  assert.equal(buffer.encodingAgreed, true);
});

test('buffers: a restored text is unsaved whatever it is', () => {
  const { buffer, doc } = bufferOf('a');
  buffer.markUnsaved();
  assert.equal(buffer.dirty.value, true);
  doc.edit(1, 1, 'x');
  doc.undo();
  assert.equal(buffer.dirty.value, true);
});

test('buffers: taking over the text on disk leaves nothing unsaved', () => {
  const { buffer, doc } = bufferOf('a\nb');
  doc.edit(1, 1, 'mine');
  buffer.diskChanged.value = true;
  const text = 'x\r\ny\nz';
  const base = { size: 1, modified: 2, hash: 'h', racy: false };
  buffer.adopt({ text, encoding: 'utf8bom', base, ...splitEnds(text) });
  assert.equal(buffer.text(), text);
  assert.deepEqual(
    [buffer.dirty.value, buffer.diskChanged.value, buffer.encoding.value],
    [false, false, 'utf8bom'],
  );
});
