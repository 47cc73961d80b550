// The shell, driven by keyboard and mouse in Chromium on the real bridge.
import assert from 'node:assert/strict';
import { after, before, test } from 'node:test';
import { axeFindings, openPage, startEditor } from '../support/editor.mjs';

let editor;
let page;

before(async () => {
  editor = await startEditor({ files: { 'a.txt': 'hello\n', 'src/b.txt': 'b\n' } });
  page = await openPage(editor);
});
after(async () => {
  await page?.done();
  await editor?.stop();
});

const focused = () =>
  page.evaluate(() => document.activeElement?.getAttribute('aria-label') ?? document.activeElement?.tagName);
const sizeOf = async (selector) =>
  (await page.locator(selector).boundingBox()) ?? { x: 0, y: 0, width: 0, height: 0 };
/** Runs a command by its name, as people do. */
async function palette(words) {
  await page.keyboard.press('Control+Shift+P');
  await page.keyboard.type(words);
  await page.keyboard.press('Enter');
}

test('shell: the token leaves the address, is in no cookie, and a reload still has it', async () => {
  assert.equal(await page.evaluate(() => location.href), `${editor.origin}/`);
  assert.equal(await page.evaluate(() => document.cookie), '');
  await page.reload();
  await page.waitForSelector('.status');
  await page.getByRole('treeitem', { name: 'a.txt' }).waitFor();
  assert.deepEqual(page.complaints, []);
});

test('shell: without a token the page says where to find the address', async () => {
  const other = await openPageRaw(editor.origin);
  await other.getByText('This address lacks its key').waitFor();
  await other.context().close();
});

test('shell: the policy keeps out inline scripts and other hosts', async () => {
  const ran = await page.evaluate(async () => {
    const script = document.createElement('script');
    script.textContent = 'globalThis.intruder = true';
    document.head.append(script);
    const reached = await fetch('http://127.0.0.1:9/').then(
      () => true,
      () => false,
    );
    return [globalThis.intruder === true, reached];
  });
  assert.deepEqual(ran, [false, false]);
  assert.ok(page.complaints.some((line) => /Content Security Policy/.test(line)));
  page.complaints.length = 0;
});

test('shell: the palette takes every key that follows its own, and gives the focus back', async () => {
  await page.getByRole('treeitem', { name: 'a.txt' }).focus();
  const before = await focused();
  await page.keyboard.press('Control+Shift+P');
  await page.keyboard.type('panel bottom');
  assert.equal(await page.getByRole('combobox').inputValue(), 'panel bottom');
  assert.match(await page.getByRole('option', { selected: true }).innerText(), /Toggle Bottom Panel/);
  await page.keyboard.press('Escape');
  assert.equal(await focused(), before);
});

test('shell: what was used lately stands first in the palette', async () => {
  await palette('show log');
  await page.getByRole('tab', { name: 'Log', selected: true }).waitFor();
  await page.keyboard.press('Control+Shift+P');
  assert.match(await page.getByRole('option').first().innerText(), /Show Log/);
  await page.keyboard.press('Escape');
});

test('shell: menus work by keyboard alone', async () => {
  await page.keyboard.press('F10');
  await page.keyboard.press('ArrowDown');
  assert.equal(await page.getByRole('menu').getAttribute('aria-label'), 'File');
  await page.keyboard.press('ArrowRight');
  await page.keyboard.press('ArrowRight');
  await page.keyboard.press('ArrowRight');
  assert.equal(await page.getByRole('menu').getAttribute('aria-label'), 'View');
  await page.keyboard.type('z');
  assert.match(await page.evaluate(() => document.activeElement.textContent), /Zoom In/);
  await page.keyboard.press('Escape');
  assert.equal(await page.getByRole('menu').count(), 0);
  assert.match(await page.evaluate(() => document.activeElement.textContent), /View/);
});

test('shell: a menu shows the keys that the commands have', async () => {
  await page.getByRole('menuitem', { name: 'View' }).click();
  const row = page.getByRole('menuitemcheckbox', { name: /Toggle Side Panel/ });
  assert.match(await row.innerText(), /Ctrl\+B/);
  assert.equal(await row.getAttribute('aria-checked'), 'true');
  await row.click();
  await page.locator('[data-place="side"]').waitFor({ state: 'detached' });
  await page.keyboard.press('Control+b');
  await page.locator('[data-place="side"]').waitFor();
});

test('shell: a place is resized by keyboard and mouse, folds, and comes back as it was left', async () => {
  const line = page.getByRole('separator', { name: 'Size of the side panel' });
  await line.focus();
  const first = await sizeOf('[data-place="side"]');
  for (let i = 0; i < 3; i++) await page.keyboard.press('ArrowRight');
  assert.equal((await sizeOf('[data-place="side"]')).width, first.width + 48);

  const { x, y, width } = await sizeOf('[data-place="side"] > [role="separator"]');
  await page.mouse.move(x + width / 2, y + 100);
  await page.mouse.down();
  await page.mouse.move(x + width / 2 + 64, y + 120, { steps: 4 });
  await page.mouse.up();
  assert.equal((await sizeOf('[data-place="side"]')).width, first.width + 112);
  assert.equal(await line.getAttribute('aria-valuenow'), String((first.width + 112) / 16));

  await page.keyboard.press('Control+j');
  const bottom = await page.locator('[data-place="bottom"]').count();
  await savedLayout();
  await page.reload();
  await page.waitForSelector('.status');
  assert.equal((await sizeOf('[data-place="side"]')).width, first.width + 112);
  assert.equal(await page.locator('[data-place="bottom"]').count(), bottom);
  await line.dblclick();
  assert.equal((await sizeOf('[data-place="side"]')).width, first.width);
});

test('shell: F6 goes round the parts and never loses the focus', async () => {
  const seen = new Set();
  for (let i = 0; i < 8; i++) {
    await page.keyboard.press('F6');
    seen.add(
      await page.evaluate(() => document.activeElement?.closest('[data-part]')?.getAttribute('data-part')),
    );
  }
  for (const part of ['header', 'activity', 'side', 'center', 'status']) {
    if (part === 'status' && !(await page.locator('.status button').count())) continue;
    assert.ok(seen.has(part), `${part} is not among ${[...seen]}`);
  }
  assert.ok(!seen.has(undefined));
});

test('shell: folding the panel that has the focus leaves the focus somewhere', async () => {
  await page.getByRole('treeitem', { name: 'a.txt' }).focus();
  await page.keyboard.press('Control+b');
  await page.locator('[data-place="side"]').waitFor({ state: 'detached' });
  assert.notEqual(await focused(), 'BODY');
  await page.keyboard.press('Control+b');
});

test('shell: a text field has a menu by keyboard, with cut, copy and paste', async () => {
  await page.keyboard.press('Control+Shift+P');
  const field = page.getByRole('combobox');
  await field.fill('abc');
  await field.selectText();
  await page.keyboard.press('Shift+F10');
  await page.getByRole('menuitem', { name: 'Cut' }).press('Enter');
  await page.waitForFunction(() => document.querySelector('[role="combobox"]').value === '');
  assert.equal(await page.evaluate(() => navigator.clipboard.readText()), 'abc');
  await page.keyboard.press('ContextMenu');
  await page.keyboard.press('Escape');
  assert.equal(await page.evaluate(() => document.activeElement.getAttribute('role')), 'combobox');
  await page.keyboard.press('ContextMenu');
  await page.getByRole('menuitem', { name: 'Paste' }).click();
  await page.waitForFunction(() => document.querySelector('[role="combobox"]').value === 'abc');
  await page.keyboard.press('Escape');
});

test('shell: no native context menu comes anywhere', async () => {
  const native = await page.evaluate(() => {
    const all = ['.window-header', '.activity', '.center', '.status', '[data-place="side"]'];
    return all.filter((selector) => {
      const event = new MouseEvent('contextmenu', { bubbles: true, cancelable: true });
      document.querySelector(selector).dispatchEvent(event);
      return !event.defaultPrevented;
    });
  });
  assert.deepEqual(native, []);
  await page.keyboard.press('Escape');
});

test('shell: themes follow the desktop until one is chosen, and the choice is kept', async () => {
  const themeNow = () => page.evaluate(() => document.documentElement.dataset.theme);
  const becomes = (id) =>
    page.waitForFunction((theme) => document.documentElement.dataset.theme === theme, id);
  await page.emulateMedia({ colorScheme: 'light' });
  await becomes('marlin-light');
  await page.emulateMedia({ colorScheme: 'dark', contrast: 'more' });
  await becomes('marlin-contrast-dark');
  await page.emulateMedia({ colorScheme: 'dark', contrast: 'no-preference' });
  await becomes('marlin-dark');

  await palette('colour theme');
  await page.getByRole('combobox', { name: 'Colour theme' }).waitFor();
  await page.keyboard.type('light high');
  assert.equal(await themeNow(), 'marlin-contrast-light', 'it is tried on while it is lit');
  await page.keyboard.press('Escape');
  assert.equal(await themeNow(), 'marlin-dark', 'and put back');
  await palette('colour theme');
  await page.keyboard.type('marlin light');
  await page.keyboard.press('Enter');
  await savedLayout();
  await page.reload();
  await page.waitForSelector('.status');
  assert.equal(await themeNow(), 'marlin-light');
});

test('shell: with reduced motion nothing moves', async () => {
  await page.emulateMedia({ reducedMotion: 'reduce' });
  await page.evaluate(async () => (await import('/shell/toasts.js')).toast({ kind: 'info', text: 'quiet' }));
  await page.locator('.toast').waitFor();
  assert.equal(await page.locator('.toast').evaluate((one) => getComputedStyle(one).animationName), 'none');
  await page.getByRole('button', { name: 'Dismiss' }).click();
  await page.emulateMedia({ reducedMotion: 'no-preference' });
});

test('shell: at 200 percent all of the page is still in the window', async () => {
  await page.keyboard.press('Control+0');
  for (let i = 0; i < 6; i++) await page.keyboard.press('Control+=');
  assert.equal(await page.evaluate(() => getComputedStyle(document.documentElement).fontSize), '32px');
  const outside = await page.evaluate(() => {
    const parts = [...document.querySelectorAll('[data-part], .window-header button, .status button')];
    return parts
      .filter((part) => part.checkVisibility())
      .filter((part) => {
        const { left, right, top, bottom } = part.getBoundingClientRect();
        return left < -1 || top < -1 || right > innerWidth + 1 || bottom > innerHeight + 1;
      })
      .map((part) => part.outerHTML.slice(0, 80));
  });
  assert.deepEqual(outside, []);
  await page.getByRole('button', { name: 'Main menu' }).click();
  await page.getByRole('menuitem', { name: 'Window' }).press('ArrowRight');
  await page.getByRole('menuitem', { name: 'Minimise' }).waitFor();
  await page.keyboard.press('Escape');
  await page.keyboard.press('Escape');
  assert.deepEqual(await axeFindings(page), []);
  await page.keyboard.press('Control+0');
});

test('shell: a failure is a toast and an entry of the log, with what was tried and the words', async () => {
  await palette('add folder');
  await page.getByRole('dialog').getByRole('textbox').fill('/no/such/folder');
  await page.keyboard.press('Enter');
  await page.locator('.toast').filter({ hasText: 'not a folder: /no/such/folder' }).waitFor();
  page.complaints.length = 0; // Chromium names every status of 400
  await page.keyboard.press('Control+Shift+U');
  await page.locator('.log').getByText('not a folder: /no/such/folder').waitFor();
});

test('shell: a dialog keeps the focus inside and Escape is no answer', async () => {
  await palette('about marlin');
  const dialog = page.getByRole('dialog', { name: 'Marlin Bench' });
  await dialog.getByText('0.2.5').waitFor();
  for (let i = 0; i < 5; i++) {
    await page.keyboard.press('Tab');
    assert.ok(await dialog.evaluate((one) => one.contains(document.activeElement)));
  }
  await page.keyboard.press('Control+b');
  assert.equal(await page.locator('[data-place="side"]').count(), 1, 'nothing behind it acts');
  await page.keyboard.press('Escape');
  assert.equal(await dialog.count(), 0);
});

for (const theme of ['marlin-dark', 'marlin-light', 'marlin-contrast-dark', 'marlin-contrast-light']) {
  test(`shell: axe finds nothing in any view of ${theme}`, async () => {
    await page.evaluate(async (id) => (await import('/look/theme.js')).chooseTheme(id), theme);
    const found = {};
    const look = async (view) => {
      await page.evaluate(() =>
        Promise.all(document.getAnimations().map((one) => one.finished.catch(() => {}))),
      );
      const findings = await axeFindings(page);
      if (findings.length) found[view] = findings;
    };
    await page.evaluate(async () => {
      const { toast } = await import('/shell/toasts.js');
      toast({
        kind: 'error',
        text: 'Could not save',
        detail: 'why',
        actions: [{ label: 'Again', run() {} }],
      });
    });
    await palette('show log');
    await look('log and toast');
    await palette('show jobs');
    await look('jobs');
    await page.keyboard.press('Control+Shift+P');
    await look('palette');
    await page.keyboard.press('Escape');
    await page.getByRole('menuitem', { name: 'View' }).click();
    await look('menu');
    await page.keyboard.press('Escape');
    await palette('licences');
    await page.getByText('monaco-editor').waitFor();
    await look('dialog');
    await page.keyboard.press('Escape');
    const dismiss = page.getByRole('button', { name: 'Dismiss' });
    while (await dismiss.count()) await dismiss.first().click();
    assert.deepEqual(found, {});
  });
}

/** Waits until the saved layout is on disk, so that a reload finds it. */
async function savedLayout() {
  await page.evaluate(async () => (await import('/stores/uistate.js')).flush());
}

/** A page at an address as it is. */
async function openPageRaw(url) {
  const other = await page.context().browser().newContext();
  const raw = await other.newPage();
  await raw.goto(url);
  return raw;
}
