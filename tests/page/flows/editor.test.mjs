import assert from 'node:assert/strict';
import { chmodSync, existsSync, mkdirSync, readFileSync, rmSync, utimesSync, writeFileSync } from 'node:fs';
import { join } from 'node:path';
import { after, test } from 'node:test';
import { axeFindings, startEditor } from '../support/editor.mjs';
import {
  freshPage,
  frontText,
  frontTextIs,
  openFromTree,
  saved,
  settled,
  statusText,
  tabLabels,
} from '../support/steps.mjs';

const kWindows = Uint8Array.of(0x63, 0x61, 0x66, 0xe9, 0x20, 0x80, 0x0a);
const kFiles = {
  'a.txt': 'hello\n',
  'b.txt': 'second\n',
  'crlf.txt': 'one\r\ntwo\r\n',
  'bom.txt': '\uFEFFmark\n',
  'mixed.txt': 'one\r\ntwo\nthree\rfour\n',
  'win.txt': kWindows,
  'big.txt': 'x'.repeat(12582913),
  'odd.bin': Uint8Array.of(0, 1, 2, 3),
  'code.js': 'const answer = 42;\n',
  'data.json': '{"a": [1, true]}\n',
  'deep/a.txt': 'another\n',
};

const editor = await startEditor({ files: kFiles });
after(() => editor.stop());

const onDisk = (name) => readFileSync(join(editor.project, name));
const text = (name) => onDisk(name).toString('utf8');

/** A page with a file open and the cursor at its start. */
async function pageWith(name) {
  const page = await freshPage(editor);
  await openFromTree(page, `proj/${name}`);
  await page.locator('.text-view .view-lines').click();
  await page.keyboard.press('Control+Home');
  return page;
}

async function done(page) {
  assert.deepEqual(page.complaints, []);
  await page.done();
}

test('editor: typing and Ctrl+S changes the file, byte for byte', async () => {
  const page = await pageWith('a.txt');
  await page.keyboard.type('Grüße, 日本 😀 ');
  assert.ok((await tabLabels(page)).includes('a.txt, unsaved'), String(await tabLabels(page)));
  await saved(page);
  assert.equal(text('a.txt'), 'Grüße, 日本 😀 hello\n');
  assert.equal(await page.locator('.tab.dirty').count(), 0);
  await page.keyboard.press('Control+z');
  await page.waitForSelector('.tab.dirty');
  await done(page);
});

test('editor: CRLF stays CRLF, also in lines that are typed', async () => {
  const page = await pageWith('crlf.txt');
  assert.match(await statusText(page), /CRLF/);
  await page.keyboard.type('zero\n');
  await saved(page);
  assert.equal(text('crlf.txt'), 'zero\r\none\r\ntwo\r\n');
  await done(page);
});

test('editor: a byte order mark is kept, shown and counted as nothing', async () => {
  const page = await pageWith('bom.txt');
  assert.match(await statusText(page), /UTF-8 with BOM/);
  await page.keyboard.type('a ');
  await saved(page);
  assert.equal(text('bom.txt'), '\uFEFFa mark\n');
  await done(page);
});

test('editor: mixed line ends are told, and lines nobody touched keep theirs', async () => {
  const page = await pageWith('mixed.txt');
  assert.match(await statusText(page), /Mixed/);
  await page.keyboard.type('1');
  await page.keyboard.press('ArrowDown');
  await page.keyboard.press('End');
  await page.keyboard.press('Enter');
  await saved(page);
  assert.equal(text('mixed.txt'), '1one\r\ntwo\n\nthree\rfour\n');
  await page.keyboard.press('Control+z');
  await page.keyboard.press('Control+z');
  await saved(page);
  assert.equal(text('mixed.txt'), kFiles['mixed.txt'], 'undo brings the ends back too');
  await page.getByRole('button', { name: /^Line ends/ }).click();
  await page.keyboard.type('CRLF');
  await page.keyboard.press('Enter');
  await saved(page);
  assert.equal(text('mixed.txt'), 'one\r\ntwo\r\nthree\r\nfour\r\n');
  await done(page);
});

test('editor: Windows-1252 is shown, asked about once, and written back as it came', async () => {
  const page = await pageWith('win.txt');
  assert.match(await statusText(page), /Windows-1252/);
  await frontTextIs(page, 'café €');
  await page.keyboard.type('à');
  await page.keyboard.press('Control+s');
  await page.getByRole('button', { name: 'Save as Windows-1252' }).click();
  await page.waitForSelector('.tab:not(.dirty)');
  assert.deepEqual(onDisk('win.txt'), Buffer.from([0xe0, ...kWindows]));
  await page.keyboard.type('→');
  await page.keyboard.press('Control+s');
  assert.equal(
    await page.getByRole('button', { name: 'Save as Windows-1252' }).count(),
    0,
    'it would be lost',
  );
  await page.getByRole('button', { name: 'Convert to UTF-8' }).click();
  await page.waitForSelector('.tab:not(.dirty)');
  assert.equal(text('win.txt'), 'à→café €\n');
  await done(page);
});

test('editor: a file that was cut cannot be edited and says so', async () => {
  const page = await pageWith('big.txt');
  await page.keyboard.type('x');
  assert.match(await page.locator('.status').innerText(), /Read-only: only the first 12 MB/);
  await page.keyboard.press('Control+s');
  assert.equal(await page.locator('.tab.dirty').count(), 0);
  assert.equal(onDisk('big.txt').length, 12582913);
  await done(page);
});

test('editor: a binary file is shown as facts and never as text', async () => {
  const page = await freshPage(editor);
  await page.dblclick('[data-path="proj/odd.bin"]');
  await page.waitForSelector('.facts');
  assert.match(await page.locator('.facts').innerText(), /4 bytes/);
  assert.equal(await page.locator('.text-view:visible').count(), 0);
  assert.deepEqual((await axeFindings(page)).filter(ofOurs), []);
  await done(page);
});

test('editor: a change on disk is compared before it is written over', async () => {
  const page = await pageWith('b.txt');
  await page.keyboard.type('mine ');
  writeFileSync(join(editor.project, 'b.txt'), 'theirs, and longer\n');
  await page.keyboard.press('Control+s');
  await page.waitForSelector('.compare .modified .view-line');
  assert.equal(text('b.txt'), 'theirs, and longer\n');
  assert.deepEqual((await axeFindings(page)).filter(ofOurs), []);
  await page.getByRole('button', { name: 'Cancel' }).click();
  await page.waitForSelector('.tab.front.dirty');
  await page.keyboard.press('Control+s');
  await page.getByRole('button', { name: 'Overwrite the File' }).click();
  await page.waitForSelector('.tab.front:not(.dirty)');
  assert.equal(text('b.txt'), 'mine second\n');
  await page.keyboard.press('Control+Home');
  await page.keyboard.type('x');
  writeFileSync(join(editor.project, 'b.txt'), 'their last word\n');
  await page.keyboard.press('Control+s');
  await page.getByRole('button', { name: 'Reload from Disk' }).click();
  await page.waitForSelector('.tab.front:not(.dirty)');
  await frontTextIs(page, 'their last word');
  await done(page);
});

test('editor: a change of the same size and time is noticed by its text', async () => {
  const page = await pageWith('deep/a.txt');
  await page.keyboard.type('x');
  await saved(page);
  const path = join(editor.project, 'deep/a.txt');
  const seconds = Math.floor(Date.now() / 1000);
  writeFileSync(path, 'yanother\n');
  utimesSync(path, seconds, seconds);
  await page.keyboard.type('z');
  await page.keyboard.press('Control+s');
  await page.waitForSelector('.compare');
  assert.equal(text('deep/a.txt'), 'yanother\n');
  await done(page);
});

test("editor: a save that fails keeps the text and says why in the bridge's words", async () => {
  const page = await pageWith('code.js');
  await page.keyboard.type('// ');
  const path = join(editor.project, 'code.js');
  rmSync(path);
  mkdirSync(path);
  await page.keyboard.press('Control+s');
  await page
    .getByText('Could not save code.js: could not read the file')
    .or(page.getByText(/Could not save code\.js: /))
    .first()
    .waitFor();
  assert.equal(await page.locator('.tab.dirty').count(), 1);
  rmSync(path, { recursive: true });
  await saved(page);
  assert.equal(text('code.js'), '// const answer = 42;\n', 'a file that is gone is made again');
  page.complaints.length = 0; // the failed requests, which the console tells too
  await done(page);
});

test('editor: an untitled page is saved where the user says', async () => {
  const page = await freshPage(editor);
  await page.keyboard.press('Control+n');
  await page.waitForSelector('.text-view .view-line');
  await page.keyboard.type('fresh');
  await page.keyboard.press('Control+s');
  await page.getByRole('textbox', { name: /Path/ }).fill('proj/new/fresh.md');
  await page.keyboard.press('Enter');
  await page.waitForFunction(() => document.querySelector('.tab.front')?.textContent?.includes('fresh.md'));
  assert.equal(text('new/fresh.md'), 'fresh');
  assert.match(await statusText(page), /Markdown/);
  assert.equal(await page.locator('.tab').count(), 1);
  page.complaints.length = 0; // asking whether the file exists is a failed request
  await done(page);
});

test('editor: preview tabs are replaced, and stay once they are edited or double-clicked', async () => {
  const page = await freshPage(editor);
  await page.click('[data-path="proj/a.txt"]');
  await page.waitForSelector('.tab.preview');
  await page.click('[data-path="proj/crlf.txt"]');
  await page.waitForFunction(() => document.querySelector('.tab.preview')?.textContent?.includes('crlf.txt'));
  assert.equal(await page.locator('.tab').count(), 1);
  await page.locator('.text-view .view-lines').click();
  await page.keyboard.type('x');
  await page.waitForSelector('.tab.dirty:not(.preview)');
  await page.click('[data-path="proj/bom.txt"]');
  await page.waitForSelector('.tab.preview');
  assert.equal(await page.locator('.tab').count(), 2);
  await page.dblclick('.tab.preview');
  await page.waitForFunction(() => !document.querySelector('.tab.preview'));
  await done(page);
});

test('editor: splits show one text twice, and closing what is shown elsewhere asks nothing', async () => {
  const page = await pageWith('data.json');
  await page.keyboard.press('Control+\\');
  await page.waitForFunction(() => document.querySelectorAll('.text-view .view-line').length >= 2);
  await page.keyboard.type('  ');
  await page.waitForFunction(() =>
    [...document.querySelectorAll('.text-view .view-lines')].every((view) =>
      /^\s\s/.test(view.textContent ?? ''),
    ),
  );
  assert.equal(await page.locator('.tab.dirty').count(), 2);
  assert.deepEqual((await axeFindings(page)).filter(ofOurs), []);
  await page.keyboard.press('Control+w');
  await page.waitForFunction(() => document.querySelectorAll('.editor-group').length === 1);
  await page.keyboard.press('Control+k');
  await page.keyboard.press('Control+\\');
  await page.waitForSelector('.editor-split.column');
  await saved(page);
  assert.equal(text('data.json'), '  {"a": [1, true]}\n');
  await done(page);
});

test('editor: closing asks about unsaved text, closed tabs come back', async () => {
  const page = await pageWith('a.txt');
  await page.keyboard.type('unsaved');
  await page.keyboard.press('Control+w');
  await page.getByRole('button', { name: 'Cancel' }).click();
  await page.waitForSelector('.tab.dirty');
  await page.keyboard.press('Control+w');
  await page.getByRole('button', { name: 'Close without Saving' }).click();
  await page.waitForSelector('.welcome');
  assert.deepEqual((await axeFindings(page)).filter(ofOurs), []);
  await page.keyboard.press('Control+Shift+t');
  await page.waitForSelector('.tab:not(.dirty)');
  await page.waitForSelector('.text-view .view-line');
  await frontTextIs(page, text('a.txt').trimEnd());
  await done(page);
});

test('editor: tabs by keyboard, with their context menu', async () => {
  const page = await pageWith('a.txt');
  await openFromTree(page, 'proj/crlf.txt');
  await page.locator('.tab.front').focus();
  await page.keyboard.press('ArrowLeft');
  await page.waitForFunction(() => document.activeElement?.getAttribute('aria-label')?.startsWith('a.txt'));
  await page.keyboard.press('Shift+F10');
  await page.getByRole('menuitem', { name: 'Close Others' }).click();
  await page.waitForFunction(() => document.querySelectorAll('.tab').length === 1);
  await settled(page); // the menu gives the focus back
  await page.locator('.tab.front').press('Delete');
  await page.waitForSelector('.welcome');
  await done(page);
});

test('editor: find, go to line, word wrap and language', async () => {
  const page = await pageWith('data.json');
  await page.keyboard.press('Control+f');
  await page.waitForSelector('.find-widget.visible');
  await page.keyboard.press('Escape');
  await page.keyboard.press('Control+g');
  await page.waitForSelector('.quick-input-widget');
  await page.keyboard.press('Escape');
  await page.keyboard.press('Alt+z');
  await page.getByRole('button', { name: /^Language/ }).click();
  await page.keyboard.type('Python');
  await page.keyboard.press('Enter');
  await page.waitForFunction(() => document.querySelector('.status')?.textContent?.includes('Python'));
  await done(page);
});

test('editor: the text has its own menu, by mouse and by key', async () => {
  const page = await pageWith('a.txt');
  const before = await frontText(page);
  await page.keyboard.press('Shift+End');
  await page.keyboard.press('Shift+F10');
  await page.getByRole('menuitem', { name: 'Cut' }).click();
  await page.waitForSelector('.tab.dirty');
  assert.notEqual(await frontText(page), before);
  await page
    .locator('.text-view .view-line')
    .first()
    .click({ button: 'right', position: { x: 2, y: 8 } });
  await page.getByRole('menuitem', { name: 'Paste' }).click();
  await page.waitForFunction(
    (text) => document.querySelector('.view-line')?.textContent?.replace(/\u00a0/g, ' ') === text,
    before,
  );
  await page.keyboard.press('Control+z');
  await page.keyboard.press('Control+z');
  await done(page);
});

test('editor: tabs, groups and the cursor come back as they were left', async () => {
  const page = await pageWith('a.txt');
  await page.keyboard.press('Control+End');
  await page.keyboard.press('Control+\\');
  await openFromTree(page, 'proj/crlf.txt');
  await page.waitForFunction(() => document.querySelectorAll('.tab').length === 3);
  const before = await tabLabels(page);
  const stored = () =>
    existsSync(join(editor.home, '.config/marlin-bench/ui-state.json')) &&
    readFileSync(join(editor.home, '.config/marlin-bench/ui-state.json'), 'utf8').includes('proj/crlf.txt');
  while (!stored()) await page.waitForTimeout(20);
  await page.reload();
  await page.waitForFunction(() => document.querySelectorAll('.text-view .view-line').length >= 2);
  assert.deepEqual(await tabLabels(page), before);
  await done(page);
});

test('editor: after a gap in the link, clean texts follow the disk and changed ones say so', async () => {
  const page = await pageWith('deep/a.txt');
  const path = join(editor.project, 'deep/a.txt');
  const check = () => page.evaluate(async () => (await import('/editor/outside.js')).checkAllDisk());
  writeFileSync(path, 'from outside\n');
  await check();
  await page.waitForFunction(() => document.querySelector('.view-line')?.textContent?.includes('outside'));
  assert.equal(await page.locator('.tab.dirty').count(), 0);
  await page.keyboard.type('x');
  writeFileSync(path, 'from outside once more\n');
  await check();
  await page.waitForSelector('.disk-banner');
  await frontTextIs(page, /outside$/);
  await done(page);
});

test('editor: tabs move between groups, by drag and by keys', async () => {
  const page = await pageWith('a.txt');
  await openFromTree(page, 'proj/crlf.txt');
  await page.keyboard.press('Control+Alt+ArrowRight');
  await page.waitForFunction(() => document.querySelectorAll('.editor-group').length === 2);
  const groups = () =>
    page.locator('.tab-strip').evaluateAll((strips) => strips.map((strip) => strip.textContent));
  assert.deepEqual(await groups(), ['a.txt', 'crlf.txt']);
  await openFromTree(page, 'proj/bom.txt');
  await page.dragAndDrop('.tab[title="proj/a.txt"]', '.tab[title="proj/bom.txt"]', {
    targetPosition: { x: 4, y: 10 },
  });
  await page.waitForFunction(() => document.querySelectorAll('.editor-group').length === 1);
  assert.deepEqual(await groups(), ['crlf.txta.txtbom.txt']);
  await done(page);
});

test('editor: a path asked for from outside is opened in front', async () => {
  const page = await freshPage(editor);
  await page.waitForSelector('[data-path="proj/a.txt"]');
  await editor.api('open', { paths: [join(editor.project, 'deep/a.txt')] });
  await page.waitForSelector('.tab.front');
  assert.match(String(await tabLabels(page)), /a\.txt/);
  mkdirSync(join(editor.home, 'other/inner'), { recursive: true });
  writeFileSync(join(editor.home, 'other/o.txt'), 'o');
  chmodSync(join(editor.home, 'other'), 0o755);
  await editor.api('open', { paths: [join(editor.home, 'other')] });
  await page.waitForSelector('[data-path="other"][aria-expanded="true"]');
  await page.waitForSelector('[data-path="other/inner"]');
  await done(page);
});

/** Findings in the parts of the page that belong to the editor. */
function ofOurs(finding) {
  return /class="[^"]*\b(tab|tab-strip|editor-\w+|compare\S*|facts|welcome|tree\S*|text-view|group-body|inputarea|status-item)\b/.test(
    finding,
  );
}
