// "Go to File": words of a path in any order, with ":12" behind them for a line, or "@" and letters of a symbol of
// the text in front.

import { computed, effect, signal } from '@preact/signals';
import { outline, symbolChoices, symbolPreview } from '../../editor/outline.js';
import { documents, frontTab, isUntitled } from '../../editor/state.js';
import { runCommand } from '../../shell/commands.js';
import { narrow, openPick, pick } from '../../shell/quickpick.js';
import { reportError } from '../../shell/toasts.js';
import { indexStats, kIndexLimit, onIndexChange } from '../../stores/indexstats.js';
import { baseName, parentOf, rootOf } from '../../stores/paths.js';
import { findFiles, forgetOpened, kAnswerLimit, noteOpened } from '../../stores/quickopen.js';
import { splitGoal } from '../../stores/quickopenrank.js';
import { roots } from '../../stores/settings.js';
import { openAt } from './open.js';

/** @typedef {import('../../shell/quickpick.js').PickRow} PickRow */
/** @typedef {import('../../stores/quickopen.js').FoundFile} FoundFile */

/** What a row is when only a line was typed. */
const kHere = 'here';
/** What is typed before letters of a symbol. */
const kSymbols = '@';
/** The ids of symbols begin as no path of the workspace does. */
const kSymbolId = '/symbol/';

/**
 * A file as a row: its name, and the folders behind it, without the root where there is only one.
 * @param {Omit<FoundFile, 'score'>} file
 * @returns {PickRow}
 */
export function fileRow({ path, nameAt, folderAt, recent }) {
  const hidden = roots.value.length > 1 ? 0 : rootOf(path).length + 1;
  return {
    item: {
      id: path,
      label: baseName(path),
      description: parentOf(path).slice(hidden),
      icon: 'file',
      group: recent ? 'recently opened' : 'files',
    },
    at: nameAt,
    descriptionAt: folderAt.filter((at) => at >= hidden).map((at) => at - hidden),
  };
}

/** @param {string} [start] what stands in the field at first */
export async function quickOpen(start = '') {
  const rows = signal(/** @type {PickRow[]} */ ([]));
  const cut = signal(false);
  /** About symbols; null while files are looked for. */
  const note = signal(/** @type {string | null} */ (null));
  const preview = symbolPreview();
  const empty = computed(() => (note.value === null ? noFiles() : 'No symbol fits'));
  let goal = splitGoal('');
  let typed = start;
  let asking = new AbortController();
  /** @param {string} query */
  const ask = async (query) => {
    typed = query;
    asking.abort();
    asking = new AbortController();
    const { signal: mine } = asking;
    if (query.startsWith('>')) return showPalette();
    if (query.startsWith(kSymbols)) {
      rows.value = symbolRows(query.slice(kSymbols.length));
      note.value = outline.value.known ? '' : 'No language server tells of the symbols of this text.';
      return;
    }
    note.value = null;
    goal = splitGoal(query);
    try {
      const found = await look(goal, mine);
      if (mine.aborted) return;
      rows.value = found.rows;
      cut.value = found.cut;
    } catch (error) {
      if (!mine.aborted) reportError('Could not look for files', error);
    }
  };
  const stop = onIndexChange(() => ask(typed));
  const stopSymbols = outline.subscribe(() => void (typed.startsWith(kSymbols) && ask(typed)));
  const chosen = await pick({
    title: 'Go to file',
    placeholder: 'Type words of a name or folder, and :line behind them. > is for commands, @ for symbols.',
    items: [],
    query: start,
    live: { rows, note: computed(() => note.value ?? noteOf(cut.value)), empty, ask },
    onActive: (item) => preview.show(symbolKey(item?.id)),
  });
  stop();
  stopSymbols();
  asking.abort();
  preview.end(symbolKey(chosen?.id));
  if (symbolKey(chosen?.id) !== undefined) return;
  if (chosen) await open(chosen.id, goal, chosen.beside === true);
}

const noFiles = () =>
  roots.value.length
    ? 'No file has these words in its path'
    : 'No folder is open, so there are no files to find.';

/** @param {string} [id] of a row */
const symbolKey = (id) => (id?.startsWith(kSymbolId) ? id.slice(kSymbolId.length) : undefined);

/** @param {string} letters @returns {PickRow[]} */
const symbolRows = (letters) =>
  narrow(symbolChoices(), letters).map(({ item, ...found }) => ({
    ...found,
    item: { ...item, id: `${kSymbolId}${item.id}` },
  }));

/**
 * @param {import('../../stores/quickopenrank.js').Goal} goal
 * @param {AbortSignal} stop
 * @returns {Promise<{rows: PickRow[], cut: boolean}>}
 */
async function look({ words, line }, stop) {
  const front = frontTab.value?.id ?? '';
  if (!words.trim() && line !== undefined) return { rows: lineRow(line), cut: false };
  const { files, cut } = await findFiles(words, stop);
  // Without a word the first is the file before this one: Enter goes back and forth.
  const here = words.trim() ? [] : files.filter(({ path }) => path === front);
  const others = files.filter((file) => !here.includes(file));
  return {
    rows: [...others, ...here.map((file) => ({ ...file, recent: false }))].map(fileRow),
    cut: cut && words.trim() !== '',
  };
}

/**
 * @param {number} line
 * @returns {PickRow[]}
 */
function lineRow(line) {
  if (!frontTab.value) return [];
  return [{ item: { id: kHere, label: `Go to line ${line}`, icon: 'list-ordered' }, at: [] }];
}

/** What is not in the list, in words. @param {boolean} cut */
export function noteOf(cut) {
  const stats = indexStats.value;
  if (stats?.scanning) return 'The list of files is being made, so some may be missing.';
  if (cut) return `More than ${kAnswerLimit} files fit. Type more of the path.`;
  if (stats?.truncated)
    return `Only ${kIndexLimit.toLocaleString('en')} files are listed: this workspace has more.`;
  return '';
}

function showPalette() {
  openPick.value?.close(null);
  // Once the focus is back where it was, so that the palette can give it back there too.
  requestAnimationFrame(() => void runCommand('palette.show'));
}

/**
 * @param {string} id
 * @param {import('../../stores/quickopenrank.js').Goal} goal
 * @param {boolean} beside
 */
async function open(id, { line, column }, beside) {
  const path = id === kHere ? (frontTab.value?.id ?? '') : id;
  await openAt(path, { line, column }, { beside });
  if (documents.value.get(path)?.content.value.kind === 'failed') forgetOpened(path);
}

/** Remembers each file that comes to the front. */
export function followFront() {
  effect(() => {
    const id = frontTab.value?.id ?? '';
    if (id && !isUntitled(id)) queueMicrotask(() => noteOpened(id));
  });
}
