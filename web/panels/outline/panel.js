// The "Outline" panel: the symbols of the text in front as a tree that follows the cursor.

import { html } from 'htm/preact';
import { signal } from '@preact/signals';
import { useEffect, useLayoutEffect, useRef, useState } from 'preact/hooks';
import { cursorPosition, goToSymbol, outline, startOutline } from '../../editor/outline.js';
import { registerCommand } from '../../shell/commands.js';
import { icon } from '../../shell/icons.js';
import { registerPanel, showPanel } from '../../shell/layout.js';
import { menuFor } from '../../shell/menus.js';
import { allSymbols, outlineRows, symbolIcon, symbolsAt } from '../../stores/lspsymbols.js';

/** @typedef {import('../../stores/lspsymbols.js').OutlineSymbol} OutlineSymbol */

/** Keys of what is folded away. @type {import('@preact/signals').Signal<ReadonlySet<string>>} */
const closed = signal(new Set());

export function startOutlinePanel() {
  startOutline();
  registerPanel({
    id: 'outline',
    title: 'Outline',
    icon: 'symbol-class',
    place: 'side',
    order: 60,
    component: Outline,
  });
  const hasSymbols = () => outline.value.tree.length > 0;
  registerCommand({ id: 'outline.fold', title: 'Fold All of the Outline', category: 'View', when: hasSymbols, run: foldAll });
  registerCommand({ id: 'outline.unfold', title: 'Unfold All of the Outline', category: 'View', when: hasSymbols, run: unfoldAll });
  registerCommand({
    id: 'outline.focus',
    title: 'Focus Outline',
    category: 'View',
    run: () => {
      showPanel('outline');
      requestAnimationFrame(() => /** @type {HTMLElement | null} */ (document.querySelector(kFirst))?.focus());
    },
  });
}

const kFirst = '.outline [tabindex="0"], .empty[data-focus]';

function Outline() {
  const { id, tree, known } = outline.value;
  // Keys count places, so what is folded means nothing in another text.
  useEffect(() => {
    closed.value = new Set();
  }, [id]);
  if (!known)
    return html`<p class="empty" tabindex="0" data-focus>
      Open a file whose language server knows its symbols, and they are listed here.
    </p>`;
  if (!tree.length) return html`<p class="empty" tabindex="0" data-focus>No symbols were found in this file.</p>`;
  return html`<${Tree} tree=${tree} />`;
}

/** @param {{tree: OutlineSymbol[]}} props */
function Tree({ tree }) {
  const place = useRef(/** @type {HTMLDivElement | null} */ (null));
  const rows = outlineRows(tree, closed.value);
  const here = symbolsAt(tree, cursorPosition());
  // The innermost that is to be seen; its folded parent stands for it.
  const current = here.findLast(({ key }) => rows.some(({ symbol }) => symbol.key === key))?.key ?? '';
  const [chosen, setChosen] = useState('');
  const at = Math.max(
    0,
    rows.findIndex(({ symbol }) => symbol.key === (chosen || current)),
  );
  useEffect(() => setChosen(''), [current]);
  useLayoutEffect(() => {
    place.current?.querySelector('.current')?.scrollIntoView({ block: 'nearest' });
  }, [current]);
  useLayoutEffect(() => (place.current ? menuFor(place.current, menuOf) : undefined), []);
  /** @param {number} index */
  const go = (index) => {
    const to = Math.max(0, Math.min(rows.length - 1, index));
    setChosen(rows[to].symbol.key);
    const row = /** @type {HTMLElement | null} */ (place.current?.querySelector(`[data-key="${rows[to].symbol.key}"]`));
    row?.focus();
  };
  /** @param {KeyboardEvent} event */
  const onKeyDown = (event) => {
    if (event.ctrlKey || event.altKey || event.metaKey) return;
    const { symbol } = rows[at];
    const parent = symbol.key.slice(0, symbol.key.lastIndexOf('/'));
    if (event.key === 'ArrowDown') go(at + 1);
    else if (event.key === 'ArrowUp') go(at - 1);
    else if (event.key === 'Home') go(0);
    else if (event.key === 'End') go(rows.length - 1);
    else if (event.key === 'ArrowRight') fold(symbol, false);
    else if (event.key === 'ArrowLeft') {
      if (symbol.children.length && !closed.value.has(symbol.key)) fold(symbol, true);
      else if (parent) go(rows.findIndex((row) => row.symbol.key === parent));
    } else if (event.key === 'Enter') goToSymbol(symbol);
    else return;
    event.preventDefault();
    event.stopPropagation();
  };
  return html`<div class="outline" role="tree" aria-label="Outline" ref=${place} onKeyDown=${onKeyDown}>
    ${rows.map(
      ({ symbol, depth }, index) => html`<div
        key=${symbol.key}
        class=${`outline-row ${symbol.key === current ? 'current' : ''} ${symbol.deprecated ? 'deprecated' : ''}`}
        role="treeitem"
        aria-level=${depth + 1}
        aria-expanded=${symbol.children.length ? String(!closed.value.has(symbol.key)) : undefined}
        aria-selected=${String(symbol.key === current)}
        tabindex=${index === at ? 0 : -1}
        data-focus=${index === at ? '' : undefined}
        data-key=${symbol.key}
        style=${{ paddingLeft: `${0.5 + depth * 0.75}rem` }}
        onClick=${() => goToSymbol(symbol)}
      >
        <span
          class="outline-fold"
          onClick=${(/** @type {Event} */ event) => {
            event.stopPropagation();
            fold(symbol, !closed.value.has(symbol.key));
          }}
        >${symbol.children.length > 0 && icon(closed.value.has(symbol.key) ? 'chevron-right' : 'chevron-down')}</span>
        ${icon(symbolIcon(symbol.kind))}
        <span class="outline-name">${symbol.name}</span>
        <span class="outline-detail">${symbol.detail}</span>
      </div>`,
    )}
  </div>`;
}

/** @param {OutlineSymbol} symbol @param {boolean} away */
function fold({ key, children }, away) {
  const next = new Set(closed.value);
  if (away && children.length) next.add(key);
  else next.delete(key);
  closed.value = next;
}

/** @param {MouseEvent} event @returns {import('../../shell/menus.js').MenuItem[]} */
function menuOf(event) {
  const key = event.target instanceof Element ? event.target.closest('[data-key]')?.getAttribute('data-key') : null;
  const found = allSymbols(outline.value.tree).find(({ symbol }) => symbol.key === key)?.symbol;
  return [
    ...(found
      ? [
          { label: 'Go to Symbol', run: () => goToSymbol(found) },
          { label: 'Copy Name', run: () => navigator.clipboard.writeText(found.name) },
          { kind: /** @type {const} */ ('separator') },
        ]
      : []),
    { label: 'Fold All', run: foldAll },
    { label: 'Unfold All', run: unfoldAll },
  ];
}

function foldAll() {
  const parents = allSymbols(outline.value.tree).flatMap(({ symbol }) => (symbol.children.length ? [symbol.key] : []));
  closed.value = new Set(parents);
}

function unfoldAll() {
  closed.value = new Set();
}
