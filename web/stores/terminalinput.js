// What is typed into a terminal, on its way to the bridge. One request is under way at a time, since
// two connections could otherwise overtake each other and swap keys; what is typed meanwhile is joined.

/** A long paste goes out in pieces, so that a key pressed after it is not held up by one huge request. */
export const PIECE = 65536;

export class InputQueue {
  /**
   * @param {(data: string) => Promise<unknown>} send
   * @param {(error: unknown) => void} failed told once for each request that failed; its text is lost,
   *   since a second try could type it twice
   */
  constructor(send, failed) {
    this.send = send;
    this.failed = failed;
    this.waiting = '';
    this.busy = false;
  }

  /** @param {string} data */
  push(data) {
    this.waiting += data;
    if (!this.busy) void this.#drain();
  }

  /** Forgets what has not been sent. */
  clear() {
    this.waiting = '';
  }

  async #drain() {
    this.busy = true;
    while (this.waiting) {
      const piece = firstPiece(this.waiting);
      this.waiting = this.waiting.slice(piece.length);
      try {
        await this.send(piece);
      } catch (error) {
        this.failed(error);
      }
    }
    this.busy = false;
  }
}

/** As much as one request takes, without cutting a character in two. @param {string} text */
function firstPiece(text) {
  if (text.length <= PIECE) return text;
  const last = text.charCodeAt(PIECE - 1);
  return text.slice(0, last >= 0xd800 && last <= 0xdbff ? PIECE - 1 : PIECE);
}
