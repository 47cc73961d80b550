// Worktrees of background tasks as folders of the workspace, plans of tasks, and what a restart leaves.
import assert from 'node:assert/strict';
import { existsSync } from 'node:fs';
import { readFile } from 'node:fs/promises';
import { join } from 'node:path';
import { after, afterEach, before, test } from 'node:test';
import { out, until } from '../support/chatclaude.mjs';
import { asks, init, result } from '../support/chatlines.mjs';
import { dispatchSteps, ends, startAgain, startWithRepository } from '../support/dispatchsteps.mjs';
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

test('tasks: a worktree opens as a folder with a terminal, and goes with its task; what was open from it is told', async () => {
  const { card, create, dialog } = steps;
  await create('Make a note', ends('note note.txt hello'));
  await card('review', 'Make a note').focus();
  await page.keyboard.press('ContextMenu');
  await page.getByRole('menuitem', { name: 'Open Worktree as Folder' }).click();
  const root = page.locator('[role="treeitem"]', { hasText: /^t1-\d+/ });
  await root.waitFor();
  const name = await root.getAttribute('data-path');
  await page.dblclick(`[data-path="${name}/note.txt"]`);
  await page.locator('.text-view .view-line', { hasText: 'hello' }).click();
  await page.keyboard.press('Control+Home');
  await page.keyboard.type('More: ');
  await page.locator('.tab.front.dirty').waitFor();
  // As long as it is not saved a backup lies beside it, which must not land.
  await until(() => existsSync(join(made.editor.home, '.local/share/marlin-bench/worktrees', name, '.marlin/backups')));
  await page.keyboard.press('Control+Alt+K');
  await card('review', 'Make a note').click();
  await page.locator('.task-head').getByRole('button', { name: 'More' }).click();
  const started = page.waitForResponse((answer) => answer.url().endsWith('/terminal/create'));
  await page.getByRole('menuitem', { name: 'Open Terminal There' }).click();
  const { cwd } = await (await started).json();
  assert.match(cwd, /marlin-bench\/worktrees\/t1-\d+$/);
  await page.locator('.task-head').getByRole('button', { name: 'Land…' }).click();
  await dialog().getByRole('button', { name: 'Save and Go On' }).click();
  await dialog().getByText('1 open file of its folder will be closed.').waitFor();
  await dialog().getByRole('button', { name: 'Land on main' }).click();
  await page.locator('.toast', { hasText: '1 file of it was closed' }).waitFor();
  await root.waitFor({ state: 'detached' });
  assert.equal(await page.locator('.tab', { hasText: 'note.txt' }).count(), 0);
  assert.equal(existsSync(cwd), false);
  assert.equal(made.git('show', 'HEAD:note.txt'), 'More: hello\n');
  assert.equal(made.git('ls-tree', '-r', '--name-only', 'HEAD').includes('.marlin'), false);
});

test('tasks: a plan comes first, is commented on as a document, and is carried out in the mode that was chosen', async () => {
  const { answerTo, card, question, words } = steps;
  await made.claude.play(
    out(init({ permissionMode: 'plan' })),
    'expect "user"',
    out(asks('q1', 'ExitPlanMode', { plan: 'First this.\n\nThen that.' })),
    'expect control_response',
    out(asks('q2', 'ExitPlanMode', { plan: 'Only this.' })),
    'expect control_response',
    'expect set_permission_mode',
    out(result()),
  );
  await steps.form();
  await words().fill('Plan it well');
  await page.getByRole('checkbox', { name: 'Plan first' }).check();
  await words().press('Control+Enter');
  await card('running', 'Plan it well').locator('.asks').waitFor();
  assert.ok((await made.claude.argv()).join(' ').includes('--permission-mode plan'));
  await card('running', 'Plan it well').click();
  await question().getByRole('button', { name: 'Open as a document' }).click();
  await page.locator('.plan-view').getByText('First this.').waitFor();
  await page.locator('.plan-foot').getByRole('textbox', { name: 'A comment on the plan as a whole' }).fill('shorter');
  await page.locator('.plan-foot').getByRole('button', { name: 'Send back with comments' }).click();
  assert.match((await answerTo('q1')).message, /shorter/);
  await page.locator('.plan-view').waitFor({ state: 'detached' });
  await question().getByText('Only this.').waitFor();
  await question().getByRole('combobox', { name: 'Carry it out with' }).selectOption('default');
  await question().getByRole('button', { name: 'Approve' }).click();
  assert.deepEqual(await answerTo('q2'), { behavior: 'allow', updatedInput: { plan: 'Only this.' } });
  await page.locator('.task-page .task-state', { hasText: 'Done' }).waitFor();
  const sent = (await made.claude.stdin()).find(({ request }) => request?.subtype === 'set_permission_mode');
  assert.equal(sent.request.mode, 'default');
});

test('tasks: after a restart what they left is found, compared, landed, and removed after two questions', async () => {
  const { create, card } = steps;
  await create('Land me later', ends('note later.txt hello'));
  await card('review', 'Land me later').waitFor();
  await create('Throw me away', ends('note away.txt hello'));
  await card('review', 'Throw me away').waitFor();
  const kept = join(made.editor.home, '.config/marlin-bench/ui-state.json');
  await until(async () => (await readFile(kept, 'utf8')).includes('Throw me away'));
  await page.done();
  made.editor = await startAgain(made.editor);
  page = await openPage(made.editor);
  const { dialog } = dispatchSteps(page, made.claude);
  await page.keyboard.press('Control+Alt+K');
  const left = (title) => page.locator('.task-left', { hasText: title });
  await left('Land me later').waitFor();
  await left('Throw me away').waitFor();
  assert.deepEqual(await axeFindings(page), []);
  await left('Land me later').locator('.task-open').click();
  await page.locator('.patch-file', { hasText: 'later.txt' }).locator('.diff-row.added', { hasText: 'hello' }).waitFor();
  assert.deepEqual(await axeFindings(page), []);
  await page.getByRole('button', { name: 'Land Land me later' }).click();
  await dialog().getByRole('button', { name: 'Land on main' }).click();
  await page.getByText('This worktree is not there any more.').waitFor();
  assert.equal(await readFile(join(made.editor.project, 'later.txt'), 'utf8'), 'hello\n');
  await page.keyboard.press('Control+Alt+K');
  await left('Land me later').waitFor({ state: 'detached' });
  await left('Throw me away').getByRole('button', { name: 'Remove' }).click();
  await dialog().getByRole('button', { name: 'Remove folder and branch' }).click();
  await dialog().getByText('1 file that is not committed').waitFor();
  await page.keyboard.press('Enter');
  await dialog().waitFor({ state: 'detached' });
  assert.ok(branches().some((name) => name.startsWith('marlin/throw-me-away')), 'the first button keeps it');
  await left('Throw me away').getByRole('button', { name: 'Remove' }).click();
  await dialog().getByRole('button', { name: 'Remove folder and branch' }).click();
  await dialog().getByRole('button', { name: 'Throw the work away' }).click();
  await left('Throw me away').waitFor({ state: 'detached' });
  assert.equal(branches().some((name) => name.startsWith('marlin/throw-me-away')), false);
});
