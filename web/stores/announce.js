// What screen readers are told of things that happen elsewhere in the window. News that come together are said
// together, at most one message in a while, and none while somebody types: a screen reader would talk into the words.

import { signal } from '@preact/signals';
import { get, set } from './uistate.js';

/**
 * How much is said: nothing, what needs the user or was waited for, or all.
 * @typedef {'nothing' | 'needed' | 'all'} Talk
 *
 * `lasting`: news of a state, of which only the latest counts; each of the others is a thing of its own.
 * @type {Record<string, {needed: boolean, lasting: boolean}>}
 */
const kTopics = {
  question: { needed: true, lasting: false },
  answer: { needed: true, lasting: false },
  task: { needed: true, lasting: false },
  link: { needed: true, lasting: true },
  saved: { needed: false, lasting: true },
  problems: { needed: false, lasting: true },
  branch: { needed: false, lasting: true },
  search: { needed: false, lasting: true },
};

/** What comes within this time is one message. */
export const kJoinMs = 150;
export const kBetweenMs = 1200;
/** How long the keys rest before anything is said. */
export const kRestMs = 1500;
/** More than this many in one message nobody listens to. */
export const kMostJoined = 4;

/** @type {Talk[]} */
const kTalks = ['nothing', 'needed', 'all'];

/** What was said last; `turn` tells the same words said twice apart. */
export const spoken = signal({ words: '', turn: 0 });

/** @type {import('@preact/signals').Signal<Talk>} */
export const talk = signal(/** @type {Talk} */ ('all'));

export function loadTalk() {
  const kept = get('access.talk', /** @type {any} */ (''));
  talk.value = kTalks.includes(kept) ? kept : 'all';
}

/** @param {string} wanted */
export function setTalk(wanted) {
  const known = kTalks.find((one) => one === wanted);
  if (!known) return;
  talk.value = known;
  set('access.talk', known);
}

/**
 * @typedef {object} Clock
 * @property {() => number} now in ms
 * @property {(fn: () => void, ms: number) => unknown} later
 */

/** Holds news back until it is their time. */
export class Announcer {
  /** @type {Map<string, string>} */
  waiting = new Map();
  due = 0;
  lastSaid = -Infinity;
  lastKey = -Infinity;
  timed = false;

  /**
   * @param {(words: string) => void} say
   * @param {Clock} clock
   */
  constructor(say, clock) {
    this.say = say;
    this.clock = clock;
  }

  /**
   * @param {string} key news of the same key replace those that wait
   * @param {string} words "" takes back what waits
   */
  tell(key, words) {
    this.waiting.delete(key);
    if (!words) return;
    this.due = Math.max(this.due, this.clock.now() + (this.waiting.size ? 0 : kJoinMs));
    this.waiting.set(key, words);
    this.arm();
  }

  /** What was asked for is said at once, whatever is typed. @param {string} words */
  speak(words) {
    this.lastSaid = this.clock.now();
    this.say(words);
  }

  typed() {
    this.lastKey = this.clock.now();
  }

  /** When what waits may be said. */
  time() {
    return Math.max(this.due, this.lastSaid + kBetweenMs, this.lastKey + kRestMs);
  }

  arm() {
    if (this.timed) return;
    this.timed = true;
    this.clock.later(() => {
      this.timed = false;
      if (!this.waiting.size) return;
      if (this.clock.now() < this.time()) this.arm();
      else this.flush();
    }, this.time() - this.clock.now());
  }

  flush() {
    const all = [...this.waiting.values()];
    const more = all.length - kMostJoined;
    this.waiting.clear();
    const said = all.slice(0, kMostJoined).map(sentence);
    if (more > 0) said.push(more === 1 ? 'And one more message.' : `And ${more} more messages.`);
    this.speak(said.join(' '));
  }
}

/** @param {string} words */
const sentence = (words) => (/[.!?…:]$/.test(words) ? words : `${words}.`);

const announcer = new Announcer(
  (words) => {
    spoken.value = { words, turn: spoken.value.turn + 1 };
  },
  { now: () => Date.now(), later: (fn, ms) => setTimeout(fn, ms) },
);

/** Whether news of a topic are said at all. @param {string} topic @param {Talk} much */
export const isHeard = (topic, much) => much === 'all' || (much === 'needed' && kTopics[topic]?.needed === true);

/**
 * Tells of something, when it is its time and the user wants to hear of such things.
 * @param {string} topic one of the table above
 * @param {string} words "" when what waits to be said does not hold any more
 */
export function announce(topic, words) {
  const key = kTopics[topic]?.lasting ? topic : `${topic} ${words}`;
  if (isHeard(topic, talk.peek()) || !words) announcer.tell(key, words);
}

/** Says what the user asked for, at once and whatever else is to be said. @param {string} words */
export const speak = (words) => announcer.speak(words);

/** Somebody types. */
export const noteTyping = () => announcer.typed();
