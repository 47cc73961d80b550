import assert from 'node:assert/strict';
import { readdirSync, readFileSync } from 'node:fs';
import { join } from 'node:path';
import { test } from 'node:test';
import { fileURLToPath } from 'node:url';
import { areKeys } from '../../../web/shell/keynames.js';
import { kNone } from '../../../web/stores/keybindings.js';
import { keysFromForeign, keysToForeign, kMapped, oursOf, theirsOf } from '../../../web/stores/keybindingsforeign.js';
import { exportText, LONGEST_FILE, MOST_READ, parseLooseJson, planConflicts, planImport } from '../../../web/stores/keybindingsimport.js';

const kCommands = [
  { id: 'file.save', title: 'Save', keys: ['ctrl+s'] },
  { id: 'editor.find', title: 'Find', keys: ['ctrl+f'], place: 'text' },
  { id: 'editor.addNextMatch', title: 'Add', keys: ['ctrl+d'], place: 'text' },
  { id: 'terminal.clear', title: 'Clear' },
  { id: 'chat.mode', title: 'Mode' },
];
const plan = (rules, user = kNone) => planImport(typeof rules === 'string' ? rules : JSON.stringify(rules), kCommands, user);
const reasons = (made) => made.left.map(({ reason }) => reason);

test('keybindings import: comments and trailing commas, but not inside strings', () => {
  assert.deepEqual(parseLooseJson('\uFEFF// a\n[ {"a": "// b, ]", /* c ] */ "d": ",}" , }, // e\n ]'), [{ a: '// b, ]', d: ',}' }]);
  assert.deepEqual(parseLooseJson('["a\\"// b",]'), ['a"// b']);
  assert.deepEqual(parseLooseJson('// only a comment'), []);
  assert.throws(() => parseLooseJson('[1 /* open'));
});

test('keybindings import: what is no file of key bindings is refused in words', () => {
  assert.match(plan('{').error, /^it cannot be read/);
  assert.match(plan('{}').error, /not a list/);
  assert.match(plan('1e999999').error, /not a list/);
  assert.match(plan(' '.repeat(LONGEST_FILE + 1)).error, /too large/);
  assert.deepEqual(plan('').taken, []);
  const many = plan(Array(MOST_READ + 3).fill({ key: 'f7', command: 'no' }));
  assert.equal(many.left.length, MOST_READ + 1);
  assert.equal(many.left.at(-1).reason, '3 more are not read');
});

test('keybindings import: bindings, removals and chords are taken over; what is not says why', () => {
  const made = plan([
    { key: 'ctrl+k ctrl+s', command: 'workbench.action.files.save' },
    { key: 'ctrl+s', command: '-workbench.action.files.save' },
    { key: 'ctrl+l', command: 'workbench.action.terminal.clear', when: 'terminalFocus && isLinux' },
    { key: 'f3', command: 'actions.find', when: 'editorTextFocus' },
    { key: 'ctrl+m', command: 'chat.mode' },
    { key: 'ctrl+f', command: 'actions.find' },
    { key: 'ctrl+y', command: 'workbench.action.files.save', when: 'vim.active' },
    { key: 'ctrl+y', command: 'cursorWordLeft' },
    { key: 'x', command: 'actions.find' },
    { key: 'ctrl+oem_8', command: 'actions.find' },
    { key: 'f1 f2 f3', command: 'actions.find' },
    { key: 'f4', command: 'actions.find', args: { x: 1 } },
    { key: 'f4', command: '-actions.find' },
    { key: 'f4', command: 'actions.find', when: 5 },
    { key: 'f4', command: 'constructor' },
    { command: 'actions.find' },
    null,
  ]);
  assert.deepEqual(made.next, {
    add: [
      { command: 'file.save', keys: 'ctrl+k ctrl+s' },
      { command: 'terminal.clear', keys: 'ctrl+l', when: 'terminalFocus' },
      { command: 'editor.find', keys: 'f3' },
      { command: 'chat.mode', keys: 'ctrl+m' },
    ],
    remove: [{ command: 'file.save', keys: 'ctrl+s' }],
  });
  assert.deepEqual(reasons(made), [
    'it is so already',
    'the condition "vim.active" is not known here',
    'there is no such command here',
    'X types text',
    'the key "oem_8" is not known here',
    'chords have two strokes here',
    'commands take no arguments here',
    'F4 is not a key of "Find" here',
    'its condition is not understood',
    'there is no such command here',
    'it names no keys',
    'it names no keys',
  ]);
  assert.equal(plan(exportText(made.next), made.next).taken.length, 0, 'once more changes nothing');
});

test('keybindings import: later lines undo earlier ones, and keys without a command are taken from all', () => {
  const made = plan([
    { key: 'f5', command: 'actions.find' },
    { key: 'f5', command: '-actions.find' },
    { key: 'ctrl+d', command: '' },
    { key: 'f12', command: '' },
  ]);
  assert.deepEqual(made.next, { add: [], remove: [{ command: 'editor.addNextMatch', keys: 'ctrl+d' }] });
  assert.deepEqual(reasons(made), ['no command has these keys here']);
});

test('keybindings import: conflicts are those that would be there afterwards', () => {
  const made = plan([
    { key: 'ctrl+d', command: 'actions.find' },
    { key: 'ctrl+f', command: 'workbench.action.files.save' },
    { key: 'ctrl+f', command: '-actions.find' },
  ]);
  const found = [...planConflicts(made, kCommands)].map(([item, all]) => [item.command.id, all.map((one) => one.with.command.id)]);
  assert.deepEqual(found, [['editor.find', ['editor.addNextMatch']]]);
});

test('keybindings import: names of keys', () => {
  const rows = [
    ['Ctrl+K  Ctrl+C', 'ctrl+k ctrl+c'],
    ['shift+ctrl+p', 'ctrl+shift+p'],
    ['cmd+s', 'meta+s'],
    ['win+alt+1', 'alt+meta+1'],
    ['ctrl++', 'ctrl+plus'],
    ['ctrl+-', 'ctrl+-'],
    ['ctrl-x', 'ctrl+x'],
    ['ctrl+[KeyA]', 'ctrl+a'],
    ['ctrl+[Minus]', 'ctrl+-'],
    ['ctrl+[ArrowUp]', 'ctrl+up'],
    ['ctrl+[', 'ctrl+['],
    ['ctrl+]', 'ctrl+]'],
    ['ctrl+numpad_add', 'ctrl+numpad_add'],
    ['ctrl+[NumpadAdd]', 'ctrl+numpad_add'],
    ['ctrl+numpad3', 'ctrl+numpad3'],
    ['ctrl+[Numpad3]', 'ctrl+numpad3'],
    ['ctrl+oem_3', 'ctrl+`'],
    ['ctrl+pausebreak', 'ctrl+pause'],
    ['f19', 'f19'],
  ];
  for (const [theirs, ours] of rows) {
    assert.equal(keysFromForeign(theirs).keys, ours, theirs);
    assert.ok(areKeys(ours), ours);
  }
  for (const wrong of ['', 'ctrl+', 'ctrl+abnt_c1', 'ctrl+[Lang1]', 'hyper+x', 'ctrl+capslock', 'ctrl+constructor', 'constructor+x'])
    assert.ok('reason' in keysFromForeign(wrong), wrong);
  assert.match(keysFromForeign('ctrl+[KeyA]').note, /by its place/);
  assert.equal(keysFromForeign('ctrl+[F5]').note, '');
  assert.equal(keysToForeign('ctrl+k plus'), 'ctrl+k +');
  for (const keys of ['ctrl+plus', 'ctrl+k plus', 'ctrl+pause', 'ctrl+numpad_add', 'shift+alt+up'])
    assert.equal(keysFromForeign(keysToForeign(keys)).keys, keys, keys);
});

test('keybindings import: what is exported is taken over again as it was', () => {
  const user = {
    add: [
      { command: 'editor.find', keys: 'ctrl+k plus', when: 'editorLangId == c && terminalFocus' },
      { command: 'chat.mode', keys: 'f5' },
    ],
    remove: [{ command: 'file.save', keys: 'ctrl+s' }],
  };
  const text = exportText(user);
  assert.match(text, /"-workbench.action.files.save"/);
  assert.match(text, /"chat.mode"/);
  assert.deepEqual(plan(text).next, user);
  assert.deepEqual(JSON.parse(exportText(kNone)), []);
});

test('keybindings import: each command of the table is one of ours, and each has one meaning', () => {
  const web = fileURLToPath(new URL('../../../web', import.meta.url));
  const files = readdirSync(web, { recursive: true }).filter((name) => name.endsWith('.js') && !name.endsWith('keybindingsforeign.js'));
  const sources = files.map((name) => readFileSync(join(web, name), 'utf8')).join('\n');
  const named = (id) => sources.includes(`'${id}'`) || /^view\.group[123]$/.test(id) || /^conflict\.(?:ours|theirs|both)$/.test(id);
  assert.deepEqual(kMapped.filter((id) => !named(id)), []);
  assert.equal(new Set(kMapped).size, kMapped.length);
  for (const id of kMapped) assert.equal(oursOf(theirsOf(id)), id);
});
