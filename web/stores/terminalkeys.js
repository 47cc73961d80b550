// Which keys a terminal gets and which stay with the editor while a terminal has the focus. A shell has
// its own Ctrl+C, Ctrl+R, Ctrl+W, Ctrl+K and so on, and programs in it have the function keys; the
// editor keeps what terminals on this desktop keep (Ctrl+Shift and a key), and the ways out.

/** Keys that stay with the editor, besides all that hold Ctrl and Shift. */
const KEPT = new Set([
  'ctrl+`',
  'f1',
  'f6',
  'shift+f6',
  'alt+f4',
  'ctrl+b',
  'ctrl+j',
  'ctrl+tab',
  'ctrl+pageup',
  'ctrl+pagedown',
  'ctrl+=',
  'ctrl+-',
  'ctrl+0',
  'ctrl+1',
  'ctrl+2',
  'ctrl+3',
  'ctrl+plus',
  'ctrl+alt+b',
  'ctrl+alt+c',
  'ctrl+alt+i',
  'ctrl+alt+k',
  'ctrl+alt+m',
  'ctrl+alt+n',
  'ctrl+alt+q',
]);

/** Ctrl+Shift and an arrow or the like selects and moves words in programs. */
const MOVING = /\+(?:left|right|up|down|home|end|backspace|delete)$/;

/**
 * @param {readonly string[]} names what a stroke is called, the best first
 * @returns {boolean} whether the terminal gets it
 */
export function goesToShell(names) {
  return !names.some((name) => KEPT.has(name) || (/^ctrl\+shift\+(?!alt\+|meta\+)/.test(name) && !MOVING.test(name)));
}
