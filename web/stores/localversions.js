// Local versions of a file: the texts that the editor wrote, and what it wrote over. Which text is kept, which is
// one with the version before it, and which goes, is decided here; localversionsdisk.js puts it on disk.

import { textHash } from './encoding.js';
import { listOf, numberOf, recordOf, textOf } from './chatwire.js';
import { contentsOf } from './saving.js';

/** Of one file. */
export const MOST_VERSIONS = 50;
/** Of one version. */
export const MOST_BYTES = 262144;
/** A save so soon after the last one takes its place: saving by itself would otherwise push out all the others. */
export const MERGE_MS = 10000;
/** But not for longer than this: an hour of saves a few seconds apart has more than one text in it. */
export const MERGE_AT_MOST_MS = 60000;

/**
 * How a text came to be kept: it was "saved", it was "found" on disk when the editor wrote over it, an earlier one
 * was "restored", or it was "unsaved" when it had to make way for what is on disk.
 * @typedef {'saved' | 'found' | 'restored' | 'unsaved'} Cause
 * @typedef {import('./encoding.js').Encoding} Encoding
 *
 * @typedef {object} Version
 * @property {number} time milliseconds since the epoch; no two of a file have the same, so it names the version
 * @property {number} since the time of the first save that this one took the place of
 * @property {Cause} cause
 * @property {number} size in bytes
 * @property {string} hash of the text with its byte order mark
 * @property {Encoding} encoding
 * @property {number} slot which of the file's places has the bytes
 *
 * A text that may become a version.
 * @typedef {{cause: Cause, bytes: Uint8Array<ArrayBuffer>, encoding: Encoding, time: number}} KeptText
 */

const kCauses = ['saved', 'found', 'restored', 'unsaved'];
const kEncodings = ['utf8', 'utf8bom', 'windows1252'];

/** @param {Uint8Array} bytes */
export const bytesHash = (bytes) => textHash(contentsOf(bytes));

/** Bytes with a NUL are no text to the bridge. @param {Uint8Array} bytes */
export const mayKeep = (bytes) => bytes.length <= MOST_BYTES && !bytes.includes(0);

/**
 * The versions of a file after one more text.
 * @param {readonly Version[]} versions the oldest first
 * @param {Omit<Version, 'since' | 'slot'>} text
 * @param {readonly Version[]} listed what the list on disk names: its places must hold until the new list is there
 * @returns {{versions: Version[], slot: number} | null} where its bytes go, -1 for nowhere; null when nothing changes
 */
export function withText(versions, text, listed) {
  const last = versions.at(-1);
  if (last && sameText(last, text)) return null;
  if (text.cause === 'found' && stoodBefore(versions, text)) return null;
  const merged = last !== undefined && merges(last, text);
  const before = merged ? versions.slice(0, -1) : [...versions];
  const twin = before.at(-1);
  if (merged && twin && sameText(twin, text)) return { versions: before, slot: -1 };
  const slot = freeSlot([...versions, ...listed]);
  const time = Math.max(text.time, (last?.time ?? 0) + 1);
  const version = { ...text, time, since: merged ? last.since : time, slot };
  return { versions: [...before, version].slice(-MOST_VERSIONS), slot };
}

/**
 * Whether the disk held the text when it was last written or looked at. A text that was not saved never got there.
 * @param {readonly Version[]} versions
 * @param {Pick<Version, 'hash' | 'encoding'>} text
 */
function stoodBefore(versions, text) {
  const last = versions.findLast(({ cause }) => cause !== 'unsaved');
  return last !== undefined && sameText(last, text);
}

/** @param {Pick<Version, 'hash' | 'encoding'>} one @param {Pick<Version, 'hash' | 'encoding'>} other */
const sameText = (one, other) => one.hash === other.hash && one.encoding === other.encoding;

/**
 * A clock that was put back makes the last version one of the future, which no save may then replace for good.
 * @param {Version} last
 * @param {{cause: Cause, time: number}} next
 */
function merges(last, next) {
  const after = next.time - last.time;
  const bothSaved = last.cause === 'saved' && next.cause === 'saved';
  return bothSaved && after >= 0 && after < MERGE_MS && next.time - last.since < MERGE_AT_MOST_MS;
}

/** A place that none of the versions has. @param {readonly Version[]} versions */
function freeSlot(versions) {
  const used = new Set(versions.map(({ slot }) => slot));
  for (let slot = 0; ; slot++) if (!used.has(slot)) return slot;
}

/**
 * A list of versions as it was read; what makes no sense is left out.
 * @param {unknown} raw
 * @returns {Version[]}
 */
export function readVersions(raw) {
  return listOf(raw)
    .map(recordOf)
    .map(({ time, since, cause, size, hash, encoding, slot }) => ({
      time: numberOf(time),
      since: numberOf(since),
      cause: /** @type {Cause} */ (textOf(cause)),
      size: numberOf(size),
      hash: textOf(hash),
      encoding: /** @type {Encoding} */ (textOf(encoding)),
      slot: Number.isInteger(slot) ? slot : -1,
    }))
    .filter(({ time, cause, encoding, hash, slot }) => {
      return time > 0 && hash !== '' && slot >= 0 && kCauses.includes(cause) && kEncodings.includes(encoding);
    })
    .sort((one, other) => one.time - other.time)
    .slice(-MOST_VERSIONS);
}

/** @type {Record<Cause, string>} */
export const CAUSE_WORDS = {
  saved: 'Saved',
  found: 'As it was before a save',
  restored: 'Restored',
  unsaved: 'Not saved when the file was reloaded',
};

const exactly = new Intl.DateTimeFormat(undefined, { dateStyle: 'medium', timeStyle: 'medium' });

/** When a version was kept, to the second. @param {number} time */
export const versionMoment = (time) => exactly.format(time);
