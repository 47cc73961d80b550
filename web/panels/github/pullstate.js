// Where one stands on the page of a pull request: its part, its file, its line. It comes back with the tab, not
// after a restart.

import { signal } from '@preact/signals';

/**
 * @typedef {'changes' | 'about' | 'drafts'} Part
 * @typedef {object} Place
 * @property {Part} part
 * @property {string} path of the file that is shown
 * @property {number} row of the file's lines that has the focus, from 0
 * @property {number} anchor where a choice of several rows began
 * @property {number} wanted the draft whose field is to take the focus; 0 for none
 */

/** @type {Map<string, import('@preact/signals').Signal<Place>>} */
const places = new Map();

/** @param {string} arg of the page */
export function placeOf(arg) {
  const there = places.get(arg);
  if (there) return there;
  const made = signal(/** @type {Place} */ ({ part: 'changes', path: '', row: 0, anchor: 0, wanted: 0 }));
  places.set(arg, made);
  return made;
}

/**
 * @param {string} arg
 * @param {Partial<Place>} next
 */
export function go(arg, next) {
  const place = placeOf(arg);
  place.value = { ...place.value, ...next };
}

/**
 * @param {string} arg
 * @param {string} path
 */
export const goToFile = (arg, path) => go(arg, { part: 'changes', path, row: 0, anchor: 0 });
