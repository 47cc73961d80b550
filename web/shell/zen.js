// Zen mode: nothing around the text. Escape pressed twice leaves it, wherever nobody else has a use for that key.

import { signal } from '@preact/signals';
import { get, set } from '../stores/uistate.js';
import { registerCommand } from './commands.js';
import { setZen, zen } from './layout.js';
import { toast } from './toasts.js';

/** Between the two presses that leave. */
export const kTwiceMs = 1000;

/** Whether tabs stay in zen mode. */
export const zenTabs = signal(false);
/** Whether the text is a column in the middle. */
export const zenCentred = signal(true);

const kChoices = [
  { id: 'zen.tabs', title: 'Tabs in Zen Mode', choice: zenTabs },
  { id: 'zen.centred', title: 'Centred Text in Zen Mode', choice: zenCentred },
];

/** The classes of the page that the style sheet goes by. */
export const zenClasses = () =>
  zen.value ? `zen ${zenTabs.value ? '' : 'zen-bare'} ${zenCentred.value ? 'zen-centred' : ''}` : '';

/** @type {() => void} */
let dismissHint = () => {};

function toggle() {
  setZen(!zen.value);
  dismissHint();
  if (zen.value) dismissHint = toast({ kind: 'info', text: 'Zen mode. Press Escape twice to leave it.' });
}

/** @param {Document} document */
export function startZen(document) {
  for (const { id, title, choice } of kChoices) {
    choice.value = get(id, /** @type {unknown} */ (choice.value)) === true;
    const run = () => {
      choice.value = !choice.value;
      set(id, choice.value);
    };
    registerCommand({ id, title, category: 'View', checked: () => choice.value, run });
  }
  registerCommand({
    id: 'layout.zen',
    title: 'Toggle Zen Mode',
    category: 'View',
    keys: ['ctrl+k z'],
    checked: () => zen.value,
    run: toggle,
  });
  leaveByEscape(document);
}

/** @param {Document} document */
function leaveByEscape(document) {
  let last = -Infinity;
  document.addEventListener('keydown', (event) => {
    const { key, timeStamp, target } = event;
    if (key !== 'Escape' || !zen.value || !isFree(event)) {
      last = -Infinity;
      return;
    }
    // Programs in a terminal have their own use for two of them.
    if (target instanceof Element && target.closest('.xterm')) return;
    if (timeStamp - last > kTwiceMs) {
      last = timeStamp;
      return;
    }
    event.preventDefault();
    toggle();
  });
}

/** Whether nobody has taken a key, on its way up to here. @param {KeyboardEvent} event */
function isFree({ target, defaultPrevented, isComposing, repeat, ctrlKey, altKey, metaKey, shiftKey }) {
  if (isComposing || repeat || ctrlKey || altKey || metaKey || shiftKey) return false;
  // The text editor prevents the default of each Escape; one that it has a use for does not get here at all.
  const inText = target instanceof Element && target.closest('.monaco-editor') !== null;
  if (defaultPrevented && !inText) return false;
  return document.querySelector('[data-overlay]') === null;
}
