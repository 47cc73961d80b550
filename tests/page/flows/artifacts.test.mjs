// What Claude made is opened outside by the desktop's own program, or inside, from its words, its cards and menus.
import assert from 'node:assert/strict';
import { chmod, mkdir, mkdtemp, readFile, rm, writeFile } from 'node:fs/promises';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { after, afterEach, before, test } from 'node:test';
import { out, until } from '../support/chatclaude.mjs';
import { calls, init, result, says, toolResult } from '../support/chatlines.mjs';
import { chatSteps } from '../support/chatsteps.mjs';
import { dispatchSteps, ends, IDENTITY, startWithRepository } from '../support/dispatchsteps.mjs';
import { axeFindings, openPage } from '../support/editor.mjs';

let desktop;
let editor;
let claude;
let page;
let steps;
let tasks;

/** What the desktop was asked to open, the latest last. */
const opened = async () => (await readFile(join(desktop, 'opened'), 'utf8').catch(() => '')).split('\n').filter(Boolean);
const isOpened = (what) => until(async () => (await opened()).at(-1) === what);
const menu = (name) => page.locator('.menu [role=menuitem]', { hasText: name });

before(async () => {
  // A desktop whose one program for everything only notes what it is given.
  desktop = await mkdtemp(join(tmpdir(), 'marlin-desktop-'));
  const program = join(desktop, 'recorder');
  const kinds = ['x-scheme-handler/http', 'x-scheme-handler/https', 'text/html', 'text/markdown', 'text/plain', 'application/octet-stream'];
  await mkdir(join(desktop, 'applications'));
  await writeFile(program, `#!/bin/sh\nprintf '%s\\n' "\${1#file://}" >>'${desktop}/opened'\n`);
  await chmod(program, 0o755);
  await writeFile(
    join(desktop, 'applications/recorder.desktop'),
    `[Desktop Entry]\nType=Application\nName=Recorder\nExec=${program} %u\nMimeType=${kinds.join(';')};\n`,
  );
  await writeFile(
    join(desktop, 'applications/mimeapps.list'),
    `[Default Applications]\n${kinds.map((kind) => `${kind}=recorder.desktop`).join('\n')}\n`,
  );
  const made = await startWithRepository({ env: { ...IDENTITY, XDG_DATA_HOME: desktop } });
  ({ editor, claude } = made);
  await writeFile(join(editor.project, 'report.html'), '<h1>hi</h1>\n');
  await writeFile(join(editor.project, 'notes.md'), '# Notes\n');
  page = await openPage(editor);
  steps = chatSteps(page, claude);
  tasks = dispatchSteps(page, claude);
});
after(async () => {
  await page?.done();
  await editor?.stop();
  await rm(desktop, { recursive: true, force: true });
});
afterEach(() => {
  assert.deepEqual(page.complaints, []);
});

test('results: the card of a call that wrote one opens it outside, and so do words and output', async () => {
  const path = join(editor.project, 'report.html');
  await steps.talk([
    out(init()),
    out(calls('c1', 'Write', { file_path: path, content: '<h1>hi</h1>' })),
    out(toolResult('c1', 'done')),
    out(calls('c2', 'Write', { file_path: join(editor.project, 'a.txt'), content: 'x' })),
    out(toolResult('c2', 'done')),
    out(calls('c3', 'Bash', { command: 'make' })),
    out(toolResult('c3', 'wrote ./report.html:1\nserving on http://localhost:4999/x.')),
    out(says('Look at `report.html`, notes.md or http://127.0.0.1:4998/.\n\n```\nother.html\n```')),
    out(result()),
  ]);
  await steps.ended();
  await page.getByRole('button', { name: 'Open Outside: report.html' }).click();
  await isOpened(path);
  assert.equal(await page.locator('.chat-artifact-row').count(), 1, 'a text file has nothing to be looked at');

  const output = page.locator('.chat-output', { hasText: 'serving' });
  assert.equal((await output.innerText()).trim(), 'wrote ./report.html:1\nserving on http://localhost:4999/x.');
  await output.locator('a', { hasText: 'localhost:4999' }).click();
  await isOpened('http://localhost:4999/x');
  await page.locator('.chat-markdown a', { hasText: '127.0.0.1:4998' }).click();
  await isOpened('http://127.0.0.1:4998/');
  assert.equal(await page.locator('.chat-markdown pre a').count(), 0);
  assert.deepEqual(await axeFindings(page), []);
});

test('results: the menu of a link opens inside, outside and copies, by mouse and by keys', async () => {
  const before = (await opened()).length;
  const link = page.locator('.chat-markdown code a', { hasText: 'report.html' });
  await link.dispatchEvent('auxclick', { button: 2 }); // some engines tell of a right press twice
  await page.locator('.chat-path', { hasText: 'report.html' }).click({ button: 'right' });
  await menu('Open Outside').waitFor();
  await page.keyboard.press('Escape');
  await link.click({ button: 'right' });
  await menu('Copy Path').waitFor();
  assert.deepEqual(await page.locator('.menu [role=menuitem]').allInnerTexts(), ['Open', 'Open Outside', 'Reveal in File Manager', 'Copy Path']);
  assert.equal(await page.locator('.tab').count(), 0, 'a press for the menu opens nothing');
  await page.getByRole('menuitem', { name: 'Open', exact: true }).click();
  await page.locator('.tab.front[title="proj/report.html"]').waitFor();

  await page.locator('.chat-markdown a', { hasText: 'notes.md' }).focus();
  await page.keyboard.press('Shift+F10');
  await menu('Open the Preview').click();
  await page.locator('.markdown-view h1', { hasText: 'Notes' }).waitFor();

  const server = page.locator('.chat-output a', { hasText: 'localhost:4999' });
  await server.focus();
  await page.keyboard.press('Shift+F10');
  await menu('Copy Address').click();
  assert.equal(await page.evaluate(() => navigator.clipboard.readText()), 'http://localhost:4999/x');
  const navigated = page.waitForRequest((request) => /"navigate".*localhost:4999/.test(request.postData() ?? ''));
  await server.click({ button: 'right' });
  await menu('Open in the Browser Pane').click();
  await navigated;
  await page.locator('.browser-bar').waitFor();
  assert.equal((await opened()).length, before);
});

test('results: the explorer and tabs open a page outside, and offer that for nothing else', async () => {
  await page.locator('[data-path="proj/a.txt"]').click({ button: 'right' });
  await menu('Delete').waitFor();
  assert.equal(await menu('Open Outside').count(), 0);
  await page.keyboard.press('Escape');
  await page.locator('[data-path="proj/notes.md"]').click({ button: 'right' });
  await menu('Open Outside').click();
  await isOpened(join(editor.project, 'notes.md'));
  await page.locator('.tab[title="proj/report.html"]').click({ button: 'right' });
  await menu('Open Outside').click();
  await isOpened(join(editor.project, 'report.html'));
});

test("results: of a task they are those of its own folder, and a refusal stands in the bridge's words", async () => {
  const before = (await opened()).length;
  await tasks.create('Make a page', ends('note page.html <p>', out(says('See page.html and `./sub/../page.html`.'))));
  await tasks.card('review', 'Make a page').waitFor();
  await tasks.open('review', 'Make a page');
  const link = page.locator('.task-page .chat-markdown a', { hasText: /^page\.html$/ });
  await link.click({ button: 'right' });
  await menu('Open Outside').click();
  const toast = page.locator('.toast', { hasText: 'Could not open page.html outside: save the artifact to the workspace first' });
  await toast.getByRole('button', { name: 'Open the Worktree as a Folder' }).click();
  await page.locator('.tree [data-path]', { hasText: 'page.html' }).waitFor();
  assert.equal((await opened()).length, before);
  assert.match(page.complaints.splice(0).join('\n'), /^Failed to load resource: .* 400 .*$/, 'the engine notes each refusal');

  const { directory } = (await editor.api('dispatch/list')).tasks[0];
  await page.locator('.task-page .chat-markdown a', { hasText: 'sub' }).click({ button: 'right' });
  await menu('Open Outside').click();
  await isOpened(join(directory, 'page.html'));
  await page.locator('.task-page .chat-markdown a', { hasText: 'sub' }).click();
  await page.locator('.tab[title$="/page.html"]:not([title*=".."])').waitFor();
});
