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
  const {
    title,
    placeholder,
    items,
    live,
    active = '',
    empty = 'Nothing matches',
    close,
    onActive,
  } = request;
  const field = useRef(/** @type {HTMLInputElement | null} */ (null));
  const list = useRef(/** @type {HTMLElement | null} */ (null));
  const answered = useRef(/** @type {Promise<unknown>} */ (Promise.resolve()));
  const [query, setQuery] = useState(request.query ?? '');
  const rows = (live ? live.rows.value : narrow(items, query)).slice(0, DRAWN);
  // By its id: rows that are still looked for may come in above it.
  const [lit, setLit] = useState(active);
  const at = Math.max(
    0,
    rows.findIndex(({ item }) => item.id === lit),
  );

  useLayoutEffect(() => {
    field.current?.focus();
    if (live) answered.current = live.ask(query);
  }, []);
  useLayoutEffect(() => {
    list.current?.querySelector('[aria-selected="true"]')?.scrollIntoView({ block: 'nearest' });
  }, [at, query, rows.length]);

  /** @param {number} index @param {typeof rows} [among] */
  const go = (index, among = rows) => {
    setLit(among[index]?.item.id ?? '');
    onActive?.(among[index]?.item ?? null);
  };
  /** @param {Event} event */
  const onInput = (event) => {
    const text = /** @type {HTMLInputElement} */ (event.target).value;
    setQuery(text);
    if (!live) return go(0, narrow(items, text));
    setLit('');
    answered.current = live.ask(text);
  };
  /** Enter right behind a letter means what that letter finds. @param {boolean} beside */
  const take = async (beside) => {
    if (!live || lit) return rows[at] && close(rows[at].item, beside);
    const asked = answered.current;
    await asked;
    const first = live.rows.value[0];
    if (first && asked === answered.current && openPick.value === request) close(first.item, beside);
  };
  /** @param {KeyboardEvent} event */
  const onKeyDown = (event) => {
    if (event.isComposing) return;
    const last = rows.length - 1;
    if (event.key === 'Escape' || event.key === 'Tab') close(null);
    else if (event.key === 'Enter') void take(event.ctrlKey);
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
          const heading = query && !live ? undefined : headingBefore(rows, i);
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
      ${rows.length === 0 && html`<p class="pick-empty">${live?.empty?.value ?? empty}</p>`}
      ${live?.note.value && html`<p class="pick-note" role="status">${live.note.value}</p>`}
      <p class="unseen" role="status">${query ? `${rows.length} matches` : ''}</p>
    </div>
  `;
}

/**
 * @param {object} props
 * @param {number} props.index
 * @param {import('./quickpick.js').PickRow} props.row
 * @param {boolean} props.selected
 * @param {() => void} props.take
 */
function PickRow({ index, row: { item, at, descriptionAt = [] }, selected, take }) {
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
      ${item.description && html`<span class="pick-description">${marked(item.description, descriptionAt)}</span>`}
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
