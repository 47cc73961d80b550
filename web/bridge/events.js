// The events that the native side pushes over one WebSocket, handed to whoever asked for their type.
// The channel has no replay and no ping: after a gap everything that could have changed is read again,
// which is what onReconnect is for.

import { signal } from '@preact/signals';
import { note } from '../stores/log.js';
import { sessionToken } from './token.js';

/** Waits between attempts, in milliseconds; the last one repeats. */
export const BACK_OFF_MS = [100, 250, 500, 1000, 2000, 4000];

/**
 * @typedef {'connecting' | 'open' | 'down'} LinkState
 * @typedef {{type: string, [field: string]: any}} BridgeEvent
 */

/** @type {import('@preact/signals').Signal<LinkState>} */
export const linkState = signal('connecting');

/** How long the last gap was, in milliseconds; 0 when there was none yet. */
export const lastGapMs = signal(0);

/** @type {Map<string, Set<(event: any) => unknown>>} */
const handlers = new Map();
/** @type {Set<() => unknown>} */
const reconnectHooks = new Set();

/** @type {WebSocket | null} */
let socket = null;
/** @type {ReturnType<typeof setTimeout> | undefined} */
let retryTimer;
let failures = 0;
let downSince = 0;

/**
 * Calls `fn` with each event of a type. The result ends that.
 * @param {string} type
 * @param {(event: any) => unknown} fn
 */
export function on(type, fn) {
  const set = handlers.get(type) ?? new Set();
  handlers.set(type, set.add(fn));
  return () => {
    set.delete(fn);
    if (!set.size) handlers.delete(type);
  };
}

/**
 * Calls `fn` whenever the link is back after a gap, in which events may have been missed.
 * @param {() => unknown} fn
 */
export function onReconnect(fn) {
  reconnectHooks.add(fn);
  return () => void reconnectHooks.delete(fn);
}

/** Opens the link, and opens it again whenever it is lost. */
export function openLink() {
  clearTimeout(retryTimer);
  if (socket && socket.readyState <= WebSocket.OPEN) return;
  const scheme = location.protocol === 'https:' ? 'wss' : 'ws';
  const attempt = new WebSocket(`${scheme}://${location.host}/events?token=${sessionToken()}`);
  socket = attempt;
  attempt.onopen = opened;
  attempt.onmessage = ({ data }) => receive(data);
  attempt.onclose = () => attempt === socket && lost();
}

/**
 * Hands one message out. Nothing in it can stop the page: what is not understood goes to the log.
 * @param {unknown} data
 */
export function receive(data) {
  let event;
  try {
    event = JSON.parse(String(data));
  } catch {
    return note('event', 'A message that is not JSON', String(data));
  }
  const set = handlers.get(event?.type);
  if (!set) return note('event', `Unknown event "${event?.type}"`, event);
  for (const fn of [...set]) void caught(() => fn(event), `Could not handle the event "${event.type}"`);
}

function opened() {
  const missed = downSince > 0;
  failures = 0;
  linkState.value = 'open';
  if (!missed) return;
  lastGapMs.value = Date.now() - downSince;
  downSince = 0;
  note('link', `The link is back after ${Math.round(lastGapMs.value / 1000)} s`);
  for (const hook of [...reconnectHooks]) void caught(hook, 'Could not read the state again');
}

function lost() {
  if (!downSince) {
    downSince = Date.now();
    note('link', 'The link to the editor was lost');
  }
  linkState.value = 'down';
  const wait = BACK_OFF_MS[Math.min(failures++, BACK_OFF_MS.length - 1)];
  retryTimer = setTimeout(openLink, wait);
}

/**
 * Runs what another module registered; its failure is its own.
 * @param {() => unknown} fn
 * @param {string} tried
 */
async function caught(fn, tried) {
  try {
    await fn();
  } catch (error) {
    note('error', tried, error);
  }
}
