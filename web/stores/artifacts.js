// Results of Claude that something other than a text editor shows: pages, pictures, documents, and servers on this
// machine. What in a text names one, and by which route it leaves the editor.

/** What the bridge hands to the desktop; of other kinds it knows no program that only looks. */
const kOutside = /\.(?:html?|svg|md)$/i;
const kShown = /\.(?:html?|svg|md|pdf|png|jpe?g|gif|webp|avif|bmp|ico)$/i;

/** A line longer than this is data, not a message. */
const kLongest = 2000;

/** Any web address, without the end of a sentence. */
const kAddress = /\bhttps?:\/\/[^\s"'`<>{}|\\^]*[^\s"'`<>{}|\\^.,:;!?)]/gi;
const kLocal = /^https?:\/\/(?:localhost|127\.0\.0\.1|0\.0\.0\.0|\[::1\])(?=[:/?#]|$)/i;
/** What a file's name in a message is made of; blanks only where quotes are around it. */
const kToken = /[^\s'"`<>|,;=(){}[\]]+/g;
const kQuoted = /"([^"\n]+)"/g;

/**
 * @typedef {{text: string, target: string}} Piece `target` is what the piece leads to, "" for mere text
 * @typedef {{start: number, end: number, target: string}} Found
 */

/** Whether a file of this name is looked at rather than read. @param {string} path */
export const isArtifact = (path) => kShown.test(path);

/** Whether the desktop can be asked to open it. @param {string} path */
export const opensOutside = (path) => kOutside.test(path);

/** Whether it is the address of a server on this machine. @param {string} words */
export const isLocalServer = (words) => kLocal.test(words);

/** @param {string} words */
export const isWebAddress = (words) => /^https?:\/\//i.test(words);

/**
 * A name as programs print it, taken apart: "a.svg:12:5", "file:///tmp/a.html".
 * @param {string} words
 * @returns {{path: string, line?: number}}
 */
export function nameAndLine(words) {
  const [, path = '', line] = /^(?:file:\/\/)?(.*?)(?:(?::|#L)(\d+)(?:[-:]L?\d+)?)?$/s.exec(words) ?? [];
  return line ? { path, line: Number(line) } : { path };
}

/**
 * The call that opens an address outside. The route for results takes plain addresses of this machine with a port;
 * what else is local is a web address like any other.
 * @param {string} address
 * @returns {{route: string, body: Record<string, string>}}
 */
export function outsideCall(address) {
  const url = address.replace(/^(https?:\/\/)0\.0\.0\.0(?=[:/?#]|$)/i, '$1localhost').replace(/^https?:/i, (scheme) => scheme.toLowerCase());
  if (/^http:\/\/(?:localhost|127\.0\.0\.1):/.test(url)) return { route: 'artifact/open', body: { url } };
  return { route: 'browser', body: { cmd: 'external', url } };
}

/**
 * A text in pieces, those that name a result apart from the rest.
 * @param {string} text
 * @returns {Piece[]}
 */
export function piecesOf(text) {
  /** @type {Piece[]} */
  const pieces = [];
  let plain = '';
  for (const line of text.split(/(?<=\n)/)) {
    let at = 0;
    for (const { start, end, target } of foundIn(line)) {
      plain += line.slice(at, start);
      if (plain) pieces.push({ text: plain, target: '' });
      pieces.push({ text: line.slice(start, end), target });
      plain = '';
      at = end;
    }
    plain += line.slice(at);
  }
  if (plain) pieces.push({ text: plain, target: '' });
  return pieces;
}

/** @param {string} line @returns {Found[]} in their order, none over another */
function foundIn(line) {
  if (line.length > kLongest) return [];
  const addresses = spans(line, kAddress);
  const local = addresses.filter(({ target }) => isLocalServer(target));
  const free = (/** @type {Found} */ one, /** @type {Found[]} */ taken) =>
    !taken.some(({ start, end }) => one.start < end && start < one.end);
  const quoted = spans(line, kQuoted).filter((one) => one.target.includes(' ') && isName(one.target) && free(one, addresses));
  const bare = spans(line, kToken)
    .map(withoutEnd)
    .filter((one) => isName(one.target) && free(one, [...addresses, ...quoted]));
  return [...local, ...quoted, ...bare].sort((a, b) => a.start - b.start);
}

/** @param {string} line @param {RegExp} form @returns {Found[]} */
function spans(line, form) {
  return [...line.matchAll(form)].map(({ index, 0: all, 1: inner }) => {
    const start = inner === undefined ? index : index + all.indexOf(inner);
    return { start, end: start + (inner ?? all).length, target: inner ?? all };
  });
}

/** The full stop of a sentence is no part of a name. @param {Found} found @returns {Found} */
function withoutEnd({ start, target }) {
  const name = target.replace(/[.:!]+$/, '');
  return { start, end: start + name.length, target: name };
}

/** @param {string} words */
function isName(words) {
  const { path } = nameAndLine(words);
  // A pattern, or a bare ending, is talk about a kind of file.
  return isArtifact(path) && !/[*?$]|(?:^|\/)\.\w+$|:\/\//.test(path);
}
