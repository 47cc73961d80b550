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

/**
 * What items say, in words that can be read aloud: an item's own words for that, its name, or else its text.
 * @param {Iterable<Element>} items
 */
export function statusWords(items) {
  const words = [...items].map(
    (item) => item.getAttribute('data-spoken') ?? item.getAttribute('aria-label') ?? readText(item),
  );
  return words
    .map((one) => one.replace(/\s+/g, ' ').trim())
    .filter(Boolean)
    .join('. ');
}

/** The text without what is only to be seen. @param {Element} element @returns {string} */
function readText(element) {
  const pieces = [...element.childNodes].map((node) => {
    if (!(node instanceof Element)) return node.textContent ?? '';
    return node.getAttribute('aria-hidden') === 'true' ? '' : readText(node);
  });
  return pieces.join('');
}
