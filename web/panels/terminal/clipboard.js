// Copy and paste in terminals.

import { ask } from '../../shell/dialogs.js';
import { reportError } from '../../shell/toasts.js';
import { asOneLine, cleanPaste, lineCount, mustAsk, pastePreview } from '../../stores/terminalpaste.js';
import { frontScreen, screens } from './state.js';

export async function copySelection() {
  const text = frontScreen()?.terminal.getSelection() ?? '';
  if (text) await copyText(text);
}

/** @param {string} text */
export async function copyText(text) {
  try {
    await navigator.clipboard.writeText(text);
  } catch (error) {
    reportError('Could not copy', error);
  }
}

/** @param {string} key */
export async function pasteClipboard(key) {
  try {
    await pasteText(key, await navigator.clipboard.readText());
  } catch (error) {
    reportError('Could not paste', error);
  }
}

/**
 * Pastes into a terminal. Several lines for a shell that would run each as it comes are shown first.
 * @param {string} key @param {string} raw
 */
export async function pasteText(key, raw) {
  const screen = screens.get(key);
  const text = cleanPaste(raw);
  if (!screen || !text) return;
  const wanted = mustAsk(text, screen.terminal.modes.bracketedPasteMode) ? await askFirst(text) : text;
  if (wanted) screen.paste(wanted);
  screen.focus();
}

/** @param {string} text */
async function askFirst(text) {
  const answer = await ask({
    title: `Paste ${lineCount(text)} lines into the terminal?`,
    text: 'The program there may run each line as it comes.',
    detail: pastePreview(text),
    buttons: [
      { id: 'paste', label: 'Paste All Lines', kind: 'primary' },
      { id: 'one', label: 'Paste as One Line' },
      { id: 'cancel', label: 'Cancel' },
    ],
  });
  if (answer === 'one') return asOneLine(text);
  return answer === 'paste' ? text : '';
}
