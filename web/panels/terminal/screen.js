// One terminal on the screen: the only module that names the terminal library. It lives as long as its
// tab; the panel puts its element where it is to be seen and takes it away again.

import { FitAddon, SearchAddon, SerializeAddon, Terminal, UnicodeGraphemesAddon, WebLinksAddon } from 'xterm';
import { Backlog } from '../../stores/terminaloutput.js';
import { guardComposition } from './composition.js';
import { keptByEditor } from './keys.js';
import { openUri, provideFileLinks } from './links.js';
import { lookOptions, onLook } from './look.js';
import { CommandMarks } from './marks.js';

/** Lines that are kept above the screen. */
const kScrollback = 5000;
/** A drag of the panel's edge tells the program once, at its end. */
const kResizeMs = 80;

/**
 * @typedef {object} ScreenHooks
 * @property {(data: string) => void} typed
 * @property {(cols: number, rows: number) => void} resized
 * @property {(code: number) => void} exited
 * @property {(text: string) => void} pasted
 * @property {(event: MouseEvent) => void} menu
 * @property {() => void} focused
 * @property {() => void} changed something was written
 * @property {() => string} cwd
 * @property {(command: import('../../stores/terminalmarks.js').ShellCommand, event: MouseEvent) => void} commandMenu
 */

export class TerminalScreen {
  /**
   * @param {string} key
   * @param {string} label its name for screen readers
   * @param {ScreenHooks} hooks
   */
  constructor(key, label, hooks) {
    this.hooks = hooks;
    this.element = document.createElement('div');
    this.element.className = 'terminal-screen';
    this.element.dataset.terminal = key;
    this.label = label;
    this.terminal = new Terminal({
      ...lookOptions(),
      scrollback: kScrollback,
      allowProposedApi: true, // the widths of characters made of several code points
      cursorBlink: false,
      linkHandler: { activate: openUri },
    });
    this.fitter = new FitAddon();
    this.search = new SearchAddon();
    this.serializer = new SerializeAddon();
    for (const addon of [this.fitter, this.search, this.serializer, new UnicodeGraphemesAddon(), new WebLinksAddon(openUri)]) {
      this.terminal.loadAddon(addon);
    }
    this.marks = new CommandMarks(this.terminal, hooks.commandMenu);
    this.backlog = new Backlog();
    this.drawing = false;
    this.opened = new Promise((resolve) => (this.tellOpened = resolve));
    this.observer = new ResizeObserver(() => this.fit());
    this.terminal.attachCustomKeyEventHandler((event) => !keptByEditor(event));
    this.terminal.onData((data) => {
      this.marks.typed(data);
      hooks.typed(data);
    });
    this.terminal.onResize(() => this.#tellSize());
    this.stopLook = onLook(() => this.#applyLook());
  }

  /** Puts the terminal into view, for the first time or again. @param {HTMLElement} parent */
  mount(parent) {
    parent.append(this.element);
    if (!this.terminal.element) this.#open();
    this.observer.observe(this.element);
    this.fit();
    this.tellOpened?.(undefined);
  }

  unmount() {
    this.observer.unobserve(this.element);
    this.element.remove();
  }

  dispose() {
    this.unmount();
    this.observer.disconnect();
    clearTimeout(this.sizeTimer);
    this.stopLook();
    this.terminal.dispose();
  }

  /** @param {string} data */
  data(data) {
    this.backlog.push(data);
    if (!this.drawing) this.#draw();
  }

  /** @param {number} code */
  exit(code) {
    this.hooks.exited(code);
  }

  /** Its size, once it is to be seen. */
  async size() {
    await this.opened;
    return { cols: this.terminal.cols, rows: this.terminal.rows };
  }

  fit() {
    if (this.element.offsetParent) this.fitter.fit();
  }

  focus() {
    this.terminal.focus();
  }

  /** @param {string} text the way the program asked for */
  paste(text) {
    this.terminal.paste(text);
  }

  /** Types a line at the prompt, in the place of what is there, and runs it. @param {string} line */
  runLine(line) {
    this.terminal.input(`\x05\x15${line}\r`); // to the end of the line, and away with it
  }

  clear() {
    this.terminal.clear();
    // The marks went with the lines; the shell draws its prompt again, and with it sets new ones.
    if (this.marks.list.waiting) this.terminal.input('\x0c');
  }

  /** What is drawn, with its size, for after a reload. @param {number} rows kept above the screen */
  serialize(rows) {
    const { cols, rows: height } = this.terminal;
    return `${cols}x${height}\n${this.serializer.serialize({ scrollback: rows })}`;
  }

  /** @param {string} kept from `serialize` */
  restore(kept) {
    const head = /^(\d{1,4})x(\d{1,4})\n/.exec(kept);
    if (!head) return;
    this.terminal.resize(Math.max(2, Number(head[1])), Math.max(2, Number(head[2])));
    this.terminal.write(kept.slice(head[0].length));
  }

  /** @param {string} label */
  setLabel(label) {
    this.label = label;
    this.terminal.textarea?.setAttribute('aria-label', label);
  }

  #open() {
    this.terminal.open(this.element);
    this.setLabel(this.label);
    guardComposition(this.element, this.terminal);
    provideFileLinks(this.terminal, this.hooks.cwd);
    this.terminal.textarea?.addEventListener('focus', () => this.hooks.focused());
    this.terminal.textarea?.setAttribute('data-focus', ''); // where F6 goes
    const capture = { capture: true };
    this.element.addEventListener('paste', (event) => this.#onPaste(event), capture);
    this.element.addEventListener('contextmenu', (event) => this.#onMenu(event), capture);
  }

  /** @param {ClipboardEvent} event */
  #onPaste(event) {
    event.preventDefault();
    event.stopPropagation();
    this.hooks.pasted(event.clipboardData?.getData('text/plain') ?? '');
  }

  /** @param {MouseEvent} event */
  #onMenu(event) {
    event.preventDefault();
    event.stopPropagation();
    this.hooks.menu(event);
  }

  #draw() {
    const { text, skipped } = this.backlog.take();
    this.drawing = text !== '';
    if (!text) return;
    const note = skipped ? `\x1b[0m\r\n[${skipped} characters were written too fast to be shown]\r\n` : '';
    this.terminal.write(note + text, () => {
      this.hooks.changed();
      this.#draw();
    });
  }

  #tellSize() {
    clearTimeout(this.sizeTimer);
    this.sizeTimer = setTimeout(() => this.hooks.resized(this.terminal.cols, this.terminal.rows), kResizeMs);
  }

  #applyLook() {
    Object.assign(this.terminal.options, lookOptions());
    this.fit();
  }
}
