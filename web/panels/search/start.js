// Registers search: its panel, quick open, the box over everything, and what they listen to.

import { effect, untracked } from '@preact/signals';
import { targets } from '../explorer/state.js';
import { watchBuffers } from '../../editor/documents.js';
import { registerCommand } from '../../shell/commands.js';
import { registerPanel } from '../../shell/layout.js';
import { announce } from '../../stores/announce.js';
import { reindex } from '../../stores/indexstats.js';
import { loadRecentFiles } from '../../stores/quickopen.js';
import {
  clearResults,
  options,
  results,
  rows,
  setOptions,
  startSearching,
  state,
  textClosed,
  textEdited,
} from '../../stores/search.js';
import { roots } from '../../stores/settings.js';
import {
  collapseResults,
  copyAll,
  copyRow,
  dismissRow,
  goToHit,
  openTexts,
  replaceAll,
  replaceRow,
  searchInFolder,
  searchNow,
  showSearch,
  toggleOption,
} from './actions.js';
import { registerSources, searchEverywhere } from './everywhere.js';
import { expandLines, matchTexts } from './matcher.js';
import { SearchActions, SearchPanel, wordsOf } from './panel.js';
import { followFront, quickOpen } from './quickopen.js';
import { rowInFocus } from './state.js';

/** @typedef {Parameters<typeof registerCommand>[0]} Command */

const hasResults = () => results.value.length > 0;
const hasRow = () => rowInFocus.value !== null;
const hasRoots = () => roots.value.length > 0;
/** Alt+C and its like belong to the panel only while it has the focus, as the find box has its own. */
const inPanel = () => document.activeElement?.closest('.search') instanceof Element;
const inTree = () => document.activeElement?.closest('.search-tree') instanceof Element;
/** There the same keys find in what the terminal printed. */
const notInTerminal = () => !document.activeElement?.closest('.terminals');
const isReplacing = () => options.value.replacing && hasResults();

/** @type {Command[]} */
const kCommands = [
  {
    id: 'search.focus',
    title: 'Search in Files',
    keys: ['ctrl+shift+f'],
    global: true,
    keysWhen: notInTerminal,
    run: () => showSearch(),
  },
  {
    id: 'search.replace',
    title: 'Replace in Files',
    keys: ['ctrl+shift+h'],
    global: true,
    run: () => showSearch({ replacing: true }),
  },
  {
    id: 'search.next',
    title: 'Go to Next Hit',
    keys: ['f4'],
    global: true,
    when: hasResults,
    run: () => goToHit(1),
  },
  {
    id: 'search.previous',
    title: 'Go to Previous Hit',
    keys: ['shift+f4'],
    global: true,
    when: hasResults,
    run: () => goToHit(-1),
  },
  { id: 'search.again', title: 'Search Again', when: () => options.value.query !== '', run: searchNow },
  {
    id: 'search.clear',
    title: 'Clear Search Results',
    when: () => state.value.asked !== null,
    run: clearResults,
  },
  {
    id: 'search.tree',
    title: 'Results by Folder',
    checked: () => options.value.asTree,
    run: () => setOptions({ asTree: !options.value.asTree }),
  },
  {
    id: 'search.collapse',
    title: 'Fold or Unfold All Results',
    when: () => rows.value.length > 0,
    run: collapseResults,
  },
  {
    id: 'search.files',
    title: 'Choose the Files to Search',
    run: () => {
      const filtering = !options.value.filtering;
      showSearch();
      setOptions({ filtering });
    },
  },
  { id: 'search.copyAll', title: 'Copy All Results', when: hasResults, run: copyAll },
  {
    id: 'search.everywhere',
    title: 'Search Everywhere…',
    keys: ['ctrl+alt+f'],
    global: true,
    run: searchEverywhere,
  },
  {
    id: 'search.inFolder',
    title: 'Search in Folder…',
    when: () => targets.value.some(({ directory }) => directory),
    run: () => searchInFolder(targets.value.find(({ directory }) => directory)?.path ?? ''),
  },
];

/** Commands whose keys count only in the panel. @type {Command[]} */
const kPanelCommands = [
  {
    id: 'search.case',
    title: 'Match Case',
    keys: ['alt+c'],
    checked: () => options.value.caseSensitive,
    run: () => toggleOption('caseSensitive'),
  },
  {
    id: 'search.word',
    title: 'Match Whole Word',
    keys: ['alt+w'],
    checked: () => options.value.wholeWord,
    run: () => toggleOption('wholeWord'),
  },
  {
    id: 'search.regex',
    title: 'Use Regular Expression',
    keys: ['alt+r'],
    checked: () => options.value.regex,
    run: () => toggleOption('regex'),
  },
  {
    id: 'search.replaceAll',
    title: 'Replace All',
    keys: ['ctrl+alt+enter'],
    when: isReplacing,
    run: () => replaceAll(),
  },
];

/** Commands whose keys count only in the results. @type {Command[]} */
const kTreeCommands = [
  { id: 'search.dismiss', title: 'Dismiss', keys: ['delete'], when: hasRow, run: () => dismissRow() },
  {
    id: 'search.replaceHere',
    title: 'Replace',
    keys: ['ctrl+shift+1'],
    when: () => isReplacing() && hasRow(),
    run: () => replaceRow(),
  },
  { id: 'search.copy', title: 'Copy', keys: ['ctrl+c'], when: hasRow, run: () => copyRow() },
];

export function startSearch() {
  registerPanel({
    id: 'search',
    title: 'Search',
    icon: 'search',
    place: 'side',
    component: SearchPanel,
    actions: SearchActions,
    order: 20,
  });
  for (const command of kCommands) registerCommand({ ...command, category: 'Search' });
  for (const command of kPanelCommands)
    registerCommand({ ...command, category: 'Search', keysWhen: inPanel, place: 'search' });
  for (const command of kTreeCommands)
    registerCommand({ ...command, category: 'Search', keysWhen: inTree, place: 'search' });
  registerCommand({
    id: 'go.file',
    title: 'Go to File…',
    category: 'Go',
    keys: ['ctrl+p'],
    global: true,
    run: () => quickOpen(),
  });
  registerCommand({
    id: 'index.scan',
    title: 'Scan All Files Again',
    category: 'Go',
    when: hasRoots,
    run: reindex,
  });
  startSearching({ openTexts, match: matchTexts, expand: expandLines });
  registerSources();
  loadRecentFiles();
  followFront();
  watchBuffers(followBuffer);
  tellOfResults();
}

/** Once a search has ended: until then the numbers only grow. */
function tellOfResults() {
  let searching = false;
  effect(() => {
    const { running, asked } = state.value;
    if (searching && !running && asked) untracked(() => announce('search', wordsOf()));
    searching = running;
  });
}

/**
 * @param {string} id
 * @param {import('../../editor/state.js').TextBuffer} buffer
 */
function followBuffer(id, buffer) {
  const stop = buffer.onEdit(() => textEdited(id));
  return () => {
    stop();
    if (buffer.dirty.value) queueMicrotask(() => textClosed(id));
  };
}
