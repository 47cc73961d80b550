import assert from 'node:assert/strict';
import { join } from 'node:path';
import { after, beforeEach, test } from 'node:test';
import { installClaude, until } from '../support/chatclaude.mjs';
import { axeFindings, startEditor } from '../support/editor.mjs';
import { repositoryIn } from '../support/repository.mjs';
import { freshPage, settled } from '../support/steps.mjs';

/** @type {ReturnType<typeof repositoryIn>} */
let repository;
const editor = await startEditor({
  prepare: (project) => {
    repository = repositoryIn(project);
    repository.begin({ '.gitignore': '.marlin/\n', 'one.txt': 'one\ntwo\nthree\nfour\n', 'two.txt': 'two\n' });
    repository.git('config', 'user.name', 'Ann');
    repository.git('config', 'user.email', 'ann@example.invalid');
    repository.git('init', '-q', '--bare', '../origin.git');
    repository.git('remote', 'add', 'origin', join(project, '../origin.git'));
    repository.git('push', '-q', '-u', 'origin', 'main');
  },
});
after(() => editor.stop());
const claude = await installClaude(editor);

const { git, write } = repository;
const first = git('rev-parse', 'HEAD').trim();
beforeEach(() => {
  git('reset', '-q', '--hard', first);
  git('clean', '-q', '-fdx', '-e', '.marlin');
});

/** What the CLI answers to a prompt of a one-shot job: the whole text, with its line feeds as "\n". */
const says = (text) => claude.play('await-end', `raw ${text}`);

async function palette(page, title) {
  await page.keyboard.press('Control+Shift+P');
  await page.getByRole('combobox').fill(title);
  await page.getByRole('combobox').press('Enter');
}

async function openDesk() {
  const page = await freshPage(editor);
  await page.locator('.status-item', { hasText: 'branch main' }).waitFor();
  await palette(page, 'Git: Open Commit Desk');
  await page.getByRole('heading', { name: /Commit in proj/ }).waitFor();
  return page;
}

async function done(page) {
  assert.deepEqual(page.complaints, []);
  await page.done();
}

const message = (page) => page.locator('.desk-message');
const said = (page, words) => page.locator('.toast', { hasText: words }).first().waitFor();

test('commit desk: read, looked over, described, edited, and committed with a push', async () => {
  write('one.txt', 'ONE\ntwo\nthree\nFOUR\n');
  write('two.txt', 'TWO\n');
  git('add', 'one.txt');
  const page = await openDesk();
  await page.locator('.desk-line.added', { hasText: 'FOUR' }).waitFor();
  assert.equal(await page.locator('.desk-file').count(), 1);
  assert.deepEqual(await axeFindings(page), []);

  await says('Looks good. It **shouts** <img src=x onerror=alert(1)>.');
  await page.getByRole('button', { name: 'Look It Over' }).click();
  await page.locator('.desk-said strong', { hasText: 'shouts' }).waitFor();
  assert.equal(await page.locator('.desk-said img').count(), 0);
  assert.match((await claude.argv()).join(' '), /^--print --disallowedTools .* --add-dir /);

  await says('Shout\\n\\nBecause.');
  await page.getByRole('button', { name: 'Write It' }).click();
  await page.waitForFunction(() => document.querySelector('.desk-message')?.value === 'Shout\n\nBecause.');
  // One's own words stay: the next proposal waits beside them.
  await message(page).fill('Mine');
  await says('Shout louder');
  await page.getByRole('button', { name: 'Write It' }).click();
  const proposal = page.getByRole('group', { name: 'Proposed message' });
  await proposal.getByText('Shout louder').waitFor();
  assert.equal(await message(page).inputValue(), 'Mine');
  assert.deepEqual(await axeFindings(page), []);

  // All of it outlives the page.
  await page.reload();
  await page.locator('.desk-said strong', { hasText: 'shouts' }).waitFor();
  await proposal.getByRole('button', { name: 'Use This Message' }).click();
  assert.equal(await message(page).inputValue(), 'Shout louder');
  await page.getByRole('button', { name: 'Bring Back Mine' }).click();
  assert.equal(await message(page).inputValue(), 'Mine');

  // A part goes out again, and what was said is about another change then.
  await page.getByRole('button', { name: 'Unstage the change at line 4' }).click();
  await page.locator('.desk-line.added', { hasText: 'FOUR' }).waitFor({ state: 'detached' });
  assert.equal(git('show', ':one.txt'), 'ONE\ntwo\nthree\nfour\n');
  await page.getByRole('region', { name: 'Review' }).getByText('The change is another one by now.').waitFor();

  await page.getByRole('checkbox', { name: 'Push after it' }).check();
  await message(page).press('Control+Enter');
  await said(page, 'Committed: Mine');
  await said(page, 'Pushed main');
  assert.equal(git('log', '-1', '--format=%s', 'origin/main').trim(), 'Mine');
  assert.equal(await page.locator('.desk-said').count(), 0);
  assert.equal(await message(page).inputValue(), '');
  // Nothing is staged any more, so the desk is about the rest.
  await page.getByRole('radio', { name: 'All changes' }).and(page.locator(':checked')).waitFor();
  write('new.txt', 'new\n');
  await page.getByRole('listitem').getByText('new.txt').waitFor();
  await page.getByRole('checkbox', { name: 'Push after it' }).uncheck();
  await message(page).fill('The rest');
  await page.getByRole('button', { name: 'Stage All and Commit' }).click();
  await said(page, 'Committed: The rest');
  assert.equal(git('status', '--porcelain'), '');
  git('push', '-q', '-f', 'origin', `${first}:main`);
  await done(page);
});

test('commit desk: a failure says its words, a work is stopped, and the box has the way back', async () => {
  write('one.txt', 'changed\n');
  const page = await openDesk();
  await page.locator('.desk-line.added', { hasText: 'changed' }).waitFor();
  await claude.play('await-end', 'err out of credit', 'exit 1');
  await page.getByRole('button', { name: 'Look It Over' }).click();
  await page.getByRole('alert').getByText('Could not look the change over: out of credit').waitFor();
  await claude.play('await-end', `note ${join(claude.folder, 'asked')} x`, claude.gate('never'));
  await page.getByRole('button', { name: 'Look It Over' }).click();
  await until(async () => (await claude.argv()).length > 1);
  await page.getByRole('button', { name: 'Stop' }).click();
  await page.getByRole('button', { name: 'Look It Over' }).waitFor();
  claude.allow('never');

  await page.keyboard.press('Control+Shift+G');
  await page.locator('.scm-message').fill('Half a thought');
  await says('A whole thought');
  await page.getByRole('button', { name: 'Write the Message with Claude' }).click();
  await page.waitForFunction(() => document.querySelector('.scm-message')?.value === 'A whole thought');
  await page.getByRole('button', { name: 'Bring Back the Earlier Message' }).click();
  assert.equal(await page.locator('.scm-message').inputValue(), 'Half a thought');
  await settled(page);
  page.complaints = page.complaints.filter((words) => !words.startsWith('Failed to load resource'));
  await done(page);
});
