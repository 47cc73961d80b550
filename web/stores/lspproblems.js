// What language servers find wrong, by file and server, and the way from one finding to the next.

import { computed, signal } from '@preact/signals';
import { listOf, recordOf, textOf } from './chatwire.js';
import { comparePositions, pathOfUri, rangeFrom } from './lspwire.js';

/**
 * @typedef {'error' | 'warning' | 'info' | 'hint'} Severity
 * @typedef {object} Problem
 * @property {string} server
 * @property {string} path absolute
 * @property {import('./lspwire.js').Range} range
 * @property {Severity} severity
 * @property {string} message
 * @property {string} source who found it, in the server's words
 * @property {string} code
 * @property {string} link to a page about the code
 * @property {boolean} unused
 * @property {boolean} deprecated
 * @property {{path: string, range: import('./lspwire.js').Range, message: string}[]} related
 * @property {Record<string, any>} raw as the server sent it, to ask for its fixes with
 */

/** @type {Severity[]} */
export const SEVERITIES = ['error', 'warning', 'info', 'hint'];

/** By path, then by server and whether it was asked. @type {Map<string, Map<string, Problem[]>>} */
const found = new Map();
const changes = signal(0);
/** @type {Set<(path: string) => void>} */
const listeners = new Set();

/** Calls `fn` with each path whose problems changed. @param {(path: string) => void} fn */
export function onProblems(fn) {
  listeners.add(fn);
  return () => void listeners.delete(fn);
}

/**
 * @param {string} server
 * @param {unknown} params of "textDocument/publishDiagnostics"
 * @param {boolean} [asked] these stand beside what the server tells by itself
 */
export function takeDiagnostics(server, params, asked = false) {
  const { uri, diagnostics } = recordOf(params);
  const path = pathOfUri(uri);
  if (!path) return;
  const list = listOf(diagnostics).flatMap((one) => problemFrom(server, path, recordOf(one)));
  put(path, asked ? askedOf(server) : server, list);
  changes.value += 1;
}

/** @param {string} server */
const askedOf = (server) => `${server} asked`;

/** Forgets what a server found: it has ended. @param {string} server */
export function forgetProblems(server) {
  for (const [path, servers] of [...found])
    for (const from of [server, askedOf(server)]) if (servers.has(from)) put(path, from, []);
  changes.value += 1;
}

/**
 * @param {string} path
 * @param {string} server
 * @param {Problem[]} list
 */
function put(path, server, list) {
  const servers = found.get(path) ?? new Map();
  if (list.length) servers.set(server, list);
  else servers.delete(server);
  if (servers.size) found.set(path, servers);
  else found.delete(path);
  for (const fn of [...listeners]) fn(path);
}

/**
 * @param {string} server
 * @param {string} path
 * @param {Record<string, any>} raw
 * @returns {Problem[]} empty for what is no finding
 */
function problemFrom(server, path, raw) {
  const range = rangeFrom(raw.range);
  if (!range) return [];
  const tags = listOf(raw.tags);
  return [
    {
      server,
      path,
      range,
      // What comes without a severity is shown as what it may be at worst.
      severity: SEVERITIES[raw.severity - 1] ?? 'error',
      message: textOf(raw.message) || textOf(recordOf(raw.message).value),
      source: textOf(raw.source),
      code: typeof raw.code === 'number' ? String(raw.code) : textOf(raw.code),
      link: textOf(recordOf(raw.codeDescription).href),
      unused: tags.includes(1),
      deprecated: tags.includes(2),
      related: listOf(raw.relatedInformation).flatMap(relatedFrom),
      raw,
    },
  ];
}

/** @param {any} one */
function relatedFrom(one) {
  const { location, message } = recordOf(one);
  const range = rangeFrom(recordOf(location).range);
  const path = pathOfUri(recordOf(location).uri);
  return range && path ? [{ path, range, message: textOf(message) }] : [];
}

/** @param {string} path absolute @returns {Problem[]} */
export const problemsOf = (path) => [...(found.get(path)?.values() ?? [])].flat();

/** @param {Problem} one @param {Problem} other */
const inFile = (one, other) => comparePositions(one.range.start, other.range.start);

/** All problems, file by file, each from its beginning to its end. */
export const problems = computed(() => {
  void changes.value;
  return [...found.keys()].sort().flatMap((path) => problemsOf(path).sort(inFile));
});

export const counts = computed(() => {
  const sum = { error: 0, warning: 0, info: 0, hint: 0 };
  for (const { severity } of problems.value) sum[severity] += 1;
  return sum;
});

/**
 * The next problem after a place, or the one before it; after the last comes the first. Hints are no problems.
 * @param {readonly Problem[]} list in the order of `problems`
 * @param {{path: string, line: number, character: number} | null} at where the cursor is
 * @param {1 | -1} step
 * @returns {Problem | null}
 */
export function nextProblem(list, at, step) {
  const all = list.filter(({ severity }) => severity !== 'hint');
  const ahead = all.filter((one) => at && Math.sign(compareTo(one, at)) === step);
  if (step > 0) return ahead[0] ?? all[0] ?? null;
  return ahead.at(-1) ?? all.at(-1) ?? null;
}

/**
 * @param {Problem} problem
 * @param {{path: string, line: number, character: number}} at
 */
function compareTo({ path, range }, at) {
  if (path !== at.path) return path < at.path ? -1 : 1;
  return comparePositions(range.start, at);
}
