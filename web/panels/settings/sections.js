// What the settings page is made of: sections that anybody may add, and the one that is shown.

import { signal } from '@preact/signals';
import { openPage } from '../../editor/tabactions.js';

/**
 * @typedef {object} Section
 * @property {string} id
 * @property {string} title
 * @property {number} order
 * @property {import('preact').ComponentType} component
 */

/** @type {import('@preact/signals').Signal<Section[]>} */
export const sections = signal([]);
/** The id of the section in view; "" for the first. */
export const shownSection = signal('');

/** @param {Section} section */
export function registerSection(section) {
  const others = sections.value.filter(({ id }) => id !== section.id);
  sections.value = [...others, section].sort((a, b) => a.order - b.order);
}

/** @param {string} [id] */
export function openSettings(id = '') {
  if (id) shownSection.value = id;
  openPage('settings', '');
}
