// The items of the status bar; each is a component that reads the signals it shows.

import { signal } from '@preact/signals';

/**
 * @typedef {object} StatusItem
 * @property {string} id
 * @property {'left' | 'right'} side
 * @property {number} order smaller is further out
 * @property {import('preact').ComponentType} component
 */

/** @type {import('@preact/signals').Signal<StatusItem[]>} */
export const statusItems = signal([]);

/**
 * Adds an item, or replaces the one of that id. The result takes it out again.
 * @param {StatusItem} item
 */
export function registerStatusItem(item) {
  const others = statusItems.value.filter(({ id }) => id !== item.id);
  statusItems.value = [...others, item].sort((a, b) => a.order - b.order);
  return () => {
    statusItems.value = statusItems.value.filter((one) => one !== item);
  };
}
