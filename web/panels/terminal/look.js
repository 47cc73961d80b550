// How terminals look: colours and font of the page's own tokens, as a terminal wants them.

import { effect, signal } from '@preact/signals';
import { onTheme, theme } from '../../look/theme.js';
import { zoom } from '../../look/zoom.js';
import { get, set } from '../../stores/uistate.js';

const kReaderKey = 'terminal.screenReader';
/** In px at the size as designed. */
const kFontSize = 13;

const kColors = ['black', 'red', 'green', 'yellow', 'blue', 'magenta', 'cyan', 'white'];

/** Whether terminals keep their text where screen readers find it, which costs speed. */
export const screenReader = signal(false);

export function loadTerminalLook() {
  screenReader.value = get(kReaderKey, /** @type {unknown} */ (false)) === true;
}

export function toggleScreenReader() {
  screenReader.value = !screenReader.value;
  set(kReaderKey, screenReader.value);
}

/** @param {string} name */
const token = (name) => getComputedStyle(document.documentElement).getPropertyValue(name).trim();

/** @returns {NonNullable<import('xterm').Terminal['options']['theme']>} */
function colors() {
  const ansi = kColors.flatMap((name) => [
    [name, token(`--ansi-${name}`)],
    [`bright${name[0].toUpperCase()}${name.slice(1)}`, token(`--ansi-bright-${name}`)],
  ]);
  return {
    ...Object.fromEntries(ansi),
    background: token('--side'),
    foreground: token('--text'),
    cursor: token('--cursor'),
    cursorAccent: token('--side'),
    selectionBackground: token('--selection'),
    selectionInactiveBackground: token('--selection-quiet'),
    scrollbarSliderBackground: token('--guide-active'),
    scrollbarSliderHoverBackground: token('--line-strong'),
    scrollbarSliderActiveBackground: token('--line-strong'),
  };
}

/** What depends on theme, zoom and wishes, as options of a terminal. */
export function lookOptions() {
  return {
    theme: colors(),
    fontFamily: token('--font-code'),
    fontSize: kFontSize * zoom.value,
    minimumContrastRatio: theme.value.includes('contrast') ? 7 : 4.5,
    screenReaderMode: screenReader.value,
  };
}

/** The colours of what a search finds. */
export function findColors() {
  return {
    matchBackground: token('--find-other'),
    matchOverviewRuler: token('--find-other'),
    activeMatchBackground: token('--find-match'),
    activeMatchColorOverviewRuler: token('--find-match'),
  };
}

/** Calls `fn` now and after each change of the look. @param {() => void} fn */
export function onLook(fn) {
  const stopTheme = onTheme(fn);
  const stopRest = effect(() => {
    void [zoom.value, screenReader.value];
    fn();
  });
  return () => {
    stopTheme();
    stopRest();
  };
}
