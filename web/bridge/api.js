// Requests to the bridge: JSON in, JSON out, the token in a header, failures as BridgeError with the
// bridge's own words. Long calls take turns (scheduler.js) and show in the jobs tray.

import { run } from '../stores/jobs.js';
import { sessionToken } from './token.js';

/**
 * @typedef {object} CallOptions
 * @property {AbortSignal} [signal] frees the connection at once; the work behind it runs on to its end
 * @property {string} [job] the title of its row, for a call that may take long
 * @property {(answer: any) => string} [said] what the row says of an answer
 */

/** Calls that may hold their connection for minutes, with the title of their row. */
const LONG_ROUTES = new Map([
  ['agent/edit', 'Rewrite the selection'],
  ['agent/find', 'Find in plain words'],
  ['agent/map', 'Map the code'],
  ['agent/notes', 'Read the change over'],
  ['agent/stop', 'Stop the chat'],
  ['blueprint/agent', 'Run a blueprint step'],
  ['blueprint/ask', 'Ask a question'],
  ['blueprint/exec', 'Run a command'],
  ['dispatch/create', 'Create a task'],
  ['dispatch/merge', 'Land a task'],
  ['git/fetch', 'Fetch'],
  ['git/merge', 'Merge'],
  ['git/message', 'Write a commit message'],
  ['git/pull', 'Pull'],
  ['git/push', 'Push'],
  ['git/review', 'Review the change'],
  ['github/overview', 'Read pull requests and issues'],
  ['github/pr-review', 'Review a pull request'],
  ['search/text', 'Search in files'],
  ['shell/pick-folder', 'Choose a folder'],
]);

export class BridgeError extends Error {
  /**
   * @param {number} status the HTTP status, 0 when there was no answer
   * @param {string} route
   * @param {string} words the bridge's own error text
   */
  constructor(status, route, words) {
    super(words);
    this.name = 'BridgeError';
    this.status = status;
    this.route = route;
    this.words = words;
  }
}

/**
 * POSTs a JSON body to "/api/" + route.
 * @param {string} route
 * @param {unknown} [body]
 * @param {CallOptions} [options]
 * @returns {Promise<any>}
 */
export function call(route, body = {}, options = {}) {
  const request = { method: 'POST', body: JSON.stringify(body) };
  return scheduled(route, options, (signal) => json(route, `/api/${route}`, { ...request, signal }));
}

/**
 * GETs "/api/" + route with query parameters.
 * @param {string} route
 * @param {Record<string, string>} [query]
 * @param {CallOptions} [options]
 * @returns {Promise<any>}
 */
export function get(route, query = {}, options = {}) {
  const address = `/api/${route}${queryText(query)}`;
  return scheduled(route, options, (signal) => json(route, address, { signal }));
}

/**
 * A file's bytes as they are on disk.
 * @param {string} path workspace path
 * @param {{signal?: AbortSignal}} [options]
 * @returns {Promise<Response>}
 */
export function raw(path, { signal } = {}) {
  return send('file/raw', `/api/file/raw${queryText({ path })}`, { signal });
}

/**
 * POSTs a text that is already JSON, as "/api/ui-state" wants it.
 * @param {string} route
 * @param {string | Blob | Uint8Array<ArrayBuffer>} body bytes go out as they are, also those that are not UTF-8
 */
export function post(route, body) {
  return json(route, `/api/${route}`, { method: 'POST', body });
}

/**
 * The bridge's words in the body of a failed answer. The bridge leaves control characters in them
 * unescaped, so a body that JSON.parse refuses may still be the usual one.
 * @param {string} body
 * @returns {string} empty when there are none
 */
export function errorWords(body) {
  try {
    const { error } = JSON.parse(body);
    if (typeof error === 'string') return error;
  } catch {
    const found = /"error":"((?:[^"\\]|\\[^])*)"/.exec(body);
    if (found) return found[1].replace(/\\([^])/g, '$1');
  }
  return '';
}

/**
 * @param {string} route
 * @param {CallOptions} options
 * @param {(signal?: AbortSignal) => Promise<any>} request
 */
function scheduled(route, { signal, job, said }, request) {
  const title = job ?? LONG_ROUTES.get(route);
  if (!title) return request(signal);
  return run(title, request, { queued: LONG_ROUTES.has(route), signal, said });
}

/**
 * @param {string} route
 * @param {string} address
 * @param {RequestInit} init
 */
async function json(route, address, init) {
  const text = await (await send(route, address, init)).text();
  try {
    return JSON.parse(text);
  } catch {
    throw new BridgeError(200, route, `the answer of ${route} could not be read`);
  }
}

/**
 * @param {string} route
 * @param {string} address
 * @param {RequestInit} init
 */
async function send(route, address, init) {
  const headers = { 'x-marlin-token': sessionToken() };
  let response;
  try {
    response = await fetch(address, { ...init, headers, cache: 'no-store' });
  } catch (error) {
    if (init.signal?.aborted) throw error;
    throw new BridgeError(0, route, 'the editor does not answer');
  }
  if (response.ok) return response;
  const words = errorWords(await response.text());
  throw new BridgeError(response.status, route, words || `the answer was status ${response.status}`);
}

/** @param {Record<string, string>} query */
function queryText(query) {
  const text = new URLSearchParams(query).toString();
  return text && `?${text}`;
}
