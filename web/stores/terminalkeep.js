// What a reload of the page must not lose: which terminals run, how they stand and what they showed. The
// bridge has no list of terminals and no scrollback, so it is kept in the tab's own storage.

/** The text of one terminal, in characters, and of all: the storage holds about five million. */
export const TEXT_CHARS = 400000;
export const ALL_CHARS = 2000000;

const LIST = 'marlin-terminals';
const TEXT = 'marlin-terminal-text:';

/**
 * @typedef {object} KeptTerminal
 * @property {string} key
 * @property {string} id the bridge's
 * @property {'shell' | 'claude'} kind
 * @property {string} title
 * @property {string} cwd
 * @property {number | null} code null while it runs
 */

/** @typedef {{terminals: KeptTerminal[], layout: unknown}} KeptList */

/**
 * @param {Storage} storage
 * @param {string} session a word that differs from run to run: ids begin again with each
 * @param {KeptList} list
 */
export function keepList(storage, session, list) {
  storage.setItem(LIST, JSON.stringify({ session, ...list }));
  const texts = new Set(list.terminals.map(({ key }) => TEXT + key));
  for (const name of textNames(storage)) if (!texts.has(name)) storage.removeItem(name);
}

/**
 * @param {Storage} storage
 * @param {string} session
 * @returns {KeptList} empty when nothing was kept, or it is another run's
 */
export function keptList(storage, session) {
  const nothing = { terminals: [], layout: null };
  let kept;
  try {
    kept = JSON.parse(storage.getItem(LIST) ?? 'null');
  } catch {
    return nothing;
  }
  if (kept?.session !== session || !Array.isArray(kept.terminals)) return nothing;
  return { terminals: kept.terminals.filter(isTerminal), layout: kept.layout };
}

/**
 * Keeps a terminal's text, as much of its end as there is room for.
 * @param {Storage} storage
 * @param {string} key
 * @param {(rows: number) => string} serialize the text with so many rows above the screen
 * @param {number} rows how many there are
 */
export function keepText(storage, key, serialize, rows) {
  storage.removeItem(TEXT + key);
  let used = 0;
  for (const name of textNames(storage)) used += storage.getItem(name)?.length ?? 0;
  const room = Math.min(TEXT_CHARS, ALL_CHARS - used);
  for (let count = rows; ; count = Math.floor(count / 2)) {
    const text = serialize(count);
    if (text.length <= room && stored(storage, TEXT + key, text)) return true;
    if (count === 0) return false;
  }
}

/** @param {Storage} storage @param {string} key */
export const keptText = (storage, key) => storage.getItem(TEXT + key) ?? '';

/** @param {Storage} storage @param {string} name @param {string} text */
function stored(storage, name, text) {
  try {
    storage.setItem(name, text);
    return true;
  } catch {
    return false; // the storage is full
  }
}

/** @param {Storage} storage */
function textNames(storage) {
  const names = [];
  for (let i = 0; i < storage.length; i++) names.push(storage.key(i) ?? '');
  return names.filter((name) => name.startsWith(TEXT));
}

/** @param {any} one */
function isTerminal(one) {
  const words = ['key', 'id', 'title', 'cwd'].every((field) => typeof one?.[field] === 'string');
  return words && one.id !== '' && (one.kind === 'shell' || one.kind === 'claude') && (one.code === null || typeof one.code === 'number');
}
