// Background tasks in Chromium on the real bridge, with a real git and a Claude that plays scripts.
import assert from 'node:assert/strict';
import { readFile } from 'node:fs/promises';
import { join } from 'node:path';
import { after, afterEach, before, test } from 'node:test';
import { out } from '../support/chatclaude.mjs';
import { asks, calls, init, result, says, toolResult } from '../support/chatlines.mjs';
import { dispatchSteps, ends, startWithRepository } from '../support/dispatchsteps.mjs';
import { axeFindings, openPage } from '../support/editor.mjs';

/** @type {Awaited<ReturnType<typeof startWithRepository>>} */
let made;
let page;
let steps;

before(async () => {
  made = await startWithRepository();
  page = await openPage(made.editor);
  steps = dispatchSteps(page, made.claude);
});
after(async () => {
  await page?.done();
  await made?.editor.stop();
});
afterEach(() => {
  assert.deepEqual(page.complaints, []);
});

const branches = () => made.git('branch', '--format=%(refname:short)').trim().split('\n');
const statusBar = (words) => page.locator('.status-item', { hasText: words });

test('tasks: the empty board says what to do; a task runs, asks without taking the focus, and is answered by keys', async () => {
  const { form, words, create, card, question, open, answerTo } = steps;
  await page.keyboard.press('Control+Alt+K');
  await page.getByRole('button', { name: 'Describe the first task' }).waitFor();
  assert.deepEqual(await axeFindings(page), []);
  await form();
  assert.ok(await words().evaluate((field) => field === document.activeElement));
  assert.deepEqual(await axeFindings(page), []);
  await words().press('Control+Enter');
  await page.getByRole('alert').getByText('Describe the task first.').waitFor();
  const input = { command: 'make "all"', description: 'Build' };
  const suggestions = [{ type: 'setMode', mode: 'auto', destination: 'session' }];
  await create('Build it all', [
    out(init()),
    'expect "user"',
    out(says('I will build it.')),
    out(calls('c1', 'Bash', { command: 'ls' })),
    out(toolResult('c1', 'a.txt')),
    'note a.txt ONE',
    out(asks('q1', 'Bash', input, { tool_use_id: 'c2', permission_suggestions: suggestions })),
    'expect control_response',
    out(says('Built.')),
    out(result()),
  ]);
  await card('running', 'Build it all').locator('.asks').waitFor();
  await statusBar('1 task runs, 1 asks').waitFor();
  await page.locator('[role="status"]', { hasText: '"Build it all" asks whether it may use Bash' }).waitFor({ state: 'attached' });
  assert.ok(
    await page.evaluate(() => document.activeElement?.matches('.board [data-task]')),
    'the focus is on the new card and stays there',
  );
  assert.deepEqual(await axeFindings(page), []);
  await open('running', 'Build it all');
  await page.locator('.task-page .chat-user', { hasText: 'Build it all' }).waitFor();
  await page.locator('.task-page .chat-tool[data-tool="Bash"]').waitFor();
  await question().waitFor();
  assert.equal(await question().getByRole('button', { name: 'Always' }).count(), 0, 'the route carries no rules');
  assert.deepEqual(await axeFindings(page), []);
  await statusBar('1 asks').click();
  await page.waitForFunction(() => document.activeElement?.matches('.task-page .chat-question'));
  await page.keyboard.press('Enter');
  assert.deepEqual(await answerTo('q1'), { behavior: 'allow', updatedInput: input });
  await page.locator('.task-page .task-state', { hasText: 'Done' }).waitFor();
  await page.locator('[role="status"]', { hasText: '"Build it all" is done.' }).waitFor({ state: 'attached' });
  await page.locator('.chat-result', { hasText: '$0.02' }).waitFor();
});

test('tasks: what a task changed is shown, and lands on the branch after the question', async () => {
  const { card, column, dialog, open, tab } = steps;
  await page.keyboard.press('Control+Alt+K');
  await card('review', 'Build it all').waitFor();
  await open('review', 'Build it all');
  await tab('Changes');
  await page.locator('.patch-file', { hasText: 'a.txt' }).locator('.diff-row.added', { hasText: 'ONE' }).waitFor();
  await page.locator('.patch-head', { hasText: '1 file' }).waitFor();
  const line = page.locator('.diff-row.added', { hasText: 'ONE' });
  await line.click({ button: 'right' });
  await page.getByRole('menuitem', { name: 'Remark on the Line…' }).click();
  await page.getByRole('textbox', { name: 'Remark', exact: true }).fill('louder');
  await page.getByRole('button', { name: 'Put into the Basket' }).click();
  await page.getByRole('button', { name: '1 remark in the basket' }).waitFor();
  assert.deepEqual(await axeFindings(page), []);
  await page.locator('.task-head').getByRole('button', { name: 'Land…' }).click();
  await dialog().getByRole('button', { name: 'Land on main' }).click();
  await page.locator('.task-state', { hasText: 'Landed' }).waitFor();
  assert.equal(await readFile(join(made.editor.project, 'a.txt'), 'utf8'), 'ONE\n');
  assert.deepEqual(branches(), ['main']);
  assert.equal(made.git('rev-list', '--merges', '--count', 'HEAD').trim(), '1');
  await page.keyboard.press('Control+Alt+K');
  await column('closed').getByText('Build it all').waitFor();
});

test('tasks: a follow-up goes on in the same conversation, and its work adds to the first', async () => {
  const { board, card, claude = made.claude, create, open, tab } = { ...steps };
  await create('Write a note', ends('note first.txt 1'));
  await card('review', 'Write a note').click();
  await page.locator('.task-page .chat-result').waitFor();
  await claude.play(...ends('note second.txt 2'));
  const field = page.getByRole('textbox', { name: 'Message to the task' });
  await field.fill('and a second one');
  await field.press('Enter');
  await page.locator('.chat-user', { hasText: 'and a second one' }).waitFor();
  await page.waitForFunction(() => document.querySelectorAll('.task-page .chat-result').length === 2);
  const argv = await claude.argv();
  assert.equal(argv[argv.indexOf('--resume') + 1], 'session-1');
  await tab('Changes');
  await page.locator('.patch-file', { hasText: 'second.txt' }).waitFor();
  assert.equal(await page.locator('.patch-file').count(), 2);
  await board();
  await open('review', 'Write a note');
});

test('tasks: discarding asks first and takes branch and folder away; the keys reach it from the card', async () => {
  const { board, card, column, dialog } = steps;
  await board();
  const branch = branches().find((name) => name.startsWith('marlin/write-a-note'));
  assert.ok(branch);
  await card('review', 'Write a note').focus();
  await page.keyboard.press('Delete');
  await dialog().getByText(branch).waitFor();
  await page.keyboard.press('Escape');
  await dialog().waitFor({ state: 'detached' });
  assert.ok(branches().includes(branch));
  await page.keyboard.press('Delete');
  await dialog().getByRole('button', { name: 'Discard branch and folder' }).click();
  await column('closed').getByText('Write a note').waitFor();
  assert.deepEqual(branches(), ['main']);
});

test('tasks: a reload keeps tasks, words, questions and what is typed; a stopped task can go on', async () => {
  const { card, create, open, question } = steps;
  await create('Ask me twice', [
    out(init()),
    'expect "user"',
    out(says('some words')),
    out(asks('q1', 'ExitPlanMode', { plan: 'First this.\n\nThen that.' })),
    'hang',
  ]);
  await card('running', 'Ask me twice').locator('.asks').waitFor();
  await open('running', 'Ask me twice');
  await page.getByRole('textbox', { name: 'Message to the task' }).fill('half a thought');
  await page.waitForFunction(() => Object.keys(sessionStorage).some((key) => sessionStorage[key].includes('some words')));
  const kept = page.waitForResponse((answer) => answer.url().endsWith('/ui-state') && answer.request().method() === 'POST');
  await page.keyboard.press('Control+Alt+K');
  await kept;
  await page.reload();
  await page.locator('.board').waitFor();
  await open('running', 'Ask me twice');
  await page.locator('.chat-user', { hasText: 'Ask me twice' }).waitFor();
  await page.locator('.chat-item.text', { hasText: 'some words' }).waitFor();
  await question().getByText('Claude has a plan').waitFor();
  assert.equal(await page.getByRole('textbox', { name: 'Message to the task' }).inputValue(), 'half a thought');
  await page.locator('.task-head').getByRole('button', { name: 'Stop' }).click();
  await page.locator('.task-page .task-state', { hasText: 'Stopped' }).waitFor();
  await question().waitFor({ state: 'detached' });
});

test('tasks: what fails says why, the rest of git’s words included', async () => {
  const { board, card, create, form, open, words } = steps;
  await create('Crash at once', [out(init()), 'expect "user"', 'err out of memory\\n', 'exit 3']);
  await card('trouble', 'Crash at once').getByText('exit code 3').waitFor();
  await open('trouble', 'Crash at once');
  await page.locator('.task-error').getByText('More').click();
  await page.locator('.task-error pre', { hasText: 'out of memory' }).waitFor();
  assert.deepEqual(await axeFindings(page), []);
  await board();
  await form();
  made.git('config', 'core.hooksPath', 'hooks');
  made.write('hooks/post-checkout', '#!/bin/sh\necho "no luck today" >&2\nexit 7\n');
  made.git('update-index', '--add', '--chmod=+x', 'hooks/post-checkout');
  made.git('checkout-index', '-f', 'hooks/post-checkout');
  await words().fill('Never begins');
  await words().press('Control+Enter');
  await page.locator('.task-form .task-error pre', { hasText: 'no luck today' }).waitFor();
  assert.equal(await words().inputValue(), 'Never begins', 'what was typed is not lost');
  assert.match(page.complaints.splice(0).join(), /^Failed to load resource: [^,]*400[^,]*$/);
  assert.deepEqual(await axeFindings(page), []);
  made.git('config', '--unset', 'core.hooksPath');
  made.git('reset', '-q', '--hard');
  await words().fill('');
  await page.keyboard.press('Escape');
});

test('tasks: the list at the side and the palette reach the same tasks', async () => {
  await page.getByRole('button', { name: 'Tasks', exact: true }).first().click();
  const row = page.locator('.task-panel .task-open', { hasText: 'Crash at once' });
  await row.waitFor();
  assert.deepEqual(await axeFindings(page), []);
  await row.focus();
  await page.keyboard.press('Home');
  await page.keyboard.press('ContextMenu');
  await page.getByRole('menuitem', { name: 'Open Worktree as Folder' }).waitFor();
  await page.keyboard.press('Escape');
  await page.keyboard.press('Control+Shift+P');
  await page.keyboard.type('Tasks: Show the Changes');
  await page.keyboard.press('Enter');
  await page.keyboard.type('Crash');
  await page.keyboard.press('Enter');
  await page.locator('.patch', { hasText: 'Nothing has changed yet.' }).waitFor();
});
