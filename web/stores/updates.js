// Updates as the bridge tells of them, and what the user does with them. Nothing is downloaded and nothing is
// installed that was not asked for.

import { computed, signal } from '@preact/signals';
import { get } from '../bridge/api.js';
import { on, onReconnect } from '../bridge/events.js';
import { note } from './log.js';
import { config } from './settings.js';
import { badgeOf, kNoStatus, readStatus, shownError } from './updatewords.js';
import { leave, shutdown } from './windowstate.js';

/** The native side checks once, at its start; a window that stays open for days looks again. */
export const CHECK_EVERY_MS = 12 * 60 * 60 * 1000;

/** @type {import('@preact/signals').Signal<import('./updatewords.js').UpdateStatus>} */
export const update = signal(kNoStatus);
const asked = signal(false);

export const canUpdate = computed(() => update.value.currentVersion !== '');
export const updateBadge = computed(() => badgeOf(update.value));
export const updateError = computed(() => shownError(update.value, asked.value));

const kBusy = ['checking', 'downloading'];
export const updateBusy = computed(() => kBusy.includes(update.value.state));

/** @param {string} [action] */
async function ask(action) {
  update.value = readStatus(await get('update', action ? { action } : {}));
}

export async function checkNow() {
  asked.value = true;
  await ask('check');
}

export const download = () => ask('download');
export const skip = () => ask('skip');

/** Installs the verified file: the installer waits for this program's end, which comes at once. */
export async function applyAndRestart() {
  await ask('apply');
  await leave(shutdown);
}

/** @param {typeof setInterval} [every] */
export function startUpdates(every = setInterval) {
  every(() => {
    if (!canUpdate.value || updateBusy.value || update.value.state === 'ready') return;
    if (config.value.automaticUpdates !== true) return;
    asked.value = false;
    ask('check-quiet').catch((error) => note('info', 'Could not look for updates', error));
  }, CHECK_EVERY_MS);
  return ask().catch((error) => note('info', 'Nothing is known of updates', error));
}

on('update.state', (event) => {
  update.value = readStatus(event);
});
onReconnect(() => ask());
