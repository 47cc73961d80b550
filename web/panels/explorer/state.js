// What the explorer shows: which folders are open, what they hold, what is selected and cut.

import { computed, signal } from '@preact/signals';
import { get } from '../../bridge/api.js';
import { ancestors, visibleEntries, visibleRows } from '../../stores/tree.js';
import { affectedFolders, diskChange, toldAs } from '../../stores/outside.js';
import { isInside, parentOf, relabel } from '../../stores/paths.js';
import { roots } from '../../stores/settings.js';
import * as uistate from '../../stores/uistate.js';

const kExpandedKey = 'explorer.expanded';
/** Keeps the page's small storage small. */
const kExpandedKept = 300;

/** @type {import('@preact/signals').Signal<ReadonlySet<string>>} */
export const expanded = signal(new Set());
/** @type {import('@preact/signals').Signal<ReadonlyMap<string, import('../../stores/tree.js').Listing>>} */
export const listings = signal(new Map());
/** @type {import('@preact/signals').Signal<ReadonlySet<string>>} */
export const selected = signal(new Set());
/** The row that has the tree's focus. */
export const focused = signal('');
/** Where a range of rows began. */
export const anchor = signal('');
/** @type {import('@preact/signals').Signal<{paths: string[], cut: boolean}>} */
export const clipboard = signal({ paths: [], cut: false });
/** The folder that a drag would drop into. */
export const dropFolder = signal('');

export const rows = computed(() => visibleRows(roots.value, expanded.value, listings.value));

/** The rows that a command acts on: the selection with the focused row in it, or that row alone. */
export const targets = computed(() => {
  const chosen = selected.value.has(focused.value) ? selected.value : new Set([focused.value]);
  return rows.value.filter((row) => row.kind === 'entry' && chosen.has(row.path));
});

export function loadExplorer() {
  const kept = uistate.get(kExpandedKey, /** @type {unknown} */ (null));
  if (Array.isArray(kept)) expanded.value = new Set(kept.filter((path) => typeof path === 'string'));
  return Array.isArray(kept);
}

/** @param {ReadonlySet<string>} next */
function setExpanded(next) {
  expanded.value = next;
  uistate.set(kExpandedKey, [...next].slice(0, kExpandedKept));
}

/**
 * Reads a folder, again if it was read before.
 * @param {string} path
 */
export async function loadFolder(path) {
  if (!listings.value.has(path)) setListing(path, 'loading');
  const turn = (turns.get(path) ?? 0) + 1;
  turns.set(path, turn);
  const listing = await readFolder(path);
  if (turns.get(path) === turn) setListing(path, listing);
}

/** Of several readings of one folder the last one asked for counts. @type {Map<string, number>} */
const turns = new Map();

/**
 * @param {string} path
 * @returns {Promise<import('../../stores/tree.js').Listing>}
 */
async function readFolder(path) {
  try {
    const { entries } = await get('tree', { path });
    return visibleEntries(entries);
  } catch (error) {
    return { error: error instanceof Error ? error.message : String(error) };
  }
}

/**
 * @param {string} path
 * @param {import('../../stores/tree.js').Listing} listing
 */
function setListing(path, listing) {
  listings.value = new Map(listings.value).set(path, listing);
}

/** @param {string} path */
export async function expand(path) {
  if (!expanded.value.has(path)) setExpanded(new Set(expanded.value).add(path));
  await loadFolder(path);
}

/** @param {string} path */
export function collapse(path) {
  const next = new Set(expanded.value);
  next.delete(path);
  setExpanded(next);
  // The focus never stays on a row that is out of sight.
  if (focused.value !== path && isInside(focused.value, path)) focusRow(path);
}

export function collapseAll() {
  setExpanded(new Set());
  const root = roots.value[0];
  if (root) focusRow(root.name);
}

/** The folders that are open, some of them perhaps in a closed one. */
function openFolders() {
  return [...expanded.value].filter((path) => roots.value.some((root) => isInside(path, root.name)));
}

/** Reads again every folder that is to be seen. */
export async function refresh() {
  await Promise.all(openFolders().map(loadFolder));
}

/** Reads the open folders again that an "fs.changed" is about. @param {unknown} event */
export async function followDisk(event) {
  const named = (/** @type {string} */ folder) => toldAs(roots.value, folder);
  const folders = affectedFolders(diskChange(event), openFolders(), named);
  const depths = [...new Set(folders.map(depthOf))].sort((a, b) => a - b);
  // From the top down, as a folder that is gone cannot be read.
  for (const depth of depths) {
    await Promise.all(folders.filter((path) => depthOf(path) === depth && isThere(path)).map(loadFolder));
  }
}

/** @param {string} path */
function depthOf(path) {
  return path.split('/').length;
}

/** Whether the folder above lists a folder, as far as that is known. @param {string} path */
function isThere(path) {
  const above = listings.value.get(parentOf(path));
  return !Array.isArray(above) || above.some((entry) => entry.path === path);
}

/**
 * Reads the folders again in which something changed; of new ones the nearest that is known.
 * @param {Iterable<string>} paths
 */
export async function refreshAround(paths) {
  const known = [...paths].map(
    (path) => ancestors(path).findLast((folder) => listings.value.has(folder)) ?? path,
  );
  await Promise.all([...new Set(known)].filter((folder) => listings.value.has(folder)).map(loadFolder));
}

/** @param {string} path */
export function focusRow(path) {
  focused.value = path;
  anchor.value = path;
  selected.value = new Set([path]);
}

/**
 * Opens all that is above a path and puts the focus on it.
 * @param {string} path
 */
export async function showPath(path) {
  for (const folder of ancestors(path)) {
    if (!expanded.value.has(folder) || !Array.isArray(listings.value.get(folder))) await expand(folder);
  }
  focusRow(path);
}

/**
 * Open folders and the focus follow a rename.
 * @param {string} from
 * @param {string} to
 */
export function followMove(from, to) {
  setExpanded(new Set([...expanded.value].map((path) => relabel(path, from, to))));
  listings.value = new Map([...listings.value].filter(([path]) => !isInside(path, from)));
  for (const path of expanded.value) if (isInside(path, to)) void loadFolder(path);
}
