import assert from 'node:assert/strict';
import { readFileSync } from 'node:fs';
import { after, test } from 'node:test';
import { fileURLToPath } from 'node:url';
import { axeFindings, startEditor } from '../support/editor.mjs';
import { freshPage, openFromTree, tabLabels } from '../support/steps.mjs';
import { onePixelPng, silentWav } from '../support/samples.mjs';

const kMarkdown = `# Title with words

A [file](notes/other.md), a [web page](https://example.invalid/x), [further down](#far-below), and
https://example.invalid/bare and <b onclick="alert(1)">no html</b> [script](javascript:alert(1)).

![dot](dot.png) ![remote](https://example.invalid/p.png)

- item

| a | b |
| - | - |
| 1 | 2 |

${'filler\n\n'.repeat(60)}
## Far below
`;

const codicons = readFileSync(fileURLToPath(new URL('../../../vendor/codicon.ttf', import.meta.url)));
const editor = await startEditor({
  files: {
    'dot.png': onePixelPng(),
    'broken.png': 'this is no picture',
    'drawing.svg':
      '<svg xmlns="http://www.w3.org/2000/svg" width="40" height="20"><script>globalThis.broken = true</script><rect width="40" height="20" fill="red"/></svg>',
    'sound.wav': silentWav(),
    'letters.ttf': codicons,
    'paper.pdf': '%PDF-1.4\n%%EOF\n',
    'pack.zip': Uint8Array.of(0x50, 0x4b, 5, 6, ...Array(18).fill(0)),
    'README.md': kMarkdown,
    'notes/other.md': '# Other\n',
  },
});
after(() => editor.stop());

async function open(name) {
  const page = await freshPage(editor);
  await page.dblclick(`[data-path="proj/${name}"]`);
  return page;
}

async function done(page) {
  assert.deepEqual(page.complaints, []);
  await page.done();
}

test('preview: a picture with its size, larger and smaller by buttons and keys', async () => {
  const page = await open('dot.png');
  await page.waitForFunction(() =>
    document.querySelector('.picture-bar')?.textContent?.includes('1 × 1, 100 %'),
  );
  const src = await page.locator('.picture-ground img').getAttribute('src');
  assert.match(src ?? '', /^blob:/);
  await page.locator('.picture-ground').focus();
  await page.keyboard.press('+');
  await page.waitForFunction(() => document.querySelector('.picture-bar')?.textContent?.includes('150 %'));
  await page.getByRole('button', { name: 'Smaller' }).click();
  await page.waitForFunction(() => document.querySelector('.picture-bar')?.textContent?.includes('100 %'));
  assert.deepEqual(
    (await axeFindings(page)).filter((finding) => /class="(picture|facts|media)/.test(finding)),
    [],
  );
  await done(page);
});

test('preview: a drawing is shown without its scripts ever running', async () => {
  const page = await open('drawing.svg');
  await page.waitForFunction(() => document.querySelector('.picture-bar')?.textContent?.includes('40 × 20'));
  assert.equal(await page.evaluate(() => 'broken' in globalThis), false);
  await done(page);
});

test('preview: a picture that is none says so', async () => {
  const page = await open('broken.png');
  await page.getByText('The picture could not be decoded.').waitFor();
  await done(page);
});

test('preview: sound has controls, a font shows its letters', async () => {
  const page = await open('sound.wav');
  await page.waitForFunction(() => (document.querySelector('audio')?.duration ?? 0) > 0);
  await page.dblclick('[data-path="proj/letters.ttf"]');
  await page.waitForFunction(() =>
    /sample-/.test(document.querySelector('.font-view')?.getAttribute('style') ?? ''),
  );
  assert.ok(await page.evaluate(() => [...document.fonts].some((face) => face.family.includes('sample-'))));
  await done(page);
});

test('preview: archives are facts, with the way to the file manager', async () => {
  const page = await open('pack.zip');
  await page.waitForSelector('.facts');
  const words = await page.locator('.facts').innerText();
  assert.match(words, /archive/);
  assert.match(words, /22 bytes/);
  const asked = page.waitForRequest((request) => request.url().endsWith('/api/shell/reveal'));
  await page.getByRole('button', { name: 'Reveal in File Manager' }).click();
  assert.deepEqual((await asked).postDataJSON(), { path: 'proj/pack.zip' });
  await done(page);
});

test('preview: a PDF is shown where the engine can, and is a fact elsewhere', async () => {
  const page = await open('paper.pdf');
  const able = await page.evaluate(() => navigator.pdfViewerEnabled);
  await page.waitForSelector(able ? '.pdf-view[src^="blob:"]' : '.facts');
  await done(page);
});

test('preview: Markdown beside its source follows what is typed', async () => {
  const page = await freshPage(editor);
  await openFromTree(page, 'proj/README.md');
  await page.keyboard.press('Control+k');
  await page.keyboard.press('v');
  await page.waitForSelector('.markdown-view h1');
  assert.deepEqual(await tabLabels(page), ['README.md', 'Preview of README.md']);
  await page.locator('.text-view .view-lines').click();
  await page.keyboard.press('Control+Home');
  await page.keyboard.type('New words\n\n');
  await page.waitForFunction(() => document.querySelector('.markdown-view p')?.textContent === 'New words');
  assert.deepEqual(
    (await axeFindings(page)).filter((finding) => /markdown-view/.test(finding)),
    [],
  );
  await page.keyboard.press('Control+z');
  await done(page);
});

test('preview: nothing in a Markdown text runs, calls out or leaves the page', async () => {
  const page = await freshPage(editor);
  const calls = [];
  page.on('request', (request) => calls.push(request.url()));
  await openFromTree(page, 'proj/README.md');
  await page.keyboard.press('Control+k');
  await page.keyboard.press('v');
  const view = page.locator('.markdown-view');
  await view.locator('img[src^="blob:"]').waitFor();
  assert.equal(await view.locator('img').count(), 1, 'the remote picture is its words only');
  assert.equal(await view.locator('b').count(), 0);
  assert.equal(await view.locator('a[href^="javascript"]').count(), 0);
  const asked = page.waitForRequest((request) => request.url().endsWith('/api/browser'));
  await view.getByRole('link', { name: 'web page' }).click();
  assert.deepEqual((await asked).postDataJSON(), { cmd: 'external', url: 'https://example.invalid/x' });
  const before = page.url();
  await view.getByRole('link', { name: 'further down' }).click();
  await page.waitForFunction(() => (document.querySelector('.markdown-view')?.scrollTop ?? 0) > 100);
  assert.equal(page.url(), before);
  await view.getByRole('link', { name: 'file', exact: true }).click();
  await page.waitForFunction(() =>
    [...document.querySelectorAll('.tab')].some((tab) => tab.getAttribute('title') === 'proj/notes/other.md'),
  );
  assert.deepEqual(
    calls.filter((url) => url.includes('example.invalid')),
    [],
  );
  await done(page);
});
