import assert from 'node:assert/strict';
import { beforeEach, mock, test } from 'node:test';
import { encodeText } from '../../../web/stores/encoding.js';
import { diffLocal, diffRule, isDiff } from '../../../web/stores/gitdiffs.js';
import { bytesHash, MERGE_AT_MOST_MS, MERGE_MS, MOST_BYTES, MOST_VERSIONS, readVersions, withText } from '../../../web/stores/localversions.js';
import { LocalVersions } from '../../../web/stores/localversionsdisk.js';
import * as shown from '../../../web/stores/localversionsshown.js';
import * as times from '../../../web/stores/localversionstimeline.js';
import { entries } from '../../../web/stores/log.js';
import { watchedChange, watchedPorts, watchSaves } from '../../../web/stores/savewatch.js';
import { applyConfig } from '../../../web/stores/settings.js';
import * as uistate from '../../../web/stores/uistate.js';
import { startBridge } from '../support/bridge.mjs';
import { makeDisk } from '../support/versionsdisk.mjs';

const kSoon = MERGE_MS - 1;
const bytesOf = (text) => new TextEncoder().encode(text);
const textOf = (bytes) => new TextDecoder('utf-8', { ignoreBOM: true }).decode(bytes);
const facts = (text, time, cause = 'saved', encoding = 'utf8') => ({
  cause,
  time,
  encoding,
  size: text.length,
  hash: bytesHash(bytesOf(text)),
});
/** The list after texts, as [text, time, cause]. */
function listed(...texts) {
  let versions = [];
  for (const [text, time, cause] of texts) versions = withText(versions, facts(text, time, cause), versions)?.versions ?? versions;
  return versions;
}
const timesOf = (versions) => versions.map(({ time }) => time);

/** A fresh disk, and local versions on it; kept texts are a minute apart unless said otherwise. */
function make(roots) {
  const disk = makeDisk(roots);
  const versions = new LocalVersions(disk.ports);
  let clock = 1_700_000_000_000;
  const keep = (path, text, { cause = 'saved', after = 60000, encoding = 'utf8' } = {}) => {
    clock += after;
    const bytes = typeof text === 'string' ? encodeText(text, encoding) : text;
    return versions.keep(path, [{ cause, bytes, encoding, time: clock }]);
  };
  const texts = async (path) => {
    const list = await versions.versions(path);
    return Promise.all(list.map(async ({ time }) => textOf((await versions.read(path, time)).bytes)));
  };
  return { ...disk, versions, keep, texts, again: () => new LocalVersions(disk.ports) };
}

/** The files of versions with something in them, by their last name. */
const slots = ({ files }) =>
  [...files].filter(([path, bytes]) => /\/\d+$/.test(path) && bytes.length > 0).map(([path]) => Number(path.slice(path.lastIndexOf('/') + 1)));

test('local versions: the same text twice is one version, the same text later is another', () => {
  assert.deepEqual(timesOf(listed(['a', 1e6], ['a', 2e6])), [1e6]);
  assert.deepEqual(timesOf(listed(['a', 1e6], ['b', 2e6], ['a', 3e6])), [1e6, 2e6, 3e6]);
  const [, converted] = withText(listed(['a', 1e6]), { ...facts('a', 2e6), encoding: 'utf8bom' }, []).versions;
  assert.equal(converted.encoding, 'utf8bom', 'another encoding is another text');
});

test('local versions: a save soon after the last one takes its place, but not for longer than a minute', () => {
  assert.deepEqual(timesOf(listed(['a', 1e6], ['b', 1e6 + kSoon])), [1e6 + kSoon]);
  assert.deepEqual(timesOf(listed(['a', 1e6], ['b', 1e6 + MERGE_MS])), [1e6, 1e6 + MERGE_MS]);
  const steps = Array.from({ length: 14 }, (_, at) => [`text ${at}`, 1e6 + at * 5000]);
  assert.deepEqual(timesOf(listed(...steps)), [1e6 + MERGE_AT_MOST_MS - 5000, 1e6 + MERGE_AT_MOST_MS + 5000]);
  // Back to what stood before: nothing is left of the step between.
  assert.deepEqual(timesOf(listed(['a', 1e6], ['b', 2e6], ['a', 2e6 + kSoon])), [1e6]);
});

test('local versions: only a save takes the place of a save', () => {
  for (const cause of ['found', 'restored', 'unsaved']) {
    assert.equal(listed(['a', 1e6, cause], ['b', 1e6 + 1]).length, 2, `after ${cause}`);
    assert.equal(listed(['a', 1e6], ['b', 1e6 + 1, cause]).length, 2, `before ${cause}`);
  }
});

test('local versions: what is found on disk is known, also behind a text that never got there', () => {
  assert.equal(listed(['a', 1e6], ['b', 2e6, 'unsaved'], ['a', 3e6, 'found']).length, 2);
  assert.equal(listed(['a', 1e6], ['b', 2e6, 'unsaved'], ['c', 3e6, 'found']).length, 3);
  assert.equal(listed(['a', 1e6], ['b', 2e6, 'unsaved'], ['a', 3e6]).length, 3, 'a save is one in any case');
});

test('local versions: times name them, whatever the clock does', () => {
  const back = listed(['a', 5e6], ['b', 1e6], ['c', 1e6]);
  assert.deepEqual(timesOf(back), [5e6, 5e6 + 1, 5e6 + 2], 'a clock that was put back merges nothing');
  assert.deepEqual(timesOf(listed(['a', 1e6], ['b', 1e6, 'found'])), [1e6, 1e6 + 1]);
});

test('local versions: the oldest goes, and no place is written that a list names', () => {
  let versions = [];
  const seen = new Set();
  for (let at = 0; at < 3 * MOST_VERSIONS; at++) {
    const next = withText(versions, facts(`text ${at}`, 1e6 + at * 60000), versions);
    assert.ok(!versions.some(({ slot }) => slot === next.slot), `text ${at}`);
    seen.add(next.slot);
    versions = next.versions;
  }
  assert.equal(versions.length, MOST_VERSIONS);
  assert.equal(versions[0].time, 1e6 + 2 * MOST_VERSIONS * 60000);
  assert.equal(seen.size, MOST_VERSIONS + 1, 'places are used again');
});

test('local versions: a list that makes no sense is left out in part or whole', () => {
  const good = { ...facts('a', 5), since: 5, slot: 0 };
  assert.deepEqual(readVersions([null, 4, {}, { ...good, cause: 'x' }, { ...good, slot: -1 }, { ...good, encoding: 'no' }, good]), [good]);
  for (const raw of [undefined, null, {}, 'x']) assert.deepEqual(readVersions(raw), []);
});

test('local versions on disk: they outlive a restart, byte for byte', async () => {
  const { keep, again, files } = make();
  const samples = ['a\r\nb\rc\n', '', 'ü😀', 'no end'];
  for (const text of samples) await keep('p/src/a.txt', text);
  await keep('p/src/a.txt', 'mark\n', { encoding: 'utf8bom' });
  await keep('p/src/a.txt', '€ü', { encoding: 'windows1252' });
  const later = again();
  const list = await later.versions('p/src/a.txt');
  const read = await Promise.all(list.map(({ time }) => later.read('p/src/a.txt', time)));
  assert.deepEqual(read.slice(0, 4).map(({ bytes }) => textOf(bytes)), samples);
  assert.deepEqual([...read[4].bytes.slice(0, 4)], [0xef, 0xbb, 0xbf, 0x6d]);
  assert.deepEqual([...read[5].bytes], [0x80, 0xfc]);
  assert.equal(read[5].version.encoding, 'windows1252');
  assert.equal(textOf(files.get('p/.marlin/history/obj/.gitignore')), '*\n');
});

test('local versions on disk: large texts and those with a NUL are not kept, and leave no folder', async () => {
  const { keep, folders, versions } = make();
  assert.equal(await keep('p/a.txt', 'x'.repeat(MOST_BYTES + 1)), false);
  assert.equal(await keep('p/a.txt', 'a\0b'), false);
  assert.deepEqual([...folders], ['p']);
  assert.equal(await keep('p/a.txt', 'x'.repeat(MOST_BYTES)), true);
  assert.equal((await versions.versions('p/a.txt')).length, 1);
  assert.equal(await keep('p/a.txt', 'x'.repeat(MOST_BYTES)), false, 'nothing new');
});

test('local versions on disk: nothing that is not there is listed or read', async () => {
  const { versions, asked } = make();
  assert.deepEqual(await versions.versions('p/a.txt'), []);
  await versions.remove('p/a.txt');
  await versions.renamed('p/a.txt', 'p/b.txt');
  await versions.clear('p');
  assert.deepEqual([...new Set(asked)], ['list p']);
});

test('local versions on disk: a folder that is no root gets nothing', async () => {
  const { keep, folders, asked } = make(['p']);
  await assert.rejects(keep('q/a.txt', 'a'), /cannot list: q/);
  assert.deepEqual([...folders], ['p']);
  assert.ok(!asked.some((words) => words.startsWith('write')));
});

test('local versions on disk: a crash while a list is written leaves the one before it', async () => {
  const { keep, texts, files } = make();
  for (const text of ['one', 'two', 'three']) await keep('p/a.txt', text);
  const [index] = [...files.keys()].filter((path) => path.endsWith('/index.1'));
  const whole = files.get(index);
  for (const length of [0, 1, whole.length - 1]) {
    files.set(index, whole.slice(0, length));
    assert.deepEqual(await texts('p/a.txt'), ['one', 'two']);
  }
  await keep('p/a.txt', 'four');
  assert.deepEqual(await texts('p/a.txt'), ['one', 'two', 'four']);
});

test('local versions on disk: bytes that were cut short are told, not shown', async () => {
  const { keep, versions, files } = make();
  await keep('p/a.txt', 'one');
  const [{ time }] = await versions.versions('p/a.txt');
  const [slot] = [...files.keys()].filter((path) => /\/\d+$/.test(path));
  for (const damaged of ['on', 'onx']) {
    files.set(slot, bytesOf(damaged));
    await assert.rejects(versions.read('p/a.txt', time), /not written whole/);
  }
  await assert.rejects(versions.read('p/a.txt', time + 1), /no longer kept/);
  await assert.rejects(versions.read('p/b.txt', time), /no longer kept/);
});

test('local versions on disk: a list on disk holds until the next one is there, also for two texts at once', async () => {
  const disk = make();
  for (let at = 0; at < MOST_VERSIONS; at++) await disk.keep('p/a.txt', `text ${at}`);
  const { write } = disk.ports;
  const before = await disk.texts('p/a.txt');
  disk.ports.write = async (path, bytes) => {
    if (/index\.\d$/.test(path)) throw new Error('disk full');
    return write(path, bytes);
  };
  const both = ['new', 'newer'].map((text, at) => ({ cause: 'found', bytes: bytesOf(text), encoding: 'utf8', time: 2e12 + at }));
  await assert.rejects(disk.versions.keep('p/a.txt', both), /disk full/);
  disk.ports.write = write;
  assert.deepEqual(await disk.texts('p/a.txt'), before);
});

test('local versions on disk: what goes is written over or emptied, never deleted', async () => {
  const disk = make();
  for (let at = 0; at < MOST_VERSIONS + 20; at++) await disk.keep('p/a.txt', `text ${at}`);
  assert.equal((await disk.texts('p/a.txt'))[0], 'text 20');
  assert.equal(slots(disk).length, MOST_VERSIONS + 1);
  const list = await disk.versions.versions('p/a.txt');
  await disk.versions.remove('p/a.txt', ({ time }) => time === list[3].time);
  assert.ok(!(await disk.texts('p/a.txt')).includes('text 23'));
  assert.ok(![...disk.files.values()].some((bytes) => textOf(bytes) === 'text 23'), 'its words are gone from the disk');
  assert.equal(slots(disk).length, MOST_VERSIONS - 1);
  await disk.versions.remove('p/a.txt');
  assert.deepEqual([await disk.texts('p/a.txt'), slots(disk)], [[], []]);
  assert.ok(!disk.asked.some((words) => words.startsWith('trash')));
  await disk.keep('p/a.txt', 'again');
  assert.deepEqual(await disk.texts('p/a.txt'), ['again']);
  await disk.versions.clear('p');
  assert.deepEqual(disk.asked.filter((words) => words.startsWith('trash')), ['trash p/.marlin/history']);
  assert.deepEqual(await disk.texts('p/a.txt'), []);
});

test('local versions on disk: they follow a rename of the file, and of a folder above it', async () => {
  const { keep, texts, versions } = make();
  await keep('p/src/a.txt', 'a');
  await keep('p/src/deep/b.txt', 'b');
  await keep('p/srcs.txt', 'other');
  await versions.renamed('p/src/a.txt', 'p/src/c.txt');
  assert.deepEqual([await texts('p/src/a.txt'), await texts('p/src/c.txt')], [[], ['a']]);
  await versions.renamed('p/src', 'p/lib');
  assert.deepEqual([await texts('p/lib/c.txt'), await texts('p/lib/deep/b.txt'), await texts('p/srcs.txt')], [['a'], ['b'], ['other']]);
  await keep('p/lib/c.txt', 'more');
  assert.deepEqual(await texts('p/lib/c.txt'), ['a', 'more']);
});

test('local versions on disk: they go along into another folder of the workspace', async () => {
  const { keep, texts, versions, asked } = make(['p', 'q']);
  await keep('p/a.txt', 'a');
  await keep('p/b.txt', 'b');
  await keep('p/a.txt.old', 'older');
  await versions.renamed('p/a.txt', 'q/sub/a.txt');
  assert.deepEqual([await texts('p/a.txt'), await texts('q/sub/a.txt'), await texts('p/b.txt')], [[], ['a'], ['b']]);
  assert.deepEqual(await texts('p/a.txt.old'), ['older']);
  assert.equal(asked.filter((words) => words.startsWith('move')).length, 1);
});

test('local versions on disk: odd names are names like others', async () => {
  const { keep, texts } = make();
  for (const name of ['__proto__', 'constructor', 'a b"\\.txt']) {
    await keep(`p/${name}`, name);
    assert.deepEqual(await texts(`p/${name}`), [name]);
  }
});

test('local versions on disk: a folder that went meanwhile is made again', async () => {
  const { keep, texts, ports } = make();
  await keep('p/a.txt', 'one');
  await ports.trash('p/.marlin');
  await keep('p/a.txt', 'two');
  assert.deepEqual(await texts('p/a.txt'), ['two']);
});

// What follows goes through the page's own store, over a bridge.

let disk = makeDisk();
/** Routes that fail. @type {Set<string>} */
const failing = new Set();
let gitTimes = '';
await startBridge(async ({ route, query, body }) => {
  if (failing.has(route)) return { status: 400, body: { error: 'read-only file system' } };
  const { path, contents = '', directory, command = '' } = body ? JSON.parse(body) : {};
  try {
    if (route === 'tree') return { body: { entries: await disk.ports.list(query.get('path')) } };
    if (route === 'file/raw') return { body: textOf(await disk.ports.read(query.get('path'))) };
    if (route === 'file/write') await disk.ports.write(path, bytesOf(contents));
    if (route === 'file/create' && directory) await disk.ports.makeFolder(path);
    if (route === 'file/delete') await disk.ports.trash(path);
    if (route === 'blueprint/exec') return { body: { ok: true, exitCode: command.includes('%ct') && gitTimes ? 0 : 1, out: gitTimes, err: '' } };
  } catch (error) {
    return { status: 404, body: { error: error.message } };
  }
  return { body: { ok: true } };
});
const saved = (text) => ({ bytes: bytesOf(text), encoding: 'utf8', cause: 'saved' });
const shownTexts = async () =>
  Promise.all(shown.shownVersions.value.map(async ({ time }) => (await shown.readVersion('p/a.txt', time)).text));
let now = 1_800_000_000_000;

beforeEach(() => {
  disk = makeDisk();
  failing.clear();
  applyConfig({ roots: [{ name: 'p', path: '/w/p' }] });
  shown.setKeeping(true);
  shown.showVersionsOf('');
  mock.method(Date, 'now', () => (now += 60000));
  entries.value = [];
});

test('local versions: the first save keeps what stood before it, and later ones what others wrote', async () => {
  shown.showVersionsOf('p/a.txt');
  disk.files.set('p/a.txt', bytesOf('before'));
  const found = () => shown.findBefore('p/a.txt', { size: 6, modified: 1_600_000_000, binary: false });
  await shown.keepText('p/a.txt', saved('one'), await found());
  assert.deepEqual(await shownTexts(), ['before', 'one']);
  assert.deepEqual(shown.shownVersions.value.map(({ cause }) => cause), ['found', 'saved']);
  assert.equal(shown.shownVersions.value[0].time, 1_600_000_000_000, 'it is as old as the file was');
  disk.files.set('p/a.txt', bytesOf('one'));
  await shown.keepText('p/a.txt', saved('two'), await found());
  disk.files.set('p/a.txt', bytesOf('from elsewhere'));
  await shown.keepText('p/a.txt', saved('three'), await found());
  assert.deepEqual(await shownTexts(), ['before', 'one', 'two', 'from elsewhere', 'three']);
});

test('local versions: nothing is kept of what is too large, no text, the own folder, or when it is switched off', async () => {
  disk.files.set('p/a.txt', bytesOf('x'));
  const facts = { size: 1, modified: 1, binary: false };
  assert.equal(await shown.findBefore('p/a.txt', { ...facts, size: MOST_BYTES + 1 }), null);
  assert.equal(await shown.findBefore('p/a.txt', { ...facts, binary: true }), null);
  assert.equal(await shown.findBefore('p/a.txt', null), null);
  assert.equal(await shown.findBefore('p/.marlin/history/x/0', facts), null);
  assert.equal(await shown.findBefore('q/a.txt', facts), null, 'no folder of the workspace');
  await shown.keepText('p/.marlin/chats/x', saved('x'));
  await shown.keepText('q/a.txt', saved('x'));
  shown.setKeeping(false);
  assert.equal(await shown.findBefore('p/a.txt', facts), null);
  await shown.keepText('p/a.txt', saved('x'));
  assert.deepEqual([...disk.folders], ['p']);
  shown.loadKeeping();
  assert.equal(shown.keepingVersions.value, false, 'it is kept over a restart');
  shown.setKeeping(true);
  assert.notEqual(await shown.findBefore('p/a.txt', facts), null);
});

test('local versions: a write that fails goes to the log alone', async () => {
  failing.add('file/write');
  await shown.keepText('p/a.txt', saved('x'));
  failing.add('file/create');
  await shown.keepText('p/a.txt', saved('x'));
  failing.add('tree');
  await shown.followFile('p/a.txt', 'p/b.txt');
  failing.add('file/raw');
  assert.equal(await shown.findBefore('p/a.txt', { size: 1, modified: 1 }), null);
  assert.deepEqual(entries.value.map(({ kind }) => kind), ['warning', 'warning', 'warning', 'warning']);
  shown.showVersionsOf('p/a.txt');
  await shown.readShown();
  assert.equal(shown.versionsFailure.value, 'read-only file system', 'the panel says so');
});

test('local versions: the shown list follows what is kept and deleted, and the way of the file', async () => {
  shown.showVersionsOf('p/a.txt');
  for (const text of ['one', 'two', 'three']) await shown.keepText('p/a.txt', saved(text));
  assert.deepEqual(await shownTexts(), ['one', 'two', 'three']);
  const [, second] = shown.shownVersions.value;
  await shown.removeVersions('p/a.txt', ({ time }) => time === second.time);
  assert.deepEqual(await shownTexts(), ['one', 'three']);
  const [{ time: left }, { time: right }] = shown.shownVersions.value;
  assert.deepEqual(await shown.readVersionSides('p/a.txt', { left, right }), { left: 'one', right: 'three' });
  assert.deepEqual(await shown.readVersionSides('p/a.txt', { left, right: 0 }), { left: 'one', right: '' });
  await shown.followFile('p/a.txt', 'p/b.txt');
  assert.equal(shown.shownFile.value, 'p/b.txt');
  assert.equal(shown.shownVersions.value.length, 2);
  shown.showVersionsOf('p/a.txt');
  await shown.readShown();
  assert.deepEqual(shown.shownVersions.value, []);
  shown.showVersionsOf('p/b.txt');
  await shown.clearVersions();
  assert.deepEqual(shown.shownVersions.value, []);
});

test('watched saves: what is written over is looked at before, what was written is told after, a failure is not', async () => {
  const log = [];
  let full = false;
  const put = (verb) => async () => {
    if (full) throw new Error('disk full');
    log.push(verb);
  };
  const ports = {
    info: async (path) => (path === 'p/gone' ? Promise.reject(new Error('no answer')) : { exists: true, directory: false, size: 1, modified: 2 }),
    contents: async () => '',
    write: put('write'),
    create: put('create'),
    now: () => 0,
  };
  assert.equal(watchedPorts(ports), ports, 'nobody watches');
  watchSaves({
    before: async (path, facts) => log.push(`before ${path} ${facts?.size}`) && 'found',
    after: (path, { encoding, restored }, found) => log.push(`after ${path} ${encoding} ${restored} ${found}`),
  });
  await watchedPorts(ports).write('p/a', Uint8Array.of(0xe9));
  await watchedPorts(ports, { encoding: 'utf8bom', restored: true }).create('p/b', bytesOf('b'));
  await watchedPorts(ports).write('p/gone', bytesOf('c'));
  assert.deepEqual(log.splice(0), [
    'before p/a 1',
    'write',
    'after p/a windows1252 false found',
    'create',
    'after p/b utf8bom true null',
    'before p/gone undefined',
    'write',
    'after p/gone utf8 false found',
  ]);
  full = true;
  await assert.rejects(watchedPorts(ports).write('p/a', bytesOf('a')), /disk full/);
  await assert.rejects(watchedPorts(ports).create('p/a', bytesOf('a')), /disk full/);
  assert.deepEqual(log, ['before p/a 1']);
  watchSaves(null);
});

test('watched changes: files that the bridge changes by itself are told as it left them', async () => {
  const disk = new Map([['p/a', 'one'], ['p/b', 'two'], ['p/c', 'three']]);
  const told = [];
  const ports = {
    info: async (path) => ({ size: disk.get(path).length, modified: 2 }),
    read: async (path) => (disk.has(path) ? bytesOf(disk.get(path)) : Promise.reject(new Error('gone'))),
  };
  const change = async () => {
    for (const path of disk.keys()) disk.set(path, disk.get(path).toUpperCase());
    disk.delete('p/c');
    return 'done';
  };
  assert.equal(await watchedChange(['p/a'], ports, async () => 'alone'), 'alone', 'nobody watches');
  watchSaves({
    before: async (path) => (path === 'p/b' ? null : disk.get(path)),
    after: (path, { bytes, encoding, restored }, found) => told.push([path, textOf(bytes), encoding, restored, found]),
  });
  assert.equal(await watchedChange([...disk.keys()], ports, change), 'done');
  assert.deepEqual(told.splice(0), [['p/a', 'ONE', 'utf8', false, 'one']], 'one that was not looked at, and one that is gone, are not told');
  await assert.rejects(watchedChange(['p/a'], ports, () => Promise.reject(new Error('no link'))), /no link/);
  assert.deepEqual(told, []);
  watchSaves(null);
});

const commit = (hash) => ({ hash, short: hash, author: '', date: '', subject: '', path: 'a.txt' });
const version = (time) => ({ time });
const order = (...given) => times.timeline(...given).map(({ key }) => key);

test('timeline: commits keep their order, versions stand where their time is', () => {
  const commits = ['c3', 'c2', 'c1'].map(commit);
  const at = new Map([['c3', 300], ['c2', 100], ['c1', 200]]);
  const versions = [50_000, 150_000, 300_999, 301_000].map(version);
  assert.deepEqual(order(commits, versions, at), ['v301000', 'c3', 'v300999', 'v150000', 'c2', 'c1', 'v50000']);
  assert.deepEqual(order(commits, versions, new Map()).slice(0, 5), ['v301000', 'v300999', 'v150000', 'v50000', 'c3']);
  assert.deepEqual(order([], versions, new Map()), ['v301000', 'v300999', 'v150000', 'v50000']);
  assert.deepEqual(order(commits, [], new Map()), ['c3', 'c2', 'c1']);
});

test('timeline: times come from git; without them the list is still there', async () => {
  const repo = { name: 'p', root: '/w/p', isRepo: true, branch: 'main', files: [] };
  gitTimes = '';
  assert.equal((await times.readTimes(repo, [commit('c1')])).size, 0);
  assert.equal(entries.value.at(-1)?.kind, 'warning');
});

test('timeline: one sort may be left out, never both, and that is kept', () => {
  times.toggleSort('commits');
  assert.equal(times.hiddenSort.value, 'commits');
  times.toggleSort('versions');
  assert.equal(times.hiddenSort.value, 'versions');
  times.hiddenSort.value = null;
  times.loadHiddenSort();
  assert.equal(times.hiddenSort.value, 'versions');
  times.toggleSort('versions');
  assert.equal(times.hiddenSort.value, null);
  times.loadHiddenSort();
  assert.equal(times.hiddenSort.value, null);
  uistate.set('history.hidden', 'nonsense');
  times.loadHiddenSort();
  assert.equal(times.hiddenSort.value, null);
});

test('comparisons of versions: with the file as it is, or with another', () => {
  const withFile = diffRule(diffLocal(1e12));
  assert.deepEqual([withFile.right, withFile.local], ['', { left: 1e12, right: 0 }]);
  const two = diffRule(diffLocal(1e12, 2e12));
  assert.deepEqual(two.local, { left: 1e12, right: 2e12 });
  assert.notEqual(two.right, '', 'the file itself is on neither side');
  assert.ok(isDiff(diffLocal(1)) && isDiff(diffLocal(1, 2)));
  for (const kind of ['diff-local:', 'diff-local:x', 'diff-local:1:', 'diff-local:1:2:3', 'diff-local:9999999999999999']) assert.ok(!isDiff(kind), kind);
});
