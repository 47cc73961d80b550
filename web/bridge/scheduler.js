// Keeps long calls from using up the connections. The web view opens six to one host, and a seventh
// request waits for one of them, even when it is a key press; so three long calls run, the rest queue.

/** How many long calls run at once. */
export const LONG_CALLS = 3;

export class Slots {
  /** @param {number} limit */
  constructor(limit) {
    this.free = limit;
    /** @type {{start: () => void}[]} */
    this.queue = [];
  }

  /**
   * Waits for a slot. The result gives it back, and may be called twice.
   * A signal that aborts while waiting leaves the queue and rejects with its reason.
   * @param {AbortSignal} [signal]
   * @returns {Promise<() => void>}
   */
  take(signal) {
    return new Promise((resolve, reject) => {
      if (signal?.aborted) return reject(signal.reason);
      const leave = () => {
        this.queue.splice(this.queue.indexOf(entry), 1);
        reject(signal?.reason);
      };
      const entry = {
        start: () => {
          signal?.removeEventListener('abort', leave);
          this.free -= 1;
          resolve(this.#release());
        },
      };
      if (this.free > 0) return entry.start();
      this.queue.push(entry);
      signal?.addEventListener('abort', leave, { once: true });
    });
  }

  #release() {
    let held = true;
    return () => {
      if (!held) return;
      held = false;
      this.free += 1;
      this.queue.shift()?.start();
    };
  }
}
