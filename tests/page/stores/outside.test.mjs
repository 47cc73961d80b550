import assert from 'node:assert/strict';
import { test } from 'node:test';
import { TextBuffer } from '../../../web/stores/buffers.js';
import { affectedFolders, affectedIds, diskChange, followDisk, toldAs } from '../../../web/stores/outside.js';
import { baseOf } from '../../../web/stores/saving.js';
import { deferred } from '../support/bridge.mjs';
import { makeDocument } from '../support/document.mjs';

const same = (path) => path;
const event = (paths, count = paths.length) => diskChange({ type: 'fs.changed', paths, count });

/** A disk with one file, or none, that counts how often it is read. */
function makeDisk(text, modified = 100) {
  const disk = { text, modified, reads: 0, hold: null, more: {} };
  const facts = () => ({ exists: true, directory: false, size: disk.text.length, modified: disk.modified });
  disk.ports = {
    info: async () => (disk.text === null ? null : facts()),
    read: async () => {
      disk.reads++;
      const { text: now } = disk;
      const file = {
        info: facts(),
        text: now,
        encoding: 'utf8',
        eol: '\n',
        ends: null,
        truncated: false,
        base: baseOf(now, now.length, disk.modified, 900_000),
        ...disk.more,
      };
      await disk.hold?.promise;
      return file;
    },
  };
  return disk;
}

function open(disk, more = {}) {
  const doc = makeDocument(disk.text);
  const base = baseOf(disk.text, disk.text.length, disk.modified, 900_000);
  return { doc, buffer: new TextBuffer({ path: 'p/a', name: 'a', language: '', doc, base, ...more }) };
}

test('outside: an event tells when its list is cut', () => {
  assert.deepEqual(event(['p/a']), { paths: ['p/a'], all: false });
  assert.equal(event(['p/a'], 201).all, true);
  assert.deepEqual(diskChange({ type: 'fs.changed' }), { paths: [], all: true });
  assert.deepEqual(diskChange({ paths: ['p/a', 7], count: 2 }), { paths: ['p/a'], all: true });
});

test('outside: open files are found by their own path and by a folder above them', () => {
  const ids = ['p/a', 'p/src/b', 'p/srcs/c'];
  assert.deepEqual(affectedIds(event(['p/a']), ids, same), ['p/a']);
  assert.deepEqual(affectedIds(event(['p/src']), ids, same), ['p/src/b']);
  assert.deepEqual(affectedIds(event(['p/other', '/elsewhere']), ids, same), []);
  assert.deepEqual(affectedIds(event(['p/other'], 500), ids, same), ids);
});

test('outside: a file opened through an inner folder is known by the name of the outer one', () => {
  const roots = [
    { name: 'p', path: '/w/p' },
    { name: 'lib', path: '/w/p/lib' },
  ];
  const named = (id) => toldAs(roots, id);
  assert.equal(named('lib/x.c'), 'p/lib/x.c');
  assert.equal(named('p/x.c'), 'p/x.c');
  assert.equal(named('gone/x.c'), 'gone/x.c');
  assert.deepEqual(affectedIds(event(['p/lib/x.c']), ['lib/x.c', 'p/x.c'], named), ['lib/x.c']);
  assert.deepEqual(affectedFolders(event(['p/lib/x.c']), ['lib', 'p'], named), ['lib']);
});

test('outside: the nearest listed folder is read again, and folders that an event names', () => {
  const listed = ['p', 'p/src', 'p/src/deep', 'q'];
  const folders = (...paths) => affectedFolders(event(paths), listed, same);
  assert.deepEqual(folders('p/src/new/a.c', 'p/src/b.c'), ['p/src']);
  assert.deepEqual(folders('p/a'), ['p']);
  assert.deepEqual(folders('p/src'), ['p', 'p/src', 'p/src/deep']);
  assert.deepEqual(folders('q'), ['q']);
  assert.deepEqual(folders('/elsewhere/x'), []);
  assert.deepEqual(affectedFolders(event(['p/a'], 201), listed, same), listed);
});

test('outside: what the tree hides makes nothing be read again', () => {
  const hidden = ['p/.git/index', 'p/.marlin/backups/x', 'p/.git'];
  assert.deepEqual(affectedFolders(event(hidden), ['p'], same), []);
  assert.deepEqual(affectedFolders(event(['p/.github/x']), ['p'], same), ['p']);
});

test('outside: a text without changes follows, and undo brings the old one back', async () => {
  const disk = makeDisk('one\n');
  const { buffer, doc } = open(disk);
  Object.assign(disk, { text: 'two\n', modified: 101 });
  assert.equal(await followDisk(buffer, disk.ports), 'reloaded');
  assert.equal(buffer.text(), 'two\n');
  assert.equal(buffer.dirty.value, false);
  assert.equal(buffer.base.modified, 101);
  doc.undo();
  assert.equal(buffer.text(), 'one\n');
  assert.equal(buffer.dirty.value, true);
});

test('outside: the same size and time need no reading, unless they cannot be trusted', async () => {
  const disk = makeDisk('one\n');
  const { buffer } = open(disk);
  assert.equal(await followDisk(buffer, disk.ports), 'same');
  assert.equal(disk.reads, 0);
  buffer.base.racy = true;
  disk.text = 'two\n';
  assert.equal(await followDisk(buffer, disk.ports), 'reloaded');
});

test('outside: a file that was only touched changes nothing', async () => {
  const disk = makeDisk('one\n');
  const { buffer, doc } = open(disk);
  doc.edit(1, 1, 'typed ');
  buffer.diskChanged.value = true;
  disk.modified = 150;
  assert.equal(await followDisk(buffer, disk.ports), 'same');
  assert.equal(buffer.base.modified, 150);
  assert.equal(buffer.diskChanged.value, false, 'the disk went back to what the changes were made to');
});

test('outside: with changes of its own the text stays, and the user decides', async () => {
  const disk = makeDisk('one\n');
  const { buffer, doc } = open(disk);
  doc.edit(1, 1, 'mine ');
  const mine = buffer.text();
  Object.assign(disk, { text: 'theirs\n', modified: 101 });
  assert.equal(await followDisk(buffer, disk.ports), 'decide');
  assert.equal(buffer.text(), mine);
  assert.equal(buffer.diskChanged.value, true);
  assert.equal(buffer.base.modified, 100, 'saving still sees that the disk is another');
});

test('outside: both made the same change, so there is nothing to decide', async () => {
  const disk = makeDisk('one\n');
  const { buffer, doc } = open(disk);
  doc.edit(1, 1, '!');
  Object.assign(disk, { text: buffer.text(), modified: 101 });
  assert.equal(await followDisk(buffer, disk.ports), 'same');
  assert.equal(buffer.dirty.value, false);
  assert.equal(buffer.diskChanged.value, false);
});

test('outside: the text of a deleted file stays, unsaved, and saving counts as bringing it back', async () => {
  const disk = makeDisk('one\n');
  const { buffer } = open(disk);
  disk.text = null;
  assert.equal(await followDisk(buffer, disk.ports), 'gone');
  assert.equal(await followDisk(buffer, disk.ports), 'gone');
  assert.equal(buffer.text(), 'one\n');
  assert.deepEqual([buffer.gone.value, buffer.dirty.value], [true, true]);
  buffer.markSaved();
  assert.deepEqual([buffer.gone.value, buffer.dirty.value], [false, false]);
});

test('outside: a file that comes back as it was makes its text saved again', async () => {
  const disk = makeDisk('one\n');
  const { buffer } = open(disk);
  disk.text = null;
  await followDisk(buffer, disk.ports);
  await followDisk(buffer, disk.ports);
  Object.assign(disk, { text: 'one\n', modified: 120 });
  assert.equal(await followDisk(buffer, disk.ports), 'same');
  assert.deepEqual([buffer.gone.value, buffer.dirty.value], [false, false]);
});

test('outside: a file that comes back as another is taken over, or decided about', async () => {
  for (const typed of [false, true]) {
    const disk = makeDisk('one\n');
    const { buffer, doc } = open(disk);
    disk.text = null;
    await followDisk(buffer, disk.ports);
    if (typed) doc.edit(1, 1, '!');
    Object.assign(disk, { text: 'other\n', modified: 120 });
    assert.equal(await followDisk(buffer, disk.ports), typed ? 'decide' : 'reloaded');
    assert.equal(buffer.gone.value, false);
    assert.equal(buffer.text(), typed ? 'one!\n' : 'other\n');
  }
});

test('outside: a file that is no text any more, or too large now, is for the user to decide', async () => {
  for (const more of [{ text: null }, { truncated: true }]) {
    const disk = makeDisk('one\n');
    const { buffer } = open(disk);
    Object.assign(disk, { text: 'x', modified: 101, more });
    assert.equal(await followDisk(buffer, disk.ports), 'decide');
    assert.equal(buffer.text(), 'one\n');
  }
  const disk = makeDisk('one\n');
  const { buffer } = open(disk, { readOnly: 'truncated' });
  Object.assign(disk, { text: 'more\n', modified: 101, more: { truncated: true } });
  assert.equal(await followDisk(buffer, disk.ports), 'reloaded', 'a cut text stays a cut one');
});

test('outside: a text that was saved while its file was read is left alone', async () => {
  const disk = makeDisk('one\n');
  const { buffer } = open(disk);
  Object.assign(disk, { text: 'two\n', modified: 101, hold: deferred() });
  const looking = followDisk(buffer, disk.ports);
  buffer.base = { ...buffer.base };
  disk.hold.resolve();
  assert.equal(await looking, 'same');
  assert.equal(buffer.text(), 'one\n');
});

test('outside: keys typed while the file was read are kept', async () => {
  const disk = makeDisk('one\n');
  const { buffer, doc } = open(disk);
  Object.assign(disk, { text: 'two\n', modified: 101, hold: deferred() });
  const looking = followDisk(buffer, disk.ports);
  doc.edit(1, 1, '!');
  const typed = buffer.text();
  disk.hold.resolve();
  assert.equal(await looking, 'decide');
  assert.equal(buffer.text(), typed);
});
