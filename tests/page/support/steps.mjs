// Steps that several flow tests take in the editor's page.

import assert from 'node:assert/strict';
import { rm } from 'node:fs/promises';
import { join } from 'node:path';
import { openPage } from './editor.mjs';

/** A page that knows nothing of what earlier tests left open or unsaved. */
export async function freshPage(editor) {
  await rm(join(editor.project, '.marlin'), { recursive: true, force: true });
  await editor.api('ui-state', {});
  return openPage(editor);
}

/** Opens a file for good by a double click in the tree, opening the folders above it. */
export async function openFromTree(page, path) {
  const parts = path.split('/');
  for (let depth = 1; depth < parts.length; depth++) {
    const folder = page.locator(`[data-path="${parts.slice(0, depth).join('/')}"]`);
    await folder.waitFor();
    if ((await folder.getAttribute('aria-expanded')) === 'false') await folder.click();
  }
  await page.dblclick(`[data-path="${path}"]`);
  await page.waitForFunction(
    (id) => document.querySelector('.editor-group.active .tab.front')?.getAttribute('title') === id,
    path,
  );
  await page.waitForSelector('.editor-group.active .text-view .view-line');
}

/** Saves and waits until nothing in front is unsaved. */
export async function saved(page) {
  await page.keyboard.press('Control+s');
  await page.waitForSelector('.editor-group.active .tab.front:not(.dirty)');
}

/** The text in the group that has the focus, as it is drawn. */
export async function frontText(page) {
  // The view puts lines that come later behind the others, wherever they are drawn.
  const lines = await page.locator('.editor-group.active .text-view .view-line').evaluateAll((all) =>
    all
      .sort((one, other) => parseFloat(one.style.top) - parseFloat(other.style.top))
      .map((line) => line.innerText),
  );
  return lines
    .join('\n')
    .replace(/\u00a0/g, ' ')
    .trimEnd();
}

/**
 * Awaits that the front text reads so, or matches: the view draws it a frame or more after the tab says
 * it is there.
 */
export async function frontTextIs(page, expected) {
  const fits = (text) => (expected instanceof RegExp ? expected.test(text) : text === expected);
  const end = Date.now() + 10000;
  let seen = await frontText(page);
  while (!fits(seen) && Date.now() < end) {
    await page.waitForTimeout(20);
    seen = await frontText(page);
  }
  assert.ok(fits(seen), `the front text is ${JSON.stringify(seen)}, not ${expected}`);
}

/** Awaits that what the page puts off to the next frame, such as giving back the focus, has happened. */
export async function settled(page) {
  await page.evaluate(
    () => new Promise((done) => requestAnimationFrame(() => requestAnimationFrame(() => setTimeout(done)))),
  );
}

export function statusText(page) {
  return page.locator('.status').innerText();
}

export function tabLabels(page) {
  return page.locator('.tab').evaluateAll((tabs) => tabs.map((tab) => tab.getAttribute('aria-label')));
}
