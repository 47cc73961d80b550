import assert from 'node:assert/strict';
import { existsSync, readFileSync, readdirSync, rmSync, writeFileSync } from 'node:fs';
import { join } from 'node:path';
import { after, beforeEach, test } from 'node:test';
import { axeFindings, openPage, startEditor } from '../support/editor.mjs';
import { freshPage, frontTextIs, openFromTree, settled } from '../support/steps.mjs';

const kFiles = {
  'src/main.c': 'int value;\n\t// größe: value, Value\nint values;\n',
  'src/util/list.c': 'int list;\n',
  'docs/guide.md': 'The value.\r\nNo more value.\r\n',
  'README.md': 'Read me.\n',
};

const editor = await startEditor({ files: kFiles });
after(() => editor.stop());

const at = (path) => join(editor.project, path);
const read = (path) => readFileSync(at(path), 'utf8');

/**
 * The same small project for every test; its folders stay, so that the list of files has no reason to
 * change.
 */
beforeEach(async () => {
  for (const { name } of readdirSync(editor.project, { recursive: true, withFileTypes: true })) {
    if (!Object.keys(kFiles).some((path) => path.split('/').includes(name)))
      rmSync(at(name), { recursive: true, force: true });
  }
  for (const [path, text] of Object.entries(kFiles)) writeFileSync(at(path), text);
});

async function open() {
  const page = await freshPage(editor);
  await page.waitForSelector('[data-path="proj/README.md"]');
  return page;
}

async function done(page) {
  assert.deepEqual(page.complaints, []);
  await page.done();
}

/** Opens the search and types a query; the answer is awaited by the words that sum it up. */
async function searchFor(page, query, words) {
  await page.keyboard.press('Control+Shift+f');
  await page.locator('.search-query').fill(query);
  await page.locator('.search-query').press('Enter');
  await sums(page, words);
}

const sums = (page, words) => page.locator('.search-words span', { hasText: words }).waitFor();
const rowTexts = (page) =>
  page
    .locator('.search-row')
    .evaluateAll((rows) =>
      rows
        .sort((a, b) => parseFloat(a.style.top) - parseFloat(b.style.top))
        .map((row) => row.innerText.replace(/\s+/g, ' ').trim()),
    );
const status = (page, pattern) => page.locator('.status', { hasText: pattern }).waitFor();
const row = (page, text) => page.locator('.search-row', { hasText: text }).first();
const picks = (page) =>
  page.locator('.pick-row').evaluateAll((rows) => rows.map((each) => each.innerText.replace(/\s+/g, ' ')));

test('search: hits by file, opened with their match selected, one after the other by key', async () => {
  const page = await open();
  await searchFor(page, 'value', '6 hits in 2 files');
  assert.deepEqual(await rowTexts(page), [
    'guide.md docs 2 hits',
    'Line 1 The value.',
    'Line 2 No more value.',
    'main.c src 4 hits',
    'Line 1 int value;',
    'Line 2 // größe: value, Value',
    'Line 2 // größe: value, Value',
    'Line 3 int values;',
  ]);
  assert.deepEqual(await axeFindings(page), []);
  await page.locator('.search-query').press('Control+ArrowDown');
  for (const key of ['ArrowDown', 'ArrowDown', 'ArrowDown', 'ArrowDown', 'ArrowDown'])
    await page.keyboard.press(key);
  await page.keyboard.press('Enter');
  await frontTextIs(page, kFiles['src/main.c'].replace('\t', '    ').trimEnd());
  await status(page, /Ln 2, Col 17 \(5 selected\)/);
  await page.keyboard.press('F4');
  await status(page, /Ln 2, Col 24 \(5 selected\)/);
  await page.keyboard.press('Shift+F4');
  await page.keyboard.press('Shift+F4');
  await status(page, /Ln 1, Col 10 \(5 selected\)/);
  await page.keyboard.press('Shift+F4');
  await status(page, /Ln 2, Col 14 \(5 selected\)/);
  await done(page);
});

test('search: options, filters and what the bridge says of a pattern', async () => {
  const page = await open();
  await searchFor(page, 'value', '6 hits in 2 files');
  await page.keyboard.press('Alt+c');
  await sums(page, '5 hits in 2 files');
  await page.keyboard.press('Alt+w');
  await sums(page, '4 hits in 2 files');
  await page.keyboard.press('Alt+r');
  await page.locator('.search-query').fill('(val');
  await page.getByText('Could not search: invalid pattern: ').waitFor();
  await page.locator('.search-query').fill('val(ue|or)\\b');
  await sums(page, '4 hits in 2 files');
  await page.getByRole('button', { name: 'Files to search' }).click();
  await page.getByLabel('Not in').fill('docs');
  await sums(page, '2 hits in 1 file');
  await page.getByText('2 hits are filtered out or dismissed.').waitFor();
  await page.getByLabel('Not in').fill('');
  await page.getByLabel('Extensions').fill('.MD');
  await sums(page, '2 hits in 1 file');
  await page.getByRole('button', { name: 'Results by Folder' }).click();
  assert.deepEqual((await rowTexts(page)).slice(0, 2), ['proj/docs 2 hits', 'guide.md 2 hits']);
  await row(page, 'The value.').click();
  await row(page, 'The value.').press('Delete');
  await sums(page, '1 hit in 1 file');
  await done(page);
});

test('search: unsaved text is searched in place of its file, and a pattern that never ends holds up nothing', async () => {
  const page = await open();
  await openFromTree(page, 'proj/README.md');
  await page.locator('.text-view .view-lines').click();
  await page.keyboard.press('Control+Home');
  await page.keyboard.type('of value\n');
  await searchFor(page, 'value', '7 hits in 3 files');
  assert.equal((await rowTexts(page))[0], 'README.md unsaved 1 hit');
  await page.locator('.text-view .view-lines').click();
  await page.keyboard.press('Control+Home');
  await page.keyboard.type('value ');
  await sums(page, '8 hits in 3 files');
  await page.keyboard.type(`${'a'.repeat(40)}!\n`);
  await page.keyboard.press('Control+Shift+f');
  await page.keyboard.press('Alt+r');
  await page.locator('.search-query').fill('(a+)+$');
  await page.getByText('Unsaved changes were not searched (README.md): the pattern takes too long').waitFor();
  await page.locator('.search-query').fill('a{40}');
  await sums(page, '1 hit in 1 file');
  await done(page);
});

test('search: a replacement is shown before it happens, for one match and for all', async () => {
  const page = await open();
  await openFromTree(page, 'proj/src/main.c');
  await page.keyboard.press('Control+Shift+h');
  await page.locator('.search-query').fill('value');
  await page.locator('.search-query').press('Alt+c');
  await page.locator('.search-replacement').fill('worth');
  await sums(page, '5 hits in 2 files');
  await page.locator('.search-text ins', { hasText: 'worth' }).first().waitFor();
  await row(page, 'No more').click({ button: 'right' });
  await page.getByRole('menuitem', { name: 'Replace' }).click();
  await sums(page, '4 hits in 2 files');
  assert.equal(read('docs/guide.md'), 'The value.\r\nNo more worth.\r\n', 'one match, its line ends kept');
  await page.getByRole('button', { name: 'Replace All' }).click();
  const dialog = page.locator('.dialog');
  await dialog.getByText('Replace 4 matches in 2 files?').waitFor();
  await dialog.getByText('1 file not open in the editor is written at once').waitFor();
  assert.equal(
    read('docs/guide.md'),
    'The value.\r\nNo more worth.\r\n',
    'nothing happens before the answer',
  );
  await dialog.getByRole('button', { name: 'Replace', exact: true }).click();
  await page.getByText('Replaced 4 matches in 2 files. 1 open file is not saved yet.').waitFor();
  assert.equal(read('docs/guide.md'), 'The worth.\r\nNo more worth.\r\n');
  assert.equal(read('src/main.c'), kFiles['src/main.c'], 'an open text waits to be saved');
  await frontTextIs(page, /worth, Value/);
  await page.locator('.text-view .view-lines').click();
  await page.keyboard.press('Control+z');
  await frontTextIs(page, /value, Value/);
  await page.waitForSelector('.tab.front:not(.dirty)');
  await sums(page, '3 hits in 1 file');
  await page.keyboard.press('Control+Shift+E');
  await openFromTree(page, 'proj/docs/guide.md');
  await page.keyboard.press('Control+Shift+P');
  await page.getByRole('combobox').fill('Compare with a Local Version');
  await page.getByRole('combobox').press('Enter');
  await page.locator('.pick-row', { hasText: 'As it was before a save' }).waitFor();
  await page.keyboard.press('Escape');
  await done(page);
});

test('search: go to a file by words in any order, with its line, the latest first', async () => {
  const page = await open();
  await page.keyboard.press('Control+p');
  await page.keyboard.type('c src ma:2:4');
  await page.keyboard.press('Enter');
  await status(page, /Ln 2, Col 4/);
  await page.keyboard.press('Control+p');
  await page.keyboard.type('guide');
  await page.keyboard.press('Enter'); // at once: what was typed counts, not what is shown still
  await frontTextIs(page, /The value/);
  await page.keyboard.press('Control+p');
  await page.locator('.pick-row').first().waitFor();
  assert.deepEqual((await picks(page))[0], 'main.c src');
  assert.deepEqual(await axeFindings(page), []);
  await page.keyboard.press('Enter');
  await frontTextIs(page, /int values/);
  await page.keyboard.press('Control+p');
  await page.keyboard.type(':3');
  await page.getByRole('option', { name: 'Go to line 3' }).waitFor();
  await page.keyboard.press('Enter');
  await status(page, /Ln 3, Col 1/);
  await page.keyboard.press('Control+p');
  await page.keyboard.type('list');
  await page.keyboard.press('Control+Enter');
  await page.waitForSelector('.editor-group >> nth=1');
  await frontTextIs(page, 'int list;');
  assert.deepEqual(await page.locator('.editor-group.active .tab').count(), 1);
  await page.keyboard.press('Control+p');
  await page.keyboard.type('>');
  await page.getByRole('dialog', { name: 'Command palette' }).waitFor();
  await page.keyboard.press('Escape');
  await done(page);
});

test('search: a file that has just come is found by name and by text, and mentioned in the chat', async () => {
  const page = await open();
  await page.keyboard.press('Control+p');
  await page.keyboard.type('fresh');
  await page.getByText('No file has these words').waitFor();
  await page.keyboard.press('Escape');
  await editor.api('file/create', { path: 'proj/lib/fresh.txt', contents: 'quite new\n' });
  await page.keyboard.press('Control+Alt+f');
  await page.keyboard.type('fresh');
  await page.getByRole('option', { name: 'fresh.txt' }).waitFor();
  await page.locator('.pick-field').fill('quite new');
  await page.getByRole('option', { name: /quite new\s*lib\/fresh.txt:1/ }).waitFor();
  assert.deepEqual(await axeFindings(page), []);
  await page.keyboard.press('Enter');
  await frontTextIs(page, 'quite new');
  await status(page, /9 selected/);
  assert.ok(existsSync(at('lib/fresh.txt')));
  await page.keyboard.press('Control+w');
  await page.getByRole('button', { name: 'Toggle Right Panel' }).click();
  await page.getByLabel('Message to Claude').fill('@fresh');
  await page
    .locator('.chat-proposals')
    .getByRole('option', { name: /fresh.txt/ })
    .waitFor();
  await done(page);
});

test('search: the health page says what is known and scans again', async () => {
  const page = await openPage(editor);
  await page.keyboard.press('Control+Shift+p');
  await page.keyboard.type('Show Health');
  await page.keyboard.press('Enter');
  const list = page.locator('[data-row="index"]');
  await list.waitFor();
  writeFileSync(at('unseen.txt'), '');
  const files = readdirSync(editor.project, { recursive: true, withFileTypes: true }).filter((entry) =>
    entry.isFile(),
  ).length;
  await list.getByRole('button', { name: 'Scan Again' }).click();
  await list.getByText(`${files} files, listed in`).waitFor();
  await page.locator('[data-row="git"]', { hasText: 'git is there' }).waitFor();
  assert.deepEqual(await axeFindings(page), []);
  await settled(page);
  await page.done();
});
