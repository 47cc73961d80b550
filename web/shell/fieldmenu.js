// The native context menu never shows, so every plain text field and every selected text gets this
// one, by right click and by the keyboard's menu key. Panels and editors bring their own (menuFor).

import { showMenu } from './menus.js';

/** @typedef {HTMLInputElement | HTMLTextAreaElement} Field */

/** @param {Document} document */
export function installFieldMenus(document) {
  document.addEventListener('keydown', openByKey, { capture: true });
  document.addEventListener('contextmenu', (event) => {
    if (event.defaultPrevented) return;
    event.preventDefault();
    const field = event.target instanceof Element ? fieldAt(event.target) : null;
    const items = field ? fieldItems(field) : selectionItems(document);
    if (items.length) void showMenu({ x: event.clientX, y: event.clientY, items, label: 'Edit' });
  });
}

/**
 * Shift+F10 and the menu key open the menu of what has the focus, below it.
 * @param {KeyboardEvent} event
 */
function openByKey(event) {
  const asks = event.key === 'ContextMenu' || (event.key === 'F10' && event.shiftKey);
  const target = document.activeElement;
  if (!asks || !target) return;
  event.preventDefault();
  event.stopPropagation();
  const { left, bottom, height } = target.getBoundingClientRect();
  target.dispatchEvent(
    new MouseEvent('contextmenu', {
      bubbles: true,
      cancelable: true,
      clientX: left + 8,
      clientY: bottom - Math.min(4, height / 2),
    }),
  );
}

/** @param {Element} target */
function fieldAt(target) {
  const field = target.closest('input, textarea');
  if (field instanceof HTMLTextAreaElement) return field;
  return field instanceof HTMLInputElement && field.selectionStart !== null ? field : null;
}

/**
 * @param {Field} field
 * @returns {import('./menus.js').MenuItem[]}
 */
function fieldItems(field) {
  const from = field.selectionStart ?? 0;
  const to = field.selectionEnd ?? from;
  const selected = field.value.slice(from, to);
  const writable = !field.readOnly && !field.disabled;
  const copy = () => navigator.clipboard.writeText(selected);
  const restore = () => {
    field.focus();
    field.setSelectionRange(from, to);
  };
  return [
    {
      label: 'Cut',
      keys: 'Ctrl+X',
      enabled: writable && selected !== '',
      run: async () => {
        await copy();
        restore();
        insert(field, '');
      },
    },
    { label: 'Copy', keys: 'Ctrl+C', enabled: selected !== '', run: copy },
    {
      label: 'Paste',
      keys: 'Ctrl+V',
      enabled: writable,
      run: async () => {
        const text = await navigator.clipboard.readText();
        restore();
        insert(field, text);
      },
    },
    { kind: 'separator' },
    { label: 'Select All', keys: 'Ctrl+A', enabled: field.value !== '', run: () => field.select() },
  ];
}

/**
 * What a menu offers for the text that is selected; nothing without one.
 * @param {Document} document
 * @returns {import('./menus.js').MenuItem[]}
 */
export function selectionItems(document) {
  const text = document.getSelection()?.toString() ?? '';
  if (!text) return [];
  return [{ label: 'Copy', keys: 'Ctrl+C', run: () => navigator.clipboard.writeText(text) }];
}

/**
 * Replaces what is selected, as typing would: undo works, and the field's listeners hear of it.
 * @param {Field} field
 * @param {string} text
 */
function insert(field, text) {
  const command = text ? 'insertText' : 'delete';
  if (document.execCommand(command, false, text)) return;
  field.setRangeText(text, field.selectionStart ?? 0, field.selectionEnd ?? 0, 'end');
  field.dispatchEvent(new Event('input', { bubbles: true }));
}
