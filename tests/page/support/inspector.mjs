// Looks into the page of the editor's own window, through the inspector that the web view serves when
// WEBKIT_INSPECTOR_HTTP_SERVER is set: evaluate an expression there, nothing more.
import { createRequire } from 'node:module';

const require = createRequire(new URL('../../../vendor-src/package.json', import.meta.url));
const { WebSocket } = require('ws');

/**
 * Connects to the window's page. Tries until the web view has one, at most `limitMs`.
 * @param {string} address "127.0.0.1:19222"
 */
export async function inspectWindow(address, limitMs = 15000) {
  const end = Date.now() + limitMs;
  for (;;) {
    try {
      return await connect(address);
    } catch (error) {
      if (Date.now() > end) throw error;
      await new Promise((resolve) => setTimeout(resolve, 50)); // the inspector announces nothing
    }
  }
}

async function connect(address) {
  const list = await (await fetch(`http://${address}/`)).text();
  const path = /\/socket\/\d+\/\d+\/WebPage/.exec(list)?.[0];
  if (!path) throw new Error('the inspector lists no page');
  const socket = new WebSocket(`ws://${address}${path}`);
  const waiting = new Map();
  let target = '';
  let lastId = 0;
  const ready = new Promise((resolve, reject) => {
    socket.on('error', reject);
    socket.on('message', (data) => {
      const { method, params } = JSON.parse(String(data));
      if (method === 'Target.targetCreated' && params.targetInfo.type === 'page') {
        target = params.targetInfo.targetId;
        resolve(undefined);
      } else if (method === 'Target.dispatchMessageFromTarget') {
        const answer = JSON.parse(params.message);
        waiting.get(answer.id)?.(answer);
        waiting.delete(answer.id);
      }
    });
  });
  await ready;

  /** Evaluates an expression whose value JSON can hold. */
  const evaluate = async (expression) => {
    const id = ++lastId;
    const params = { expression, returnByValue: true, awaitPromise: false };
    const message = JSON.stringify({ id, method: 'Runtime.evaluate', params });
    const answer = await new Promise((resolve) => {
      waiting.set(id, resolve);
      const outer = { targetId: target, message };
      socket.send(JSON.stringify({ id, method: 'Target.sendMessageToTarget', params: outer }));
    });
    const { result, wasThrown } = answer.result ?? {};
    if (!result || wasThrown) throw new Error(`${expression}: ${JSON.stringify(answer)}`);
    return result.value;
  };
  return {
    evaluate,
    /** Waits until the expression is true. */
    async until(expression, limitMs = 15000) {
      const end = Date.now() + limitMs;
      while (!(await evaluate(`Boolean(${expression})`))) {
        if (Date.now() > end) throw new Error(`never true in the window: ${expression}`);
        await new Promise((resolve) => setTimeout(resolve, 30));
      }
    },
    close: () => socket.close(),
  };
}
