// Branches, remotes, tags and stashes as a tree with folders by the slashes in their names, and what is asked
// about a name before git is.

import { fuzzy } from '../shell/fuzzy.js';
import { ago } from './historytime.js';

/**
 * @typedef {import('./graphmodel.js').Ref} Ref
 * @typedef {import('./historystash.js').Stash} Stash
 *
 * A row of a tree (stores/tree.js); its path is a key, such that the key of the row above it is what stands
 * before its last slash.
 * @typedef {import('./tree.js').Row & {ref?: Ref, stash?: Stash, count?: number}} RefRow
 * @typedef {{id: string, title: string, entries: Entry[]}} Section
 * @typedef {{name: string, ref?: Ref, stash?: Stash}} Entry
 */

/**
 * The sections that hold something; while something is looked for, only what fits.
 * @param {readonly Ref[]} refs
 * @param {readonly Stash[]} stashes
 * @param {string} query
 * @returns {Section[]}
 */
export function refSections(refs, stashes, query) {
  const fits = (/** @type {Entry} */ { name }) => !query.trim() || fuzzy(query, name) !== null;
  const of = (/** @type {string} */ kind) =>
    refs.filter((ref) => ref.kind === kind).map((ref) => ({ name: ref.name, ref }));
  return [
    { id: 'local', title: 'Branches', entries: of('local').sort(byName) },
    { id: 'remote', title: 'Remotes', entries: of('remote').sort(byName) },
    { id: 'tag', title: 'Tags', entries: of('tag') },
    { id: 'stash', title: 'Stashes', entries: stashes.map((stash) => ({ name: stash.words, stash })) },
  ]
    .map((section) => ({ ...section, entries: section.entries.filter(fits) }))
    .filter(({ entries }) => entries.length > 0);
}

/** @param {Entry} a @param {Entry} b */
const byName = (a, b) => a.name.localeCompare(b.name);

/**
 * The rows that are to be seen.
 * @param {readonly Section[]} sections
 * @param {ReadonlySet<string>} collapsed keys; "tag" may be among them as any other
 * @returns {RefRow[]}
 */
export function refRows(sections, collapsed) {
  return sections.flatMap(({ id, title, entries }, at) => {
    const expanded = !collapsed.has(id);
    const top = { ...row(id, title, true), expanded, ...place(0, at, sections.length), count: entries.length };
    if (!expanded) return [top];
    // Words of a stash are no path.
    const nodes = id === 'stash' ? entries.map((entry) => ({ name: entry.name, entry })) : folded(entries);
    return [top, ...nodeRows(nodes, id, 1, collapsed)];
  });
}

/** @typedef {{name: string, entry?: Entry, inner?: Node[]}} Node */

/**
 * Names by their parts, with folders where several share one, or a branch stands deeper.
 * @param {readonly Entry[]} entries
 * @param {number} [depth] how many parts stand above
 * @returns {Node[]}
 */
function folded(entries, depth = 0) {
  /** @type {Map<string, Entry[]>} */
  const folders = new Map();
  /** @type {Node[]} */
  const nodes = [];
  for (const entry of entries) {
    const parts = entry.name.split('/').slice(depth);
    if (parts.length === 1) {
      nodes.push({ name: parts[0], entry });
      continue;
    }
    const there = folders.get(parts[0]);
    if (there) there.push(entry);
    else folders.set(parts[0], [entry]);
  }
  const inner = [...folders].map(([name, below]) => ({ name, inner: folded(below, depth + 1) }));
  return [...inner, ...nodes];
}

/**
 * @param {readonly Node[]} nodes
 * @param {string} above key
 * @param {number} depth
 * @param {ReadonlySet<string>} collapsed
 * @returns {RefRow[]}
 */
function nodeRows(nodes, above, depth, collapsed) {
  return nodes.flatMap(({ name, entry, inner }, at) => {
    // A folder and a branch may be called alike.
    const own = entry?.stash ? entry.stash.hash : encodeURIComponent(name);
    const key = `${above}/${inner ? `${own}:` : own}`;
    const where = place(depth, at, nodes.length);
    if (!inner) return [{ ...row(key, name, false), ...where, ref: entry?.ref, stash: entry?.stash }];
    const expanded = !collapsed.has(key);
    const top = { ...row(key, name, true), expanded, ...where };
    return expanded ? [top, ...nodeRows(inner, key, depth + 1, collapsed)] : [top];
  });
}

/** @param {string} path @param {string} name @param {boolean} directory */
const row = (path, name, directory) => ({
  kind: /** @type {const} */ ('entry'),
  path,
  name,
  directory,
  expanded: false,
});

/** @param {number} depth @param {number} at @param {number} siblings */
const place = (depth, at, siblings) => ({ depth, position: at + 1, siblings });

/** How far a branch is from its upstream. @param {Ref} ref */
export function farWords({ kind, upstream, ahead, behind }) {
  if (kind !== 'local') return '';
  if (!upstream) return 'not published';
  return [behind && `↓${behind}`, ahead && `↑${ahead}`].filter(Boolean).join(' ');
}

/**
 * What is said of a branch or tag behind its name in a choice.
 * @param {Ref} ref
 * @param {number} [now] seconds since the epoch
 */
export function refWords(ref, now) {
  return [ref.current && 'current', farWords(ref), ref.time && ago(ref.time, now)].filter(Boolean).join(' · ');
}

/**
 * Local branches with the newest first, then those that only a remote has.
 * @param {readonly Ref[]} refs in git's order, by date
 * @returns {{local: Ref[], remoteOnly: Ref[]}}
 */
export function pickable(refs) {
  const local = refs.filter(({ kind }) => kind === 'local');
  const here = new Set(local.flatMap(({ name, upstream }) => [name, upstream]));
  const remoteOnly = refs.filter(
    ({ kind, name }) => kind === 'remote' && !here.has(name) && !here.has(name.slice(name.indexOf('/') + 1)),
  );
  return { local, remoteOnly };
}

/**
 * What can be seen to be wrong with a name for a branch or a tag; git knows more rules.
 * @param {string} name
 * @param {'branch' | 'tag'} what
 * @param {readonly Ref[]} refs
 */
export function refFault(name, what, refs) {
  if (!name) return `A ${what} needs a name`;
  if (name.startsWith('-')) return 'A name does not begin with a dash';
  if (/[\s~^:?*[\\\x7f]|\.\.|@\{|\/\/|^\/|[/.]$|\.lock$/.test(name))
    return 'A name has no blanks, none of ~ ^ : ? * [ \\ and no dot or slash at its end';
  const kind = what === 'tag' ? 'tag' : 'local';
  if (refs.some((ref) => ref.kind === kind && ref.name === name)) return `There is a ${what} ${name} already`;
  return '';
}
