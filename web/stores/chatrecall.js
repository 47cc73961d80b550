// Earlier messages, brought back by Up and Down as in a shell.

export const KEPT_MESSAGES = 50;
/** Longer ones are not worth their place in the page's small storage. */
export const KEPT_MESSAGE_CHARS = 1000;

/**
 * @param {readonly string[]} sent the newest last
 * @param {string} text
 */
export function remembered(sent, text) {
  const words = text.trim();
  if (!words || words.length > KEPT_MESSAGE_CHARS) return [...sent];
  return [...sent.filter((one) => one !== words), words].slice(-KEPT_MESSAGES);
}

/**
 * @typedef {{at: number, draft: string}} Recall `at` counts back from the newest, 0 is the draft itself
 * @type {Recall}
 */
export const noRecall = { at: 0, draft: '' };

/**
 * One step back or forth; null when there is nothing further.
 * @param {readonly string[]} sent
 * @param {Recall} recall
 * @param {-1 | 1} step -1 goes back
 * @param {string} current what stands in the field
 * @returns {{recall: Recall, text: string} | null}
 */
export function recalled(sent, recall, step, current) {
  const at = recall.at - step;
  if (at < 0 || at > sent.length) return null;
  const draft = recall.at === 0 ? current : recall.draft;
  return { recall: { at, draft }, text: at === 0 ? draft : /** @type {string} */ (sent.at(-at)) };
}
