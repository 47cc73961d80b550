// The browser pane: the page steers it, the native side shows it.
import assert from 'node:assert/strict';
import { once } from 'node:events';
import { createServer } from 'node:http';
import { after, before, test } from 'node:test';
import { axeFindings, openPage, startEditor } from '../support/editor.mjs';

let editor;
let page;
let server;
let port;

before(async () => {
  server = createServer((request, response) => {
    response.setHeader('content-type', 'text/html');
    response.end(`<title>Page ${request.url}</title><body>hello`);
  });
  server.listen(0, '127.0.0.1');
  await once(server, 'listening');
  port = server.address().port;
  editor = await startEditor({ files: { 'a.txt': 'hello\n' } });
  page = await openPage(editor);
});
after(async () => {
  await page?.done();
  await editor?.stop();
  server?.closeAllConnections();
  server?.close();
});

const address = () => page.getByRole('combobox', { name: 'Address' });
const bounds = (visible) =>
  page.waitForRequest((request) => {
    const body = request.url().endsWith('/api/browser') ? JSON.parse(request.postData() ?? '{}') : {};
    return body.cmd === 'bounds' && body.visible === visible;
  });
async function goTo(words) {
  await address().fill(words);
  await address().press('Enter');
}

test('browser: an address is shown, with its title, and the pane lies where its room is', async () => {
  await page.keyboard.press('Control+Shift+P');
  await page.keyboard.type('Show Browser Pane');
  await page.keyboard.press('Enter');
  await goTo(editor.origin);
  await page.getByText('This is the editor itself.').waitFor();
  const placed = bounds(true);
  await goTo(`localhost:${port}/one`);
  const { x, y, w, h } = JSON.parse((await placed).postData());
  const room = await page.locator('.browser-room').boundingBox();
  assert.deepEqual([x, y, w, h], [room.x, room.y, room.width, room.height].map(Math.round));
  await page.getByRole('tab', { name: /Page \/one/ }).waitFor();
  assert.deepEqual(await axeFindings(page), []);
});

test('browser: back and forward follow what was visited', async () => {
  await goTo(`localhost:${port}/two`);
  await page.getByRole('tab', { name: /Page \/two/ }).waitFor();
  await page.getByRole('button', { name: 'Back', exact: true }).click();
  await page.getByRole('tab', { name: /Page \/one/ }).waitFor();
  await page.getByRole('button', { name: 'Forward', exact: true }).click();
  await page.getByRole('tab', { name: /Page \/two/ }).waitFor();
});

test('browser: the pane makes way for a menu and for another tab, and comes back', async () => {
  const hidden = bounds(false);
  await page.keyboard.press('Control+Shift+P');
  await hidden;
  const back = bounds(true);
  await page.keyboard.press('Escape');
  await back;
  const away = bounds(false);
  await page.getByRole('treeitem', { name: 'a.txt' }).click();
  await away;
});

test('browser: an address that nobody answers says so', async () => {
  await page.getByRole('tab', { name: /Page \/two/ }).click();
  const gone = createServer();
  gone.listen(0, '127.0.0.1');
  await once(gone, 'listening');
  const { port: nobody } = gone.address();
  gone.close();
  await once(gone, 'close');
  await goTo(`127.0.0.1:${nobody}`);
  await page.getByText('The page could not be reached. Check the address or your connection.').waitFor();
});
