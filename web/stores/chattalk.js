// A conversation as signals: takes the CLI's lines, keeps what is known in one value, and tells the views what
// changed. Settled things are told at once, the growing end once a frame. The chat is one such conversation,
// each background task another.

import { batch, computed, signal } from '@preact/signals';
import { TRANSCRIPT_CHARS } from './chathistory.js';
import { afterLine, emptyTalk } from './chatstream.js';
import { clipped } from './chatwire.js';
import { note } from './log.js';

/** Characters of standard error, and raw lines, that the drawer shows. */
export const STDERR_CHARS = 65536;
export const RAW_LINES = 300;
export const RAW_LINE_CHARS = 20000;

/**
 * @typedef {import('./chatstream.js').Talk} Talk
 * @typedef {import('./chatkeep.js').LineKeeper} LineKeeper
 * @typedef {import('./chatquestions.js').Question} Question
 */

export class TalkStore {
  /** @param {string} [owner] the task that talks; "" is the chat */
  constructor(owner = '') {
    this.owner = owner;
    this.talk = emptyTalk();

    /** @type {import('@preact/signals').Signal<readonly import('./chatstream.js').Item[]>} */
    this.items = signal(this.talk.items);
    this.dropped = signal(0);
    /** @type {import('@preact/signals').Signal<readonly import('./chattail.js').TailBlock[]>} */
    this.tail = signal(this.talk.tail.blocks);
    /** @type {import('@preact/signals').Signal<readonly Question[]>} */
    this.questions = signal(this.talk.questions);
    this.usage = signal(this.talk.usage);
    this.announced = signal(this.talk.announced);
    this.sessionId = signal('');
    this.mode = signal('');
    this.model = signal('');
    this.busy = signal(false);
    this.status = signal('');

    this.stderr = signal('');
    /** The newest lines as they came, for the drawer. @type {import('@preact/signals').Signal<string[]>} */
    this.rawLines = signal([]);
    this.rawShown = signal(false);
    this.isEmpty = computed(() => this.items.value.length === 0 && this.tail.value.length === 0);

    /** @type {string[]} */
    this.raw = [];
    /**
     * The conversation in its kept form, for the transcript; the oldest go when it is twice what that takes.
     * @type {string[]}
     */
    this.lines = [];
    this.lineChars = 0;
    /** @type {LineKeeper | null} */
    this.keeper = null;
    /** @type {Set<() => void>} */
    this.turnEndings = new Set();
    this.framed = false;
  }

  /** Calls `fn` when a turn has ended and the views know it. @param {() => void} fn */
  onTurnEnd(fn) {
    this.turnEndings.add(fn);
    return () => void this.turnEndings.delete(fn);
  }

  /** Takes up what a reload left, and keeps what comes from now on. @param {LineKeeper} keeper */
  keepWith(keeper) {
    this.keeper = keeper;
    this.showLines(keeper.load());
    const open = keeper.kept('questions');
    if (Array.isArray(open)) {
      const whole = open.filter((one) => typeof one?.id === 'string' && one.id);
      this.talk = this.owned({ ...this.talk, questions: whole });
    }
    this.publish();
  }

  /**
   * Begins anew with the lines of an earlier conversation, or none.
   * @param {readonly string[]} kept
   */
  show(kept) {
    this.keeper?.clear();
    for (const line of kept) this.keeper?.add(line);
    this.showLines(kept);
    this.publish();
  }

  /** @param {readonly string[]} kept */
  showLines(kept) {
    this.talk = emptyTalk();
    this.setKeptLines([...kept]);
    this.raw = [];
    this.stderr.value = '';
    // Remarks were noted when the lines came.
    for (const line of kept) this.talk = this.owned(afterLine(this.talk, line).talk);
  }

  /** @param {string[]} whole with the beginning that the tab's storage had no room for */
  setKeptLines(whole) {
    this.lines = whole;
    this.lineChars = whole.reduce((sum, line) => sum + line.length, 0);
  }

  /** @param {string} line of the CLI */
  takeLine(line) {
    this.raw.push(clipped(line, RAW_LINE_CHARS));
    if (this.raw.length > RAW_LINES * 2) this.raw = this.raw.slice(-RAW_LINES);
    this.apply(line);
  }

  /** @param {string} text of its standard error */
  takeStderr(text) {
    this.stderr.value = (this.stderr.value + text).slice(-STDERR_CHARS);
  }

  /**
   * Puts a record of the page's own beside the CLI's lines.
   * @param {Record<string, unknown> & {kind: string}} record
   */
  record(record) {
    this.apply(JSON.stringify({ type: 'marlin', ...record }));
  }

  /**
   * Changes what is known without a line: a mode that was set, an answer to a question of the page.
   * @param {(talk: Talk) => Talk} change
   */
  amend(change) {
    this.talk = change(this.talk);
    this.publish();
  }

  /** @param {boolean} shown whether anybody looks at the raw lines */
  showRaw(shown) {
    this.rawShown.value = shown;
    if (shown) this.rawLines.value = this.raw.slice(-RAW_LINES);
  }

  /** @param {string} line */
  apply(line) {
    const before = this.talk;
    const { talk: next, remarks } = afterLine(before, line);
    this.talk = next.questions === before.questions ? next : this.owned(next);
    for (const { text, detail } of remarks) note('event', text, detail);
    this.remember(line);
    this.publishSoon(before);
    if (before.busy && !this.talk.busy) for (const fn of [...this.turnEndings]) fn();
  }

  /** Several CLIs count their questions alike, so each says whose it is. @param {Talk} talk */
  owned(talk) {
    const { owner } = this;
    if (!owner || talk.questions.every((question) => question.owner === owner)) return talk;
    return { ...talk, questions: talk.questions.map((question) => ({ ...question, owner })) };
  }

  /** @param {string} line */
  remember(line) {
    const form = this.keeper?.add(line) ?? '';
    if (!form) return;
    this.lines.push(form);
    this.lineChars += form.length;
    if (this.lineChars > 2 * TRANSCRIPT_CHARS) {
      this.setKeptLines(this.lines.slice(Math.ceil(this.lines.length / 2)));
    }
  }

  /** @param {Talk} before */
  publishSoon(before) {
    const { tail: open, ...rest } = this.talk;
    // A delta changes the tail alone, and there are hundreds a second.
    const quiet = Object.entries(rest).every(
      ([key, value]) => before[/** @type {keyof Talk} */ (key)] === value,
    );
    if (!quiet) this.publish();
    else if (open !== before.tail && !this.framed) {
      this.framed = true;
      nextFrame(() => {
        this.framed = false;
        this.publish();
      });
    } else if (this.rawShown.value) this.rawLines.value = this.raw.slice(-RAW_LINES);
  }

  publish() {
    const { talk } = this;
    const open = talk.questions !== this.questions.value;
    batch(() => {
      this.items.value = talk.items;
      this.dropped.value = talk.dropped;
      this.tail.value = talk.tail.blocks;
      this.questions.value = talk.questions;
      this.usage.value = talk.usage;
      this.announced.value = talk.announced;
      this.sessionId.value = talk.sessionId;
      this.mode.value = talk.mode;
      this.model.value = talk.model;
      this.busy.value = talk.busy;
      this.status.value = talk.status;
      if (this.rawShown.value) this.rawLines.value = this.raw.slice(-RAW_LINES);
    });
    // Apart from the lines: these may be dropped while the question still waits.
    if (open) this.keeper?.keep('questions', talk.questions);
  }
}

/** @param {() => void} fn */
function nextFrame(fn) {
  // Stores are also tested where there are no frames.
  if (typeof requestAnimationFrame === 'function') requestAnimationFrame(fn);
  else setTimeout(fn, 16);
}
