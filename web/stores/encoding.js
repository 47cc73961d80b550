// Bytes to text and back, byte for byte.
//
// Three encodings can be edited: UTF-8, UTF-8 with a byte order mark, and Windows-1252, which is what the
// bridge takes every text for that is not UTF-8. Files with NUL bytes (UTF-16 among them) are binary there.

/** @typedef {"utf8" | "utf8bom" | "windows1252"} Encoding */

/** @type {readonly {id: Encoding, label: string}[]} */
export const kEncodings = [
  { id: 'utf8', label: 'UTF-8' },
  { id: 'utf8bom', label: 'UTF-8 with BOM' },
  { id: 'windows1252', label: 'Windows-1252' },
];

/** @param {Encoding} id */
export function encodingLabel(id) {
  return kEncodings.find((each) => each.id === id)?.label ?? id;
}

const strictUtf8 = new TextDecoder('utf-8', { fatal: true, ignoreBOM: true });
const fromUtf16 = new TextDecoder('utf-16le', { ignoreBOM: true });
const toUtf8 = new TextEncoder();

/**
 * What the bytes 80 to 9F stand for; every other byte is its own code point. The five that the code page
 * leaves open are control characters of the same number, as on the native side, so nothing is lost.
 */
const kHigh = '€\u0081‚ƒ„…†‡ˆ‰Š‹Œ\u008dŽ\u008f\u0090‘’“”•–—˜™š›œ\u009džŸ';

/** @param {number} byte */
function unitOf(byte) {
  return byte >= 0x80 && byte < 0xa0 ? kHigh.charCodeAt(byte - 0x80) : byte;
}

const windows1252Bytes = new Map(
  Array.from({ length: 128 }, (_, index) => [unitOf(index + 128), index + 128]),
);

/** @param {Uint8Array} bytes */
function decodeWindows1252(bytes) {
  return fromUtf16.decode(Uint16Array.from(bytes, unitOf));
}

/** @param {string} text */
export function utf8Length(text) {
  let length = text.length;
  for (let i = 0; i < text.length; i++) {
    const unit = text.charCodeAt(i);
    if (unit < 0x80) continue;
    if (unit < 0x800) length += 1;
    else if (unit >= 0xd800 && unit < 0xdc00 && (text.charCodeAt(i + 1) & 0xfc00) === 0xdc00) {
      length += 2; // two units, four bytes
      i++;
    } else length += 2;
  }
  return length;
}

/**
 * The encoding of a file's bytes: UTF-8 when every sequence is right, Windows-1252 otherwise.
 * @param {Uint8Array} bytes
 * @returns {{encoding: Encoding, text: string}} the text without its mark
 */
export function decodeBytes(bytes) {
  try {
    return splitMark(strictUtf8.decode(bytes));
  } catch {
    return { encoding: 'windows1252', text: decodeWindows1252(bytes) };
  }
}

/**
 * Reads the bytes in an encoding the user chose; null when they are not valid in it.
 * @param {Uint8Array} bytes
 * @param {Encoding} encoding
 * @returns {string | null}
 */
export function decodeAs(bytes, encoding) {
  if (encoding === 'windows1252') return decodeWindows1252(bytes);
  try {
    return splitMark(strictUtf8.decode(bytes)).text;
  } catch {
    return null;
  }
}

/**
 * @param {string} text
 * @returns {{encoding: Encoding, text: string}}
 */
export function splitMark(text) {
  return text.startsWith('\uFEFF')
    ? { encoding: 'utf8bom', text: text.slice(1) }
    : { encoding: 'utf8', text };
}

/**
 * The bytes of a text, or null when a character has no byte in the encoding.
 * @param {string} text
 * @param {Encoding} encoding
 * @returns {Uint8Array<ArrayBuffer> | null}
 */
export function encodeText(text, encoding) {
  if (encoding === 'windows1252') return encodeWindows1252(text);
  return toUtf8.encode(encoding === 'utf8bom' ? `\uFEFF${text}` : text);
}

/** @param {string} text */
function encodeWindows1252(text) {
  const bytes = new Uint8Array(text.length);
  for (let i = 0; i < text.length; i++) {
    const unit = text.charCodeAt(i);
    const byte = unit < 0x80 ? unit : windows1252Bytes.get(unit);
    if (byte === undefined) return null;
    bytes[i] = byte;
  }
  return bytes;
}

/**
 * The characters that an encoding cannot hold, each once, at most `limit`.
 * @param {string} text
 * @param {Encoding} encoding
 */
export function unencodable(text, encoding, limit = 10) {
  /** @type {Set<string>} */
  const found = new Set();
  if (encoding !== 'windows1252') return [];
  for (const character of text) {
    const code = /** @type {number} */ (character.codePointAt(0));
    if (code >= 0x80 && !windows1252Bytes.has(code)) found.add(character);
    if (found.size === limit) break;
  }
  return [...found];
}

/**
 * The body of `file/write` or `file/create` for bytes of any encoding. The bridge's JSON reader copies bytes
 * inside a string untouched, so text that is not UTF-8 reaches the disk as it is; only quotes, backslashes and
 * control characters are escaped.
 * @param {string} path
 * @param {Uint8Array} bytes
 * @returns {string | Uint8Array<ArrayBuffer>}
 */
export function writeBody(path, bytes) {
  try {
    // Ten times as quick as the bytes one by one, which a large file would feel.
    return JSON.stringify({ path, contents: strictUtf8.decode(bytes) });
  } catch {
    return rawBody(path, bytes);
  }
}

/**
 * @param {string} path
 * @param {Uint8Array} bytes
 */
function rawBody(path, bytes) {
  const head = toUtf8.encode(`{"path":${JSON.stringify(path)},"contents":"`);
  const tail = toUtf8.encode('"}');
  let length = 0;
  for (const byte of bytes) length += escapedLength(byte);
  const body = new Uint8Array(head.length + length + tail.length);
  body.set(head);
  let at = head.length;
  for (const byte of bytes) at = putByte(body, at, byte);
  body.set(tail, at);
  return body;
}

/** @param {number} byte */
function escapedLength(byte) {
  if (byte === 0x22 || byte === 0x5c) return 2;
  return byte < 0x20 ? 6 : 1;
}

const kHex = '0123456789abcdef';

/**
 * @param {Uint8Array} body
 * @param {number} at
 * @param {number} byte
 */
function putByte(body, at, byte) {
  if (escapedLength(byte) === 1) {
    body[at] = byte;
    return at + 1;
  }
  body[at++] = 0x5c;
  if (byte >= 0x20) {
    body[at] = byte;
    return at + 1;
  }
  for (const character of `u00${kHex[byte >> 4]}${kHex[byte & 15]}`) body[at++] = character.charCodeAt(0);
  return at;
}

/**
 * A quick hash of a text for "is it still the same", not for secrets.
 * @param {string} text
 */
export function textHash(text) {
  let high = 0xdeadbeef;
  let low = 0x41c6ce57;
  for (let i = 0; i < text.length; i++) {
    const unit = text.charCodeAt(i);
    high = Math.imul(high ^ unit, 2654435761);
    low = Math.imul(low ^ unit, 1597334677);
  }
  high = Math.imul(high ^ (high >>> 16), 2246822507) ^ Math.imul(low ^ (low >>> 13), 3266489909);
  low = Math.imul(low ^ (low >>> 16), 2246822507) ^ Math.imul(high ^ (high >>> 13), 3266489909);
  return (high >>> 0).toString(16).padStart(8, '0') + (low >>> 0).toString(16).padStart(8, '0');
}
