// Menus: from the menu bar, from buttons and by right click. Items are commands of the one table, or
// actions of their own. All of them work by keyboard, and the focus returns to where it was.

import { signal } from '@preact/signals';
import { commandById, enabled, keyFor, runCommand } from './commands.js';
import { keepFocus } from './focus.js';
import { reportError } from './toasts.js';

/**
 * @typedef {object} MenuItem
 * @property {string} [command] id of a command, which gives title, keys and whether it can run
 * @property {any} [arg]
 * @property {string} [label]
 * @property {string} [icon]
 * @property {string} [keys] as shown
 * @property {() => unknown} [run]
 * @property {boolean} [enabled]
 * @property {boolean} [checked]
 * @property {'separator'} [kind]
 * @property {MenuItem[]} [items] a menu of its own
 *
 * @typedef {object} MenuRequest
 * @property {number} [x]
 * @property {number} [y]
 * @property {Element} [anchor] the menu opens below it
 * @property {MenuItem[]} items
 * @property {string} [label] its name for screen readers
 * @property {(step: -1 | 1) => void} [onSideways] what left and right do at the top level
 *
 * @typedef {MenuRequest & {close: (chosen?: MenuItem) => void}} OpenMenu
 */

/** @type {import('@preact/signals').Signal<OpenMenu | null>} */
export const openMenu = signal(null);

/**
 * Shows a menu and resolves when it has closed and the chosen item was started.
 * @param {MenuRequest} request
 * @returns {Promise<void>}
 */
export function showMenu(request) {
  openMenu.value?.close();
  const items = readyItems(request.items);
  if (!items.length) return Promise.resolve();
  const giveBack = keepFocus();
  return new Promise((resolve) => {
    const menu = {
      ...request,
      items,
      close: (/** @type {MenuItem | undefined} */ chosen) => {
        if (openMenu.value !== menu) return;
        openMenu.value = null;
        giveBack();
        // After the focus is back: what the item does may look at it, or take it.
        queueMicrotask(() => {
          if (chosen) void act(chosen);
          resolve();
        });
      },
    };
    openMenu.value = menu;
  });
}

/**
 * Gives an element its context menu, by mouse and by keyboard.
 * @param {Element} element
 * @param {(event: MouseEvent) => MenuItem[]} itemsFor
 */
export function menuFor(element, itemsFor) {
  /** @param {Event} event */
  const show = (event) => {
    if (!(event instanceof MouseEvent) || event.defaultPrevented) return;
    event.preventDefault();
    void showMenu({ x: event.clientX, y: event.clientY, items: itemsFor(event) });
  };
  element.addEventListener('contextmenu', show);
  return () => element.removeEventListener('contextmenu', show);
}

/**
 * Makes items complete: commands give their words, those that do not exist are left out, and
 * separators stand only between items.
 * @param {MenuItem[]} items
 * @returns {MenuItem[]}
 */
export function readyItems(items) {
  const known = items.map(readyItem).filter((item) => item !== null);
  return known.filter((item, i) => {
    if (item.kind !== 'separator') return true;
    const before = known[i - 1];
    return before && before.kind !== 'separator' && known.slice(i).some((one) => !one.kind);
  });
}

/**
 * @param {MenuItem} item
 * @returns {MenuItem | null}
 */
function readyItem(item) {
  if (item.items) {
    const items = readyItems(item.items);
    return items.length ? { ...item, items } : null;
  }
  if (!item.command) return item;
  const command = commandById(item.command);
  if (!command) return null;
  return {
    ...item,
    label: item.label ?? command.title,
    keys: keyFor(command.id),
    enabled: item.enabled ?? enabled(command),
    checked: item.checked ?? command.checked?.(),
  };
}

/** @param {MenuItem} item */
async function act({ command, arg, run, label }) {
  if (command) return runCommand(command, arg);
  try {
    await run?.();
  } catch (error) {
    reportError(`Could not run "${label}"`, error);
  }
}
