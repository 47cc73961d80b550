// What is shown before a task lands, in Chromium on the real bridge: what is foretold is what happens.
import assert from 'node:assert/strict';
import { existsSync, readFileSync, writeFileSync } from 'node:fs';
import { join } from 'node:path';
import { after, afterEach, before, test } from 'node:test';
import { until } from '../support/chatclaude.mjs';
import { dispatchSteps, ends, startWithRepository } from '../support/dispatchsteps.mjs';
import { axeFindings, openPage } from '../support/editor.mjs';
import { settled } from '../support/steps.mjs';

let editor;
let claude;
let git;
let write;
let page;
let steps;

before(async () => {
  ({ editor, claude, git, write } = await startWithRepository());
  page = await openPage(editor);
  steps = dispatchSteps(page, claude);
});
after(async () => {
  await page?.done();
  await editor?.stop();
});
afterEach(async () => {
  assert.deepEqual(page.complaints, []);
});

const sheet = () => page.getByRole('dialog');
const finding = (id) => sheet().locator(`[data-finding="${id}"]`);
const landButton = () => page.locator('.task-page').getByRole('button', { name: 'Land…' });
const text = (path) => readFileSync(join(editor.project, path), 'utf8');
const taskNow = async (id) => (await editor.api('dispatch/list')).tasks.find((task) => task.id === id);

function commit(words) {
  git('add', '-A');
  git('commit', '-q', '-m', words);
}

/** A task that is done, with files in its folder, and its page. */
async function doneTask(title, files) {
  await claude.play(...ends());
  const { ids } = await editor.api('dispatch/create', { task: title, root: 'proj' });
  const task = await until(async () => {
    const one = await taskNow(ids[0]);
    return one.status === 'done' && one;
  });
  for (const [path, words] of Object.entries(files)) writeFileSync(join(task.directory, path), words);
  await steps.board();
  await steps.open('review', title);
  return task;
}

test('landing: a conflict and the drift are foretold, and git then says the same', async () => {
  const task = await doneTask('Change the a', { 'a.txt': 'task\n', 'new.txt': 'new\n' });
  write('a.txt', 'drift\n');
  commit('drift one');
  write('b.txt', 'drift\n');
  commit('drift two');
  const head = git('rev-parse', 'HEAD');

  await landButton().click();
  await sheet().getByText('It would not go through.').waitFor();
  await sheet().getByText('2 commits came to main').waitFor();
  await sheet().getByText('2 files, ').waitFor();
  await finding('conflicts').getByText('It conflicts with what is on main.').waitFor();
  await finding('conflicts').getByText('Merge conflict in a.txt').waitFor();
  assert.equal(await sheet().getByRole('button', { name: 'Land on main' }).count(), 0);
  await settled(page);
  assert.equal(await page.evaluate(() => document.activeElement?.textContent?.trim()), 'Cancel', 'Enter lands nothing');
  assert.deepEqual(await axeFindings(page), []);
  assert.equal(git('rev-parse', 'HEAD'), head, 'looking moved the branch');
  assert.equal(git('status', '--porcelain'), '', 'looking changed the working copy');

  await sheet().getByRole('button', { name: 'Try Anyway' }).click();
  await page.getByText('the merge did not go through, and nothing was changed').first().waitFor();
  page.complaints.length = 0; // the console tells of the refused request
  assert.equal(git('rev-parse', 'HEAD'), head);
  assert.equal((await taskNow(task.id)).status, 'done');
  if (await sheet().isVisible()) await page.keyboard.press('Escape');
  await sheet().waitFor({ state: 'detached' });

  // Without the commit that conflicts the other drift is no hindrance; work that was committed meanwhile counts.
  git('revert', '--no-edit', 'HEAD~1');
  await landButton().click();
  await sheet().getByText('It goes through without conflicts.').waitFor();
  await sheet().getByText('3 commits came to main').waitFor();
  await page.waitForFunction(() => document.activeElement?.textContent?.includes('Land on main'));
  await sheet().getByText('2 files of the working copy would change').click();
  assert.deepEqual(await sheet().locator('.landing-touched li').allInnerTexts(), ['a.txt', 'new.txt']);
  const land = sheet().getByRole('button', { name: 'Land on main' });
  assert.deepEqual(await axeFindings(page), []);
  await land.press('Enter');
  await page.getByText('"Change the a" has landed').waitFor();
  assert.deepEqual([text('a.txt'), text('b.txt'), text('new.txt')], ['task\n', 'drift\n', 'new\n']);
  assert.equal(git('rev-list', '--merges', '--count', 'HEAD').trim(), '1');
  assert.equal((await taskNow(task.id)).status, 'merged');
  assert.equal(existsSync(task.directory), false);
});

test('landing: another branch, own changes, and the task that resolves its conflict', async () => {
  const task = await doneTask('Change the b', { 'b.txt': 'task\n' });
  git('checkout', '-q', '-b', 'feature');
  await landButton().click();
  await finding('other').getByText('The task began on main, but feature is checked out: it lands on feature.').waitFor();
  await sheet().getByRole('button', { name: 'Land on feature' }).waitFor();
  await settled(page);
  assert.equal(await page.evaluate(() => document.activeElement?.textContent?.trim()), 'Cancel');

  write('b.txt', 'mine\n');
  await sheet().getByRole('button', { name: 'Look Again' }).click();
  await finding('overlap').getByText('b.txt').waitFor();
  commit('mine');
  await sheet().getByRole('button', { name: 'Look Again' }).click();
  await finding('conflicts').waitFor();

  // Meanwhile the branch becomes another: what was shown is no longer what would happen.
  git('checkout', '-q', 'main');
  await sheet().getByRole('button', { name: 'Try Anyway' }).click();
  await sheet().getByText('Something has changed since this was shown. Look at it again.').waitFor();
  await sheet().getByRole('button', { name: 'Land on main' }).waitFor();
  git('checkout', '-q', 'feature');
  await sheet().getByRole('button', { name: 'Look Again' }).click();

  await claude.play(...ends());
  await sheet().getByRole('button', { name: 'Have the Task Resolve It' }).click();
  await sheet().waitFor({ state: 'detached' });
  const [sent] = await until(async () => {
    const users = (await claude.stdin()).filter(({ type }) => type === 'user');
    return users.length > 0 && users;
  });
  assert.match(JSON.stringify(sent.message), /merging your branch into it would conflict in: b\.txt/);
  await until(async () => (await taskNow(task.id)).status === 'done');
  await editor.api('dispatch/discard', { id: task.id });
});

test('landing: a merge of the user that is under way is left alone', async () => {
  git('checkout', '-q', 'main');
  const task = await doneTask('Change the c', { 'c.txt': 'task\n' });
  git('checkout', '-q', '-b', 'side');
  write('a.txt', 'side\n');
  commit('side');
  git('checkout', '-q', 'main');
  write('a.txt', 'main\n');
  commit('main');
  assert.throws(() => git('merge', 'side'));
  await landButton().click();
  await sheet().getByText('It cannot land now.').waitFor();
  await finding('midway').getByText('A merge is under way on main.').waitFor();
  assert.deepEqual(
    (await sheet().getByRole('button').allInnerTexts()).map((words) => words.trim()),
    ['Look Again', 'Cancel'],
  );
  await page.keyboard.press('Escape');
  await sheet().waitFor({ state: 'detached' });
  assert.ok(existsSync(join(editor.project, '.git/MERGE_HEAD')));
  await editor.api('dispatch/discard', { id: task.id });
});
