// What the conditions of key bindings look at. Who knows how something stands says so here, by the context's name.

import { whenHolds } from '../stores/keybindingscontexts.js';

/** @typedef {import('../stores/keybindingscontexts.js').ContextName} ContextName */

/** @type {Map<ContextName, () => unknown>} */
const contexts = new Map();

/**
 * @param {Record<ContextName, () => unknown>} values called at each press of a key that asks for them
 */
export function registerContexts(values) {
  for (const [name, value] of Object.entries(values)) contexts.set(/** @type {ContextName} */ (name), value);
}

/** @param {import('../stores/keybindingscontexts.js').When} when */
export const holds = (when) => whenHolds(when, (name) => contexts.get(name)?.());
