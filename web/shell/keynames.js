// Names of keys as commands write them ("ctrl+shift+p", chords "ctrl+k ctrl+o"), from key events and
// for people ("Ctrl+Shift+P"). Pure: no listener lives here.

/** A key's name: a printed character, or a word. */
const KEY = /^(?:\S|[a-z][a-z0-9_]{1,30})$/u;

/** Keys with Ctrl that edit text, which a plain text field keeps for itself. */
const EDITING =
  /^ctrl\+(?:shift\+)?(?:left|right|up|down|home|end|backspace|delete|insert|enter|[acvxyz])$/;

/** What the keyboard layout may hide behind Shift or another script, by the key's place. */
const PLACES = new Map([
  ['Minus', '-'],
  ['Equal', '='],
  ['BracketLeft', '['],
  ['BracketRight', ']'],
  ['Backslash', '\\'],
  ['Semicolon', ';'],
  ['Quote', "'"],
  ['Backquote', '`'],
  ['Comma', ','],
  ['Period', '.'],
  ['Slash', '/'],
  ['NumpadAdd', '='],
  ['NumpadSubtract', '-'],
]);

/** Keys of the keypad have a name of their own before the one of what they print. */
const KEYPAD = new Map([
  ['Add', '_add'],
  ['Subtract', '_subtract'],
  ['Multiply', '_multiply'],
  ['Divide', '_divide'],
  ['Decimal', '_decimal'],
  ['Comma', '_separator'],
]);

const NAMES = new Map([
  [' ', 'space'],
  ['+', 'plus'],
  ['arrowup', 'up'],
  ['arrowdown', 'down'],
  ['arrowleft', 'left'],
  ['arrowright', 'right'],
  ['contextmenu', 'menu'],
]);

const SHOWN = new Map([
  ['up', '↑'],
  ['down', '↓'],
  ['left', '←'],
  ['right', '→'],
  ['plus', '+'],
  ['pageup', 'Page Up'],
  ['pagedown', 'Page Down'],
  ['delete', 'Del'],
  ['escape', 'Esc'],
]);

const MODIFIERS = ['ctrl', 'shift', 'alt', 'meta'];
const MODIFIER_KEYS = new Set(['Control', 'Shift', 'Alt', 'Meta', 'AltGraph', 'CapsLock', 'Dead', 'Process']);

/**
 * The names that an event answers to, the best first: what is printed on the key, then, where that
 * is not a plain letter or digit, what a US keyboard has in its place.
 * @param {Pick<KeyboardEvent, 'key' | 'code' | 'ctrlKey' | 'shiftKey' | 'altKey' | 'metaKey'>} event
 * @returns {string[]} empty for a modifier alone
 */
export function keyNames(event) {
  if (MODIFIER_KEYS.has(event.key)) return [];
  const held = [event.ctrlKey, event.shiftKey, event.altKey, event.metaKey];
  const prefix = MODIFIERS.filter((_, i) => held[i])
    .map((name) => `${name}+`)
    .join('');
  const key = event.key.toLowerCase();
  const names = [prefix + (NAMES.get(key) ?? key)];
  const pad = keypadName(event);
  if (pad) names.unshift(prefix + pad);
  const place = placeName(event.code);
  if (place && !/^[a-z0-9]$/.test(key) && !names.includes(prefix + place)) names.push(prefix + place);
  return names;
}

/**
 * What the keypad's key is called; while it moves the cursor it is the key that it stands for.
 * @param {Pick<KeyboardEvent, 'key' | 'code'>} event
 */
function keypadName({ key, code }) {
  const which = /^Numpad(\w+)$/.exec(code ?? '')?.[1];
  if (!which || key.length !== 1) return '';
  const rest = /^\d$/.test(which) ? which : KEYPAD.get(which);
  return rest ? `numpad${rest}` : '';
}

/**
 * The one name under which a pressed stroke is kept. It is among the stroke's names whenever the same key is
 * pressed on the same keyboard, and where it can be, on others.
 * @param {Parameters<typeof keyNames>[0]} event
 * @returns {string} "" for a modifier alone
 */
export function recordedStroke(event) {
  const names = keyNames(event);
  const place = placeName(event.code);
  const byPlace = names.find((name) => place && name.endsWith(`+${place}`)) ?? '';
  // Shift hides a digit behind a sign; a letter of another script would be dead on a Latin layout.
  const digit = /^Digit/.test(event.code) && event.shiftKey;
  const foreign = /^Key/.test(event.code) && /^[^\0-\x7f]$/u.test(event.key);
  return ((digit || foreign) && byPlace) || names[0] || '';
}

/** @param {string} code */
function placeName(code) {
  const letter = /^(?:Key([A-Z])|Digit(\d))$/.exec(code ?? '');
  return letter ? (letter[1] ?? letter[2]).toLowerCase() : PLACES.get(code);
}

/**
 * One spelling for each key: lower case, modifiers in a fixed order.
 * @param {string} keys
 */
export function normalKeys(keys) {
  return keys.trim().split(/\s+/).map(normalStroke).join(' ');
}

/** @param {string} stroke */
function normalStroke(stroke) {
  const parts = stroke.toLowerCase().split('+');
  const key = parts.pop() || 'plus'; // "ctrl++" ends in an empty part
  const held = MODIFIERS.filter((name) => parts.includes(name));
  return [...held, key].join('+');
}

/**
 * Whether strokes read like those that a keyboard gives: one, or two of a chord, in their one spelling.
 * @param {string} keys
 */
export function areKeys(keys) {
  const strokes = keys.split(' ');
  return strokes.length <= 2 && keys === normalKeys(keys) && strokes.every((one) => KEY.test(keyOf(one)));
}

/**
 * The key of a stroke without what is held with it.
 * @param {string} stroke
 */
export const keyOf = (stroke) => stroke.slice(stroke.lastIndexOf('+') + 1);

/**
 * Whether a stroke holds nothing but perhaps Shift, and so may type, move or choose. Function keys do not.
 * @param {string} stroke
 */
export const isBare = (stroke) => !/(?:ctrl|alt|meta)\+/.test(stroke) && !/^(?:shift\+)?f\d+$/.test(stroke);

/**
 * Whether plain text fields keep a stroke for themselves.
 * @param {string} stroke
 */
export const isTyping = (stroke) => EDITING.test(stroke) || (isBare(stroke) && stroke !== 'escape');

/**
 * As a menu shows it.
 * @param {string} keys
 */
export function shownKeys(keys) {
  return normalKeys(keys)
    .split(' ')
    .map((stroke) => stroke.split('+').map(shownKey).join('+'))
    .join(' ');
}

/** @param {string} key */
const shownKey = (key) => SHOWN.get(key) ?? shownKeypad(key) ?? key.charAt(0).toUpperCase() + key.slice(1);

/** @param {string} key */
function shownKeypad(key) {
  const which = /^numpad_?(\w+)$/.exec(key)?.[1];
  return which && `Keypad ${which}`;
}

/**
 * As aria-keyshortcuts wants it; a chord has no form there.
 * @param {string} keys
 */
export function ariaKeys(keys) {
  if (!keys || normalKeys(keys).includes(' ')) return undefined;
  return normalKeys(keys)
    .split('+')
    .map((part) => (part === 'ctrl' ? 'Control' : part.charAt(0).toUpperCase() + part.slice(1)))
    .join('+');
}
