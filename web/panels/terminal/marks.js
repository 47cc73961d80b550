// The commands of one terminal: follows the marks of its shell, draws a dot beside each command and
// finds the text of command and output again.

import { CommandList, failed, neighbour, parseMark } from '../../stores/terminalmarks.js';
import { lineEnd, textOf } from './lines.js';

/**
 * @typedef {import('xterm').Terminal} Terminal
 * @typedef {import('../../stores/terminalmarks.js').ShellCommand} ShellCommand
 * @typedef {ReturnType<Terminal['registerMarker']>} Marker
 * @typedef {{marker: Marker, column: number}} Place
 */

/** The number of the escape sequence that carries the marks. */
const kMarkSequence = 633;

export class CommandMarks {
  /**
   * @param {Terminal} terminal
   * @param {(command: ShellCommand, event: MouseEvent) => void} pressed told of a click on a dot
   */
  constructor(terminal, pressed) {
    this.terminal = terminal;
    this.pressed = pressed;
    /** @type {Map<number, HTMLElement>} */
    this.dots = new Map();
    /** The command that was jumped to last. @type {ShellCommand | null} */
    this.current = null;
    this.list = new CommandList({
      here: () => this.#here(),
      read: (place) => this.#readLine(place),
      drop: (place) => place.marker.dispose(),
    });
    terminal.parser.registerOscHandler(kMarkSequence, (data) => this.#onMark(data));
  }

  /** @param {string} data what was typed */
  typed(data) {
    this.list.typed(data);
    this.#light(null);
  }

  /** @param {ShellCommand} command */
  output(command) {
    const buffer = this.terminal.buffer.normal;
    const from = lineEnd(buffer, command.input.marker.line) + 1;
    const { marker, column } = command.end;
    const to = column === 0 ? marker.line - 1 : marker.line;
    return to < from ? null : { from, to };
  }

  /** @param {ShellCommand} command */
  outputText(command) {
    const rows = this.output(command);
    return rows ? textOf(this.terminal.buffer.normal, rows.from, rows.to) : '';
  }

  /** @param {1 | -1} step @returns {ShellCommand | null} the command that is now in view */
  jump(step) {
    const { commands } = this.list;
    const { baseY, cursorY } = this.terminal.buffer.normal;
    const from = this.current?.prompt.marker.line ?? baseY + cursorY;
    const lines = commands.map(({ prompt }) => ({ line: prompt.marker.line }));
    const command = commands[neighbour(lines, from, step)] ?? null;
    if (command) this.reveal(command);
    else if (step > 0) {
      this.terminal.scrollToBottom();
      this.#light(null);
    }
    return command;
  }

  /** @param {ShellCommand} command */
  reveal(command) {
    this.terminal.scrollToLine(Math.max(0, command.prompt.marker.line - 1));
    this.#light(command);
  }

  /** @param {ShellCommand | null} command */
  #light(command) {
    if (this.current) this.dots.get(this.current.id)?.classList.remove('current');
    this.current = command;
    if (command) this.dots.get(command.id)?.classList.add('current');
  }

  /** @param {string} data */
  #onMark(data) {
    const mark = parseMark(data);
    // A program that draws the whole screen has no lines that stay.
    if (!mark || this.terminal.buffer.active.type === 'alternate') return true;
    const command = this.list.mark(mark);
    if (command) this.#added(command);
    return true;
  }

  /** @param {ShellCommand} command */
  #added(command) {
    const { marker } = command.input;
    marker.onDispose(() => {
      if (this.current === command) this.current = null;
      this.dots.delete(command.id);
      this.list.forget(command.id);
    });
    const decoration = this.terminal.registerDecoration({ marker, x: 0 });
    decoration?.onRender((dot) => this.#drawDot(command, dot));
  }

  /** @param {ShellCommand} command @param {HTMLElement} dot */
  #drawDot(command, dot) {
    if (this.dots.get(command.id) === dot) return;
    this.dots.set(command.id, dot);
    const kind = command.code === null ? 'unknown' : failed(command) ? 'failed' : 'done';
    dot.classList.add('terminal-mark', kind);
    dot.title = `${command.text}\n${codeWords(command)}`;
    dot.addEventListener('click', (event) => this.pressed(command, event));
  }

  /** @returns {Place} */
  #here() {
    return { marker: this.terminal.registerMarker(0), column: this.terminal.buffer.active.cursorX };
  }

  /** @param {Place} place */
  #readLine({ marker, column }) {
    const buffer = this.terminal.buffer.normal;
    if (marker.line < 0) return ''; // cleared from the screen meanwhile
    return textOf(buffer, marker.line, lineEnd(buffer, marker.line), column);
  }
}

/** @param {ShellCommand} command */
export const codeWords = ({ code }) => (code === null ? 'exit code unknown' : `exit code ${code}`);
