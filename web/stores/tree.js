// The explorer's tree as data: which rows are to be seen, and where keys lead.

import { baseName, isInside, joinPath, parentOf } from './paths.js';

/**
 * @typedef {{name: string, path: string, directory: boolean, size: number}} Entry
 * @typedef {Entry[] | 'loading' | {error: string}} Listing
 *
 * @typedef {object} Row
 * @property {'entry' | 'loading' | 'error'} kind
 * @property {string} path of the entry, or of the folder that loads or failed
 * @property {string} name what the row says
 * @property {boolean} directory
 * @property {boolean} expanded
 * @property {number} depth from 0
 * @property {number} position from 1, among its siblings
 * @property {number} siblings
 */

/** Kept out of sight: it holds the editor's own backups. */
const kHiddenNames = new Set(['.marlin']);

/**
 * What a listing shows.
 * @param {readonly Entry[]} entries
 */
export function visibleEntries(entries) {
  return entries.filter((entry) => !kHiddenNames.has(entry.name));
}

/**
 * All rows, from the top.
 * @param {readonly {name: string}[]} roots
 * @param {ReadonlySet<string>} expanded
 * @param {ReadonlyMap<string, Listing>} listings
 * @returns {Row[]}
 */
export function visibleRows(roots, expanded, listings) {
  /** @type {Row[]} */
  const rows = [];
  const tops = roots.map(({ name }) => ({ name, path: name, directory: true, size: 0 }));
  appendRows(rows, tops, 0, expanded, listings);
  return rows;
}

/**
 * @param {Row[]} rows
 * @param {readonly Entry[]} entries
 * @param {number} depth
 * @param {ReadonlySet<string>} expanded
 * @param {ReadonlyMap<string, Listing>} listings
 */
function appendRows(rows, entries, depth, expanded, listings) {
  const siblings = entries.length;
  entries.forEach(({ name, path, directory }, at) => {
    const open = directory && expanded.has(path);
    rows.push({ kind: 'entry', path, name, directory, expanded: open, depth, position: at + 1, siblings });
    if (!open) return;
    const listing = listings.get(path) ?? 'loading';
    if (Array.isArray(listing)) appendRows(rows, listing, depth + 1, expanded, listings);
    else rows.push(messageRow(path, listing, depth + 1));
  });
}

/**
 * @param {string} path
 * @param {'loading' | {error: string}} listing
 * @param {number} depth
 * @returns {Row}
 */
function messageRow(path, listing, depth) {
  const failed = listing !== 'loading';
  return {
    kind: failed ? 'error' : 'loading',
    path,
    name: failed ? listing.error : 'Loading…',
    directory: false,
    expanded: false,
    depth,
    position: 1,
    siblings: 1,
  };
}

/**
 * @param {readonly Row[]} rows
 * @param {string} path
 */
export function rowIndex(rows, path) {
  return rows.findIndex((row) => row.kind === 'entry' && row.path === path);
}

/**
 * Where a key of a tree leads.
 * @param {readonly Row[]} rows
 * @param {string} path the row that has the focus
 * @param {string} key
 * @param {number} page rows that fit in view
 * @returns {{focus: string} | {expand: string} | {collapse: string} | null}
 */
export function treeMove(rows, path, key, page) {
  const at = rowIndex(rows, path);
  const row = rows[at];
  if (!row) return rows[0] ? { focus: rows[0].path } : null;
  switch (key) {
    case 'ArrowDown':
      return step(rows, at, 1);
    case 'ArrowUp':
      return step(rows, at, -1);
    case 'PageDown':
      return step(rows, at, Math.max(1, page - 1));
    case 'PageUp':
      return step(rows, at, -Math.max(1, page - 1));
    case 'Home':
      return step(rows, at, -rows.length);
    case 'End':
      return step(rows, at, rows.length);
    case 'ArrowRight':
      if (row.directory && !row.expanded) return { expand: row.path };
      return row.directory && rows[at + 1]?.kind === 'entry' && isInside(rows[at + 1]?.path ?? '', row.path)
        ? step(rows, at, 1)
        : null;
    case 'ArrowLeft':
      if (row.expanded) return { collapse: row.path };
      return parentOf(row.path) ? { focus: parentOf(row.path) } : null;
    default:
      return null;
  }
}

/**
 * The nearest row of an entry, as far as `by` leads.
 * @param {readonly Row[]} rows
 * @param {number} at
 * @param {number} by
 */
function step(rows, at, by) {
  const entries = rows.flatMap((row, index) => (row.kind === 'entry' ? [index] : []));
  const from = entries.indexOf(at);
  const to = Math.max(0, Math.min(entries.length - 1, from + by));
  return { focus: /** @type {Row} */ (rows[/** @type {number} */ (entries[to])]).path };
}

/**
 * The paths from one row to another, both with.
 * @param {readonly Row[]} rows
 * @param {string} from
 * @param {string} to
 */
export function rangeOf(rows, from, to) {
  const a = rowIndex(rows, from);
  const b = rowIndex(rows, to);
  if (b < 0) return [];
  if (a < 0) return [to];
  return rows
    .slice(Math.min(a, b), Math.max(a, b) + 1)
    .flatMap((row) => (row.kind === 'entry' ? [row.path] : []));
}

/**
 * Typing letters jumps to the next row that begins with them; the same letter again goes round.
 * @param {readonly Row[]} rows
 * @param {string} path
 * @param {string} typed
 * @returns {string} "" when no row begins so
 */
export function typeahead(rows, path, typed) {
  const wanted = typed.toLowerCase();
  const first = wanted[0] ?? '';
  const repeated = wanted.length > 1 && wanted === first.repeat(wanted.length);
  const sought = repeated ? first : wanted;
  const from = rowIndex(rows, path) + (wanted.length === 1 || repeated ? 1 : 0);
  for (let i = 0; i < rows.length; i++) {
    const row = /** @type {Row} */ (rows[(Math.max(0, from) + i) % rows.length]);
    if (row.kind === 'entry' && row.name.toLowerCase().startsWith(sought)) return row.path;
  }
  return '';
}

/**
 * All folders above a path, outermost first: what must be open to see it.
 * @param {string} path
 */
export function ancestors(path) {
  /** @type {string[]} */
  const found = [];
  for (let folder = parentOf(path); folder; folder = parentOf(folder)) found.unshift(folder);
  return found;
}

/**
 * The folder that new files go to.
 * @param {string} path
 * @param {boolean} directory
 */
export function targetFolder(path, directory) {
  return directory ? path : parentOf(path);
}

/**
 * Why paths cannot be moved into a folder, or "".
 * @param {readonly string[]} paths
 * @param {string} folder
 */
export function moveProblem(paths, folder) {
  for (const path of paths) {
    if (!path.includes('/')) return `"${path}" is a folder of the workspace and stays where it is.`;
    if (isInside(folder, path)) return `"${baseName(path)}" cannot be moved into itself.`;
  }
  return '';
}

/**
 * What a move renames; paths that are there already are left out.
 * @param {readonly string[]} paths
 * @param {string} folder
 */
export function moves(paths, folder) {
  return paths
    .map((path) => ({ from: path, to: joinPath(folder, baseName(path)) }))
    .filter(({ from, to }) => from !== to);
}
