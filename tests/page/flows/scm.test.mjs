import assert from 'node:assert/strict';
import { mkdirSync, readFileSync, rmSync, writeFileSync } from 'node:fs';
import { join } from 'node:path';
import { after, beforeEach, test } from 'node:test';
import { axeFindings, openPage, startEditor } from '../support/editor.mjs';
import { repositoryIn } from '../support/repository.mjs';
import { freshPage, frontTextIs, openFromTree, settled } from '../support/steps.mjs';

const lines = (count) => Array.from({ length: count }, (_, i) => `line ${i + 1}\n`).join('');
const kFirst = {
  'src/main.c': lines(30),
  'src/gone.c': 'gone\n',
  'a b.txt': 'blank\n',
  '.gitignore': '.marlin/\n',
};

/** @type {ReturnType<typeof repositoryIn>} */
let repository;
const editor = await startEditor({
  prepare: (project) => {
    repository = repositoryIn(project);
    repository.begin(kFirst);
    // A second repository of the workspace, in a folder of its own.
    repositoryIn(join(project, '../lib')).begin({ 'lib.c': 'lib\n' });
  },
});
after(() => editor.stop());

const at = (...parts) => join(editor.project, ...parts);

/** The first commit and nothing else. */
beforeEach(() => {
  repository.git('reset', '-q', '--hard', 'HEAD');
  repository.git('clean', '-q', '-fdx');
});

const row = (group, path) => `.scm-row[data-key="proj/${group}/${encodeURIComponent(path)}"]`;

/** What the panel says of each row, as those hear it who do not see it. */
const heard = (page) =>
  page.locator('.scm-row').evaluateAll((rows) =>
    rows
      .sort((a, b) => parseInt(a.style.top) - parseInt(b.style.top))
      .map((each) => each.querySelector('.unseen')?.textContent),
  );

/** Awaits that the panel says exactly this. */
async function panelSays(page, expected) {
  await page
    .waitForFunction((words) => {
      const rows = [...document.querySelectorAll('.scm-row')];
      rows.sort((a, b) => parseInt(a.style.top) - parseInt(b.style.top));
      return JSON.stringify(rows.map((each) => each.querySelector('.unseen')?.textContent)) === words;
    }, JSON.stringify(expected))
    .catch(() => {});
  assert.deepEqual(await heard(page), expected);
}

/** A page with the panel open. */
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

const sides = (page) =>
  page.evaluate(() =>
    ['.original-in-monaco-diff-editor', '.modified-in-monaco-diff-editor'].map((side) =>
      [...document.querySelectorAll(`.diff-view ${side} .view-line`)]
        .sort((a, b) => parseInt(a.style.top) - parseInt(b.style.top))
        .map((line) => line.textContent?.replace(/\u00a0/g, ' '))
        .join('|'),
    ),
  );

/** Awaits what stands on both sides of the comparison in front. */
async function sidesAre(page, left, right) {
  await page
    .waitForFunction(
      ([one, other]) => {
        const read = (side) =>
          [...document.querySelectorAll(`.diff-view ${side} .view-line`)]
            .sort((a, b) => parseInt(a.style.top) - parseInt(b.style.top))
            .map((line) => line.textContent?.replace(/\u00a0/g, ' '))
            .join('|');
        return (
          read('.original-in-monaco-diff-editor') === one && read('.modified-in-monaco-diff-editor') === other
        );
      },
      [left, right],
    )
    .catch(() => {});
  assert.deepEqual(await sides(page), [left, right]);
}

test('scm: the panel shows groups with counts, follows the disk, and colours the tree', async () => {
  const page = await openPanel();
  await panelSays(page, ['proj, branch main, no upstream']);
  repository.write('src/main.c', lines(30).replace('line 2\n', 'two\nmore\n'));
  repository.git('add', 'src/main.c');
  repository.write('src/main.c', lines(30).replace('line 2\n', ''));
  rmSync(at('src/gone.c'));
  repository.write('new dir/ä x.txt', 'one\ntwo');
  await panelSays(page, [
    'proj, branch main, no upstream',
    'Staged Changes, 1',
    'main.c, src, modified, 2 added, 1 removed',
    'Changes, 2',
    'gone.c, src, deleted, 1 removed',
    'main.c, src, modified, 2 removed',
    'Untracked, 1',
    'ä x.txt, new dir, untracked, 2 added',
  ]);
  assert.deepEqual(await axeFindings(page), []);
  repository.git('commit', '-q', '-am', 'second');
  await panelSays(page, ['proj, branch main, no upstream', 'Untracked, 1', 'ä x.txt, new dir, untracked, 2 added']);
  await page.click('[aria-label="Explorer"]');
  await page.waitForSelector('[data-path="proj/new dir"].git-untracked');
  assert.match(await page.locator('.status').innerText(), /main\*/);
  repository.git('reset', '-q', '--hard', 'HEAD~1');
  await done(page);
});

test('scm: a staged file is compared with the last commit, and changes with what is staged', async () => {
  repository.write('a b.txt', 'staged\n');
  repository.git('add', '-A');
  repository.write('a b.txt', 'working\n');
  const page = await openPanel();
  await page.click(row('staged', 'a b.txt'));
  await sidesAre(page, 'blank|', 'staged|');
  await page.getByText('1 change', { exact: true }).waitFor();
  await page.dblclick(row('changes', 'a b.txt'));
  await sidesAre(page, 'staged|', 'working|');
  // The right side is the file: what is typed there is unsaved, and saved like any text.
  await page.waitForFunction(() => document.activeElement?.closest('.modified-in-monaco-diff-editor'));
  await page.keyboard.press('Control+Home');
  await page.keyboard.type('still ');
  await sidesAre(page, 'staged|', 'still working|');
  await page.waitForSelector('.tab.front.dirty:not(.preview)');
  await page.keyboard.press('Control+s');
  await page.waitForSelector('.tab.front:not(.dirty)');
  assert.equal(readFileSync(at('a b.txt'), 'utf8'), 'still working\n');
  // A new index is another left side.
  repository.git('add', '-A');
  await sidesAre(page, 'still working|', 'still working|');
  await page.getByText('No changes', { exact: true }).waitFor();
  await done(page);
});

test('scm: by keyboard through the rows, a comparison and its changes', async () => {
  repository.write('src/main.c', lines(30).replace('line 3\n', 'three\n').replace('line 20\n', 'twenty\n'));
  rmSync(at('src/gone.c'));
  const page = await openPanel();
  await page.waitForSelector(row('changes', 'src/main.c'));
  await settled(page);
  await page.locator('.scm-row.selected').press('End');
  await page.locator(row('changes', 'src/main.c')).press('ArrowLeft');
  await page.locator('.scm-row[data-key="proj/changes"]').press('ArrowLeft');
  await page.waitForSelector('.scm-row[data-key="proj/changes"][aria-expanded="false"]');
  await page.locator('.scm-row[data-key="proj/changes"]').press('ArrowRight');
  await page.locator('.scm-row[data-key="proj/changes"]').press('g');
  await page.locator(row('changes', 'src/gone.c')).press('Enter');
  await sidesAre(page, 'gone|', '');
  page.complaints.length = 0; // reading the deleted file is a failed request
  await page.keyboard.press('Control+Shift+G');
  await page.locator(row('changes', 'src/gone.c')).press('ArrowDown');
  await page.locator(row('changes', 'src/main.c')).press('Enter');
  await page.getByText('2 changes', { exact: true }).waitFor();
  await page.waitForFunction(() => document.activeElement?.closest('.modified-in-monaco-diff-editor'));
  await page.keyboard.press('Alt+F5');
  const position = () => page.evaluate(async () => (await import('/editor/state.js')).cursor.value.line);
  assert.equal(await position(), 3);
  await page.keyboard.press('Alt+F5');
  assert.equal(await position(), 20);
  await page.keyboard.press('Shift+Alt+F5');
  assert.equal(await position(), 3);
  await page.getByRole('button', { name: 'Inline View' }).click();
  await page.waitForSelector('.diff-view .monaco-diff-editor:not(.side-by-side)');
  assert.deepEqual(await axeFindings(page), []);
  await page.getByRole('button', { name: 'Inline View' }).click();
  await page.waitForSelector('.diff-view .monaco-diff-editor.side-by-side');
  await done(page);
});

test('scm: bars beside changed lines, a look at the old ones, and the way back', async () => {
  const changed = lines(30).replace('line 3\n', 'three\n').replace('line 10\nline 11\n', '').replace('line 20\n', 'line 20\nnew\n');
  repository.write('src/main.c', changed);
  const page = await freshPage(editor);
  await openFromTree(page, 'proj/src/main.c');
  await page.waitForSelector('.change-bar.added');
  await page.waitForSelector('.change-bar.removed');
  await page.click('.change-bar.changed');
  const peek = page.locator('.change-peek');
  await peek.getByText('line 3', { exact: true }).waitFor();
  assert.equal(await peek.getAttribute('aria-label'), 'Change 1 of 3');
  assert.deepEqual(await axeFindings(page), []);
  await peek.getByRole('button', { name: 'Next Change' }).click();
  await peek.getByText('line 10').waitFor();
  assert.match(await peek.locator('pre').innerText(), /^line 10\nline 11$/);
  await peek.getByRole('button', { name: 'Revert Change' }).click();
  await page.waitForSelector('.change-bar.removed', { state: 'detached' });
  await peek.waitFor({ state: 'detached' });
  await page.waitForSelector('.tab.front.dirty');
  await frontTextIs(page, /line 9\nline 10\nline 11\nline 12/);
  await page.keyboard.press('Control+z');
  await page.waitForSelector('.change-bar.removed');
  await page.waitForSelector('.tab.front:not(.dirty)');
  // Typing makes bars while the keys rest, and staging takes all away.
  await page.keyboard.press('Control+End');
  await page.keyboard.type('typed');
  await page.waitForFunction(() => document.querySelectorAll('.change-bar.added').length === 2);
  await page.keyboard.press('Alt+F3');
  await peek.getByText('Nothing stood here in the index').waitFor();
  await peek.press('Escape');
  await page.waitForFunction(() => document.activeElement?.closest('.text-view'));
  await page.keyboard.press('Control+z');
  repository.git('add', '-A');
  await page.waitForSelector('.change-bar', { state: 'detached' });
  await done(page);
});

test('scm: several repositories, and one that comes too late for git', async () => {
  writeFileSync(join(editor.home, 'lib/lib.c'), 'changed\n');
  mkdirSync(join(editor.home, 'plain'), { recursive: true });
  const page = await openPanel();
  for (const name of ['lib', 'plain']) {
    const add = async (path) => (await import('/stores/settings.js')).addRoot(path);
    await page.evaluate(add, join(editor.home, name));
  }
  await page.getByText(/Start it again if one is in: lib, plain/).waitFor();
  await panelSays(page, ['proj, branch main, no upstream']);
  await page.click('[aria-label="Explorer"]');
  await page.click('[data-path="lib"]');
  await page.dblclick('[data-path="lib/lib.c"]');
  await frontTextIs(page, 'changed');
  for (const name of ['lib', 'plain']) await editor.api('workspace/remove', { name });
  await done(page);
});

test('scm: a folder that is only a part of its repository', async () => {
  let whole;
  const part = await startEditor({
    prepare: (project) => {
      whole = repositoryIn(join(project, '..'));
      whole.begin({ '.gitignore': '/app/\n/run/\n/.*\n.marlin/\n', 'top.txt': 'top\n', 'proj/in.txt': 'in\n' });
    },
  });
  try {
    whole.write('top.txt', 'changed above\n');
    whole.write('proj/in.txt', 'changed within\n');
    const page = await openPage(part);
    await page.waitForSelector('[data-path="proj/in.txt"].git-modified');
    await page.keyboard.press('Control+Shift+G');
    await page.click(row('changes', 'proj/in.txt'));
    await sidesAre(page, 'in|', 'changed within|');
    await page.waitForSelector('.tab.front[title="proj/in.txt"]');
    // What lies above the folder can be looked at, but not opened.
    await page.dblclick(row('changes', 'top.txt'));
    await sidesAre(page, 'top|', 'changed above|');
    await page.waitForFunction(() => document.activeElement?.closest('.modified-in-monaco-diff-editor'));
    await page.keyboard.type('x');
    await settled(page);
    await sidesAre(page, 'top|', 'changed above|');
    assert.equal(await page.getByRole('button', { name: 'Open File' }).count(), 0);
    await done(page);
  } finally {
    await part.stop();
  }
});
