// Pages of panels that are shown as tabs among the texts: a pull request, a task's changes. Who has such a
// page registers it by a name; each tab says with an argument which one it shows.

import { signal } from '@preact/signals';
import { pageOfId } from '../stores/tabs.js';

/**
 * @typedef {object} Page
 * @property {(arg: string) => string} title may read signals, the tabs follow
 * @property {import('preact').ComponentType<any>} component gets `arg`, the tab's `id` and its `group`
 */

/** @type {import('@preact/signals').Signal<ReadonlyMap<string, Page>>} */
const pages = signal(new Map());

/**
 * @param {string} name letters only
 * @param {Page} page
 */
export function registerPage(name, page) {
  pages.value = new Map(pages.value).set(name, page);
}

/**
 * What a tab shows; null for a page that nobody has registered (yet).
 * @param {string} id
 * @returns {(Page & {arg: string}) | null}
 */
export function pageOf(id) {
  const wanted = pageOfId(id);
  const page = wanted && pages.value.get(wanted.name);
  return page ? { ...page, arg: wanted.arg } : null;
}

/** @param {string} id */
export const isPage = (id) => pageOfId(id) !== null;
