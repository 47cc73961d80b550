// Draws the open quick pick.

import { useLayoutEffect, useRef, useState } from 'preact/hooks';
import { html } from 'htm/preact';
import { ring } from './focus.js';
import { icon } from './icons.js';
import { narrow, openPick } from './quickpick.js';

/** Rows that a page key moves. */
const PAGE = 10;
/** Rows that are drawn; typing more letters finds the rest. */
const DRAWN = 200;

export function PickLayer() {
  const request = openPick.value;
  if (!request) return null;
  /** @param {PointerEvent} event */
  const outside = (event) => {
    if (event.target === event.currentTarget) request.close(null);
  };
  return html`
    <div class="pick-layer" data-overlay onPointerDown=${outside}>
      <${Pick} key=${request} request=${request} />
    </div>
  `;
}

/** @param {{request: import('./quickpick.js').OpenPick}} props */
function Pick({ request }) {
  const { title, placeholder, items, active, empty = 'Nothing matches', close, onActive } = request;
  const field = useRef(/** @type {HTMLInputElement | null} */ (null));
  const list = useRef(/** @type {HTMLElement | null} */ (null));
  const [query, setQuery] = useState('');
  const rows = narrow(items, query).slice(0, DRAWN);
  const [at, setAt] = useState(
    Math.max(
      0,
      items.findIndex(({ id }) => id === active),
    ),
  );

  useLayoutEffect(() => field.current?.focus(), []);
  useLayoutEffect(() => {
    list.current?.querySelector('[aria-selected="true"]')?.scrollIntoView({ block: 'nearest' });
  }, [at, query]);

  /** @param {number} index @param {typeof rows} [among] */
  const go = (index, among = rows) => {
    setAt(index);
    onActive?.(among[index]?.item ?? null);
  };
  /** @param {Event} event */
  const onInput = (event) => {
    const text = /** @type {HTMLInputElement} */ (event.target).value;
    setQuery(text);
    go(0, narrow(items, text));
  };
  /** @param {KeyboardEvent} event */
  const onKeyDown = (event) => {
    if (event.isComposing) return;
    const last = rows.length - 1;
    if (event.key === 'Escape' || event.key === 'Tab') close(null);
    else if (event.key === 'Enter') rows[at] && close(rows[at].item);
    else if (event.key === 'ArrowDown') rows.length && go(ring(at, 1, rows.length));
    else if (event.key === 'ArrowUp') rows.length && go(ring(at, -1, rows.length));
    else if (event.key === 'PageDown') go(Math.max(0, Math.min(last, at + PAGE)));
    else if (event.key === 'PageUp') go(Math.max(0, at - PAGE));
    else return;
    event.preventDefault();
    event.stopPropagation();
  };

  return html`
    <div class="pick" role="dialog" aria-modal="true" aria-label=${title} onKeyDown=${onKeyDown}>
      <input
        class="pick-field"
        ref=${field}
        role="combobox"
        aria-label=${title}
        aria-expanded="true"
        aria-controls="pick-list"
        aria-autocomplete="list"
        aria-activedescendant=${rows[at] ? `pick-${at}` : undefined}
        autocomplete="off"
        spellcheck=${false}
        placeholder=${placeholder}
        value=${query}
        onInput=${onInput}
      />
      <div class="pick-list" id="pick-list" role="listbox" aria-label=${title} ref=${list}>
        ${rows.map((row, i) => {
          const heading = query ? undefined : headingBefore(rows, i);
          return html`
            ${heading && html`<div class="pick-group" role="presentation">${heading}</div>`}
            <${PickRow}
              key=${row.item.id}
              index=${i}
              row=${row}
              selected=${i === at}
              take=${() => close(row.item)}
            />
          `;
        })}
      </div>
      ${rows.length === 0 && html`<p class="pick-empty">${empty}</p>`}
      <p class="unseen" role="status">${query ? `${rows.length} matches` : ''}</p>
    </div>
  `;
}

/**
 * @param {object} props
 * @param {number} props.index
 * @param {{item: import('./quickpick.js').PickItem, at: number[]}} props.row
 * @param {boolean} props.selected
 * @param {() => void} props.take
 */
function PickRow({ index, row: { item, at }, selected, take }) {
  return html`
    <div
      class="pick-row"
      id=${`pick-${index}`}
      role="option"
      aria-selected=${String(selected)}
      onClick=${take}
    >
      ${item.icon && icon(item.icon)}
      <span class="pick-label">${marked(item.label, at)}</span>
      ${item.description && html`<span class="pick-description">${item.description}</span>`}
      ${item.keys && html`<kbd class="menu-keys">${item.keys}</kbd>`}
    </div>
  `;
}

/**
 * @param {{item: import('./quickpick.js').PickItem}[]} rows
 * @param {number} i
 */
function headingBefore(rows, i) {
  const { group } = rows[i].item;
  return group !== rows[i - 1]?.item.group ? group : undefined;
}

/**
 * The text with its matched letters marked, neighbours in one mark.
 * @param {string} text
 * @param {number[]} at
 */
function marked(text, at) {
  const hits = new Set(at);
  /** @type {any[]} */
  const parts = [];
  for (let i = 0; i < text.length;) {
    const hit = hits.has(i);
    let end = i + 1;
    while (end < text.length && hits.has(end) === hit) end += 1;
    const piece = text.slice(i, end);
    parts.push(hit ? html`<mark>${piece}</mark>` : piece);
    i = end;
  }
  return parts;
}
