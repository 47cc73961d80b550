// The review basket in Chromium on the real bridge: remarks on comparisons, sent to the conversation or a task.
import assert from 'node:assert/strict';
import { after, afterEach, before, beforeEach, test } from 'node:test';
import { installClaude, introduces, out, until } from '../support/chatclaude.mjs';
import { init, result } from '../support/chatlines.mjs';
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
