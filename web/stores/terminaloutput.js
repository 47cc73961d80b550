// Output that waits to be drawn. A program may write faster than a terminal can draw, and nothing can
// slow it down from here; so the page draws piece by piece, and past a bound the oldest is left out.

/** What may wait, in characters. */
export const BACKLOG_CHARS = 16 * 1024 * 1024;
/** What is drawn in one go. */
export const DRAW_CHARS = 256 * 1024;

export class Backlog {
  constructor() {
    /** @type {string[]} */
    this.pieces = [];
    this.length = 0;
    this.skipped = 0;
  }

  /** @param {string} data */
  push(data) {
    this.pieces.push(data);
    this.length += data.length;
    while (this.length > BACKLOG_CHARS && this.pieces.length > 1) {
      const oldest = /** @type {string} */ (this.pieces.shift());
      this.length -= oldest.length;
      this.skipped += oldest.length;
    }
  }

  /**
   * The next piece to draw; empty when nothing waits.
   * @returns {{text: string, skipped: number}} `skipped` characters were left out before it
   */
  take() {
    const { skipped } = this;
    this.skipped = 0;
    let count = 0;
    let chars = 0;
    while (count < this.pieces.length && (count === 0 || chars + this.pieces[count].length <= DRAW_CHARS)) {
      chars += this.pieces[count++].length;
    }
    const text = this.pieces.splice(0, count).join('');
    this.length -= text.length;
    return { text, skipped };
  }
}
