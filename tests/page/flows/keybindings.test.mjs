// The user's key bindings in Chromium: recorded, in force everywhere at once, kept, and taken over from a file.
import assert from 'node:assert/strict';
import { join } from 'node:path';
import { readFile, writeFile } from 'node:fs/promises';
import { after, afterEach, before, test } from 'node:test';
import { kMapped } from '../../../web/stores/keybindingsforeign.js';
import { axeFindings, openPage, startEditor } from '../support/editor.mjs';
import { frontText, frontTextIs, openFromTree, settled } from '../support/steps.mjs';

let editor;
let page;

before(async () => {
  editor = await startEditor({
    files: { 'a.txt': 'one\ntwo\none\n', 'keybindings.json': '[{ "key": "f7", "command": "workbench.action.togglePanel" }]\n' },
  });
  page = await openPage(editor);
});
after(async () => {
  await page?.done();
  await editor?.stop();
});
afterEach(() => assert.deepEqual(page.complaints, []));

const rows = () => page.locator('.keys-row[data-index]');
const row = (id) => page.locator(`.keys-row[data-command="${id}"]`);
const cell = (id, which) => row(id).first().locator(which);
const recorded = () => page.getByLabel('Keys', { exact: true });
const findings = () => page.locator('.keys-findings');
const sideIs = (shown) => page.waitForSelector('[data-place="side"]', { state: shown ? 'visible' : 'detached' });

async function showKeys(words = '') {
  await page.keyboard.press('Control+k');
  await page.keyboard.press('Control+s');
  await page.getByLabel('Search keyboard shortcuts').fill(words);
}

/** Presses keys for the first row of a command, all by keyboard. */
async function bind(id, ...strokes) {
  await row(id).first().click();
  await page.keyboard.press('Enter');
  for (const stroke of strokes) await recorded().press(stroke);
  await recorded().press('Enter');
  await recorded().waitFor({ state: 'detached' });
}

/** Focus in the text, the cursor at its start. */
async function intoText() {
  await openFromTree(page, 'proj/a.txt');
  await page.locator('.editor-group.active .text-view .view-line').first().click();
  await page.keyboard.press('Control+Home');
}

/** What the program keeps for the page; undefined while the file is being written. */
async function readKept() {
  const text = await readFile(join(editor.home, '.config/marlin-bench/ui-state.json'), 'utf8').catch(() => '{}');
  try {
    return JSON.parse(text)['keys.bindings'] ?? null;
  } catch {
    return undefined;
  }
}

/** Awaits that it is as wanted. */
async function kept(fits) {
  const end = Date.now() + 20000;
  for (;;) {
    const found = await readKept();
    if (found !== undefined && fits(found)) return found;
    assert.ok(Date.now() < end, `kept is ${JSON.stringify(found)}`);
    await settled(page);
  }
}

test('keybindings: the page lists every command, without conflicts, and is accessible', async () => {
  await showKeys();
  const ids = await page.evaluate(async () => (await import('/shell/commands.js')).commands.value.map(({ id }) => id));
  assert.deepEqual(kMapped.filter((id) => !ids.includes(id)), [], 'whatever files are mapped to is there');
  assert.ok((await rows().count()) >= ids.length);
  assert.deepEqual(await axeFindings(page), []);
  await page.getByLabel(/^Conflicts Only/).click();
  await page.getByText('No command fits.').waitFor();
  await page.getByLabel(/^Conflicts Only/).click();

  await page.getByRole('button', { name: 'Search by Pressed Keys' }).click();
  const field = page.getByLabel('Search by pressed keys', { exact: true });
  await field.press('Control+k');
  await field.press('Control+c');
  await page.waitForFunction(() => document.querySelectorAll('.keys-row[data-index]').length === 1);
  assert.match(await rows().innerText(), /Add Line Comment/);
  await page.getByRole('button', { name: 'Search by Pressed Keys' }).click();
});

test('keybindings: a recorded key acts at once, outside the text and in it, and is shown everywhere', async () => {
  await showKeys('toggle side');
  await page.keyboard.press('ArrowDown');
  await page.keyboard.press('Enter');
  await recorded().press('Tab');
  assert.equal(await page.evaluate(() => document.activeElement?.textContent?.trim()), 'Cancel', 'Tab moves on');
  await recorded().press('a');
  await findings().getByText('A types text, so it cannot be bound.').waitFor();
  await recorded().press('Control+s');
  await findings().getByText('"File: Save" has the same keys.').waitFor();
  assert.deepEqual(await axeFindings(page), []);
  await recorded().press('Escape');
  await recorded().waitFor({ state: 'detached' });
  assert.equal(await cell('layout.toggleSide', 'kbd').innerText(), 'Ctrl+B', 'Esc leaves it as it was');

  await bind('layout.toggleSide', 'Control+Alt+y');
  assert.equal(await cell('layout.toggleSide', 'kbd').innerText(), 'Ctrl+Alt+Y');
  assert.equal(await cell('layout.toggleSide', '.keys-source').innerText(), 'Yours');
  await page.waitForSelector('button[title="Toggle Side Panel (Ctrl+Alt+Y)"]');
  await page.keyboard.press('Control+Alt+y');
  await sideIs(false);
  await page.keyboard.press('Control+Alt+y');
  await sideIs(true);
  await intoText();
  await page.keyboard.press('Control+b');
  await page.keyboard.press('Control+Alt+y');
  await sideIs(false);
  await page.keyboard.press('Control+Alt+y');
  await sideIs(true);
});

test("keybindings: a text editor's command moves to other keys, to a chord, and its old key is dead", async () => {
  await showKeys('copy line down');
  await row('editor.copyLineDown').first().click();
  await page.keyboard.press('Enter');
  await recorded().press('Control+d');
  await findings().getByText('"Editor: Add Next Match to Selection" has the same keys, in the text.').waitFor();
  await recorded().press('Enter');
  await page.getByLabel(/^Conflicts Only \(2\)/).waitFor();
  await intoText();
  await page.keyboard.press('Control+d');
  await frontTextIs(page, 'one\none\ntwo\none');
  await page.keyboard.press('Shift+Alt+ArrowDown');
  await page.keyboard.press('Control+z');
  await frontTextIs(page, 'one\ntwo\none');

  await showKeys('copy line down');
  await bind('editor.copyLineDown', 'Control+y', 'Control+e');
  await intoText();
  await page.keyboard.press('Control+y');
  await page.locator('.status-hint', { hasText: 'Ctrl+Y was pressed' }).waitFor();
  await page.keyboard.press('Control+e');
  await frontTextIs(page, 'one\none\ntwo\none');
  await page.keyboard.press('Control+z');
  await frontTextIs(page, 'one\ntwo\none');
});

test('keybindings: what is removed does not fall to the text editor', async () => {
  await showKeys('command palette');
  const f1 = row('palette.show').filter({ hasText: 'F1' });
  await f1.click();
  await page.keyboard.press('Delete');
  await f1.waitFor({ state: 'detached' });
  await page.waitForFunction(() => document.activeElement?.matches('.keys-row'), null);
  await showKeys('editor: find');
  await row('editor.find').first().click();
  await page.keyboard.press('Shift+F10');
  await page.getByRole('menuitem', { name: 'Remove Keys' }).click();
  await cell('editor.find', '.keys-source').filter({ hasText: 'Taken away' }).waitFor();
  await intoText();
  await page.keyboard.press('F1');
  await page.keyboard.press('Control+f');
  await page.keyboard.type('x');
  await frontTextIs(page, 'xone\ntwo\none');
  assert.equal(await page.locator('.quick-input-widget:visible, .find-widget.visible, .pick').count(), 0);
  await page.keyboard.press('Control+z');
});

test('keybindings: they are kept, and one is reset', async () => {
  await kept((found) => found?.remove.length === 4);
  await page.reload();
  await page.waitForSelector('.status');
  await intoText();
  await page.keyboard.press('Control+y');
  await page.keyboard.press('Control+e');
  await frontTextIs(page, 'one\none\ntwo\none');
  await page.keyboard.press('Control+z');
  await showKeys('editor: find');
  await row('editor.find').first().click();
  await page.keyboard.press('Shift+F10');
  await page.getByRole('menuitem', { name: 'Reset to Default' }).click();
  await cell('editor.find', 'kbd').filter({ hasText: 'Ctrl+F' }).waitFor();
  await intoText();
  await page.keyboard.press('Control+f');
  await page.waitForSelector('.find-widget.visible');
  await page.keyboard.press('Escape');
});

test('keybindings: a file is taken over after a look at it, and taken back', async () => {
  await showKeys();
  await page.getByRole('button', { name: 'Reset All…' }).click();
  await page.getByRole('button', { name: 'Reset All', exact: true }).click();
  await kept((found) => found === null);

  await page.getByRole('button', { name: 'Import…' }).click();
  assert.deepEqual(await axeFindings(page), []);
  await page.getByLabel('Path of the file').fill('/etc/keybindings.json');
  await page.keyboard.press('Enter');
  await page.getByText('lies outside the workspace').waitFor();
  await page.getByLabel('Text of the file').fill('[{');
  await page.getByRole('button', { name: 'Show What Changes' }).click();
  await page.getByText('The text: it cannot be read').waitFor();

  const file = join(editor.home, 'mine.json');
  const lines = [
    '// mine',
    '[ { "key": "ctrl+d", "command": "editor.action.copyLinesDownAction", "when": "editorTextFocus" },',
    '  { "key": "ctrl+alt+f11", "command": "vim.go" },',
    '  { "key": "ctrl+f", "command": "-actions.find" }, ]',
  ];
  await writeFile(file, lines.join('\n'));
  await page.locator('input[type="file"]').setInputFiles(file);
  await page.getByText('2 bindings would be taken over, 1 not. 1 of them in conflict with others.').waitFor();
  await page.getByText('there is no such command here').waitFor();
  assert.deepEqual(await axeFindings(page), []);
  assert.equal(await kept(() => true), null, 'nothing changed so far');
  await page.getByRole('button', { name: 'Take Over 2 Bindings' }).click();
  await kept((found) => found?.add.length === 1 && found.remove.length === 1);
  await intoText();
  const before = await frontText(page);
  await page.keyboard.press('Control+d');
  await frontTextIs(page, `one\n${before}`);
  await page.keyboard.press('Control+z');
  await page.getByRole('button', { name: 'Undo', exact: true }).click();
  await kept((found) => found === null);
});

test('keybindings: an open keybindings.json is offered, and what is taken over is copied as such a file', async () => {
  await openFromTree(page, 'proj/keybindings.json');
  await page.keyboard.press('Control+Shift+P');
  await page.keyboard.type('Import Key Bindings');
  await page.keyboard.press('Enter');
  assert.equal(await page.getByLabel('Path of the file').inputValue(), 'proj/keybindings.json');
  await page.getByRole('button', { name: 'Read' }).click();
  await page.getByRole('button', { name: 'Take Over 1 Binding' }).click();
  await kept((found) => found?.add.length === 1);
  await page.keyboard.press('F7');
  await page.waitForSelector('[data-place="bottom"]');
  await page.keyboard.press('F7');
  await page.waitForSelector('[data-place="bottom"]', { state: 'detached' });
  await showKeys();
  await page.getByRole('button', { name: 'Copy as File' }).click();
  await page.getByText('Your key bindings are in the clipboard').waitFor();
  const copied = JSON.parse(await page.evaluate(() => navigator.clipboard.readText()));
  assert.deepEqual(copied, [{ key: 'f7', command: 'workbench.action.togglePanel' }]);
});

test("keybindings: in a terminal the user's keys for terminals go before the program", async () => {
  await showKeys('find in terminal');
  await bind('terminal.find', 'Control+x');
  await page.keyboard.press('Control+Backquote');
  await page.waitForFunction(() => document.activeElement?.closest('.terminal-screen'));
  await page.keyboard.press('Control+x');
  await page.waitForFunction(() => document.activeElement?.matches('.terminals input'));
});
