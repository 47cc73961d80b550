import assert from 'node:assert/strict';
import { test } from 'node:test';
import {
  commandById,
  commands,
  keyFor,
  lookUp,
  registerCommand,
  runCommand,
} from '../../../web/shell/commands.js';
import { readyItems } from '../../../web/shell/menus.js';
import { paletteItems } from '../../../web/shell/palette.js';
import { toasts } from '../../../web/shell/toasts.js';
import { set } from '../../../web/stores/uistate.js';

const any = () => true;
const none = () => {};

test('commands: one runs with its argument and gives its result', async () => {
  registerCommand({ id: 'a', title: 'A', run: async (arg) => arg * 2 });
  assert.equal(await runCommand('a', 4), 8);
  assert.equal(await runCommand('unknown'), undefined);
});

test('commands: one that cannot run now does not', async () => {
  let ran = false;
  registerCommand({ id: 'b', title: 'B', keys: ['ctrl+b'], when: () => false, run: () => (ran = true) });
  await runCommand('b');
  assert.equal(ran, false);
  assert.equal(lookUp(['ctrl+b'], '', any), null);
  assert.ok(!paletteItems().some(({ id }) => id === 'b'));
  assert.deepEqual(
    readyItems([{ command: 'b' }]).map(({ label, enabled }) => [label, enabled]),
    [['B', false]],
  );
});

test('commands: a failure is told with what was tried', async () => {
  registerCommand({
    id: 'c',
    title: 'Save',
    category: 'File',
    run: () => {
      throw new Error('could not write the file');
    },
  });
  await runCommand('c');
  assert.equal(toasts.value.at(-1)?.text, 'Could not run "File: Save": could not write the file');
});

test('commands: what was registered later has the key, until it is taken out', () => {
  registerCommand({ id: 'd', title: 'D', keys: ['F2'], run: none });
  const off = registerCommand({ id: 'e', title: 'E', keys: ['f2'], run: none });
  assert.equal(lookUp(['f2'], '', any).command.id, 'e');
  off();
  assert.equal(lookUp(['f2'], '', any).command.id, 'd');
  assert.equal(commandById('e'), undefined);
});

test('commands: a replaced one is not taken out by the former owner', () => {
  const off = registerCommand({ id: 'f', title: 'old', run: none });
  registerCommand({ id: 'f', title: 'new', run: none });
  off();
  assert.equal(commandById('f').title, 'new');
  assert.equal(commands.value.filter(({ id }) => id === 'f').length, 1);
});

test('commands: a chord needs both strokes, and the first alone says so', () => {
  registerCommand({ id: 'g', title: 'G', keys: ['ctrl+k ctrl+o'], run: none });
  assert.deepEqual(lookUp(['ctrl+k'], '', any), { chord: 'ctrl+k' });
  assert.equal(lookUp(['ctrl+o'], 'ctrl+k', any).command.id, 'g');
  assert.equal(lookUp(['ctrl+o'], '', any), null);
  assert.equal(keyFor('g'), 'Ctrl+K Ctrl+O');
});

test('commands: the printed key comes before the place of the key', () => {
  registerCommand({ id: 'h', title: 'H', keys: ['ctrl+shift+1'], run: none });
  registerCommand({ id: 'i', title: 'I', keys: ['ctrl+shift+!'], run: none });
  assert.equal(lookUp(['ctrl+shift+!', 'ctrl+shift+1'], '', any).command.id, 'i');
});

test('commands: keys that count only in one place leave menu and palette alone', async () => {
  let inside = false;
  let ran = 0;
  const keysWhen = () => inside;
  registerCommand({ id: 'n', title: 'Rename', keys: ['f9', 'ctrl+k f9'], keysWhen, run: () => (ran += 1) });
  assert.equal(lookUp(['f9'], '', any), null);
  assert.equal(lookUp(['f9'], 'ctrl+k', any), null);
  assert.ok(paletteItems().some(({ id }) => id === 'n'));
  await runCommand('n');
  assert.equal(ran, 1);
  inside = true;
  assert.equal(lookUp(['f9'], '', any).command.id, 'n');
});

test('menus: unknown commands are left out, and lines stand only between items', () => {
  registerCommand({ id: 'm', title: 'M', keys: ['ctrl+m'], checked: () => true, run: none });
  const line = { kind: 'separator' };
  const items = readyItems([
    line,
    { command: 'later' },
    line,
    { command: 'm' },
    line,
    line,
    { label: 'own' },
    line,
  ]);
  assert.deepEqual(
    items.map(({ kind, label, keys, checked }) => [kind ?? label, keys, checked]),
    [
      ['M', 'Ctrl+M', true],
      ['separator', undefined, undefined],
      ['own', undefined, undefined],
    ],
  );
  assert.deepEqual(
    readyItems([{ label: 'Sub', items: [{ command: 'later' }] }]),
    [],
    'an empty menu is none',
  );
});

test('palette: what was used lately comes first, the rest by name', () => {
  registerCommand({ id: 'z', title: 'Zebra', run: none });
  registerCommand({ id: 'hidden', title: 'Hidden', palette: false, run: none });
  set('palette.recent', ['z', 'gone']);
  const items = paletteItems();
  assert.deepEqual([items[0].id, items[0].group], ['z', 'recently used']);
  assert.ok(!items.some(({ id }) => id === 'hidden'));
  const rest = items.slice(1).map(({ label }) => label);
  assert.deepEqual(rest, rest.toSorted?.((a, b) => a.localeCompare(b)) ?? rest);
});
