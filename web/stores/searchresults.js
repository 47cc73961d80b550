// Results of a search as data: hits by file, and the rows in which a list or a tree of folders shows them.

import { baseName, parentOf } from './paths.js';
import { pathTest } from './searchglob.js';
import { hitKey } from './searchhits.js';

/**
 * @typedef {import('./searchhits.js').Hit} Hit
 * @typedef {{path: string, hits: Hit[], own: boolean, stale: boolean}} FileHits
 *   `own` hits were found by the page, in a text that is open or was just written; `stale` ones in a text
 * that
 *   has changed since
 *
 * @typedef {object} Row
 * @property {'folder' | 'file' | 'hit'} kind
 * @property {string} key
 * @property {string} path
 * @property {string} name
 * @property {string} parent key of the row that holds it; "" at the top
 * @property {number} depth from 0
 * @property {number} position from 1, among its siblings
 * @property {number} siblings
 * @property {boolean} expanded
 * @property {number} count hits in it
 * @property {Hit} [hit]
 * @property {FileHits} [file]
 */

/**
 * Hits by file, in the order of their paths, untitled pages last. What the page found in a file takes the
 * place of what is on disk.
 * @param {readonly Hit[]} disk
 * @param {ReadonlyMap<string, Hit[]>} own
 * @returns {FileHits[]}
 */
export function gather(disk, own) {
  /** @type {Map<string, FileHits>} */
  const files = new Map();
  for (const hit of disk) {
    if (own.has(hit.path) || isHidden(hit.path)) continue;
    const file = files.get(hit.path) ?? { path: hit.path, hits: [], own: false, stale: false };
    file.hits.push(hit);
    files.set(hit.path, file);
  }
  for (const [path, hits] of own) if (hits.length) files.set(path, { path, hits, own: true, stale: false });
  return [...files.values()].sort(byPath);
}

/** The page's own folder of backups is no part of the project. @param {string} path */
export function isHidden(path) {
  return /^[^/]+\/\.marlin\//.test(path);
}

/** @param {FileHits} a @param {FileHits} b */
function byPath(a, b) {
  const untitled = Number(!a.path.includes('/')) - Number(!b.path.includes('/'));
  return untitled || (a.path < b.path ? -1 : 1);
}

/**
 * The results with one file's hits changed; without hits it goes.
 * @param {readonly FileHits[]} files
 * @param {string} path
 * @param {Hit[]} hits
 */
export function withFile(files, path, hits) {
  const others = files.filter((file) => file.path !== path);
  if (hits.length === 0) return others;
  return [...others, { path, hits, own: true, stale: false }].sort(byPath);
}

/**
 * What is left to be seen.
 * @param {readonly FileHits[]} files
 * @param {{include: string, exclude: string, dismissed: ReadonlySet<string>}} filter
 * @returns {FileHits[]}
 */
export function filtered(files, { include, exclude, dismissed }) {
  const wanted = pathTest(include);
  const unwanted = pathTest(exclude);
  const seen = files.filter(({ path }) => (wanted?.(path) ?? true) && !unwanted?.(path));
  if (dismissed.size === 0) return seen;
  return seen.flatMap((file) => {
    const hits = file.hits.filter((hit) => !dismissed.has(hitKey(hit)));
    return hits.length ? [{ ...file, hits }] : [];
  });
}

/** @param {readonly FileHits[]} files */
export function countHits(files) {
  return files.reduce((sum, { hits }) => sum + hits.length, 0);
}

/**
 * @param {readonly FileHits[]} files
 * @param {{asTree: boolean, collapsed: ReadonlySet<string>, nameOf?: (path: string) => string}} view
 * @returns {Row[]}
 */
export function rowsOf(files, { asTree, collapsed, nameOf = baseName }) {
  const rows = new Rows(collapsed, nameOf);
  if (asTree) rows.addInside(folderTree(files), '', 0);
  else files.forEach((file, index) => rows.addFile(file, '', 0, index, files.length));
  return rows.all;
}

/** @typedef {Omit<Row, 'expanded' | 'position' | 'siblings'>} BareRow */

/** Rows as they are added, those below a collapsed one left out. */
class Rows {
  /**
   * @param {ReadonlySet<string>} collapsed
   * @param {(path: string) => string} nameOf
   */
  constructor(collapsed, nameOf) {
    this.collapsed = collapsed;
    this.nameOf = nameOf;
    /** @type {Row[]} */
    this.all = [];
  }

  /**
   * @param {BareRow} row
   * @param {number} index among its siblings
   * @param {number} siblings
   * @returns {boolean} whether what it holds is to be seen
   */
  add(row, index, siblings) {
    const expanded = row.kind !== 'hit' && !this.collapsed.has(row.key);
    this.all.push({ ...row, expanded, position: index + 1, siblings });
    return expanded;
  }

  /**
   * @param {FileHits} file
   * @param {string} parent
   * @param {number} depth
   * @param {number} index
   * @param {number} siblings
   */
  addFile(file, parent, depth, index, siblings) {
    const { path, hits } = file;
    const key = `file ${path}`;
    const name = this.nameOf(path);
    const open = this.add(
      { kind: 'file', key, path, name, parent, depth, count: hits.length, file },
      index,
      siblings,
    );
    if (!open) return;
    hits.forEach((hit, i) => {
      const row = {
        key: `hit ${hitKey(hit)}`,
        path,
        name: hit.text,
        parent: key,
        depth: depth + 1,
        hit,
        file,
      };
      this.add({ kind: 'hit', count: 1, ...row }, i, hits.length);
    });
  }

  /**
   * @param {Folder} folder
   * @param {string} parent
   * @param {number} depth
   */
  addInside(folder, parent, depth) {
    const folders = [...folder.folders.values()].map(shortened);
    const siblings = folders.length + folder.files.length;
    folders.forEach((inner, index) => {
      const { path, name, count } = inner;
      const key = `folder ${path}`;
      const open = this.add({ kind: 'folder', key, path, name, parent, depth, count }, index, siblings);
      if (open) this.addInside(inner, key, depth + 1);
    });
    folder.files.forEach((file, i) => this.addFile(file, parent, depth, folders.length + i, siblings));
  }
}

/**
 * @typedef {{path: string, name: string, count: number, folders: Map<string, Folder>, files: FileHits[]}}
 *   Folder
 */

/**
 * @param {readonly FileHits[]} files
 * @returns {Folder}
 */
function folderTree(files) {
  /** @type {Folder} */
  const top = { path: '', name: '', count: 0, folders: new Map(), files: [] };
  for (const file of files) {
    let folder = top;
    let path = '';
    for (const name of parentOf(file.path).split('/').filter(Boolean)) {
      path = path ? `${path}/${name}` : name;
      const inner = folder.folders.get(name) ?? { path, name, count: 0, folders: new Map(), files: [] };
      folder.folders.set(name, inner);
      inner.count += file.hits.length;
      folder = inner;
    }
    folder.files.push(file);
  }
  return top;
}

/**
 * Folders that hold one folder and nothing else are one row with it.
 * @param {Folder} folder
 * @returns {Folder}
 */
function shortened(folder) {
  const [only] = folder.folders.values();
  if (!only || folder.folders.size > 1 || folder.files.length > 0) return folder;
  const inner = shortened(only);
  return { ...inner, name: `${folder.name}/${inner.name}` };
}

/**
 * The hit before or behind a row, whether it is to be seen or not, going round at the ends.
 * @param {readonly FileHits[]} files
 * @param {string} key of a row
 * @param {1 | -1} step
 * @returns {Hit | null}
 */
export function stepHit(files, key, step) {
  const all = files.flatMap(({ hits }) => hits);
  if (all.length === 0) return null;
  const at = all.findIndex((hit) => `hit ${hitKey(hit)}` === key);
  if (at >= 0) return all[(at + step + all.length) % all.length] ?? null;
  const file = files.find(({ path }) => key === `file ${path}`)?.hits;
  if (file)
    return step > 0
      ? (file[0] ?? null)
      : (all[(all.indexOf(/** @type {Hit} */ (file[0])) - 1 + all.length) % all.length] ?? null);
  return (step > 0 ? all[0] : all.at(-1)) ?? null;
}

/**
 * What keys do in the rows, as in any tree.
 * @param {readonly Row[]} rows
 * @param {string} key of the row with the focus
 * @param {string} pressed
 * @param {number} page rows that fit
 * @returns {{focus: string} | {expand: string} | {collapse: string} | null}
 */
export function rowMove(rows, key, pressed, page) {
  const at = rows.findIndex((row) => row.key === key);
  const row = rows[at];
  const last = rows.length - 1;
  if (last < 0) return null;
  const go = (/** @type {number} */ to) => {
    const target = rows[Math.max(0, Math.min(last, to))];
    return target ? { focus: target.key } : null;
  };
  if (pressed === 'Home' || !row) return /^(Arrow|Page|Home|End)/.test(pressed) ? go(0) : null;
  if (pressed === 'End') return go(last);
  if (pressed === 'ArrowDown') return go(at + 1);
  if (pressed === 'ArrowUp') return go(at - 1);
  if (pressed === 'PageDown') return go(at + page);
  if (pressed === 'PageUp') return go(at - page);
  if (pressed === 'ArrowRight') {
    if (row.kind === 'hit') return null;
    return row.expanded ? go(at + 1) : { expand: key };
  }
  if (pressed !== 'ArrowLeft') return null;
  if (row.kind !== 'hit' && row.expanded) return { collapse: key };
  return row.parent ? { focus: row.parent } : null;
}
