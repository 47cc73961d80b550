// Replacing what a search found.
//
// An open text is changed in its editor, where undo brings it back, and is not saved. A file that is not
// open is written at once: by the native side when all matches in it go, or here when only some do, or when
// it is not UTF-8, which the native side would change it to. Nothing is written over a text that is not the
// one that was searched.

import { BridgeError } from '../bridge/api.js';
import { encodeText } from './encoding.js';
import { placeOf } from './searchhits.js';
import { decideSave } from './saving.js';
import { textHash } from './encoding.js';

/**
 * @typedef {import('./searchhits.js').Hit} Hit
 * @typedef {import('./searchmatch.js').TextMatch} TextMatch
 * @typedef {import('./files.js').TextFile} TextFile
 * @typedef {{from: number, to: number, text: string}} Edit
 *
 * @typedef {object} OpenText
 * @property {() => string} text with the line ends of its file, without byte order mark
 * @property {boolean} mark whether the file begins with a byte order mark
 * @property {boolean} readOnly
 * @property {(edits: readonly Edit[]) => void} edit as one step that can be undone
 *
 * @typedef {object} ReplacePorts
 * @property {(path: string) => OpenText | null} open
 * @property {(path: string) => Promise<TextFile | {info: object, text: null}>} read
 * @property {import('./saving.js').SavePorts} files
 * @property {(text: string) => Promise<TextMatch[]>} match all matches in a text, with what replaces them
 * @property {(paths: string[]) => Promise<{files: number, replacements: number, failed: string[]}>}
 *   replaceWhole
 *
 * @typedef {object} Outcome
 * @property {number} replaced
 * @property {string[]} written paths of files that were written
 * @property {string[]} unsaved open texts that were changed
 * @property {{path: string, words: string}[]} failed
 */

const kChanged = 'it is no longer as it was when it was searched';

/**
 * @param {readonly {path: string, hits: readonly Hit[], whole: boolean}[]} files `whole` replaces matches
 *   beyond these hits too
 * @param {ReplacePorts} ports
 * @returns {Promise<Outcome>}
 */
export async function replaceHits(files, ports) {
  /** @type {Outcome} */
  const outcome = { replaced: 0, written: [], unsaved: [], failed: [] };
  /** @type {string[]} */
  const native = [];
  for (const { path, hits, whole } of files) {
    try {
      const open = ports.open(path);
      if (open) {
        outcome.replaced += await replaceInOpen(open, hits, whole, ports);
        outcome.unsaved.push(path);
        continue;
      }
      const file = await readable(path, ports);
      if (whole && file.encoding !== 'windows1252') {
        placesOf(file.text, hits, file.encoding === 'utf8bom');
        native.push(path);
        continue;
      }
      outcome.replaced += await replaceInFile(path, file, hits, whole, ports);
      outcome.written.push(path);
    } catch (error) {
      outcome.failed.push({ path, words: error instanceof Error ? error.message : String(error) });
    }
  }
  if (native.length) await replaceNatively(native, ports, outcome);
  return outcome;
}

/**
 * @param {string[]} paths
 * @param {ReplacePorts} ports
 * @param {Outcome} outcome
 */
async function replaceNatively(paths, ports, outcome) {
  try {
    const { replacements, failed } = await ports.replaceWhole(paths);
    outcome.replaced += replacements;
    outcome.written.push(...paths.filter((path) => !failed.includes(path)));
    outcome.failed.push(...failed.map((path) => ({ path, words: 'it could not be read or written' })));
  } catch (error) {
    if (!(error instanceof BridgeError)) throw error;
    outcome.failed.push(...paths.map((path) => ({ path, words: error.message })));
  }
}

/**
 * @param {OpenText} open
 * @param {readonly Hit[]} hits
 * @param {boolean} whole
 * @param {ReplacePorts} ports
 */
async function replaceInOpen(open, hits, whole, ports) {
  if (open.readOnly) throw new Error('it cannot be edited');
  const text = open.text();
  const edits = editsFor(text, await ports.match(text), hits, whole, open.mark);
  // A key may have come while the matches were looked for.
  if (open.text() !== text) throw new Error('it was edited meanwhile');
  open.edit(edits);
  return edits.length;
}

/**
 * @param {string} path
 * @param {ReplacePorts} ports
 * @returns {Promise<TextFile>}
 */
async function readable(path, ports) {
  const file = await ports.read(path);
  if (file.text === null) throw new Error('it is no text');
  if (/** @type {TextFile} */ (file).truncated) throw new Error('it is too large to be changed here');
  return /** @type {TextFile} */ (file);
}

/**
 * @param {string} path
 * @param {TextFile} file
 * @param {readonly Hit[]} hits
 * @param {boolean} whole
 * @param {ReplacePorts} ports
 */
async function replaceInFile(path, { text, encoding, base }, hits, whole, ports) {
  const edits = editsFor(text, await ports.match(text), hits, whole, encoding === 'utf8bom');
  const bytes = encodeText(edited(text, edits), encoding);
  if (!bytes) throw new Error('its encoding, Windows-1252, has no place for the new text');
  await writeGuarded(path, bytes, base, ports.files);
  return edits.length;
}

/**
 * @param {string} path
 * @param {Uint8Array<ArrayBuffer>} bytes
 * @param {import('./buffers.js').Base} base
 * @param {import('./saving.js').SavePorts} files
 */
async function writeGuarded(path, bytes, base, files) {
  const facts = await files.info(path);
  if (!facts) throw new Error('it is no longer there');
  const same = decideSave(base, facts) === 'write' || textHash(await files.contents(path)) === base.hash;
  if (!same) throw new Error('it changed on disk meanwhile');
  await files.write(path, bytes);
}

/**
 * @param {string} text
 * @param {readonly TextMatch[]} matches
 * @param {readonly Hit[]} hits
 * @param {boolean} whole
 * @param {boolean} mark
 * @returns {Edit[]} in order
 */
function editsFor(text, matches, hits, whole, mark) {
  const places = placesOf(text, hits, mark);
  const chosen = whole
    ? matches
    : places.map(({ from, to }) => matches.find((one) => one.from === from && one.to === to));
  return chosen.map((match) => {
    if (!match) throw new Error(kChanged);
    if (match.replacement === null) throw new Error('the new text would cut a character in two');
    return { from: match.from, to: match.to, text: match.replacement };
  });
}

/**
 * @param {string} text
 * @param {readonly Hit[]} hits
 * @param {boolean} mark
 */
function placesOf(text, hits, mark) {
  return hits.map((hit) => {
    const place = placeOf(text, hit, { mark });
    if (!place) throw new Error(kChanged);
    return place;
  });
}

/**
 * @param {string} text
 * @param {readonly Edit[]} edits in order, none over another
 */
export function edited(text, edits) {
  let at = 0;
  const parts = edits.map((edit) => {
    const part = text.slice(at, edit.from) + edit.text;
    at = edit.to;
    return part;
  });
  return parts.join('') + text.slice(at);
}
