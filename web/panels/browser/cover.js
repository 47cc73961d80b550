// Whether something is being dragged over the window: the pane would swallow it.

import { signal } from '@preact/signals';
import { on } from '../../bridge/events.js';

export const dragging = signal(false);

on('drag.state', ({ active }) => {
  dragging.value = active === true;
});
for (const [type, value] of /** @type {const} */ ([['dragstart', true], ['dragend', false]]))
  document.addEventListener(type, () => {
    dragging.value = value;
  });
