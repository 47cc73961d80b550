// Text from the clipboard on its way into a terminal.

/** How much of a paste is shown when it is asked about. */
const SHOWN_LINES = 12;

/**
 * The text without what could end bracketed paste, move the cursor or act as a key: a page in a browser
 * can put more into the clipboard than it shows.
 * @param {string} text
 */
export function cleanPaste(text) {
  return text.replace(/[\x00-\x08\x0b\x0c\x0e-\x1f\x7f-\x9f]/g, '');
}

/** @param {string} text */
export const lineCount = (text) => text.replace(/(?:\r\n|\r|\n)$/, '').split(/\r\n|\r|\n/).length;

/**
 * Whether a paste would run lines that nobody has looked at: a shell that knows bracketed paste waits
 * for Enter, any other runs each line as it comes.
 * @param {string} text
 * @param {boolean} bracketed
 */
export const mustAsk = (text, bracketed) => !bracketed && lineCount(text) > 1;

/** @param {string} text */
export const asOneLine = (text) => text.trim().split(/\s*(?:\r\n|\r|\n)\s*/).filter(Boolean).join(' ');

/** @param {string} text */
export function pastePreview(text) {
  const lines = text.split(/\r\n|\r|\n/);
  const more = lines.length - SHOWN_LINES;
  return more > 0 ? [...lines.slice(0, SHOWN_LINES), `… and ${more} more`].join('\n') : lines.join('\n');
}
