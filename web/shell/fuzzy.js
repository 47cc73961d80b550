// Finds commands and names by a few letters of theirs, and says which letters matched.

/** @typedef {{score: number, at: number[]}} Match */

/**
 * All words of the query in any order, each as letters in order. Letters at the beginnings of words
 * and in a row count more, and so does a short text.
 * @param {string} query
 * @param {string} text
 * @returns {Match | null}
 */
export function fuzzy(query, text) {
  const words = query.toLowerCase().split(/\s+/).filter(Boolean);
  let score = 0;
  /** @type {Set<number>} */
  const at = new Set();
  for (const word of words) {
    const found = matchWord(word, text);
    if (!found) return null;
    score += found.score;
    for (const index of found.at) at.add(index);
  }
  return { score: score - text.length / 100, at: [...at].sort((a, b) => a - b) };
}

/**
 * @param {string} word
 * @param {string} text
 * @returns {Match | null}
 */
function matchWord(word, text) {
  const lower = text.toLowerCase();
  const whole = lower.indexOf(word);
  if (whole >= 0) {
    const best = wordStart(lower, word) ?? whole;
    const at = Array.from(word, (_, i) => best + i);
    return { score: 8 * word.length + (startsWord(text, best) ? 10 : 0) + (best === 0 ? 5 : 0), at };
  }
  return scattered(word, text, lower);
}

/**
 * The first place where a word of `lower` starts with `word`.
 * @param {string} lower
 * @param {string} word
 */
function wordStart(lower, word) {
  for (let i = lower.indexOf(word); i >= 0; i = lower.indexOf(word, i + 1)) {
    if (startsWord(lower, i)) return i;
  }
  return undefined;
}

/**
 * @param {string} word
 * @param {string} text
 * @param {string} lower
 * @returns {Match | null}
 */
function scattered(word, text, lower) {
  const at = [];
  let score = 0;
  let from = 0;
  for (const letter of word) {
    const next = lower.indexOf(letter, from);
    if (next < 0) return null;
    const start = initial(text, lower, letter, from) ?? next;
    score += start === from && at.length ? 4 : startsWord(text, start) ? 5 : 1;
    at.push(start);
    from = start + 1;
  }
  return { score, at };
}

/**
 * The next beginning of a word with this letter, so that "tsp" finds "Toggle Side Panel" by initials.
 * @param {string} text
 * @param {string} lower
 * @param {string} letter
 * @param {number} from
 */
function initial(text, lower, letter, from) {
  if (lower[from] === letter) return from;
  for (let i = lower.indexOf(letter, from); i >= 0; i = lower.indexOf(letter, i + 1)) {
    if (startsWord(text, i)) return i;
  }
  return undefined;
}

/**
 * @param {string} text
 * @param {number} i
 */
function startsWord(text, i) {
  if (i === 0) return true;
  if (/[\s/._:-]/.test(text[i - 1])) return true;
  return /[a-z0-9]/.test(text[i - 1]) && /[A-Z]/.test(text[i]);
}
