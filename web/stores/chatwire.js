// Reading values of unknown shape. What the Claude CLI prints is not under this page's control: a field may
// be missing, of another type or new, and reading it must give something plain instead of an exception.

/** @param {unknown} value */
export const textOf = (value) => (typeof value === 'string' ? value : '');

/** @param {unknown} value */
export const numberOf = (value) => (typeof value === 'number' && Number.isFinite(value) ? value : 0);

/** @param {unknown} value @returns {any[]} */
export const listOf = (value) => (Array.isArray(value) ? value : []);

/** @param {unknown} value @returns {Record<string, any>} */
export const recordOf = (value) =>
  value !== null && typeof value === 'object' && !Array.isArray(value) ? value : {};

/**
 * @param {string} line
 * @returns {Record<string, any> | null} null for what is not a JSON object
 */
export function parseRecord(line) {
  try {
    const value = JSON.parse(line);
    return value !== null && typeof value === 'object' && !Array.isArray(value) ? value : null;
  } catch {
    return null;
  }
}

/**
 * The beginning of a long text, with a word on how much is missing.
 * @param {string} text
 * @param {number} most characters
 */
export function clipped(text, most) {
  if (text.length <= most) return text;
  return `${text.slice(0, most)}\n… ${text.length - most} more characters`;
}

/**
 * A copy in which every long text is cut, for keeping: pictures and whole files would fill the storage.
 * @param {any} value
 * @param {number} most characters of one text
 * @returns {any}
 */
export function slim(value, most) {
  if (typeof value === 'string') return clipped(value, most);
  if (Array.isArray(value)) return value.map((each) => slim(each, most));
  if (value === null || typeof value !== 'object') return value;
  return Object.fromEntries(Object.entries(value).map(([key, each]) => [key, slim(each, most)]));
}
