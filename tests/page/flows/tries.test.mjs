// The tries of one task beside each other, in Chromium on the real bridge, with real git.
import assert from 'node:assert/strict';
import { existsSync, readFileSync, writeFileSync } from 'node:fs';
import { join } from 'node:path';
import { after, afterEach, before, test } from 'node:test';
import { dispatchSteps, ends, startWithRepository } from '../support/dispatchsteps.mjs';
import { axeFindings, openPage } from '../support/editor.mjs';

let editor;
let claude;
let git;
let page;

before(async () => {
  ({ editor, claude, git } = await startWithRepository());
  page = await openPage(editor);
});
after(async () => {
  await page?.done();
  await editor?.stop();
});
afterEach(async () => {
  assert.deepEqual(page.complaints, []);
});

const tries = () => page.locator('.tries');
const card = (number) => page.locator(`.try[data-try="${number}"]`);

test('tries: three side by side, checked, one lands and the others are gone', async () => {
  const { taskPage } = dispatchSteps(page, claude);
  await claude.play(...ends());
  await editor.api('dispatch/create', { task: 'Say three', root: 'proj', tries: 3 });
  const list = async () => (await editor.api('dispatch/list')).tasks.sort((a, b) => a.try - b.try);
  await page.waitForFunction(async () => {
    const { tasks } = await import('/stores/dispatch.js');
    return tasks.value.length === 3 && tasks.value.every(({ status }) => status === 'done');
  });
  const all = await list();
  const put = (at, path, text) => writeFileSync(join(all[at].directory, path), text);
  put(0, 'a.txt', 'one\nthree\n');
  put(1, 'a.txt', 'one\n3\n');
  put(1, 'more.txt', 'more\n');
  put(2, 'a.txt', 'one\nthree\n');
  put(2, 'b.txt', 'changed\n');

  await page.keyboard.press('Control+Alt+K');
  await page.locator('.task-open', { hasText: 'try 1 of 3' }).click();
  await taskPage().getByRole('button', { name: 'Compare the tries' }).click();
  await tries().getByRole('heading', { name: 'Say three' }).waitFor();
  await card(2).getByText('2 files').waitFor();
  await card(1).getByText('1 file,').waitFor();
  const rows = tries().getByRole('option');
  await rows.first().waitFor();
  assert.deepEqual(await rows.locator('.tries-path').allInnerTexts(), ['a.txt', 'b.txt', 'more.txt']);
  await rows.nth(0).getByText('same as try 1').waitFor();
  const region = tries().locator('.tries-region');
  assert.equal(await region.count(), 1);
  const added = await region.locator('.tries-lines').evaluateAll((cells) =>
    cells.map((cell) => [...cell.querySelectorAll('.added')].map((line) => line.textContent)),
  );
  assert.deepEqual(added, [['+ three'], ['+ 3'], ['+ three']]);
  // One stop of the Tab key, the arrows choose.
  await rows.nth(0).focus();
  await page.keyboard.press('End');
  await tries().getByRole('heading', { name: 'more.txt' }).waitFor();
  assert.equal(await rows.nth(2).getAttribute('aria-selected'), 'true');
  await region.getByText('Try 1 changed nothing here').waitFor();
  assert.deepEqual(await axeFindings(page), []);

  const field = tries().getByRole('textbox', { name: 'Command that checks a try' });
  await field.fill('echo "it\'s checked" > log.txt; grep -q three a.txt || { echo no three >&2; exit 3; }');
  await field.press('Enter');
  await card(1).getByText('passed after').waitFor();
  await card(2).getByText('exit code 3').waitFor();
  await card(2).locator('pre', { hasText: 'no three' }).waitFor();
  await card(3).getByText('passed after').waitFor();
  await card(1).getByText('It changed log.txt').waitFor();
  await page
    .locator('[role="status"]', { hasText: /Try 1: passed after .* Try 2: exit code 3 after .* Try 3: passed/ })
    .waitFor({ state: 'attached' });
  assert.equal(readFileSync(join(all[1].directory, 'log.txt'), 'utf8'), "it's checked\n");
  assert.equal(existsSync(join(editor.project, 'log.txt')), false, 'it ran in the folders of the tries only');
  assert.deepEqual(await axeFindings(page), []);

  await card(1).getByRole('button', { name: 'Land This, Discard the Others' }).click();
  const sheet = page.getByRole('dialog');
  await sheet.getByText('It goes through without conflicts.').waitFor();
  await sheet.getByText('Try 2: 3 files').waitFor();
  await sheet.getByText('Try 3: 3 files').waitFor();
  assert.deepEqual(await axeFindings(page), []);
  // Nothing happens by looking.
  assert.equal(git('log', '--format=%s').trim(), 'first');
  await sheet.getByRole('button', { name: 'Cancel' }).click();
  await sheet.waitFor({ state: 'detached' });
  assert.deepEqual((await list()).map(({ status }) => status), ['done', 'done', 'done']);

  await card(1).getByRole('button', { name: 'Land This, Discard the Others' }).click();
  await sheet.getByRole('button', { name: 'Land on main, Discard 2 Others' }).click();
  await page.getByText('Try 1 of "Say three" has landed on main. Discarded: tries 2 and 3.').waitFor();
  assert.deepEqual((await list()).map(({ status }) => status), ['merged', 'discarded', 'discarded']);
  assert.equal(readFileSync(join(editor.project, 'a.txt'), 'utf8'), 'one\nthree\n');
  assert.deepEqual(git('branch', '--format=%(refname:short)').trim().split('\n'), ['main']);
  for (const { directory } of all) assert.equal(existsSync(directory), false);
  await card(1).getByText('Landed').waitFor();
  await card(3).getByText('Discarded').waitFor();
});

test('tries: what cannot land discards nothing', async () => {
  await claude.play(...ends());
  const { ids } = await editor.api('dispatch/create', { task: 'Say four', root: 'proj', tries: 2 });
  await page.waitForFunction(async (wanted) => {
    const { taskById } = await import('/stores/dispatch.js');
    return wanted.every((id) => taskById(id)?.status === 'done');
  }, ids);
  const { tasks } = await editor.api('dispatch/list');
  const mine = ids.map((id) => tasks.find((task) => task.id === id));
  for (const { directory } of mine) writeFileSync(join(directory, 'a.txt'), 'four\n');
  writeFileSync(join(editor.project, 'a.txt'), 'mine\n');
  await page.evaluate(async (id) => {
    const { openTries } = await import('/panels/dispatch/slots.js');
    openTries.value(id);
  }, ids[0]);
  await tries().getByRole('heading', { name: 'Say four' }).waitFor();
  await card(2).getByRole('button', { name: 'Land This, Discard the Other' }).click();
  const sheet = page.getByRole('dialog');
  await sheet.getByText('It would not go through.').waitFor();
  await sheet.getByRole('button', { name: 'Try Anyway' }).click();
  await sheet.getByText('Could not land it: the merge did not go through, and nothing was changed').waitFor();
  await page.keyboard.press('Escape');
  await sheet.waitFor({ state: 'detached' });
  const now = (await editor.api('dispatch/list')).tasks.filter(({ id }) => ids.includes(id));
  assert.deepEqual(now.map(({ status }) => status), ['done', 'done']);
  for (const { directory } of mine) assert.ok(existsSync(directory));
  assert.equal(readFileSync(join(editor.project, 'a.txt'), 'utf8'), 'mine\n');
  page.complaints.length = 0; // the console tells of the refused request
});
