// Asks for something again when it may have changed: a little later, so that many reasons become one
// request, never twice at once, and with a rest after a request that took long.

/** A burst of reasons is over after this. */
export const GIT_QUIET_MS = 150;
/** The longest rest; a shorter request is followed by a rest as long as it took. */
export const GIT_REST_MS = 5000;

/**
 * @param {() => Promise<unknown>} work its failure is its own matter
 */
export function refresher(work) {
  /** @type {ReturnType<typeof setTimeout> | undefined} */
  let timer;
  /** @type {Promise<void> | null} */
  let running = null;
  let wanted = false;
  let restUntil = 0;

  async function run() {
    clearTimeout(timer);
    timer = undefined;
    wanted = false;
    const started = Date.now();
    try {
      await work();
    } catch {
      // Told by whoever does the work.
    }
    restUntil = Date.now() + Math.min(GIT_REST_MS, Date.now() - started);
    running = null;
    if (wanted) soon();
  }

  /** Asks once things are quiet; while a request runs, once more after it. */
  function soon() {
    wanted = true;
    if (running) return;
    timer ??= setTimeout(() => void now(), Math.max(GIT_QUIET_MS, restUntil - Date.now()));
  }

  /**
   * Asks at once, or after the request that runs.
   * @returns {Promise<void>} resolves when an answer to a request from now on is there
   */
  async function now() {
    if (running) await running;
    running ??= run();
    return running;
  }

  return { soon, now };
}
