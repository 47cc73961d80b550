// Where the focus goes back to when something that floats closes.

/** Finds a place when the former one is gone. @type {() => HTMLElement | null} */
let fallback = () => null;

/** @param {() => HTMLElement | null} find */
export function setFocusFallback(find) {
  fallback = find;
}

/**
 * Remembers who has the focus; the result gives it back, or to the editor when that is gone. That
 * happens once the page is drawn again: what was behind a dialog cannot take the focus before.
 */
export function keepFocus() {
  const before = document.activeElement;
  return () =>
    queueMicrotask(() => {
      const floating = [...document.querySelectorAll('[data-overlay]')].at(-1);
      if (floating && !floating.contains(before)) return; // the next thing that floats has it
      const usable = before instanceof HTMLElement && before.isConnected && before !== document.body;
      (usable ? before : fallback())?.focus({ preventScroll: true });
    });
}

/** Gives the focus a place if it has none. */
export function rescueFocus() {
  const at = document.activeElement;
  if (!at || at === document.body) fallback()?.focus({ preventScroll: true });
}

/**
 * The next index in a ring, for arrow keys.
 * @param {number} index
 * @param {number} step
 * @param {number} count
 */
export const ring = (index, step, count) => (index + step + count) % count;
