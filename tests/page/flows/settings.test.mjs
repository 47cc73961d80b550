// Settings, and what is reached from them: the desktop's entry, the project's set-up, Claude's notes.
import assert from 'node:assert/strict';
import { access, mkdir, readFile, writeFile } from 'node:fs/promises';
import { join } from 'node:path';
import { after, before, test } from 'node:test';
import { axeFindings, openPage, startEditor } from '../support/editor.mjs';

let editor;
let page;
const settingsFile = async () =>
  JSON.parse(await readFile(join(editor.home, '.config/marlin-bench/marlin-bench.json'), 'utf8'));
const section = (name) => page.getByRole('tab', { name, exact: true }).click();
const body = () => page.getByRole('tabpanel').filter({ has: page.locator('h2') });
async function palette(words) {
  await page.keyboard.press('Control+Shift+P');
  await page.keyboard.type(words);
  await page.keyboard.press('Enter');
}
/** Resolves with the answer of the next request to a route. */
const answered = (route) =>
  page.waitForResponse((response) => new URL(response.url()).pathname === `/api/${route}`);

before(async () => {
  editor = await startEditor({
    files: { 'a.txt': 'hello\n' },
    settings: { claude: { dispatchLimit: 3, kept: 'x' }, shellCommand: 'bash -l' },
  });
  page = await openPage(editor);
});
after(async () => {
  await page?.done();
  await editor?.stop();
});

test('settings: a change reaches the file, and what others keep beside it stays', async () => {
  await page.keyboard.press('Control+,');
  await section('Claude');
  const field = page.getByLabel('Agent');
  await field.fill('reviewer');
  const written = page.waitForResponse((response) => response.request().postData()?.includes('reviewer') ?? false);
  await field.press('Enter');
  await written;
  await page.getByLabel('Most a session may cost').fill('-3');
  await page.getByText('A number above 0, or nothing.').waitFor();
  await page.getByLabel('Most a session may cost').press('Escape');
  await section('Updates');
  await Promise.all([answered('config'), page.getByLabel('Channel').selectOption('beta')]);
  const kept = await settingsFile();
  assert.deepEqual(kept.claude, { dispatchLimit: 3, kept: 'x', agent: 'reviewer' });
  assert.equal(kept.updateChannel, 'beta');
});

test('settings: what no route can write is shown with its key, and every section is accessible', async () => {
  for (const name of ['Look', 'Editor', 'Screen Reader', 'Claude', 'Project', 'Updates', 'Desktop', 'Discord Status', 'Settings File']) {
    await section(name);
    await body().getByRole('heading', { name, exact: true }).waitFor();
    assert.deepEqual(await axeFindings(page), [], name);
  }
  await page.getByText('bash -l').waitFor();
  await page.locator('code', { hasText: 'shellCommand' }).waitFor();
});

test('settings: the desktop gets its entry and loses it again', async () => {
  const entry = join(editor.home, '.local/share/applications/marlin-bench.desktop');
  await section('Desktop');
  await page.getByRole('button', { name: 'Add to the Applications' }).click();
  await page.getByRole('button', { name: 'Add the Entry Again' }).waitFor();
  await access(entry);
  await page.getByRole('button', { name: 'Remove the Entry' }).click();
  await page.getByRole('button', { name: 'Add to the Applications' }).waitFor();
  await assert.rejects(access(entry));
});

test('settings: settings of Claude that do not parse are not replaced unasked', async () => {
  const path = join(editor.project, '.claude/settings.local.json');
  const broken = '{"permissions": {"allow": ["Bash"]},}\n';
  await mkdir(join(editor.project, '.claude'));
  await writeFile(path, broken);
  await section('Project');
  const notes = page.getByLabel('Claude keeps notes');
  const before = await notes.isChecked();
  await notes.click();
  const question = page.getByRole('alertdialog', { name: 'Replace proj/.claude/settings.local.json?' });
  await question.getByText('"permissions": {"allow"').waitFor();
  assert.deepEqual(await axeFindings(page), []);
  await page.keyboard.press('Escape');
  await question.waitFor({ state: 'detached' });
  await page.waitForFunction(
    (state) => document.querySelector('.setting-project input[type=checkbox]')?.checked === state,
    before,
  );
  assert.equal(await readFile(path, 'utf8'), broken);

  await page.getByRole('button', { name: 'Set Up What Is Missing' }).click();
  await question.getByRole('button', { name: 'Open the File' }).click();
  await page.locator('.tab.front[title="proj/.claude/settings.local.json"]').waitFor();
  assert.equal(await readFile(path, 'utf8'), broken);
  await page.keyboard.press('Control+w');

  await page.keyboard.press('Control+,');
  await page.getByRole('button', { name: 'Set Up What Is Missing' }).click();
  const written = answered('project/setup');
  await question.getByRole('button', { name: 'Replace It' }).click();
  await written;
  assert.deepEqual(JSON.parse(await readFile(path, 'utf8')), { autoMemoryEnabled: true });
});

test('settings: one button sets up what a project lacks, and then it has notes to write', async () => {
  await section('Project');
  const button = page.getByRole('button', { name: 'Set Up What Is Missing' });
  // What the questions before this have set up stays so until a switch takes it back.
  await page.getByLabel('Claude keeps notes').uncheck();
  await button.click();
  await button.waitFor({ state: 'detached' });
  assert.equal(await page.getByLabel('Claude keeps notes').isChecked(), true);
  await page.getByRole('button', { name: 'Show Memory' }).click();
  await page.getByRole('button', { name: 'MEMORY' }).waitFor();
  assert.deepEqual(await axeFindings(page), []);
});

test('memory: a note is made, written, linked and found in the graph', async () => {
  await page.getByRole('button', { name: 'New Note' }).click();
  await page.getByLabel('Name').fill('tides');
  await page.keyboard.press('Enter');
  const text = page.getByLabel('Text of the note');
  await text.fill('---\nname: Tides\n---\nsee [[MEMORY]] and [[nowhere]]\n');
  await text.press('Control+s');
  await page.getByText('nowhere (not there)').waitFor();
  const { directory } = await editor.api('memory/list');
  assert.match(await readFile(join(directory, 'tides.md'), 'utf8'), /see \[\[MEMORY\]\]/);

  await text.fill('mine');
  await writeFile(join(directory, 'tides.md'), "Claude's\n");
  await page.getByRole('button', { name: 'Save', exact: true }).click();
  await page.getByText('tides.md was changed meanwhile').waitFor();
  await page.getByRole('button', { name: 'Go On Writing' }).click();
  assert.equal(await readFile(join(directory, 'tides.md'), 'utf8'), "Claude's\n");

  await page.getByRole('button', { name: 'Graph' }).click();
  await page.getByRole('button', { name: 'Drop the Changes' }).click();
  await page.getByRole('img', { name: /2 notes/ }).waitFor();
  assert.deepEqual(await axeFindings(page), []);
});

test('settings: the status is silent for a private folder', async () => {
  await palette('Show Discord Status');
  await page.getByLabel('Say nothing of proj').check();
  await page.getByText('The status needs the id of a Discord application.').waitFor();
});
