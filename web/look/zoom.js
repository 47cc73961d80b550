// The size of everything: a zoom from 50 to 200 percent that changes the root's font size, on which
// all sizes of tokens.css hang. A text editor multiplies its own font size with it.

import { effect, signal } from '@preact/signals';
import { get, set } from '../stores/uistate.js';

export const ZOOM_STEPS = [0.5, 0.67, 0.75, 0.8, 0.9, 1, 1.1, 1.25, 1.5, 1.75, 2];

/** 1 is the size as designed. */
export const zoom = signal(1);

/** @param {-1 | 1} direction */
export function zoomBy(direction) {
  const at = ZOOM_STEPS.findIndex((step) => step >= zoom.value);
  setZoom(ZOOM_STEPS[Math.max(0, Math.min(ZOOM_STEPS.length - 1, at + direction))]);
}

/** @param {number} factor */
export function setZoom(factor) {
  zoom.value = factor;
  set('zoom', factor);
}

/** @param {Document} document */
export function startZoom(document) {
  const kept = get('zoom', 1);
  zoom.value = ZOOM_STEPS.includes(kept) ? kept : 1;
  effect(() => {
    document.documentElement.style.fontSize = `${zoom.value * 16}px`;
  });
}
