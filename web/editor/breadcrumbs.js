// Above a text: the folders that hold its file, and the symbols that hold the cursor. Each is a button: a file
// is shown in the tree, a symbol opens a list of its neighbours.

import { html } from 'htm/preact';
import { useRef } from 'preact/hooks';
import { runCommand } from '../shell/commands.js';
import { ring } from '../shell/focus.js';
import { icon } from '../shell/icons.js';
import { showMenu } from '../shell/menus.js';
import { symbolIcon, symbolsAt } from '../stores/lspsymbols.js';
import { breadcrumbs } from './lspoptions.js';
import { cursorPosition, goToSymbol, outline } from './outline.js';
import { isUntitled, tabs } from './state.js';

/** @typedef {import('../stores/lspsymbols.js').OutlineSymbol} OutlineSymbol */

/** @param {{id: string, group: string}} props */
export function Breadcrumbs({ id, group }) {
  const place = useRef(/** @type {HTMLElement | null} */ (null));
  if (!breadcrumbs.value || isUntitled(id)) return null;
  const { id: known, tree } = outline.value;
  const chain = known === id && tabs.value.active === group ? symbolsAt(tree, cursorPosition()) : [];
  const parts = id.split('/');
  /** @param {KeyboardEvent} event */
  const onKeyDown = (event) => {
    const step = { ArrowRight: 1, ArrowLeft: -1 }[event.key];
    const all = /** @type {HTMLElement[]} */ ([...(place.current?.querySelectorAll('button') ?? [])]);
    const at = all.indexOf(/** @type {HTMLElement} */ (document.activeElement));
    if (!step || at < 0) return;
    event.preventDefault();
    all[ring(at, step, all.length)].focus();
  };
  return html`<nav class="breadcrumbs" aria-label="Where this is" ref=${place} onKeyDown=${onKeyDown}>
    ${parts.map(
      (part, at) => html`<${Crumb}
        key=${`part ${at}`}
        words=${part}
        first=${at === 0}
        run=${() => runCommand('explorer.show', parts.slice(0, at + 1).join('/'))}
      />`,
    )}
    ${chain.map(
      (symbol) => html`<${Crumb}
        key=${symbol.key}
        words=${symbol.name}
        sign=${symbolIcon(symbol.kind)}
        run=${(/** @type {Element} */ anchor) => showNeighbours(anchor, symbol)}
      />`,
    )}
  </nav>`;
}

/** @param {{words: string, first?: boolean, sign?: string, run: (anchor: Element) => unknown}} props */
function Crumb({ words, first = false, sign = '', run }) {
  return html`${!first && icon('chevron-right')}
    <button
      type="button"
      class="crumb"
      tabindex=${first ? 0 : -1}
      aria-haspopup=${sign ? 'menu' : undefined}
      onClick=${(/** @type {Event} */ event) => run(/** @type {Element} */ (event.currentTarget))}
    >
      ${sign && icon(sign)} ${words}
    </button>`;
}

/**
 * @param {Element} anchor
 * @param {OutlineSymbol} symbol
 */
function showNeighbours(anchor, symbol) {
  const way = symbol.key.split('/').slice(0, -1);
  const list = way.reduce(
    (tree, at) => tree[Number(at)]?.children ?? [],
    /** @type {OutlineSymbol[]} */ (outline.value.tree),
  );
  const items = list.map((one) => ({
    label: one.name,
    icon: symbolIcon(one.kind),
    checked: one.key === symbol.key,
    run: () => goToSymbol(one),
  }));
  return showMenu({ anchor, items, label: 'Symbols' });
}
