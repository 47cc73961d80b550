// What can be done with the commands that shells ran: jump, select, copy, run again, pick one of all.

import { pick } from '../../shell/quickpick.js';
import { toast } from '../../shell/toasts.js';
import { failed } from '../../stores/terminalmarks.js';
import { frontTerminal, showTerminal, terminalByKey, terminals } from '../../stores/terminals.js';
import { copyText } from './clipboard.js';
import { codeWords } from './marks.js';
import { announcement, focusTerminal, frontScreen, screens } from './state.js';

/** @typedef {import('../../stores/terminalmarks.js').ShellCommand} ShellCommand */

export const hasCommands = () => (frontScreen()?.marks.list.commands.length ?? 0) > 0;

/** @param {1 | -1} step */
export function jump(step) {
  const command = frontScreen()?.marks.jump(step);
  if (command) announcement.value = `${command.text}, ${codeWords(command)}`;
}

/** The command that was jumped to, else the last one. */
function chosenCommand() {
  const marks = frontScreen()?.marks;
  return marks?.current ?? marks?.list.commands.at(-1);
}

/** @param {string} [key] @param {ShellCommand} [command] */
export function selectOutput(key = frontTerminal.value?.key ?? '', command = chosenCommand()) {
  const screen = screens.get(key);
  const rows = command && screen?.marks.output(command);
  if (!screen || !rows) return;
  screen.terminal.selectLines(rows.from, rows.to);
  screen.focus();
}

export async function copyOutput() {
  const command = chosenCommand();
  const text = command ? frontScreen()?.marks.outputText(command) : '';
  if (text) await copyText(text);
}

/**
 * Runs a command once more, if the shell waits for one.
 * @param {string} [key] @param {ShellCommand} [command]
 */
export function rerun(key = frontTerminal.value?.key ?? '', command = chosenCommand()) {
  const screen = screens.get(key);
  if (!screen || !command) return;
  if (terminalByKey(key)?.state !== 'running' || !screen.marks.list.waiting) {
    toast({ kind: 'warning', text: `Not run again, since the terminal is busy: ${command.text}` });
    return;
  }
  showTerminal(key);
  screen.runLine(command.text);
  screen.terminal.scrollToBottom();
  focusTerminal();
}

/** One of the commands of all terminals, the newest first. @param {boolean} onlyFailed */
export async function pickCommand(onlyFailed) {
  const all = terminals.value
    .flatMap(({ key, title }) => (screens.get(key)?.marks.list.commands ?? []).map((command) => ({ key, title, command })))
    .filter(({ command }) => !onlyFailed || failed(command))
    .sort((a, b) => b.command.time - a.command.time);
  const chosen = await pick({
    title: onlyFailed ? 'Failed commands' : 'Commands of all terminals',
    placeholder: 'Choose a command to go to',
    empty: onlyFailed ? 'No command failed' : 'No command was run yet, or the shells tell of none',
    items: all.map(({ key, title, command }) => ({
      id: `${key} ${command.id}`,
      label: command.text,
      description: `${title} · ${codeWords(command)} · ${new Date(command.time).toLocaleTimeString([], { hour12: false })}`,
      icon: failed(command) ? 'error' : 'terminal',
    })),
  });
  const found = all.find(({ key, command }) => `${key} ${command.id}` === chosen?.id);
  if (!found) return;
  showTerminal(found.key);
  screens.get(found.key)?.marks.reveal(found.command);
  focusTerminal();
}
