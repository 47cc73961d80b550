// Questions in plain words about the code, as two sources of the one search box: a row that asks Claude, which
// nothing but the user's choice does, and the answers, which come into the same list.

import { call } from '../bridge/api.js';

/**
 * @typedef {import('./searchsources.js').Source} Source
 * @typedef {{path: string, line: number, reason: string}} Answer
 * @typedef {{done: boolean, promise: Promise<Answer[]>}} Asked
 *
 * @typedef {object} FindPorts
 * @property {() => string} lookingAt workspace path of the file in front, "" for none
 * @property {(path: string) => string} shown a path as lists show it
 * @property {(answer: Answer, beside: boolean) => unknown} open
 * @property {(question: string) => unknown} asked the box is to be shown again with the question
 * @property {(question: string, words: string) => unknown} answered nobody may be looking by then
 */

/** Answers that are kept, for a question that is typed again. */
const kKept = 10;
/** What is one word is no question. */
const kQuestion = /\S\s+\S/;

export class FindAnswers {
  /** @param {FindPorts} ports */
  constructor(ports) {
    this.ports = ports;
    /** By question, the latest last. @type {Map<string, Asked>} */
    this.questions = new Map();
  }

  /**
   * Asks Claude, once for each question.
   * @param {string} question
   */
  ask(question) {
    if (this.questions.has(question)) return;
    const job = `Find: ${question}`;
    const promise = call('agent/find', { question, path: this.ports.lookingAt() }, { job }).then((answer) => answersIn(answer));
    const asked = { done: false, promise };
    this.questions.set(question, asked);
    promise.then(
      ({ length }) => {
        asked.done = true;
        for (const [old, { done }] of [...this.questions].slice(0, -kKept)) if (done) this.questions.delete(old);
        this.ports.answered(question, length === 1 ? '1 place' : `${length || 'no'} places`);
      },
      () => {
        // The source says why; the row offers to ask again.
        asked.done = true;
      },
    );
  }

  /** @returns {Source[]} */
  sources() {
    return [this.answerSource(), this.askSource()];
  }

  /** @returns {Source} */
  answerSource() {
    return {
      id: 'answers',
      title: 'Claude’s answers',
      // Behind the names: what comes first must not keep the Enter key waiting.
      order: 15,
      least: 3,
      delayMs: 0,
      find: async (query) => {
        const question = query.trim();
        const asked = this.questions.get(question);
        if (!asked) return { items: [] };
        try {
          return this.itemsOf(await asked.promise);
        } catch (error) {
          this.questions.delete(question);
          throw error;
        }
      },
    };
  }

  /** @param {Answer[]} answers */
  itemsOf(answers) {
    const { shown, open } = this.ports;
    const items = answers.map((answer, at) => ({
      id: `${at} ${answer.path}:${answer.line}`,
      label: answer.reason || shown(answer.path),
      description: `${shown(answer.path)}:${answer.line}`,
      icon: 'sparkle',
      open: (/** @type {boolean} */ beside) => open(answer, beside),
    }));
    return { items, note: items.length ? '' : 'Claude found no place that fits.' };
  }

  /** @returns {Source} */
  askSource() {
    return {
      id: 'ask',
      title: 'Claude',
      order: 90,
      least: 3,
      // It comes when the typing rests, so that no Enter meant for something else takes it.
      delayMs: 300,
      find: async (query) => {
        const question = query.trim();
        if (!kQuestion.test(question) || this.questions.has(question)) return { items: [] };
        const open = () => {
          this.ask(question);
          return this.ports.asked(question);
        };
        return { items: [{ id: question, label: `Ask Claude: ${question}`, icon: 'sparkle', open }] };
      },
    };
  }
}

/**
 * @param {any} answer
 * @returns {Answer[]}
 */
export function answersIn(answer) {
  const hits = Array.isArray(answer?.hits) ? answer.hits : [];
  return hits
    .filter((/** @type {any} */ hit) => typeof hit?.path === 'string' && hit.path)
    .map((/** @type {any} */ hit) => ({
      path: hit.path,
      line: Math.max(1, Number(hit.line) || 1),
      reason: String(hit.reason ?? '').trim(),
    }));
}
