// Whose a key is while a terminal has the focus: its program's, or the editor's.

import { lookUp, takenAway } from '../../shell/commands.js';
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
 * Whether the program gets a key. Commands of terminals go before it, while they can run, and so does what the
 * user bound to them or to a command that stays with the editor by its own keys. What stays with the editor is
 * the program's once the user took it from all commands.
 * @param {string[]} names
 */
export function wantedByShell(names) {
  if (!goesToShell(names)) return lookUp(names, '', () => true) === null && takenAway(names);
  return !lookUp(names, '', ({ command, mine }) => command.id.startsWith('terminal.') || (mine && staysHere(command)));
}

/** @param {import('../../shell/commands.js').Command} command */
const staysHere = ({ keys }) => keys?.some((key) => !key.includes(' ') && !goesToShell([key])) ?? false;
