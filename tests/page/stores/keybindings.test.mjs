import assert from 'node:assert/strict';
import { beforeEach, test } from 'node:test';
import { keyFor, lookUp, registerCommand, takenAway } from '../../../web/shell/commands.js';
import { registerContexts } from '../../../web/shell/keycontexts.js';
import { areKeys, isTyping, keyNames, recordedStroke, shownKeys } from '../../../web/shell/keynames.js';
import { paletteItems } from '../../../web/shell/palette.js';
import {
  addKeys,
  changes,
  conflictsOf,
  keepChanges,
  kNone,
  loadKeybindings,
  MOST_RULES,
  readChanges,
  removeKeys,
  replaceKeys,
  resetKeys,
  tableOf,
} from '../../../web/stores/keybindings.js';
import { parseWhen, placeOfWhen, whenHolds } from '../../../web/stores/keybindingscontexts.js';
import { keysFault, keysNotes } from '../../../web/stores/keybindingsreserved.js';
import { conflictWords, filterRows, keyRows } from '../../../web/stores/keybindingsrows.js';
import { get, set } from '../../../web/stores/uistate.js';

const kSave = { id: 'save', title: 'Save', category: 'File', keys: ['ctrl+s'] };
const kFind = { id: 'find', title: 'Find', keys: ['ctrl+f', 'f3'], place: 'text' };
const kClear = { id: 'clear', title: 'Clear', place: 'terminal' };
const kLook = { id: 'look', title: 'Look', keys: ['ctrl+f'], place: 'terminal' };
const kComment = { id: 'comment', title: 'Comment', keys: ['ctrl+k ctrl+c'], place: 'text' };
const kAll = [kSave, kFind, kClear, kLook, kComment];

const any = () => true;
const add = (command, keys, when) => ({ command, keys, ...(when ? { when } : {}) });
const press = (key, code, ...held) => ({
  key,
  code,
  ...Object.fromEntries(['ctrl', 'shift', 'alt', 'meta'].map((name) => [`${name}Key`, held.includes(name)])),
});
const keysOf = (user, id) => (tableOf(kAll, user).of.get(id) ?? []).map(({ keys }) => keys);
const conflicts = (user, id, keys) => {
  const table = tableOf(kAll, user);
  const binding = table.of.get(id)?.find((one) => one.keys === keys);
  const one = binding ?? { command: kAll.find((command) => command.id === id), mine: true, when: null };
  return conflictsOf(table, one, keys.split(' ').map((stroke) => [stroke])).map((found) => [found.kind, found.with.command.id]);
};

beforeEach(() => keepChanges(kNone));

test('keybindings: added, replaced, removed and reset', () => {
  let user = addKeys(kNone, kFind, 'Ctrl+Alt+F');
  assert.deepEqual(keysOf(user, 'find'), ['ctrl+alt+f', 'ctrl+f', 'f3'], "the user's own comes first");
  user = replaceKeys(user, kFind, { keys: 'ctrl+f', mine: false }, 'f9');
  assert.deepEqual(keysOf(user, 'find'), ['f9', 'ctrl+alt+f', 'f3']);
  user = removeKeys(user, kFind, { keys: 'f3', mine: false });
  user = removeKeys(user, kFind, { keys: 'f9', mine: true });
  assert.deepEqual(keysOf(user, 'find'), ['ctrl+alt+f']);
  assert.deepEqual(keysOf(addKeys(user, kFind, 'f3'), 'find'), ['ctrl+alt+f', 'f3'], 'a default that was removed is one again');
  assert.deepEqual(addKeys(user, kFind, 'f3').add.length, user.add.length);
  assert.deepEqual(resetKeys(addKeys(user, kSave, 'f7'), 'find'), { add: [add('save', 'f7')], remove: [] });
  assert.equal(replaceKeys(user, kFind, { keys: 'ctrl+alt+f', mine: true }, 'ctrl+alt+f'), user);
});

test('keybindings: the same keys under two conditions are two bindings', () => {
  let user = addKeys(kNone, kClear, 'f7', 'terminalFocus');
  user = addKeys(user, kClear, 'f7', 'panelFocus');
  user = removeKeys(user, kClear, { keys: 'f7', mine: true, when: 'terminalFocus' });
  assert.deepEqual(user.add, [add('clear', 'f7', 'panelFocus')]);
});

test('keybindings: what was kept is read again without all that makes no sense', () => {
  const rules = [
    add('gone.command', 'ctrl+1'),
    add('save', 'f7', 'terminalFocus'),
    add('', 'f7'),
    add('save', 'Ctrl+F7'),
    add('save', 'f7 f8 f9'),
    add('save', ''),
    add('save', 'ctrl+'),
    add('save', 'f7', 'no.such.context'),
    add('x'.repeat(300), 'f7'),
    null,
    'f7',
    { command: 5, keys: [] },
  ];
  assert.deepEqual(readChanges({ add: rules, remove: 'no' }), { add: rules.slice(0, 2), remove: [] });
  assert.deepEqual(readChanges('garbage'), kNone);
  assert.deepEqual(readChanges(null), kNone);
  assert.equal(readChanges({ add: Array(MOST_RULES + 5).fill(rules[0]) }).add.length, MOST_RULES);
});

test('keybindings: they are kept with the page, and what is too much is refused', () => {
  keepChanges({ add: [add('gone.command', 'f7')], remove: [] });
  assert.deepEqual(get('keys.bindings', null), { add: [add('gone.command', 'f7')], remove: [] });
  assert.throws(() => keepChanges({ add: Array(MOST_RULES + 1).fill(add('save', 'f7')), remove: [] }), /more than/);
  assert.equal(changes.value.add.length, 1, 'and nothing changed');
  set('keys.bindings', { add: [add('save', 'f8')], remove: 7 });
  loadKeybindings();
  assert.deepEqual(changes.value, { add: [add('save', 'f8')], remove: [] });
  keepChanges(kNone);
  assert.equal(get('keys.bindings', null), null);
});

test('keybindings: conflicts are between what can act at the same moment', () => {
  const user = { add: [add('clear', 'f3')], remove: [] };
  assert.deepEqual(conflicts(kNone, 'find', 'ctrl+f'), [], 'in text and terminals the same keys may mean two things');
  assert.deepEqual(conflicts(user, 'clear', 'f3'), []);
  assert.deepEqual(conflicts(kNone, 'save', 'f3'), [['same', 'find']], "the user's general keys are wanted there too");
  assert.deepEqual(conflicts(kNone, 'find', 'ctrl+s'), [['same', 'save']]);
  assert.deepEqual(conflicts({ add: [add('find', 'ctrl+s')], remove: [] }, 'save', 'ctrl+s'), [['same', 'find']]);
  assert.deepEqual(conflicts({ add: [], remove: [add('save', 'ctrl+s')] }, 'find', 'ctrl+s'), []);
  assert.deepEqual(conflicts({ add: [add('save', 'f9', 'terminalFocus')], remove: [] }, 'find', 'f9'), [], 'nor under a condition elsewhere');
});

test('keybindings: that a special default goes before a general one in its place is meant', () => {
  const general = { id: 'general', title: 'General', keys: ['ctrl+f'] };
  const table = tableOf([general, kLook], kNone);
  const [binding] = table.of.get('look');
  assert.deepEqual(conflictsOf(table, binding, [['ctrl+f']]), []);
  assert.equal(conflictsOf(table, { ...binding, mine: true }, [['ctrl+f']]).length, 1);
});

test('keybindings: a stroke that begins a chord, and a chord whose first stroke acts alone', () => {
  assert.deepEqual(conflicts(kNone, 'save', 'ctrl+k'), [['begins', 'comment']]);
  assert.deepEqual(conflicts(kNone, 'find', 'ctrl+s ctrl+x'), [['cut', 'save']]);
  assert.deepEqual(conflicts(kNone, 'save', 'ctrl+k ctrl+c'), [['same', 'comment']]);
  const words = (id, keys) => {
    const command = kAll.find((one) => one.id === id);
    const strokes = keys.split(' ').map((stroke) => [stroke]);
    return conflictsOf(tableOf(kAll, kNone), { command, mine: true, when: null }, strokes).map(conflictWords);
  };
  assert.deepEqual(words('save', 'ctrl+k'), ['Ctrl+K Ctrl+C of "Comment" begins with these keys, in the text.']);
  assert.deepEqual(words('find', 'ctrl+s ctrl+x'), ['Ctrl+S alone is "File: Save".']);
  assert.deepEqual(words('find', 'ctrl+s'), ['"File: Save" has the same keys.']);
});

test('keybindings: a stroke is in conflict by any of its names', () => {
  const split = { id: 'split', title: 'Split', keys: ['ctrl+shift+5'] };
  const table = tableOf([kSave, split], kNone);
  const found = conflictsOf(table, { command: kSave, mine: true, when: null }, [['ctrl+shift+%', 'ctrl+shift+5']]);
  assert.deepEqual(found.map((one) => one.with.command.id), ['split']);
});

test("keybindings: the user's keys go first, in keys, menus and palette", () => {
  const none = () => {};
  registerCommand({ id: 'one', title: 'One', keys: ['ctrl+1', 'ctrl+k ctrl+1'], run: none });
  registerCommand({ id: 'two', title: 'Two', keys: ['ctrl+2'], run: none });
  keepChanges({ add: [add('one', 'ctrl+2')], remove: [add('one', 'ctrl+1')] });
  assert.equal(lookUp(['ctrl+2'], '', any).command.id, 'one');
  assert.equal(lookUp(['ctrl+1'], '', any), null);
  assert.equal(keyFor('one'), 'Ctrl+2');
  assert.equal(paletteItems().find(({ id }) => id === 'one').keys, 'Ctrl+2');
  keepChanges({ add: [add('two', 'ctrl+1 x'), add('one', 'ctrl+k')], remove: [] });
  assert.deepEqual(lookUp(['ctrl+1'], '', any), { chord: 'ctrl+1' }, 'a chord of theirs goes before a key that stood there');
  assert.equal(lookUp(['ctrl+k'], '', any).command.id, 'one', 'and a key of theirs before a chord');
  assert.equal(lookUp(['x'], 'ctrl+1', any).command.id, 'two');
  keepChanges({ add: [add('one', 'f7'), add('two', 'f7')], remove: [] });
  assert.equal(lookUp(['f7'], '', any).command.id, 'two', 'of two of theirs the later');
});

test('keybindings: a condition decides whether a binding counts', () => {
  let focus = false;
  registerContexts({ terminalFocus: () => focus });
  registerCommand({ id: 'three', title: 'Three', run: () => {} });
  keepChanges({ add: [add('three', 'f6', 'terminalFocus')], remove: [] });
  assert.equal(lookUp(['f6'], '', any), null);
  focus = true;
  assert.equal(lookUp(['f6'], '', any).command.id, 'three');
});

test('keybindings: a removed default is dead where its command counts, and typing never is', () => {
  let here = true;
  registerCommand({ id: 'four', title: 'Four', keys: ['ctrl+4', 'delete', 'ctrl+u ctrl+4'], keysWhen: () => here, run: () => {} });
  keepChanges({ add: [], remove: [add('four', 'ctrl+4'), add('four', 'delete'), add('four', 'ctrl+u ctrl+4')] });
  assert.equal(takenAway(['ctrl+4']), true);
  assert.equal(takenAway(['ctrl+u']), true, 'a text editor would wait for more');
  assert.equal(takenAway(['delete']), false);
  here = false;
  assert.equal(takenAway(['ctrl+4']), false);
});

test('keybindings: conditions are read in parts, and what is not known is said', () => {
  const text = (when) => parseWhen(when).when?.text ?? null;
  const reason = (when) => parseWhen(when).reason;
  assert.equal(text(' editorTextFocus&&!editorReadonly '), 'editorTextFocus && !editorReadonly');
  assert.equal(text("editorLangId == 'c++' || isMac"), 'editorLangId == c++');
  assert.equal(text('isLinux'), null);
  assert.equal(text('isLinux && terminalFocus || true'), null);
  assert.match(reason('isMac && terminalFocus'), /never holds/);
  assert.match(reason('suggestWidgetVisible'), /"suggestWidgetVisible" is not known/);
  assert.match(reason('a =~ /x/'), /not understood/);
  assert.match(reason(''), /not understood/);
  const holds = (when, values) => whenHolds(parseWhen(when).when, (name) => values[name]);
  assert.equal(holds('editorLangId != rust && terminalFocus', { terminalFocus: true, editorLangId: 'c' }), true);
  assert.equal(holds('editorLangId != rust && terminalFocus', { terminalFocus: true, editorLangId: 'rust' }), false);
  assert.equal(holds('terminalFocus || editorFocus', { editorFocus: 1 }), true);
  assert.equal(holds('!editorFocus', {}), true);
  assert.equal(placeOfWhen(parseWhen('editorTextFocus && !editorReadonly').when), 'text');
  assert.equal(placeOfWhen(parseWhen('editorTextFocus || terminalFocus').when), '');
  assert.equal(placeOfWhen(parseWhen('!terminalFocus').when), '');
});

test('keybindings: what cannot be bound, and what others want too', () => {
  for (const keys of ['escape', 'tab', 'shift+tab', 'a', 'shift+a', 'shift+!', 'space', 'enter', 'up', 'backspace', 'numpad1', 'menu', 'shift+f10', 'a ctrl+b'])
    assert.notEqual(keysFault(keys), '', keys);
  for (const keys of ['f5', 'shift+f5', 'delete', 'insert', 'ctrl+a', 'alt+enter', 'ctrl+k a', 'ctrl+k escape', 'shift+pageup', 'meta+a', 'ctrl+tab'])
    assert.equal(keysFault(keys), '', keys);
  assert.match(keysNotes('ctrl+c')[0], /^Text fields keep Ctrl\+C/);
  assert.deepEqual(keysNotes('ctrl+k ctrl+c'), []);
  assert.match(keysNotes('alt+tab')[0], /desktops/);
  assert.match(keysNotes('ctrl+k meta+x')[0], /desktops/);
  assert.match(keysNotes('ctrl+space')[0], /Input methods/);
  assert.deepEqual(keysNotes('ctrl+alt+k'), []);
});

test('keybindings: a recorded stroke is a name that the same key answers to, whatever the layout', () => {
  const rows = [
    [press('s', 'KeyS', 'ctrl'), 'ctrl+s'],
    [press('%', 'Digit5', 'ctrl', 'shift'), 'ctrl+shift+5'],
    [press('+', 'Equal', 'ctrl', 'shift'), 'ctrl+shift+plus'],
    [press('с', 'KeyC', 'ctrl'), 'ctrl+c'], // Cyrillic, for when the layout is Latin
    [press('q', 'KeyA', 'ctrl'), 'ctrl+q'], // French
    [press('&', 'Digit1', 'ctrl'), 'ctrl+&'],
    [press('1', 'Digit1', 'ctrl', 'shift'), 'ctrl+shift+1'],
    [press('ö', 'Semicolon', 'ctrl'), 'ctrl+ö'], // German
    [press('+', 'NumpadAdd', 'ctrl'), 'ctrl+numpad_add'],
    [press('Home', 'Numpad7', 'ctrl'), 'ctrl+home'],
    [press('Shift', 'ShiftLeft', 'shift'), ''],
  ];
  for (const [event, name] of rows) {
    assert.equal(recordedStroke(event), name);
    if (!name) continue;
    assert.ok(keyNames(event).includes(name), `${name} is found again`);
    assert.ok(areKeys(name), `${name} is kept`);
  }
  assert.equal(shownKeys('ctrl+numpad_add'), 'Ctrl+Keypad add');
  assert.ok(isTyping('ctrl+shift+left') && isTyping('x') && !isTyping('ctrl+tab') && !isTyping('f5'));
});

test('keybindings: the rows of the list, and what narrows them', () => {
  const user = { add: [add('save', 'f3'), add('gone', 'f9')], remove: [add('comment', 'ctrl+k ctrl+c')] };
  const rows = keyRows(kAll, tableOf(kAll, user), user);
  const seen = (filter) =>
    filterRows(rows, { words: '', strokes: [], conflicts: false, mine: false, ...filter }).map(({ title, keys, source }) => [title, keys, source]);
  assert.deepEqual(seen({}), [
    ['Clear', '', ''],
    ['Comment', '', 'Taken away'],
    ['File: Save', 'f3', 'Yours'],
    ['File: Save', 'ctrl+s', 'Default'],
    ['Find', 'ctrl+f', 'Default'],
    ['Find', 'f3', 'Default'],
    ['Look', 'ctrl+f', 'Default'],
    ['gone (not there)', 'f9', 'Yours'],
  ]);
  assert.equal(new Set(rows.map(({ key }) => key)).size, rows.length);
  const inner = { id: 'inner', title: 'Inner', palette: false };
  const bound = { add: [add('inner', 'f7')], remove: [] };
  const innerRows = (changes) => keyRows([inner], tableOf([inner], changes), changes).map(({ keys }) => keys);
  assert.deepEqual([innerRows(kNone), innerRows(bound)], [[], ['f7']], 'what needs something handed to it is left out');
  assert.deepEqual(seen({ conflicts: true }), [['File: Save', 'f3', 'Yours'], ['Find', 'f3', 'Default']]);
  assert.deepEqual(seen({ mine: true }).map(([title]) => title), ['Comment', 'File: Save', 'File: Save', 'gone (not there)']);
  assert.deepEqual(seen({ words: 'FIND ctrl' }), [['Find', 'ctrl+f', 'Default']]);
  assert.deepEqual(seen({ words: 'terminals' }), [['Look', 'ctrl+f', 'Default']]);
  assert.deepEqual(seen({ strokes: [['ctrl+ф', 'ctrl+f']] }).map(([title]) => title), ['Find', 'Look']);
  assert.deepEqual(seen({ strokes: [['ctrl+k']] }), []);
});
