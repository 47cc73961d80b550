// Finds and replaces in one text as the native search does in files, for texts that are open and not saved.
// It runs in a worker (panels/search/worker.js), because a pattern of the user's may take for ever.
//
// A plain text folds A to Z only, and a whole word ends at anything but letters, digits and "_" of ASCII. A
// regular expression works on bytes, "^" and "$" hold at the ends of the whole text only, and whole words
// are its own affair. Where the page's engine cannot do what the native one does:
// - "[[.x.]]" and "[[=x=]]" are refused here;
// - a group that took no part matches as empty when it is referred to, natively not at all;
// - a group inside a repetition forgets its text with each round, natively it keeps it;
// - "\x80" to "\xff" and "\u0080" upwards mean no byte here;
// - a match that begins or ends inside a character is left out.

import { isAscii, readBytesBack, spellBytes, unitWalker } from './searchbytes.js';

/**
 * @typedef {{caseSensitive: boolean, wholeWord: boolean, regex: boolean}} MatchOptions
 * @typedef {object} TextMatch
 * @property {number} from in UTF-16 units, like all offsets here
 * @property {number} to
 * @property {string | null} replacement what would stand there; null when it cannot be told
 */

/** What "[:name:]" means between brackets. */
const kClasses = new Map(
  Object.entries({
    alnum: '0-9A-Za-z',
    alpha: 'A-Za-z',
    blank: ' \\t',
    cntrl: '\\0-\\x1f\\x7f',
    d: '0-9',
    digit: '0-9',
    graph: '!-~',
    lower: 'a-z',
    print: ' -~',
    punct: '!-\\/:-@\\[-`{-~',
    s: '\\t-\\r ',
    space: '\\t-\\r ',
    upper: 'A-Z',
    w: '0-9A-Za-z_',
    xdigit: '0-9A-Fa-f',
  }),
);

/**
 * All matches, the first first and none over another.
 * @param {string} text
 * @param {string} query
 * @param {MatchOptions} options
 * @param {{replacement?: string, limit?: number}} [wanted]
 * @returns {TextMatch[]}
 * @throws {Error} when the pattern is none, or one that only the native side knows
 */
export function matchAll(text, query, options, { replacement = '', limit = Infinity } = {}) {
  if (query === '') throw new Error('nothing to search for');
  return options.regex
    ? regexMatches(text, query, options, replacement, limit)
    : plainMatches(text, query, options, replacement, limit);
}

/**
 * What each match in its line becomes; null for a match that the line alone does not show, such as one that
 * goes on in the next line.
 * @param {readonly {text: string, from: number, to: number}[]} lines
 * @param {string} query
 * @param {MatchOptions} options
 * @param {string} replacement
 * @returns {(string | null)[]}
 */
export function expandInLines(lines, query, options, replacement) {
  if (!options.regex) return lines.map(() => replacement);
  return lines.map(({ text, from, to }) => {
    const all = matchAll(text, query, options, { replacement });
    return all.find((match) => match.from === from && match.to === to)?.replacement ?? null;
  });
}

/**
 * @param {string} text
 * @param {string} query
 * @param {MatchOptions} options
 * @param {string} replacement
 * @param {number} limit
 */
function plainMatches(text, query, { caseSensitive, wholeWord }, replacement, limit) {
  const sought = caseSensitive ? query : foldAscii(query);
  const searched = caseSensitive ? text : foldAscii(text);
  /** @type {TextMatch[]} */
  const found = [];
  let at = searched.indexOf(sought);
  while (at >= 0 && found.length < limit) {
    const to = at + sought.length;
    const taken = !wholeWord || (!isWordUnit(text, at - 1) && !isWordUnit(text, to));
    if (taken) found.push({ from: at, to, replacement });
    at = searched.indexOf(sought, taken ? to : at + 1);
  }
  return found;
}

/** @param {string} text */
function foldAscii(text) {
  return text.replace(/[A-Z]+/g, (letters) => letters.toLowerCase());
}

/** @param {string} text @param {number} at */
function isWordUnit(text, at) {
  return at >= 0 && at < text.length && /[0-9A-Za-z_]/.test(/** @type {string} */ (text[at]));
}

/**
 * @param {string} text
 * @param {string} query
 * @param {MatchOptions} options
 * @param {string} replacement
 * @param {number} limit
 */
function regexMatches(text, query, { caseSensitive }, replacement, limit) {
  const pattern = new RegExp(translate(spellBytes(query)), caseSensitive ? 'g' : 'gi');
  const spelled = spellBytes(text);
  const template = spellBytes(replacement);
  const unitOf = isAscii(text)
    ? (/** @type {number} */ byte) => ({ unit: byte, inside: false })
    : unitWalker(text);
  /** @type {TextMatch[]} */
  const found = [];
  for (let match = pattern.exec(spelled); match && found.length < limit; match = pattern.exec(spelled)) {
    const end = match.index + match[0].length;
    if (match[0] === '') pattern.lastIndex = end + 1;
    const from = unitOf(match.index);
    const to = unitOf(end);
    if (from.inside || to.inside) continue;
    found.push({ from: from.unit, to: to.unit, replacement: readBytesBack(expand(template, match)) });
  }
  return found;
}

/**
 * "$$" is a "$", "$&" and "$0" the whole match, "$1" to "$9" a group; any other "$" stands for itself.
 * @param {string} template
 * @param {RegExpExecArray} match
 */
function expand(template, match) {
  return template.replace(/\$([$&0-9])/g, (_, key) => {
    if (key === '$') return '$';
    return key === '&' ? match[0] : (match[Number(key)] ?? '');
  });
}

/**
 * The native grammar's classes between brackets, in words that this engine knows.
 * @param {string} pattern
 */
function translate(pattern) {
  let out = '';
  let bracket = false;
  for (let i = 0; i < pattern.length; i++) {
    const unit = /** @type {string} */ (pattern[i]);
    if (unit === '\\') out += unit + (pattern[++i] ?? '');
    else if (!bracket && unit === '[') {
      bracket = true;
      out += unit;
    } else if (bracket && unit === '[' && /[:.=]/.test(pattern[i + 1] ?? '')) {
      const end = pattern.indexOf(`${pattern[i + 1]}]`, i + 2);
      out += classOf(pattern.slice(i + 1, end < 0 ? undefined : end + 1));
      i = end < 0 ? pattern.length : end + 1;
    } else {
      if (unit === ']') bracket = false;
      out += unit;
    }
  }
  return out;
}

/** @param {string} words such as ":alpha:" */
function classOf(words) {
  const meaning = /^:(\w+):$/.exec(words);
  const units = meaning && kClasses.get(/** @type {string} */ (meaning[1]).toLowerCase());
  if (!units) throw new Error(`[${words}] cannot be searched in unsaved text`);
  return units;
}
