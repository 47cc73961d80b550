// The fonts of the user's choice, in front of those that tokens.css names. A text editor and a terminal take
// theirs from the same variables.

import { signal } from '@preact/signals';
import { get, set } from '../stores/uistate.js';

export const codeFont = signal('');
export const textFont = signal('');

const kPlaces = [
  { font: codeFont, variable: '--font-code', key: 'font.code' },
  { font: textFont, variable: '--font', key: 'font.text' },
];

/** @type {Set<() => void>} */
const listeners = new Set();

/**
 * Calls `fn` after a change, for those that do not follow the style sheet by themselves.
 * @param {() => void} fn
 */
export function onFonts(fn) {
  listeners.add(fn);
  return () => void listeners.delete(fn);
}

/**
 * The value for the variable: a name is quoted, whatever it holds, and the usual fonts stand in for it.
 * @param {string} name
 * @param {string} usual
 */
export function fontList(name, usual) {
  const clean = name.trim().replace(/[\\"\n\r\f]/g, '');
  return clean ? `"${clean}", ${usual}` : usual;
}

/** @param {string} name */
export const setCodeFont = (name) => choose(kPlaces[0], name);
/** @param {string} name */
export const setTextFont = (name) => choose(kPlaces[1], name);

/** @param {(typeof kPlaces)[number]} place @param {string} name */
function choose(place, name) {
  place.font.value = name.trim();
  set(place.key, place.font.value || undefined);
  apply(place);
  for (const fn of listeners) fn();
}

/** @param {(typeof kPlaces)[number]} place */
function apply({ font, variable }) {
  const { style } = document.documentElement;
  style.removeProperty(variable);
  if (!font.value) return;
  const usual = getComputedStyle(document.documentElement).getPropertyValue(variable).trim();
  style.setProperty(variable, fontList(font.value, usual));
}

export function startFonts() {
  for (const place of kPlaces) {
    const kept = get(place.key, /** @type {unknown} */ (''));
    place.font.value = typeof kept === 'string' ? kept : '';
    if (place.font.value) apply(place);
  }
}
