// The explorer's tree. Only the rows in view exist as elements, and the one with the focus wherever it is.

import { html } from 'htm/preact';
import { useEffect, useLayoutEffect, useRef, useState } from 'preact/hooks';
import { openFile } from '../../editor/tabactions.js';
import { dirtyIds } from '../../editor/state.js';
import { runCommand } from '../../shell/commands.js';
import { icon } from '../../shell/icons.js';
import { outsideItems } from '../../editor/openoutside.js';
import { showMenu } from '../../shell/menus.js';
import { zoom } from '../../look/zoom.js';
import { marks } from '../../stores/git.js';
import { isInside, isRoot, outermost } from '../../stores/paths.js';
import { roots } from '../../stores/settings.js';
import { rangeOf, rowIndex, targetFolder, treeMove, typeahead } from '../../stores/tree.js';
import { copyInto, moveInto } from './actions.js';
import {
  anchor,
  clipboard,
  collapse,
  dropFolder,
  expand,
  focusRow,
  focused,
  listings,
  loadFolder,
  rows,
  selected,
} from './state.js';

/** Of a row, in rem; the same as in explorer.css. */
const kRowRem = 1.375;
const kBeyond = 8;
const kTypeaheadMs = 700;

export function Explorer() {
  if (roots.value.length === 0) {
    return html`<div class="explorer-empty" data-drop="roots">
      <p>No folder is open. Add one by its path, or drop one here.</p>
      <button class="button primary" onClick=${() => runCommand('explorer.addFolder')}>Add Folder…</button>
    </div>`;
  }
  return html`<${Tree} />`;
}

function Tree() {
  const tree = useRef(/** @type {HTMLDivElement | null} */ (null));
  const [view, setView] = useState({ top: 0, height: 600 });
  const rowHeight = kRowRem * 16 * zoom.value;
  const all = rows.value;
  const focus = focused.value;

  // Folders that were left open are read when they come into the tree.
  useEffect(() => {
    for (const row of all) {
      if (row.kind === 'loading' && !listings.value.has(row.path)) void loadFolder(row.path);
    }
  }, [all]);
  useLayoutEffect(() => {
    const element = tree.current;
    if (!element) return undefined;
    const measure = () => setView({ top: element.scrollTop, height: element.clientHeight });
    const observer = new ResizeObserver(measure);
    observer.observe(element);
    measure();
    return () => observer.disconnect();
  }, []);
  useLayoutEffect(() => bringIntoView(tree.current, rowIndex(all, focus), rowHeight), [focus]);

  const first = Math.max(0, Math.floor(view.top / rowHeight) - kBeyond);
  const last = Math.min(all.length, Math.ceil((view.top + view.height) / rowHeight) + kBeyond);
  const at = rowIndex(all, focus);
  const indexes = Array.from({ length: Math.max(0, last - first) }, (_, i) => first + i);
  if (at >= 0 && (at < first || at >= last)) indexes.push(at);
  return html`<div
    class="tree"
    role="tree"
    aria-label="Files"
    aria-multiselectable="true"
    data-focus
    tabindex=${at < 0 ? 0 : -1}
    ref=${tree}
    onScroll=${(/** @type {Event} */ event) => {
      const element = /** @type {HTMLElement} */ (event.currentTarget);
      setView({ top: element.scrollTop, height: element.clientHeight });
    }}
    onKeyDown=${(/** @type {KeyboardEvent} */ event) => onKey(event, Math.floor(view.height / rowHeight))}
    onFocus=${(/** @type {FocusEvent} */ event) => {
      if (event.target === tree.current && all[0] && at < 0) focusRow(all[0].path);
    }}
    onContextMenu=${onContext}
  >
    <div class="tree-space" role="presentation" style=${{ height: `${all.length * rowHeight}px` }}>
      ${indexes.map((index) => html`<${TreeRow} key=${rowKey(all[index])} row=${all[index]} top=${index * rowHeight} />`)}
    </div>
  </div>`;
}

/** @param {any} row */
function rowKey(row) {
  return `${row.kind} ${row.path}`;
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
  if (!tree.contains(document.activeElement)) return;
  /** @type {HTMLElement | null} */ (tree.querySelector('[role="treeitem"][tabindex="0"]'))?.focus({
    preventScroll: true,
  });
}

/** Puts the real focus on the focused row. */
export function focusTree() {
  const row =
    document.querySelector('.tree [role="treeitem"][tabindex="0"]') ?? document.querySelector('.tree');
  if (row instanceof HTMLElement) row.focus();
}

/** @param {{row: import('../../stores/tree.js').Row, top: number}} props */
function TreeRow({ row, top }) {
  const place = { top: `${top}px`, paddingLeft: `${0.5 + row.depth * 0.75}rem` };
  if (row.kind !== 'entry') {
    return html`<div class=${`tree-row note ${row.kind}`} role="treeitem" aria-level=${row.depth + 1} aria-disabled="true" style=${place}>
      ${row.name}
    </div>`;
  }
  const { path, name, directory } = row;
  const chosen = selected.value.has(path);
  const cut = clipboard.value.cut && clipboard.value.paths.some((each) => isInside(path, each));
  const dirty = !directory && dirtyIds.value.includes(path);
  const target = dropFolder.value !== '' && isInside(path, dropFolder.value);
  const mark = marks.value.get(path);
  return html`<div
    class=${`tree-row ${chosen ? 'selected' : ''} ${cut ? 'cut' : ''} ${target ? 'drop-target' : ''} ${isRoot(path) ? 'root' : ''} ${mark ? `git-${mark.kind.replace(' ', '-')}` : ''}`}
    role="treeitem"
    data-path=${path}
    data-directory=${directory}
    draggable=${!isRoot(path)}
    tabindex=${focused.value === path ? 0 : -1}
    aria-level=${row.depth + 1}
    aria-setsize=${row.siblings}
    aria-posinset=${row.position}
    aria-selected=${chosen}
    aria-expanded=${directory ? row.expanded : undefined}
    aria-label=${[name, dirty && 'unsaved', cut && 'cut', mark && markWords(mark, directory)].filter(Boolean).join(', ')}
    title=${path}
    style=${place}
    onClick=${(/** @type {MouseEvent} */ event) => onClick(event, row)}
    onDblClick=${() => !directory && openFile(path)}
    onFocus=${() => {
      if (focused.value !== path) focused.value = path;
    }}
    ...${dragHandlers(row)}
  >
    ${directory ? icon(row.expanded ? 'chevron-down' : 'chevron-right', 'twistie') : html`<span class="twistie"></span>`}
    ${icon(directory ? (isRoot(path) ? 'root-folder' : 'folder') : 'file')}
    <span class="tree-name">${name}</span>
    ${dirty && html`<span class="tree-dirty" aria-hidden="true">●</span>`}
    ${mark && html`<span class="tree-git" aria-hidden="true" data-letter=${directory ? '•' : mark.letter}></span>`}
  </div>`;
}

/**
 * @param {{kind: string}} mark what git says of a file, or of the files in a folder
 * @param {boolean} directory
 */
function markWords({ kind }, directory) {
  return directory ? 'holds changes' : kind;
}

/**
 * @param {MouseEvent} event
 * @param {import('../../stores/tree.js').Row} row
 */
function onClick(event, { path, directory, expanded: open }) {
  if (event.shiftKey) {
    selected.value = new Set(rangeOf(rows.value, anchor.value, path));
    focused.value = path;
    return;
  }
  if (event.ctrlKey || event.metaKey) {
    const next = new Set(selected.value);
    if (!next.delete(path)) next.add(path);
    selected.value = next;
    focused.value = path;
    anchor.value = path;
    return;
  }
  focusRow(path);
  if (directory) open ? collapse(path) : void expand(path);
  else void openFile(path, { preview: true, focus: false });
}

let typed = '';
let typedAt = 0;

/**
 * @param {KeyboardEvent} event
 * @param {number} page
 */
function onKey(event, page) {
  if (event.altKey || event.metaKey || (event.ctrlKey && event.key !== ' ')) return;
  if (activate(event) || moveFocus(event, page) || typeLetter(event)) {
    event.preventDefault();
    event.stopPropagation();
  }
}

/** @param {KeyboardEvent} event */
function activate(event) {
  const row = rows.value[rowIndex(rows.value, focused.value)];
  if (!row) return false;
  if (event.key === 'Enter') {
    if (row.directory) row.expanded ? collapse(row.path) : void expand(row.path);
    else void openFile(row.path);
    return true;
  }
  if (event.key !== ' ' || typed) return false;
  if (event.ctrlKey) {
    const next = new Set(selected.value);
    if (!next.delete(row.path)) next.add(row.path);
    selected.value = next;
  } else if (!row.directory) void openFile(row.path, { preview: true, focus: false });
  return true;
}

/**
 * @param {KeyboardEvent} event
 * @param {number} page
 */
function moveFocus(event, page) {
  if (event.key === '*') {
    for (const row of rows.value) if (row.directory && row.depth === 0) void expand(row.path);
    return true;
  }
  const move = treeMove(rows.value, focused.value, event.key, page);
  if (!move) return false;
  if ('expand' in move) void expand(move.expand);
  else if ('collapse' in move) collapse(move.collapse);
  else if (event.shiftKey) {
    selected.value = new Set(rangeOf(rows.value, anchor.value, move.focus));
    focused.value = move.focus;
  } else focusRow(move.focus);
  return true;
}

/** @param {KeyboardEvent} event */
function typeLetter(event) {
  if (event.key.length !== 1 || event.ctrlKey) return false;
  const now = Date.now();
  typed = now - typedAt > kTypeaheadMs ? event.key : typed + event.key;
  typedAt = now;
  setTimeout(() => {
    if (Date.now() - typedAt >= kTypeaheadMs) typed = '';
  }, kTypeaheadMs);
  const path = typeahead(rows.value, focused.value, typed);
  if (path) focusRow(path);
  return true;
}

/** @param {MouseEvent} event */
function onContext(event) {
  event.preventDefault();
  const row = event.target instanceof Element ? event.target.closest('[data-path]') : null;
  const path = row?.getAttribute('data-path') ?? '';
  if (path && !selected.value.has(path)) focusRow(path);
  void showMenu({ x: event.clientX, y: event.clientY, label: 'Explorer', items: explorerMenu(path) });
}

/**
 * @param {string} path
 * @returns {import('../../shell/menus.js').MenuItem[]}
 */
function explorerMenu(path) {
  return [
    { command: 'explorer.newFile' },
    { command: 'explorer.newFolder' },
    { kind: 'separator' },
    { command: 'explorer.cut' },
    { command: 'explorer.copy' },
    { command: 'explorer.paste' },
    { kind: 'separator' },
    { command: 'explorer.rename' },
    { command: 'explorer.duplicate' },
    { command: 'explorer.delete' },
    { kind: 'separator' },
    { command: 'explorer.copyPath' },
    { command: 'explorer.reveal' },
    ...outsideItems(path),
    { command: 'explorer.openTerminal' },
    { command: 'search.inFolder' },
    { kind: 'separator' },
    { command: 'explorer.addFolder' },
    ...(isRoot(path) ? [{ command: 'explorer.removeFolder' }] : []),
  ];
}

/** The paths under the mouse while they are dragged within the tree. @type {string[]} */
let carried = [];

/** @param {import('../../stores/tree.js').Row} row */
function dragHandlers({ path, directory }) {
  const folder = targetFolder(path, directory);
  return {
    onDragStart: (/** @type {DragEvent} */ event) => {
      if (!selected.value.has(path)) focusRow(path);
      carried = outermost([...selected.value]).filter((each) => !isRoot(each));
      event.dataTransfer?.setData('text/x-marlin-paths', carried.join('\n'));
    },
    onDragOver: (/** @type {DragEvent} */ event) => {
      if (!carried.length) return;
      event.preventDefault();
      if (event.dataTransfer) event.dataTransfer.dropEffect = event.ctrlKey ? 'copy' : 'move';
      dropFolder.value = folder;
    },
    onDrop: (/** @type {DragEvent} */ event) => {
      if (!carried.length) return;
      event.preventDefault();
      event.stopPropagation();
      const paths = carried;
      endDrag();
      void (event.ctrlKey ? copyInto(paths, folder) : moveInto(paths, folder));
    },
    onDragEnd: endDrag,
  };
}

function endDrag() {
  carried = [];
  dropFolder.value = '';
}
