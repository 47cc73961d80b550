// The lines of a change, one or more of which can be chosen by mouse and keys to write a remark on them.

import { html } from 'htm/preact';
import { useId, useRef, useState } from 'preact/hooks';
import { selectionItems } from '../../shell/fieldmenu.js';
import { showMenu } from '../../shell/menus.js';
import { reportError } from '../../shell/toasts.js';
import { remarkLabel, writeRemark } from '../basket/remark.js';

/**
 * @typedef {import('../../stores/chatdiff.js').DiffRow} DiffRow
 * @typedef {{from: number, to: number}} Rows indices
 */

const SIGNS = { same: '  ', added: '+ ', removed: '- ', gap: '⋯ ' };

/**
 * @param {object} props
 * @param {readonly DiffRow[]} props.rows
 * @param {string} props.path
 * @param {(from: number, to: number) => Promise<import('../../stores/basket.js').RemarkPlace>} props.place
 */
export function DiffLines({ rows, path, place }) {
  const list = useRef(/** @type {HTMLElement | null} */ (null));
  const id = useId();
  /** The row that the keys are on, and the other end of the choice. */
  const [choice, setChoice] = useState(/** @type {{at: number, end: number} | null} */ (null));
  const ends = choice ? [choice.at, choice.end].sort((a, b) => a - b) : [];
  // The lines may have become others since: a file that is to be written is compared once it was read.
  const chosen = ends.length && ends[1] < rows.length ? { from: ends[0], to: ends[1] } : null;

  /** @param {number} at @param {boolean} extend */
  const go = (at, extend) => {
    setChoice({ at, end: extend && choice ? choice.end : at });
    list.current?.children[at]?.scrollIntoView({ block: 'nearest' });
  };
  /** @param {Rows} range */
  const write = async ({ from, to }) => {
    try {
      await writeRemark(await place(from, to));
    } catch (error) {
      reportError(`Could not write a remark on ${path}`, error);
    }
  };
  /** @param {KeyboardEvent} event */
  const onKeyDown = (event) => {
    if (event.ctrlKey || event.altKey || event.metaKey) return;
    const to = steppedTo(rows, choice?.at ?? -1, event.key);
    if (event.key === 'r' && rows.length) void write(chosen ?? { from: 0, to: rows.length - 1 });
    else if (to !== undefined) go(to, event.shiftKey);
    else return;
    event.preventDefault();
    event.stopPropagation();
  };
  /** @param {MouseEvent} event */
  const onContextMenu = (event) => {
    const row = rowOf(event.target);
    const range = row < 0 ? chosen : rangeAt(row, list.current, chosen);
    if (!rows.length || (row >= 0 && rows[row].kind === 'gap')) return;
    event.preventDefault();
    event.stopPropagation();
    const all = { from: 0, to: rows.length - 1 };
    const items = [
      ...(range ? [{ label: remarkLabel(range.from === range.to), run: () => write(range) }] : []),
      { label: 'Remark on the Whole Change…', run: () => write(all) },
      ...selectionItems(document),
    ];
    void showMenu({ x: event.clientX, y: event.clientY, label: path, items });
  };
  const onClick = (/** @type {MouseEvent} */ event) => {
    const at = rowOf(event.target);
    // What was marked with the mouse stays marked.
    if (at >= 0 && rows[at].kind !== 'gap' && getSelection()?.isCollapsed) go(at, event.shiftKey);
  };
  const isChosen = (/** @type {number} */ at) => chosen !== null && at >= chosen.from && at <= chosen.to;
  return html`<pre
    tabindex="0"
    role=${rows.length ? 'listbox' : undefined}
    aria-multiselectable=${rows.length ? 'true' : undefined}
    aria-label=${`Lines of ${path}`}
    aria-keyshortcuts="R"
    title="R writes a remark"
    aria-activedescendant=${choice ? `${id}-${choice.at}` : undefined}
    ref=${list}
    onKeyDown=${onKeyDown}
    onContextMenu=${onContextMenu}
    onClick=${onClick}
  >
${rows.map(
    ({ kind, text }, at) => html`<span
      id=${`${id}-${at}`}
      role="option"
      aria-selected=${String(isChosen(at))}
      aria-disabled=${kind === 'gap' ? 'true' : undefined}
      data-row=${at}
      class=${`diff-row ${kind} ${isChosen(at) ? 'chosen' : ''}`}
      >${SIGNS[kind]}${text}</span
    >`,
  )}</pre
  >`;
}

/**
 * Where a key leads; rows that stand for others are passed over.
 * @param {readonly DiffRow[]} rows
 * @param {number} at -1 for nowhere
 * @param {string} key
 */
function steppedTo(rows, at, key) {
  const all = rows.map((_, index) => index).filter((index) => rows[index].kind !== 'gap');
  if (key === 'ArrowDown') return all.find((index) => index > at) ?? all.at(-1);
  if (key === 'ArrowUp') return all.findLast((index) => index < at) ?? all[0];
  if (key === 'Home') return all[0];
  return key === 'End' ? all.at(-1) : undefined;
}

/** @param {unknown} target */
function rowOf(target) {
  const element = target instanceof Node && !(target instanceof Element) ? target.parentElement : target;
  const row = element instanceof Element ? element.closest('.diff-row') : null;
  return row instanceof HTMLElement ? Number(row.dataset.row) : -1;
}

/**
 * The rows that a row stands for: those marked with the mouse or chosen, if it is among them, else itself.
 * @param {number} row
 * @param {HTMLElement | null} list
 * @param {Rows | null} chosen
 * @returns {Rows}
 */
function rangeAt(row, list, chosen) {
  const selection = getSelection();
  const nodes = selection && !selection.isCollapsed ? [selection.anchorNode, selection.focusNode] : [];
  const inside = nodes.length > 0 && nodes.every((node) => list?.contains(node));
  const ends = inside ? nodes.map(rowOf).sort((a, b) => a - b) : [-1];
  const ranges = [{ from: ends[0], to: ends.at(-1) ?? -1 }, chosen];
  return ranges.find((range) => range && range.from >= 0 && row >= range.from && row <= range.to) ?? { from: row, to: row };
}
