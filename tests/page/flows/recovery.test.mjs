import assert from 'node:assert/strict';
import { existsSync, readFileSync, readdirSync, writeFileSync } from 'node:fs';
import { join } from 'node:path';
import { test } from 'node:test';
import { openPage, startEditor } from '../support/editor.mjs';
import { frontTextIs, openFromTree, saved, tabLabels } from '../support/steps.mjs';

const backupFolder = (editor) => join(editor.project, '.marlin/backups');

/** What the backups hold, as the files are on disk. */
function backups(editor) {
  if (!existsSync(backupFolder(editor))) return '';
  return readdirSync(backupFolder(editor))
    .map((name) => readFileSync(join(backupFolder(editor), name), 'utf8'))
    .join('');
}

/** The page's own storage on disk. */
function uiState(editor) {
  const path = join(editor.home, '.config/marlin-bench/ui-state.json');
  return existsSync(path) ? readFileSync(path, 'utf8') : '';
}

/** Waits for something that happens on disk, which no event tells; the limit is the promise that is tested. */
async function within(limitMs, condition) {
  const end = Date.now() + limitMs;
  while (!condition()) {
    assert.ok(Date.now() < end, `not within ${limitMs} ms: ${condition}`);
    await new Promise((resolve) => setTimeout(resolve, 10));
  }
}

async function typeAtStart(page, text) {
  await page.locator('.editor-group.active .text-view .view-lines').click();
  await page.keyboard.press('Control+Home');
  await page.keyboard.type(text);
}

test('recovery: text is back after the program was killed, files and untitled pages alike', async () => {
  let editor = await startEditor({ files: { 'a.txt': 'saved\r\nmixed\n', 'b.txt': 'b\n' } });
  try {
    let page = await openPage(editor);
    await openFromTree(page, 'proj/a.txt');
    await typeAtStart(page, 'unsaved Ü ');
    await within(1000, () => backups(editor).includes('unsaved Ü '));
    await page.keyboard.press('Control+n');
    await page.waitForFunction(() => document.querySelectorAll('.tab').length === 2);
    await page.waitForFunction(() => document.activeElement?.closest('.monaco-editor') !== null);
    await page.keyboard.type('a thought');
    await within(1000, () => uiState(editor).includes('a thought'));
    assert.equal(readFileSync(join(editor.project, 'a.txt'), 'utf8'), 'saved\r\nmixed\n');
    await page.done();
    await editor.kill();

    editor = await startEditor({ again: editor.home });
    page = await openPage(editor);
    await page.waitForFunction(() => document.querySelectorAll('.tab.dirty').length === 2);
    assert.deepEqual((await tabLabels(page)).sort(), ['Untitled-1, unsaved', 'a.txt, unsaved']);
    await page.getByRole('tab', { name: /Untitled-1/ }).click();
    await page.waitForFunction(() => document.querySelector('.text-view')?.textContent?.includes('thought'));
    await frontTextIs(page, 'a thought');
    await page.getByRole('tab', { name: /a\.txt/ }).click();
    await page.waitForFunction(() => document.querySelector('.text-view')?.textContent?.includes('unsaved'));
    assert.equal(await page.locator('.disk-banner').count(), 0, 'the file is what it was');
    await saved(page);
    assert.equal(readFileSync(join(editor.project, 'a.txt'), 'utf8'), 'unsaved Ü saved\r\nmixed\n');
    await within(3000, () => backups(editor) === '');
    assert.deepEqual(page.complaints, []);
    await page.done();
  } finally {
    await editor.stop();
  }
});

test('recovery: a saved or closed text leaves nothing behind, in the Trash neither', async () => {
  const editor = await startEditor({ files: { 'a.txt': 'a\n', 'b.txt': 'b\n' } });
  try {
    const page = await openPage(editor);
    await openFromTree(page, 'proj/a.txt');
    await typeAtStart(page, 'one');
    await within(1000, () => backups(editor).includes('one'));
    await saved(page);
    await within(2000, () => backups(editor) === '');
    await page.keyboard.type('two');
    await within(1000, () => backups(editor).includes('twoa') || backups(editor).includes('onetwo'));
    await page.keyboard.press('Control+w');
    await page.getByRole('button', { name: 'Close without Saving' }).click();
    await within(2000, () => backups(editor) === '');
    assert.ok(!existsSync(join(editor.home, '.local/share/Trash')));
    // Among the files that quick open names it stays; the tab is forgotten.
    await within(1000, () => {
      const left = uiState(editor).replace(/"quickopen\.recent":\[[^\]]*\]/, '');
      return left !== '' && !left.includes('proj/a.txt');
    });
    await page.reload();
    await page.waitForSelector('.welcome');
    assert.equal(await page.locator('.tab').count(), 0);
    assert.deepEqual(page.complaints, []);
    await page.done();
  } finally {
    await editor.stop();
  }
});

test('recovery: where the file changed meanwhile, both texts are kept and compared', async () => {
  let editor = await startEditor({ files: { 'a.txt': 'old\n' } });
  try {
    let page = await openPage(editor);
    await openFromTree(page, 'proj/a.txt');
    await typeAtStart(page, 'mine ');
    await within(1000, () => backups(editor).includes('mine '));
    await page.done();
    await editor.kill();
    writeFileSync(join(editor.project, 'a.txt'), 'changed by somebody else\n');

    editor = await startEditor({ again: editor.home });
    page = await openPage(editor);
    await page.waitForSelector('.disk-banner');
    await page.getByRole('button', { name: 'Compare', exact: true }).click();
    await page.locator('.compare .original .view-lines', { hasText: 'changed' }).waitFor();
    await page.locator('.compare .modified .view-lines', { hasText: 'mine' }).waitFor();
    assert.equal(readFileSync(join(editor.project, 'a.txt'), 'utf8'), 'changed by somebody else\n');
    await page.getByRole('button', { name: 'Overwrite the File' }).click();
    await page.waitForSelector('.tab.front:not(.dirty)');
    assert.equal(readFileSync(join(editor.project, 'a.txt'), 'utf8'), 'mine old\n');
    await page.done();
  } finally {
    await editor.stop();
  }
});

test('recovery: a second crash before anything is typed loses nothing either', async () => {
  let editor = await startEditor({ files: { 'a.txt': 'a\n' } });
  try {
    let page = await openPage(editor);
    await openFromTree(page, 'proj/a.txt');
    await typeAtStart(page, 'kept');
    await within(1000, () => backups(editor).includes('kept'));
    await page.done();
    for (let crash = 0; crash < 2; crash++) {
      await editor.kill();
      editor = await startEditor({ again: editor.home });
      page = await openPage(editor);
      await page.waitForSelector('.tab.dirty');
      await page.waitForFunction(() => document.querySelector('.text-view')?.textContent?.includes('kept'));
      await page.waitForTimeout(1500); // whatever the start writes has been written
      assert.ok(backups(editor).includes('kept'));
      await page.done();
    }
  } finally {
    await editor.stop();
  }
});

test('recovery: unsaved text of a renamed file comes back under its new name', async () => {
  let editor = await startEditor({ files: { 'a.txt': 'a\n' } });
  try {
    let page = await openPage(editor);
    await openFromTree(page, 'proj/a.txt');
    await typeAtStart(page, 'kept');
    await within(1000, () => backups(editor).includes('kept'));
    await page.locator('[data-path="proj/a.txt"]').focus();
    await page.keyboard.press('F2');
    await page.getByRole('dialog').getByRole('textbox').fill('b.txt');
    await page.keyboard.press('Enter');
    await within(
      3000,
      () => backups(editor).includes('proj/b.txt') && !backups(editor).includes('proj/a.txt'),
    );
    await page.done();
    await editor.kill();
    editor = await startEditor({ again: editor.home });
    page = await openPage(editor);
    await page.waitForSelector('.tab.dirty');
    assert.deepEqual(await tabLabels(page), ['b.txt, unsaved']);
    await page.done();
  } finally {
    await editor.stop();
  }
});

test('recovery: a backup that the crash cut short gives the one before it', async () => {
  let editor = await startEditor({ files: { 'a.txt': 'a\n' } });
  try {
    let page = await openPage(editor);
    await openFromTree(page, 'proj/a.txt');
    await typeAtStart(page, 'first');
    await within(1000, () => backups(editor).includes('first'));
    await page.keyboard.type(' second');
    await within(1500, () => backups(editor).includes('first second'));
    await page.done();
    await editor.kill();
    for (const name of readdirSync(backupFolder(editor))) {
      const path = join(backupFolder(editor), name);
      const text = readFileSync(path, 'utf8');
      if (text.includes('first second')) writeFileSync(path, text.slice(0, -1));
    }

    editor = await startEditor({ again: editor.home });
    page = await openPage(editor);
    await page.waitForSelector('.tab.dirty');
    await page.waitForFunction(() => document.querySelector('.text-view')?.textContent?.includes('first'));
    await frontTextIs(page, /^first( s?e?c?o?n?)?a/);
    await page.done();
  } finally {
    await editor.stop();
  }
});
