// Strokes that cannot be bound, and those that may never arrive or that others keep in some places.

import { isBare, isTyping, keyOf, shownKeys } from '../shell/keynames.js';

const MOVING = new Set(['left', 'right', 'up', 'down', 'home', 'end', 'pageup', 'pagedown', 'enter', 'backspace']);

/** What desktops commonly take before any program sees it. */
const DESKTOP = new RegExp(
  '^(?:(?:shift\\+)?alt\\+(?:tab|escape|space|f[1-9]|f1[0-2]|`)' +
    '|ctrl\\+alt\\+(?:delete|backspace|left|right|up|down|t|l|f\\d+)' +
    '|ctrl\\+shift\\+alt\\+(?:left|right|up|down)|(?:\\w+\\+)*meta\\+.*|.*print(?:screen)?)$',
);

/** What input methods begin with. */
const COMPOSING = new Set(['ctrl+space', 'ctrl+shift+u', 'shift+space']);

/**
 * Why a stroke cannot be bound; "" when it can.
 * @param {string} stroke
 */
export function strokeFault(stroke) {
  const shown = shownKeys(stroke);
  const key = keyOf(stroke);
  if (stroke === 'menu' || stroke === 'shift+f10') return `${shown} opens the context menu`;
  if (!isBare(stroke)) return '';
  if (key === 'escape' || key === 'tab') return `${shown} leaves or moves on everywhere`;
  if ([...key].length === 1 || /^numpad|^plus$|^space$/.test(key)) return `${shown} types text`;
  return MOVING.has(stroke) ? `${shown} edits, moves and chooses in texts and lists` : '';
}

/**
 * The second stroke of a chord may be anything.
 * @param {string} keys
 */
export const keysFault = (keys) => strokeFault(keys.split(' ')[0]);

/**
 * Who else wants the strokes of a binding, in sentences.
 * @param {string} keys
 */
export const keysNotes = (keys) => keys.split(' ').map(strokeNote).filter(Boolean);

/**
 * @param {string} stroke
 * @param {number} index in its chord
 */
function strokeNote(stroke, index) {
  const shown = shownKeys(stroke);
  if (DESKTOP.test(stroke)) return `Many desktops keep ${shown} for themselves, and it may never arrive here.`;
  if (COMPOSING.has(stroke)) return `Input methods use ${shown}, and it may not arrive while one is on.`;
  // Once a chord has begun, its second stroke is no text field's any more.
  return isTyping(stroke) && index === 0 ? `Text fields keep ${shown} for themselves.` : '';
}
