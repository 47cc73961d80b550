import assert from 'node:assert/strict';
import { existsSync, readFileSync, readdirSync } from 'node:fs';
import { join } from 'node:path';
import { after, beforeEach, test } from 'node:test';
import { axeFindings, startEditor } from '../support/editor.mjs';
import { repositoryIn } from '../support/repository.mjs';
import { freshPage, openFromTree, settled } from '../support/steps.mjs';

const lines = (count) => Array.from({ length: count }, (_, i) => `line ${i + 1}\n`).join('');

/** @type {ReturnType<typeof repositoryIn>} */
let repository;
const editor = await startEditor({
  prepare: (project) => {
    repository = repositoryIn(project);
    repository.begin({ '.gitignore': '.marlin/\n', 'src/a b.c': lines(30), 'dos.txt': 'one\r\ntwo\r\nthree' });
  },
});
after(() => editor.stop());

const { git, write } = repository;
const at = (...parts) => join(editor.project, ...parts);
beforeEach(() => {
  git('reset', '-q', '--hard', 'HEAD');
  git('clean', '-q', '-fdx', '-e', '.marlin');
});

const row = (group, path) => `.scm-row[data-key="proj/${group}/${encodeURIComponent(path)}"]`;
const index = (path) => (git('ls-files', '--', path) ? git('cat-file', 'blob', `:0:${path}`) : '');

async function openPanel() {
  const page = await freshPage(editor);
  await page.keyboard.press('Control+Shift+G');
  await page.waitForSelector('.scm-row');
  return page;
}

async function done(page) {
  assert.deepEqual(page.complaints, []);
  await page.done();
}

/** Awaits what git has staged of a file. */
async function staged(page, path, expected) {
  const end = Date.now() + 20000;
  while (index(path) !== expected && Date.now() < end) await page.waitForTimeout(50);
  assert.equal(index(path), expected);
}

const focusIn = (page, side) =>
  page.waitForFunction((name) => document.activeElement?.closest(`.${name}-in-monaco-diff-editor`), side);
const changes = (page, words) => page.getByText(words, { exact: true }).waitFor();

/** Chooses in the menu of a side of the comparison. */
async function choose(page, side, line, item) {
  const all = page.locator(`.diff-view .${side}-in-monaco-diff-editor .view-line`);
  await all.filter({ hasText: line }).first().click({ button: 'right' });
  await page.getByRole('menuitem', { name: new RegExp(`^${item}( Ctrl|$)`) }).click();
}

test('hunks: a change and lines of another are staged, and taken back from what is staged', async () => {
  const now = lines(30)
    .replace('line 3\n', 'three\n')
    .replace('line 10\nline 11\n', 'ten\neleven\n')
    .replace('line 20\n', '');
  write('src/a b.c', now);
  const page = await openPanel();
  await page.locator(row('changes', 'src/a b.c')).press('Enter');
  await changes(page, '3 changes');
  await focusIn(page, 'modified');
  // Nothing is meant where the cursor is on no change and there are several.
  await page.keyboard.press('Control+Home');
  await page.getByRole('button', { name: 'Stage Change' }).click();
  await page.locator('.toast', { hasText: 'There is no change at the cursor.' }).waitFor();
  assert.deepEqual(await axeFindings(page), []);
  await choose(page, 'modified', 'three', 'Stage Change');
  await staged(page, 'src/a b.c', lines(30).replace('line 3\n', 'three\n'));
  await changes(page, '2 changes');
  await choose(page, 'modified', 'eleven', 'Stage Selected Lines');
  await staged(page, 'src/a b.c', lines(30).replace('line 3\n', 'three\n').replace('line 11\n', 'eleven\n'));
  assert.equal(readFileSync(at('src/a b.c'), 'utf8'), now);
  assert.deepEqual(readdirSync(at('.marlin')).filter((name) => name.endsWith('.patch')), []);
  // A line that is gone is on the left only.
  await choose(page, 'original', /line.20/, 'Stage Change');
  await staged(page, 'src/a b.c', now.replace('ten\n', 'line 10\n'));
  await changes(page, '1 change');

  await page.locator(row('staged', 'src/a b.c')).press('Enter');
  await page.locator('.tab.front', { hasText: 'a b.c (Staged)' }).waitFor();
  await changes(page, '3 changes');
  await choose(page, 'modified', 'three', 'Unstage Change');
  await staged(page, 'src/a b.c', lines(30).replace('line 11\n', 'eleven\n').replace('line 20\n', ''));
  await changes(page, '2 changes');
  await choose(page, 'modified', 'eleven', 'Unstage Selected Lines');
  await staged(page, 'src/a b.c', lines(30).replace('line 20\n', ''));
  assert.equal(readFileSync(at('src/a b.c'), 'utf8'), now);
  await done(page);
});

test('hunks: lines are discarded as an edit that undo takes back, and unsaved ones are saved before staging', async () => {
  const now = lines(30).replace('line 3\nline 4\n', 'three\nfour\n');
  write('src/a b.c', now);
  const page = await freshPage(editor);
  await openFromTree(page, 'proj/src/a b.c');
  await page.waitForSelector('.change-bar.changed');
  const line = page.locator('.editor-group.active .view-line');
  await line.filter({ hasText: 'four' }).click();
  await page.keyboard.press('Control+k');
  await page.keyboard.press('Control+r');
  const question = page.getByRole('alertdialog', { name: 'Discard these lines of a b.c?' });
  await question.waitFor();
  assert.deepEqual(await axeFindings(page), []);
  await question.getByRole('button', { name: 'Discard Lines' }).click();
  await line.filter({ hasText: /line.4$/ }).waitFor();
  await page.waitForSelector('.tab.front:not(.dirty)');
  assert.equal(readFileSync(at('src/a b.c'), 'utf8'), now.replace('four\n', 'line 4\n'));
  await settled(page);
  await page.keyboard.press('Control+z');
  await line.filter({ hasText: 'four' }).waitFor();
  await page.waitForSelector('.tab.front.dirty');
  // Staged is what is on disk, so the text is saved first.
  await page.waitForSelector('.change-bar.changed');
  await page.click('.change-bar.changed');
  await page.locator('.change-peek').getByRole('button', { name: 'Stage Change' }).click();
  await page.getByRole('alertdialog', { name: 'Save a b.c first?' }).waitFor();
  await page.keyboard.press('Enter');
  await staged(page, 'src/a b.c', now);
  await page.waitForSelector('.change-bar', { state: 'detached' });
  await done(page);
});

test('hunks: bytes and line ends are staged as they are, and lines of a file that git does not know', async () => {
  write('dos.txt', Buffer.from('one\r\ntw\xfc\r\nthree\r\nfour', 'latin1')); // the old third line has no end
  write('new file.txt', 'first\nsecond\n');
  const page = await openPanel();
  await page.locator(row('changes', 'dos.txt')).press('Enter');
  await changes(page, '2 changes');
  await choose(page, 'modified', 'twü', 'Stage Selected Lines');
  await staged(page, 'dos.txt', 'one\r\ntw\ufffd\r\nthree');
  assert.ok(git('diff', '--cached', '--stat').includes('dos.txt'));
  await page.keyboard.press('Control+Shift+E');
  await openFromTree(page, 'proj/new file.txt');
  await page.locator('.editor-group.active .view-line', { hasText: 'second' }).click();
  await page.keyboard.press('Control+k');
  await page.keyboard.press('Control+Alt+s');
  await staged(page, 'new file.txt', 'second\n');
  assert.ok(existsSync(at('new file.txt')));
  await done(page);
});
