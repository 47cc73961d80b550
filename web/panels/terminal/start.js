// Registers the terminals: their panel, their commands and keys, and what they listen to.

import { effect } from '@preact/signals';
import { onReconnect } from '../../bridge/events.js';
import { registerCommand } from '../../shell/commands.js';
import { claimKeys } from '../../shell/keys.js';
import { registerPanel } from '../../shell/layout.js';
import { reportError } from '../../shell/toasts.js';
import { groupIn } from '../../stores/terminallayout.js';
import {
  checkAlive,
  frontTerminal,
  listenToTerminals,
  setInputErrorHandler,
  terminalByKey,
  terminalLayout,
  terminals,
} from '../../stores/terminals.js';
import { targets } from '../explorer/state.js';
import {
  hasFrontFile,
  killTerminal,
  nextGroup,
  nextPane,
  openBesideEntry,
  openBesideFile,
  openLink,
  openTerminal,
  renameFront,
  restartTerminal,
  toggleTerminal,
} from './actions.js';
import { copySelection, pasteClipboard } from './clipboard.js';
import { copyOutput, hasCommands, jump, pickCommand, rerun, selectOutput } from './commandlist.js';
import { openFind } from './find.js';
import { loadTerminalLook, screenReader, toggleScreenReader } from './look.js';
import { TerminalActions, TerminalPanel } from './panel.js';
import { inTerminal, wantedByShell } from './keys.js';
import { restoreScreens } from './make.js';
import { finding, frontScreen, keepNow } from './state.js';

/** @typedef {Parameters<typeof registerCommand>[0]} Command */

const hasFront = () => frontTerminal.value !== undefined;
const isRunning = () => frontTerminal.value?.state === 'running';
const hasSelection = () => frontScreen()?.terminal.hasSelection() === true;
const inPanel = () => document.activeElement?.closest('.terminals') instanceof Element;
/** A program that draws the whole screen has no commands to jump among, and wants the keys itself. */
const atShell = () => inTerminal() && hasCommands() && frontScreen()?.terminal.buffer.active.type === 'normal';

const inSplit = () => inPanel() && (groupIn(terminalLayout.value)?.panes.length ?? 0) > 1;

/** @type {Command[]} */
const kCommands = [
  { id: 'terminal.toggle', title: 'Toggle Terminal', keys: ['ctrl+`'], run: toggleTerminal },
  { id: 'terminal.new', title: 'New Terminal', keys: ['ctrl+shift+`'], run: () => openTerminal() },
  { id: 'terminal.newClaude', title: 'New Claude Terminal', run: () => openTerminal({ kind: 'claude' }) },
  { id: 'terminal.newBesideFile', title: 'New Terminal beside the Open File', when: hasFrontFile, run: openBesideFile },
  { id: 'terminal.split', title: 'Split Terminal', keys: ['ctrl+shift+5'], when: hasFront, run: () => openTerminal({ beside: frontTerminal.value?.key }), keysWhen: inPanel },
  { id: 'terminal.kill', title: 'Close Terminal', when: hasFront, run: () => killTerminal() },
  { id: 'terminal.rename', title: 'Rename Terminal…', when: hasFront, run: renameFront },
  { id: 'terminal.restart', title: 'Start Terminal Again', when: () => frontTerminal.value?.state === 'exited', run: () => restartTerminal() },
  { id: 'terminal.clear', title: 'Clear Terminal', when: hasFront, run: () => frontScreen()?.clear() },
  { id: 'terminal.next', title: 'Next Terminal', keys: ['ctrl+pagedown'], keysWhen: inPanel, when: hasFront, run: () => nextGroup(1) },
  { id: 'terminal.previous', title: 'Previous Terminal', keys: ['ctrl+pageup'], keysWhen: inPanel, when: hasFront, run: () => nextGroup(-1) },
  { id: 'terminal.nextPane', title: 'Next Terminal Pane', keys: ['alt+right'], keysWhen: inSplit, when: hasFront, run: () => nextPane(1) },
  { id: 'terminal.previousPane', title: 'Previous Terminal Pane', keys: ['alt+left'], keysWhen: inSplit, when: hasFront, run: () => nextPane(-1) },
  { id: 'terminal.copy', title: 'Copy', keys: ['ctrl+shift+c', 'ctrl+insert'], keysWhen: inTerminal, when: hasSelection, run: copySelection },
  { id: 'terminal.paste', title: 'Paste', keys: ['ctrl+shift+v', 'shift+insert'], keysWhen: inTerminal, when: isRunning, run: () => pasteClipboard(frontTerminal.value?.key ?? '') },
  { id: 'terminal.selectAll', title: 'Select All', keys: ['ctrl+shift+a'], keysWhen: inTerminal, when: hasFront, run: () => frontScreen()?.terminal.selectAll() },
  { id: 'terminal.find', title: 'Find in Terminal', keys: ['ctrl+shift+f'], keysWhen: inPanel, when: hasFront, run: openFind },
  { id: 'terminal.openLink', title: 'Open Link…', keys: ['ctrl+shift+o'], keysWhen: inTerminal, when: hasFront, run: openLink },
  { id: 'terminal.scrollUp', title: 'Scroll Up a Page', keys: ['shift+pageup'], keysWhen: inTerminal, when: hasFront, palette: false, run: () => frontScreen()?.terminal.scrollPages(-1) },
  { id: 'terminal.scrollDown', title: 'Scroll Down a Page', keys: ['shift+pagedown'], keysWhen: inTerminal, when: hasFront, palette: false, run: () => frontScreen()?.terminal.scrollPages(1) },
  { id: 'terminal.previousCommand', title: 'Go to Previous Command', keys: ['ctrl+up'], keysWhen: atShell, when: hasCommands, run: () => jump(-1) },
  { id: 'terminal.nextCommand', title: 'Go to Next Command', keys: ['ctrl+down'], keysWhen: atShell, when: hasCommands, run: () => jump(1) },
  { id: 'terminal.selectOutput', title: 'Select Output of the Command', when: hasCommands, run: () => selectOutput() },
  { id: 'terminal.copyOutput', title: 'Copy Output of the Command', when: hasCommands, run: copyOutput },
  { id: 'terminal.rerun', title: 'Run the Command Again', when: hasCommands, run: () => rerun() },
  { id: 'terminal.commands', title: 'Go to Command of Any Terminal…', when: hasFront, run: () => void pickCommand(false) },
  { id: 'terminal.failedCommands', title: 'Go to Failed Command…', when: hasFront, run: () => void pickCommand(true) },
  { id: 'terminal.screenReader', title: 'Screen Reader Mode', checked: () => screenReader.value, run: toggleScreenReader },
];

export function startTerminals() {
  loadTerminalLook();
  registerPanel({
    id: 'terminal',
    title: 'Terminal',
    icon: 'terminal',
    place: 'bottom',
    order: 10,
    component: TerminalPanel,
    actions: TerminalActions,
  });
  // Global: a terminal that has the focus would take the keys for its program.
  for (const command of kCommands) {
    const place = command.keysWhen && 'terminal';
    registerCommand({ ...command, category: 'Terminal', global: true, place });
  }
  registerCommand({
    id: 'explorer.openTerminal',
    title: 'Open in Terminal',
    category: 'Explorer',
    when: () => targets.value.length > 0,
    run: openBesideEntry,
  });
  claimKeys((names) => inTerminal() && wantedByShell(names));
  listenToTerminals();
  setInputErrorHandler((key, error) => reportError(`Could not reach ${terminalByKey(key)?.title ?? 'the terminal'}`, error));
  onReconnect(() => Promise.all(terminals.value.filter(({ state }) => state === 'running').map(checkAlive)));
  restoreScreens().catch((error) => reportError('Could not take up the terminals again', error));
  window.addEventListener('pagehide', keepNow);
  effect(() => {
    if (!terminals.value.length) finding.value = false;
  });
}
