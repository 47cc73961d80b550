// The menus of terminals: of a pane, of a tab and of the dot beside a command.

import { showMenu } from '../../shell/menus.js';
import { showTerminal } from '../../stores/terminals.js';
import { copyText } from './clipboard.js';
import { rerun, selectOutput } from './commandlist.js';
import { screens } from './state.js';

/**
 * @typedef {import('../../shell/menus.js').MenuItem} MenuItem
 * @typedef {{x: number, y: number}} Spot
 */

/** @type {MenuItem} */
const kLine = { kind: 'separator' };

/** @param {string} key @param {Spot} spot */
export function paneMenu(key, { x, y }) {
  showTerminal(key);
  const ids = ['copy', 'paste', 'selectAll', '', 'find', 'openLink', '', 'split', 'rename', 'clear', 'kill'];
  void showMenu({ x, y, label: 'Terminal', items: ids.map((id) => (id ? { command: `terminal.${id}` } : kLine)) });
}

/** @param {string} key @param {Spot} spot */
export function tabMenu(key, { x, y }) {
  showTerminal(key);
  const ids = ['rename', 'split', 'restart', '', 'kill'];
  void showMenu({ x, y, label: 'Terminal tab', items: ids.map((id) => (id ? { command: `terminal.${id}` } : kLine)) });
}

/**
 * @param {string} key
 * @param {import('../../stores/terminalmarks.js').ShellCommand} command
 * @param {Spot} spot
 */
export function commandMenu(key, command, { x, y }) {
  const marks = screens.get(key)?.marks;
  if (!marks) return;
  const hasOutput = marks.output(command) !== null;
  void showMenu({
    x,
    y,
    label: command.text,
    items: [
      { label: 'Run Again', run: () => rerun(key, command) },
      { label: 'Copy Command', run: () => copyText(command.text) },
      kLine,
      { label: 'Copy Output', enabled: hasOutput, run: () => copyText(marks.outputText(command)) },
      { label: 'Select Output', enabled: hasOutput, run: () => selectOutput(key, command) },
    ],
  });
}
