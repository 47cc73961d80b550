// JSON-RPC with one language server. Messages go out one at a time, since two connections could overtake each
// other and the versions of a document must arrive in order; answers find their request by its number.

import { parseRecord, recordOf, textOf } from './chatwire.js';

/**
 * @typedef {Record<string, unknown>} Message
 * @typedef {{resolve: (result: any) => void, reject: (error: Error) => void}} Waiting
 *
 * @typedef {object} ChannelPorts
 * @property {(message: Message) => Promise<unknown>} send
 * @property {(method: string, params: any) => void} onNotification
 * @property {(method: string, params: any) => Promise<unknown>} onRequest its result is the answer
 * @property {(error: unknown) => void} onFailure a message did not get through, so the server knows less than the page
 * @property {(text: string, detail: unknown) => void} onOddity something that is no message of the protocol
 */

/** The numbers that the protocol gives to failures. */
const METHOD_NOT_FOUND = -32601;
const INTERNAL_ERROR = -32603;
/** Cancelled, or the text changed meanwhile: nobody is to be told. */
const DROPPED = [-32800, -32801, -32802];

/**
 * Counts for all servers, and from another number after each load of the page: an answer that was meant for
 * an earlier process must not be taken for one of this.
 */
let lastId = Date.now() % 1e9;

/** The answer to a request that nobody waits for any more. */
export class Dropped extends Error {}

/** A request of the server for which there is no method here. */
export class NoSuchMethod extends Error {}

export class Channel {
  /** @param {ChannelPorts} ports */
  constructor(ports) {
    this.ports = ports;
    /** @type {Message[]} */
    this.queue = [];
    this.sending = false;
    this.closed = false;
    /** @type {Map<number, Waiting>} */
    this.waiting = new Map();
  }

  /**
   * Asks the server. Rejects with its words, or with Dropped when `signal` aborts or the server says that the
   * answer makes no sense any more.
   * @param {string} method
   * @param {unknown} params
   * @param {AbortSignal} [signal]
   * @returns {Promise<any>}
   */
  request(method, params, signal) {
    if (this.closed || signal?.aborted) return Promise.reject(new Dropped('not asked'));
    const id = ++lastId;
    const message = { jsonrpc: '2.0', id, method, params };
    return new Promise((resolve, reject) => {
      const cancel = () => this.#cancel(id, message);
      const settle = () => {
        this.waiting.delete(id);
        signal?.removeEventListener('abort', cancel);
      };
      this.waiting.set(id, {
        resolve: (result) => (settle(), resolve(result)),
        reject: (error) => (settle(), reject(error)),
      });
      signal?.addEventListener('abort', cancel);
      this.#put(message);
    });
  }

  /**
   * @param {string} method
   * @param {unknown} params
   * @param {(waiting: any) => unknown} [joined] when the last message that waits is of the same method: its
   *   parameters with these joined to them, or null to send them apart
   */
  notify(method, params, joined) {
    if (this.closed) return;
    const last = this.queue.at(-1);
    const both = joined && last?.method === method ? joined(last.params) : null;
    if (last && both) last.params = both;
    else this.#put({ jsonrpc: '2.0', method, params });
  }

  /**
   * Takes a message of the server.
   * @param {string} text
   */
  receive(text) {
    if (this.closed) return;
    const message = parseRecord(text);
    if (!message) return this.ports.onOddity('A message that is not JSON', text);
    if (typeof message.method === 'string') {
      if (message.id === undefined) this.ports.onNotification(message.method, message.params);
      else void this.#answer(message.id, message.method, message.params);
    } else this.#settle(message);
  }

  /**
   * Ends it: what waits to be sent is forgotten, and no answer comes any more.
   * @param {string} words
   */
  close(words) {
    this.closed = true;
    this.queue = [];
    this.dropWaiting(words);
  }

  /** Gives up all answers that are outstanding. @param {string} words */
  dropWaiting(words) {
    for (const { reject } of [...this.waiting.values()]) reject(new Dropped(words));
  }

  /** @param {Message} message */
  #put(message) {
    this.queue.push(message);
    if (!this.sending) void this.#drain();
  }

  async #drain() {
    this.sending = true;
    for (let message = this.queue.shift(); message; message = this.queue.shift()) {
      try {
        await this.ports.send(message);
      } catch (error) {
        const words = error instanceof Error ? error.message : String(error);
        this.waiting.get(Number(message.id))?.reject(new Error(words));
        if (!this.closed) this.ports.onFailure(error);
      }
    }
    this.sending = false;
  }

  /**
   * @param {number} id
   * @param {Message} message
   */
  #cancel(id, message) {
    const one = this.waiting.get(id);
    const at = this.queue.indexOf(message);
    if (at >= 0) this.queue.splice(at, 1);
    else if (one) this.notify('$/cancelRequest', { id });
    one?.reject(new Dropped('cancelled'));
  }

  /** @param {Record<string, any>} message */
  #settle({ id, result, error }) {
    const one = this.waiting.get(id);
    // What was cancelled is answered all the same.
    if (!one) return;
    if (error === undefined || error === null) return one.resolve(result ?? null);
    const { code, message } = recordOf(error);
    const words = textOf(message) || 'the server refused';
    one.reject(DROPPED.includes(code) ? new Dropped(words) : new Error(words));
  }

  /**
   * @param {unknown} id
   * @param {string} method
   * @param {any} params
   */
  async #answer(id, method, params) {
    try {
      const result = (await this.ports.onRequest(method, params)) ?? null;
      if (!this.closed) this.#put({ jsonrpc: '2.0', id, result });
    } catch (error) {
      const message = error instanceof Error ? error.message : String(error);
      const code = error instanceof NoSuchMethod ? METHOD_NOT_FOUND : INTERNAL_ERROR;
      if (!this.closed) this.#put({ jsonrpc: '2.0', id, error: { code, message } });
    }
  }
}
