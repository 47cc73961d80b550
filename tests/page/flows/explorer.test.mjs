import assert from 'node:assert/strict';
import { existsSync, mkdirSync, readFileSync, readdirSync, renameSync, rmSync, writeFileSync } from 'node:fs';
import { join } from 'node:path';
import { after, beforeEach, test } from 'node:test';
import { axeFindings, startEditor } from '../support/editor.mjs';
import { freshPage, frontTextIs, openFromTree, tabLabels } from '../support/steps.mjs';

const editor = await startEditor({ files: { 'keep.txt': 'keep\n' } });
after(() => editor.stop());

const at = (...parts) => join(editor.project, ...parts);
const read = (...parts) => readFileSync(at(...parts), 'utf8');
const trash = join(editor.home, '.local/share/Trash');

/** The same small project for every test. */
beforeEach(() => {
  for (const name of readdirSync(editor.project)) rmSync(at(name), { recursive: true, force: true });
  mkdirSync(at('src/deep'), { recursive: true });
  mkdirSync(at('docs'));
  writeFileSync(at('src/main.c'), 'int main;\n');
  writeFileSync(at('src/deep/low.txt'), 'low\n');
  writeFileSync(at('apple.txt'), 'apple\n');
  writeFileSync(at('avocado.txt'), 'avocado\n');
  writeFileSync(at('banana.txt'), 'banana\n');
  rmSync(trash, { recursive: true, force: true });
});

const row = (path) => `[data-path="${path}"]`;
const names = (page) =>
  page
    .locator('.tree-row[data-path]')
    .evaluateAll((rows) => rows.map((each) => each.getAttribute('data-path')));
const focusedPath = (page) => page.evaluate(() => document.activeElement?.getAttribute('data-path'));

async function open() {
  const page = await freshPage(editor);
  await page.waitForSelector(row('proj/apple.txt'));
  return page;
}

/** Answers a prompt. */
async function answer(page, text) {
  await page.getByRole('dialog').getByRole('textbox').fill(text);
  await page.keyboard.press('Enter');
}

/** Runs one of the explorer's commands by the palette, which every command must be reachable by. */
async function palette(page, title) {
  await page.keyboard.press('Control+Shift+p');
  await page.keyboard.type(title);
  await page.keyboard.press('Enter');
}

async function done(page) {
  assert.deepEqual(page.complaints, []);
  await page.done();
}

test("explorer: folders open on demand, by mouse and by keyboard, and hide the editor's backups", async () => {
  mkdirSync(at('.marlin/backups'), { recursive: true });
  writeFileSync(at('.env'), '');
  const page = await open();
  assert.deepEqual(await names(page), [
    'proj',
    'proj/docs',
    'proj/src',
    'proj/.env',
    'proj/apple.txt',
    'proj/avocado.txt',
    'proj/banana.txt',
  ]);
  await page.click(row('proj/src'));
  await page.waitForSelector(row('proj/src/main.c'));
  await page.locator(row('proj/src')).focus();
  await page.keyboard.press('ArrowDown');
  assert.equal(await focusedPath(page), 'proj/src/deep');
  await page.keyboard.press('ArrowRight');
  await page.waitForSelector(row('proj/src/deep/low.txt'));
  await page.keyboard.press('ArrowRight');
  assert.equal(await focusedPath(page), 'proj/src/deep/low.txt');
  await page.keyboard.press('ArrowLeft');
  await page.keyboard.press('ArrowLeft');
  await page.waitForSelector(row('proj/src/deep/low.txt'), { state: 'detached' });
  await page.keyboard.press('Home');
  assert.equal(await focusedPath(page), 'proj');
  await page.keyboard.press('End');
  assert.equal(await focusedPath(page), 'proj/banana.txt');
  await page.keyboard.press('Enter');
  await page.waitForSelector('.tab.front:not(.preview)');
  assert.deepEqual(
    (await axeFindings(page)).filter((finding) => /class="tree/.test(finding)),
    [],
  );
  await done(page);
});

test('explorer: typing letters goes to names that begin so', async () => {
  const page = await open();
  await page.locator(row('proj')).focus();
  await page.keyboard.press('a');
  assert.equal(await focusedPath(page), 'proj/apple.txt');
  await page.keyboard.press('a');
  assert.equal(await focusedPath(page), 'proj/avocado.txt');
  await page.keyboard.press('Home');
  await page.waitForTimeout(800); // typed letters are forgotten by time alone
  await page.keyboard.type('av');
  assert.equal(await focusedPath(page), 'proj/avocado.txt');
  await done(page);
});

test('explorer: a new file and folder, with the folders in their names', async () => {
  const page = await open();
  await page.locator(row('proj/docs')).focus();
  await palette(page, 'Explorer: New File');
  await answer(page, 'guide/start.md');
  await page.waitForSelector(row('proj/docs/guide/start.md'));
  assert.equal(read('docs/guide/start.md'), '');
  await page.waitForSelector('.tab.front');
  await page.locator(row('proj/src')).click({ button: 'right' });
  await page.getByRole('menuitem', { name: 'New Folder' }).click();
  await answer(page, 'made');
  await page.waitForSelector(row('proj/src/made'));
  assert.ok(existsSync(at('src/made')));
  await done(page);
});

test('explorer: a name that is taken is refused before anything happens', async () => {
  const page = await open();
  await page.locator(row('proj/apple.txt')).focus();
  await palette(page, 'Explorer: New File');
  await answer(page, 'banana.txt');
  await page.getByText('"banana.txt" exists already.').waitFor();
  await page.keyboard.press('Escape');
  assert.equal(read('banana.txt'), 'banana\n');
  await done(page);
});

test('explorer: renaming takes open tabs and unsaved text along', async () => {
  const page = await open();
  await openFromTree(page, 'proj/src/main.c');
  await page.locator('.text-view .view-lines').click();
  await page.keyboard.press('Control+Home');
  await page.keyboard.type('// ');
  await page.locator(row('proj/src')).focus();
  await page.keyboard.press('F2');
  await answer(page, 'source');
  await page.waitForSelector(row('proj/source/main.c'));
  await page.waitForFunction(
    () => document.querySelector('.tab.front.dirty')?.getAttribute('title') === 'proj/source/main.c',
  );
  await page.keyboard.press('Control+s');
  await page.waitForSelector('.tab.front:not(.dirty)');
  assert.equal(read('source/main.c'), '// int main;\n');
  assert.ok(!existsSync(at('src')));
  await done(page);
});

test('explorer: duplicating makes the copy that the native side names', async () => {
  const page = await open();
  await page.locator(row('proj/apple.txt')).focus();
  await palette(page, 'Explorer: Duplicate');
  await page.waitForSelector(row('proj/apple - Copy.txt'));
  assert.equal(read('apple - Copy.txt'), 'apple\n');
  await done(page);
});

test('explorer: deleting asks, says where it goes, and puts it into the Trash', async () => {
  const page = await open();
  await openFromTree(page, 'proj/apple.txt');
  await page.locator(row('proj/apple.txt')).focus();
  await page.keyboard.press('Delete');
  const dialog = page.getByRole('dialog').or(page.getByRole('alertdialog'));
  assert.match(await dialog.innerText(), /It goes to the Trash/);
  await page.getByRole('button', { name: 'Cancel' }).click();
  assert.ok(existsSync(at('apple.txt')));
  await page.locator(row('proj/apple.txt')).focus();
  await page.keyboard.press('Delete');
  await page.getByRole('button', { name: 'Move to the Trash' }).click();
  await page.waitForSelector(row('proj/apple.txt'), { state: 'detached' });
  assert.ok(!existsSync(at('apple.txt')));
  assert.equal(readFileSync(join(trash, 'files/apple.txt'), 'utf8'), 'apple\n');
  await page.waitForSelector('.welcome', { timeout: 5000 });
  await done(page);
});

test('explorer: where the Trash fails, nothing is deleted and the reason is told', async () => {
  mkdirSync(join(editor.home, '.local/share'), { recursive: true });
  writeFileSync(trash, 'not a folder');
  const page = await open();
  await page.locator(row('proj/banana.txt')).focus();
  await page.keyboard.press('Delete');
  await page.getByRole('button', { name: 'Move to the Trash' }).click();
  await page
    .getByText(/Could not delete banana\.txt: could not move it to the Trash: /)
    .first()
    .waitFor();
  assert.equal(read('banana.txt'), 'banana\n');
  assert.equal(await page.locator(row('proj/banana.txt')).count(), 1);
  page.complaints.length = 0; // the console tells of the failed request
  await done(page);
});

test('explorer: copy and paste, cut and paste, of several at once', async () => {
  const page = await open();
  await page.click(row('proj/apple.txt'));
  await page.click(row('proj/banana.txt'), { modifiers: ['Control'] });
  await page.locator(row('proj/banana.txt')).focus();
  await page.keyboard.press('Control+c');
  await page.locator(row('proj/docs')).focus();
  await page.keyboard.press('ArrowRight');
  await page.click(row('proj/docs'));
  await page.locator(row('proj/docs')).focus();
  await page.keyboard.press('Control+v');
  await page.waitForSelector(row('proj/docs/banana.txt'));
  assert.deepEqual(readdirSync(at('docs')).sort(), ['apple.txt', 'banana.txt']);
  assert.equal(read('apple.txt'), 'apple\n');
  await page.click(row('proj/avocado.txt'));
  await page.locator(row('proj/avocado.txt')).focus();
  await page.keyboard.press('Control+x');
  await page.waitForSelector(`${row('proj/avocado.txt')}.cut`);
  await page.locator(row('proj/docs/apple.txt')).focus();
  await page.click(row('proj/docs/apple.txt'));
  await page.locator(row('proj/docs/apple.txt')).focus();
  await page.keyboard.press('Control+v');
  await page.waitForSelector(row('proj/docs/avocado.txt'));
  assert.ok(!existsSync(at('avocado.txt')));
  await done(page);
});

test('explorer: dragging within the tree moves, but never over what is there', async () => {
  const page = await open();
  await page.dragAndDrop(row('proj/apple.txt'), row('proj/docs'));
  await page.waitForFunction(() => !document.querySelector('[data-path="proj/apple.txt"]'));
  assert.equal(read('docs/apple.txt'), 'apple\n');
  writeFileSync(at('docs/banana.txt'), 'other\n');
  await page.dragAndDrop(row('proj/banana.txt'), row('proj/docs'));
  await page
    .getByText(/Could not move banana\.txt: the destination already exists/)
    .first()
    .waitFor();
  assert.deepEqual([read('banana.txt'), read('docs/banana.txt')], ['banana\n', 'other\n']);
  page.complaints.length = 0;
  await done(page);
});

test('explorer: files dropped from the desktop go into the folder under the mouse, elsewhere they open', async () => {
  mkdirSync(join(editor.home, 'outside'), { recursive: true });
  const outside = join(editor.home, 'outside/dropped.txt');
  writeFileSync(outside, 'dropped\n');
  const page = await open();
  const drop = async (selector, paths) => {
    const box = await page.locator(selector).boundingBox();
    const place = { x: box.x + box.width / 2, y: box.y + box.height / 2 };
    // The native side's own events, as the page gets them; the real drag is tried in tests/app.
    await page.evaluate(
      async ({ place, paths }) => {
        const { receive } = await import('/bridge/events.js');
        receive(JSON.stringify({ type: 'drag.state', active: true }));
        receive(JSON.stringify({ type: 'drag.over', ...place }));
      },
      { place },
    );
    const lit = await page.locator('.drop-target').count();
    await page.evaluate(
      async ({ place, paths }) => {
        const { receive } = await import('/bridge/events.js');
        receive(JSON.stringify({ type: 'drag.state', active: false }));
        receive(JSON.stringify({ type: 'files.dropped', paths, ...place }));
      },
      { place, paths },
    );
    return lit;
  };
  assert.ok((await drop(row('proj/docs'), [outside])) > 0);
  await page.waitForSelector(row('proj/docs/dropped.txt'));
  assert.equal(read('docs/dropped.txt'), 'dropped\n');
  assert.equal(await page.locator('.drop-target').count(), 0);
  await drop('.editor-area', [at('src/main.c')]);
  await page.waitForSelector('.tab.front');
  assert.match(String(await tabLabels(page)), /main\.c/);
  await drop('.editor-area', [outside]);
  await page.waitForSelector(row('outside/dropped.txt'));
  await page.waitForFunction(
    () => document.querySelector('.tab.front')?.getAttribute('title') === 'outside/dropped.txt',
  );
  await frontTextIs(page, /dropped/);
  await editor.api('workspace/remove', { name: 'outside' });
  await done(page);
});

test('explorer: folders are added by path and removed without touching them', async () => {
  mkdirSync(join(editor.home, 'second/inner'), { recursive: true });
  const page = await open();
  await page.keyboard.press('Control+k');
  await page.keyboard.press('Control+o');
  await answer(page, join(editor.home, 'second'));
  await page.waitForSelector(row('second/inner'));
  await page.locator(row('second')).click({ button: 'right' });
  await page.getByRole('menuitem', { name: 'Remove Folder' }).click();
  await page.getByRole('button', { name: 'Remove from the Workspace' }).click();
  await page.waitForSelector(row('second'), { state: 'detached' });
  assert.ok(existsSync(join(editor.home, 'second/inner')));
  await page.keyboard.press('Control+k');
  await page.keyboard.press('Control+o');
  await answer(page, join(editor.home, 'missing'));
  await page
    .getByText(/Could not add .*missing: not a folder: /)
    .first()
    .waitFor();
  page.complaints.length = 0;
  await done(page);
});

test('explorer: a range, and copying the paths of what is selected', async () => {
  const page = await open();
  await page.click(row('proj/apple.txt'));
  await page.click(row('proj/banana.txt'), { modifiers: ['Shift'] });
  assert.equal(await page.locator('.tree-row[aria-selected="true"]').count(), 3);
  await page.locator(row('proj/banana.txt')).focus();
  await page.keyboard.press('Shift+F10');
  await page.getByRole('menuitem', { name: 'Copy Path' }).click();
  await page.getByText('Copied 3 paths').first().waitFor();
  const copied = await page.evaluate(() => navigator.clipboard.readText());
  assert.deepEqual(copied.split('\n'), [at('apple.txt'), at('avocado.txt'), at('banana.txt')]);
  await done(page);
});

test('explorer: changes that the native side tells of are shown', async () => {
  const page = await open();
  writeFileSync(at('appeared.txt'), '');
  rmSync(at('apple.txt'));
  await page.evaluate(async () => {
    const { receive } = await import('/bridge/events.js');
    receive(JSON.stringify({ type: 'fs.changed', paths: ['proj/appeared.txt', 'proj/apple.txt'], count: 2 }));
  });
  await page.waitForSelector(row('proj/appeared.txt'));
  await page.waitForSelector(row('proj/apple.txt'), { state: 'detached' });
  page.complaints.length = 0; // whoever remembers the deleted file asks for it
  await done(page);
});

test('explorer: ten thousand rows are only as many elements as fit', async () => {
  mkdirSync(at('many'));
  for (let number = 0; number < 10000; number++)
    writeFileSync(at('many', `f${String(number).padStart(5, '0')}`), '');
  const page = await open();
  await page.click(row('proj/many'));
  await page.waitForSelector(row('proj/many/f00000'));
  await page.locator(row('proj/many')).focus();
  await page.keyboard.press('End');
  for (let up = 0; up < 4; up++) await page.keyboard.press('ArrowUp'); // three files and a folder
  await page.waitForFunction(() => document.activeElement?.getAttribute('data-path') === 'proj/many/f09999');
  assert.ok((await page.locator('.tree-row').count()) < 120);
  await page.locator('.tree').evaluate((tree) => tree.scrollTo(0, 0));
  await page.waitForSelector(row('proj/docs'));
  assert.equal(await focusedPath(page), 'proj/many/f09999', 'the row with the focus exists wherever it is');
  renameSync(at('many'), join(editor.home, 'many'));
  rmSync(join(editor.home, 'many'), { recursive: true });
  await done(page);
});
