import assert from 'node:assert/strict';
import { test } from 'node:test';
import { asOneLine, cleanPaste, lineCount, mustAsk, pastePreview } from '../../../web/stores/terminalpaste.js';
import { goesToShell } from '../../../web/stores/terminalkeys.js';
import { keyNames, normalKeys } from '../../../web/shell/keynames.js';

test('terminal paste: what could act as a key is left out', () => {
  assert.equal(cleanPaste('a\x1b[201~rm -rf ~\rb'), 'a[201~rm -rf ~\rb');
  assert.equal(cleanPaste('a\x03\x04\x00\x7f\x9b31mb'), 'a31mb');
  assert.equal(cleanPaste('tab\tline\nline\r\nend é 漢 🐟'), 'tab\tline\nline\r\nend é 漢 🐟');
});

test('terminal paste: several lines ask unless the shell waits for Enter', () => {
  assert.equal(lineCount('one'), 1);
  assert.equal(lineCount('one\n'), 1);
  assert.equal(lineCount('one\r\ntwo'), 2);
  assert.equal(lineCount('one\n\n'), 2);
  assert.equal(mustAsk('one\ntwo', false), true);
  assert.equal(mustAsk('one\rtwo', false), true);
  assert.equal(mustAsk('one\ntwo', true), false);
  assert.equal(mustAsk('one\n', false), false);
});

test('terminal paste: as one line', () => {
  assert.equal(asOneLine('  make \\\n  test\r\n\r\n  all\n'), 'make \\ test all');
});

test('terminal paste: the question shows a few lines and counts the others', () => {
  assert.equal(pastePreview('a\nb'), 'a\nb');
  const shown = pastePreview(Array.from({ length: 20 }, (_, i) => `l${i}`).join('\n')).split('\n');
  assert.equal(shown.length, 13);
  assert.equal(shown.at(-1), '… and 8 more');
});

test('terminal keys: the shell gets its own, the editor keeps the ways out', () => {
  const shell = ['ctrl+c', 'ctrl+r', 'ctrl+w', 'ctrl+k', 'ctrl+n', 'ctrl+s', 'ctrl+q', 'ctrl+z', 'ctrl+d', 'ctrl+l', 'ctrl+\\', 'ctrl+u'];
  const programs = ['f2', 'f5', 'f10', 'alt+b', 'alt+.', 'ctrl+left', 'ctrl+shift+left', 'tab', 'shift+tab', 'escape', 'enter', 'a', 'ctrl+space', 'ctrl+v'];
  for (const keys of [...shell, ...programs]) assert.equal(goesToShell([keys]), true, keys);
  const editor = ['ctrl+shift+p', 'ctrl+shift+c', 'ctrl+shift+`', 'ctrl+`', 'f1', 'f6', 'shift+f6', 'ctrl+j', 'ctrl+b', 'ctrl+=', 'ctrl+-', 'ctrl+0', 'alt+f4', 'ctrl+tab', 'ctrl+shift+tab'];
  for (const keys of editor) {
    assert.equal(keys, normalKeys(keys), 'written as events are named');
    assert.equal(goesToShell([keys]), false, keys);
  }
});

test('terminal keys: a key is known by its place on other keyboards too', () => {
  const press = (key, code) => keyNames({ key, code, ctrlKey: true, shiftKey: false, altKey: false, metaKey: false });
  assert.equal(goesToShell(press('ö', 'Backquote')), false);
  assert.equal(goesToShell(press('с', 'KeyC')), true);
});
