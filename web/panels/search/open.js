// Going to what was found, in the group in front or in one beside it.

import { bufferOf, tabs } from '../../editor/state.js';
import { focusGroup, openFile, split } from '../../editor/tabactions.js';
import { placeOf, positionAt } from '../../stores/searchhits.js';
import { closeTab, groupOf } from '../../stores/tabs.js';

/** @typedef {{preview?: boolean, focus?: boolean, beside?: boolean}} How */

/**
 * @param {string} path
 * @param {{line?: number, column?: number, end?: {line: number, column: number}}} goal
 * @param {How} [how]
 */
export async function openAt(path, goal, { preview = false, focus = true, beside = false } = {}) {
  if (!beside) return openFile(path, { preview, focus, ...goal });
  const other = tabs.value.groups.find(({ id }) => id !== tabs.value.active);
  if (other) return openFile(path, { group: other.id, focus, ...goal });
  split('row');
  const group = tabs.value.active;
  const copied = groupOf(tabs.value, group).active;
  await openFile(path, { group, focus, ...goal });
  const { active } = groupOf(tabs.value, group);
  if (copied && copied !== active) tabs.value = { ...closeTab(tabs.value, group, copied), active: group };
  return focus ? focusGroup(group) : undefined;
}

/**
 * Opens the file of a hit and selects the match, or goes to its line when something else stands there by now.
 * @param {import('../../stores/searchhits.js').Hit} hit
 * @param {How} [how]
 */
export async function openHit(hit, how = {}) {
  await openAt(hit.path, {}, how);
  const buffer = bufferOf(hit.path);
  if (!buffer) return;
  const text = buffer.text();
  const place = placeOf(text, hit, { mark: buffer.encoding.value === 'utf8bom' });
  const goal = place ? goalOf(text, place) : { line: hit.line };
  await openAt(hit.path, goal, { ...how, beside: false });
}

/**
 * @param {string} text
 * @param {{from: number, to: number}} place
 */
function goalOf(text, { from, to }) {
  return { ...positionAt(text, from), end: positionAt(text, to) };
}
