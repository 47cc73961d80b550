// Questions of Claude in Chromium on the real bridge: permissions, plans, choices.
import assert from 'node:assert/strict';
import { after, afterEach, before, test } from 'node:test';
import { installClaude, out } from '../support/chatclaude.mjs';
import { asks, cancels, init, result, says } from '../support/chatlines.mjs';
import { chatSteps } from '../support/chatsteps.mjs';
import { axeFindings, startEditor } from '../support/editor.mjs';
import { freshPage } from '../support/steps.mjs';

let editor;
let claude;
let page;
let steps;

before(async () => {
  editor = await startEditor({ files: { 'a.txt': 'one\n' } });
  claude = await installClaude(editor);
  page = await freshPage(editor);
  steps = chatSteps(page, claude);
});
after(async () => {
  await page?.done();
  await editor?.stop();
});
afterEach(async () => {
  assert.deepEqual(page.complaints, []);
});

test('chat: a question takes no focus; Enter on its card allows, with the very input', async () => {
  const { talk, field, card, ended, answerTo } = steps;
  const input = { command: 'make "all"', description: 'Build', timeout: 5 };
  await talk([out(init()), out(asks('q1', 'Bash', input)), 'expect control_response', out(result())]);
  await card().waitFor();
  assert.ok(
    await page.evaluate(() => document.activeElement?.matches('.chat-field')),
    'the field kept the focus',
  );
  await page.keyboard.type('half a thought');
  assert.equal(await card().locator('.chat-command').innerText(), 'make "all"');
  assert.equal(await card().getByRole('button', { name: 'Always' }).count(), 0, 'nothing was proposed');
  await page
    .locator('[role="status"]', { hasText: 'Claude asks whether it may use Bash' })
    .waitFor({ state: 'attached' });
  assert.deepEqual(await axeFindings(page), []);
  await page.keyboard.press('Control+Alt+Q');
  await page.waitForFunction(() => document.activeElement?.matches('.chat-question'));
  await page.keyboard.press('Enter');
  assert.deepEqual(await answerTo('q1'), { behavior: 'allow', updatedInput: input });
  await card().waitFor({ state: 'detached' });
  await page.waitForFunction(() => document.activeElement?.matches('.chat-field'));
  assert.equal(await field().inputValue(), 'half a thought');
  await ended();
  await field().fill('');
});

test('chat: always, no with a reason, no and stop, Escape', async () => {
  const { talk, card, ended, answerTo } = steps;
  const suggestions = [
    {
      type: 'addRules',
      rules: [{ toolName: 'Bash', ruleContent: 'make:*' }],
      behavior: 'allow',
      destination: 'localSettings',
    },
  ];
  const ask = (id, more) => [out(asks(id, 'Bash', { command: id }, more)), 'expect control_response'];
  await talk([
    out(init()),
    ...ask('q1', { permission_suggestions: suggestions }),
    ...ask('q2'),
    ...ask('q3'),
    ...ask('q4'),
    out(result()),
  ]);
  await card().getByText('Always: allow Bash(make:*) in this project, for you').waitFor();
  await card().getByRole('button', { name: 'Always' }).click();
  assert.deepEqual((await answerTo('q1')).updatedPermissions, suggestions);
  await page.locator('[data-question="q2"]').getByRole('button', { name: 'No', exact: true }).click();
  await page.keyboard.type('use ninja instead');
  await page.keyboard.press('Enter');
  assert.deepEqual(await answerTo('q2'), { behavior: 'deny', message: 'use ninja instead' });
  await page.getByText('You declined Bash: use ninja instead').waitFor();
  await page.locator('[data-question="q3"]').getByRole('button', { name: 'No and stop' }).click();
  assert.deepEqual(await answerTo('q3'), {
    behavior: 'deny',
    message: 'The user declined this.',
    interrupt: true,
  });
  await page.locator('[data-question="q4"]').focus();
  await page.keyboard.press('Escape');
  assert.equal((await answerTo('q4')).behavior, 'deny');
  await ended();
});

test('chat: a question outlives a reload, and goes when it is cancelled or the CLI ends', async () => {
  const { talk, card } = steps;
  await talk([
    out(init()),
    out(says('some words')),
    out(asks('q1', 'Bash', { command: 'one' })),
    out(asks('q2', 'Bash', { command: 'two' })),
    claude.gate('cancel'),
    out(cancels('q1')),
    claude.gate('crash'),
    'err out of memory\\n',
    'kill 9',
  ]);
  await page.locator('[data-question="q2"]').waitFor();
  await page.waitForFunction(() => sessionStorage.getItem('marlin-chat-lines:0')?.includes('some words'));
  await page.reload();
  await page.locator('[data-question="q1"]').waitFor();
  await page.locator('.chat-item.text', { hasText: 'some words' }).waitFor();
  await page.locator('.chat-user', { hasText: 'hello' }).waitFor();
  // What comes before the link is there comes to nobody.
  await page.waitForFunction(async () => (await import('/bridge/events.js')).linkState.value === 'open');
  await claude.allow('cancel');
  await page.locator('[data-question="q1"]').waitFor({ state: 'detached' });
  assert.equal(await page.locator('[data-question="q2"]').count(), 1);
  await claude.allow('crash');
  await card().waitFor({ state: 'detached' });
  await page.getByText('Claude ended with code 137.').waitFor();
  await page.getByRole('button', { name: 'Show Standard Error' }).click();
  await page.locator('.chat-drawer').getByText('out of memory').waitFor();
  await page.locator('.chat-drawer').getByRole('button', { name: 'Close' }).click();
});

test('chat: a question is told of while the panel is closed', async () => {
  const { talk, field, ended, answerTo } = steps;
  await talk([
    out(init()),
    claude.gate('ask'),
    out(asks('q1', 'Bash', { command: 'ls' })),
    'expect control_response',
    out(result()),
  ]);
  await page.keyboard.press('Control+Alt+B');
  await field().waitFor({ state: 'detached' });
  await claude.allow('ask');
  await page
    .locator('[role="status"]', { hasText: 'Claude asks whether it may use Bash' })
    .waitFor({ state: 'attached' });
  await page.getByRole('button', { name: 'Claude asks' }).click();
  await page.waitForFunction(() => document.activeElement?.matches('.chat-question'));
  await page.keyboard.press('Escape');
  assert.equal((await answerTo('q1')).behavior, 'deny');
  await ended();
});

test('chat: a plan is commented on and sent back, then approved into a mode', async () => {
  const { talk, card, ended, answerTo } = steps;
  const plan = '# Plan\n\nFirst this.\n\nThen that.';
  await talk([
    out(init()),
    out(asks('p1', 'ExitPlanMode', { plan })),
    'expect control_response',
    out(asks('p2', 'ExitPlanMode', { plan })),
    'expect control_response',
    out(result()),
  ]);
  await card().getByText('Then that.').waitFor();
  await card().getByRole('button', { name: 'Comment on this part' }).nth(1).click();
  await card().getByRole('textbox', { name: 'Comment on: First this.' }).fill('Why first?');
  assert.deepEqual(await axeFindings(page), []);
  await card().getByRole('button', { name: 'Send back with comments' }).click();
  assert.equal((await answerTo('p1')).message, 'Please revise the plan:\n\n> First this.\n\nWhy first?');
  await page.locator('[data-question="p2"] select').selectOption('default');
  await card().getByRole('button', { name: 'Approve' }).click();
  assert.deepEqual(await answerTo('p2'), {
    behavior: 'allow',
    updatedInput: { plan },
    updatedPermissions: [{ type: 'setMode', mode: 'default', destination: 'session' }],
  });
  await ended();
});

test('chat: a plan as a document: lines by keyboard and mouse, a reload, sent back, withdrawn, approved', async () => {
  const { talk, card, ended, answerTo, field } = steps;
  const plan = '# Plan\n\nFirst this.\nThen that.\n\n```\nmake\n```';
  await talk([
    out(init()),
    out(asks('d1', 'ExitPlanMode', { plan })),
    'expect control_response',
    out(asks('d2', 'ExitPlanMode', { plan })),
    claude.gate('withdraw'),
    out(cancels('d2')),
    out(asks('d3', 'ExitPlanMode', { plan })),
    'expect control_response',
    out(result()),
  ]);
  const line = (number) => page.locator(`.plan-line[data-line="${number}"]`);
  const openPlan = () => card().getByRole('button', { name: 'Open as a document' }).click();
  await openPlan();
  await page.getByRole('tab', { name: 'Plan of Claude', selected: true }).waitFor();
  await page.waitForFunction(() => document.activeElement?.matches('.plan-line[data-line="1"]'));
  await page.keyboard.press('ArrowDown');
  await page.keyboard.press('ArrowDown');
  await page.keyboard.press('Shift+ArrowDown');
  await page.keyboard.press('Enter');
  await page.waitForFunction(() => document.activeElement?.matches('.plan-comment textarea'));
  await page.keyboard.type('Why this way?');
  await page.keyboard.press('Escape');
  await page.waitForFunction(() => document.activeElement?.matches('.plan-line[data-line="4"]'));
  await line(7).click({ button: 'right' });
  await page.getByRole('menuitem', { name: 'Comment on the Line' }).click();
  await page.getByRole('textbox', { name: 'Comment on line 7' }).fill('with -j');
  assert.deepEqual(await axeFindings(page), []);
  await card().getByText('Comments on lines, in the document: 1').waitFor();

  await page.reload();
  await page.getByRole('tab', { name: 'Plan of Claude', selected: true }).waitFor();
  const list = page.getByRole('list', { name: 'Comments' });
  assert.deepEqual(await list.locator('.plan-comment-row').allInnerTexts(), [
    'Lines 3 to 4 Why this way?',
    'Line 7 with -j',
  ]);
  await list.locator('.plan-comment-row').first().click();
  await page.waitForFunction(() => document.activeElement?.matches('.plan-comment textarea'));
  const foot = page.getByRole('group', { name: 'Answer to the plan' });
  await foot.getByRole('button', { name: 'Send back with comments' }).click();
  assert.equal(
    (await answerTo('d1')).message,
    'Please revise the plan:\n\n> First this.\n> Then that.\n\nWhy this way?\n\n> make\n\nwith -j',
  );
  await page.locator('.plan-view').waitFor({ state: 'detached' });

  await page.locator('[data-question="d2"]').waitFor();
  await openPlan();
  await line(1).hover();
  await line(1).locator('.plan-add').click();
  await page.getByRole('textbox', { name: 'Comment on line 1', exact: true }).fill('Too short');
  await claude.allow('withdraw');
  await page.locator('[data-question="d3"]').waitFor();
  await page.locator('.plan-view').waitFor({ state: 'detached' });
  assert.equal(await field().inputValue(), 'Please revise the plan:\n\n> # Plan\n\nToo short');
  await field().fill('');

  await openPlan();
  await foot.getByRole('combobox').selectOption('default');
  await foot.getByRole('button', { name: 'Approve' }).click();
  assert.deepEqual(await answerTo('d3'), {
    behavior: 'allow',
    updatedInput: { plan },
    updatedPermissions: [{ type: 'setMode', mode: 'default', destination: 'session' }],
  });
  await page.locator('.plan-view').waitFor({ state: 'detached' });
  await ended();
});

test('chat: a structured question is answered beside what was asked', async () => {
  const { talk, card, ended, answerTo } = steps;
  const input = {
    questions: [
      {
        question: 'Which way?',
        header: 'Way',
        multiSelect: false,
        options: [{ label: 'Left', description: 'shorter' }, { label: 'Right' }],
      },
      {
        question: 'With what?',
        header: 'Tools',
        multiSelect: true,
        options: [{ label: 'Axe' }, { label: 'Rope' }, { label: 'Lamp' }],
      },
    ],
  };
  await talk([
    out(init()),
    out(asks('c1', 'AskUserQuestion', input)),
    'expect control_response',
    out(result()),
  ]);
  const answer = card().getByRole('button', { name: 'Answer', exact: true });
  assert.equal(await answer.isDisabled(), true);
  await card().getByRole('radio', { name: 'Left' }).check();
  await card().getByRole('checkbox', { name: 'Axe' }).check();
  await card().getByRole('checkbox', { name: 'Lamp' }).check();
  assert.deepEqual(await axeFindings(page), []);
  await answer.click();
  assert.deepEqual((await answerTo('c1')).updatedInput, {
    ...input,
    answers: { 'Which way?': 'Left', 'With what?': 'Axe, Lamp' },
  });
  await ended();
});
