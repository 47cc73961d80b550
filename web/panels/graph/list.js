// The list of commits. Only the rows in view exist as elements, and the one with the focus wherever it is.

import { html } from 'htm/preact';
import { useEffect, useLayoutEffect, useRef, useState } from 'preact/hooks';
import { takeFocusWish } from '../../editor/state.js';
import { zoom } from '../../look/zoom.js';
import { icon } from '../../shell/icons.js';
import { badgeWords, isHead, isStash, MOST_COMMITS } from '../../stores/graphmodel.js';
import { ago, moment } from '../../stores/historytime.js';
import { Lanes, lanesWidth } from './lanes.js';
import { showCommitMenu } from './menus.js';

/**
 * @typedef {import('../../stores/graph.js').GraphStore} GraphStore
 * @typedef {import('../../stores/graphmodel.js').GraphCommit} GraphCommit
 */

/** Of a row, in rem; the same as in graph.css. */
const kRowRem = 1.5;
const kBeyond = 10;
/** So many rows before the end of the list more is read. */
const kAhead = 60;

/** @param {{store: GraphStore, group: string, onOpen: () => void}} props */
export function CommitList({ store, group, onOpen }) {
  const list = useRef(/** @type {HTMLDivElement | null} */ (null));
  const [view, setView] = useState({ top: 0, height: 600 });
  const rowHeight = kRowRem * 16 * zoom.value;
  const commits = store.commits.value;
  const found = commits.findIndex(({ hash }) => hash === store.selected.value);
  const at = Math.max(0, found);

  useLayoutEffect(() => watchView(list.current, setView), []);
  useLayoutEffect(() => bringIntoView(list.current, found, rowHeight), [store.selected.value, rowHeight, found < 0]);
  useLayoutEffect(() => {
    if (commits.length && takeFocusWish(group)) focusRow(list.current);
  }, [commits.length > 0]);
  const first = Math.max(0, Math.floor(view.top / rowHeight) - kBeyond);
  const last = Math.min(commits.length, Math.ceil((view.top + view.height) / rowHeight) + kBeyond);
  useEffect(() => {
    if (last + kAhead >= commits.length) store.loadMore();
  }, [last, commits.length]);

  const indexes = Array.from({ length: Math.max(0, last - first) }, (_, i) => first + i);
  if (commits.length && (at < first || at >= last)) indexes.push(at);
  const page = Math.max(1, Math.floor(view.height / rowHeight) - 1);
  return html`<div
    class="graph-list"
    role="listbox"
    aria-label="Commits"
    tabindex="-1"
    ref=${list}
    onKeyDown=${(/** @type {KeyboardEvent} */ event) => onKey(event, store, at, page, onOpen)}
    onContextMenu=${(/** @type {MouseEvent} */ event) => onContext(event, store, at)}
  >
    <div class="graph-space" role="presentation" style=${{ height: `${commits.length * rowHeight}px` }}>
      ${indexes.map((index) => {
        const commit = commits[index];
        return html`<${Row}
          key=${commit.hash}
          store=${store}
          commit=${commit}
          index=${index}
          count=${commits.length}
          top=${index * rowHeight}
          front=${index === at}
          selected=${index === found}
          onOpen=${onOpen}
        />`;
      })}
    </div>
    ${commits.length > 0 && html`<${EndNote} store=${store} />`}
  </div>`;
}

/**
 * What the list lacks.
 * @param {{store: GraphStore}} props
 */
function EndNote({ store }) {
  if (store.mayLoadMore) return html`<p class="graph-end" role="presentation">Reading more commits…</p>`;
  if (!store.cut.value) return null;
  const most = MOST_COMMITS.toLocaleString('en');
  return html`<p class="graph-end" role="presentation">
    Only the latest ${most} commits can be listed. Older ones are in git log.
  </p>`;
}

/**
 * @param {HTMLElement | null} list
 * @param {(view: {top: number, height: number}) => void} setView
 */
function watchView(list, setView) {
  if (!list) return undefined;
  const measure = () => setView({ top: list.scrollTop, height: list.clientHeight });
  const observer = new ResizeObserver(measure);
  observer.observe(list);
  list.addEventListener('scroll', measure, { passive: true });
  measure();
  return () => {
    observer.disconnect();
    list.removeEventListener('scroll', measure);
  };
}

/**
 * Scrolls to the row in front, and moves the real focus there when the list has it.
 * @param {HTMLElement | null} list
 * @param {number} index
 * @param {number} height
 */
function bringIntoView(list, index, height) {
  if (!list || index < 0) return;
  const top = index * height;
  if (top < list.scrollTop) list.scrollTop = top;
  else if (top + height > list.scrollTop + list.clientHeight) list.scrollTop = top + height - list.clientHeight;
  if (list.contains(document.activeElement)) focusRow(list);
}

/** @param {HTMLElement | null} list */
export function focusRow(list) {
  const row = list?.querySelector('[role="option"][tabindex="0"]');
  if (row instanceof HTMLElement) row.focus({ preventScroll: true });
}

/**
 * @param {object} props
 * @param {GraphStore} props.store
 * @param {GraphCommit} props.commit
 * @param {number} props.index
 * @param {number} props.count
 * @param {number} props.top
 * @param {boolean} props.front whether it is where Tab leads
 * @param {boolean} props.selected
 * @param {() => void} props.onOpen
 */
function Row({ store, commit, index, count, top, front, selected, onOpen }) {
  const { hash, subject, author, time } = commit;
  const names = store.badges.value.get(hash) ?? [];
  const local = store.unpushed.value.has(hash);
  const lanes = store.lanes.value?.[index];
  const words = [subject, author, ago(time), ...names.map(badgeWords), kind(commit), local && 'not pushed'];
  return html`<div
    class=${`graph-row ${selected ? 'selected' : ''}`}
    role="option"
    data-hash=${hash}
    tabindex=${front ? 0 : -1}
    aria-selected=${selected}
    aria-posinset=${index + 1}
    aria-setsize=${count}
    style=${{ top: `${top}px` }}
    onClick=${() => (store.selected.value = hash)}
    onDblClick=${onOpen}
  >
    <span class="unseen">${words.filter(Boolean).join(', ')}</span>
    <span class="graph-lane-cell" aria-hidden="true" style=${{ width: lanes ? lanesWidth(store.width.value) : undefined }}>
      ${lanes && html`<${Lanes} row=${lanes} lanes=${store.width.value} look=${look(commit)} />`}
    </span>
    <span class="graph-subject" aria-hidden="true">
      ${local && html`<span class="graph-unpushed" title="Not pushed">${icon('arrow-up')}</span>`}
      ${names.map(
        (badge) => html`<span class=${`graph-badge ${badge.kind}`} title=${badgeWords(badge)}>${badge.name}</span>`,
      )}
      <span class="graph-words" title=${subject}>${subject}</span>
    </span>
    <span class="graph-author" aria-hidden="true" title=${`${author} <${commit.email}>`}>${author}</span>
    <span class="graph-date" aria-hidden="true" title=${moment(time)}>${ago(time)}</span>
    <span class="graph-short" aria-hidden="true">${commit.short}</span>
  </div>`;
}

/** @param {GraphCommit} commit */
function look(commit) {
  if (isHead(commit)) return 'head';
  if (isStash(commit)) return 'stash';
  return commit.parents.length > 1 ? 'merge' : 'commit';
}

/** @param {GraphCommit} commit */
const kind = ({ parents }) => (parents.length > 1 ? 'merge' : parents.length ? '' : 'first commit');

/**
 * @param {KeyboardEvent} event
 * @param {GraphStore} store
 * @param {number} at
 * @param {number} page
 * @param {() => void} onOpen
 */
function onKey(event, store, at, page, onOpen) {
  if (event.altKey || event.metaKey || event.ctrlKey) return;
  const commits = store.commits.value;
  const last = commits.length - 1;
  const to = { ArrowDown: at + 1, ArrowUp: at - 1, Home: 0, End: last, PageDown: at + page, PageUp: at - page }[event.key];
  if (to !== undefined) store.selected.value = commits[Math.max(0, Math.min(last, to))]?.hash ?? '';
  else if (event.key === 'Enter') onOpen();
  else return;
  event.preventDefault();
  event.stopPropagation();
}

/**
 * @param {MouseEvent} event
 * @param {GraphStore} store
 * @param {number} at
 */
function onContext(event, store, at) {
  event.preventDefault();
  const element = event.target instanceof Element ? event.target.closest('[data-hash]') : null;
  const hash = element?.getAttribute('data-hash') ?? store.commits.value[at]?.hash;
  const commit = store.commits.value.find((one) => one.hash === hash);
  if (!commit) return;
  store.selected.value = commit.hash;
  showCommitMenu(event.clientX, event.clientY, store, commit);
}
