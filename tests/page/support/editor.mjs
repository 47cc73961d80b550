// Starts the real editor in a private layout, and Chromium on its address: what flow tests drive.
//
// The editor's own window is another client of the same bridge. It would take open requests and write
// the saved layout meanwhile, so its page is emptied once it has loaded, unless a test wants it.
import { spawn } from 'node:child_process';
import { once } from 'node:events';
import { existsSync, readFileSync } from 'node:fs';
import { chmod, copyFile, link, mkdir, mkdtemp, rm, symlink, writeFile } from 'node:fs/promises';
import { createRequire } from 'node:module';
import { createServer } from 'node:net';
import { tmpdir } from 'node:os';
import { dirname, join } from 'node:path';
import { after } from 'node:test';
import { fileURLToPath } from 'node:url';
import { inspectWindow } from './inspector.mjs';

const top = fileURLToPath(new URL('../../../', import.meta.url));
const require = createRequire(join(top, 'vendor-src/package.json'));
const { chromium } = require('playwright-core');

const executable = process.env.MB_EXE ?? join(top, 'build/marlin-bench');
const web = process.env.MB_WEB ?? join(top, 'web'); // or the bundled page
const WAIT_MS = 20000;

/** @type {Promise<{display: string, stop: () => Promise<void>}> | undefined} */
let display;
/** @type {Promise<import('playwright-core').Browser> | undefined} */
let browser;

/**
 * Ends the editors and displays that still run: they must not outlive a run that is cut off.
 * @type {Set<() => void>}
 */
const leftovers = new Set();
process.on('exit', () => leftovers.forEach((end) => end()));
for (const name of ['SIGTERM', 'SIGINT', 'SIGHUP']) process.once(name, () => process.exit(1));

after(async () => {
  await (await browser)?.close();
  await (await display)?.stop();
});

/**
 * @param {object} [options]
 * @param {Record<string, string | Uint8Array>} [options.files] path below the project folder -> contents
 * @param {string[]} [options.args] paths on the command line, below the project folder
 * @param {Record<string, unknown>} [options.uiState] what an earlier session left
 * @param {boolean} [options.addProject] whether the project is a folder of the workspace at start
 * @param {boolean} [options.keepWindow] leaves the window's own page as it is
 * @param {Record<string, string>} [options.env] more variables of its environment
 * @param {Record<string, unknown>} [options.settings] what else the settings file holds at start
 * @param {(project: string) => unknown} [options.prepare] makes more of the project before the editor starts
 * @param {string} [options.again] the home of an editor that was killed, to start it there once more
 */
export async function startEditor({
  files = {},
  args = [],
  uiState,
  addProject = true,
  keepWindow = false,
  env = {},
  settings = {},
  prepare,
  again,
} = {}) {
  const home = again ?? (await mkdtemp(join(tmpdir(), 'marlin-page-')));
  const project = join(home, 'proj');
  if (!again) await makeLayout(home, project, files);
  if (!again) await prepare?.(project);
  if (uiState) await seedUiState(home, uiState);
  if (addProject && !again) await seedSettings(home, project, settings);
  const inspector = `127.0.0.1:${await freePort()}`;
  display ??= startDisplay();
  const screen = (await display).display;
  const child = spawn(
    'dbus-run-session',
    ['--', join(home, 'app/marlin-bench'), ...args.map((arg) => join(project, arg))],
    {
      cwd: home,
      detached: true, // a group of its own, so that all of it can be ended
      stdio: ['ignore', 'ignore', 'pipe'],
      env: {
        HOME: home,
        PATH: process.env.PATH,
        LANG: 'C.UTF-8',
        DISPLAY: screen,
        XDG_RUNTIME_DIR: join(home, 'run'),
        WEBKIT_INSPECTOR_HTTP_SERVER: inspector,
        ...env,
      },
    },
  );
  const killGroup = () => process.kill(-child.pid, 'SIGKILL');
  leftovers.add(killGroup);
  child.once('exit', () => leftovers.delete(killGroup));
  let stderr = '';
  child.stderr.on('data', (data) => (stderr += data));
  const exited = once(child, 'exit');
  /** The exit code of a program that is about to end by itself; null when it had to be killed. */
  const ended = async () => {
    const late = setTimeout(killGroup, WAIT_MS);
    const [code] = await exited;
    clearTimeout(late);
    return code;
  };

  const stop = async () => {
    if (child.exitCode === null) void api('shutdown').catch(() => {});
    await ended();
    await rm(home, { recursive: true, force: true });
  };
  const url = await startUrl(join(home, 'run/marlin-bench/session-url.txt'), child, () => stderr);
  const origin = new URL(url).origin;
  const token = new URL(url).searchParams.get('token');
  const api = async (route, body = {}) => {
    const headers = { 'x-marlin-token': token };
    const request = { method: 'POST', headers, body: JSON.stringify(body) };
    return (await fetch(`${origin}/api/${route}`, request)).json();
  };
  try {
    const window = await inspectWindow(inspector);
    await window.until(`document.querySelector('.status')`);
    if (!keepWindow) {
      await window.evaluate(`location.href = 'about:blank'`);
      await window.until(`location.href === 'about:blank'`);
    }
    // Ends everything as a crash does, and leaves the home as it is.
    const kill = async () => {
      killGroup();
      await exited;
      await rm(join(home, 'run/marlin-bench'), { recursive: true, force: true }); // the next start writes it anew
    };
    return { home, project, url, origin, token, screen, api, window, child, ended, stop, kill };
  } catch (error) {
    await stop();
    throw new Error(`the window's page did not load: ${error.message}\n${stderr}`);
  }
}

/**
 * A page of Chromium on the editor, with what it complained about.
 * @param {{url: string}} editor
 * @param {import('playwright-core').BrowserContextOptions & {query?: string}} [options]
 */
export async function openPage(editor, options = {}) {
  browser ??= chromium.launch({
    executablePath: '/usr/bin/chromium',
    args: ['--no-sandbox', '--disable-gpu', '--disable-background-networking', '--disable-component-update'],
  });
  const context = await (await browser).newContext({ viewport: { width: 1280, height: 800 }, ...options });
  context.setDefaultTimeout(WAIT_MS);
  await context.grantPermissions(['clipboard-read', 'clipboard-write']);
  const page = await context.newPage();
  /** @type {string[]} */
  const complaints = [];
  page.on('pageerror', (error) => complaints.push(error.stack ?? String(error)));
  page.on('console', (message) => message.type() === 'error' && complaints.push(message.text()));
  await page.goto(editor.url);
  await page.waitForSelector('.status');
  return Object.assign(page, { complaints, done: () => context.close() });
}

/** What axe finds wrong in the page as it is, in words. */
export async function axeFindings(page) {
  const axe = readFileSync(require.resolve('axe-core/axe.min.js'), 'utf8');
  await page.evaluate(axe);
  const { violations } = await page.evaluate(() =>
    globalThis.axe.run(document, { resultTypes: ['violations'] }),
  );
  return violations.map(
    ({ id, help, nodes }) => `${id}: ${help}: ${nodes.map(({ html }) => html).join(' | ')}`,
  );
}

/** A folder that holds `web`, so that settings go to the private home. */
async function makeLayout(home, project, files) {
  const app = join(home, 'app');
  for (const folder of [app, project, join(home, 'run')]) await mkdir(folder, { recursive: true });
  await chmod(join(home, 'run'), 0o700);
  // The program finds its folders by its own path, which a hard link changes and a symbolic one does not.
  await link(executable, join(app, 'marlin-bench')).catch(() =>
    copyFile(executable, join(app, 'marlin-bench')),
  );
  await symlink(web, join(app, 'web'));
  await symlink(join(top, 'vendor'), join(app, 'vendor'));
  for (const [path, contents] of Object.entries(files)) {
    await mkdir(dirname(join(project, path)), { recursive: true });
    await writeFile(join(project, path), contents);
  }
}

async function seedUiState(home, uiState) {
  await mkdir(join(home, '.config/marlin-bench'), { recursive: true });
  await writeFile(join(home, '.config/marlin-bench/ui-state.json'), JSON.stringify(uiState));
}

async function seedSettings(home, project, more) {
  await mkdir(join(home, '.config/marlin-bench'), { recursive: true });
  const settings = { ...more, roots: [{ name: 'proj', path: project }] };
  await writeFile(join(home, '.config/marlin-bench/marlin-bench.json'), JSON.stringify(settings));
}

/** Waits for the file that the program writes once its bridge is up. */
async function startUrl(path, child, stderr) {
  const end = Date.now() + WAIT_MS;
  while (Date.now() < end && child.exitCode === null) {
    const text = existsSync(path) ? readFileSync(path, 'utf8').trim() : '';
    if (text) return text;
    await new Promise((resolve) => setTimeout(resolve, 20)); // its folder does not exist yet, to be watched
  }
  throw new Error(`the editor wrote no start URL: ${stderr()}`);
}

/** @returns {Promise<{display: string, stop: () => Promise<void>}>} */
async function startDisplay() {
  const child = spawn('Xvfb', ['-displayfd', '1', '-screen', '0', '1600x1000x24', '-nolisten', 'tcp'], {
    stdio: ['ignore', 'pipe', 'ignore'],
  });
  const kill = () => child.kill();
  leftovers.add(kill);
  child.once('exit', () => leftovers.delete(kill));
  const exited = once(child, 'exit');
  const [number] = await once(child.stdout, 'data');
  const stop = async () => {
    kill();
    await exited;
  };
  return { display: `:${String(number).trim()}`, stop };
}

/** @returns {Promise<number>} */
async function freePort() {
  const server = createServer().listen(0, '127.0.0.1');
  await once(server, 'listening');
  const { port } = /** @type {import('node:net').AddressInfo} */ (server.address());
  server.close();
  await once(server, 'close');
  return port;
}
