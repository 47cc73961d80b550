// Draws the open menu and moves through it.

import { useLayoutEffect, useRef, useState } from 'preact/hooks';
import { html } from 'htm/preact';
import { ring } from './focus.js';
import { icon } from './icons.js';
import { openMenu } from './menus.js';

/** @typedef {import('./menus.js').MenuItem} MenuItem */

export function MenuLayer() {
  const menu = openMenu.value;
  if (!menu) return null;
  /** @param {Event} event */
  const outside = (event) => {
    event.preventDefault();
    menu.close();
  };
  return html`
    <div
      class="menu-layer"
      role="region"
      aria-label="Menu"
      data-overlay
      onPointerDown=${outside}
      onContextMenu=${outside}
    >
      <${MenuList}
        key=${menu}
        items=${menu.items}
        label=${menu.label}
        place=${() => placeMenu(menu)}
        choose=${menu.close}
        back=${() => menu.close()}
        sideways=${menu.onSideways}
      />
    </div>
  `;
}

/**
 * @param {object} props
 * @param {MenuItem[]} props.items
 * @param {string} [props.label]
 * @param {() => {x: number, y: number, above?: number, left?: number}} props.place
 * @param {(item: MenuItem) => void} props.choose
 * @param {() => void} props.back closes this list alone
 * @param {(step: -1 | 1) => void} [props.sideways]
 * @param {boolean} [props.nested]
 */
function MenuList({ items, label, place, choose, back, sideways, nested }) {
  const list = useRef(/** @type {HTMLElement | null} */ (null));
  const [at, setAt] = useState(items.findIndex(isUsable));
  const [open, setOpen] = useState(-1);

  useLayoutEffect(() => {
    if (list.current) keepInside(list.current, place());
  }, []);
  useLayoutEffect(() => {
    if (open >= 0) return;
    const rows = list.current?.querySelectorAll(':scope > [role^="menuitem"]');
    const row = rows?.[at] ?? list.current;
    if (row instanceof HTMLElement) row.focus({ preventScroll: false });
  }, [at, open]);

  /** @param {number} step */
  const move = (step) => {
    let next = at < 0 && step < 0 ? 0 : at;
    for (let tries = 0; tries < items.length; tries++) {
      next = ring(next, step, items.length);
      if (items[next].kind !== 'separator') return setAt(next);
    }
  };
  /** @param {MenuItem} item @param {number} index */
  const pick = (item, index) => {
    if (!isUsable(item)) return;
    if (item.items) setOpen(index);
    else choose(item);
  };
  /** @param {KeyboardEvent} event */
  const onKeyDown = (event) => {
    const item = items[at];
    if (event.key === 'ArrowDown') move(1);
    else if (event.key === 'ArrowUp') move(-1);
    else if (event.key === 'Home') setAt(items.findIndex(isUsable));
    else if (event.key === 'End') setAt(items.findLastIndex(isUsable));
    else if (event.key === 'Enter' || event.key === ' ') pick(item, at);
    else if (event.key === 'ArrowRight' && item?.items) setOpen(at);
    else if (event.key === 'ArrowRight') sideways?.(1);
    else if (event.key === 'ArrowLeft' && nested) back();
    else if (event.key === 'ArrowLeft') sideways?.(-1);
    else if (event.key === 'Escape' || event.key === 'Tab') back();
    else if (event.key.length === 1 && !event.ctrlKey) byLetter(event.key);
    else return;
    event.preventDefault();
    event.stopPropagation();
  };
  /** @param {string} letter */
  const byLetter = (letter) => {
    const order = items.map((_, i) => ring(at, i + 1, items.length));
    const found = order.find((i) => items[i].label?.toLowerCase().startsWith(letter.toLowerCase()));
    if (found !== undefined) setAt(found);
  };

  return html`
    <div
      class="menu"
      role="menu"
      aria-label=${label}
      tabindex="-1"
      ref=${list}
      onKeyDown=${onKeyDown}
      onPointerDown=${stop}
      onContextMenu=${stop}
    >
      ${items.map((item, i) =>
        item.kind === 'separator'
          ? html`<div class="menu-separator" role="separator"></div>`
          : html`<${MenuRow}
              item=${item}
              active=${i === at}
              expanded=${i === open}
              light=${() => setAt(i)}
              enter=${() => (setAt(i), setOpen(item.items && isUsable(item) ? i : -1))}
              pick=${() => pick(item, i)}
              choose=${choose}
              back=${() => setOpen(-1)}
            />`,
      )}
    </div>
  `;
}

/**
 * @param {object} props
 * @param {MenuItem} props.item
 * @param {boolean} props.active
 * @param {boolean} props.expanded
 * @param {() => void} props.light
 * @param {() => void} props.enter
 * @param {() => void} props.pick
 * @param {(item: MenuItem) => void} props.choose
 * @param {() => void} props.back
 */
function MenuRow({ item, active, expanded, light, enter, pick, choose, back }) {
  const row = useRef(/** @type {HTMLElement | null} */ (null));
  const checkable = item.checked !== undefined;
  const beside = () => {
    const { right, top, left } = row.current?.getBoundingClientRect() ?? new DOMRect();
    return { x: right, y: top - 5, left };
  };
  return html`
    <div
      class="menu-row"
      ref=${row}
      role=${checkable ? 'menuitemcheckbox' : 'menuitem'}
      aria-checked=${checkable ? String(item.checked) : undefined}
      aria-disabled=${isUsable(item) ? undefined : 'true'}
      aria-haspopup=${item.items ? 'menu' : undefined}
      aria-expanded=${item.items ? String(expanded) : undefined}
      tabindex=${active ? 0 : -1}
      onFocus=${light}
      onPointerEnter=${enter}
      onClick=${pick}
    >
      <span class="menu-mark">${item.checked ? icon('check') : item.icon ? icon(item.icon) : null}</span>
      <span class="menu-label">${item.label}</span>
      ${item.keys ? html`<kbd class="menu-keys">${item.keys}</kbd>` : null}
      ${item.items ? icon('chevron-right') : null}
    </div>
    ${
      expanded && item.items
        ? html`<${MenuList}
          items=${item.items}
          label=${item.label}
          place=${beside}
          choose=${choose}
          back=${back}
          nested
        />`
        : null
    }
  `;
}

/** @param {MenuItem} [item] */
const isUsable = (item) => item !== undefined && item.kind !== 'separator' && item.enabled !== false;

/** @param {Event} event */
const stop = (event) => {
  event.stopPropagation();
  if (event.type === 'contextmenu') event.preventDefault();
};

/** @param {import('./menus.js').MenuRequest} menu */
function placeMenu({ anchor, x = 0, y = 0 }) {
  if (!anchor) return { x, y };
  const { left, bottom, top } = anchor.getBoundingClientRect();
  return { x: left, y: bottom + 2, above: top - 2 };
}

/**
 * Puts a menu at its place, or on the other side of what it belongs to when the window ends there.
 * @param {HTMLElement} element
 * @param {{x: number, y: number, above?: number, left?: number}} place
 */
function keepInside(element, { x, y, above, left }) {
  const { width, height } = element.getBoundingClientRect();
  const margin = 4;
  const overRight = x + width > innerWidth - margin;
  const overBottom = y + height > innerHeight - margin;
  const atX = overRight ? (left ?? x) - width : x;
  const atY = overBottom ? (above ?? innerHeight - margin) - height : y;
  element.style.left = `${Math.max(margin, Math.min(atX, innerWidth - width - margin))}px`;
  element.style.top = `${Math.max(margin, atY)}px`;
}
