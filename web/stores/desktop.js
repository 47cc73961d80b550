// Whether the desktop knows the program: its entry among the applications.

import { signal } from '@preact/signals';
import { call, get } from '../bridge/api.js';

/** @typedef {{registered: boolean, stale: boolean, registeredExecutable: string, currentExecutable: string}} Desktop */

/** @type {import('@preact/signals').Signal<Desktop & {known: boolean}>} */
export const desktop = signal({
  known: false,
  registered: false,
  stale: false,
  registeredExecutable: '',
  currentExecutable: '',
});

export async function readDesktop() {
  const { registered, stale, registeredExecutable, currentExecutable } = await get('shell/status');
  desktop.value = { known: true, registered, stale, registeredExecutable, currentExecutable };
}

export async function registerDesktop() {
  await call('shell/register');
  await readDesktop();
}

/** The bridge says yes in every case; whether it worked shows in what is read then. */
export async function unregisterDesktop() {
  await call('shell/unregister');
  await readDesktop();
  if (desktop.value.registered) throw new Error('the entry is still there');
}
