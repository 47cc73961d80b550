// The browser pane: a view of the native side's own, laid over the page. Here is what it shows and what it is
// told; where it lies is the business of whoever shows it.

import { computed, signal } from '@preact/signals';
import { call } from '../bridge/api.js';
import { on, onReconnect } from '../bridge/events.js';

/**
 * @typedef {object} Shown
 * @property {string} url
 * @property {string} title
 * @property {boolean} canBack
 * @property {boolean} canForward
 * @property {boolean} loading
 * @property {string} error
 *
 * @typedef {{x: number, y: number, w: number, h: number, visible: boolean}} Place
 */

/** @type {import('@preact/signals').Signal<Shown>} */
export const shown = signal({ url: '', title: '', canBack: false, canForward: false, loading: false, error: '' });

/** @param {any} event @returns {Shown} */
export function readShown(event) {
  const text = (/** @type {string} */ key) => (typeof event[key] === 'string' ? event[key] : '');
  return {
    url: text('url'),
    title: text('title'),
    canBack: event.canBack === true,
    canForward: event.canForward === true,
    loading: event.loading === true,
    error: text('error'),
  };
}

/**
 * The address that typed words mean.
 * @param {string} words
 * @param {string} own the editor's own address: its page must never be shown in the pane
 * @returns {{url: string} | {fault: string}}
 */
export function addressOf(words, own) {
  const text = words.trim();
  const local = /^(localhost|127\.0\.0\.1|\[::1\])(:\d+)?(\/|$)/i.test(text);
  const full = /^[a-z][a-z0-9+.-]*:\/\//i.test(text) ? text : `${local ? 'http' : 'https'}://${text}`;
  let url;
  try {
    url = new URL(full);
  } catch {
    return { fault: 'This is no web address.' };
  }
  if (!text || !/^https?:$/.test(url.protocol)) return { fault: 'Only web addresses can be shown.' };
  const port = new URL(own).port;
  if (/^(localhost|127\.0\.0\.1|\[::1\])$/.test(url.hostname) && url.port === port)
    return { fault: 'This is the editor itself.' };
  return { url: url.href };
}

/** @param {'back' | 'forward' | 'reload' | 'stop' | 'devtools'} cmd */
export function steer(cmd) {
  shown.value = { ...shown.value, error: '' };
  return call('browser', { cmd });
}

/** @param {string} url */
export async function navigate(url) {
  shown.value = { ...shown.value, url, error: '', loading: true };
  await call('browser', { cmd: 'navigate', url });
}

/** @type {Place | null} */
let sent = null;
/** @type {Promise<unknown>} */
let sending = Promise.resolve();

/** Places go out in their order, and only when they differ. @param {Place} place */
export function setPlace(place) {
  if (sent && JSON.stringify(sent) === JSON.stringify(place)) return sending;
  if (!place.visible && !sent?.visible) return sending; // nothing was shown yet
  sent = place;
  sending = sending.then(() => call('browser', { cmd: 'bounds', ...place })).catch(() => {
    sent = null;
  });
  return sending;
}

export function hidePane() {
  return setPlace({ ...(sent ?? { x: 0, y: 0, w: 0, h: 0 }), visible: false });
}

/** How many local servers are remembered. */
const kServers = 8;

/** Local servers that programs in terminals have named, the newest first. @type {import('@preact/signals').Signal<string[]>} */
export const seenServers = signal([]);
export const newestServer = computed(() => seenServers.value[0] ?? '');

/** @param {string} output of a terminal */
export function noteServers(output) {
  const plain = output.replace(/\u001b\[[0-9;]*m/g, '');
  for (const [address] of plain.matchAll(/https?:\/\/(?:localhost|127\.0\.0\.1|\[::1\]|0\.0\.0\.0):\d{2,5}(?:\/[\w./-]*)?/g)) {
    const url = address.replace('0.0.0.0', 'localhost');
    seenServers.value = [url, ...seenServers.value.filter((one) => one !== url)].slice(0, kServers);
  }
}

/** The address that was loading last. */
let tried = '';

on('browser.event', (event) => {
  const next = readShown(event);
  // A failure is told once. The page before it and the engine's own words on it follow; only a load of another
  // address is news.
  const news = next.loading && next.url !== tried;
  if (next.loading) tried = next.url;
  shown.value = { ...next, error: next.error || (news ? '' : shown.value.error) };
});
on('terminal.data', ({ data }) => noteServers(String(data ?? '')));
onReconnect(() => {
  sent = null;
});
