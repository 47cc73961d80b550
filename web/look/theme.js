// Which of the four themes is on: the user's choice, or what the desktop asks for. The colours stand
// in tokens.css; whoever draws on its own (a text editor) reads them as computed and listens here.

import { computed, effect, signal } from '@preact/signals';
import { get, set } from '../stores/uistate.js';

/** @typedef {'marlin-dark' | 'marlin-light' | 'marlin-contrast-dark' | 'marlin-contrast-light'} ThemeId */

/** @type {{id: ThemeId, title: string}[]} */
export const themes = [
  { id: 'marlin-dark', title: 'Marlin Dark' },
  { id: 'marlin-light', title: 'Marlin Light' },
  { id: 'marlin-contrast-dark', title: 'Marlin Dark, High Contrast' },
  { id: 'marlin-contrast-light', title: 'Marlin Light, High Contrast' },
];

const desktop = signal({ light: false, contrast: false });

/**
 * The theme that was chosen, "auto" for the desktop's.
 * @type {import('@preact/signals').Signal<ThemeId | 'auto'>}
 */
export const themeChoice = signal('auto');

/** The theme that is on. @type {import('@preact/signals').ReadonlySignal<ThemeId>} */
export const theme = computed(() =>
  themeChoice.value === 'auto' ? desktopTheme(desktop.value) : themeChoice.value,
);

/**
 * @param {{light: boolean, contrast: boolean}} wishes
 * @returns {ThemeId}
 */
export function desktopTheme({ light, contrast }) {
  return `marlin-${contrast ? 'contrast-' : ''}${light ? 'light' : 'dark'}`;
}

/** @param {ThemeId | 'auto'} id */
export function chooseTheme(id) {
  themeChoice.value = id;
  set('theme', id);
}

/**
 * Calls `fn` after each change, when the new colours are computed.
 * @param {(theme: ThemeId) => void} fn
 */
export function onTheme(fn) {
  let first = true;
  return effect(() => {
    const id = theme.value;
    if (!first) queueMicrotask(() => fn(id)); // the effect of startTheme sets the attribute meanwhile
    first = false;
  });
}

/** Follows choice and desktop from now on. @param {Window} window */
export function startTheme(window) {
  /** @type {string} */
  const kept = get('theme', 'auto');
  themeChoice.value = themes.find(({ id }) => id === kept)?.id ?? 'auto';
  const light = window.matchMedia('(prefers-color-scheme: light)');
  const contrast = window.matchMedia('(prefers-contrast: more)');
  const read = () => (desktop.value = { light: light.matches, contrast: contrast.matches });
  light.addEventListener('change', read);
  contrast.addEventListener('change', read);
  read();
  effect(() => {
    window.document.documentElement.dataset.theme = theme.value;
  });
}
