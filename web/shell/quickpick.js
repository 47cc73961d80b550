// A field with a list below it, in the upper middle: the command palette, and every choice out of
// many (a theme, a language). What is typed narrows the list; arrows move, Enter takes, Escape leaves.

import { signal } from '@preact/signals';
import { keepFocus } from './focus.js';
import { fuzzy } from './fuzzy.js';

/**
 * @typedef {object} PickItem
 * @property {string} id
 * @property {string} label
 * @property {string} [description] dimmed, behind the label
 * @property {string} [keys] as shown
 * @property {string} [icon]
 * @property {string} [group] a heading above the first item of each group, while nothing is typed
 * @property {boolean} [beside] of the chosen one: it was taken with Ctrl, for a place of its own
 *
 * Items that are looked for while one types, instead of narrowed here.
 * @typedef {object} LiveItems
 * @property {import('@preact/signals').ReadonlySignal<PickRow[]>} rows the best first
 * @property {import('@preact/signals').ReadonlySignal<string>} note a line below the list: what is not in it
 * @property {import('@preact/signals').ReadonlySignal<string>} [empty] instead of the request's own, where that changes
 * @property {(query: string) => Promise<unknown>} ask is told each text that is typed, and the one at first;
 *   resolves when the rows answer to it
 *
 * @typedef {{item: PickItem, at: number[], descriptionAt?: number[]}} PickRow with the letters that fit
 *
 * @typedef {object} PickRequest
 * @property {string} title its name for screen readers
 * @property {string} placeholder
 * @property {PickItem[]} items
 * @property {LiveItems} [live] instead of `items`
 * @property {string} [query] what stands in the field at first
 * @property {string} [active] the id that is lit at first
 * @property {string} [empty] what to say when nothing matches
 * @property {(item: PickItem | null) => void} [onActive] while moving, for a preview
 *
 * @typedef {PickRequest & {close: (item: PickItem | null, beside?: boolean) => void}} OpenPick
 */

/** @type {import('@preact/signals').Signal<OpenPick | null>} */
export const openPick = signal(null);

/**
 * @param {PickRequest} request
 * @returns {Promise<PickItem | null>} null when it was left without a choice
 */
export function pick(request) {
  openPick.value?.close(null);
  const giveBack = keepFocus();
  return new Promise((resolve) => {
    openPick.value = {
      ...request,
      close: (item, beside = false) => {
        openPick.value = null;
        giveBack();
        resolve(item && beside ? { ...item, beside } : item);
      },
    };
  });
}

/**
 * The items that match, the best first; all of them, in their order, when nothing is typed.
 * @param {PickItem[]} items
 * @param {string} query
 * @returns {PickRow[]}
 */
export function narrow(items, query) {
  if (!query.trim()) return items.map((item) => ({ item, at: [] }));
  const found = [];
  for (const item of items) {
    const match = fuzzy(query, item.label);
    if (match) found.push({ item, ...match });
  }
  return found.sort((a, b) => b.score - a.score);
}
