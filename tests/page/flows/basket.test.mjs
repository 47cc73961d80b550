// The review basket in Chromium on the real bridge: remarks on comparisons, sent to the conversation or a task.
import assert from 'node:assert/strict';
import { join } from 'node:path';
import { after, afterEach, before, beforeEach, test } from 'node:test';
import { installClaude, introduces, out, until } from '../support/chatclaude.mjs';
import { asks, calls, init, result, toolResult } from '../support/chatlines.mjs';
import { chatSteps } from '../support/chatsteps.mjs';
import { axeFindings, startEditor } from '../support/editor.mjs';
import { makeGh } from '../support/github.mjs';
import { repositoryIn } from '../support/repository.mjs';
import { freshPage, settled } from '../support/steps.mjs';

const gh = makeGh();
let editor;
let claude;
let page;

before(async () => {
  editor = await startEditor({
    env: gh.env,
    prepare: (project) => {
      const { begin, write } = repositoryIn(project);
      begin({ '.gitignore': '.marlin/\n', 'pond.txt': 'carp\npike\nroach\n' });
      write('pond.txt', 'carp\ntrout\nroach\n');
    },
  });
  claude = await installClaude(editor);
});
after(async () => {
  await editor?.stop();
  gh.remove();
});
beforeEach(async () => {
  page = await freshPage(editor);
});
afterEach(async () => {
  assert.deepEqual(page?.complaints ?? [], []);
  await page?.done();
});

const basket = () => page.locator('.basket-remark');
const remarkField = () => page.getByRole('textbox', { name: 'Remark', exact: true });

/** Opens the comparison of the changed file, with the keys in its newer side. */
async function openComparison() {
  await page.keyboard.press('Control+Shift+G');
  await page.locator('.scm-row[data-key="proj/changes/pond.txt"]').press('Enter');
  await page.locator('.diff-view .modified .view-line', { hasText: 'trout' }).waitFor();
  await page.waitForFunction(() => document.activeElement?.closest('.modified') !== null);
}

async function write(words) {
  await remarkField().fill(words);
  await page.keyboard.press('Control+Enter');
  await remarkField().waitFor({ state: 'detached' });
  await settled(page);
}

/** A remark on the second line of the newer side, and one on the older one. */
async function remarkOnBoth() {
  await openComparison();
  await page.keyboard.press('Control+Home');
  await page.keyboard.press('ArrowDown');
  await page.keyboard.press('Control+k');
  await page.keyboard.press('n');
  await remarkField().waitFor();
  await write('Trout do not live in ponds.');
  await page.locator('.diff-view .original .view-line', { hasText: 'pike' }).click({ button: 'right' });
  await page.getByRole('menuitem', { name: 'Write a Remark…' }).click();
  await remarkField().waitFor();
  await write('Pike would.');
  await page.getByRole('button', { name: '2 remarks in the basket' }).click();
  await basket().nth(1).waitFor();
}

test('basket: remarks of both sides are edited, lead back, outlive a reload, and go out as one message', async () => {
  await remarkOnBoth();
  assert.match(await basket().nth(0).innerText(), /proj\/pond\.txt:2[^]*Working tree against Staged[^]*trout/);
  assert.match(await basket().nth(1).innerText(), /proj\/pond\.txt:2[^]*as it was before[^]*pike/);
  assert.deepEqual(await axeFindings(page), []);
  await basket().nth(1).getByRole('textbox').fill('A pike would.');
  const headers = { 'x-marlin-token': editor.token };
  const kept = async () => (await fetch(`${editor.origin}/api/ui-state`, { headers })).text();
  await until(async () => (await kept()).includes('A pike would.'));
  await page.reload();
  await basket().nth(1).waitFor();
  await page.locator('.tab.front .tab-close').click();
  await basket().nth(0).getByRole('button', { name: 'Show proj/pond.txt:2' }).click();
  await page.locator('.diff-view .modified .view-line', { hasText: 'trout' }).waitFor();
  await claude.play(...introduces(), 'expect "user"', out(init()), out(result()));
  await page.getByRole('button', { name: 'Send to Chat' }).click();
  await page.locator('.chat-result').waitFor();
  const said = (await claude.stdin()).find(({ type }) => type === 'user');
  const text = JSON.stringify(said.message.content);
  assert.match(text, /1\. proj\/pond\.txt:2 \(Working tree against Staged\)\\n\\n> trout\\n\\nTrout do not live in ponds\./);
  assert.match(text, /2\. proj\/pond\.txt:2 \(Working tree against Staged, as it was before\)\\n\\n> pike\\n\\nA pike would\./);
  await page.getByRole('tab', { name: 'Basket', exact: true }).click();
  await page.getByText('Remarks on lines gather here.').waitFor();
  assert.deepEqual(await axeFindings(page), []);
});

test('basket: what could not be sent stays, and goes out only once', async () => {
  await editor.api('agent/stop');
  await editor.api('config', { claudeCommand: '/nowhere/claude' });
  await remarkOnBoth();
  await basket().nth(1).getByRole('button', { name: /^Remove the remark/ }).click();
  await page.waitForFunction(() => document.activeElement?.matches('.basket-remark textarea'));
  await page.getByRole('button', { name: 'Send to Chat' }).click();
  await page.locator('.toast', { hasText: 'Could not send the remarks:' }).waitFor();
  assert.equal(await basket().count(), 1);
  await page.keyboard.press('Control+Alt+C');
  assert.equal(await page.locator('.chat-queue').count(), 0, 'the conversation does not hold it too');
  await editor.api('config', { claudeCommand: claude.path });
  const refusals = page.complaints.splice(0).filter((words) => !words.includes('status of 500'));
  assert.deepEqual(refusals, []);
});

test('basket: lines of what Claude edited, by keys and mouse, lead to the file and back to the conversation', async () => {
  const { talk, ended, field } = chatSteps(page, claude);
  const path = join(editor.project, 'pond.txt');
  const edit = { file_path: path, old_string: 'pike\nroach', new_string: 'trout\nroach' };
  await talk([
    out(init()),
    out(calls('t1', 'Edit', edit)),
    out(toolResult('t1', 'ok')),
    out(calls('t2', 'Edit', { ...edit, new_string: 'nowhere' })),
    out(toolResult('t2', 'ok')),
    out(calls('t3', 'Write', { file_path: path, content: 'carp\ntrout\nroach\n' })),
    out(toolResult('t3', 'no', true)),
    out(result()),
  ]);
  await ended();
  const lines = (call) => page.locator(`[data-call="${call}"]`).getByRole('listbox', { name: 'Lines of proj/pond.txt' });
  await lines('t1').focus();
  for (const key of ['ArrowDown', 'ArrowDown', 'Shift+ArrowDown']) await page.keyboard.press(key);
  assert.deepEqual(await lines('t1').getByRole('option', { selected: true }).allInnerTexts(), ['+ trout', '  roach']);
  assert.deepEqual(await axeFindings(page), []);
  await page.keyboard.press('r');
  await remarkField().waitFor();
  await write('Two lines.');
  await page.waitForFunction(() => document.activeElement?.closest('[data-call="t1"]'));
  await lines('t1').getByRole('option', { name: '- pike' }).click({ button: 'right' });
  await page.getByRole('menuitem', { name: 'Remark on the Line…' }).click();
  await write('It was a pike.');
  await lines('t2').getByRole('option', { name: '+ nowhere' }).dblclick();
  await lines('t2').getByRole('option', { name: '+ nowhere' }).click({ button: 'right' });
  await page.getByRole('menuitem', { name: 'Copy' }).waitFor(); // the word that is marked
  await page.getByRole('menuitem', { name: 'Remark on the Whole Change…' }).click();
  await write('Not there.');
  await lines('t3').getByRole('option', { name: '+ roach' }).click();
  await page.keyboard.press('r');
  await write('Written third.');
  await page.getByRole('button', { name: '4 remarks in the basket' }).click();
  await basket().nth(3).waitFor();
  assert.match(await basket().nth(0).innerText(), /proj\/pond\.txt:2-3[^]*an edit of Claude[^]*trout\nroach/);
  assert.match(await basket().nth(1).innerText(), /proj\/pond\.txt:2\n[^]*as it was before[^]*pike/);
  assert.match(await basket().nth(2).innerText(), /proj\/pond\.txt\n[^]*nowhere/);
  assert.match(await basket().nth(3).innerText(), /proj\/pond\.txt:3\n[^]*an edit that Claude proposed[^]*roach/);
  await basket().nth(3).getByRole('button', { name: 'Show proj/pond.txt:3' }).click();
  await page.waitForSelector('.tab.front[title="proj/pond.txt"]');
  await page.locator('.status', { hasText: 'Ln 3' }).waitFor();
  await claude.play(...introduces(), 'expect "user"', out(init()), out(result()));
  await page.getByRole('button', { name: 'Send to Chat' }).click();
  await field().waitFor();
  const said = await until(async () => (await claude.stdin()).findLast(({ type, message }) => type === 'user' && JSON.stringify(message).includes('Two lines.')));
  assert.match(JSON.stringify(said.message.content), /proj\/pond\.txt:2-3 \(an edit of Claude\)\\n\\n> trout\\n> roach\\n\\nTwo lines\./);
});

test('basket: lines of what Claude asks to edit', async () => {
  const { talk, card } = chatSteps(page, claude);
  const input = { file_path: join(editor.project, 'pond.txt'), old_string: 'roach', new_string: 'perch' };
  await talk([out(init()), out(asks('q1', 'Edit', input)), 'expect "control_response"', out(result())]);
  await card().getByRole('option', { name: '- roach' }).click();
  await page.keyboard.press('r');
  await write('Keep it.');
  await card().waitFor();
  await page.getByRole('button', { name: '1 remark in the basket' }).click();
  await basket().waitFor();
  assert.match(await basket().innerText(), /proj\/pond\.txt:3\n[^]*an edit that Claude proposed, as it was before[^]*roach/);
});

test('basket: a task gets the remarks', async () => {
  await remarkOnBoth();
  await claude.play(...introduces(), 'expect "user"', out(init()), out(result()));
  await page.getByRole('button', { name: 'Make a Task…' }).click();
  await page.getByRole('option', { name: 'New task in proj' }).click();
  await page.locator('.toast', { hasText: 'A task has the remarks now: Review remarks on pond.txt' }).waitFor();
  await page.getByText('Remarks on lines gather here.').waitFor();
  const { tasks } = await editor.api('dispatch/list');
  assert.equal(tasks.at(-1).title, 'Review remarks on pond.txt');
  await until(async () => JSON.stringify(await claude.stdin()).includes('Trout do not live in ponds.'));
});
