// What people do with terminals: open, split, close, rename, start again, find a link.

import { frontTab, isUntitled } from '../../editor/state.js';
import { ask, prompt } from '../../shell/dialogs.js';
import { rescueFocus } from '../../shell/focus.js';
import { activePanel, showPanel, togglePlace, visible } from '../../shell/layout.js';
import { pick } from '../../shell/quickpick.js';
import { reportError, toast } from '../../shell/toasts.js';
import { baseName, isRoot, parentOf } from '../../stores/paths.js';
import { groupBeside, paneBeside } from '../../stores/terminallayout.js';
import {
  closeTerminal,
  createTerminal,
  frontTerminal,
  renameTerminal,
  showTerminal,
  startTerminal,
  terminalByKey,
  terminalLayout,
  terminals,
} from '../../stores/terminals.js';
import { targets } from '../explorer/state.js';
import { linksInView } from './links.js';
import { makeScreen } from './make.js';
import { announcement, dropScreen, focusTerminal, frontScreen, keepNow, labelOf, loadScreens, screens } from './state.js';

/** @typedef {import('../../stores/terminals.js').TerminalKind} TerminalKind */

/**
 * @param {object} [options]
 * @param {TerminalKind} [options.kind]
 * @param {string} [options.cwd] workspace path
 * @param {string} [options.beside] key of the terminal to split
 */
export async function openTerminal({ kind = 'shell', cwd, beside } = {}) {
  showPanel('terminal');
  const library = await loadScreens();
  try {
    await createTerminal({ kind, cwd, beside, title: freshTitle(kind, cwd), screen: (key) => makeScreen(library, key) });
  } catch (error) {
    reportError('Could not open a terminal', error);
  }
  // A screen whose terminal could not be started has no tab any more.
  for (const key of [...screens.keys()]) if (!terminalByKey(key)) dropScreen(key);
  keepNow();
  focusTerminal();
}

/** A name that no other terminal has. @param {TerminalKind} kind @param {string} [cwd] */
function freshTitle(kind, cwd) {
  const name = kind === 'claude' ? 'Claude' : cwd ? baseName(cwd) : 'Shell';
  const taken = new Set(terminals.value.map(({ title }) => title));
  for (let number = 1; ; number++) {
    const title = number === 1 ? name : `${name} ${number}`;
    if (!taken.has(title)) return title;
  }
}

/** The terminal in the folder of what the explorer has in focus. */
export function openBesideEntry() {
  const row = targets.value[0];
  if (row) return openTerminal({ cwd: row.directory || isRoot(row.path) ? row.path : parentOf(row.path) });
}

export const hasFrontFile = () => frontTab.value !== null && !isUntitled(frontTab.value.id);

export function openBesideFile() {
  return openTerminal({ cwd: parentOf(frontTab.value?.id ?? '') });
}

/** Shows the panel with the keys in it, or puts it away when they are there already. */
export async function toggleTerminal() {
  const shown = visible.value.bottom && activePanel('bottom')?.id === 'terminal';
  if (shown && document.activeElement?.closest('.terminals')) return togglePlace('bottom');
  showPanel('terminal');
  if (terminals.value.length) focusTerminal();
  else await openTerminal();
}

/** Ends a terminal and closes its tab. @param {string} [key] */
export async function killTerminal(key = frontTerminal.value?.key ?? '') {
  const info = terminalByKey(key);
  if (!info || !(await mayKill(key))) return;
  const hadKeys = screens.get(key)?.element.contains(document.activeElement) === true;
  closeTerminal(key);
  dropScreen(key);
  keepNow();
  announcement.value = `${info.title} closed`;
  if (!hadKeys) return;
  if (terminals.value.length) focusTerminal();
  else requestAnimationFrame(rescueFocus);
}

/** A program that runs in a shell ends with it. @param {string} key */
async function mayKill(key) {
  const info = terminalByKey(key);
  const list = screens.get(key)?.marks.list;
  const busy = info?.state === 'running' && (info.kind === 'claude' || list?.entered === true);
  if (!busy) return true;
  const answer = await ask({
    title: `Close ${info.title}?`,
    text: 'What runs in it is ended.',
    buttons: [
      { id: 'close', label: 'End and Close', kind: 'danger' },
      { id: 'cancel', label: 'Cancel' },
    ],
  });
  return answer === 'close';
}

export async function renameFront() {
  const info = frontTerminal.value;
  if (!info) return;
  const title = await prompt({
    title: 'Rename the terminal',
    label: 'Name',
    value: info.title,
    validate: (value) => (value.trim() ? '' : 'A name is needed.'),
    button: 'Rename',
  });
  if (title === null) return;
  renameTerminal(info.key, title.trim());
  screens.get(info.key)?.setLabel(labelOf(info.key));
  keepNow();
}

/** Starts anew what has exited, in the same tab, below what it wrote. @param {string} [key] */
export async function restartTerminal(key = frontTerminal.value?.key ?? '') {
  const screen = screens.get(key);
  if (terminalByKey(key)?.state !== 'exited' || !screen) return;
  screen.data('\x1b[!p\x1b[?1049l\x1b[0m\r\n'); // whatever mode the last one left behind
  try {
    await startTerminal(key, screen);
  } catch (error) {
    reportError('Could not start the terminal again', error);
  }
  keepNow();
  focusTerminal();
}

/** @param {1 | -1} step */
export function nextPane(step) {
  showTerminal(paneBeside(terminalLayout.value, step));
  focusTerminal();
}

/** @param {1 | -1} step */
export function nextGroup(step) {
  showTerminal(groupBeside(terminalLayout.value, step));
  focusTerminal();
}

/** Links by keyboard: a choice of those that are to be seen. */
export async function openLink() {
  const screen = frontScreen();
  if (!screen) return;
  const links = await linksInView(screen.terminal, frontTerminal.value?.cwd ?? '');
  if (!links.length) {
    toast({ kind: 'info', text: 'The terminal shows no link' });
    return;
  }
  const items = links.map(({ label }, i) => ({ id: String(i), label, icon: 'link' }));
  const chosen = await pick({ title: 'Links in the terminal', placeholder: 'Choose a link to open', items });
  if (chosen) await links[Number(chosen.id)].open();
}
