// The same page in the editor's own window, seen through the web view's inspector.
import assert from 'node:assert/strict';
import { execFileSync } from 'node:child_process';
import { after, before, test } from 'node:test';
import { startEditor } from '../support/editor.mjs';

let editor;

before(async () => {
  editor = await startEditor({
    files: { 'a.txt': 'from the command line\n' },
    args: ['a.txt'],
    addProject: false,
    keepWindow: true,
  });
});
after(() => editor?.stop());

/** Presses keys in the window, as the desktop delivers them. */
const press = (...keys) =>
  execFileSync('xdotool', ['key', ...keys], { env: { ...process.env, DISPLAY: editor.screen } });
const type = (text) =>
  execFileSync('xdotool', ['type', text], { env: { ...process.env, DISPLAY: editor.screen } });

test('window: a file of the command line opens, with its folder in the tree', async () => {
  const { window } = editor;
  await window.until(`document.querySelector('.monaco-editor .view-lines')?.textContent.includes('command')`);
  await window.until(`document.querySelector('[role="tree"]')?.textContent.includes('a.txt')`);
  assert.equal(await window.evaluate('location.search'), '');
});

test('window: the link is open and nothing went wrong', async () => {
  const { window } = editor;
  await window.evaluate(`import('/stores/log.js').then(({ entries }) => (globalThis.logged = entries))`);
  await window.until('globalThis.logged');
  const kinds = ['warning', 'error', 'event'];
  const wrong = `JSON.stringify(logged.value.filter(({ kind }) => ${JSON.stringify(kinds)}.includes(kind)))`;
  assert.equal(await window.evaluate(wrong), '[]');
  await window.evaluate(`import('/bridge/events.js').then(({ linkState }) => (globalThis.link = linkState))`);
  await window.until(`globalThis.link?.value === 'open'`);
});

test('window: a later open request shows there too', async () => {
  const { window, api, home } = editor;
  await api('open', { paths: [`${home}/app/marlin-bench`, `${home}/proj`] });
  await window.until(`document.querySelector('[role="tree"]')?.textContent.includes('app')`);
});

test('window: the keys of the desktop reach the commands', async () => {
  const { window } = editor;
  press('ctrl+shift+p');
  type('zoom');
  await window.until(`document.querySelector('.pick-field')?.value === 'zoom'`);
  press('shift+F10');
  await window.until(`document.querySelector('[role="menu"]')?.textContent.includes('Paste')`);
  press('Escape', 'Escape');
  await window.until(`!document.querySelector('[data-overlay]')`);
  press('F10', 'Down');
  await window.until(`document.querySelector('[role="menu"]')?.getAttribute('aria-label') === 'File'`);
  press('Escape');
  await window.until(`!document.querySelector('[data-overlay]')`);
  press('ctrl+b');
  await window.until(`!document.querySelector('[data-place="side"]')`);
  press('ctrl+b');
  await window.until(`document.querySelector('[data-place="side"]')`);
});

test('window: closing it by its own command ends the program', async () => {
  press('ctrl+shift+w');
  assert.equal(await editor.ended(), 0);
});
