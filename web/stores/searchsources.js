// One search box over many kinds of answers: each source finds its own kind, and all of them make one list.
// Sources are asked at once, each after its own delay, and what one has found is there before the slower
// ones are done.

import { signal } from '@preact/signals';

/**
 * @typedef {object} FoundItem
 * @property {string} id unique in its source
 * @property {string} label
 * @property {string} [description]
 * @property {string} [icon]
 * @property {number[]} [at] letters of the label that fit
 * @property {number[]} [descriptionAt] and of the description
 * @property {(beside: boolean) => unknown} open
 *
 * @typedef {object} Source
 * @property {string} id
 * @property {string} title the heading above its answers
 * @property {number} order smaller stands higher
 * @property {number} least letters that it takes to ask it
 * @property {number} delayMs after the last key
 * @property {(query: string, signal: AbortSignal) => Promise<{items: FoundItem[], note?: string}>} find
 *   `note` says what was left out
 *
 * @typedef {{source: Source, items: FoundItem[], note: string, pending: boolean}} Answers
 */

/** @type {Map<string, Source>} */
const sources = new Map();

/**
 * Adds a source, or replaces the one of that id. The result takes it out again.
 * @param {Source} source
 */
export function registerSource(source) {
  sources.set(source.id, source);
  return () => {
    if (sources.get(source.id) === source) sources.delete(source.id);
  };
}

/** A search box's answers, from the query that was typed last. */
export class Everywhere {
  constructor() {
    this.answers = signal(/** @type {Answers[]} */ ([]));
    this.abort = new AbortController();
    this.query = '';
  }

  /**
   * @param {string} query
   * @returns {Promise<void>[]} one a source that is asked, in their order
   */
  ask(query) {
    this.abort.abort();
    this.abort = new AbortController();
    this.query = query;
    const asked = [...sources.values()].filter(({ least }) => query.trim().length >= least);
    const before = new Map(this.answers.value.map((one) => [one.source.id, one]));
    // What was found for the text before stays until there is something newer: a list that blinks cannot be
    // read.
    this.answers.value = asked
      .sort((a, b) => a.order - b.order)
      .map((source) => ({ source, items: before.get(source.id)?.items ?? [], note: '', pending: true }));
    return asked.map((source) => this.askOne(source, query, this.abort.signal));
  }

  /**
   * Asks one source once more, since it may know more by now.
   * @param {string} id
   */
  async again(id) {
    const one = this.answers.value.find(({ source }) => source.id === id);
    if (one && !one.pending) await this.askOne(one.source, this.query, this.abort.signal);
  }

  stop() {
    this.abort.abort();
  }

  /**
   * @param {Source} source
   * @param {string} query
   * @param {AbortSignal} stop
   */
  async askOne(source, query, stop) {
    try {
      if (source.delayMs) await pause(source.delayMs, stop);
      const { items, note = '' } = await source.find(query, stop);
      if (!stop.aborted) this.enter(source, { items, note, pending: false });
    } catch (error) {
      if (stop.aborted) return;
      const words = error instanceof Error ? error.message : String(error);
      this.enter(source, { items: [], note: `${source.title}: ${words}`, pending: false });
    }
  }

  /**
   * @param {Source} source
   * @param {Omit<Answers, 'source'>} found
   */
  enter(source, found) {
    this.answers.value = this.answers.value.map((one) =>
      one.source === source ? { source, ...found } : one,
    );
  }
}

/**
 * @param {number} ms
 * @param {AbortSignal} signal
 * @returns {Promise<void>} rejects when the signal aborts
 */
function pause(ms, signal) {
  return new Promise((resolve, reject) => {
    const timer = setTimeout(resolve, ms);
    signal.addEventListener('abort', () => {
      clearTimeout(timer);
      reject(signal.reason);
    });
  });
}
