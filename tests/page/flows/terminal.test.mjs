// Terminals, driven in Chromium on the real bridge with a real shell.
import assert from 'node:assert/strict';
import { execFileSync } from 'node:child_process';
import { mkdtemp, realpath, rm, writeFile } from 'node:fs/promises';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { after, afterEach, before, test } from 'node:test';
import { axeFindings, openPage, startEditor } from '../support/editor.mjs';
import { freshPage, settled } from '../support/steps.mjs';

let editor;
let page;
let tools;

/** Stands for a CLI that waits for what is typed. */
const kClaude = '#!/bin/sh\necho claude waits\nwhile read -r line; do echo "claude heard $line"; done\n';

before(async () => {
  tools = await mkdtemp(join(tmpdir(), 'marlin-tools-'));
  await writeFile(join(tools, 'claude'), kClaude, { mode: 0o755 });
  process.env.PATH = `${tools}:${process.env.PATH}`; // which the editor inherits
  editor = await startEditor({ files: { 'a.txt': 'one\ntwo\nthree\n', 'src/b.txt': 'b\n' } });
  await writeFile(join(editor.home, '.bashrc'), "PS1='$ '\n");
  page = await freshPage(editor);
});
after(async () => {
  await page?.done();
  await editor?.stop();
  await rm(tools, { recursive: true, force: true });
});
afterEach(async () => {
  assert.deepEqual(page.complaints, []);
});

/** What the terminal in front shows. */
const shown = async () => (await page.locator('.terminal-pane.active .xterm-rows').innerText()).replace(/\u00a0/g, ' ');

/** Waits until the terminal in front shows something. */
async function see(pattern) {
  const rows = page.locator('.terminal-pane.active .xterm-rows');
  const handle = await rows.elementHandle();
  await page
    .waitForFunction(([element, source]) => new RegExp(source, 'm').test(element.innerText.replace(/\u00a0/g, ' ')), [handle, pattern.source])
    .catch(async (error) => assert.fail(`never ${pattern} in ${JSON.stringify(await shown())}: ${error.message}`));
}

/** Runs a command by its name, as people do. */
async function palette(words) {
  await page.keyboard.press('Control+Shift+P');
  await page.keyboard.type(words);
  await page.keyboard.press('Enter');
}

/** Runs a line in the shell and waits for the next prompt. */
async function run(line) {
  const before = await page.locator('.terminal-pane.active .terminal-mark').count();
  await page.keyboard.type(`${line}\r`);
  await page.waitForFunction((count) => document.querySelectorAll('.terminal-pane.active .terminal-mark').length > count, before);
}
const inTerminal = () => page.evaluate(() => Boolean(document.activeElement?.closest('.terminal-screen')));

test('terminal: its key opens one with the keys in it, and puts it away again', async () => {
  await page.keyboard.press('Control+`');
  await page.waitForSelector('.xterm-rows');
  await see(/^\$ *$/);
  assert.ok(await inTerminal());
  await page.keyboard.press('Control+`');
  await page.locator('.terminals').waitFor({ state: 'detached' });
  assert.equal(await inTerminal(), false);
  await page.keyboard.press('Control+`');
  await see(/\$ /);
  await page.waitForFunction(() => document.activeElement?.closest('.terminal-screen'));
});

test('terminal: what is typed fast arrives in order, and the shell has the size that is seen', async () => {
  await page.keyboard.type("printf '%s' abcdefghijklmnopqrstuvwxyz0123456789 | rev\r");
  await see(/9876543210zyxwvutsrqponmlkjihgfedcba/);
  await page.keyboard.type('stty size\r');
  await see(/^\d+ \d+$/);
  const [, rows, cols] = /^(\d+) (\d+)$/m.exec(await shown());
  const { width, height } = await page.locator('.terminal-pane.active .xterm-screen').boundingBox();
  assert.ok(Number(cols) > 40 && Number(rows) > 3);
  const cell = await page.evaluate(() => {
    const row = document.querySelector('.terminal-pane.active .xterm-rows > div');
    return row.getBoundingClientRect().height;
  });
  assert.equal(Math.round(height / cell), Number(rows));
  assert.ok(width / Number(cols) > 5 && width / Number(cols) < 12);
});

test('terminal: a new size reaches the shell', async () => {
  await page.keyboard.type("trap 'echo SIZE $(stty size)' WINCH\r");
  await page.setViewportSize({ width: 1000, height: 800 });
  await page.keyboard.type('\r');
  await see(/SIZE \d+ \d+/);
  await page.keyboard.type('trap - WINCH; clear\r');
  await page.setViewportSize({ width: 1280, height: 800 });
});

test('terminal: the shell gets its keys, and the editor keeps the ways out', async () => {
  await page.keyboard.type('echo one two');
  await page.keyboard.press('Control+w');
  await page.keyboard.type('three\r');
  await see(/^one three$/);
  await page.keyboard.type('echo started; sleep 100\r');
  await see(/^started$/);
  await page.keyboard.press('Control+c');
  await page.keyboard.type('echo $?\r');
  await see(/^130$/);
  assert.ok(await inTerminal());
  await page.keyboard.press('F6');
  assert.equal(await inTerminal(), false);
  await page.keyboard.press('Shift+F6');
  assert.ok(await inTerminal());
});

test('terminal: copy and paste, and several lines that a shell would run at once are asked about', async () => {
  await page.evaluate(() => navigator.clipboard.writeText('echo pasted-$((20+1))'));
  await page.keyboard.press('Control+Shift+V');
  await page.keyboard.press('Enter');
  await see(/^pasted-21$/);
  await page.keyboard.type('echo ready; cat\r'); // no bracketed paste there
  await see(/^ready$/);
  await page.evaluate(() => navigator.clipboard.writeText('l1\nl2\n'));
  await page.keyboard.press('Control+Shift+V');
  const dialog = page.getByRole('alertdialog');
  await dialog.getByText('Paste 2 lines into the terminal?').waitFor();
  await page.keyboard.press('Escape');
  await dialog.waitFor({ state: 'detached' });
  await page.keyboard.press('Control+Shift+V');
  await dialog.getByRole('button', { name: 'Paste as One Line' }).click();
  await page.keyboard.press('Enter');
  await see(/^l1 l2$/);
  await page.keyboard.press('Control+c');
});

test('terminal: commands get a dot by their code, and one jumps, copies and runs again', async () => {
  await palette('close terminal');
  await page.getByText('No terminal is open').waitFor();
  await page.keyboard.press('Control+Shift+`');
  await see(/^\$ *$/);
  await run('echo hello; echo world');
  await run('false');
  assert.equal(await page.locator('.terminal-mark.done').count(), 1);
  assert.equal(await page.locator('.terminal-mark.failed').count(), 1);

  await page.keyboard.press('Control+ArrowUp');
  await page.keyboard.press('Control+ArrowUp');
  assert.match(await page.locator('.terminal-mark.current').getAttribute('title'), /^echo hello; echo world\nexit code 0$/);
  await palette('copy output');
  await page.waitForFunction(async () => (await navigator.clipboard.readText()) === 'hello\nworld');

  await page.locator('.terminal-mark.done').click();
  await page.getByRole('menuitem', { name: 'Run Again' }).click();
  await page.waitForFunction(() => document.querySelectorAll('.terminal-mark.done').length === 2);

  await palette('failed command');
  const options = page.getByRole('option');
  assert.equal(await options.count(), 1);
  assert.match(await options.first().innerText(), /false/);
  await page.keyboard.press('Enter');
  assert.match(await page.locator('.terminal-mark.current').getAttribute('title'), /^false\nexit code 1$/);
  await page.waitForFunction(() => document.activeElement?.closest('.terminal-screen'));
});

test('terminal: splits and tabs', async () => {
  await page.keyboard.press('Control+Shift+5');
  await page.waitForFunction(() => document.querySelectorAll('.terminal-pane').length === 2);
  await see(/^\$ *$/);
  const tabs = page.getByRole('tablist', { name: 'Terminals' }).getByRole('tab');
  assert.equal(await tabs.count(), 2);
  await page.keyboard.press('Control+Shift+`');
  await page.waitForFunction(() => document.querySelectorAll('.terminal-pane').length === 1);
  assert.equal(await tabs.count(), 3);
  await page.keyboard.press('Control+PageUp');
  await page.waitForFunction(() => document.querySelectorAll('.terminal-pane').length === 2);

  await settled(page); // the pane in front takes the focus a frame later
  await tabs.nth(2).press('F2');
  await page.getByRole('textbox', { name: 'Name' }).waitFor();
  await page.keyboard.type('server');
  await page.keyboard.press('Enter');
  await page.getByRole('tab', { name: 'server', exact: true }).waitFor();
});

test('terminal: beside a file', async () => {
  await page.getByRole('treeitem', { name: 'src' }).click({ button: 'right' });
  await page.getByRole('menuitem', { name: 'Open in Terminal' }).click();
  await page.getByRole('tab', { name: 'src', selected: true }).waitFor();
  await see(/^\$ *$/);
  await page.keyboard.type('pwd\r');
  await see(new RegExp(`^${await realpath(join(editor.project, 'src'))}$`));
});

test('terminal: a file in the output opens at its line', async () => {
  await page.keyboard.type('clear; echo ../a.txt:2:1: here\r');
  await see(/^\.\.\/a\.txt:2:1: here$/);
  await palette('open link');
  await page.getByRole('option', { name: /proj\/a\.txt:2/ }).waitFor();
  await page.keyboard.press('Enter');
  await page.waitForSelector('.editor-group.active .text-view .view-line');
  await page.waitForFunction(() => /Ln 2/.test(document.querySelector('.status').textContent));
});

test('terminal: find counts what it finds, and gives the keys back', async () => {
  await page.keyboard.press('Control+`');
  await page.keyboard.type('clear; echo fish fish cat\r');
  await see(/^fish fish cat$/);
  await page.keyboard.press('Control+Shift+F');
  await page.keyboard.type('fish');
  await page.locator('.terminal-find-count', { hasText: /of 2$/ }).waitFor();
  await page.keyboard.press('Escape');
  await page.locator('.terminal-find').waitFor({ state: 'detached' });
  await page.waitForFunction(() => document.activeElement?.closest('.terminal-screen'));
});

test('terminal: a reload keeps what runs and what it showed', async () => {
  const names = await page.getByRole('tablist', { name: 'Terminals' }).getByRole('tab').allInnerTexts();
  await page.keyboard.type('clear; keep=kept-$((1+1)); echo $keep\r');
  await see(/^kept-2$/);
  await page.reload();
  await page.waitForSelector('.xterm-rows');
  await see(/^kept-2$/);
  assert.deepEqual(await page.getByRole('tablist', { name: 'Terminals' }).getByRole('tab').allInnerTexts(), names);
  await page.locator('.terminal-pane.active .xterm-screen').click();
  await page.keyboard.type('clear; echo again $keep\r');
  await see(/^again kept-2$/);
});

test('terminal: an exit is shown with its code, its text stays, and it starts again', async () => {
  await page.keyboard.type('echo last words; exit 3\r');
  const ended = page.locator('.terminal-pane.active .terminal-ended');
  await ended.getByText('Exited with code 3').waitFor();
  await see(/^last words$/);
  await ended.getByRole('button', { name: 'Start Again' }).click();
  await ended.waitFor({ state: 'detached' });
  await page.keyboard.type('echo second life\r');
  await see(/^second life$/);
});

test('terminal: a terminal with the Claude CLI in it, which is asked about before it is closed', async () => {
  await page.getByRole('button', { name: 'New Claude Terminal' }).click();
  await page.getByRole('tab', { name: 'Claude', selected: true }).waitFor();
  await see(/^claude waits$/);
  await page.keyboard.type('hello\r');
  await see(/^claude heard hello$/);
  await palette('close terminal');
  await page.getByRole('alertdialog').getByRole('button', { name: 'End and Close' }).click();
  await page.getByRole('tab', { name: 'Claude' }).waitFor({ state: 'detached' });
});

test('terminal: an input method types once', async () => {
  await page.keyboard.type('clear\r');
  await see(/^\s*\$ \s*$/);
  const client = await page.context().newCDPSession(page);
  for (const text of ['n', 'ni']) await client.send('Input.imeSetComposition', { text, selectionStart: text.length, selectionEnd: text.length });
  await page.locator('.terminal-preedit', { hasText: 'ni' }).waitFor();
  await client.send('Input.insertText', { text: '你好' });
  await client.send('Input.insertText', { text: '，' });
  await page.keyboard.type('x');
  await see(/^\$ 你好，x\s*$/);
  assert.equal(await page.locator('.terminal-preedit:visible').count(), 0);
  await page.keyboard.press('Control+u');
});

test('terminal: nothing that axe finds, with tabs, an exit and the find box', async () => {
  await page.keyboard.type('exit\r');
  await page.locator('.terminal-ended').waitFor();
  await page.keyboard.press('Control+Shift+F');
  await page.locator('.terminal-find').waitFor();
  assert.deepEqual(await axeFindings(page), []);
  await page.keyboard.press('Escape');
});

test('terminal: zsh marks its commands as bash does', async () => {
  const other = await startEditor({ env: { SHELL: '/bin/zsh' } });
  let zsh;
  try {
    await writeFile(join(other.home, '.zshrc'), "PS1='%% '\n");
    zsh = await openPage(other);
    await zsh.keyboard.press('Control+`');
    const rows = zsh.locator('.terminal-pane.active .xterm-rows');
    await rows.getByText('%').first().waitFor();
    await zsh.waitForFunction(() => document.activeElement?.closest('.terminal-screen'));
    await zsh.keyboard.type('echo $ZSH_NAME-$((40+2))\r');
    await rows.getByText('zsh-42').waitFor();
    await zsh.keyboard.type('(exit 3)\r');
    await zsh.locator('.terminal-mark.failed').waitFor();
    assert.equal(await zsh.locator('.terminal-mark.done').count(), 1);
    assert.match(await zsh.locator('.terminal-mark.failed').getAttribute('title'), /^\(exit 3\)\nexit code 3$/);
    assert.deepEqual(zsh.complaints, []);
  } finally {
    await zsh?.done();
    await other.stop();
  }
});

test('terminal: in the window, what an input method types arrives once', async () => {
  const other = await startEditor({ keepWindow: true });
  const { window } = other;
  const press = (...keys) => execFileSync('xdotool', ['key', ...keys], { env: { ...process.env, DISPLAY: other.screen } });
  const line = `document.querySelector('.xterm-rows')?.innerText.replaceAll('\u00a0', ' ') ?? ''`;
  try {
    await writeFile(join(other.home, '.bashrc'), "PS1='$ '\n");
    await window.until(`document.querySelector('[role="tree"]')`);
    press('ctrl+grave');
    await window.until(`(${line}).includes('$') && document.activeElement?.closest('.terminal-screen')`);
    // The toolkit's own method: characters by their numbers, the first one twice.
    for (const number of ['4e2d', '4e2d', 'e9']) press('ctrl+shift+u', ...number, 'space');
    press('x', 'y');
    await window.until(`(${line}).includes('y')`);
    assert.equal((await window.evaluate(line)).trim(), '$ 中中éxy');
  } finally {
    await other.stop();
  }
});
