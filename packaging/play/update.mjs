// Has an AppImage update itself from a local server:
// node packaging/play/update.mjs SITE PACKAGES PORT OLDER NEWER
//
// SITE holds the certificates and the key that the AppImages were built with; packaging/play-update makes
// them. Prints what was seen; the exit code is 1 at the first thing that is not as it should be.
import assert from 'node:assert/strict';
import { spawnSync } from 'node:child_process';
import { once } from 'node:events';
import { copyFileSync, mkdirSync, mkdtempSync, readFileSync, readdirSync, rmSync, writeFileSync } from 'node:fs';
import { createServer } from 'node:https';
import { tmpdir } from 'node:os';
import { basename, dirname, join } from 'node:path';
import { fileURLToPath } from 'node:url';
import { startDisplay, startProgram, until } from './program.mjs';

const [site, packages, port, older, newer] = process.argv.slice(2);
const tools = join(dirname(fileURLToPath(import.meta.url)), '../release');
const image = (version) =>
  join(packages, readdirSync(packages).find((name) => name.includes(`-${version}-`)) ?? 'none');
const seen = (words) => console.log(`   seen: ${words}`);

const home = mkdtempSync(join(tmpdir(), 'marlin-play-'));
const served = join(home, 'served');
mkdirSync(served);
/** @type {string[]} */
const requests = [];

function tool(name, ...words) {
  const { status, stderr } = spawnSync(join(tools, name), words, { encoding: 'utf8' });
  assert.equal(status, 0, stderr);
}

/** Puts a signed manifest of the newer release on the server. */
function publish() {
  copyFileSync(image(newer), join(served, basename(image(newer))));
  writeFileSync(join(home, 'notes.md'), 'Notes of the play.\n');
  const manifest = join(served, 'update.json');
  const words = ['--version', newer, '--notes', join(home, 'notes.md'), '--out', manifest, image(newer)];
  tool('make-manifest', ...words);
  tool('sign-manifest', join(site, 'key.pem'), manifest);
  return manifest;
}

async function startServer() {
  const server = createServer(
    { key: readFileSync(join(site, 'server.key')), cert: readFileSync(join(site, 'server.crt')) },
    ({ url }, response) => {
      requests.push(url);
      const [, name] = /^\/updates\/marlin-bench\/linux\/stable\/([\w.-]+)$/.exec(url) ?? [];
      if (!name || !readdirSync(served).includes(name)) return response.writeHead(404).end();
      const body = readFileSync(join(served, name));
      response.writeHead(200, { 'content-length': body.length }).end(body);
    },
  ).listen(Number(port), '127.0.0.1');
  await once(server, 'listening');
  return server;
}

/** Asks for an action and waits for the state that it should lead to. */
async function act(bridge, action, wanted) {
  await bridge.api(`update?action=${action}`, {});
  return until(`the state "${wanted}" after "${action}"`, async () => {
    const status = await bridge.api('update');
    return status.state === wanted && status;
  });
}

/** The program's own look at a manifest, with its built-in key. */
function verifies(program, manifest) {
  const words = ['--verify-manifest', manifest, `${manifest}.sig`];
  const { status, stdout } = spawnSync(program, words, { encoding: 'utf8' });
  return `${status} ${stdout}`;
}

async function refuseBadReleases(bridge, manifest) {
  const good = readFileSync(manifest, 'utf8');
  writeFileSync(manifest, good.replace('Notes', 'Words'));
  assert.equal(verifies(target, manifest), '1 signature BAD\n');
  const unsigned = await act(bridge, 'check', 'failed');
  assert.equal(unsigned.error, 'the update did not carry a valid signature and was ignored');
  seen(`a changed manifest is refused: ${unsigned.error}`);

  writeFileSync(manifest, good.replace(/"sha256": ".{8}/, '"sha256": "00000000'));
  tool('sign-manifest', join(site, 'key.pem'), manifest);
  await act(bridge, 'check', 'available');
  const damaged = await act(bridge, 'download', 'failed');
  assert.match(damaged.error, /did not match the published checksum/);
  assert.equal((await bridge.api('update?action=apply', {})).status, 409);
  seen(`a file with another digest is refused: ${damaged.error}`);

  writeFileSync(manifest, good);
  tool('sign-manifest', join(site, 'key.pem'), manifest);
  assert.equal(verifies(target, manifest), '0 signature ok\n');
}

async function play(program) {
  const manifest = publish();
  const before = await program.bridge();
  await (await program.window()).until(`document.querySelector('.status')`);
  assert.equal((await before.api('update')).currentVersion, older);
  const how = program.words().includes('could not mount') ? 'extracted, as FUSE cannot be had' : 'mounted';
  seen(`version ${older} runs as an AppImage that can be updated, ${how}`);

  await refuseBadReleases(before, manifest);
  const found = await act(before, 'check', 'available');
  assert.equal(found.version, newer);
  assert.equal(found.notes, 'Notes of the play.');
  seen(`version ${found.version} is found, ${found.size} bytes`);
  await act(before, 'download', 'ready');
  seen('it is fetched and verified');
  assert.equal((await before.api('update?action=apply', {})).status, 200);
  assert.ok(!readFileSync(target).equals(readFileSync(image(newer))), 'nothing is replaced while it runs');
  await before.api('shutdown', {}).catch(() => {}); // the answer may be cut off

  const after = await program.bridge(before.url);
  const state = await after.api('state', {});
  assert.equal(state.version, newer);
  await (await program.window()).until(`document.querySelector('.status')`);
  assert.ok(readFileSync(target).equals(readFileSync(image(newer))));
  seen(`version ${state.version} is in its place, runs and shows its page`);
  const current = await act(after, 'check', 'uptodate');
  assert.equal(current.currentVersion, newer);
  seen('it finds itself up to date');
  await after.api('shutdown', {}).catch(() => {});
}

const target = join(home, 'Marlin Bench.AppImage');
copyFileSync(image(older), target);
const server = await startServer();
const display = await startDisplay();
const program = await startProgram({
  // The session outlives the older program, as the user's does: it ends with the standard input.
  command: ['dbus-run-session', '--', 'sh', '-c', '"$@"; read -r _', 'play',
    'bwrap', '--dev-bind', '/', '/', '--ro-bind', join(site, 'ca.crt'), '/etc/ssl/certs/ca-certificates.crt',
    target],
  display: display.name,
  home,
});
try {
  await play(program);
} catch (error) {
  console.error(error.message, `\nrequests: ${requests.join(' ')}\n${program.words()}`);
  process.exitCode = 1;
}
program.child.stdin.end();
await program.exited;
server.close();
display.stop();
rmSync(home, { recursive: true, force: true });
process.exit();
