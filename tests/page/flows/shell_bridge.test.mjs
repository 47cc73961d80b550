// The shell and its bridge: the link lost and found, events, long calls, the window, the end.
import assert from 'node:assert/strict';
import { readFile } from 'node:fs/promises';
import { join } from 'node:path';
import { after, before, test } from 'node:test';
import { openPage, startEditor } from '../support/editor.mjs';

let editor;
/** The page's links, the newest last; each can be closed or sent to from here. */
const links = [];
/** While set, new links are refused, and counted. */
let refuse = false;
let refused = 0;
let page;

before(async () => {
  editor = await startEditor({ files: { 'a.txt': 'hello\n' } });
  page = await openPage(editor);
  await page.routeWebSocket(/\/events/, (link) => {
    if (refuse) {
      refused += 1;
      return link.close();
    }
    link.connectToServer();
    links.push(link);
  });
  await page.reload();
  await page.getByRole('treeitem', { name: 'a.txt' }).waitFor();
});
after(async () => {
  await page?.done();
  await editor?.stop();
});

const push = (event) => links.at(-1).send(JSON.stringify(event));

test('bridge: a lost link shows a banner, and when it is back everything is read again', async () => {
  refuse = true;
  links.at(-1).close();
  await page.getByText('No link to the editor').waitFor();
  await page.locator('.status').getByText('No link').waitFor();
  // By now the page waits for seconds between its own attempts, so the next one is the button's.
  while (refused < 6) await page.waitForTimeout(50);
  refuse = false;
  const again = ['/api/state', '/api/window'].map((route) =>
    page.waitForResponse((response) => new URL(response.url()).pathname === route),
  );
  await page.getByRole('button', { name: 'Try now' }).dispatchEvent('click');
  await page.getByText(/The link was down for .*Everything was read again/).waitFor();
  await Promise.all(again);
  assert.equal(await page.getByText('No link to the editor').count(), 0);
  await page.getByRole('button', { name: 'Dismiss' }).click();
  assert.equal(await page.getByText('The link was down').count(), 0);
});

test('bridge: an event that nobody knows is in the log with its fields', async () => {
  push({ type: 'from.the.future', depth: { x: 17 } });
  await page.keyboard.press('Control+Shift+U');
  await page.getByRole('button', { name: /Unknown event "from.the.future"/ }).click();
  await page.locator('.log-detail').getByText('"x": 17').waitFor();
});

test('bridge: the page dims and keeps still while the window has not the focus', async () => {
  push({ type: 'window.state', ok: true, frameless: false, maximized: false, active: false });
  await page.locator('.page.resting').waitFor();
  push({ type: 'window.state', ok: true, frameless: false, maximized: true, active: true });
  await page.locator('.page:not(.resting)').waitFor();
  await page.getByRole('menuitem', { name: 'Window' }).click();
  const row = page.getByRole('menuitemcheckbox', { name: 'Maximise' });
  assert.equal(await row.getAttribute('aria-checked'), 'true');
  await page.keyboard.press('Escape');
});

test('bridge: the commands of the window reach it', async () => {
  const sent = [];
  page.on(
    'request',
    (request) => request.url().endsWith('/api/window') && sent.push(request.postDataJSON().cmd),
  );
  for (const name of ['Minimise', 'Maximise']) {
    await page.getByRole('menuitem', { name: 'Window' }).click();
    const answered = page.waitForResponse('**/api/window');
    await page.getByRole(name === 'Maximise' ? 'menuitemcheckbox' : 'menuitem', { name }).click();
    assert.deepEqual(await (await answered).json(), { ok: true });
  }
  assert.deepEqual(sent, ['minimize', 'maximize']);
});

test('bridge: of five long calls three run, the tray shows them, and keys still save files', async () => {
  const held = [];
  await page.route('**/api/git/fetch', (route) => held.push(route));
  await page.evaluate(async () => {
    const { call } = await import('/bridge/api.js');
    for (let i = 1; i <= 5; i++) call('git/fetch', {}, { job: `Fetch ${i}` }).catch(() => {});
  });
  await page.keyboard.press('Control+Shift+P');
  await page.keyboard.type('show jobs');
  await page.keyboard.press('Enter');
  const row = (name) => page.locator('.job').filter({ hasText: name });
  await row('Fetch 4').getByText('waiting for its turn').waitFor();
  assert.equal(held.length, 3);
  assert.equal(
    await page.evaluate(
      async () => (await (await import('/bridge/api.js')).get('tree', { path: 'proj' })).path,
    ),
    'proj',
  );

  await row('Fetch 5').getByRole('button', { name: 'Cancel Fetch 5' }).click();
  await row('Fetch 5').getByText('cancelled').waitFor();
  await held[0].fulfill({ json: { ok: true } });
  await row('Fetch 4').locator('.codicon-loading').waitFor();
  await row('Fetch 2').waitFor(); // a row after three seconds
  await held[1].fulfill({ status: 400, json: { ok: false, error: 'no remote' } });
  await row('Fetch 2').getByText('no remote').waitFor();
  await held[2].fulfill({ json: { ok: true } });
  await row('Fetch 3').getByText('done').waitFor();
  await page.unroute('**/api/git/fetch');
});

test('bridge: the first paint needs no script', async () => {
  const context = await page.context().browser().newContext({ javaScriptEnabled: false });
  const still = await context.newPage();
  await still.goto(editor.url);
  const box = await still.locator('.frame').boundingBox();
  assert.ok(box && box.width > 1000 && box.height > 500);
  const shot = (await still.screenshot({ clip: { x: 700, y: 300, width: 1, height: 1 } })).toString('base64');
  const colour = await page.evaluate(async (data) => {
    const picture = new Image();
    picture.src = `data:image/png;base64,${data}`;
    await picture.decode();
    const canvas = new OffscreenCanvas(1, 1).getContext('2d');
    canvas.drawImage(picture, 0, 0);
    return [...canvas.getImageData(0, 0, 1, 1).data];
  }, shot);
  assert.deepEqual(colour, [15, 23, 34, 255]);
  await context.close();
});

test('bridge: quitting saves the layout first and ends the program', async () => {
  await page.keyboard.press('Control+b');
  await page.keyboard.press('Control+q');
  assert.equal(await editor.ended(), 0);
  const kept = JSON.parse(await readFile(join(editor.home, '.config/marlin-bench/ui-state.json'), 'utf8'));
  assert.equal(kept.layout.side.open, false);
});
