// Dispatches key presses to commands. Commands marked `global` act first, on the way down; all others
// on the way up, when whatever has the focus (a text editor, a list) did not take the key itself.
//
// The strokes of chords are always taken on the way down: a text editor that saw the first stroke
// would wait for a second one of its own. So is what the user bound, since it shall go before anything that a
// text editor or a list does with the key by itself.

import { signal } from '@preact/signals';
import { lookUp, runCommand, takenAway } from './commands.js';
import { isBare, isTyping, keyNames, shownKeys } from './keynames.js';

/** What the status bar says while a chord waits for its second stroke. */
export const chordHint = signal('');

/** A chord that nobody ends is forgotten. */
const CHORD_MS = 5000;
const HINT_MS = 3000;

/** @type {Set<(names: string[]) => boolean>} */
const claims = new Set();

let begun = '';
/** @type {ReturnType<typeof setTimeout> | undefined} */
let chordTimer;

/** @param {Document} document */
export function installKeys(document) {
  document.addEventListener('keydown', onDown, { capture: true });
  document.addEventListener('keydown', onUp);
  document.addEventListener('pointerdown', () => begun && endChord(), { capture: true });
  return () => {
    document.removeEventListener('keydown', onDown, { capture: true });
    document.removeEventListener('keydown', onUp);
  };
}

/**
 * Lets what has the focus keep keys from all commands, as a terminal does for its shell's own Ctrl+W.
 * @param {(names: string[]) => boolean} fn told the names of a stroke; true keeps it
 */
export function claimKeys(fn) {
  claims.add(fn);
  return () => void claims.delete(fn);
}

/** @param {string[]} names */
const claimed = (names) => [...claims].some((fn) => fn(names));

/** @param {KeyboardEvent} event */
function onDown(event) {
  const names = strokeNames(event);
  if (!names.length) return;
  if (begun) return finishChord(event, names);
  if (claimed(names) || inOverlay()) return;
  const dead = inTextEditor(event.target) && takenAway(names);
  const found = lookUp(names, '', (binding) => dead || actsFirst(binding, event.target));
  if (!found && !dead) return;
  take(event);
  if (!found) return;
  if ('command' in found) void runCommand(found.command.id);
  else beginChord(found.chord);
}

/**
 * Whether a binding goes before what has the focus.
 * @param {import('./commands.js').Binding} binding
 * @param {EventTarget | null} target
 */
function actsFirst({ command, keys, mine }, target) {
  const [stroke, more] = keys.split(' ');
  if (!mine) return command.global === true || more !== undefined;
  // Keys that type or move are left to whatever has the focus, but for commands that act there alone.
  if (isBare(stroke)) return command.global === true && command.keysWhen !== undefined;
  return hasOwnKeys(target) || !isTextField(target) || !isTyping(stroke);
}

/** @param {KeyboardEvent} event */
function onUp(event) {
  if (event.defaultPrevented || inOverlay()) return;
  const names = strokeNames(event);
  if (!names.length || claimed(names)) return;
  if (isTextField(event.target) && names.some((name) => isTyping(name))) return;
  const found = lookUp(names, '', ({ command, mine }) => mine || !command.global);
  if (!found || !('command' in found)) return;
  take(event);
  void runCommand(found.command.id);
}

/**
 * @param {KeyboardEvent} event
 * @param {string[]} names
 */
function finishChord(event, names) {
  const found = lookUp(names, begun, () => true);
  const strokes = `${begun} ${names[0]}`;
  take(event);
  endChord();
  if (found && 'command' in found) void runCommand(found.command.id);
  else if (names[0] !== 'escape') hint(`${shownKeys(strokes)} is not a command`, HINT_MS);
}

/** @param {string} chord */
function beginChord(chord) {
  begun = chord;
  hint(`${shownKeys(chord)} was pressed, waiting for the second key`, CHORD_MS);
}

function endChord() {
  begun = '';
  chordHint.value = '';
  clearTimeout(chordTimer);
}

/**
 * Says something in the status bar for a while; a chord that has begun ends with it.
 * @param {string} words
 * @param {number} ms
 */
function hint(words, ms) {
  chordHint.value = words;
  clearTimeout(chordTimer);
  chordTimer = setTimeout(endChord, ms);
}

/**
 * The names of an event, none for what belongs to an input method or types a character with AltGr.
 * @param {KeyboardEvent} event
 */
function strokeNames(event) {
  const composing = event.isComposing || event.keyCode === 229;
  if (composing || event.getModifierState('AltGraph')) return [];
  return keyNames(event);
}

/** Menus and dialogs have their own keys, and nothing behind them may act. */
const inOverlay = () => document.querySelector('[data-overlay]') !== null;

/** @param {EventTarget | null} target */
function isTextField(target) {
  if (!(target instanceof HTMLElement)) return false;
  return target.isContentEditable || target.matches('input, textarea, select');
}

/** @param {EventTarget | null} target */
const inTextEditor = (target) => target instanceof Element && target.closest('.monaco-editor') !== null;

/**
 * Text editors and terminals take keys with a field that nobody sees.
 * @param {EventTarget | null} target
 */
const hasOwnKeys = (target) =>
  inTextEditor(target) || (target instanceof Element && target.closest('.terminal-screen') !== null);

/** @param {KeyboardEvent} event */
function take(event) {
  event.preventDefault();
  event.stopPropagation();
}
