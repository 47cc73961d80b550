// Output on its way from the bridge to the terminals of this page, by id. Output and even the exit may
// arrive before the answer that tells the id, so while a terminal is being made the unknown ids are kept.

/** What is kept for one id, in characters; of more only the end. */
export const HELD_CHARS = 4 * 1024 * 1024;

/**
 * @typedef {object} Sink
 * @property {(data: string) => void} data
 * @property {(code: number) => void} exit
 *
 * @typedef {{data: string, code: number | null}} Held
 */

export class Feed {
  constructor() {
    /** @type {Map<string, Sink>} */
    this.sinks = new Map();
    /** @type {Map<string, Held>} */
    this.held = new Map();
    this.making = 0;
  }

  /**
   * Runs what makes a terminal, holding meanwhile what comes for ids that nobody knows.
   * @template T
   * @param {() => Promise<T>} make
   * @param {(made: T) => void} made must attach the new id
   */
  async hold(make, made) {
    this.making += 1;
    try {
      made(await make());
    } finally {
      this.making -= 1;
      // What is left belongs to terminals of another page on the same bridge.
      if (this.making === 0) this.held.clear();
    }
  }

  /** Gives an id its terminal, and the terminal what came before. @param {string} id @param {Sink} sink */
  attach(id, sink) {
    this.sinks.set(id, sink);
    const held = this.held.get(id);
    this.held.delete(id);
    if (held?.data) sink.data(held.data);
    if (held && held.code !== null) sink.exit(held.code);
  }

  /** @param {string} id */
  detach(id) {
    this.sinks.delete(id);
  }

  /** @param {string} id @param {string} data */
  data(id, data) {
    const sink = this.sinks.get(id);
    if (sink) sink.data(data);
    else if (this.making > 0) {
      const held = this.#heldFor(id);
      held.data = (held.data + data).slice(-HELD_CHARS);
    }
  }

  /** @param {string} id @param {number} code */
  exit(id, code) {
    const sink = this.sinks.get(id);
    if (sink) sink.exit(code);
    else if (this.making > 0) this.#heldFor(id).code = code;
  }

  /** @param {string} id */
  #heldFor(id) {
    const held = this.held.get(id) ?? { data: '', code: null };
    this.held.set(id, held);
    return held;
  }
}
