// Command lines for the bridge's shell: names become words that no shell reads anything into.

/**
 * One word of a command line, whatever the text holds.
 * @param {string} text
 */
export function quoted(text) {
  // The bridge takes one line only, and no argument of a program can hold a NUL.
  if (/[\0\r\n]/.test(text)) {
    throw new Error(`${JSON.stringify(text)} cannot be given to a command: it holds a line break`);
  }
  return `'${text.replaceAll("'", "'\\''")}'`;
}

/**
 * A command line of words that stand for themselves.
 * @param {...string} words
 */
export const commandLine = (...words) => words.map(quoted).join(' ');
