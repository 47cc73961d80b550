// Zen mode, and what screen readers are told: on the real bridge, with a git repository and a Claude that plays scripts.
import assert from 'node:assert/strict';
import { writeFile } from 'node:fs/promises';
import { join } from 'node:path';
import { after, afterEach, before, test } from 'node:test';
import { out } from '../support/chatclaude.mjs';
import { asks, init, result } from '../support/chatlines.mjs';
import { chatSteps } from '../support/chatsteps.mjs';
import { startWithRepository } from '../support/dispatchsteps.mjs';
import { axeFindings } from '../support/editor.mjs';
import { freshPage, openFromTree, settled } from '../support/steps.mjs';

let made;
let page;
let steps;

before(async () => {
  made = await startWithRepository();
  const lines = Array.from({ length: 99 }, (_, at) => `line ${at}\n`);
  await writeFile(join(made.editor.project, 'long.txt'), lines.join(''));
  page = await freshPage(made.editor);
  steps = chatSteps(page, made.claude);
  await page.evaluate(() => {
    const region = document.querySelector('[data-spoken-layer]');
    window.said = [];
    document.addEventListener('keydown', () => (window.keyAt = performance.now()), { capture: true });
    const note = () => {
      window.saidAt = performance.now();
      window.said.push(region.textContent.trim());
    };
    new MutationObserver(note).observe(region, {
      childList: true,
      characterData: true,
      subtree: true,
    });
  });
});
after(async () => {
  await page?.done();
  await made?.editor.stop();
});
afterEach(() => {
  assert.deepEqual(page.complaints, []);
});

/** Awaits that the live region has said something since the last call. */
async function isSaid(words) {
  await page.waitForFunction((source) => window.said.some((each) => new RegExp(source).test(each)), words.source);
  return page.evaluate(() => window.said.splice(0));
}
const shown = (...parts) =>
  page.evaluate(
    (all) => all.filter((part) => document.querySelector(part)?.checkVisibility() === true),
    parts,
  );
const kAround = ['.activity', '.place-side', '.place-bottom', '.place-right', '.tab-strip', '.breadcrumbs'];
const zen = async () => {
  await page.keyboard.press('Control+k');
  await page.keyboard.press('z');
  await page.locator('.page.zen').waitFor();
};
const left = () => page.locator('.page:not(.zen)').first().waitFor();
async function palette(words) {
  await page.keyboard.press('Control+Shift+P');
  await page.keyboard.type(words);
  await page.keyboard.press('Enter');
}

test('words: saving, the branch and the end of a search are told, together and not while somebody types', async () => {
  await openFromTree(page, 'proj/a.txt');
  await page.keyboard.type('x');
  await page.keyboard.press('Control+s');
  await isSaid(/Saved a\.txt\./);
  made.git('checkout', '-q', '-b', 'other');
  await isSaid(/proj: branch other/);
  await page.keyboard.press('Control+Shift+F');
  await page.keyboard.type('two');
  await isSaid(/1 hit in 1 file\./);
  // A hit less, while somebody goes on typing: told when the keys have rested.
  await page.keyboard.type('x', { delay: 50 });
  await page.locator('.search-words', { hasText: 'Nothing was found.' }).waitFor();
  await page.keyboard.press('Backspace');
  await isSaid(/1 hit in 1 file\./);
  assert.ok(await page.evaluate(() => window.saidAt - window.keyAt >= 1400));
  await page.keyboard.press('Control+Shift+E');
});

test('words: the status line is read on request, each item with a full name', async () => {
  await page.locator('.tab.front').click();
  await palette('Read the Status Line');
  const words = (await isSaid(/Line 1, column 2/)).join(' ');
  assert.match(words, /proj: branch other, no upstream, \d changes\. Problems: 0 errors/);
  for (const part of ['Problems: 0 errors, 0 warnings. ', 'Encoding: UTF-8. ', 'Language: '])
    assert.ok(words.includes(part), `${part} in ${words}`);
  await palette('Read the Line and Column');
  assert.ok((await isSaid(/Line 1, column 2/)).includes('Line 1, column 2'));
  const nameless = await page
    .locator('.status .status-item')
    .evaluateAll((all) => all.filter((one) => !/[a-z]{3}/i.test(one.getAttribute('aria-label') ?? one.textContent)).length);
  assert.equal(nameless, 0);
});

test('words: the link that is lost and comes back is told', async () => {
  const link = (state) =>
    page.evaluate(async (wanted) => {
      (await import('/bridge/events.js')).linkState.value = wanted;
    }, state);
  await link('down');
  await isSaid(/The link to the editor is down\./);
  await link('open');
  await isSaid(/The link to the editor is back\./);
});

test('words: how much is told is a setting, and so is the layout for screen readers', async () => {
  await page.keyboard.press('Control+,');
  await page.getByRole('tab', { name: 'Screen Reader' }).click();
  await page.getByLabel('What screen readers are told').selectOption('needed');
  await page.getByLabel('Texts for screen readers').selectOption('on');
  assert.deepEqual(await axeFindings(page), []);
  await page.keyboard.press('Control+w');
  await page.locator('.text-view:not([hidden])').waitFor();
  await page.keyboard.type('y');
  await page.keyboard.press('Control+s');
  await page.waitForSelector('.tab.front:not(.dirty)');
  await palette('Read the Line and Column');
  const said = await isSaid(/^Line 1, column 3$/);
  assert.ok(!said.some((words) => words.includes('Saved')), 'the save was not told');
  // With a screen reader a whole page of text is in the field that has the focus, else only what is around the cursor.
  await openFromTree(page, 'proj/long.txt');
  await page.waitForFunction(() => document.querySelector('.text-view .inputarea')?.value.includes('line 90'));
  await page.keyboard.press('Control+w');
  await page.keyboard.press('Control+,');
  await page.getByLabel('What screen readers are told').selectOption('all');
  await page.getByLabel('Texts for screen readers').selectOption('auto');
  await page.keyboard.press('Control+w');
});

test('zen: all around the text goes and comes back as it was, also over a reload', async () => {
  await page.keyboard.press('Control+j');
  const before = await shown(...kAround);
  assert.ok(before.length >= 4);
  const size = (await page.locator('.place-side').boundingBox()).width;
  await page.locator('.text-view .view-line').first().click();
  await zen();
  assert.deepEqual(await shown(...kAround, '.status-item'), []);
  assert.deepEqual(await axeFindings(page), []);
  const { x, width } = await page.locator('.editor-area').boundingBox();
  assert.ok(width <= 961 && x > 100, 'the text is a column in the middle');
  await page.keyboard.press('F10');
  await page.waitForFunction(() => document.querySelector('.window-header').getBoundingClientRect().top === 0);
  await page.keyboard.press('F6');

  await page.reload();
  await page.waitForSelector('.page.zen .text-view .view-line');
  assert.deepEqual(await shown(...kAround), []);
  await page.keyboard.press('Control+b');
  assert.deepEqual(await shown(...kAround), ['.place-side']);
  await page.locator('.text-view .view-line').first().click();
  await page.keyboard.press('Escape');
  await page.keyboard.press('Escape');
  await left();
  assert.deepEqual(await shown(...kAround), before);
  assert.equal((await page.locator('.place-side').boundingBox()).width, size);
  await page.keyboard.press('Control+j');
});

test('zen: Escape closes what is open before it leaves', async () => {
  await page.locator('.text-view .view-line').first().click();
  await zen();
  await page.keyboard.press('Control+f');
  await page.locator('.find-widget.visible').waitFor();
  await page.keyboard.press('Escape');
  await page.locator('.find-widget:not(.visible)').waitFor({ state: 'attached' });
  await page.keyboard.press('Escape');
  await settled(page);
  assert.equal(await page.locator('.page.zen').count(), 1, 'the first one was the box for finding');
  await page.keyboard.press('Control+Shift+P');
  await page.locator('.pick').waitFor();
  await page.evaluate(() => {
    // The focus may be elsewhere while something floats.
    const press = () => document.body.dispatchEvent(new KeyboardEvent('keydown', { key: 'Escape', bubbles: true }));
    press();
    press();
  });
  await page.keyboard.press('Escape');
  await settled(page);
  assert.equal(await page.locator('.page.zen').count(), 1, 'and this one the palette');
  await page.keyboard.press('Escape');
  await page.keyboard.press('Escape');
  await left();
});

test('zen: a question of Claude makes itself known', async () => {
  await steps.talk([
    out(init()),
    made.claude.gate('ask'),
    out(asks('q1', 'Bash', { command: 'make' }, { tool_use_id: 'c1' })),
    'expect control_response',
    out(result()),
  ]);
  await zen();
  await writeFile(join(made.editor.project, 'b.txt'), 'two\n');
  await made.claude.allow('ask');
  const asking = page.locator('.status-item', { hasText: 'Claude asks' });
  await asking.waitFor();
  await page.locator('[role="status"]', { hasText: 'Claude asks whether it may use Bash' }).waitFor({ state: 'attached' });
  assert.deepEqual(await axeFindings(page), []);
  await asking.click();
  await page.waitForFunction(() => document.activeElement?.matches('.chat-question'));
  await page.keyboard.press('Enter');
  await steps.ended();
  await page.keyboard.press('Control+k');
  await page.keyboard.press('z');
  await left();
  assert.deepEqual(await shown('.activity', '.status-item'), ['.activity', '.status-item']);
});
