// Claude's smaller helps: rewriting a selection, the second reader, and a question in the search box.
import assert from 'node:assert/strict';
import { existsSync, readFileSync } from 'node:fs';
import { join } from 'node:path';
import { after, beforeEach, test } from 'node:test';
import { installClaude } from '../support/chatclaude.mjs';
import { axeFindings, startEditor } from '../support/editor.mjs';
import { repositoryIn } from '../support/repository.mjs';
import { freshPage, frontTextIs, openFromTree, saved, settled } from '../support/steps.mjs';

/** @type {ReturnType<typeof repositoryIn>} */
let repository;
const kCode = 'int one() {\n    return 1;\n}\n\nint two() {\n    return 2;\n}\n';
const editor = await startEditor({
  prepare: (project) => {
    repository = repositoryIn(project);
    repository.begin({ '.gitignore': '.marlin/\n', 'src/main.c': kCode, 'other.txt': 'other\n' });
  },
});
after(() => editor.stop());
const claude = await installClaude(editor);
beforeEach(() => {
  repository.git('reset', '-q', '--hard');
});

/** What the CLI answers to the prompt of a one-shot job, with its line feeds as "\n". */
const says = (text) => claude.play('await-end', `raw ${text}`);
const prompt = () => {
  const path = join(claude.folder, 'stdin');
  return existsSync(path) ? readFileSync(path, 'utf8') : '';
};

async function palette(page, title) {
  await page.keyboard.press('Control+Shift+P');
  await page.getByRole('combobox').fill(title);
  await page.getByRole('combobox').press('Enter');
}

async function done(page) {
  page.complaints = page.complaints.filter((words) => !words.startsWith('Failed to load resource'));
  assert.deepEqual(page.complaints, []);
  await page.done();
}

const line = (page, text) => page.locator('.editor-group.active .text-view .view-line', { hasText: text }).first();
const field = (page) => page.getByRole('textbox', { name: 'How to rewrite the selection' });

test('rewrite: an answer is shown between the lines, left, asked for again and taken as one step', async () => {
  const page = await freshPage(editor);
  await openFromTree(page, 'proj/src/main.c');
  await line(page, /return.1/).click();
  await says('    return 11;\\n\\n');
  await page.keyboard.press('Control+i');
  await field(page).fill('make it eleven');
  await field(page).press('Enter');
  await page.locator('.rewrite-new', { hasText: /return 11;/ }).waitFor();
  await page.waitForFunction(() => document.activeElement?.classList.contains('rewrite-accept'));
  assert.match(prompt(), /INSTRUCTION: make it eleven\n\nLANGUAGE: c\nFILE: proj\/src\/main\.c\n/);
  assert.match(prompt(), /\nCODE:\n {4}return 1;\n\n/);
  assert.equal(await page.locator('.rewrite-gone').count() > 0, true);
  assert.deepEqual(await axeFindings(page), []);
  await page.keyboard.press('Escape');
  await page.locator('.rewrite').waitFor({ state: 'detached' });
  await frontTextIs(page, kCode.trimEnd());
  await page.waitForSelector('.tab.front:not(.dirty)');

  // The instruction is there again; edits elsewhere move the code along.
  await says('    return 12;');
  await page.keyboard.press('Control+i');
  assert.equal(await field(page).inputValue(), 'make it eleven');
  await field(page).press('Enter');
  await page.locator('.rewrite-new', { hasText: /return 12;/ }).waitFor();
  await line(page, /int.one/).click();
  await page.keyboard.press('Home');
  await page.keyboard.type('// first\n');
  await page.getByRole('button', { name: 'Accept', exact: true }).click();
  const taken = `// first\n${kCode.replace('return 1;', 'return 12;')}`;
  await frontTextIs(page, taken.trimEnd());
  await page.keyboard.press('Control+z');
  await frontTextIs(page, `// first\n${kCode}`.trimEnd());

  // Within the code there is nothing left to take.
  await line(page, /return.2/).click();
  await claude.play('await-end', 'raw     return 22;', claude.gate('go'));
  await page.keyboard.press('Control+i');
  await field(page).press('Enter');
  await page.getByText('Claude is writing…').waitFor();
  await line(page, /return.2/).click();
  await page.keyboard.press('Home');
  await page.keyboard.type('x');
  await page.getByText('Could not rewrite: the code was changed meanwhile. Select it again.').waitFor();
  await claude.allow('go');
  await page.keyboard.press('Control+z');
  await palette(page, 'Claude: Discard the Rewrite');
  await claude.play('await-end', 'err out of credit', 'exit 1');
  await page.keyboard.press('Control+i');
  await field(page).press('Enter');
  await page.getByText('Could not rewrite: out of credit').waitFor();
  await field(page).press('Escape');
  await settled(page);
  await done(page);
});

test('reader: notes beside changed lines after a save, that go with their line', async () => {
  const page = await freshPage(editor);
  await openFromTree(page, 'proj/src/main.c');
  await says('[{"line":1,"kind":"bug","note":"not changed"},{"line":2,"kind":"bug","note":"Never *one*."},{"line":3,"kind":"edge","note":"no"}]');
  // Nothing is read as long as nobody wants it.
  await line(page, /return.1/).click();
  await page.keyboard.press('End');
  await page.keyboard.type(' // one');
  await saved(page);
  await palette(page, 'Second Reader: Read After Each Save');
  await page.locator('.status-item', { hasText: 'Second reader: 0 notes' }).waitFor();
  assert.equal(prompt(), '');
  await page.keyboard.press('Control+End');
  await page.keyboard.type('// end');
  await saved(page);
  await page.waitForSelector('.margin-note.bug');
  assert.equal(await page.locator('.margin-note').count(), 1);
  assert.match(prompt(), /Focus on the lines this diff changed:/);
  assert.deepEqual(await axeFindings(page), []);
  await page.click('.margin-note');
  await page.locator('.margin-look', { hasText: 'Never *one*.' }).waitFor();
  await page.waitForFunction(() => document.activeElement?.closest('.margin-look'));
  assert.deepEqual(await axeFindings(page), []);
  await page.keyboard.press('Escape');
  await page.waitForFunction(() => document.activeElement?.closest('.text-view'));
  // It moves with its line and goes with it.
  await page.keyboard.press('Control+Home');
  await page.keyboard.press('Enter');
  await page.locator('.status-item', { hasText: 'Second reader: 1 note' }).waitFor();
  await palette(page, 'Second Reader: Show Notes…');
  await page.getByRole('option', { name: /Never .* main\.c:3/ }).waitFor();
  await page.keyboard.press('Enter');
  await page.locator('.margin-look').waitFor();
  await page.keyboard.press('Escape');
  await line(page, /return.1/).click();
  await page.keyboard.press('End');
  await page.keyboard.type('!');
  await page.waitForSelector('.margin-note', { state: 'detached' });
  await palette(page, 'Second Reader: Read After Each Save');
  await page.locator('.status-item', { hasText: 'Second reader' }).waitFor({ state: 'detached' });
  await page.keyboard.press('Control+s');
  await done(page);
});

test('find answers: a question in the search box, answered in its list', async () => {
  const page = await freshPage(editor);
  await openFromTree(page, 'proj/other.txt');
  await says(`${editor.project}/src/main.c:5 | the second number\\n/etc/passwd:1 | not here\\n`);
  await palette(page, 'Search Everywhere');
  const box = page.getByRole('combobox', { name: 'Search everywhere' });
  await box.fill('where is the second number');
  const ask = page.getByRole('option', { name: 'Ask Claude: where is the second number' });
  await ask.waitFor();
  assert.equal(prompt(), '');
  assert.deepEqual(await axeFindings(page), []);
  await ask.click();
  const answer = page.getByRole('option', { name: /the second number.*main\.c:5/ });
  await answer.waitFor();
  assert.match(prompt(), /QUESTION: where is the second number\nTHE USER IS LOOKING AT: .*other\.txt\n/);
  assert.equal(await ask.count(), 0);
  await answer.click();
  await page.waitForSelector('.tab.front[title="proj/src/main.c"]');
  await page.waitForFunction(async () => (await import('/editor/state.js')).cursor.value.line === 5);
  await done(page);
});
