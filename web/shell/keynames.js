// Names of keys as commands write them ("ctrl+shift+p", chords "ctrl+k ctrl+o"), from key events and
// for people ("Ctrl+Shift+P"). Pure: no listener lives here.

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
  const place = placeName(event.code);
  if (place && !/^[a-z0-9]$/.test(key) && prefix + place !== names[0]) names.push(prefix + place);
  return names;
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
const shownKey = (key) => SHOWN.get(key) ?? key.charAt(0).toUpperCase() + key.slice(1);

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
