// The tree of branches, remotes, tags and stashes beside the history, with a field that narrows it.

import { html } from 'htm/preact';
import { signal } from '@preact/signals';
import { useRef } from 'preact/hooks';
import { icon } from '../../shell/icons.js';
import { farWords, refRows, refSections } from '../../stores/gitrefs.js';
import { ago } from '../../stores/historytime.js';
import { treeMove } from '../../stores/tree.js';
import { showRefMenu } from './menus.js';
import { collapsed, fold } from './state.js';

/**
 * @typedef {import('../../stores/graph.js').GraphStore} GraphStore
 * @typedef {import('../../stores/gitrefs.js').RefRow} RefRow
 */

const kIcons = { local: 'git-branch', remote: 'cloud', tag: 'tag' };
/** More rows the tree does not draw; the field finds the rest. */
const kDrawn = 500;

const query = signal('');
/** The key of the row that has the tree's focus. */
const focused = signal('');

/** @param {{store: GraphStore}} props */
export function RefsTree({ store }) {
  const tree = useRef(/** @type {HTMLElement | null} */ (null));
  const sections = refSections(store.graph.value?.refs ?? [], store.stashes.value, query.value);
  const all = refRows(sections, query.value.trim() ? new Set() : collapsed.value);
  const rows = all.slice(0, kDrawn);
  const front = rows.find(({ path }) => path === focused.value) ?? rows[0];
  return html`<div class="graph-refs">
    <input
      class="field graph-refs-field"
      type="search"
      placeholder="Find a branch or tag"
      aria-label="Find a branch, tag or stash"
      value=${query.value}
      onInput=${(/** @type {any} */ event) => (query.value = event.target.value)}
    />
    ${rows.length === 0 && html`<p class="graph-note">${query.value ? 'Nothing matches' : 'No branches yet'}</p>`}
    ${
      rows.length > 0 &&
      html`<div
        class="graph-refs-tree"
        role="tree"
        aria-label="Branches and tags"
        ref=${tree}
        onKeyDown=${(/** @type {KeyboardEvent} */ event) => front && onKey(event, store, rows, front, tree.current)}
      >
        ${rows.map((row) => html`<${Row} key=${row.path} store=${store} row=${row} front=${row === front} />`)}
      </div>`
    }
    ${all.length > kDrawn && html`<p class="graph-note">${kDrawn} of ${all.length} are shown. The field finds the others.</p>`}
  </div>`;
}

/** @param {{store: GraphStore, row: RefRow, front: boolean}} props */
function Row({ store, row, front }) {
  const { ref, stash, name, depth, directory, expanded, path, count } = row;
  const beside = ref ? farWords(ref) : stash ? ago(stash.time) : '';
  const facts = ref ? [ref.name, ref.upstream && `follows ${ref.upstream}`, ref.subject, ago(ref.time)] : [name];
  return html`<div
    class=${`graph-ref ${ref?.current ? 'current' : ''} ${depth === 0 ? 'section' : ''} ${front ? 'selected' : ''}`}
    role="treeitem"
    data-key=${path}
    tabindex=${front ? 0 : -1}
    aria-level=${depth + 1}
    aria-posinset=${row.position}
    aria-setsize=${row.siblings}
    aria-selected=${front}
    aria-expanded=${directory ? expanded : undefined}
    title=${facts.filter(Boolean).join('\n')}
    style=${{ paddingLeft: `${0.5 + depth * 0.75}rem` }}
    onFocus=${() => (focused.value = path)}
    onClick=${() => activate(store, row)}
    onContextMenu=${(/** @type {MouseEvent} */ event) => {
      event.preventDefault();
      focused.value = path;
      showRefMenu(event.clientX, event.clientY, store, row);
    }}
  >
    <span class="unseen">${[name, count, ref?.current && 'current', beside].filter(Boolean).join(', ')}</span>
    ${directory ? icon(expanded ? 'chevron-down' : 'chevron-right', 'twistie') : icon(ref ? kIcons[ref.kind] : 'archive')}
    <span class="graph-ref-name" aria-hidden="true">${name}</span>
    <span class="graph-ref-words" aria-hidden="true">${count ?? beside}</span>
  </div>`;
}

/** @param {GraphStore} store @param {RefRow} row */
function activate(store, { ref, stash, path, directory, expanded }) {
  focused.value = path;
  if (directory) fold(path, expanded);
  else if (ref) void store.reveal(ref.hash);
  else if (stash) void store.reveal(stash.hash);
}

/**
 * @param {KeyboardEvent} event
 * @param {GraphStore} store
 * @param {readonly RefRow[]} rows
 * @param {RefRow} front
 * @param {HTMLElement | null} tree
 */
function onKey(event, store, rows, front, tree) {
  if (event.altKey || event.metaKey || event.ctrlKey) return;
  if (event.key === 'Enter' || event.key === ' ') activate(store, front);
  else {
    const move = treeMove(rows, front.path, event.key, 10);
    if (!move) return;
    if ('expand' in move) fold(move.expand, false);
    else if ('collapse' in move) fold(move.collapse, true);
    else focusKey(tree, move.focus);
  }
  event.preventDefault();
  event.stopPropagation();
}

/** @param {HTMLElement | null} tree @param {string} key */
function focusKey(tree, key) {
  const rows = /** @type {NodeListOf<HTMLElement>} */ (tree?.querySelectorAll('[data-key]') ?? []);
  [...rows].find((row) => row.dataset.key === key)?.focus();
}
