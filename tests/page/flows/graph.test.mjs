import assert from 'node:assert/strict';
import { existsSync, readFileSync } from 'node:fs';
import { join } from 'node:path';
import { after, beforeEach, test } from 'node:test';
import { axeFindings, startEditor } from '../support/editor.mjs';
import { repositoryIn } from '../support/repository.mjs';
import { freshPage, openFromTree, settled } from '../support/steps.mjs';

/** @type {ReturnType<typeof repositoryIn>} */
let repository;
const editor = await startEditor({
  prepare: (project) => {
    repository = repositoryIn(project);
    repository.begin({ '.gitignore': '.marlin/\n', 'one.txt': 'one\n', 'src/old/deep.txt': 'a\nb\nc\nd\n' });
    repository.git('config', 'user.name', 'Ann');
    repository.git('config', 'user.email', 'ann@example.invalid');
    repository.git('init', '-q', '--bare', '../origin.git');
    repository.git('remote', 'add', 'origin', join(project, '../origin.git'));
    repository.git('tag', 'v1');
    repository.git('push', '-q', '-u', 'origin', 'main');
  },
});
after(() => editor.stop());

const { git, write } = repository;
const text = (path) => readFileSync(join(editor.project, path), 'utf8');
const first = git('rev-parse', 'HEAD').trim();

/** Commits a text of one file, as somebody. */
function commit(path, contents, message, author = 'Ann') {
  write(path, contents);
  git('add', '-A');
  git('commit', '-q', '-m', message, `--author=${author} <${author.toLowerCase()}@example.invalid>`);
}

/** The first commit on the main branch, one tag, and nothing else. */
beforeEach(() => {
  git('checkout', '-q', '-f', 'main');
  git('reset', '-q', '--hard', first);
  git('clean', '-q', '-fdx');
  const refs = git('for-each-ref', '--format=%(refname)', 'refs/heads', 'refs/tags', 'refs/stash').split('\n');
  for (const ref of refs) if (ref && !['refs/heads/main', 'refs/tags/v1'].includes(ref)) git('update-ref', '-d', ref);
});

const row = (page, subject) => page.locator('.graph-row', { has: page.getByText(subject, { exact: true }) });
const said = (page, words) => page.locator('.toast', { hasText: words }).first().waitFor();

async function openGraph() {
  const page = await freshPage(editor);
  await page.keyboard.press('Control+Shift+G');
  await page.getByRole('button', { name: 'Show History as a Graph' }).click();
  await page.waitForSelector('.graph-row[tabindex="0"]:focus');
  return page;
}

/** Requests fail where git does, and where a file that changed is looked at and is gone. */
async function done(page, mayFail = false) {
  if (mayFail) page.complaints = page.complaints.filter((words) => !words.startsWith('Failed to load resource'));
  assert.deepEqual(page.complaints, []);
  await page.done();
}

/** Chooses in the menu of an element. */
async function chooseFor(page, locator, item) {
  await locator.click({ button: 'right' });
  await page.getByRole('menuitem', { name: item }).click();
}

async function palette(page, title) {
  await page.keyboard.press('Control+Shift+P');
  await page.getByRole('combobox').fill(title);
  await page.getByRole('combobox').press('Enter');
}

test('graph: commits with their names, by keys to the files of one and what it did to each', async () => {
  git('checkout', '-q', '-b', 'side');
  commit('two.txt', 'two\n', 'On the side', 'Bob');
  git('checkout', '-q', 'main');
  git('mv', 'src/old', 'src/new');
  write('one.txt', 'one\nmore\n');
  git('commit', '-q', '-am', 'Rename a folder\n\nWhich says why.');
  git('merge', '-q', '--no-ff', '-m', 'Merge the side', 'side');
  const page = await openGraph();
  const merge = row(page, 'Merge the side');
  await merge.locator('.unseen', { hasText: 'current branch main, merge, not pushed' }).waitFor();
  await row(page, 'first').locator('.unseen', { hasText: 'remote branch origin/main, tag v1, first commit' }).waitFor();
  // The merge leads to both of its parents, in two lanes.
  assert.equal(await merge.locator('path').count(), 2);
  assert.equal(await row(page, 'On the side').locator('circle').getAttribute('cx'), '21');
  await page.locator('.graph-title', { hasText: 'Merge the side' }).waitFor();
  await page.locator('.graph-file', { hasText: 'two.txt' }).waitFor();
  assert.deepEqual(await axeFindings(page), []);
  await page.keyboard.press('End');
  await page.locator('.graph-row:focus', { hasText: 'first' }).waitFor();
  await page.keyboard.press('Home');
  const subjects = await page.locator('.graph-words').allInnerTexts();
  for (let step = 0; step < subjects.indexOf('Rename a folder'); step++) await page.keyboard.press('ArrowDown');
  await page.locator('.graph-body', { hasText: 'Which says why.' }).waitFor();
  await page.locator('.graph-file', { hasText: 'src/{old => new}/deep.txt' }).waitFor();
  await page.keyboard.press('Enter');
  await page.waitForSelector('.graph-file:focus');
  await page.locator('.graph-file:focus').press('Enter');
  await page.locator('.tab.front', { hasText: `one.txt (${git('rev-parse', 'HEAD^1').slice(0, 7)})` }).waitFor();
  await page.locator('.modified-in-monaco-diff-editor .view-line', { hasText: 'more' }).waitFor();
  // The parents are ways through the history.
  await page.locator('.tab', { hasText: 'History' }).click();
  await page.getByRole('button', { name: `Parent ${first.slice(0, 7)}` }).click();
  await page.locator('.graph-title', { hasText: 'first' }).waitFor();
  await done(page);
});

test('graph: it is narrowed by words, author, path and branch, and follows what git does elsewhere', async () => {
  git('checkout', '-q', '-b', 'topic/one');
  commit('two.txt', 'two\n', 'Bring two', 'Bob');
  git('checkout', '-q', 'main');
  commit('one.txt', 'changed\n', 'Change one');
  const page = await openGraph();
  const shown = () => page.locator('.graph-words').allInnerTexts();
  await page.keyboard.press('Control+f');
  await page.keyboard.type('bob');
  await page.locator('.graph-total', { hasText: '1 of 3 commits' }).waitFor();
  assert.deepEqual(await shown(), ['Bring two']);
  assert.equal(await page.locator('.graph-lanes').count(), 0);
  await page.locator('.graph-find').fill('');
  await page.locator('.graph-total', { hasText: /^3 commits/ }).waitFor();
  await page.getByRole('button', { name: 'Only Mine' }).click();
  await page.locator('.graph-total', { hasText: '2 of 3' }).waitFor();
  await page.getByRole('button', { name: 'Stop filtering by author mine' }).click();
  await page.getByRole('button', { name: 'Filter by Path…' }).click();
  await page.getByRole('textbox', { name: /A file or folder/ }).fill('one.txt');
  await page.keyboard.press('Enter');
  await page.locator('.graph-total', { hasText: '2 of 3' }).waitFor();
  await page.getByRole('button', { name: 'Stop filtering by path one.txt' }).click();
  await page.getByRole('treeitem', { name: /^one, not published/ }).click({ button: 'right' });
  await page.getByRole('menuitemcheckbox', { name: 'Show Only Its History' }).click();
  await page.locator('.graph-total', { hasText: '2 of 3' }).waitFor();
  assert.deepEqual(await shown(), ['Bring two', 'first']);
  await page.getByRole('button', { name: 'Stop filtering by branch topic/one' }).click();
  await page.getByRole('searchbox', { name: 'Find a branch, tag or stash' }).fill('v1');
  await page.locator('.graph-ref-name', { hasText: /^v1$/ }).waitFor();
  assert.equal(await page.locator('.graph-ref').count(), 2);
  commit('three.txt', 'three\n', 'From elsewhere');
  await row(page, 'From elsewhere').waitFor();
  await done(page);
});

test('graph: a tag and a branch are made at a commit, a cherry-pick stops with git’s words and is taken back', async () => {
  git('checkout', '-q', '-b', 'side');
  commit('one.txt', 'theirs\n', 'Theirs');
  git('checkout', '-q', 'main');
  commit('one.txt', 'ours\n', 'Ours');
  const page = await openGraph();
  await chooseFor(page, row(page, 'Theirs'), 'Create Tag Here…');
  await page.getByRole('textbox', { name: /Name of the tag/ }).fill('v2');
  await page.keyboard.press('Enter');
  await page.getByRole('textbox', { name: /^Message;/ }).fill("it's two; $(touch pwned)");
  await page.keyboard.press('Enter');
  await said(page, 'Created the tag v2');
  assert.equal(git('tag', '-l', '--format=%(contents:subject)', 'v2').trim(), "it's two; $(touch pwned)");
  await row(page, 'Theirs').locator('.graph-badge', { hasText: 'v2' }).waitFor();
  await chooseFor(page, row(page, 'Theirs'), 'Create Branch Here…');
  await page.getByRole('textbox', { name: /Name of the branch/ }).fill('another');
  await page.keyboard.press('Enter');
  await said(page, 'Created another');
  assert.equal(git('rev-parse', 'another'), git('rev-parse', 'side'));
  await chooseFor(page, row(page, 'Theirs'), 'Cherry-Pick onto main…');
  await page.getByRole('button', { name: 'Cherry-Pick', exact: true }).click();
  const dialog = page.getByRole('alertdialog', { name: /Could not cherry-pick .* without conflicts/ });
  await dialog.locator('.dialog-detail', { hasText: 'CONFLICT (content): Merge conflict in one.txt' }).waitFor();
  assert.match(await dialog.locator('.dialog-detail').innerText(), /error: could not apply [^]*\(code 1\)/);
  await dialog.getByRole('button', { name: 'Abort the Cherry-Pick' }).click();
  await said(page, 'Aborted the cherry-pick');
  assert.equal(text('one.txt'), 'ours\n');
  await chooseFor(page, row(page, 'Ours'), 'Revert on main…');
  await page.getByRole('button', { name: 'Revert', exact: true }).click();
  await row(page, 'Revert "Ours"').waitFor();
  assert.equal(text('one.txt'), 'one\n');
  await done(page, true);
});

test('graph: changes are stashed with what is untracked, shown, and popped', async () => {
  write('one.txt', 'changed\n');
  write('new.txt', 'new\n');
  const page = await openGraph();
  await page.getByRole('button', { name: 'Stash Changes…' }).click();
  await page.getByRole('textbox', { name: 'Message, to know it by later' }).fill('later');
  await page.getByRole('checkbox', { name: 'The untracked file, too' }).check();
  assert.deepEqual(await axeFindings(page), []);
  await page.keyboard.press('Enter');
  await said(page, 'Stashed');
  assert.equal(git('status', '--porcelain'), '');
  assert.ok(!existsSync(join(editor.project, 'new.txt')));
  await row(page, 'On main: later').locator('.graph-badge.stash').waitFor();
  const stash = page.getByRole('treeitem', { name: /^On main: later/ });
  await stash.click();
  await page.locator('.graph-file', { hasText: 'one.txt' }).waitFor();
  await chooseFor(page, stash, 'Pop');
  await said(page, 'took it off the list');
  await stash.waitFor({ state: 'detached' });
  assert.equal(text('one.txt'), 'changed\n');
  assert.ok(existsSync(join(editor.project, 'new.txt')));
  await done(page, true);
});

test('graph: a branch that is not merged is deleted only when it is said twice, whatever its name', async () => {
  const names = ['x;touch${IFS}pwned', '$(touch${IFS}pwned)', "it's"];
  git('checkout', '-q', '-b', names[0]);
  commit('two.txt', 'two\n', 'Never merged');
  git('checkout', '-q', 'main');
  for (const name of names.slice(1)) git('branch', name);
  const page = await openGraph();
  const branch = (name) => page.getByRole('treeitem', { name: `${name}, not published`, exact: true });
  await chooseFor(page, branch(names[0]), 'Delete Branch…');
  await page.getByRole('button', { name: 'Delete Branch' }).click();
  const twice = page.getByRole('alertdialog', { name: /although it is not merged/ });
  await twice.locator('.dialog-detail', { hasText: 'Never merged' }).waitFor();
  await twice.getByRole('button', { name: 'Cancel' }).click();
  await settled(page);
  assert.match(git('branch'), /x;touch/);
  assert.equal(await page.locator('.toast.error').count(), 0);
  await chooseFor(page, branch(names[0]), 'Merge into main…');
  await page.getByRole('button', { name: 'Merge', exact: true }).click();
  await said(page, `Merged ${names[0]} into main`);
  await chooseFor(page, branch(names[1]), `Switch to ${names[1]}`);
  await page.locator('.status-item', { hasText: names[1] }).waitFor();
  const current = page.locator('.graph-ref.current', { hasText: names[1] });
  await current.waitFor();
  await chooseFor(page, current, 'Rename Branch…');
  await page.getByRole('textbox', { name: /New name/ }).fill('`touch${IFS}pwned`');
  await page.keyboard.press('Enter');
  await said(page, 'Renamed');
  await chooseFor(page, branch(names[2]), 'Delete Branch…');
  await page.getByRole('button', { name: 'Delete Branch' }).click();
  await said(page, `Deleted ${names[2]}`);
  // In a terminal, too, a name is one word.
  await chooseFor(page, branch(names[0]), /^Rebase /);
  await page.getByRole('button', { name: 'Start in a Terminal' }).click();
  await page.locator('.xterm-rows', { hasText: /up to date|Successfully rebased/ }).waitFor();
  assert.equal(git('for-each-ref', '--format=%(refname:short)', 'refs/heads').trim(), ['`touch${IFS}pwned`', 'main', names[0]].join('\n'));
  assert.ok(!existsSync(join(editor.project, 'pwned')));
  await done(page, true);
});

test('graph: a branch goes back to before a step, after what that means was shown', async () => {
  commit('one.txt', 'second\n', 'Second');
  commit('one.txt', 'third\n', 'Third');
  const page = await openGraph();
  await row(page, 'Third').waitFor();
  write('src/old/deep.txt', 'not committed\n');
  await page.getByRole('button', { name: 'Undo by Reflog…' }).click();
  await page.getByRole('option', { name: /Commit: Third/ }).click();
  const dialog = page.getByRole('alertdialog', { name: 'Go back to before "Commit: Third"?' });
  await dialog.locator('.dialog-detail', { hasText: /Commits that leave the branch:[^]*Third/ }).waitFor();
  await dialog.getByRole('button', { name: 'Go Back' }).click();
  await said(page, 'main is at');
  await row(page, 'Third').waitFor({ state: 'detached' });
  assert.equal(text('one.txt'), 'second\n');
  assert.equal(text('src/old/deep.txt'), 'not committed\n');
  await done(page);
});

test('graph: branches are chosen by name with their way and age, and published', async () => {
  git('checkout', '-q', '-b', 'topic');
  commit('two.txt', 'two\n', 'On topic');
  const page = await freshPage(editor);
  await page.locator('.status-item', { hasText: 'branch topic' }).click();
  const option = (name) => page.getByRole('option', { name });
  await option(/^topic current · not published · /).waitFor();
  await option(/^main \d+ (?:second|minute|hour)s? ago|^main just now/).waitFor();
  assert.equal(await option(/^origin\/main/).count(), 0, 'a branch here stands for it');
  await option('Publish topic…').click();
  await page.getByRole('button', { name: 'Push and Follow' }).click();
  await said(page, 'Published topic on origin');
  assert.equal(git('rev-parse', '--abbrev-ref', 'topic@{upstream}').trim(), 'origin/topic');
  // Another branch than the current one goes the same way.
  git('branch', 'other', first);
  await palette(page, 'Git: Publish Branch…');
  await option(/^other/).click();
  await page.getByRole('button', { name: 'Push and Follow' }).click();
  await said(page, 'Published other on origin');
  assert.equal(git('rev-parse', '--abbrev-ref', 'other@{upstream}').trim(), 'origin/other');
  git('push', '-q', 'origin', '--delete', 'topic', 'other');
  await done(page);
});

test('graph: who changed a line last, and the versions of a file, one of which is restored', async () => {
  commit('one.txt', 'one\nfrom bob\n', 'Bring a line', 'Bob');
  const page = await freshPage(editor);
  await openFromTree(page, 'proj/one.txt');
  await palette(page, 'Git: Toggle Blame');
  await page.locator('.blame', { hasText: /Ann, .*: first/ }).waitFor();
  await page.locator('.text-view .view-line', { hasText: /from.bob/ }).click();
  await page.locator('.blame', { hasText: /Bob, .*: Bring a line/ }).waitFor();
  await page.keyboard.press('End');
  await page.keyboard.type('!');
  await page.locator('.blame', { hasText: 'Not saved, or not committed' }).waitFor();
  await page.keyboard.press('Control+z');
  await page.locator('.blame', { hasText: 'Bob' }).click();
  await page.getByRole('menuitem', { name: 'Show File History' }).click();
  const versions = page.getByRole('listbox', { name: 'Versions of the file' });
  await versions.getByRole('option', { name: /^Bring a line, Bob/ }).waitFor();
  assert.deepEqual(await axeFindings(page), []);
  await versions.getByRole('option', { name: /^Bring a line/ }).press('Enter');
  await page.locator('.tab.front', { hasText: /one.txt \([0-9a-f]{7}\)/ }).waitFor();
  await page.locator('.modified-in-monaco-diff-editor .view-line', { hasText: /from.bob/ }).waitFor();
  await chooseFor(page, versions.getByRole('option', { name: /^first/ }), 'Restore This Version…');
  await page.getByRole('button', { name: 'Restore', exact: true }).click();
  await said(page, 'Restored one.txt');
  assert.equal(text('one.txt'), 'one\n');
  await versions.getByRole('option', { name: 'Changes that are not committed' }).waitFor();
  await chooseFor(page, versions.getByRole('option', { name: /^first/ }), 'Show Commit in the Graph');
  await page.locator('.graph-title', { hasText: 'first' }).waitFor();
  await done(page);
});
