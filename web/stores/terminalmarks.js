// The commands of a shell, from the marks that its prompt carries: A where the prompt begins, B where it
// ends, D with the exit code of the command before. Where something is in the terminal is an opaque
// place that the caller makes and reads, so that nothing here knows how a terminal keeps its lines.

/** Older commands of one terminal are forgotten. */
export const KEPT_COMMANDS = 500;

/**
 * @typedef {{kind: 'prompt'} | {kind: 'input'} | {kind: 'run'} | {kind: 'done', code: number | null}} Mark
 *
 * @typedef {object} ShellCommand
 * @property {number} id
 * @property {string} text
 * @property {number | null} code null when the shell told none
 * @property {any} prompt the place where its prompt begins
 * @property {any} input the place where its text begins
 * @property {any} end the place where its output ends
 * @property {number} time when it ended, in milliseconds since the epoch
 */

/**
 * Reads the text of an OSC 633 sequence.
 * @param {string} data
 * @returns {Mark | null} null for what is none of the marks
 */
export function parseMark(data) {
  const [kind, ...rest] = data.split(';');
  if (kind === 'A') return { kind: 'prompt' };
  if (kind === 'B') return { kind: 'input' };
  if (kind === 'C') return { kind: 'run' };
  if (kind !== 'D') return null;
  const code = /^-?\d{1,9}$/.test(rest[0] ?? '') ? Number(rest[0]) : null;
  return { kind: 'done', code };
}

/** Whether what was typed can make a shell run its line: Enter, Ctrl+J, Ctrl+O. @param {string} data */
export const runsLine = (data) => /[\r\n\x0f]/.test(data);

export class CommandList {
  /**
   * @param {object} place
   * @param {() => any} place.here the place where the terminal is now
   * @param {(input: any) => string} place.read the command line that begins at a place
   * @param {(place: any) => void} [place.drop] told of each place that is no longer needed
   * @param {() => number} [place.now]
   */
  constructor({ here, read, drop = () => {}, now = Date.now }) {
    this.place = { here, read, drop, now };
    /** @type {ShellCommand[]} */
    this.commands = [];
    /** @type {any} */
    this.prompt = null;
    /** @type {any} */
    this.input = null;
    this.entered = false;
    this.lastId = 0;
  }

  /** Whether the shell waits at its prompt for a command. */
  get waiting() {
    return this.input !== null && !this.entered;
  }

  /** @param {string} data what was typed */
  typed(data) {
    if (this.input !== null && runsLine(data)) this.entered = true;
  }

  /**
   * @param {Mark} mark
   * @returns {ShellCommand | null} the command that it ended, if there was one
   */
  mark(mark) {
    const { here, drop } = this.place;
    if (mark.kind === 'done') return this.#done(mark.code);
    if (mark.kind === 'prompt') {
      // A prompt that is drawn again, as after a change of size, is still the same prompt.
      if (this.prompt) drop(this.prompt);
      this.prompt = here();
    } else if (mark.kind === 'input') {
      if (this.input) drop(this.input);
      this.input = here();
      this.entered = false;
    } else {
      this.entered = this.input !== null;
    }
    return null;
  }

  /** @param {number | null} code */
  #done(code) {
    const { here, read, drop, now } = this.place;
    const { prompt, input, entered } = this;
    if (!entered || !input) return null; // the first prompt, one drawn again, or a line given up by Ctrl+C
    const text = read(input).trim();
    this.prompt = null;
    this.input = null;
    this.entered = false;
    if (!text) {
      for (const place of [prompt, input]) if (place) drop(place);
      return null;
    }
    const command = { id: ++this.lastId, text, code, prompt: prompt ?? input, input, end: here(), time: now() };
    this.commands.push(command);
    if (this.commands.length > KEPT_COMMANDS) this.forget(this.commands[0].id);
    return command;
  }

  /** @param {number} id */
  forget(id) {
    const at = this.commands.findIndex((one) => one.id === id);
    if (at < 0) return;
    const [{ prompt, input, end }] = this.commands.splice(at, 1);
    for (const place of new Set([prompt, input, end])) this.place.drop(place);
  }
}

/** @param {ShellCommand} command */
export const failed = ({ code }) => code !== null && code !== 0;

/**
 * The command before or after a line, for jumping.
 * @param {{line: number}[]} commands in the order of their lines; a line of -1 is gone
 * @param {number} line
 * @param {1 | -1} step
 * @returns {number} the index, or -1
 */
export function neighbour(commands, line, step) {
  if (step > 0) return commands.findIndex((one) => one.line > line);
  return commands.findLastIndex((one) => one.line >= 0 && one.line < line);
}
