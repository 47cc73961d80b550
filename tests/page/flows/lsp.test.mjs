// Language servers in Chromium on the real bridge: a toy language with all features, and the real clangd.
import assert from 'node:assert/strict';
import { readFile } from 'node:fs/promises';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { after, afterEach, before, test } from 'node:test';
import { fileURLToPath } from 'node:url';
import { axeFindings, startEditor } from '../support/editor.mjs';
import { freshPage, frontTextIs, openFromTree, settled } from '../support/steps.mjs';

const toy = fileURLToPath(new URL('../support/toyserver.mjs', import.meta.url));
const notes = join(tmpdir(), `marlin-toy-${process.pid}.jsonl`);

const kFiles = {
  'a.sh': 'def marlin\nmarlin swims\nwhole\n',
  'b.sh': 'marlin again   \nBAD fish\nDULL\n',
  'c.txt': 'no server\n',
  'e.txt': 'old\n',
  'f.sh': 'DIES\n',
  'm.c': 'int fish(int size) { return size; }\nint main(void) { return fsh(1); }\n',
};

let editor;
let page;

before(async () => {
  const command = `'${process.execPath}' '${toy}' '${notes}'`;
  editor = await startEditor({ files: kFiles, settings: { languageServers: { bash: command } } });
  page = await freshPage(editor);
});
after(async () => {
  await page?.done();
  await editor?.stop();
});
afterEach(async () => {
  assert.deepEqual(page.complaints, []);
});

const running = () => page.getByRole('button', { name: 'Language server Bash Language Server: running' }).waitFor();

/** Awaits that the text in front reads so; what is drawn may have hints of a server in it. */
const textIs = (expected) =>
  page.waitForFunction(async (wanted) => {
    const { frontBuffer } = await import('/editor/state.js');
    return frontBuffer.value?.doc.lines().join('\n') === wanted;
  }, expected);

/** Puts the cursor at a place of the text in front. */
async function goTo(line, column) {
  await page.locator('.editor-group.active .text-view .view-line').first().click();
  await page.waitForFunction(() => document.activeElement?.closest('.text-view'));
  await page.mouse.move(640, 790); // lines that move below the mouse would take a hover away
  await page.evaluate(async ([to, at]) => {
    const { activeView } = await import('/editor/state.js');
    activeView().reveal(to, at);
  }, [line, column]);
  await page.waitForFunction(
    ([to, at]) => document.querySelector('.status').textContent.includes(`Ln ${to}, Col ${at}`),
    [line, column],
  );
  await settled(page);
}

test('language servers: the first file starts its server, whose findings are listed and gone through', async () => {
  await openFromTree(page, 'proj/b.sh');
  await running();
  await page.waitForSelector('.text-view .squiggly-error');
  await page.waitForSelector('.text-view .squiggly-warning');
  await page.locator('[role="status"]', { hasText: '1 error, 1 warning.' }).waitFor({ state: 'attached' });
  await page.getByRole('button', { name: 'Problems: 1 errors, 1 warnings' }).click();
  const rows = page.locator('.problem-row.problem');
  assert.match((await rows.allInnerTexts()).join('\n'), /BAD is not good[^]*toy bad[^]*2:1[^]*something to do[^]*3:1/);
  assert.deepEqual(await axeFindings(page), []);
  await page.waitForFunction(() => document.activeElement?.matches('.problem-row.file'));
  await page.keyboard.press('ArrowDown');
  await page.keyboard.press('ArrowDown');
  await page.keyboard.press('Enter');
  await page.waitForFunction(() => /Ln 3, Col 1/.test(document.querySelector('.status').textContent));
  await page.waitForFunction(() => document.activeElement?.closest('.text-view'));
  await page.keyboard.press('F8');
  await page.waitForFunction(() => /Ln 2, Col 1/.test(document.querySelector('.status').textContent));
  await page.locator('.text-view .marker-widget', { hasText: 'BAD is not good' }).waitFor();
  await page.keyboard.press('Escape');
});

test('language servers: a fix is made, and the finding goes', async () => {
  await goTo(2, 2);
  await page.keyboard.press('Control+.');
  await page.locator('.action-widget', { hasText: 'Make it GOOD' }).waitFor();
  await page.keyboard.press('Enter');
  await frontTextIs(page, /GOOD fish/);
  await page.getByRole('button', { name: 'Problems: 0 errors, 1 warnings' }).waitFor();
  await page.keyboard.press('Control+z');
  await frontTextIs(page, /BAD fish/);
  await page.getByRole('button', { name: 'Problems: 1 errors, 1 warnings' }).waitFor();
});

test('language servers: proposals with their details, parameters, and the text that the server has', async () => {
  await openFromTree(page, 'proj/a.sh');
  await goTo(2, 13);
  await page.keyboard.type('\nhar');
  await page.locator('.suggest-widget .monaco-list-row', { hasText: 'harpoon' }).waitFor();
  await page.locator('.suggest-widget .monaco-list-row.focused').waitFor();
  await page.keyboard.press('Control+Space');
  await page.locator('.suggest-details', { hasText: 'About' }).waitFor();
  await page.locator('.suggest-widget .monaco-list-row.focused', { hasText: 'harbour' }).waitFor();
  await page.keyboard.press('Enter');
  await textIs('use harbour\ndef marlin\nmarlin swims\nharbour()\nwhole\n');
  await page.keyboard.type('(');
  await page.locator('.parameter-hints-widget .parameter.active', { hasText: 'depth' }).waitFor();
  await page.keyboard.press('Escape');
  await page.keyboard.type('ü𝛿');
  const [here, there] = await page.evaluate(async () => {
    const { frontBuffer } = await import('/editor/state.js');
    const { clientOf, sourceOf } = await import('/stores/lspservers.js');
    const { roots } = await import('/stores/settings.js');
    const source = sourceOf(`${roots.value[0].path}/a.sh`);
    const position = { line: 4, character: 1 };
    const { contents } = await clientOf(source).ask(source, 'textDocument/hover', { position });
    return [frontBuffer.value.doc.text(), JSON.parse(contents.value)];
  });
  assert.match(here, /ü𝛿/);
  assert.equal(there, here, 'the server has the text as it is here');
});

test('language servers: a hover, a definition in another file, and all places in a peek', async () => {
  await openFromTree(page, 'proj/b.sh');
  await goTo(1, 3);
  await page.keyboard.press('Control+k');
  await page.keyboard.press('Control+i');
  await page.locator('.monaco-hover', { hasText: 'the word marlin' }).waitFor();
  await page.keyboard.press('Escape');
  await page.keyboard.press('F12');
  await page.waitForSelector('.tab.front[title="proj/a.sh"]');
  await page.waitForFunction(() => /Ln 2, Col 5/.test(document.querySelector('.status').textContent));
  await page.keyboard.press('Shift+F12');
  const peek = page.locator('.peekview-widget');
  await peek.locator('.monaco-list-row', { hasText: 'b.sh' }).waitFor();
  await peek.locator('.monaco-list-row', { hasText: 'a.sh' }).waitFor();
  await page.keyboard.press('Escape');
  await peek.waitFor({ state: 'detached' });
});

test('language servers: a rename changes files that are not open too, each with one undo', async () => {
  await page.keyboard.press('Control+k');
  await page.keyboard.press('Control+w');
  const discard = page.getByRole('button', { name: 'Close without Saving' });
  while (await discard.or(page.locator('.welcome')).first().waitFor().then(() => discard.isVisible())) {
    await discard.click();
    await settled(page);
  }
  await openFromTree(page, 'proj/a.sh');
  await goTo(1, 6);
  await page.keyboard.press('F2');
  const box = page.locator('.rename-box input');
  await box.waitFor();
  assert.equal(await box.inputValue(), 'marlin');
  await box.fill('sailfish');
  await box.press('Enter');
  const preview = page.getByRole('dialog', { name: 'Changes in several files' });
  await preview.getByRole('checkbox', { name: /marlin swims/ }).waitFor();
  assert.deepEqual(await axeFindings(page), []);
  await preview.getByRole('button', { name: 'Cancel' }).click();
  await textIs('def marlin\nmarlin swims\nwhole\n');
  assert.equal(await page.locator('.tab[title="proj/b.sh"]').count(), 0, 'what was only looked at is not open');
  await goTo(1, 6);
  await page.keyboard.press('F2');
  await box.fill('sailfish');
  await box.press('Enter');
  await preview.getByRole('button', { name: 'Apply' }).click();
  await textIs('def sailfish\nsailfish swims\nwhole\n');
  await page.waitForSelector('.tab.dirty[title="proj/b.sh"]:not(.front)');
  assert.equal(await readFile(join(editor.project, 'b.sh'), 'utf8'), kFiles['b.sh'], 'nothing is written unasked');
  await page.keyboard.press('Control+z');
  await textIs('def marlin\nmarlin swims\nwhole\n');
  await page.locator('.tab[title="proj/b.sh"]').click();
  await textIs('sailfish again   \nBAD fish\nDULL\n');
  await goTo(1, 1);
  await page.keyboard.press('Control+z');
  await textIs(kFiles['b.sh']);
  await page.waitForSelector('.tab.front:not(.dirty)[title="proj/b.sh"]');
});

test('language servers: files that an edit makes, moves and deletes are named before', async () => {
  await openFromTree(page, 'proj/a.sh');
  await goTo(1, 6);
  await page.keyboard.press('F2');
  await page.locator('.rename-box input').fill('files');
  await page.locator('.rename-box input').press('Enter');
  const preview = page.getByRole('dialog', { name: 'A language server wants to change files' });
  await preview.getByRole('listitem').last().waitFor();
  assert.deepEqual(await preview.getByRole('listitem').allInnerTexts(), [
    'Create proj/made.sh',
    'Rename proj/made.sh to proj/moved.sh',
    'Move proj/e.txt to the Trash',
  ]);
  await preview.getByRole('button', { name: 'Apply' }).click();
  await page.waitForSelector('.tab.dirty[title="proj/moved.sh"]');
  await textIs('def files\nfiles swims\nwhole\n');
  await page.locator('[data-path="proj/e.txt"]').waitFor({ state: 'detached' });
  assert.equal(await readFile(join(editor.project, 'moved.sh'), 'utf8'), '', 'its text is not saved yet');
  await page.keyboard.press('Control+z');
  await textIs('def marlin\nmarlin swims\nwhole\n');
  await page.locator('.tab[title="proj/moved.sh"]').click();
  await textIs('def made\n');
  await page.locator('.tab[title="proj/b.sh"]').click();
  await goTo(1, 1);
  await page.keyboard.press('Control+z');
  await page.waitForSelector('.tab.front:not(.dirty)[title="proj/b.sh"]');
  // Whether a file is there is asked in a way that the browser notes.
  forgiven('status of 404');
});

test('language servers: what calls a function, and a command of the server above its line', async () => {
  await openFromTree(page, 'proj/a.sh');
  await goTo(1, 6);
  await page.keyboard.press('Shift+Alt+H');
  const calls = page.getByRole('dialog', { name: 'Calls of marlin' });
  await calls.getByRole('option', { name: /fisher of marlin.*a\.sh:2/ }).waitFor();
  await page.keyboard.press('Control+Enter');
  await page.getByRole('dialog', { name: 'Calls of fisher of marlin' }).getByText('Nothing calls it').waitFor();
  await page.keyboard.press('Escape');
  await page.keyboard.press('Shift+Alt+H');
  await calls.getByRole('option', { name: /a\.sh:2/ }).waitFor();
  await page.keyboard.press('Enter');
  await page.waitForFunction(() => /Ln 2, Col 1/.test(document.querySelector('.status').textContent));
  await page.locator('.codelens-decoration a', { hasText: 'say good-bye to marlin' }).click();
  await textIs('# good-bye\ndef marlin\nmarlin swims\nwhole\n');
  await goTo(1, 1);
  await page.keyboard.press('Control+z');
  await textIs(kFiles['a.sh']);
  await page.locator('.tab[title="proj/b.sh"]').click();
  await settled(page);
});

test('language servers: a document is formatted', async () => {
  await page.keyboard.press('Shift+Alt+F');
  await page.waitForSelector('.tab.front.dirty[title="proj/b.sh"]');
  await textIs('marlin again\nBAD fish\nDULL\n');
  await page.keyboard.press('Control+z');
});

test('language servers: a crash is seen, its log is there, the server comes back with the texts as they are', async () => {
  await goTo(3, 5);
  await page.keyboard.type(' x');
  const before = (await opened()).length;
  await page.keyboard.insertText(' CRASH');
  await page.waitForFunction(() => /Bash Language Server(?!:)/.test(document.querySelector('.status').textContent));
  await poll(async () => (await opened()).length >= before + 2);
  const again = (await opened()).filter(({ uri }) => uri.endsWith('b.sh')).at(-1);
  assert.match(again.text, /DULL x CRASH\n$/);
  await running();
  await page.getByRole('button', { name: /^Problems: 1 errors/ }).waitFor();
  await page.getByRole('button', { name: /^Language server Bash/ }).click();
  const row = page.locator('[data-server="bash"]');
  await row.getByText(`'${toy}'`, { exact: false }).waitFor();
  assert.deepEqual(await axeFindings(page), []);
  await row.getByRole('button', { name: 'Stop' }).click();
  await row.getByText('not running').waitFor();
  await page.getByRole('button', { name: 'Problems: 0 errors, 0 warnings' }).waitFor();
  await row.getByRole('button', { name: 'Start', exact: true }).click();
  await row.getByText('running', { exact: true }).waitFor();
  await page.getByRole('button', { name: /^Problems: 1 errors/ }).waitFor();
  // A message may have met the process as it ended.
  forgiven('status of 409');
});

test('language servers: symbols in the outline, above the text and in lists', async () => {
  await openFromTree(page, 'proj/a.sh');
  await goTo(1, 8);
  await page.locator('.crumb', { hasText: 'marlin' }).waitFor();
  await page.locator('.activity').getByRole('button', { name: 'Outline' }).click();
  await page.locator('.outline-row.current', { hasText: 'marlin' }).waitFor();
  assert.deepEqual(await axeFindings(page), []);
  await goTo(3, 1);
  await page.locator('.crumb', { hasText: 'marlin' }).waitFor({ state: 'detached' });
  await page.keyboard.press('Control+Shift+O');
  await page.getByRole('option', { name: /marlin/ }).waitFor();
  await page.keyboard.press('Enter');
  await page.waitForFunction(() => /Ln 1, Col 5/.test(document.querySelector('.status').textContent));
  await page.locator('.tab[title="proj/b.sh"]').click();
  await settled(page);
  await page.keyboard.press('Control+t');
  await page.keyboard.type('marl');
  await page.getByRole('option', { name: /marlin.*proj\/a\.sh:1/ }).waitFor();
  await page.keyboard.press('Enter');
  await page.waitForSelector('.tab.front[title="proj/a.sh"]');
  await goTo(3, 1);
  await page.keyboard.press('Control+p');
  await page.keyboard.type('@mrl');
  await page.getByRole('option', { name: /marlin/ }).waitFor();
  await page.keyboard.press('Enter');
  await page.waitForFunction(() => /Ln 1, Col 5/.test(document.querySelector('.status').textContent));
  await page.keyboard.press('Control+Shift+P');
  await page.keyboard.type('Search Everywhere');
  await page.keyboard.press('Enter');
  await page.getByRole('combobox', { name: 'Search everywhere' }).fill('marl');
  await page.locator('.pick-group', { hasText: 'Symbols' }).waitFor();
  await page.getByRole('option', { name: /marlin.*proj\/a\.sh:1/ }).first().waitFor();
  await page.keyboard.press('Escape');
  await page.keyboard.press('Control+Shift+E');
});

test('language servers: a save fixes and formats first, when that was chosen', async () => {
  await page.locator('.tab[title="proj/b.sh"]').click();
  await goTo(1, 1);
  for (const words of ['Fix on Save', 'Format on Save']) {
    await page.keyboard.press('Control+Shift+P');
    await page.keyboard.type(words);
    await page.keyboard.press('Enter');
    await settled(page);
  }
  await page.keyboard.press('Control+s');
  await page.waitForSelector('.tab.front:not(.dirty)[title="proj/b.sh"]');
  await poll(async () => (await readFile(join(editor.project, 'b.sh'), 'utf8')).startsWith('marlin again\nGOOD fish\n'));
});

test('language servers: one that keeps dying waits for the user', async () => {
  await openFromTree(page, 'proj/f.sh');
  await page.getByRole('button', { name: 'Language server Bash Language Server: failed' }).click();
  const row = page.locator('[data-server="bash"]');
  if ((await row.locator('.server-row').getAttribute('aria-expanded')) === 'false') await row.locator('.server-row').click();
  await row.getByRole('alert').getByText('it ended with code 4, for the fourth time in three minutes').waitFor();
  await row.locator('.server-log', { hasText: 'it died of a text' }).waitFor();
  assert.deepEqual(await axeFindings(page), []);
  await page.locator('.tab[title="proj/f.sh"]').click({ button: 'middle' });
  await page.locator('.tab[title="proj/f.sh"]').waitFor({ state: 'detached' });
  await row.getByRole('button', { name: 'Start Again' }).click();
  await row.getByText('running', { exact: true }).waitFor();
  forgiven('status of 409');
});

test('language servers: without one, the editor does the rest', async () => {
  await openFromTree(page, 'proj/c.txt');
  await goTo(1, 10);
  await page.keyboard.type(' here');
  await frontTextIs(page, 'no server here');
  assert.equal(await page.getByRole('button', { name: /^Language server/ }).count(), 0);
});

test('language servers: clangd finds, completes, explains and renames', async () => {
  await openFromTree(page, 'proj/m.c');
  await page.getByRole('button', { name: /^Language server clangd: running/ }).waitFor();
  await page.waitForSelector('.text-view .squiggly-error, .text-view .squiggly-warning');
  await goTo(2, 25);
  await page.keyboard.press('Control+.');
  await page.locator('.action-widget', { hasText: 'fish' }).waitFor();
  await page.keyboard.press('Enter');
  await frontTextIs(page, /return fish\(1\)/);
  await goTo(1, 6);
  await page.keyboard.press('F2');
  const box = page.locator('.rename-box input');
  await box.waitFor();
  await box.fill('marlin');
  await box.press('Enter');
  await textIs('int marlin(int size) { return size; }\nint main(void) { return marlin(1); }\n');
});

/** Takes away what the browser noted of answers that are meant. */
function forgiven(words) {
  page.complaints.splice(0, Infinity, ...page.complaints.filter((one) => !one.includes(words)));
}

/** The texts that the toy was given, in their order. */
async function opened() {
  const lines = (await readFile(notes, 'utf8')).split('\n').filter(Boolean).map((line) => JSON.parse(line));
  return lines.filter(({ method }) => method === 'textDocument/didOpen').map(({ params }) => params.textDocument);
}

/** Awaits something that no page and no stream tells of: a line in a file of another process. */
async function poll(condition) {
  const end = Date.now() + 10000;
  while (!(await condition())) {
    if (Date.now() > end) throw new Error(`never true: ${condition}`);
    await page.waitForTimeout(20);
  }
}
