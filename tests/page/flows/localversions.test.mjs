// Local versions in Chromium on the real bridge: what saves leave, the list of them, and the way back.
import assert from 'node:assert/strict';
import { existsSync, readdirSync, readFileSync, writeFileSync } from 'node:fs';
import { join } from 'node:path';
import { after, afterEach, before, beforeEach, test } from 'node:test';
import { axeFindings, openPage, startEditor } from '../support/editor.mjs';
import { repositoryIn } from '../support/repository.mjs';
import { freshPage, frontTextIs, openFromTree, saved, settled } from '../support/steps.mjs';

let editor;
let plain; // without git
let page;
let git;

before(async () => {
  editor = await startEditor({
    prepare: (project) => {
      const repository = repositoryIn(project);
      git = repository.git;
      repository.begin({ 'pond.txt': 'carp\npike\n', 'notes.txt': 'one\n' });
    },
  });
});
after(async () => {
  await editor?.stop();
  await plain?.stop();
});
beforeEach(async () => {
  git('checkout', '-q', '-f', 'main');
  git('clean', '-q', '-fdx');
  page = await freshPage(editor);
});
afterEach(async () => {
  assert.deepEqual(page?.complaints ?? [], []);
  await page?.done();
});

const disk = (path) => readFileSync(join(editor.project, path), 'latin1');
const option = (name) => page.getByRole('listbox', { name: 'Versions of the file' }).getByRole('option', { name });
const localRows = () => page.locator('.history-row', { has: page.locator('.history-local') });

async function palette(title) {
  await page.keyboard.press('Control+Shift+P');
  await page.getByRole('combobox').fill(title);
  await page.getByRole('combobox').press('Enter');
}

/** Types at the beginning of the text and saves it. */
async function typeAndSave(words) {
  await page.locator('.text-view .view-line').first().click();
  await page.keyboard.press('Control+Home');
  await page.keyboard.type(words);
  await saved(page);
}

async function choose(row, item) {
  await row.click({ button: 'right' });
  await page.getByRole('menuitem', { name: item }).click();
}

test('local versions: the first save can be undone after a restart, by keys', async () => {
  await openFromTree(page, 'proj/pond.txt');
  await typeAndSave('trout ');
  await palette('File: Show File History');
  await option(/^As it was before a save, local version/).waitFor();
  await option(/^Saved, local version/).waitFor();
  await option('first, Ann').waitFor();
  // By time: the commit came after the file was written, and before it was saved here.
  const rows = await page.locator('.history-row .unseen').allInnerTexts();
  assert.deepEqual(rows.map((words) => words.split(',')[0]), ['Saved', 'first', 'As it was before a save']);
  assert.deepEqual(await axeFindings(page), []);
  assert.equal(git('status', '--porcelain'), ' M pond.txt\n', 'git does not see what is kept');
  const headers = { 'x-marlin-token': editor.token };
  const hits = await (await fetch(`${editor.origin}/api/search/text?q=carp`, { headers })).json();
  assert.deepEqual(hits.results.map(({ path }) => path), ['proj/pond.txt'], 'and no search finds it');

  await page.done();
  page = await openPage(editor);
  await openFromTree(page, 'proj/pond.txt');
  await palette('File: Show File History');
  await option(/^Saved, local version/).press('End');
  await page.locator('.history-row:focus', { hasText: 'As it was before a save' }).waitFor();
  await page.keyboard.press('Enter');
  await page.locator('.diff-view .original .view-line', { hasText: /^carp$/ }).waitFor();
  await page.locator('.diff-view .modified .view-line', { hasText: /trout.carp/ }).waitFor();
  await page.locator('.compare-words', { hasText: '1 change' }).waitFor();
  assert.deepEqual(await axeFindings(page), []);
  await choose(option(/^As it was/), 'Restore This Version');
  await page.locator('.toast', { hasText: 'Restored pond.txt from' }).waitFor();
  assert.equal(disk('pond.txt'), 'carp\npike\n');
  await option(/^Restored, local version/).waitFor();
  await page.locator('.text-view .view-line').first().click();
  await page.keyboard.press('Control+z');
  await frontTextIs(page, 'trout carp\npike');
});

test('local versions: two are compared, one is deleted by its key, then all, and the list is narrowed', async () => {
  await openFromTree(page, 'proj/notes.txt');
  await typeAndSave('A ');
  await palette('File: Show File History');
  await option(/^Saved/).waitFor();
  await choose(option(/^Saved/), 'Compare with the Version Before');
  await page.locator('.diff-view .original .view-line', { hasText: /^one$/ }).waitFor();
  await page.locator('.diff-view .modified .view-line', { hasText: /A.one/ }).waitFor();
  await page.getByRole('button', { name: 'Local Versions' }).click();
  await page.waitForFunction(() => document.querySelectorAll('.history-row').length === 2); // changed, and a commit
  assert.equal(await localRows().count(), 0);
  await page.getByRole('button', { name: 'Commits', exact: true }).click();
  await page.waitForFunction(() => document.querySelectorAll('.history-row').length === 2);
  assert.equal(await localRows().count(), 2);
  await page.getByRole('button', { name: 'Commits', exact: true }).click();
  await option('first, Ann').waitFor();
  await option(/^Saved/).press('Delete');
  await page.getByRole('button', { name: 'Delete', exact: true }).click();
  await option(/^Saved/).waitFor({ state: 'detached' });
  await palette('File: Delete Local Versions of the File…');
  await page.getByRole('button', { name: 'Delete', exact: true }).click();
  await option(/^As it was/).waitFor({ state: 'detached' });
  assert.equal(disk('notes.txt'), 'A one\n');
  assert.ok(!existsSync(join(editor.home, '.local/share/Trash/files')), 'nothing of this went to the Trash');
});

test('local versions: byte order mark, line ends and encoding come back as they were', async () => {
  const before = '\xef\xbb\xbfone\r\ntwo\nthree\r';
  writeFileSync(join(editor.project, 'mixed.txt'), before, 'latin1');
  writeFileSync(join(editor.project, 'old.txt'), 'caf\xe9\r\n', 'latin1');
  await openFromTree(page, 'proj/mixed.txt');
  await typeAndSave('x');
  await palette('File: Restore a Local Version…');
  await page.getByRole('option', { name: /As it was before a save/ }).click();
  await page.locator('.toast', { hasText: 'Restored mixed.txt' }).waitFor();
  assert.equal(disk('mixed.txt'), before);

  await openFromTree(page, 'proj/old.txt');
  await page.locator('.text-view .view-line', { hasText: 'café' }).click();
  await page.keyboard.press('Control+Home');
  await page.keyboard.type('€');
  await page.keyboard.press('Control+s');
  await page.getByRole('button', { name: 'Convert to UTF-8' }).click();
  await page.waitForSelector('.tab.front:not(.dirty)');
  assert.equal(disk('old.txt'), '\xe2\x82\xaccaf\xc3\xa9\r\n');
  await palette('File: Restore a Local Version…');
  await page.getByRole('option', { name: /As it was before a save/ }).click();
  await page.locator('.toast', { hasText: 'Restored old.txt' }).waitFor();
  assert.equal(disk('old.txt'), 'caf\xe9\r\n');
});

test('local versions: what is not saved is kept when a version or the disk takes its place', async () => {
  await openFromTree(page, 'proj/notes.txt');
  await typeAndSave('saved ');
  await page.keyboard.type('typed ');
  await palette('File: Restore a Local Version…');
  await page.getByRole('option', { name: /As it was before a save/ }).click();
  await page.getByText('It has changes that are not saved.', { exact: false }).waitFor();
  await page.getByRole('button', { name: 'Restore', exact: true }).click();
  await page.locator('.toast', { hasText: 'Restored notes.txt' }).waitFor();
  assert.equal(disk('notes.txt'), 'one\n');
  await page.locator('.text-view .view-line').first().click();
  await page.keyboard.press('Control+Home');
  await page.keyboard.type('lost? ');
  await palette('File: Revert to Saved');
  await page.getByRole('button', { name: 'Revert' }).click();
  await frontTextIs(page, 'one');
  await palette('File: Show File History');
  await localRows().nth(4).waitFor();
  const words = await localRows().locator('.history-words').allInnerTexts();
  const unsaved = 'Not saved when the file was reloaded';
  assert.deepEqual(words, [unsaved, 'Restored', unsaved, 'Saved', 'As it was before a save']);
  await localRows().first().click();
  await page.locator('.diff-view .original .view-line', { hasText: /lost\?.one/ }).waitFor();
});

test('local versions: without git they follow a rename, and can be switched off', async () => {
  await page.done();
  plain = await startEditor({ files: { 'notes.txt': 'one\n' } });
  page = await freshPage(plain);
  await openFromTree(page, 'proj/notes.txt');
  await typeAndSave('A ');
  await page.locator('[data-path="proj/notes.txt"]').press('F2');
  await page.getByRole('textbox', { name: 'New name' }).fill('words.txt');
  await page.keyboard.press('Enter');
  await page.waitForSelector('.tab.front[title="proj/words.txt"]');
  await palette('File: Show File History');
  await page.locator('.history-file', { hasText: 'proj/words.txt' }).waitFor();
  await localRows().nth(1).waitFor();
  assert.deepEqual(await axeFindings(page), []);

  await palette('File: Settings');
  await page.getByRole('tab', { name: 'Editor', exact: true }).click();
  await page.getByRole('checkbox', { name: 'Keep Local Versions' }).uncheck();
  await page.getByText('No local versions are kept.').waitFor();
  await page.locator('.tab', { hasText: 'words.txt' }).click();
  await typeAndSave('B ');
  await settled(page);
  await page.locator('.tab', { hasText: 'Settings' }).click();
  assert.equal(await localRows().count(), 2);
  await page.getByRole('button', { name: 'Delete All Local Versions…' }).click();
  await page.getByRole('button', { name: 'Move to the Trash' }).click();
  await page.waitForFunction(() => !document.querySelector('.history-local'));
  assert.ok(!existsSync(join(plain.project, '.marlin/history')));
  assert.deepEqual(readdirSync(join(plain.home, '.local/share/Trash/files')), ['history']);
  // Whoever remembers the file by its old name asks for it.
  page.complaints = page.complaints.filter((words) => !words.includes('status of 404'));
});
