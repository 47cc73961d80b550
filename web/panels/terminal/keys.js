// Whose a key is while a terminal has the focus: its program's, or the editor's.

import { commands, enabled } from '../../shell/commands.js';
import { keyNames } from '../../shell/keynames.js';
import { goesToShell } from '../../stores/terminalkeys.js';

/** Whether the keys go to a terminal's program. */
export const inTerminal = () => document.activeElement?.closest('.terminal-screen') instanceof Element;

/** @param {KeyboardEvent} event */
export function keptByEditor(event) {
  const names = keyNames(event);
  return names.length > 0 && !wantedByShell(names);
}

/**
 * Whether the program gets a key. Commands of terminals go before it, while they can run.
 * @param {string[]} names
 */
export function wantedByShell(names) {
  if (!goesToShell(names)) return false;
  return !commands.value.some(
    (command) =>
      command.id.startsWith('terminal.') &&
      command.keys?.some((key) => names.includes(key)) &&
      (command.keysWhen?.() ?? true) &&
      enabled(command),
  );
}
