import assert from 'node:assert/strict';
import { mock, test } from 'node:test';
import * as B from '../../../web/stores/backups.js';
import { deferred } from '../support/bridge.mjs';

const facts = {
  path: 'p/a.txt',
  name: 'a.txt',
  language: 'plaintext',
  encoding: 'utf8',
  eol: '\n',
  ends: null,
  base: null,
};
const encode = ({ text, ...rest }) => B.backupHead(rest, text.length) + text;
const taking = (text) => async () => ({ facts, pieces: [text.slice(0, 2), text.slice(2)] });
const backup = (text, serial = 1, more = {}) => ({ ...facts, text, serial, ...more });

function makePorts() {
  const disk = new Map();
  const log = [];
  return {
    disk,
    log,
    makeFolder: async (folder) => log.push(`folder ${folder}`),
    write: async (path, pieces) => {
      log.push(`write ${path.split('.').at(-1)}`);
      disk.set(path, pieces.join(''));
    },
  };
}

test('backups: a text comes back as it was, whatever is in it', () => {
  for (const text of ['', 'a\nb', '\r\n\n', '{"marlinBackup":1}\n', 'ü😀\u0000', '\uFEFFx']) {
    const kept = backup(text, 3, { ends: 'wn', base: { size: 1, modified: 2, hash: 'h', racy: false } });
    assert.deepEqual(B.decodeBackup(encode(kept)), kept);
  }
});

test('backups: an emptied file and one that was cut anywhere give nothing', () => {
  const whole = encode(backup('some text\nwith lines'));
  for (let length = 0; length < whole.length; length++) {
    assert.equal(B.decodeBackup(whole.slice(0, length)), null, `cut at ${length}`);
  }
  for (const other of ['x\ny', '{}\n', 'null\n', '{"marlinBackup":1}\n', '[1]\n'])
    assert.equal(B.decodeBackup(other), null);
});

test('backups: two files take turns, named after the path, below its root', () => {
  const [even, odd] = B.backupPaths('p/src/a.txt');
  assert.match(even, /^p\/\.marlin\/backups\/[0-9a-f]{16}\.0$/);
  assert.equal(odd, even.replace(/0$/, '1'));
  assert.notEqual(B.backupPaths('p/b')[0], B.backupPaths('p/a')[0]);
});

test('backups: the newest whole one of each file counts', () => {
  const found = [backup('old', 4), null, backup('new', 5), backup('other', 1, { path: 'p/b' })];
  assert.deepEqual(
    B.newestBackups(found).map((each) => each.text),
    ['new', 'other'],
  );
  const pages = [
    backup('one', 0, { path: '', name: 'untitled:1' }),
    backup('two', 0, { path: '', name: 'untitled:2' }),
  ];
  assert.equal(B.newestBackups(pages).length, 2);
});

test('backups: a write cut short by a crash leaves the one before it', async () => {
  const ports = makePorts();
  const slots = new B.BackupSlots(ports);
  await slots.keep('p/a.txt', taking('first'));
  await slots.keep('p/a.txt', taking('second'));
  await slots.keep('p/a.txt', taking('third'));
  const [even, odd] = B.backupPaths('p/a.txt');
  const read = () =>
    B.newestBackups([even, odd].map((path) => B.decodeBackup(ports.disk.get(path))))[0]?.text;
  assert.equal(read(), 'third');
  ports.disk.set(odd, ports.disk.get(odd).slice(0, -1));
  assert.equal(read(), 'second');
});

test('backups: numbers go on where the last session stopped', async () => {
  const ports = makePorts();
  await new B.BackupSlots(ports, 7).keep('p/a.txt', taking('x'));
  const written = [...ports.disk.values()].map(B.decodeBackup);
  assert.deepEqual(
    written.map((each) => each?.serial),
    [8],
  );
});

test('backups: what is no longer needed is emptied and written again later, in one folder made once', async () => {
  const ports = makePorts();
  const slots = new B.BackupSlots(ports);
  await slots.keep('p/a.txt', taking('x'));
  await slots.empty();
  assert.deepEqual([...ports.disk.values()], ['']);
  await slots.empty();
  await slots.keep('p/a.txt', taking('y'));
  assert.deepEqual(ports.log, ['folder p/.marlin/backups', 'write 1', 'write 1', 'write 0']);
  await slots.empty(['p/.marlin/backups/old.1']);
  assert.equal(ports.disk.get('p/.marlin/backups/old.1'), '');
});

test('backups: writes do not overlap, and a failed one does not stop the next', async () => {
  const ports = makePorts();
  const slots = new B.BackupSlots(ports);
  const gate = deferred();
  const { write } = ports;
  ports.write = async () => {
    await gate.promise;
    ports.write = write;
    throw new Error('full');
  };
  const first = slots.keep('p/a.txt', taking('x'));
  const second = slots.keep('p/a.txt', taking('y'));
  gate.resolve();
  await assert.rejects(first, /full/);
  await second;
  assert.equal(B.decodeBackup([...ports.disk.values()][0])?.text, 'y');
});

test('backups: whether the disk is still what the text was made from', () => {
  const base = { size: 3, modified: 9, hash: '', racy: true };
  assert.ok(B.backupFits(base, { size: 3, modified: 9 }));
  assert.ok(!B.backupFits(base, { size: 4, modified: 9 }));
  assert.ok(!B.backupFits(base, { size: 3, modified: 10 }));
  assert.ok(!B.backupFits(base, null));
  assert.ok(!B.backupFits(null, { size: 3, modified: 9 }));
  assert.ok(B.backupFits(null, null));
});

test('backups: one comes within a second of the last key, and not much later while keys keep coming', () => {
  mock.timers.enable({ apis: ['setTimeout', 'Date'] });
  try {
    const at = [];
    const quiet = B.whenQuiet(() => at.push(Date.now()));
    quiet.touch();
    mock.timers.tick(B.kBackupAfterMs);
    assert.deepEqual(at, [B.kBackupAfterMs]);
    const start = Date.now();
    for (let typed = 0; typed < 40; typed++) {
      quiet.touch();
      mock.timers.tick(100);
    }
    assert.ok(at[1] - start <= B.kBackupAtLeastMs + 100, `${at[1] - start} ms`);
    assert.ok(B.kBackupAfterMs < 1000);
    quiet.cancel();
    const before = at.length;
    quiet.touch();
    quiet.flush();
    quiet.flush();
    mock.timers.tick(5000);
    assert.equal(at.length, before + 1, 'flushed once');
  } finally {
    mock.timers.reset();
  }
});
