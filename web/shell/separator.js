// The line between two places, dragged by mouse or moved by arrow keys.

import { html } from 'htm/preact';
import { LIMITS, layout, resizePlace, togglePlace } from './layout.js';

/** What an arrow key moves, in rem. */
const STEP = 1;

/** Which way a place grows: the axis, and whether towards larger coordinates. */
const GROWS = {
  side: { axis: /** @type {const} */ ('x'), sign: 1, name: 'Size of the side panel' },
  bottom: { axis: /** @type {const} */ ('y'), sign: -1, name: 'Size of the bottom panel' },
  right: { axis: /** @type {const} */ ('x'), sign: -1, name: 'Size of the right panel' },
};

/** @param {{place: import('./layout.js').Place}} props */
export function Separator({ place }) {
  const { axis, sign, name } = GROWS[place];
  const { size } = layout.value[place];
  const { least, most, first } = LIMITS[place];

  /** @param {PointerEvent} event */
  const onPointerDown = (event) => {
    if (event.button !== 0) return;
    const handle = /** @type {HTMLElement} */ (event.currentTarget);
    const rem = parseFloat(getComputedStyle(document.documentElement).fontSize);
    const start = event[axis];
    const shown = drawnSize(handle, place, axis) / rem;
    handle.setPointerCapture(event.pointerId);
    handle.onpointermove = (move) => resizePlace(place, shown + (sign * (move[axis] - start)) / rem);
    handle.onpointerup = handle.onpointercancel = () => {
      handle.onpointermove = null;
    };
    event.preventDefault();
  };
  /** @param {KeyboardEvent} event */
  const onKeyDown = (event) => {
    const keys = axis === 'x' ? ['ArrowLeft', 'ArrowRight'] : ['ArrowUp', 'ArrowDown'];
    const direction = keys.indexOf(event.key);
    if (direction >= 0) resizePlace(place, size + sign * STEP * (direction ? 1 : -1));
    else if (event.key === 'Home') resizePlace(place, least);
    else if (event.key === 'End') resizePlace(place, most);
    else if (event.key === 'Enter') togglePlace(place);
    else return;
    event.preventDefault();
    event.stopPropagation();
  };

  return html`
    <div
      class=${`separator separator-${axis}`}
      role="separator"
      tabindex="0"
      aria-label=${name}
      aria-orientation=${axis === 'x' ? 'vertical' : 'horizontal'}
      aria-valuemin=${least}
      aria-valuemax=${most}
      aria-valuenow=${size}
      aria-valuetext=${`${Math.round(size * 16)} pixels`}
      onPointerDown=${onPointerDown}
      onKeyDown=${onKeyDown}
      onDblClick=${() => resizePlace(place, first)}
    ></div>
  `;
}

/**
 * The size as drawn, which a narrow window may hold below the wanted one.
 * @param {HTMLElement} handle
 * @param {string} place
 * @param {'x' | 'y'} axis
 */
function drawnSize(handle, place, axis) {
  const panel = handle.ownerDocument.querySelector(`[data-place="${place}"]`);
  return panel?.getBoundingClientRect()[axis === 'x' ? 'width' : 'height'] ?? 0;
}
