// One place for the questions of the chat and of all tasks, and the rules that answer some, in Chromium on the
// real bridge.
import assert from 'node:assert/strict';
import { readFileSync } from 'node:fs';
import { join } from 'node:path';
import { after, afterEach, before, test } from 'node:test';
import { out, until } from '../support/chatclaude.mjs';
import { asks, init, result, says } from '../support/chatlines.mjs';
import { chatSteps } from '../support/chatsteps.mjs';
import { startWithRepository } from '../support/dispatchsteps.mjs';
import { axeFindings, openPage } from '../support/editor.mjs';
import { settled } from '../support/steps.mjs';

let editor;
let claude;
let page;

before(async () => {
  ({ editor, claude } = await startWithRepository());
  page = await openPage(editor);
});
after(async () => {
  await page?.done();
  await editor?.stop();
});
afterEach(async () => {
  assert.deepEqual(page.complaints, []);
});

const inbox = () => page.locator('.inbox');
const entry = (words) => inbox().locator('.inbox-entry', { hasText: words });
const rules = () => inbox().locator('.inbox-rules');

/** A question whose answer the test can read. */
const question = (id, tool, input, more) => [
  out(asks(id, tool, input, more)),
  'expect control_response',
  `note ${join(claude.folder, `answer-${id}`)} \${line}`,
];

const answerTo = (id) =>
  until(() => {
    try {
      return JSON.parse(readFileSync(join(claude.folder, `answer-${id}`), 'utf8')).response.response;
    } catch {
      return null; // not given yet
    }
  });

async function createTask(task, script) {
  await claude.play(out(init()), 'expect "user"', ...script, out(says('Done.')), out(result()));
  const { ids } = await editor.api('dispatch/create', { task, root: 'proj' });
  return ids[0];
}

const focusIsIn = (selector) => page.waitForFunction((wanted) => document.activeElement?.matches(wanted), selector);

test('inbox: chat and task in one list; a rule answers the next alike question, and no other', async () => {
  const { talk, field } = chatSteps(page, claude);
  await talk([out(init()), ...question('c1', 'Bash', { command: 'ls' }), out(result())]);
  await page.locator('.chat-question').waitFor();
  await field().fill('half a thought');
  const tab = page.getByRole('tab', { name: /^Inbox/ });
  await tab.getByText('1').waitFor();

  await createTask('Test the thing', [
    ...question('q1', 'Bash', { command: 'make test', description: 'Test' }),
    ...question('q2', 'Bash', { command: 'make test', description: 'Test again' }),
    ...question('q3', 'Bash', { command: 'make test; rm -rf .' }),
  ]);
  await tab.getByText('2').waitFor();
  await settled(page);
  assert.ok(await page.evaluate(() => document.activeElement?.matches('.chat-field')), 'the field kept the focus');

  await page.keyboard.press('Control+Alt+I');
  await focusIsIn('.inbox .chat-question');
  assert.deepEqual(await inbox().locator('.inbox-name').allInnerTexts(), ['Chat', 'Test the thing']);
  assert.deepEqual(await axeFindings(page), []);

  await entry('Test the thing').getByRole('button', { name: 'Rule…' }).click();
  const form = page.getByRole('dialog');
  await form.getByText('Allow Bash: make test, for the task Test the thing').waitFor();
  assert.equal(await form.getByLabel('exactly this command').isChecked(), true);
  await form.getByLabel('every task in proj').check();
  assert.deepEqual(await axeFindings(page), []);
  await form.getByRole('button', { name: 'Keep the Rule and Allow' }).click();
  await form.waitFor({ state: 'detached' });

  const given = { behavior: 'allow', updatedInput: { command: 'make test', description: 'Test' } };
  assert.deepEqual(await answerTo('q1'), given);
  assert.equal((await answerTo('q2')).updatedInput.description, 'Test again', 'its own input goes back');
  await entry('make test; rm -rf .').waitFor();
  await inbox().getByText('Answered by rules (2)').waitFor();
  await page
    .locator('[role="status"]', { hasText: 'Allowed by your rule: Allow Bash: make test, for every task in proj' })
    .waitFor({ state: 'attached' });

  // What a rule did stands in the conversation, too; and the way there leads to the question's own card.
  await entry('Test the thing').getByRole('button', { name: 'Go There' }).click();
  await focusIsIn('.task-page .chat-question');
  const kept = page.locator('.task-page').getByText('Allowed by your rule: Allow Bash: make test, for every task in proj');
  await until(async () => (await kept.count()) === 2);

  await page.keyboard.press('Control+Alt+I');
  await entry('Test the thing').locator('.chat-question').focus();
  await page.keyboard.press('Escape');
  assert.equal((await answerTo('q3')).behavior, 'deny');
  await page.waitForFunction(() => document.activeElement?.closest('.inbox-entry')?.textContent.includes('Chat'));
  await page.keyboard.press('Enter');
  assert.deepEqual(await answerTo('c1'), { behavior: 'allow', updatedInput: { command: 'ls' } });
  await inbox().getByText('Nothing waits for you.').waitFor();
  await focusIsIn('.inbox');
  assert.equal(await tab.locator('.count').count(), 0);
});

test('inbox: rules outlive a reload, refuse, and can be removed; a plan waits for the user', async () => {
  await page.evaluate(async () => {
    await (await import('/stores/uistate.js')).flush();
  });
  await page.reload();
  await page.keyboard.press('Control+Alt+I');
  await rules().getByText('Allow Bash: make test, for every task in proj').waitFor();

  const id = await createTask('Another one', [
    ...question('q4', 'Bash', { command: 'make test' }),
    ...question('q5', 'WebFetch', { url: 'https://a.example/' }),
    ...question('q6', 'ExitPlanMode', { plan: 'Do it.' }),
    ...question('q7', 'WebFetch', { url: 'https://b.example/' }),
    out(asks('q8', 'Bash', { command: 'last' })),
    claude.gate('never'),
  ]);
  assert.equal((await answerTo('q4')).behavior, 'allow');
  await entry('a.example').waitFor();
  await page.keyboard.press('F1');
  await page.keyboard.type('Rule for the Question');
  await page.keyboard.press('Enter');
  const form = page.getByRole('dialog');
  await form.getByLabel('Refuse').check();
  await form.getByLabel('any use of this tool').check();
  await form.getByRole('button', { name: 'Keep the Rule and Refuse' }).click();
  assert.deepEqual(await answerTo('q5'), { behavior: 'deny', message: 'A rule of the user refuses this.' });
  await entry('Claude has a plan').getByRole('button', { name: 'Approve' }).click();
  assert.equal((await answerTo('q6')).behavior, 'allow');
  assert.equal((await answerTo('q7')).behavior, 'deny');

  // What is withdrawn is gone, here as there.
  await entry('last').waitFor();
  await editor.api('dispatch/stop', { id });
  await entry('last').waitFor({ state: 'detached' });

  await rules().getByRole('button', { name: /^Remove the rule: Allow Bash/ }).click();
  await rules().getByRole('button', { name: /^Remove the rule: Refuse/ }).click();
  await rules().waitFor({ state: 'detached' });
  await focusIsIn('.inbox');
  await page.evaluate(async () => {
    await (await import('/stores/uistate.js')).flush();
  });
  const state = readFileSync(join(editor.home, '.config/marlin-bench/ui-state.json'), 'utf8');
  assert.deepEqual(JSON.parse(state)['inbox.rules'], []);
});
