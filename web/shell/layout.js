// What is where in the window: three places for panels around the centre, each with a size and one
// panel in front. Sizes and what is open come back as they were left.

import { computed, signal } from '@preact/signals';
import { get, set } from '../stores/uistate.js';

/**
 * @typedef {'side' | 'bottom' | 'right'} Place
 * @typedef {object} Panel
 * @property {string} id
 * @property {string} title
 * @property {string} icon name of a codicon
 * @property {Place} place
 * @property {import('preact').ComponentType} component
 * @property {import('preact').ComponentType} [actions] buttons at the right of the panel's title
 * @property {import('preact').ComponentType} [badge] a count beside its icon or title
 * @property {number} order
 */

/** @typedef {{open: boolean, size: number, active: string}} PlaceState */

/** Sizes are in rem, so that they follow the zoom. */
export const LIMITS = {
  side: { least: 10, most: 48, first: 16 },
  bottom: { least: 5, most: 48, first: 14 },
  right: { least: 14, most: 60, first: 24 },
};

/** @type {Place[]} */
const PLACES = ['side', 'bottom', 'right'];

/** @type {import('@preact/signals').Signal<Panel[]>} */
export const panels = signal([]);

/**
 * The component in the middle.
 * @type {import('@preact/signals').Signal<import('preact').ComponentType | null>}
 */
export const center = signal(null);

/** @type {import('@preact/signals').Signal<Record<Place, PlaceState>>} */
export const layout = signal({
  side: { open: true, size: LIMITS.side.first, active: '' },
  bottom: { open: false, size: LIMITS.bottom.first, active: '' },
  right: { open: false, size: LIMITS.right.first, active: '' },
});

/** What zen mode has put away, to come back to; null while it is off. @type {import('@preact/signals').Signal<Record<Place, PlaceState> | null>} */
const putAway = signal(null);

/** Whether there is nothing around the text. What is opened in zen mode stays open only as long as that lasts. */
export const zen = computed(() => putAway.value !== null);

/** @param {import('preact').ComponentType} component */
export function setCenter(component) {
  center.value = component;
}

/**
 * Adds a panel, or replaces the one of that id.
 * @param {Panel} panel
 */
export function registerPanel(panel) {
  const others = panels.value.filter(({ id }) => id !== panel.id);
  panels.value = [...others, panel].sort((a, b) => a.order - b.order);
}

/** @param {Place} place */
export const panelsIn = (place) => panels.value.filter((panel) => panel.place === place);

/**
 * The panel in front at a place; undefined when there is none.
 * @param {Place} place
 */
export function activePanel(place) {
  const here = panelsIn(place);
  return here.find(({ id }) => id === layout.value[place].active) ?? here[0];
}

/** Which places are to be seen. */
export const visible = computed(() => ({
  side: layout.value.side.open && panelsIn('side').length > 0,
  bottom: layout.value.bottom.open && panelsIn('bottom').length > 0,
  right: layout.value.right.open && panelsIn('right').length > 0,
}));

/**
 * Opens a panel's place with it in front.
 * @param {string} id
 */
export function showPanel(id) {
  const panel = panels.value.find((one) => one.id === id);
  if (panel) change(panel.place, { open: true, active: id });
}

/** @param {Place} place */
export function togglePlace(place) {
  change(place, { open: !layout.value[place].open });
}

/**
 * @param {Place} place
 * @param {number} size in rem
 */
export function resizePlace(place, size) {
  const { least, most } = LIMITS[place];
  change(place, { size: Math.min(most, Math.max(least, Math.round(size * 16) / 16)) });
}

/** @param {boolean} on */
export function setZen(on) {
  if (on === zen.value) return;
  set('zen', on || undefined);
  if (on) {
    putAway.value = layout.value;
    const { side, bottom, right } = layout.value;
    layout.value = {
      side: { ...side, open: false },
      bottom: { ...bottom, open: false },
      right: { ...right, open: false },
    };
  } else {
    layout.value = putAway.value ?? layout.value;
    putAway.value = null;
  }
}

/** Takes up what was left; values that make no sense stay as designed. */
export function loadLayout() {
  const kept = get('layout', /** @type {any} */ ({}));
  const next = { ...layout.value };
  for (const place of PLACES) {
    const { open, size, active } = kept?.[place] ?? {};
    const { least, most } = LIMITS[place];
    next[place] = {
      open: typeof open === 'boolean' ? open : next[place].open,
      size: typeof size === 'number' && size >= least && size <= most ? size : next[place].size,
      active: typeof active === 'string' ? active : next[place].active,
    };
  }
  layout.value = next;
  if (get('zen', /** @type {unknown} */ (false)) === true) setZen(true);
}

/**
 * @param {Place} place
 * @param {Partial<PlaceState>} state
 */
function change(place, state) {
  layout.value = { ...layout.value, [place]: { ...layout.value[place], ...state } };
  if (!zen.value) set('layout', layout.value);
}
