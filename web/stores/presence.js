// Tells the native side what the Discord status may show: when the file in front changes, when work stops for a
// while, never more. What may be said at all is settled in presencerules.js.

import { computed, effect, signal } from '@preact/signals';
import { call } from '../bridge/api.js';
import { onReconnect } from '../bridge/events.js';
import { note } from './log.js';
import { silentBecause, toldOf } from './presencerules.js';
import { config, snapshot } from './settings.js';
import * as uistate from './uistate.js';

/** No key and no click for so long means idle. */
export const IDLE_MS = 5 * 60 * 1000;

/** Workspace path of the file in front, "" for none. */
export const presentFile = signal('');
export const idle = signal(false);
export const paused = signal(false);
/** For the time of a talk: lasts as long as the window. */
export const presenting = signal(false);
/** @type {import('@preact/signals').Signal<string[]>} names of roots */
export const privateRoots = signal([]);

/** Whether Discord listens, as it was last told. */
export const connected = signal(false);
/** Whether anything is told at all: the settings want it and there is an application's id. */
export const presenceOn = computed(
  () => config.value.discordPresence === true && Boolean(config.value.discordAppId),
);

const situation = computed(() => ({
  path: presentFile.value,
  idle: idle.value,
  paused: paused.value,
  presenting: presenting.value,
  privateRoots: privateRoots.value,
}));
export const silence = computed(() => silentBecause(situation.value));
/** As one text, so that the same words again are no change. */
const words = computed(() => JSON.stringify(toldOf(situation.value)));

/** @type {Promise<unknown>} */
let telling = Promise.resolve();

async function tell() {
  try {
    connected.value = (await call('presence', JSON.parse(words.value))).connected === true;
  } catch (error) {
    note('info', 'Could not tell the Discord status', error);
  }
}

/** One after the other: of two at once the later words could arrive first. */
function tellSoon() {
  telling = telling.then(tell);
  return telling;
}

/** @param {string} root @param {boolean} value */
export function setPrivate(root, value) {
  const others = privateRoots.value.filter((name) => name !== root);
  privateRoots.value = value ? [...others, root] : others;
  uistate.set('presence.private', privateRoots.value);
}

/** @param {boolean} value */
export function setPaused(value) {
  paused.value = value;
  uistate.set('presence.paused', value);
}

/** @type {ReturnType<typeof setTimeout> | undefined} */
let idleTimer;

/** Somebody has pressed a key or clicked. @param {number} [idleAfter] milliseconds */
export function noteActivity(idleAfter = IDLE_MS) {
  idle.value = false;
  clearTimeout(idleTimer);
  idleTimer = setTimeout(() => {
    idle.value = true;
  }, idleAfter);
}

export function startPresence() {
  const kept = uistate.get('presence.private', /** @type {unknown} */ ([]));
  privateRoots.value = Array.isArray(kept) ? kept.filter((name) => typeof name === 'string') : [];
  paused.value = uistate.get('presence.paused', /** @type {unknown} */ (false)) === true;
  connected.value = snapshot.value.presenceConnected === true;
  noteActivity();
  const stop = effect(() => {
    void words.value;
    if (presenceOn.value) void tellSoon();
  });
  const stopLink = onReconnect(() => (presenceOn.value ? tellSoon() : undefined));
  return () => {
    stop();
    stopLink();
    clearTimeout(idleTimer);
  };
}
