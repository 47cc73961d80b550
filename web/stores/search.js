// Searching in files: what is asked for, the results, and how they follow the texts that are edited
// meanwhile.

import { computed, signal } from '@preact/signals';
import { BridgeError, call, get } from '../bridge/api.js';
import { on, onReconnect } from '../bridge/events.js';
import { readBytes, readTextFile, savePorts } from './files.js';
import { baseName, isInside } from './paths.js';
import { watchedChange, watchedPorts } from './savewatch.js';
import { hitKey, hitOf, hitsOfText } from './searchhits.js';
import { replaceHits } from './searchreplace.js';
import { countHits, filtered, gather, rowsOf, withFile } from './searchresults.js';
import * as uistate from './uistate.js';

/** The native side answers with no more hits than this. */
export const kHitLimit = 500;
/** How long the keys must be quiet before what is typed is searched. */
export const kTypedMs = 250;
/** The same for edits of open texts. */
export const kEditedMs = 300;
/** Of more files that changed at once the results only say that they are old. */
const kReread = 20;
const kQueriesKept = 30;
const kOptionsKey = 'search.options';
const kQueriesKey = 'search.queries';

/**
 * @typedef {import('./searchhits.js').Hit} Hit
 * @typedef {import('./searchresults.js').FileHits} FileHits
 * @typedef {import('./searchmatch.js').TextMatch} TextMatch
 * @typedef {import('./searchreplace.js').OpenText & {id: string, name: string, dirty: boolean}} OpenText
 *
 * @typedef {object} SearchOptions
 * @property {string} query
 * @property {string} replacement
 * @property {boolean} caseSensitive
 * @property {boolean} wholeWord
 * @property {boolean} regex
 * @property {string} extensions
 * @property {string} include
 * @property {string} exclude
 * @property {boolean} asTree
 * @property {boolean} replacing whether the field for a replacement is there
 * @property {boolean} filtering whether the fields about files are there
 *
 * What the search needs of the editor. `match` gives all matches in each text; it fails with the reason
 * for a pattern that cannot be searched in the page.
 * @typedef {object} SearchPorts
 * @property {() => OpenText[]} openTexts
 * @property {(texts: readonly string[], wanted: MatchWish, signal?: AbortSignal) => Promise<TextMatch[][]>}
 *   match
 * @property {(lines: readonly {text: string, from: number, to: number}[], wanted: MatchWish,
 *   signal?: AbortSignal) => Promise<(string | null)[]>} expand
 *
 * @typedef {{query: string, options: import('./searchmatch.js').MatchOptions, replacement: string, limit?:
 *   number}} MatchWish
 */

/** @type {SearchOptions} */
const kFresh = {
  query: '',
  replacement: '',
  caseSensitive: false,
  wholeWord: false,
  regex: false,
  extensions: '',
  include: '',
  exclude: '',
  asTree: false,
  replacing: false,
  filtering: false,
};

export const options = signal(kFresh);
/** Searches made lately, the latest last. @type {import('@preact/signals').Signal<string[]>} */
export const queries = signal([]);

/**
 * `asked` is what the results are the answer to; null before the first search.
 * @typedef {{running: boolean, asked: SearchOptions | null, error: string, notes: string[], cut: boolean}}
 *   SearchState
 * @type {import('@preact/signals').Signal<SearchState>}
 */
export const state = signal({ running: false, asked: null, error: '', notes: [], cut: false });

/** @type {import('@preact/signals').Signal<FileHits[]>} */
const found = signal([]);
/**
 * Keys of hits that the user took out of the results.
 * @type {import('@preact/signals').Signal<ReadonlySet<string>>}
 */
const dismissed = signal(new Set());
/** Keys of rows. @type {import('@preact/signals').Signal<ReadonlySet<string>>} */
export const collapsed = signal(new Set());

/** All that was found, but for what the filters and the user leave out. */
export const results = computed(() => {
  const { include, exclude } = options.value;
  return filtered(found.value, { include, exclude, dismissed: dismissed.value });
});
export const counts = computed(() => ({
  hits: countHits(results.value),
  files: results.value.length,
  left: countHits(found.value) - countHits(results.value),
  stale: results.value.filter(({ stale }) => stale).length,
}));
export const rows = computed(() => {
  const names = new Map(ports.openTexts().map(({ id, name }) => [id, name]));
  const nameOf = (/** @type {string} */ path) =>
    path.includes('/') ? baseName(path) : (names.get(path) ?? path);
  return rowsOf(results.value, { asTree: options.value.asTree, collapsed: collapsed.value, nameOf });
});

/**
 * What hits become, by their keys; null where the line does not tell.
 * @type {import('@preact/signals').Signal<ReadonlyMap<string, string | null>>}
 */
export const previews = signal(new Map());

/** @type {SearchPorts} */
let ports = {
  openTexts: () => [],
  match: async (texts) => texts.map(() => []),
  expand: async (lines) => lines.map(() => null),
};

/** @type {AbortController | null} */
let searching = null;
/** @type {AbortController | null} */
let previewing = null;
/** @type {ReturnType<typeof setTimeout> | undefined} */
let typedTimer;
/** @type {ReturnType<typeof setTimeout> | undefined} */
let editedTimer;
/** Open texts that were edited and not looked at since. @type {Set<string>} */
const edits = new Set();

/** @param {SearchPorts} editor */
export function startSearching(editor) {
  ports = editor;
  const kept = uistate.get(kOptionsKey, /** @type {Record<string, unknown>} */ ({}));
  /** @type {Record<string, unknown>} */
  const next = { ...kFresh };
  for (const [key, value] of Object.entries(kFresh))
    if (typeof kept?.[key] === typeof value) next[key] = kept[key];
  options.value = /** @type {SearchOptions} */ (/** @type {unknown} */ (next));
  const list = uistate.get(kQueriesKey, /** @type {unknown} */ ([]));
  if (Array.isArray(list)) queries.value = list.filter((query) => typeof query === 'string');
  on('fs.changed', ({ paths, count }) => changedOnDisk(paths, count));
  onReconnect(() => markStale(() => true));
}

/**
 * Changes what is asked for; `soon` searches once the keys are quiet.
 * @param {Partial<SearchOptions>} change
 * @param {{soon?: boolean}} [when]
 */
export function setOptions(change, { soon = false } = {}) {
  options.value = { ...options.value, ...change };
  uistate.set(kOptionsKey, options.value);
  if ('replacement' in change || 'replacing' in change) void preview();
  if (!soon) return;
  clearTimeout(typedTimer);
  typedTimer = setTimeout(search, kTypedMs);
}

/**
 * Searches for what is asked; a search that still runs is given up, and its results stay until the new ones
 * are there.
 * @returns {Promise<void>} a failure is in the state
 */
export async function search() {
  clearTimeout(typedTimer);
  searching?.abort();
  const asked = options.value;
  if (asked.query === '') return clearResults();
  const mine = new AbortController();
  searching = mine;
  state.value = { ...state.value, running: true };
  try {
    const answer = await ask(asked, mine.signal);
    if (mine.signal.aborted) return;
    const { own, notes } = answer.error
      ? { own: new Map(), notes: [] }
      : await askOpenTexts(asked, mine.signal);
    if (mine.signal.aborted) return;
    const hits = answer.results.map(hitOf);
    enter(asked, gather(hits, own), { error: answer.error, notes, cut: hits.length >= kHitLimit });
  } catch (error) {
    if (mine.signal.aborted) return;
    enter(asked, [], {
      error: wordsOf(error),
      notes: [],
      cut: false,
    });
  }
}

/** Gives a running search up. */
export function stopSearching() {
  clearTimeout(typedTimer);
  searching?.abort();
  state.value = { ...state.value, running: false };
}

/** Forgets the results, not what was asked. */
export function clearResults() {
  stopSearching();
  found.value = [];
  dismissed.value = new Set();
  previews.value = new Map();
  state.value = { running: false, asked: null, error: '', notes: [], cut: false };
}

/**
 * @param {SearchOptions} asked
 * @param {FileHits[]} files
 * @param {Pick<SearchState, 'error' | 'notes' | 'cut'>} outcome
 */
function enter(asked, files, outcome) {
  found.value = files;
  dismissed.value = new Set();
  state.value = { running: false, asked, ...outcome };
  void preview();
}

/** Keeps a query that was meant, as Enter or a look at a hit shows. */
export function rememberQuery() {
  const { query } = options.value;
  if (!query || queries.value.at(-1) === query) return;
  queries.value = [...queries.value.filter((one) => one !== query), query].slice(-kQueriesKept);
  uistate.set(kQueriesKey, queries.value);
}

/**
 * @param {SearchOptions} asked
 * @param {AbortSignal} [signal]
 * @returns {Promise<{error: string, results: import('./searchhits.js').RawHit[]}>}
 */
async function ask({ query, caseSensitive, wholeWord, regex, extensions }, signal) {
  const flag = (/** @type {boolean} */ set) => (set ? '1' : '');
  const answer = await get(
    'search/text',
    { q: query, case: flag(caseSensitive), word: flag(wholeWord), regex: flag(regex), ext: extensions },
    { signal },
  );
  return { error: answer.error ?? '', results: Array.isArray(answer.results) ? answer.results : [] };
}

/**
 * The hits of a plain text that disregards case, for a box that searches more than texts.
 * @param {string} query
 * @param {AbortSignal} signal
 * @returns {Promise<{hits: Hit[], cut: boolean}>}
 */
export async function findText(query, signal) {
  const asked = { ...kFresh, query };
  const [answer, { own }] = await Promise.all([ask(asked, signal), askOpenTexts(asked, signal)]);
  const hits = answer.results.map(hitOf);
  return { hits: gather(hits, own).flatMap((file) => file.hits), cut: hits.length >= kHitLimit };
}

/**
 * The hits in open texts that are not saved. One that cannot be searched keeps the hits of its file.
 * @param {SearchOptions} asked
 * @param {AbortSignal} signal
 */
async function askOpenTexts(asked, signal) {
  const texts = ports.openTexts().filter(({ id, dirty }) => dirty && mayHold(id, asked.extensions));
  /** @type {Map<string, Hit[]>} */
  const own = new Map();
  if (texts.length === 0) return { own, notes: [] };
  try {
    const read = texts.map((text) => text.text());
    const matches = await ports.match(read, wish(asked, kHitLimit), signal);
    texts.forEach(({ id, mark }, i) =>
      own.set(id, hitsOfText(id, read[i] ?? '', matches[i] ?? [], { mark })),
    );
    return { own, notes: [] };
  } catch (error) {
    if (signal.aborted) throw error;
    return { own, notes: [unsearched(texts, error)] };
  }
}

/** @param {unknown} error */
function wordsOf(error) {
  return error instanceof Error ? error.message : String(error);
}

/** @param {readonly OpenText[]} texts @param {unknown} error */
function unsearched(texts, error) {
  const names = texts.map(({ name }) => name).join(', ');
  return `Unsaved changes were not searched (${names}): ${wordsOf(error)}`;
}

/**
 * @param {SearchOptions} asked
 * @param {number} [limit]
 * @returns {MatchWish}
 */
function wish({ query, caseSensitive, wholeWord, regex, replacement }, limit) {
  return { query, options: { caseSensitive, wholeWord, regex }, replacement, limit };
}

/**
 * Whether a text has one of the extensions, if any are given. An untitled page has none.
 * @param {string} id
 * @param {string} extensions
 */
function mayHold(id, extensions) {
  const wanted = extensions
    .split(',')
    .map((one) => one.trim().toLowerCase().replace(/^\.+/, ''))
    .filter(Boolean);
  if (wanted.length === 0) return true;
  const name = baseName(id).toLowerCase();
  const dot = name.lastIndexOf('.');
  return id.includes('/') && dot >= 0 && wanted.includes(name.slice(dot + 1));
}

/**
 * An open text was edited: its hits follow once the keys are quiet.
 * @param {string} id
 */
export function textEdited(id) {
  if (!state.value.asked) return;
  edits.add(id);
  clearTimeout(editedTimer);
  editedTimer = setTimeout(() => void followEdits(), kEditedMs);
}

/**
 * An open text was let go of. What it held unsaved is gone, and its file is searched again.
 * @param {string} id
 */
export function textClosed(id) {
  if (id.includes('/')) void lookAgain(id);
  else found.value = withFile(found.value, id, []);
}

async function followEdits() {
  const ids = [...edits];
  edits.clear();
  for (const id of ids) await lookAgain(id);
}

/**
 * Searches one file anew, as it is in the editor or else on disk.
 * @param {string} path
 */
async function lookAgain(path) {
  const { asked, error } = state.value;
  if (!asked || error || !mayHold(path, asked.extensions)) return;
  try {
    const { text, mark } = await currentText(path);
    const [matches = []] = text === null ? [] : await ports.match([text], wish(asked, kHitLimit));
    if (state.value.asked !== asked) return;
    found.value = withFile(found.value, path, text === null ? [] : hitsOfText(path, text, matches, { mark }));
    void preview();
  } catch (error) {
    const gone = error instanceof BridgeError && error.status === 404;
    if (gone) found.value = withFile(found.value, path, []);
    else markStale((one) => one === path);
  }
}

/**
 * @param {string} path
 * @returns {Promise<{text: string | null, mark: boolean}>}
 */
async function currentText(path) {
  const open = ports.openTexts().find(({ id }) => id === path);
  if (open) return { text: open.text(), mark: open.mark };
  const file = await readTextFile(path);
  if (file.text === null) return { text: null, mark: false };
  return { text: file.text, mark: 'encoding' in file && file.encoding === 'utf8bom' };
}

/**
 * @param {readonly string[]} paths the first of those that changed
 * @param {number} count how many did
 */
async function changedOnDisk(paths, count) {
  const touched = found.value.filter(({ path }) => paths.some((changed) => isInside(path, changed)));
  if (count > paths.length || touched.length > kReread) {
    markStale((path) => count > paths.length || touched.some((file) => file.path === path));
    return;
  }
  for (const { path } of touched) await lookAgain(path);
}

/** @param {(path: string) => boolean} fits */
function markStale(fits) {
  found.value = found.value.map((file) => (fits(file.path) ? { ...file, stale: true } : file));
}

/**
 * Takes hits out of the results.
 * @param {readonly Hit[]} hits
 */
export function dismiss(hits) {
  dismissed.value = new Set([...dismissed.value, ...hits.map(hitKey)]);
}

/** @param {string} key of a row @param {boolean} open */
export function setExpanded(key, open) {
  const next = new Set(collapsed.value);
  if (open) next.delete(key);
  else next.add(key);
  collapsed.value = next;
}

/** @param {readonly string[]} keys */
export function setCollapsed(keys) {
  collapsed.value = new Set(keys);
}

/** Works out what the hits become, while a replacement is shown. */
async function preview() {
  previewing?.abort();
  const { replacing, replacement } = options.value;
  const { asked } = state.value;
  if (!replacing || !asked) return;
  const mine = new AbortController();
  previewing = mine;
  const hits = found.value.flatMap((file) => file.hits);
  try {
    const words = await ports.expand(hits, wish({ ...asked, replacement }), mine.signal);
    if (mine.signal.aborted) return;
    previews.value = new Map(hits.map((hit, i) => [hitKey(hit), words[i] ?? null]));
  } catch {
    // A pattern that only the native side knows: the rows say that the new text is not known yet.
    if (!mine.signal.aborted) previews.value = new Map(hits.map((hit) => [hitKey(hit), null]));
  }
}

/**
 * Replaces hits; `whole` files have every match replaced, also those beyond the hits that are known.
 * @param {readonly {path: string, hits: readonly Hit[], whole: boolean}[]} files
 */
export async function replace(files) {
  const { asked } = state.value;
  if (!asked) throw new Error('nothing to search for');
  const { replacement } = options.value;
  const { query, caseSensitive, wholeWord: word, regex } = asked;
  const wanted = wish({ ...asked, replacement });
  const outcome = await replaceHits(files, {
    open: (path) => ports.openTexts().find(({ id }) => id === path) ?? null,
    read: readTextFile,
    files: watchedPorts(savePorts),
    match: async (text) => (await ports.match([text], wanted))[0] ?? [],
    replaceWhole: (paths) =>
      watchedChange(paths, { info: savePorts.info, read: readBytes }, () =>
        call('search/replace', { query, replacement, case: caseSensitive, word, regex, paths }),
      ),
  });
  for (const path of [...outcome.written, ...outcome.unsaved]) await lookAgain(path);
  return outcome;
}
