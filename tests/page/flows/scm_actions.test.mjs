import assert from 'node:assert/strict';
import { chmodSync, existsSync, readFileSync, rmSync } from 'node:fs';
import { join } from 'node:path';
import { after, beforeEach, test } from 'node:test';
import { axeFindings, startEditor } from '../support/editor.mjs';
import { repositoryIn } from '../support/repository.mjs';
import { freshPage, frontTextIs, settled } from '../support/steps.mjs';

/** @type {ReturnType<typeof repositoryIn>} */
let repository;
const editor = await startEditor({
  prepare: (project) => {
    repository = repositoryIn(project);
    repository.begin({ '.gitignore': '.marlin/\n', 'one.txt': 'one\n', 'a b.txt': 'first\n' });
    repository.git('config', 'user.name', 'Ann');
    repository.git('config', 'user.email', 'ann@example.invalid');
    repository.git('init', '-q', '--bare', '../origin.git');
    repository.git('remote', 'add', 'origin', join(project, '../origin.git'));
  },
});
after(() => editor.stop());

const { git, write } = repository;
const text = (path) => readFileSync(join(editor.project, path), 'utf8');
const first = git('rev-parse', 'HEAD').trim();

/** The first commit on the main branch, and nothing else. */
beforeEach(() => {
  git('checkout', '-q', '-f', 'main');
  git('reset', '-q', '--hard', first);
  git('clean', '-q', '-fdx');
});

const row = (group, path) => `.scm-row[data-key="proj/${group}/${encodeURIComponent(path)}"]`;
const groupRow = (group) => `.scm-row[data-key="proj/${group}"]`;

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

const gone = (page, selector) => page.waitForSelector(selector, { state: 'detached' });
const said = (page, words) => page.locator('.toast', { hasText: words }).first().waitFor();

/** Chooses in the menu of a row. */
async function chooseFor(page, selector, item) {
  await page.locator(selector).click({ button: 'right' });
  await page.getByRole('menuitem', { name: item }).click();
}

/** Runs a command by its title. */
async function palette(page, title) {
  await page.keyboard.press('Control+Shift+P');
  await page.getByRole('combobox').fill(title);
  await page.getByRole('combobox').press('Enter');
}

test('scm actions: stage, unstage, discard and delete by key, menu and button', async () => {
  write('one.txt', 'changed\n');
  write('a b.txt', 'changed, too\n');
  write('new file.txt', 'new\n');
  const page = await openPanel();
  await page.locator(row('changes', 'a b.txt')).press('+');
  await page.waitForSelector(row('staged', 'a b.txt'));
  assert.match(git('status', '--porcelain'), /^M  "a b.txt"$/m);
  // The row that is left has the focus of the one that went.
  await page.waitForSelector(`${row('changes', 'one.txt')}:focus`);
  await page.locator(row('staged', 'a b.txt')).press('-');
  await page.waitForSelector(row('changes', 'a b.txt'));
  await chooseFor(page, '.scm-row[data-key="proj"]', 'Stage All');
  await page.waitForSelector(row('staged', 'new file.txt'));
  await page.hover(groupRow('staged'));
  await page.click(`${groupRow('staged')} button[title^="Unstage All"]`);
  await gone(page, groupRow('staged'));
  await page.locator(row('changes', 'one.txt')).press('Delete');
  const question = page.getByRole('alertdialog', { name: 'Discard the changes of one.txt?' });
  await question.waitFor();
  assert.deepEqual(await axeFindings(page), []);
  await question.getByRole('button', { name: 'Cancel' }).click();
  assert.equal(text('one.txt'), 'changed\n');
  await settled(page);
  await page.locator(row('changes', 'one.txt')).press('Delete');
  await question.getByRole('button', { name: 'Discard Changes' }).click();
  await gone(page, row('changes', 'one.txt'));
  assert.equal(text('one.txt'), 'one\n');
  await page.locator(row('untracked', 'new file.txt')).press('Delete');
  await page.getByRole('button', { name: 'Move to the Trash' }).click();
  await gone(page, row('untracked', 'new file.txt'));
  assert.ok(existsSync(join(editor.home, '.local/share/Trash/files/new file.txt')));
  await done(page);
});

test('scm actions: a message is kept until it is used, all is committed when nothing is staged, and amended', async () => {
  write('one.txt', 'changed\n');
  write('new.txt', 'new\n');
  const page = await openPanel();
  const field = page.getByRole('textbox', { name: 'Message of the commit in proj' });
  await field.fill('A subject\n\nand more');
  await settled(page);
  await page.click('[aria-label="Explorer"]');
  await page.click('[aria-label="Source Control"]');
  assert.equal(await field.inputValue(), 'A subject\n\nand more');
  assert.deepEqual(await axeFindings(page), []);
  await field.press('Control+Enter');
  await page.getByRole('alertdialog', { name: 'Commit all changes?' }).waitFor();
  await page.keyboard.press('Enter');
  await said(page, 'Committed: A subject');
  assert.equal(await field.inputValue(), '');
  assert.equal(git('log', '-1', '--format=%B').trim(), 'A subject\n\nand more');
  assert.equal(git('status', '--porcelain'), '');
  await page.getByRole('checkbox', { name: 'Amend' }).check();
  await page.waitForFunction(() => document.querySelector('.scm-message')?.value === 'A subject\n\nand more');
  await field.fill('Better');
  await page.getByRole('button', { name: 'Amend Commit' }).click();
  await said(page, 'Amended: Better');
  assert.equal(git('log', '--format=%s').trim(), 'Better\nfirst');
  assert.equal(await page.getByRole('checkbox', { name: 'Amend' }).isChecked(), false);
  // A hook's words are those that are told.
  write('.git/hooks/pre-commit', '#!/bin/sh\necho "not today" >&2\nexit 1\n');
  chmodSync(join(editor.project, '.git/hooks/pre-commit'), 0o755);
  await field.fill('Again');
  write('one.txt', 'more\n');
  git('add', '-A');
  await page.waitForSelector(row('staged', 'one.txt'));
  await field.press('Control+Enter');
  await said(page, 'Could not commit in proj: not today');
  assert.equal(await field.inputValue(), 'Again');
  rmSync(join(editor.project, '.git/hooks/pre-commit'));
  page.complaints = page.complaints.filter((words) => !words.startsWith('Failed to load resource'));
  await done(page);
});

test('scm actions: branches are created and switched to, pushed with an upstream, pulled', async () => {
  const page = await openPanel();
  await page.locator('.status-item', { hasText: 'branch main' }).click();
  await page.getByRole('option', { name: 'Create Branch…' }).click();
  await page.getByRole('textbox', { name: /Name of the branch/ }).fill('topic');
  await page.keyboard.press('Enter');
  await page.locator('.scm-row[data-key="proj"]', { hasText: 'branch topic, no upstream' }).waitFor();
  await palette(page, 'Git: Push');
  await page.getByRole('button', { name: 'Push and Follow' }).click();
  await said(page, 'Pushed topic');
  await page.locator('.scm-row[data-key="proj"]', { hasText: 'branch topic, upstream origin/topic' }).waitFor();
  const other = repositoryIn(join(editor.home, 'other'));
  repository.git('clone', '-q', '-b', 'topic', '../origin.git', '../other');
  other.write('one.txt', 'from elsewhere\n');
  other.git('commit', '-q', '-am', 'elsewhere');
  other.git('push', '-q', 'origin', 'topic', 'topic:feature');
  await palette(page, 'Git: Fetch');
  await page.locator('.scm-row[data-key="proj"]', { hasText: '1 behind' }).waitFor();
  await palette(page, 'Git: Pull');
  await said(page, 'Pulled topic');
  assert.equal(text('one.txt'), 'from elsewhere\n');
  await palette(page, 'Git: Switch Branch…');
  await page.getByRole('option', { name: /^main/ }).click();
  await page.locator('.status-item', { hasText: 'branch main' }).waitFor();
  assert.equal(git('rev-parse', '--abbrev-ref', 'HEAD').trim(), 'main');
  // A remote's branch gets one here that follows it.
  await palette(page, 'Git: Switch Branch…');
  await page.getByRole('option', { name: 'origin/feature' }).click();
  await page.locator('.scm-row[data-key="proj"]', { hasText: 'branch feature, upstream origin/feature' }).waitFor();
  await palette(page, 'Git: Discard All Changes…');
  await said(page, 'There is nothing to discard in proj');
  await done(page);
});

test('scm actions: a merge with conflicts, also in names with blanks, is resolved and committed', async () => {
  git('checkout', '-q', '-b', 'side');
  write('a b.txt', 'theirs\n');
  git('commit', '-q', '-am', 'theirs');
  git('checkout', '-q', 'main');
  write('a b.txt', 'ours\n');
  git('commit', '-q', '-am', 'ours');
  const page = await openPanel();
  await palette(page, 'Git: Merge Branch…');
  await page.getByRole('option', { name: 'side', exact: true }).click();
  await said(page, 'Could not merge side into main:');
  await page.waitForSelector(row('conflicts', 'b.txt'));
  await chooseFor(page, row('conflicts', 'b.txt'), 'Open File');
  await page.waitForSelector('.tab.front[title="proj/a b.txt"]');
  await frontTextIs(page, /theirs/);
  write('a b.txt', 'both\n');
  await chooseFor(page, row('conflicts', 'b.txt'), 'Mark as Resolved');
  await page.waitForSelector(row('staged', 'a b.txt'));
  await page.locator('.scm-message').fill('Merged');
  await page.locator('.scm-message').press('Control+Enter');
  await said(page, 'Committed: Merged');
  assert.equal(git('log', '-1', '--format=%P').trim().split(' ').length, 2);
  assert.equal(text('a b.txt'), 'both\n');
  // The merge is a failed request, and so is asking for the staged text of a conflict, which has several.
  page.complaints = page.complaints.filter((words) => !words.startsWith('Failed to load resource'));
  await done(page);
});

test('scm actions: a file is compared with a branch', async () => {
  git('checkout', '-q', '-b', 'older');
  write('one.txt', 'as it was there\n');
  git('commit', '-q', '-am', 'older');
  git('checkout', '-q', 'main');
  write('one.txt', 'changed\n');
  const page = await openPanel();
  await page.locator(row('changes', 'one.txt')).press('Enter');
  await page.waitForSelector('.tab.front[title="proj/one.txt"]');
  await palette(page, 'Compare File with Branch…');
  await page.getByRole('option', { name: 'older', exact: true }).click();
  await page.locator('.tab.front', { hasText: 'one.txt (older)' }).waitFor();
  await page.locator('.original-in-monaco-diff-editor .view-line', { hasText: /as.it.was.there/ }).waitFor();
  await page.locator('.modified-in-monaco-diff-editor .view-line', { hasText: 'changed' }).waitFor();
  await done(page);
});
