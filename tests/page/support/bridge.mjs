// A small bridge for store tests: a real HTTP server and WebSocket, answering as a test says, and the
// few browser globals through which the page's modules reach it.
import { once } from 'node:events';
import { createServer } from 'node:http';
import { createRequire } from 'node:module';
import { after } from 'node:test';

const require = createRequire(new URL('../../../vendor-src/package.json', import.meta.url));
const { WebSocket, WebSocketServer } = require('ws');

/**
 * @typedef {{route: string, method: string, query: URLSearchParams, headers: Record<string, any>, body: string}} Asked
 * @typedef {{status?: number, body: unknown} | undefined} Answer `body` as it is when it is a string, else as JSON
 */

/**
 * Starts a bridge. `answer` gets each request; what it gives, or resolves to, is sent.
 * @param {(asked: Asked) => Answer | Promise<Answer>} answer
 */
export async function startBridge(answer) {
  /** @type {Asked[]} */
  const asked = [];
  const server = createServer(async (request, response) => {
    let body = '';
    for await (const piece of request) body += piece;
    const url = new URL(request.url ?? '/', 'http://bridge');
    const one = {
      route: url.pathname.replace('/api/', ''),
      query: url.searchParams,
      headers: request.headers,
      method: request.method ?? '',
      body,
    };
    asked.push(one);
    const { status = 200, body: text } = (await answer(one)) ?? { body: { ok: true } };
    response.writeHead(status, { 'content-type': 'application/json' });
    response.end(typeof text === 'string' ? text : JSON.stringify(text));
  });
  const sockets = new WebSocketServer({ server });
  server.listen(0, '127.0.0.1');
  await once(server, 'listening');
  const { port } = /** @type {import('node:net').AddressInfo} */ (server.address());

  const realFetch = globalThis.fetch;
  globalThis.fetch = (path, init) => realFetch(`http://127.0.0.1:${port}${path}`, init);
  Object.assign(globalThis, {
    WebSocket: BrowserSocket,
    location: { protocol: 'http:', host: `127.0.0.1:${port}` },
  });
  after(() => {
    // The page never gives up its link; without this its attempts would keep node running.
    Object.assign(globalThis, { WebSocket: class {} });
    for (const socket of sockets.clients) socket.terminate();
    server.closeAllConnections();
    server.close();
  });
  return { asked, server, sockets, port };
}

/** In a browser nobody has to listen for errors; here one that nobody hears would be thrown. */
class BrowserSocket extends WebSocket {
  constructor(address) {
    super(address);
    this.on('error', () => {});
  }
}

/** Waits until a condition holds; a limit that passes is a failure. */
export async function until(condition, limitMs = 5000) {
  const end = Date.now() + limitMs;
  while (!condition()) {
    if (Date.now() > end) throw new Error(`never true: ${condition}`);
    await new Promise((resolve) => setTimeout(resolve, 5));
  }
}

/** A promise and its two ends. */
export function deferred() {
  let resolve = (/** @type {any} */ _value) => {};
  let reject = (/** @type {any} */ _reason) => {};
  const promise = new Promise((ok, fail) => {
    resolve = ok;
    reject = fail;
  });
  return { promise, resolve, reject };
}
