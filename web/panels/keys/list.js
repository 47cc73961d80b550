// The rows of the page, as a grid that one walks through with the arrow keys.

import { html } from 'htm/preact';
import { useLayoutEffect, useRef, useState } from 'preact/hooks';
import { runCommand } from '../../shell/commands.js';
import { icon } from '../../shell/icons.js';
import { shownKeys } from '../../shell/keynames.js';
import { menuFor } from '../../shell/menus.js';
import { reportError } from '../../shell/toasts.js';
import { conflictWords } from '../../stores/keybindingsrows.js';
import { changeRow, removeRow, resetRow, showSame } from './state.js';

/** @typedef {import('../../stores/keybindingsrows.js').Row} Row */

const PAGE = 15;
const COLUMNS = ['Command', 'Keys', 'Where', 'Source'];

/** @param {{rows: readonly Row[]}} props */
export function KeyList({ rows }) {
  const place = useRef(/** @type {HTMLDivElement | null} */ (null));
  const [lit, setLit] = useState({ key: '', id: '' });
  const held = useRef(false);
  const at = litIndex(rows, lit);
  const latest = useRef(rows);
  latest.current = rows;
  // A row that goes takes the focus with it.
  useLayoutEffect(() => {
    if (held.current && document.activeElement === document.body && rows.length) go(at);
  }, [rows]);
  useLayoutEffect(
    () => (place.current ? menuFor(place.current, (event) => menuOf(rowAt(latest.current, event.target))) : undefined),
    [],
  );
  /** @param {number} index */
  const go = (index) => {
    const to = Math.max(0, Math.min(rows.length - 1, index));
    setLit({ key: rows[to].key, id: rows[to].command.id });
    const row = place.current?.querySelector(`[data-index="${to}"]`);
    if (row instanceof HTMLElement) row.focus();
  };
  /** @param {KeyboardEvent} event */
  const onKeyDown = (event) => {
    if (!rows.length || event.ctrlKey || event.altKey || event.metaKey || event.shiftKey) return;
    if (event.key === 'ArrowDown') go(at + 1);
    else if (event.key === 'ArrowUp') go(at - 1);
    else if (event.key === 'PageDown') go(at + PAGE);
    else if (event.key === 'PageUp') go(at - PAGE);
    else if (event.key === 'Home') go(0);
    else if (event.key === 'End') go(rows.length - 1);
    else if (event.key === 'Enter') change(rows[at]);
    else if (event.key === 'Insert') change(rows[at], { another: true });
    else if (event.key === 'Delete') told(() => removeRow(rows[at]));
    else return;
    event.preventDefault();
    event.stopPropagation();
  };
  return html`<div
    class="keys-list"
    role="grid"
    aria-label="Keyboard shortcuts"
    aria-rowcount=${rows.length + 1}
    ref=${place}
    onKeyDown=${onKeyDown}
    onFocusIn=${() => {
      held.current = true;
    }}
    onFocusOut=${(/** @type {FocusEvent} */ { relatedTarget }) => {
      if (relatedTarget instanceof Node && !place.current?.contains(relatedTarget)) held.current = false;
    }}
  >
    <div class="keys-row keys-head" role="row" aria-rowindex="1">
      ${COLUMNS.map((words) => html`<span role="columnheader" key=${words}>${words}</span>`)}
    </div>
    ${rows.map((row, index) => html`<${KeyRow} key=${row.key} row=${row} index=${index} lit=${index === at} go=${go} />`)}
    ${!rows.length && html`<div class="empty" role="row"><span role="gridcell">No command fits. Clear the search, or turn the filters off.</span></div>`}
  </div>`;
}

/** @param {{row: Row, index: number, lit: boolean, go: (index: number) => void}} props */
function KeyRow({ row, index, lit, go }) {
  const clash = row.conflicts.map(conflictWords).join(' ');
  return html`<div
    class="keys-row"
    role="row"
    aria-rowindex=${index + 2}
    aria-selected=${String(lit)}
    tabindex=${lit ? 0 : -1}
    data-index=${index}
    data-command=${row.command.id}
    onClick=${() => go(index)}
    onDblClick=${() => change(row)}
  >
    <span class="keys-title" role="gridcell" title=${row.command.id}>${row.title}</span>
    <span class="keys-keys" role="gridcell">
      ${row.keys && html`<kbd class="keys-shown">${shownKeys(row.keys)}</kbd>`}
      ${clash && html`<span class="keys-clash" title=${clash}>${icon('warning')}<span class="unseen">${clash}</span></span>`}
      ${row.known &&
      html`<button
        type="button"
        class="icon-button keys-edit"
        tabindex="-1"
        aria-label=${`${row.keys ? 'Change' : 'Add'} keys of ${row.title}`}
        title=${row.keys ? 'Change Keys…' : 'Add Keys…'}
        onClick=${() => change(row)}
      >
        ${icon(row.keys ? 'edit' : 'add')}
      </button>`}
    </span>
    <span class="keys-where" role="gridcell">${row.where}</span>
    <span class="keys-source" role="gridcell">${row.source}</span>
  </div>`;
}

/**
 * The row in light; when it is gone, another one of its command.
 * @param {readonly Row[]} rows
 * @param {{key: string, id: string}} lit
 */
function litIndex(rows, { key, id }) {
  const same = rows.findIndex((row) => row.key === key);
  return Math.max(0, same >= 0 ? same : rows.findIndex((row) => row.command.id === id));
}

/** @param {readonly Row[]} rows @param {EventTarget | null} target */
function rowAt(rows, target) {
  const index = target instanceof Element ? target.closest('[data-index]')?.getAttribute('data-index') : null;
  return rows[Number(index ?? -1)];
}

/** @param {Row | undefined} row @returns {import('../../shell/menus.js').MenuItem[]} */
function menuOf(row) {
  if (!row) return [];
  const { command, keys, known, changed } = row;
  return [
    { label: keys ? 'Change Keys…' : 'Add Keys…', keys: 'Enter', enabled: known, run: () => changeRow(row) },
    { label: 'Add Further Keys…', keys: 'Insert', enabled: known && keys !== '', run: () => changeRow(row, { another: true }) },
    { label: 'Remove Keys', keys: 'Delete', enabled: keys !== '', run: () => removeRow(row) },
    { label: 'Reset to Default', enabled: changed, run: () => resetRow(row) },
    { kind: 'separator' },
    { label: 'Show Same Keys', enabled: keys !== '', run: () => showSame(row) },
    { label: 'Copy Name of the Command', run: () => navigator.clipboard.writeText(command.id) },
    { label: 'Run the Command', enabled: known, run: () => runCommand(command.id) },
  ];
}

/** @param {Row} row @param {{another?: boolean}} [options] */
const change = (row, options) => void told(() => changeRow(row, options));

/** @param {() => unknown} act */
async function told(act) {
  try {
    await act();
  } catch (error) {
    reportError('Could not change the keys', error);
  }
}
