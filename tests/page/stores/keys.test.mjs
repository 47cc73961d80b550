import assert from 'node:assert/strict';
import { test } from 'node:test';
import { ariaKeys, keyNames, normalKeys, shownKeys } from '../../../web/shell/keynames.js';

/** A key event: "Ctrl Shift P KeyP" as its parts. */
function press(key, code, ...held) {
  const has = (name) => held.includes(name);
  return {
    key,
    code,
    ctrlKey: has('ctrl'),
    shiftKey: has('shift'),
    altKey: has('alt'),
    metaKey: has('meta'),
  };
}

test('keys: names of strokes on several keyboards', () => {
  const rows = [
    [press('s', 'KeyS', 'ctrl'), ['ctrl+s']],
    [press('P', 'KeyP', 'shift', 'ctrl'), ['ctrl+shift+p']],
    [press('F1', 'F1'), ['f1']],
    [press('ArrowUp', 'ArrowUp', 'alt'), ['alt+up']],
    [press(' ', 'Space', 'ctrl'), ['ctrl+space']],
    [press('+', 'Equal', 'ctrl', 'shift'), ['ctrl+shift+plus', 'ctrl+shift+=']],
    [press('+', 'NumpadAdd', 'ctrl'), ['ctrl+numpad_add', 'ctrl+plus', 'ctrl+=']],
    [press('7', 'Numpad7', 'ctrl'), ['ctrl+numpad7', 'ctrl+7']],
    [press('Home', 'Numpad7', 'ctrl'), ['ctrl+home']],
    [press('Enter', 'NumpadEnter', 'ctrl'), ['ctrl+enter']],
    [press('!', 'Digit1', 'ctrl', 'shift'), ['ctrl+shift+!', 'ctrl+shift+1']],
    // Cyrillic: the letter is by place what a command is named for.
    [press('с', 'KeyC', 'ctrl'), ['ctrl+с', 'ctrl+c']],
    // French: the printed letter counts, not its place on a US keyboard.
    [press('q', 'KeyA', 'ctrl'), ['ctrl+q']],
    [press('Control', 'ControlLeft', 'ctrl'), []],
    [press('Dead', 'BracketLeft'), []],
  ];
  for (const [event, names] of rows) assert.deepEqual(keyNames(event), names);
});

test('keys: one spelling for each', () => {
  assert.equal(normalKeys('Shift+Ctrl+P'), 'ctrl+shift+p');
  assert.equal(normalKeys(' ctrl+k  ctrl+O '), 'ctrl+k ctrl+o');
  assert.equal(normalKeys('ctrl++'), 'ctrl+plus');
  assert.equal(normalKeys('ctrl+-'), 'ctrl+-');
});

test('keys: as people read them', () => {
  assert.equal(shownKeys('ctrl+shift+p'), 'Ctrl+Shift+P');
  assert.equal(shownKeys('ctrl+k ctrl+pagedown'), 'Ctrl+K Ctrl+Page Down');
  assert.equal(shownKeys('alt+up'), 'Alt+↑');
  assert.equal(ariaKeys('ctrl+shift+p'), 'Control+Shift+P');
  assert.equal(ariaKeys('ctrl+k ctrl+o'), undefined);
});
