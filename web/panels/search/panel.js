// The search panel: what is searched, how, in which files, and what came of it.

import { html } from 'htm/preact';
import { commandById, keyFor, runCommand } from '../../shell/commands.js';
import { icon } from '../../shell/icons.js';
import { IconButton } from '../../shell/places.js';
import { noRecall, recalled } from '../../stores/chatrecall.js';
import { indexStats, kIndexLimit } from '../../stores/indexstats.js';
import {
  counts,
  kHitLimit,
  options,
  queries,
  rows,
  setOptions,
  state,
  stopSearching,
} from '../../stores/search.js';
import { roots } from '../../stores/settings.js';
import { counted, searchNow } from './actions.js';
import { enterTree, Results } from './results.js';

export function SearchPanel() {
  const { replacing, filtering } = options.value;
  return html`<div class="search" role="search">
    <div class="search-form">
      <button
        type="button"
        class="icon-button search-fold"
        aria-label="Replace"
        title=${withKeys('Replace', 'search.replace')}
        aria-expanded=${String(replacing)}
        onClick=${() => setOptions({ replacing: !replacing })}
      >
        ${icon(replacing ? 'chevron-down' : 'chevron-right')}
      </button>
      <div class="search-fields">
        <${QueryField} />
        ${replacing && html`<${ReplaceField} />`}
        <button
          type="button"
          class="button quiet search-more"
          aria-expanded=${String(filtering)}
          onClick=${() => setOptions({ filtering: !filtering })}
        >
          ${icon(filtering ? 'chevron-down' : 'chevron-right')} Files to search
        </button>
        ${filtering && html`<${FileFields} />`}
      </div>
    </div>
    <${Summary} />
    ${rows.value.length > 0 && html`<${Results} />`}
  </div>`;
}

/** Where Up and Down stand among the earlier queries. */
let recall = noRecall;

function QueryField() {
  const { query } = options.value;
  /** @param {KeyboardEvent} event */
  const onKeyDown = (event) => {
    if (event.isComposing || event.altKey || event.shiftKey) return;
    if (event.key === 'Enter') void searchNow();
    else if (event.key === 'ArrowDown' && event.ctrlKey) enterTree();
    else if (event.key === 'ArrowDown' || event.key === 'ArrowUp')
      recallStep(event.key === 'ArrowUp' ? -1 : 1);
    else if (event.key === 'Escape' && state.value.running) stopSearching();
    else return;
    event.preventDefault();
    event.stopPropagation();
  };
  return html`<div class=${`search-field ${state.value.error ? 'wrong' : ''}`}>
    <input
      class="search-query"
      data-focus
      type="text"
      aria-label="Search"
      aria-invalid=${String(state.value.error !== '')}
      placeholder="Search"
      spellcheck=${false}
      autocomplete="off"
      value=${query}
      onInput=${(/** @type {Event} */ event) => {
        recall = noRecall;
        setOptions({ query: valueOf(event) }, { soon: true });
      }}
      onKeyDown=${onKeyDown}
    />
    <${Toggle} icon="case-sensitive" command="search.case" on=${options.value.caseSensitive} />
    <${Toggle} icon="whole-word" command="search.word" on=${options.value.wholeWord} />
    <${Toggle} icon="regex" command="search.regex" on=${options.value.regex} />
  </div>`;
}

/** @param {-1 | 1} step */
function recallStep(step) {
  const found = recalled(queries.value, recall, step, options.value.query);
  if (!found) return;
  recall = found.recall;
  setOptions({ query: found.text }, { soon: true });
}

/** @param {{icon: string, command: string, on: boolean}} props */
function Toggle({ icon: name, command, on }) {
  return html`<${IconButton} icon=${name} command=${command} pressed=${on} />`;
}

function ReplaceField() {
  return html`<div class="search-field">
    <input
      class="search-replacement"
      type="text"
      aria-label="Replace with"
      placeholder=${options.value.regex ? 'Replace with ($1 is a group, $& the match)' : 'Replace with'}
      spellcheck=${false}
      autocomplete="off"
      value=${options.value.replacement}
      onInput=${(/** @type {Event} */ event) => setOptions({ replacement: valueOf(event) })}
      onKeyDown=${(/** @type {KeyboardEvent} */ event) => {
        if (event.isComposing || event.key !== 'Enter' || event.altKey) return;
        event.preventDefault();
        event.stopPropagation();
        void (event.ctrlKey ? runCommand('search.replaceAll') : searchNow());
      }}
    />
    <${IconButton} icon="replace-all" command="search.replaceAll" />
  </div>`;
}

/** Key, name and example of each; the extensions go to the native side, the others work on its answer. */
const kFileFields = /** @type {const} */ ([
  ['extensions', 'Extensions', 'js, css', true],
  ['include', 'Only in', 'src, *.test.js', false],
  ['exclude', 'Not in', 'docs/**, *.min.js', false],
]);

function FileFields() {
  return html`<div class="search-files">
    ${kFileFields.map(
      ([key, label, example, again]) => html`<label class="search-label" key=${key}>
        <span>${label}</span>
        <input
          class="field"
          type="text"
          placeholder=${example}
          spellcheck=${false}
          autocomplete="off"
          value=${options.value[key]}
          onInput=${(/** @type {Event} */ event) => setOptions({ [key]: valueOf(event) }, { soon: again })}
          onKeyDown=${(/** @type {KeyboardEvent} */ event) => {
            if (event.key === 'Enter' && !event.isComposing) void searchNow();
          }}
        />
      </label>`,
    )}
  </div>`;
}

/** @param {Event} event */
function valueOf(event) {
  return /** @type {HTMLInputElement} */ (event.target).value;
}

function Summary() {
  const { running, asked, error, notes } = state.value;
  const again = asked && counts.value.stale > 0;
  return html`<div class="search-summary">
    <div class="search-words">
      <span>${wordsOf()}</span>
      ${running && icon('loading', 'spin')}
    </div>
    ${error && html`<p class="search-error" role="alert">Could not search: ${error}</p>`}
    ${[...limits(), ...notes].map((words) => html`<p class="search-note" key=${words}>${words}</p>`)}
    ${again && html`<button class="button quiet" onClick=${searchNow}>Search again</button>`}
  </div>`;
}

/** What came of the search, in words. */
export function wordsOf() {
  const { running, asked, error } = state.value;
  const { hits, files } = counts.value;
  if (roots.value.length === 0) return 'No folder is open. Add one in the explorer to search in its files.';
  if (!asked)
    return running ? 'Searching…' : 'Type what to look for. Unsaved text of open files is searched too.';
  if (error) return '';
  if (hits === 0) return running ? 'Searching…' : 'Nothing was found.';
  return `${counted(hits, 'hit')} in ${counted(files, 'file')}`;
}

/** What the results leave out, in words. */
function limits() {
  const { asked, error, cut } = state.value;
  if (!asked || error) return [];
  const { left, stale } = counts.value;
  const stats = indexStats.value;
  const { include, exclude } = options.value;
  return [
    cut &&
      `Only the first ${kHitLimit} hits were found. ${include || exclude ? 'Filters work on these. ' : ''}` +
        'Search for more letters, or name extensions, to see the others.',
    left > 0 && `${counted(left, 'hit')} ${left === 1 ? 'is' : 'are'} filtered out or dismissed.`,
    stale > 0 && `${counted(stale, 'file')} changed since this search.`,
    stats?.truncated &&
      `The list of files was cut at ${kIndexLimit.toLocaleString('en')}: others were not searched.`,
  ].filter((words) => typeof words === 'string');
}

export function SearchActions() {
  const { asTree } = options.value;
  return html`
    <${IconButton} icon="refresh" command="search.again" />
    <${IconButton} icon="clear-all" command="search.clear" />
    <${IconButton} icon=${asTree ? 'list-flat' : 'list-tree'} command="search.tree" pressed=${asTree} />
    <${IconButton} icon="collapse-all" command="search.collapse" />
  `;
}

/** @param {string} words @param {string} command */
function withKeys(words, command) {
  return commandById(command) && keyFor(command) ? `${words} (${keyFor(command)})` : words;
}
