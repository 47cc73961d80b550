import assert from 'node:assert/strict';
import { existsSync, readFileSync } from 'node:fs';
import { join } from 'node:path';
import { after, beforeEach, test } from 'node:test';
import { axeFindings, startEditor } from '../support/editor.mjs';
import { repositoryIn } from '../support/repository.mjs';
import { freshPage, frontTextIs, openFromTree, settled } from '../support/steps.mjs';

const lines = (count) => Array.from({ length: count }, (_, i) => `line ${i + 1}\n`).join('');
const kFirst = { '.gitignore': '.marlin/\n', 'src/a b.c': lines(40), 'picture.bin': 'a\0b', 'gone.txt': 'one\ntwo\n' };

/** @type {ReturnType<typeof repositoryIn>} */
let repository;
const editor = await startEditor({
  prepare: (project) => {
    repository = repositoryIn(project);
    repository.begin(kFirst);
  },
});
after(() => editor.stop());

const { git, write } = repository;
const at = (...parts) => join(editor.project, ...parts);
const text = (path) => readFileSync(at(path), 'utf8');
const first = git('rev-parse', 'HEAD').trim();

beforeEach(() => {
  git('checkout', '-q', '-f', '-B', 'main', first);
  git('clean', '-q', '-fdx', '-e', '.marlin');
});

/** Merges a branch in which each of these files is another one than here; null deletes. */
function conflict(files) {
  const put = (side) => {
    for (const [path, both] of Object.entries(files)) {
      if (both[side] === null) git('rm', '-q', '--', path);
      else write(path, both[side]);
    }
    git('add', '-A');
    git('commit', '-q', '-m', side ? 'theirs' : 'ours');
  };
  git('checkout', '-q', '-B', 'side');
  put(1);
  git('checkout', '-q', 'main');
  put(0);
  assert.throws(() => git('merge', 'side'));
}

const changed = (...pairs) => pairs.reduce((all, [from, to]) => all.replace(`${from}\n`, to), lines(40));
const ours = changed(['line 3', 'OURS 3\n'], ['line 20', 'OURS 20\n'], ['line 38', 'OURS 38\n']);
const theirs = changed(['line 3', 'theirs 3\n'], ['line 20', 'theirs 20\n'], ['line 38', 'theirs 38\n']);

const row = (path) => `.scm-row[data-key="proj/conflicts/${encodeURIComponent(path)}"]`;

/** A page with the panel open and the conflict of a row of it. */
async function openConflict(name) {
  const page = await freshPage(editor);
  await page.keyboard.press('Control+Shift+G');
  await page.locator(row(name)).press('Enter');
  return page;
}

async function done(page) {
  // Asking for the staged text of a conflict, which has several, fails.
  page.complaints = page.complaints.filter((words) => !words.startsWith('Failed to load resource'));
  assert.deepEqual(page.complaints, []);
  await page.done();
}

const resultHas = (page, line) => page.locator('.conflict-result .view-line', { hasText: line }).first().waitFor();
const resultLacks = (page, line) =>
  page.locator('.conflict-result .view-line', { hasText: line }).first().waitFor({ state: 'detached' });
const button = (page, name) => page.getByRole('button', { name, exact: true });
const says = (page, words) => page.getByText(words, { exact: true }).waitFor();

test('conflict: three sides, each decision an edit, and the file is resolved', async () => {
  conflict({ 'src/a b.c': [ours, theirs] });
  const page = await openConflict('b.c');
  await says(page, 'Conflict 1 of 3');
  await page.locator('.conflict-text .view-line', { hasText: /line.3$/ }).first().waitFor();
  await page.locator('.conflict-text .view-line', { hasText: /OURS.3$/ }).waitFor();
  await page.locator('.conflict-text .view-line', { hasText: /theirs.3$/ }).waitFor();
  assert.deepEqual(await axeFindings(page), []);
  await button(page, 'Accept Theirs').first().click();
  await says(page, 'Conflict 1 of 2');
  await resultLacks(page, 'OURS');
  await page.keyboard.press('Control+z');
  await says(page, 'Conflict 1 of 3');
  await button(page, 'Accept Base').click();
  await says(page, 'Conflict 1 of 2');
  await resultHas(page, /line.3$/);
  await page.keyboard.press('Alt+F5');
  await button(page, 'Both, Theirs First').click();
  await page.getByText('Conflict 1 of 1', { exact: true }).waitFor();
  await page.keyboard.press('Control+s');
  // What is not decided yet is asked about.
  await button(page, 'Mark as Resolved').click();
  await page.getByRole('alertdialog', { name: 'Mark a b.c as resolved?' }).getByRole('button', { name: 'Cancel' }).click();
  await button(page, 'All Ours').click();
  await says(page, 'No conflict is left');
  await button(page, 'Mark as Resolved').click();
  await says(page, 'a b.c is not in conflict, and no other file is.');
  assert.deepEqual(await axeFindings(page), []);
  const expected = changed(['line 20', 'theirs 20\nOURS 20\n'], ['line 38', 'OURS 38\n']);
  assert.equal(text('src/a b.c'), expected);
  assert.equal(git('show', ':0:src/a b.c'), expected);
  await done(page);
});

test('conflict: actions above the conflicts of a text, by mouse and by command; what is unsaved stays', async () => {
  conflict({ 'src/a b.c': [ours, theirs], 'gone.txt': ['ONE\ntwo\n', 'eins\ntwo\n'] });
  const page = await freshPage(editor);
  await openFromTree(page, 'proj/gone.txt');
  const lens = page.locator('.text-view .conflict-lens');
  await lens.getByText('Accept Theirs', { exact: true }).click();
  await frontTextIs(page, 'eins\ntwo');
  await page.keyboard.press('Control+z');
  await lens.getByText('Open Conflict Editor').click();
  await says(page, 'Conflict 1 of 1');
  await resultHas(page, '<<<<<<<');
  // Its own tab goes first, which the conflict editor outlives.
  await page.locator('.tab[title="proj/gone.txt"]').click({ button: 'middle' });
  await page.locator('.tab[title="proj/gone.txt"]').waitFor({ state: 'detached' });
  await settled(page);
  await resultHas(page, '<<<<<<<');
  await page.locator('.conflict-result .view-line', { hasText: 'ONE' }).click();
  await page.keyboard.press('Control+Shift+P');
  await page.getByRole('combobox').fill('Conflict: Accept Both');
  await page.getByRole('combobox').press('Enter');
  await says(page, 'No conflict is left');
  // The text is not saved, so it gets a tab of its own again.
  await page.keyboard.press('Control+w');
  await page.waitForSelector('.tab.front.dirty[title="proj/gone.txt"]');
  await frontTextIs(page, 'ONE\neins\ntwo');
  await done(page);
});

test('conflict: a file that one side deleted, and one without lines', async () => {
  conflict({ 'gone.txt': [null, 'one\ntwo\nthree\n'], 'picture.bin': ['x\0y', 'c\0d'] });
  const page = await openConflict('gone.txt');
  await page.getByText('You deleted gone.txt, and the other side changed it.').waitFor();
  assert.deepEqual(await axeFindings(page), []);
  await button(page, 'Delete the File').click();
  await page.getByRole('alertdialog').getByRole('button', { name: 'Delete the File' }).click();
  await page.getByText('gone.txt is not in conflict').waitFor();
  assert.ok(!existsSync(at('gone.txt')));
  assert.ok(existsSync(join(editor.home, '.local/share/Trash/files/gone.txt')));
  await button(page, 'Go on with picture.bin').click();
  await button(page, 'Use Theirs').click();
  await says(page, 'picture.bin is not in conflict, and no other file is.');
  assert.equal(text('picture.bin'), 'c\0d');
  assert.equal(git('ls-files', '-u'), '');
  await settled(page);
  await done(page);
});
