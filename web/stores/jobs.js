// Work that takes a while: what waits, what runs and since when, and how it ended. A job gets its row
// in the tray once it waits for its turn or has run for three seconds; shorter ones stay unseen.

import { computed, signal } from '@preact/signals';
import { LONG_CALLS, Slots } from '../bridge/scheduler.js';

/** A job that ends sooner never shows. */
export const SHOW_AFTER_MS = 3000;
/** Ended rows that are kept. */
export const KEPT_RESULTS = 50;

/**
 * @typedef {'waiting' | 'running' | 'done' | 'failed' | 'cancelled'} JobState
 * @typedef {object} Job
 * @property {number} id
 * @property {string} title
 * @property {JobState} state
 * @property {boolean} shown
 * @property {number} queuedAt milliseconds since the epoch
 * @property {number} startedAt 0 while it waits
 * @property {number} endedAt 0 until it ends
 * @property {string} progress the worker's own words
 * @property {string} result what came of it, or why it failed
 * @property {() => void} cancel
 */

/** @type {import('@preact/signals').Signal<Job[]>} */
const all = signal([]);

const slots = new Slots(LONG_CALLS);
let lastId = 0;

/** The rows of the tray, in the order they were asked for. */
export const jobs = computed(() => all.value.filter((job) => job.shown));
export const activeJobs = computed(() => jobs.value.filter(isActive));

/** @param {Job} job */
export const isActive = (job) => job.state === 'waiting' || job.state === 'running';

/**
 * Runs `work` as a job. Its result comes back as it is; the row keeps it when it is a text.
 * @template T
 * @param {string} title what is being done, as the row says it
 * @param {(signal: AbortSignal, progress: (words: string) => void) => Promise<T>} work
 * @param {object} [options]
 * @param {boolean} [options.queued] waits for one of the long calls' slots
 * @param {AbortSignal} [options.signal]
 * @param {(result: T) => string} [options.said] a result in words
 * @returns {Promise<T>}
 */
export async function run(title, work, { queued = false, signal: outer, said } = {}) {
  const abort = new AbortController();
  const stop = () => abort.abort(outer?.reason);
  if (outer?.aborted) stop();
  outer?.addEventListener('abort', stop, { once: true });
  const id = add(title, () => abort.abort());
  const timer = setTimeout(() => update(id, { shown: true }), SHOW_AFTER_MS);
  /** @type {(() => void) | undefined} */
  let release;
  try {
    if (queued) {
      if (slots.free === 0) update(id, { shown: true });
      release = await slots.take(abort.signal);
    }
    update(id, { state: 'running', startedAt: Date.now() });
    const result = await work(abort.signal, (progress) => update(id, { progress }));
    end(id, 'done', said ? said(result) : typeof result === 'string' ? result : '');
    return result;
  } catch (error) {
    if (abort.signal.aborted) end(id, 'cancelled', '');
    else end(id, 'failed', error instanceof Error ? error.message : String(error));
    throw error;
  } finally {
    clearTimeout(timer);
    outer?.removeEventListener('abort', stop);
    release?.();
  }
}

/** Removes the rows of jobs that have ended. */
export function clearEnded() {
  all.value = all.value.filter(isActive);
}

/**
 * @param {string} title
 * @param {() => void} cancel
 */
function add(title, cancel) {
  const id = ++lastId;
  /** @type {Job} */
  const job = {
    id,
    title,
    state: 'waiting',
    shown: false,
    queuedAt: Date.now(),
    startedAt: 0,
    endedAt: 0,
    progress: '',
    result: '',
    cancel,
  };
  all.value = [...all.value, job];
  return id;
}

/**
 * @param {number} id
 * @param {Partial<Job>} change
 */
function update(id, change) {
  all.value = all.value.map((job) => (job.id === id ? { ...job, ...change } : job));
}

/**
 * @param {number} id
 * @param {JobState} state
 * @param {string} result
 */
function end(id, state, result) {
  update(id, { state, result, endedAt: Date.now() });
  const ended = all.value.filter((job) => !isActive(job) && job.shown);
  const oldest = new Set(ended.slice(0, Math.max(0, ended.length - KEPT_RESULTS)));
  all.value = all.value.filter((job) => isActive(job) || (job.shown && !oldest.has(job)));
}
