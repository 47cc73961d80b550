import assert from 'node:assert/strict';
import { existsSync, mkdirSync, readFileSync, readdirSync, rmSync, writeFileSync } from 'node:fs';
import { join } from 'node:path';
import { after, beforeEach, test } from 'node:test';
import { axeFindings, startEditor } from '../support/editor.mjs';
import { freshPage, frontTextIs, openFromTree, saved, settled, statusText } from '../support/steps.mjs';

const editor = await startEditor({ files: { 'keep.txt': 'keep\n' } });
after(() => editor.stop());

const at = (...parts) => join(editor.project, ...parts);
const lines = (count) => Array.from({ length: count }, (_, i) => `line ${i + 1}\n`).join('');

beforeEach(() => {
  for (const name of readdirSync(editor.project)) rmSync(at(name), { recursive: true, force: true });
  mkdirSync(at('src'));
  writeFileSync(at('src/a.txt'), lines(9));
  writeFileSync(at('b.txt'), 'b\n');
});

async function done(page) {
  assert.deepEqual(page.complaints, []);
  await page.done();
}

test('outside: a text without changes follows the disk, and the cursor stays with its words', async () => {
  const page = await freshPage(editor);
  await openFromTree(page, 'proj/src/a.txt');
  await page.keyboard.press('Control+Home');
  for (let i = 0; i < 4; i++) await page.keyboard.press('ArrowDown');
  await page.keyboard.press('End');
  writeFileSync(at('src/a.txt'), `above\n${lines(9).replace('line 7', 'seven')}`);
  await frontTextIs(page, `above\n${lines(9).replace('line 7', 'seven').trimEnd()}`);
  assert.match(await statusText(page), /Ln 6, Col 7/);
  await page.keyboard.type('!');
  await frontTextIs(page, /line 5!\n/);
  await saved(page);
  assert.match(readFileSync(at('src/a.txt'), 'utf8'), /^above\n[^]*line 5!\n/);
  await done(page);
});

test('outside: a text with changes gets a banner, and the comparison decides', async () => {
  const page = await freshPage(editor);
  await openFromTree(page, 'proj/b.txt');
  await page.keyboard.type('mine ');
  writeFileSync(at('b.txt'), 'theirs\n');
  const banner = page.locator('.disk-banner');
  await banner.getByText('b.txt is different on disk').waitFor();
  await frontTextIs(page, 'mine b');
  assert.deepEqual(await axeFindings(page), []);
  await banner.getByRole('button', { name: 'Compare' }).click();
  await page.locator('.original-in-monaco-diff-editor .view-line', { hasText: 'theirs' }).waitFor();
  // The comparison follows what the disk becomes meanwhile.
  writeFileSync(at('b.txt'), 'theirs again\n');
  await page.locator('.original-in-monaco-diff-editor .view-line', { hasText: 'theirs again' }).waitFor();
  await page.getByRole('button', { name: 'Reload from Disk' }).click();
  await frontTextIs(page, 'theirs again');
  await banner.waitFor({ state: 'detached' });
  await done(page);
});

test('outside: a deleted file keeps its text, which can be saved again, and comes back by itself', async () => {
  const page = await freshPage(editor);
  await openFromTree(page, 'proj/src/a.txt');
  rmSync(at('src'), { recursive: true });
  const banner = page.locator('.disk-banner');
  await banner.getByText('a.txt was deleted on disk').waitFor();
  await frontTextIs(page, lines(9).trimEnd());
  await page.waitForSelector('.tab.front.dirty.gone');
  await page.waitForSelector('[data-path="proj/src"]', { state: 'detached' });
  await banner.getByRole('button', { name: 'Save It Again' }).click();
  await page.waitForSelector('.tab.front:not(.dirty):not(.gone)');
  assert.equal(readFileSync(at('src/a.txt'), 'utf8'), lines(9));
  rmSync(at('src/a.txt'));
  await banner.waitFor();
  writeFileSync(at('src/a.txt'), lines(9));
  await page.waitForSelector('.tab.front:not(.dirty):not(.gone)');
  await banner.waitFor({ state: 'detached' });
  page.complaints.length = 0; // asking for what is deleted is a failed request
  await done(page);
});

test('outside: more changes than an event can list still reach open files and the tree', async () => {
  const page = await freshPage(editor);
  await openFromTree(page, 'proj/src/a.txt');
  await settled(page);
  for (let i = 0; i < 400; i++) writeFileSync(at(`a${String(i).padStart(3, '0')}.txt`), '');
  writeFileSync(at('src/a.txt'), 'last\n');
  await frontTextIs(page, 'last');
  await page.waitForSelector('[data-path="proj/a000.txt"]');
  assert.equal(existsSync(at('.marlin')), false);
  await done(page);
});
