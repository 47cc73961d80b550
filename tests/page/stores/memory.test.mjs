import assert from 'node:assert/strict';
import { test } from 'node:test';
import * as memory from '../../../web/stores/memory.js';
import * as links from '../../../web/stores/memorylinks.js';
import { missingOf } from '../../../web/stores/project.js';
import { startBridge } from '../support/bridge.mjs';

const files = new Map([['a.md', 'see [[b]]']]);
const { asked } = await startBridge(({ route, query, body }) => {
  if (route === 'memory/list')
    return { body: { ok: true, directory: '/m', entries: [...files.keys()].map((file) => ({ file, name: file })) } };
  if (route === 'memory/read') return { body: { ok: true, contents: files.get(query.get('file')) } };
  const { file, contents } = JSON.parse(body);
  files.set(file, contents);
});

const note = (file, fields = {}) => links.readNote({ file, name: file.replace('.md', ''), ...fields });
const notes = [
  note('MEMORY.md', { isIndex: true, links: ['tides', 'Moon phases|the moon'] }),
  note('tides.md', { links: ['moon.MD', 'nobody'], description: 'When it ebbs', type: 'fact' }),
  note('moon.md', { name: 'Moon Phases' }),
  note('alone.md', { links: ['alone'] }),
];

test('memory: a link leads to a note by its file or its name, in any case', () => {
  assert.equal(links.targetOf(notes, 'MOON PHASES')?.file, 'moon.md');
  assert.equal(links.targetOf(notes, 'Tides.md')?.file, 'tides.md');
  assert.equal(links.targetOf(notes, 'x'), null);
});

test('memory: links both ways, what nothing leads to, and what leads nowhere', () => {
  assert.deepEqual(links.backlinks(notes, 'moon.md').map(({ file }) => file), ['MEMORY.md', 'tides.md']);
  assert.deepEqual(links.orphans(notes).map(({ file }) => file), ['alone.md']);
  assert.deepEqual(links.brokenLinks(notes), [{ from: 'tides.md', link: 'nobody' }]);
});

test('memory: the graph has the index in the middle and a line for each link to another note', () => {
  const { nodes, edges } = links.graphOf(notes);
  assert.deepEqual([nodes[0].x, nodes[0].y], [0.5, 0.5]);
  assert.deepEqual(edges, [{ from: 0, to: 1 }, { from: 0, to: 2 }, { from: 1, to: 2 }]);
  assert.ok(nodes.every(({ x, y }) => x >= 0 && x <= 1 && y >= 0 && y <= 1));
});

test('memory: search wants every word somewhere', () => {
  const found = (query) => links.matching(notes, query).map(({ file }) => file);
  assert.deepEqual(found('FACT ebbs'), ['tides.md']);
  assert.deepEqual(found('fact moon'), []);
  assert.equal(found(' ').length, 4);
});

test('memory: files that a note speaks of, and whether they are younger', () => {
  const text = 'in `src/a.cpp:12` and `./web/b.js`, `src/a.cpp`, `git log`, `../up/x`, plain src/c.cpp';
  assert.deepEqual(links.pathsIn(text), ['src/a.cpp', 'web/b.js']);
  const day = (text) => Date.parse(text);
  assert.equal(links.isOlder('2026-01-01', day('2026-01-03')), true);
  assert.equal(links.isOlder('2026-01-01', day('2026-01-01T20:00Z')), false);
  assert.equal(links.isOlder('some day', day('2026-01-03')), false);
});

test('memory: what is typed is dirty until it is saved, and what others wrote meanwhile is noticed', async () => {
  await memory.readNotes();
  await memory.openNote('a.md');
  assert.equal(memory.dirty.value, false);
  memory.draft.value = 'mine';
  assert.equal(memory.dirty.value, true);
  assert.equal(await memory.changedOutside(), false);
  files.set('a.md', "Claude's");
  assert.equal(await memory.changedOutside(), true);
  await memory.saveNote();
  assert.equal(files.get('a.md'), 'mine');
  assert.equal(memory.dirty.value, false);
});

test('memory: a new note takes no other one\'s place', async () => {
  await assert.rejects(memory.createNote('a'), /is there already/);
  await memory.createNote('new one');
  assert.match(files.get('new one.md'), /^---\nname: new one\n/);
  assert.equal(memory.openFile.value, 'new one.md');
  assert.equal(asked.filter(({ route }) => route === 'memory/write').length, 2);
});

test('project: only what is missing is set up, and tidying never', () => {
  const full = { autoMemory: true, autoDream: false, memoryIndex: true, isRepo: true, gitignored: true };
  assert.equal(missingOf(full), null);
  assert.deepEqual(missingOf({ ...full, gitignored: false }), { gitignore: true });
  assert.deepEqual(missingOf({ ...full, isRepo: false, gitignored: false }), null);
  assert.deepEqual(missingOf({ ...full, memoryIndex: false }), { memory: true });
});
