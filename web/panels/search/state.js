// What the results show besides the hits: which row has the focus.

import { computed, signal } from '@preact/signals';
import { rows } from '../../stores/search.js';

/** Key of the row that has the tree's focus. */
export const focusedRow = signal('');

/** The row itself; null when it is gone. */
export const rowInFocus = computed(() => rows.value.find(({ key }) => key === focusedRow.value) ?? null);
