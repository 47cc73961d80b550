// Starts an installed editor under a display of its own and looks at it from outside: its bridge, and the
// page in its window. Shared by the plays of packages.
import { spawn } from 'node:child_process';
import { once } from 'node:events';
import { existsSync, mkdirSync, readFileSync } from 'node:fs';
import { createServer } from 'node:net';
import { join, relative } from 'node:path';
import { inspectWindow } from '../../tests/page/support/inspector.mjs';

export const WAIT_MS = 60000;

/** What still runs when a play is cut off must not stay. @type {Set<() => void>} */
const leftovers = new Set();
process.on('exit', () => leftovers.forEach((end) => end()));
for (const name of ['SIGTERM', 'SIGINT', 'SIGHUP']) process.once(name, () => process.exit(1));

/** Waits until `look` gives something; what it looks at announces nothing. */
export async function until(what, look, limitMs = WAIT_MS) {
  const end = Date.now() + limitMs;
  for (;;) {
    const found = await look();
    if (found) return found;
    if (Date.now() > end) throw new Error(`never came: ${what}`);
    await new Promise((resolve) => setTimeout(resolve, 50));
  }
}

/** @returns {Promise<{name: string, stop: () => void}>} */
export async function startDisplay() {
  const child = spawn('Xvfb', ['-displayfd', '1', '-screen', '0', '1600x1000x24', '-nolisten', 'tcp'], {
    stdio: ['ignore', 'pipe', 'ignore'],
  });
  const stop = () => child.kill();
  leftovers.add(stop);
  const [number] = await once(child.stdout, 'data');
  return { name: `:${String(number).trim()}`, stop };
}

/** A port that was free a moment ago. */
export async function freePort() {
  const server = createServer().listen(0, '127.0.0.1');
  await once(server, 'listening');
  const { port } = /** @type {import('node:net').AddressInfo} */ (server.address());
  server.close();
  await once(server, 'close');
  return port;
}

/**
 * @param {object} options
 * @param {string[]} options.command the program with what goes before it
 * @param {string} options.display
 * @param {string} options.home a private folder; its run/ becomes the runtime folder
 * @param {string} [options.root] what the program sees as "/"
 * @param {Record<string, string>} [options.env]
 */
export async function startProgram({ command, display, home, root = '/', env = {} }) {
  mkdirSync(join(home, 'run'), { recursive: true, mode: 0o700 });
  const inside = (path) => join('/', relative(root, path));
  const inspector = `127.0.0.1:${await freePort()}`;
  const child = spawn(command[0], command.slice(1), {
    cwd: home,
    detached: true, // a group of its own, so that all of it can be ended
    stdio: ['pipe', 'ignore', 'pipe'],
    env: {
      HOME: inside(home),
      PATH: '/usr/local/bin:/usr/bin:/bin:/usr/sbin:/sbin',
      LANG: 'C.UTF-8',
      DISPLAY: display,
      XDG_RUNTIME_DIR: inside(join(home, 'run')),
      WEBKIT_INSPECTOR_HTTP_SERVER: inspector,
      ...env,
    },
  });
  const killGroup = () => {
    try {
      process.kill(-child.pid, 'SIGKILL');
    } catch {
      // it is gone already
    }
  };
  leftovers.add(killGroup);
  const exited = once(child, 'exit').then(([code, signal]) => {
    leftovers.delete(killGroup);
    return code ?? signal;
  });
  let stderr = '';
  child.stderr.on('data', (data) => (stderr += data));
  const urlFile = join(home, 'run/marlin-bench/session-url.txt');
  return {
    child,
    exited,
    words: () => stderr,
    /** The bridge of the program that runs now; `before` is the start URL of one that ran earlier. */
    bridge: (before = '') => findBridge(urlFile, before),
    /** The page in the window that is there now. */
    window: () => inspectWindow(inspector, WAIT_MS),
  };
}

async function findBridge(urlFile, before) {
  const url = await until('a start URL', () => {
    const text = existsSync(urlFile) ? readFileSync(urlFile, 'utf8') : '';
    return text !== before && text;
  });
  const { origin, searchParams } = new URL(url);
  const token = searchParams.get('token');
  const api = async (route, body) => {
    const method = body === undefined ? 'GET' : 'POST';
    const init = { method, headers: { 'x-marlin-token': token }, body: body && JSON.stringify(body) };
    const response = await fetch(`${origin}/api/${route}`, init);
    return { status: response.status, ...(await response.json()) };
  };
  return { url, origin, api };
}
