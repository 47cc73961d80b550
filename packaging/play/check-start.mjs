// Starts an installed editor, looks whether its page works, and ends it:
// node packaging/play/check-start.mjs VERSION PAGE ROOT COMMAND...
//
// PAGE is the bundled page that the package should serve, ROOT what the program sees as "/". Prints a line
// for each thing seen; the exit code is 1 at the first that is not as it should be.
import assert from 'node:assert/strict';
import { mkdirSync, mkdtempSync, readFileSync, readdirSync, rmSync, writeFileSync } from 'node:fs';
import { join } from 'node:path';
import { startDisplay, startProgram, until, WAIT_MS } from './program.mjs';

const [version, page, root, ...command] = process.argv.slice(2);
const seen = (words) => console.log(`   seen: ${words}`);

/** Every file of the bundle and what the page takes from vendor/ comes over the bridge, byte for byte. */
async function checkFiles({ url, origin }) {
  const html = await (await fetch(url)).text();
  assert.equal(html, readFileSync(join(page, 'index.html'), 'utf8'), 'the start page');
  const files = readdirSync(page, { recursive: true }).filter((name) => /\.(js|css)$/.test(name));
  for (const name of files) {
    const response = await fetch(`${origin}/${name}`);
    assert.equal(response.status, 200, name);
    assert.match(response.headers.get('content-type'), name.endsWith('.js') ? /javascript/ : /css/);
    assert.equal(await response.text(), readFileSync(join(page, name), 'utf8'), name);
  }
  const vendor = [...html.matchAll(/href="(\/vendor\/[^"]+)"/g)].map(([, path]) => path);
  for (const path of [...vendor, '/vendor/monaco.js', '/vendor/editor.worker.js', '/vendor/licences.json']) {
    const response = await fetch(origin + path);
    assert.equal(response.status, 200, path);
    assert.ok((await response.arrayBuffer()).byteLength > 0, path);
  }
  seen(`the start page and ${files.length} files of the bundle, ${vendor.length + 3} of vendor`);
}

/** A file of the command line is in the editor; one that is asked for later comes over the socket. */
async function checkWindow(program, bridge, later) {
  const window = await program.window();
  const text = (words) =>
    window.until(
      `[...document.querySelectorAll('.monaco-editor .view-lines')].some(({ textContent }) => ` +
        `textContent.replaceAll('\\u00a0', ' ').includes(${JSON.stringify(words)}))`,
      WAIT_MS,
    );
  await text('first words');
  seen('the window shows the file of the command line in the editor');
  const { ok } = await bridge.api('open', { paths: [later] });
  assert.equal(ok, true);
  await text('second words');
  seen('the page follows an event of its WebSocket');
  window.close();
}

const home = mkdtempSync(join(root, 'tmp/marlin-play-'));
const inside = (name) => home.slice(root === '/' ? 0 : root.length) + name;
mkdirSync(join(home, 'proj'));
writeFileSync(join(home, 'proj/first.txt'), 'first words\n');
writeFileSync(join(home, 'proj/second.txt'), 'second words\n');
const display = await startDisplay();
const program = await startProgram({
  command: [...command, inside('/proj/first.txt')],
  display: display.name,
  home,
  root,
});
try {
  const bridge = await Promise.race([
    program.bridge(),
    program.exited.then((code) => Promise.reject(new Error(`the program ended: ${code}`))),
  ]);
  await checkFiles(bridge);
  await checkWindow(program, bridge, inside('/proj/second.txt'));
  // Only now: the state hands out the files to open, once, and those are for the page.
  const state = await bridge.api('state', {});
  assert.equal(state.version, version);
  seen(`version ${state.version} answers on its bridge`);
  await bridge.api('shutdown', {}).catch(() => {}); // the answer may be cut off
  const code = await until('the end', () => program.child.exitCode !== null && { code: program.child.exitCode });
  assert.equal(code.code, 0);
  seen('it ended with code 0');
} catch (error) {
  console.error(error.message, `\n${program.words()}`);
  process.exitCode = 1;
}
display.stop();
rmSync(home, { recursive: true, force: true });
process.exit();
