// The GitHub panel: pull requests, issues and runs of each repository, as gh tells them.

import { html } from 'htm/preact';
import { useEffect, useLayoutEffect, useRef } from 'preact/hooks';
import { icon } from '../../shell/icons.js';
import { IconButton } from '../../shell/places.js';
import { gitState, lateRoots } from '../../stores/git.js';
import {
  account,
  githubFailure,
  githubMessage,
  githubState,
  readAt,
  reading,
  refreshGithub,
  watchGithub,
} from '../../stores/github.js';
import { roots } from '../../stores/settings.js';
import { rowIndex, treeMove, typeahead } from '../../stores/tree.js';
import { activate, signIn } from './actions.js';
import { outcomeIcon, rowIcon } from './marks.js';
import { showRowMenu } from './rowmenu.js';
import { collapsed, fold, focused, focusedRow, names, rows } from './state.js';

/** @typedef {import('../../stores/githubrows.js').GithubRow} GithubRow */

export function GithubPanel() {
  useEffect(() => watchGithub(), []);
  return html`<div class="github">
    <${Notes} />
    ${names.value.length > 0 && githubState.value === 'ready' && html`<${Tree} />`}
    <${Foot} />
  </div>`;
}

export function GithubActions() {
  return html`<${IconButton} icon="refresh" command="github.refresh" />`;
}

/** What is to be said beside the rows, or instead of them. */
function Notes() {
  const late = lateRoots.value;
  return html`
    ${
      githubFailure.value &&
      html`<div class="github-note" role="alert">
        <p>Could not read GitHub: ${githubFailure.value}</p>
        <button type="button" class="button" onClick=${() => refreshGithub()}>Try Again</button>
      </div>`
    }
    <${StateNote} />
    ${
      late.length > 0 &&
      html`<p class="github-note">
        Git looks for repositories when Marlin Bench starts. Start it again if one is in: ${late.join(', ')}
      </p>`
    }
  `;
}

function StateNote() {
  switch (githubState.value) {
    case 'missing':
      return html`<div class="github-note" role="status">
        <p>${githubMessage.value}</p>
        <p>On Linux it is the package <code>gh</code> of most distributions. Start Marlin Bench again once it is there.</p>
      </div>`;
    case 'signed out':
      return html`<div class="github-note" role="status">
        <p>${githubMessage.value}</p>
        <button type="button" class="button primary" onClick=${signIn}>Sign In in a Terminal</button>
        <button type="button" class="button" onClick=${() => refreshGithub()}>Look Again</button>
      </div>`;
    default:
      return html`<${EmptyNote} />`;
  }
}

function EmptyNote() {
  if (names.value.length > 0) {
    const asking = githubState.value === 'unknown' && !githubFailure.value;
    return asking && html`<p class="github-note" role="status">Asking GitHub…</p>`;
  }
  const words = emptyWords();
  return words && html`<p class="github-note" role="status">${words}</p>`;
}

function emptyWords() {
  if (gitState.value === 'unknown') return 'Asking git…';
  if (gitState.value === 'missing') return 'Git was not found. Install it, then start Marlin Bench again.';
  if (roots.value.length === 0) return 'Add a folder with a repository of GitHub to see its pull requests here.';
  return lateRoots.value.length ? '' : 'No folder of the workspace is a git repository.';
}

/** Who is signed in, and how old this is. */
function Foot() {
  if (githubState.value !== 'ready') return null;
  const at = new Date(readAt.value).toLocaleTimeString([], { hour: '2-digit', minute: '2-digit' });
  const state = reading.value ? `Reading ${reading.value}…` : `Read at ${at}`;
  return html`<p class="github-foot">
    <span>${account.value && `Signed in as ${account.value}`}</span>
    <span role="status">${readAt.value || reading.value ? state : ''}</span>
  </p>`;
}

function Tree() {
  const tree = useRef(/** @type {HTMLDivElement | null} */ (null));
  const at = focusedRow.value;
  useLayoutEffect(() => {
    const element = tree.current?.querySelector('[tabindex="0"]');
    element?.scrollIntoView({ block: 'nearest' });
    if (element instanceof HTMLElement && tree.current?.contains(document.activeElement)) element.focus();
  }, [focused.value]);
  return html`<div
    class="github-tree"
    role="tree"
    aria-label="GitHub"
    data-focus
    tabindex="-1"
    ref=${tree}
    onKeyDown=${onKey}
    onContextMenu=${onContext}
  >
    ${rows.value.map((row) => html`<${Row} key=${row.path} row=${row} front=${row.path === at?.path} />`)}
  </div>`;
}

/** @param {{row: GithubRow, front: boolean}} props */
function Row({ row, front }) {
  const { path, name, words, directory, expanded, depth, count, failure, outcome } = row;
  return html`
    <div
      class=${`github-row ${depth === 0 ? 'repo' : ''} ${row.pull ? 'two' : ''} ${row.section && directory ? 'section' : ''} ${front ? 'selected' : ''}`}
      role="treeitem"
      data-key=${path}
      tabindex=${front ? 0 : -1}
      aria-level=${depth + 1}
      aria-setsize=${row.siblings}
      aria-posinset=${row.position}
      aria-selected=${front}
      aria-expanded=${directory ? expanded : undefined}
      title=${[name, words].filter(Boolean).join(', ')}
      style=${{ paddingLeft: `${0.5 + depth * 0.75}rem` }}
      onClick=${() => {
        focused.value = path;
        if (row.pull || directory) activate(row, { preview: true, focus: false });
      }}
      onDblClick=${() => !directory && activate(row)}
      onFocus=${() => {
        if (focused.value !== path) focused.value = path;
      }}
    >
      ${directory && icon(expanded ? 'chevron-down' : 'chevron-right', 'twistie')}
      <span class="unseen">${rowWords(row)}</span>
      <span class="github-cells" aria-hidden="true">
        ${rowIcon(row)}
        <span class="github-name">${name}</span>
        <span class="github-words">${words}</span>
        ${outcome && outcome !== 'none' && outcomeIcon(outcome)}
        ${count && html`<span class="github-count">${count}</span>`}
      </span>
    </div>
    ${failure && html`<${Failure} row=${row} />`}
  `;
}

/** Why there is nothing, or not all, of a repository: in gh's words. @param {{row: GithubRow}} props */
function Failure({ row: { name, words, failure } }) {
  const lead = words ? `Could not read all of ${words}` : `${name} is no repository of GitHub, or gh cannot reach it`;
  return html`<p class="github-note inner" role="none">${lead}: ${failure}</p>`;
}

/** @param {GithubRow} row */
function rowWords({ name, words, count, failure }) {
  return [name, count, words, failure].filter(Boolean).join(', ');
}

let typed = '';
let typedAt = 0;
const kTypeaheadMs = 700;

/** @param {KeyboardEvent} event */
function onKey(event) {
  if (event.altKey || event.metaKey || event.ctrlKey) return;
  const row = focusedRow.value;
  if (!row || !(act(event.key, row) || moveFocus(event.key, row) || typeLetter(event.key, row))) return;
  event.preventDefault();
  event.stopPropagation();
}

/** @param {string} key @param {GithubRow} row */
function act(key, row) {
  if (key === 'Enter') activate(row);
  else if (key === ' ' && (row.pull || row.directory)) activate(row, { preview: true, focus: false });
  else return false;
  return true;
}

/** Rows that a page key passes. */
const kPage = 15;

/** @param {string} key @param {GithubRow} row */
function moveFocus(key, row) {
  const move = treeMove(rows.value, row.path, key, kPage);
  if (!move) return false;
  if ('focus' in move) focused.value = move.focus;
  else if ('expand' in move) fold(move.expand, false);
  else if (!collapsed.value.has(move.collapse)) fold(move.collapse, true);
  return true;
}

/** @param {string} key @param {GithubRow} row */
function typeLetter(key, row) {
  if (key.length !== 1 || key === ' ') return false;
  const now = Date.now();
  typed = now - typedAt > kTypeaheadMs ? key : typed + key;
  typedAt = now;
  focused.value = typeahead(rows.value, row.path, typed) || row.path;
  return true;
}

/** @param {MouseEvent} event */
function onContext(event) {
  event.preventDefault();
  const element = event.target instanceof Element ? event.target.closest('[data-key]') : null;
  const row = rows.value[rowIndex(rows.value, element?.getAttribute('data-key') ?? '')] ?? focusedRow.value;
  if (!row) return;
  focused.value = row.path;
  showRowMenu(event.clientX, event.clientY, row);
}

/** Puts the real focus on the row that has the panel's. */
export function focusGithub() {
  const row = document.querySelector('.github-tree [tabindex="0"], .github .button');
  if (row instanceof HTMLElement) row.focus({ preventScroll: true });
}
