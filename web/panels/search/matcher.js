// The worker that matches texts: made when it is first needed, ended when it is late, and made anew.

/** @typedef {import('../../stores/search.js').MatchWish} MatchWish */

/** A pattern may take so long in all texts together. */
const kMatchMs = 3000;

/** @type {Worker | null} */
let worker = null;
/** @type {Map<number, {resolve: (result: any) => void, reject: (error: Error) => void}>} */
const waiting = new Map();
let lastId = 0;

/**
 * @param {readonly string[]} texts
 * @param {MatchWish} wanted
 * @param {AbortSignal} [signal]
 * @returns {Promise<import('../../stores/searchmatch.js').TextMatch[][]>}
 */
export function matchTexts(texts, wanted, signal) {
  return order({ texts, wanted }, signal);
}

/**
 * @param {readonly {text: string, from: number, to: number}[]} hits
 * @param {MatchWish} wanted
 * @param {AbortSignal} [signal]
 * @returns {Promise<(string | null)[]>}
 */
export function expandLines(hits, wanted, signal) {
  return order({ lines: hits.map(({ text, from, to }) => ({ text, from, to })), wanted }, signal);
}

/**
 * @param {object} what
 * @param {AbortSignal} [signal]
 * @returns {Promise<any>}
 */
async function order(what, signal) {
  signal?.throwIfAborted();
  const id = ++lastId;
  worker ??= makeWorker();
  const answer = new Promise((resolve, reject) => waiting.set(id, { resolve, reject }));
  const late = setTimeout(() => endWorker('the pattern takes too long'), kMatchMs);
  const stop = () => settle(id)?.reject(/** @type {any} */ (signal)?.reason);
  signal?.addEventListener('abort', stop);
  worker.postMessage({ id, ...what });
  try {
    return await answer;
  } finally {
    clearTimeout(late);
    signal?.removeEventListener('abort', stop);
    // Nobody waits for what an aborted order still computes, but it would hold up the next one.
    if (signal?.aborted && waiting.size === 0) endWorker('');
  }
}

/** @param {number} id */
function settle(id) {
  const one = waiting.get(id);
  waiting.delete(id);
  return one;
}

function makeWorker() {
  const made = new Worker('/panels/search/worker.js', { type: 'module' });
  made.onmessage = ({ data: { id, result, error } }) => {
    const one = settle(id);
    if (error === undefined) one?.resolve(result);
    else one?.reject(new Error(error));
  };
  made.onerror = () => endWorker('the texts could not be searched');
  return made;
}

/** @param {string} words */
function endWorker(words) {
  worker?.terminate();
  worker = null;
  for (const { reject } of waiting.values()) reject(new Error(words));
  waiting.clear();
}
