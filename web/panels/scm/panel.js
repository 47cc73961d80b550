// The source control panel: each repository with its branch, and what is staged, changed, new or in
// conflict. Only the rows in view exist as elements, and the one with the focus wherever it is.

import { html } from 'htm/preact';
import { useEffect, useLayoutEffect, useRef, useState } from 'preact/hooks';
import { zoom } from '../../look/zoom.js';
import { runCommand } from '../../shell/commands.js';
import { icon } from '../../shell/icons.js';
import { IconButton } from '../../shell/places.js';
import { gitFailure, gitState, lateRoots, refreshGit, repos, wantCounts } from '../../stores/git.js';
import { branchWords, changeCount } from '../../stores/gitstatus.js';
import { roots } from '../../stores/settings.js';
import { rowIndex, treeMove, typeahead } from '../../stores/tree.js';
import { activate } from './actions.js';
import { CommitBox } from './commitbox.js';
import { focusScm } from './place.js';
import { RowButtons, actByKey, showActionsMenu, showRowMenu } from './rowmenu.js';
import { fold, focused, focusedRow, repoInFront, rows } from './state.js';

/** @typedef {import('../../stores/gitrows.js').GitRow} GitRow */

/** Of a row, in rem; the same as in scm.css. */
const kRowRem = 1.375;
const kBeyond = 8;

export function ScmPanel() {
  useEffect(() => wantCounts(), []);
  return html`<div class="scm">
    <${Notes} />
    <${CommitBox} />
    ${rows.value.length > 0 && html`<${Tree} />`}
  </div>`;
}

/** What is to be said beside the rows, or instead of them. */
function Notes() {
  const late = lateRoots.value;
  return html`
    ${
      gitFailure.value &&
      html`<div class="scm-note" role="alert">
        <p>Could not read the repositories: ${gitFailure.value}</p>
        <button type="button" class="button" onClick=${() => refreshGit()}>Try Again</button>
      </div>`
    }
    ${late.length > 0 && html`<p class="scm-note">${lateWords(late)}</p>`}
    ${repos.value.length === 0 && !gitFailure.value && html`<p class="scm-note" role="status">${emptyWords()}</p>`}
  `;
}

/** @param {string[]} names */
function lateWords(names) {
  return `Git looks for repositories when Marlin Bench starts. Start it again if one is in: ${names.join(', ')}`;
}

function emptyWords() {
  if (gitState.value === 'unknown') return 'Asking git…';
  if (gitState.value === 'missing') return 'Git was not found. Install it, then start Marlin Bench again.';
  if (roots.value.length === 0) return 'Add a folder with a git repository to see its changes here.';
  return lateRoots.value.length
    ? ''
    : 'No repository was found when Marlin Bench started. Folders that were opened since, or became a repository, show here once it is started again.';
}

export function ScmActions() {
  const more = html`<${IconButton}
    icon="ellipsis"
    label="Source Control Actions"
    onClick=${(/** @type {MouseEvent} */ event) => showActionsMenu(/** @type {Element} */ (event.currentTarget))}
  />`;
  const graph = html`<${IconButton} icon="git-commit" command="graph.show" onClick=${() => runCommand('graph.show', repoInFront.value)} />`;
  return html`${repoInFront.value && graph} <${IconButton} icon="refresh" command="scm.refresh" /> ${repoInFront.value && more}`;
}

export function ScmBadge() {
  const count = repos.value.reduce((sum, repo) => sum + changeCount(repo), 0);
  if (!count) return null;
  // Drawn by the style sheet: the button's name stays that of the panel.
  return html`<span class="scm-badge" data-count=${count > 999 ? '999+' : count}></span>`;
}

function Tree() {
  const tree = useRef(/** @type {HTMLDivElement | null} */ (null));
  const [view, setView] = useState({ top: 0, height: 600 });
  const rowHeight = kRowRem * 16 * zoom.value;
  const all = rows.value;
  const at = all.findIndex((row) => row.path === focusedRow.value?.path);

  useLayoutEffect(() => {
    const element = tree.current;
    if (!element) return undefined;
    const measure = () => setView({ top: element.scrollTop, height: element.clientHeight });
    const observer = new ResizeObserver(measure);
    observer.observe(element);
    measure();
    return () => observer.disconnect();
  }, []);
  useLayoutEffect(() => bringIntoView(tree.current, at, rowHeight), [focused.value]);

  const first = Math.max(0, Math.floor(view.top / rowHeight) - kBeyond);
  const last = Math.min(all.length, Math.ceil((view.top + view.height) / rowHeight) + kBeyond);
  const indexes = Array.from({ length: Math.max(0, last - first) }, (_, i) => first + i);
  if (at >= 0 && (at < first || at >= last)) indexes.push(at);
  return html`<div
    class="scm-tree"
    role="tree"
    aria-label="Changes"
    data-focus
    tabindex="-1"
    ref=${tree}
    onScroll=${(/** @type {Event} */ event) => {
      const element = /** @type {HTMLElement} */ (event.currentTarget);
      setView({ top: element.scrollTop, height: element.clientHeight });
    }}
    onKeyDown=${(/** @type {KeyboardEvent} */ event) => onKey(event, Math.floor(view.height / rowHeight))}
    onContextMenu=${onContext}
  >
    <div class="tree-space" role="presentation" style=${{ height: `${all.length * rowHeight}px` }}>
      ${indexes.map((index) => {
        const row = /** @type {GitRow} */ (all[index]);
        return html`<${Row} key=${row.path} row=${row} top=${index * rowHeight} front=${index === at} />`;
      })}
    </div>
  </div>`;
}

/**
 * Scrolls to the row with the focus, and moves the real focus there when the tree has it.
 * @param {HTMLElement | null} tree
 * @param {number} index
 * @param {number} height
 */
function bringIntoView(tree, index, height) {
  if (!tree || index < 0) return;
  const top = index * height;
  if (top < tree.scrollTop) tree.scrollTop = top;
  else if (top + height > tree.scrollTop + tree.clientHeight) tree.scrollTop = top + height - tree.clientHeight;
  if (tree.contains(document.activeElement)) focusScm();
}

/** @param {{row: GitRow, top: number, front: boolean}} props */
function Row({ row, top, front }) {
  const { change, group, expanded, depth, path, directory } = row;
  const body = change ? ChangeCells : group ? GroupCells : RepoCells;
  const look = change ? `git-${change.kind.replace(' ', '-')}` : group ? 'scm-group' : 'scm-repo';
  return html`<div
    class=${`scm-row ${look} ${front ? 'selected' : ''}`}
    role="treeitem"
    data-key=${path}
    tabindex=${front ? 0 : -1}
    aria-level=${depth + 1}
    aria-setsize=${row.siblings}
    aria-posinset=${row.position}
    aria-selected=${front}
    aria-expanded=${directory ? expanded : undefined}
    title=${change ? `${change.path}, ${change.kind}` : group ? group.title : row.repo.root}
    style=${{ top: `${top}px`, paddingLeft: `${0.5 + depth * 0.75}rem` }}
    onClick=${() => {
      focused.value = path;
      activate(row, { preview: true, focus: false });
    }}
    onDblClick=${() => change && activate(row)}
    onFocus=${() => {
      if (focused.value !== path) focused.value = path;
    }}
  >
    ${directory && icon(expanded ? 'chevron-down' : 'chevron-right', 'twistie')}
    <span class="unseen">${rowWords(row)}</span>
    <span class="scm-cells" aria-hidden="true"><${body} row=${row} /><${RowButtons} row=${row} /></span>
  </div>`;
}

/** @param {GitRow} row */
function rowWords({ repo, group, change, name, folder }) {
  if (change) {
    const counts = [change.added && `${change.added} added`, change.removed && `${change.removed} removed`];
    return [name, folder, change.kind, ...counts].filter(Boolean).join(', ');
  }
  if (group) return `${group.title}, ${group.changes.length}`;
  return repo.error ? `${name}, ${repo.error}` : `${name}, ${branchWords(repo)}`;
}

/** @param {{row: GitRow}} props */
function RepoCells({ row: { repo, name } }) {
  const { branch, upstream, ahead, behind, error } = repo;
  return html`
    <span class="scm-name">${name}</span>
    ${
      error
        ? html`<span class="scm-error">${error}</span>`
        : html`<span class="scm-branch">
            ${icon('git-branch')} ${branch} <span class="scm-upstream">${upstream}</span>
          </span>`
    }
    ${behind > 0 && html`<span class="scm-count" title=${`${behind} behind ${upstream}`}>↓${behind}</span>`}
    ${ahead > 0 && html`<span class="scm-count" title=${`${ahead} ahead of ${upstream}`}>↑${ahead}</span>`}
  `;
}

/** @param {{row: GitRow}} props */
function GroupCells({ row: { group, name } }) {
  return html`
    <span class="scm-name">${name}</span>
    <${Lines} added=${group?.added} removed=${group?.removed} />
    <span class="scm-count">${group?.changes.length}</span>
  `;
}

/** @param {{row: GitRow}} props */
function ChangeCells({ row: { change, name, folder } }) {
  return html`
    <span class="scm-name">${name}</span>
    <span class="scm-folder">${folder}</span>
    <${Lines} added=${change?.added} removed=${change?.removed} />
    <span class="scm-letter">${change?.letter}</span>
  `;
}

/** @param {{added?: number, removed?: number}} props */
function Lines({ added = 0, removed = 0 }) {
  return html`
    ${added > 0 && html`<span class="scm-added">+${added}</span>`}
    ${removed > 0 && html`<span class="scm-removed">−${removed}</span>`}
  `;
}

let typed = '';
let typedAt = 0;
const kTypeaheadMs = 700;

/**
 * @param {KeyboardEvent} event
 * @param {number} page
 */
function onKey(event, page) {
  if (event.altKey || event.metaKey || event.ctrlKey) return;
  const row = focusedRow.value;
  if (!row || !(act(event.key, row) || moveFocus(event.key, row, page) || typeLetter(event.key, row))) return;
  event.preventDefault();
  event.stopPropagation();
}

/**
 * @param {string} key
 * @param {GitRow} row
 */
function act(key, row) {
  if (key === 'Enter') activate(row);
  else if (key === ' ') activate(row, { preview: true, focus: false });
  else return actByKey(key, row);
  return true;
}

/**
 * @param {string} key
 * @param {GitRow} row
 * @param {number} page
 */
function moveFocus(key, row, page) {
  const move = treeMove(rows.value, row.path, key, page);
  if (!move) return false;
  if ('focus' in move) focused.value = move.focus;
  else if ('expand' in move) fold(move.expand, false);
  else fold(move.collapse, true);
  return true;
}

/**
 * @param {string} key
 * @param {GitRow} row
 */
function typeLetter(key, row) {
  if (key.length !== 1) return false;
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
