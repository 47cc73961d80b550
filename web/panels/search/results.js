// The results as a tree. Only the rows in view exist as elements, and the one with the focus wherever it is.

import { html } from 'htm/preact';
import { useLayoutEffect, useRef, useState } from 'preact/hooks';
import { dirtyIds } from '../../editor/state.js';
import { zoom } from '../../look/zoom.js';
import { icon } from '../../shell/icons.js';
import { showMenu } from '../../shell/menus.js';
import { hitKey } from '../../stores/searchhits.js';
import { rowMove } from '../../stores/searchresults.js';
import { options, previews, rememberQuery, results, rows, setExpanded } from '../../stores/search.js';
import { parentOf, rootOf } from '../../stores/paths.js';
import { roots } from '../../stores/settings.js';
import { openHit } from './open.js';
import { focusedRow } from './state.js';

/** @typedef {import('../../stores/searchresults.js').Row} Row */

/** Of a row, in rem; the same as in search.css. */
const kRowRem = 1.375;
const kBeyond = 8;
/** Of what stands before a match, so that the match is in view. */
const kBefore = 16;

export function Results() {
  const tree = useRef(/** @type {HTMLDivElement | null} */ (null));
  const [view, setView] = useState({ top: 0, height: 600 });
  const rowHeight = kRowRem * 16 * zoom.value;
  const all = rows.value;
  const focus = focusedRow.value;
  const at = all.findIndex(({ key }) => key === focus);

  useLayoutEffect(() => {
    const element = tree.current;
    if (!element) return undefined;
    const measure = () => setView({ top: element.scrollTop, height: element.clientHeight });
    const observer = new ResizeObserver(measure);
    observer.observe(element);
    measure();
    return () => observer.disconnect();
  }, []);
  useLayoutEffect(() => bringIntoView(tree.current, at, rowHeight), [focus, at]);

  const first = Math.max(0, Math.floor(view.top / rowHeight) - kBeyond);
  const last = Math.min(all.length, Math.ceil((view.top + view.height) / rowHeight) + kBeyond);
  const indexes = Array.from({ length: Math.max(0, last - first) }, (_, i) => first + i);
  if (at >= 0 && (at < first || at >= last)) indexes.push(at);
  const page = Math.max(1, Math.floor(view.height / rowHeight) - 1);
  return html`<div
    class="search-tree"
    role="tree"
    aria-label="Search results"
    tabindex=${at < 0 ? 0 : -1}
    ref=${tree}
    onScroll=${(/** @type {Event} */ event) => {
      const element = /** @type {HTMLElement} */ (event.currentTarget);
      setView({ top: element.scrollTop, height: element.clientHeight });
    }}
    onKeyDown=${(/** @type {KeyboardEvent} */ event) => onKey(event, page)}
    onFocus=${(/** @type {FocusEvent} */ event) => {
      if (event.target === tree.current && at < 0 && all[0]) focusedRow.value = all[0].key;
    }}
    onContextMenu=${onContext}
  >
    <div class="search-space" role="presentation" style=${{ height: `${all.length * rowHeight}px` }}>
      ${indexes.map((index) => {
        const row = /** @type {Row} */ (all[index]);
        return html`<${ResultRow} key=${row.key} row=${row} top=${index * rowHeight} />`;
      })}
    </div>
  </div>`;
}

/**
 * Scrolls to the focused row, and moves the real focus there when the tree has it.
 * @param {HTMLElement | null} tree
 * @param {number} index
 * @param {number} height
 */
function bringIntoView(tree, index, height) {
  if (!tree || index < 0) return;
  const top = index * height;
  if (top < tree.scrollTop) tree.scrollTop = top;
  else if (top + height > tree.scrollTop + tree.clientHeight)
    tree.scrollTop = top + height - tree.clientHeight;
  if (tree.contains(document.activeElement)) focusTree();
}

/** Puts the real focus on the focused row. */
export function focusTree() {
  const row =
    document.querySelector('.search-tree [tabindex="0"]') ??
    document.querySelector('.search-tree[tabindex="0"]');
  if (row instanceof HTMLElement) row.focus({ preventScroll: true });
}

/** @param {{row: Row, top: number}} props */
function ResultRow({ row, top }) {
  const { key, kind, depth, expanded } = row;
  const focused = focusedRow.value === key;
  return html`<div
    class=${`search-row ${kind} ${row.file?.stale ? 'stale' : ''} ${focused ? 'focused' : ''}`}
    role="treeitem"
    data-key=${key}
    data-path=${row.path}
    tabindex=${focused ? 0 : -1}
    aria-level=${depth + 1}
    aria-setsize=${row.siblings}
    aria-posinset=${row.position}
    aria-selected=${String(focused)}
    aria-expanded=${kind === 'hit' ? undefined : String(expanded)}
    title=${kind === 'hit' ? `${row.path}:${row.hit?.line}` : row.path}
    style=${{ top: `${top}px`, paddingLeft: `${0.25 + depth * 0.75}rem` }}
    onClick=${(/** @type {MouseEvent} */ event) => onClick(event, row)}
    onDblClick=${() => row.hit && openHit(row.hit)}
    onFocus=${() => {
      if (focusedRow.value !== key) focusedRow.value = key;
    }}
  >
    ${kind === 'hit' ? html`<${HitText} row=${row} />` : html`<${Head} row=${row} />`}
  </div>`;
}

/** @param {{row: Row}} props */
function Head({ row: { kind, path, name, expanded, count, file } }) {
  const hidden = roots.value.length > 1 || !path.includes('/') ? 0 : rootOf(path).length + 1;
  const folder = kind === 'file' && !options.value.asTree ? parentOf(path).slice(hidden) : '';
  return html`
    ${icon(expanded ? 'chevron-down' : 'chevron-right', 'twistie')}
    ${icon(kind === 'folder' ? 'folder' : 'file')}
    <span class="search-name">${name}</span>
    <span class="search-folder">${folder}</span>
    ${kind === 'file' && dirtyIds.value.includes(path) && html`<span class="search-own">unsaved</span>`}
    ${file?.stale && html`<span class="search-stale">changed since</span>`}
    <span class="count">${count}<span class="unseen"> ${count === 1 ? 'hit' : 'hits'}</span></span>
  `;
}

/** @param {{row: Row}} props */
function HitText({ row }) {
  const hit = /** @type {import('../../stores/searchhits.js').Hit} */ (row.hit);
  const { text, from, to, cut, line } = hit;
  const before = text.slice(0, from).trimStart();
  const shown = before.length > kBefore + 6 ? `…${before.slice(-kBefore)}` : before;
  const rest = text.slice(to) + (cut ? '…' : '');
  const becomes = options.value.replacing ? previews.value.get(hitKey(hit)) : undefined;
  return html`
    <span class="search-line"><span class="unseen">Line </span>${line}</span>
    <span class="search-text">
      ${shown}${
        becomes === undefined
          ? html`<mark>${text.slice(from, to)}</mark>`
          : html`<del>${text.slice(from, to)}</del><span class="unseen"> becomes </span>${
              becomes === null
                ? html`<ins class="unknown" title="The new text depends on more than this line">…</ins>`
                : html`<ins>${becomes}</ins>`
            }`
      }${rest}
    </span>
  `;
}

/**
 * @param {MouseEvent} event
 * @param {Row} row
 */
function onClick(event, { key, kind, hit, expanded }) {
  focusedRow.value = key;
  if (kind !== 'hit') return setExpanded(key, !expanded);
  rememberQuery();
  if (hit) void openHit(hit, { preview: true, focus: false, beside: event.ctrlKey });
}

/**
 * @param {KeyboardEvent} event
 * @param {number} page
 */
function onKey(event, page) {
  if (event.altKey || event.metaKey || event.shiftKey) return;
  if (!activate(event) && !move(event, page)) return;
  event.preventDefault();
  event.stopPropagation();
}

/** @param {KeyboardEvent} event */
function activate({ key, ctrlKey }) {
  const row = rows.value.find((one) => one.key === focusedRow.value);
  if (!row || (key !== 'Enter' && key !== ' ')) return false;
  if (row.kind !== 'hit') setExpanded(row.key, !row.expanded);
  else if (row.hit) {
    rememberQuery();
    void openHit(row.hit, { preview: key === ' ', focus: key !== ' ', beside: ctrlKey });
  }
  return true;
}

/** @param {KeyboardEvent} event @param {number} page */
function move({ key, ctrlKey }, page) {
  if (ctrlKey) return false;
  const way = rowMove(rows.value, focusedRow.value, key, page);
  if (!way) return false;
  if ('expand' in way) setExpanded(way.expand, true);
  else if ('collapse' in way) setExpanded(way.collapse, false);
  else focusedRow.value = way.focus;
  return true;
}

/** @param {MouseEvent} event */
function onContext(event) {
  event.preventDefault();
  const key =
    event.target instanceof Element ? event.target.closest('[data-key]')?.getAttribute('data-key') : '';
  if (key) focusedRow.value = key;
  const row = rows.value.find((one) => one.key === focusedRow.value);
  const separator = { kind: /** @type {const} */ ('separator') };
  void showMenu({
    x: event.clientX,
    y: event.clientY,
    label: 'Search results',
    items: [
      ...(row?.hit
        ? [
            {
              label: 'Open to the Side',
              keys: 'Ctrl+Enter',
              run: () => row.hit && openHit(row.hit, { beside: true }),
            },
          ]
        : []),
      ...(options.value.replacing && results.value.length ? [{ command: 'search.replaceHere' }] : []),
      { command: 'search.dismiss' },
      separator,
      { command: 'search.copy' },
      { command: 'search.copyAll' },
      separator,
      { command: 'search.tree' },
      { command: 'search.collapse' },
      { command: 'search.again' },
    ],
  });
}

/** From the field above. */
export function enterTree() {
  const first = rows.value[0];
  if (!first) return;
  if (!rows.value.some(({ key }) => key === focusedRow.value)) focusedRow.value = first.key;
  requestAnimationFrame(focusTree);
}
