import assert from 'node:assert/strict';
import { test } from 'node:test';
import { TextBuffer } from '../../../web/stores/buffers.js';
import { decodeBytes } from '../../../web/stores/encoding.js';
import { baseOf, contentsOf, decideSave, saveBuffer, serialQueue } from '../../../web/stores/saving.js';
import { deferred } from '../support/bridge.mjs';
import { makeDocument } from '../support/document.mjs';

const utf8 = (text) => new TextEncoder().encode(text);

/** A disk with one file, as the bridge shows it: whole seconds, contents as UTF-8. */
function makeDisk(bytes, modified = 100) {
  const disk = { bytes, modified, seconds: 200, calls: [], fail: '' };
  disk.ports = {
    now: () => disk.seconds * 1000,
    info: async () =>
      disk.bytes && { exists: true, directory: false, size: disk.bytes.length, modified: disk.modified },
    contents: async () => contentsOf(disk.bytes),
    write: async (path, next) => store('write', next),
    create: async (path, next) => store('create', next),
  };
  const store = (call, next) => {
    disk.calls.push(call);
    if (disk.fail) throw new Error(disk.fail);
    disk.bytes = next;
    disk.modified = disk.seconds;
  };
  return disk;
}

/** A buffer as it is after reading the disk at a second. */
function openBuffer(disk, atSecond = 150) {
  const { text, encoding } = decodeBytes(disk.bytes);
  const doc = makeDocument(text);
  const base = baseOf(contentsOf(disk.bytes), disk.bytes.length, disk.modified, atSecond * 1000);
  return { doc, buffer: new TextBuffer({ path: 'p/a', name: 'a', language: '', doc, encoding, base }) };
}

test('saving: the decision by size and time', () => {
  const base = { size: 3, modified: 9, hash: '', racy: false };
  const facts = (size, modified) => ({ exists: true, directory: false, size, modified });
  assert.equal(decideSave(base, facts(3, 9)), 'write');
  assert.equal(decideSave(base, facts(4, 9)), 'look');
  assert.equal(decideSave(base, facts(3, 10)), 'look');
  assert.equal(decideSave({ ...base, racy: true }, facts(3, 9)), 'look');
  assert.equal(decideSave(base, null), 'create');
  assert.equal(decideSave(null, facts(3, 9)), 'look');
});

test('saving: a file read in the second it was written cannot be told by its time', () => {
  assert.equal(baseOf('a', 1, 100, 100_900).racy, true);
  assert.equal(baseOf('a', 1, 100, 101_900).racy, true);
  assert.equal(baseOf('a', 1, 100, 102_000).racy, false);
});

test('saving: an unchanged file is written at once', async () => {
  const disk = makeDisk(utf8('a'));
  const { buffer, doc } = openBuffer(disk);
  doc.edit(1, 1, 'b');
  assert.equal(await saveBuffer(buffer, disk.ports), 'saved');
  assert.deepEqual(disk.bytes, utf8('ab'));
  assert.equal(buffer.dirty.value, false);
  assert.deepEqual([buffer.base.size, buffer.base.modified], [2, 200]);
});

test("saving: somebody else's text is not written over", async () => {
  const disk = makeDisk(utf8('a'));
  const { buffer, doc } = openBuffer(disk);
  doc.edit(1, 1, 'b');
  Object.assign(disk, { bytes: utf8('theirs'), modified: 160 });
  assert.equal(await saveBuffer(buffer, disk.ports), 'conflict');
  assert.deepEqual(disk.bytes, utf8('theirs'));
  assert.deepEqual(disk.calls, []);
  assert.deepEqual([buffer.dirty.value, buffer.diskChanged.value], [true, true]);
  assert.equal(await saveBuffer(buffer, disk.ports, { overwrite: true }), 'saved');
  assert.deepEqual(disk.bytes, utf8('ab'));
  assert.equal(buffer.diskChanged.value, false);
});

test('saving: a change of the same size in the same second is found by its text', async () => {
  const disk = makeDisk(utf8('a'), 150);
  const { buffer, doc } = openBuffer(disk, 150);
  doc.edit(1, 1, 'b');
  disk.bytes = utf8('z');
  assert.equal(await saveBuffer(buffer, disk.ports), 'conflict');
});

test('saving: a file that was only touched, or holds our text already, is no conflict', async () => {
  const disk = makeDisk(utf8('a'));
  const { buffer, doc } = openBuffer(disk);
  doc.edit(1, 1, 'b');
  disk.modified = 160;
  assert.equal(await saveBuffer(buffer, disk.ports), 'saved');
  doc.edit(1, 1, 'c');
  Object.assign(disk, { bytes: utf8('abc'), modified: 260, seconds: 270 });
  assert.equal(await saveBuffer(buffer, disk.ports), 'saved');
});

test('saving: a file deleted meanwhile is made again', async () => {
  const disk = makeDisk(utf8('a'));
  const { buffer } = openBuffer(disk);
  disk.bytes = null;
  buffer.markUnsaved();
  assert.equal(await saveBuffer(buffer, disk.ports), 'saved');
  assert.deepEqual(disk.calls, ['create']);
});

test('saving: a failure throws the words and leaves everything unsaved', async () => {
  const disk = makeDisk(utf8('a'));
  const { buffer, doc } = openBuffer(disk);
  doc.edit(1, 1, 'b');
  disk.fail = 'could not write the file';
  await assert.rejects(saveBuffer(buffer, disk.ports), /^Error: could not write the file$/);
  assert.equal(buffer.dirty.value, true);
  assert.equal(buffer.text(), 'ab');
});

test('saving: keys typed while the file is written stay unsaved', async () => {
  const disk = makeDisk(utf8('a'));
  const { buffer, doc } = openBuffer(disk);
  doc.edit(1, 1, 'b');
  const gate = deferred();
  const { write } = disk.ports;
  disk.ports.write = async (path, bytes) => {
    await gate.promise;
    return write(path, bytes);
  };
  const saving = saveBuffer(buffer, disk.ports);
  await Promise.resolve();
  await Promise.resolve();
  await Promise.resolve();
  doc.edit(1, 1, 'c');
  gate.resolve();
  assert.equal(await saving, 'saved');
  assert.deepEqual(disk.bytes, utf8('ab'));
  assert.equal(buffer.dirty.value, true);
  assert.equal(await saveBuffer(buffer, disk.ports), 'saved');
  assert.deepEqual(disk.bytes, utf8('abc'));
});

test('saving: what another program wrote between our write and our look is seen at the next save', async () => {
  const disk = makeDisk(utf8('a'));
  const { buffer, doc } = openBuffer(disk);
  doc.edit(1, 1, 'b');
  const { write } = disk.ports;
  disk.ports.write = async (path, bytes) => {
    await write(path, bytes);
    disk.bytes = utf8('theirs');
  };
  assert.equal(await saveBuffer(buffer, disk.ports), 'saved');
  disk.ports.write = write;
  doc.edit(1, 1, 'c');
  assert.equal(await saveBuffer(buffer, disk.ports), 'conflict');
});

test('saving: a text that its encoding cannot hold is not written', async () => {
  const disk = makeDisk(Uint8Array.of(0xe9));
  const { buffer, doc } = openBuffer(disk);
  doc.edit(1, 1, '→');
  assert.equal(await saveBuffer(buffer, disk.ports), 'unencodable');
  assert.deepEqual(disk.calls, []);
});

test('saving: Windows-1252 goes back as it came', async () => {
  const disk = makeDisk(Uint8Array.of(0xe9, 0x80, 0x81));
  const { buffer, doc } = openBuffer(disk);
  doc.edit(1, 1, '!');
  assert.equal(await saveBuffer(buffer, disk.ports), 'saved');
  assert.deepEqual([...disk.bytes], [0xe9, 0x80, 0x81, 0x21]);
});

test('saving: tasks of one key run in turn, those of others do not wait, a failure does not stop the next', async () => {
  const inTurn = serialQueue();
  const gate = deferred();
  const order = [];
  const first = inTurn('a', async () => {
    await gate.promise;
    order.push('a1');
    throw new Error('no');
  });
  const second = inTurn('a', async () => order.push('a2'));
  await inTurn('b', async () => order.push('b'));
  gate.resolve();
  await assert.rejects(first, /no/);
  await second;
  assert.deepEqual(order, ['b', 'a1', 'a2']);
});
