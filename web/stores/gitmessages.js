// Messages of commits that are still being written. They outlive the program, and go once they are used.

import { signal } from '@preact/signals';
import * as uistate from './uistate.js';

const kKey = 'scm.messages';

/** By the folder of the repository. @type {import('@preact/signals').Signal<ReadonlyMap<string, string>>} */
export const messages = signal(new Map());

export function loadMessages() {
  const kept = uistate.get(kKey, /** @type {unknown} */ ({}));
  if (!kept || typeof kept !== 'object' || Array.isArray(kept)) return;
  const texts = Object.entries(kept).filter(([, text]) => typeof text === 'string');
  messages.value = new Map(/** @type {[string, string][]} */ (texts));
}

/**
 * @param {string} root
 * @param {string} text "" forgets it
 */
export function setMessage(root, text) {
  const next = new Map(messages.value);
  if (text) next.set(root, text);
  else next.delete(root);
  messages.value = next;
  uistate.set(kKey, next.size ? Object.fromEntries(next) : undefined);
}
