// Byte columns and UTF-16 columns. The native side counts and matches bytes; the page counts UTF-16 units.
//
// For matching, a text is spelled out as its bytes: one unit a byte, so that "." and "\b" mean what they
// mean natively. Bytes that are not ASCII become units which no regular expression takes for letters,
// blanks or the other case of something.

import { utf8Length } from './encoding.js';

/** Bytes 80 to FF stand here, in the private use area, in their order. */
const kHighBytes = 0xe000;
const kAscii = /^[\0-\x7f]*$/;

const toUtf8 = new TextEncoder();
const strictUtf8 = new TextDecoder('utf-8', { fatal: true, ignoreBOM: true });
const fromUtf16 = new TextDecoder('utf-16le', { ignoreBOM: true });

/** @param {string} text */
export function isAscii(text) {
  return kAscii.test(text);
}

/** @param {string} text */
export function spellBytes(text) {
  if (isAscii(text)) return text;
  return fromUtf16.decode(
    Uint16Array.from(toUtf8.encode(text), (byte) => (byte < 0x80 ? byte : kHighBytes + byte)),
  );
}

/**
 * The text of bytes that were spelled out; null when they are not whole characters.
 * @param {string} spelled
 */
export function readBytesBack(spelled) {
  if (isAscii(spelled)) return spelled;
  try {
    return strictUtf8.decode(Uint8Array.from(spelled, (unit) => unit.charCodeAt(0) & 0xff));
  } catch {
    return null;
  }
}

/**
 * The UTF-16 offset of a byte offset: of a byte inside a character, that of the character. Past the end it is
 * the end.
 * @param {string} text
 * @param {number} bytes
 */
export function unitOffset(text, bytes) {
  return unitWalker(text)(bytes).unit;
}

/** @param {string} text @param {number} unit */
export function byteOffset(text, unit) {
  return utf8Length(text.slice(0, unit));
}

/**
 * Turns byte offsets into UTF-16 offsets, each asked for at or behind the one before it, in one walk over
 * the text.
 * @param {string} text
 * @returns {(bytes: number) => {unit: number, inside: boolean}} `inside` says that the byte is not a
 *   character's first
 */
export function unitWalker(text) {
  let unit = 0;
  let at = 0;
  return (bytes) => {
    while (unit < text.length) {
      const { units, length } = characterAt(text, unit);
      if (at + length > bytes) break;
      at += length;
      unit += units;
    }
    return { unit, inside: unit < text.length && at < bytes };
  };
}

/**
 * How many units a character has, and how many bytes; half of a surrogate pair goes out as U+FFFD.
 * @param {string} text
 * @param {number} at
 */
function characterAt(text, at) {
  const unit = text.charCodeAt(at);
  if (unit < 0x80) return { units: 1, length: 1 };
  if (unit < 0x800) return { units: 1, length: 2 };
  const pair = (unit & 0xfc00) === 0xd800 && (text.charCodeAt(at + 1) & 0xfc00) === 0xdc00;
  return pair ? { units: 2, length: 4 } : { units: 1, length: 3 };
}
