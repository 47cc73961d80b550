// The panel "File History": the commits that changed the file in front, or a file that was chosen.

import { html } from 'htm/preact';
import { useEffect, useRef, useState } from 'preact/hooks';
import { frontTab } from '../../editor/state.js';
import { IconButton } from '../../shell/places.js';
import {
  fileCommits,
  following,
  followId,
  historyFailure,
  historyReading,
  MORE_COMMITS,
  moreCommits,
  olderPath,
  showMore,
  showOlderName,
  subject,
  watchHistory,
} from '../../stores/history.js';
import { repoNamed } from '../graph/state.js';
import { openInCommit, openUncommitted, showVersionMenu } from './actions.js';

/** @typedef {import('../../stores/history.js').FileCommit} FileCommit */

export function HistoryActions() {
  const toggle = () => {
    following.value = !following.value;
    followId(frontTab.value?.id ?? '');
  };
  return html`<${IconButton} icon="pinned" label="Stay with This File" pressed=${!following.value} onClick=${toggle} />`;
}

export function HistoryPanel() {
  const id = frontTab.value?.id ?? '';
  useEffect(() => followId(id), [id, following.value, repoNamed(subject.value?.repo ?? '') !== null]);
  useEffect(() => watchHistory(), []);
  const now = subject.value;
  if (!now) return html`<p class="history-note">Open a file of a git repository to see its commits here.</p>`;
  const changed = repoNamed(now.repo)?.files.some(({ path }) => path === now.path) ?? false;
  const commits = fileCommits.value;
  return html`<div class="history">
    <p class="history-file" title=${now.path}>${now.path}</p>
    ${
      historyFailure.value &&
      html`<p class="history-note" role="alert">Could not read the history of ${now.path}: ${historyFailure.value}</p>`
    }
    ${(changed || commits.length > 0) && html`<${Versions} key=${`${now.repo} ${now.path}`} commits=${commits} changed=${changed} />`}
    ${!commits.length && !historyFailure.value && html`<p class="history-note" role="status">${emptyWords()}</p>`}
    <${More} count=${commits.length} />
  </div>`;
}

const emptyWords = () => (historyReading.value ? 'Reading…' : 'No commit has this file yet.');

/** What the list lacks, and how to get it. @param {{count: number}} props */
function More({ count }) {
  if (moreCommits.value)
    return html`<p class="history-note">
      The latest ${count} commits are listed.
      <button type="button" class="button quiet" onClick=${showMore}>Show More</button>
    </p>`;
  if (count >= MORE_COMMITS) return html`<p class="history-note">Older commits than these are in git log.</p>`;
  if (!olderPath.value) return null;
  return html`<p class="history-note">
    Before, it was ${olderPath.value}.
    <button type="button" class="button quiet" onClick=${showOlderName}>Show That, Too</button>
  </p>`;
}

/** @param {{commits: FileCommit[], changed: boolean}} props */
function Versions({ commits, changed }) {
  const list = useRef(/** @type {HTMLElement | null} */ (null));
  const [front, setFront] = useState('');
  const keys = [...(changed ? ['now'] : []), ...commits.map(({ hash }) => hash)];
  const lit = keys.includes(front) ? front : keys[0];
  /** @param {string} key @param {{preview?: boolean, focus?: boolean}} [options] */
  const open = (key, options) => {
    setFront(key);
    const commit = commits.find(({ hash }) => hash === key);
    if (key === 'now') openUncommitted(options);
    else if (commit) void openInCommit(commit, options);
  };
  /** @param {KeyboardEvent} event */
  const onKey = (event) => {
    const at = keys.indexOf(lit);
    const to = { ArrowDown: at + 1, ArrowUp: at - 1, Home: 0, End: keys.length - 1 }[event.key];
    if (to !== undefined) {
      const key = keys[Math.max(0, Math.min(keys.length - 1, to))];
      setFront(key);
      const row = list.current?.querySelector(`[data-version="${key}"]`);
      if (row instanceof HTMLElement) row.focus();
    } else if (event.key === 'Enter') open(lit);
    else if (event.key === ' ') open(lit, { preview: true, focus: false });
    else return;
    event.preventDefault();
    event.stopPropagation();
  };
  const row = (/** @type {string} */ key, /** @type {any} */ rest) => ({
    class: `history-row ${key === lit ? 'selected' : ''}`,
    role: 'option',
    'data-version': key,
    'aria-selected': key === lit,
    tabindex: key === lit ? 0 : -1,
    onClick: () => open(key, { preview: true, focus: false }),
    onDblClick: () => open(key),
    ...rest,
  });
  return html`<div class="history-rows" role="listbox" aria-label="Versions of the file" ref=${list} onKeyDown=${onKey}>
    ${changed && html`<div ...${row('now', { onContextMenu: (/** @type {Event} */ event) => event.preventDefault() })}>
      <span class="history-words">Changes that are not committed</span>
    </div>`}
    ${commits.map((commit) => {
      const { hash, short, author, date, subject: words } = commit;
      const menu = (/** @type {MouseEvent} */ event) => {
        event.preventDefault();
        setFront(hash);
        showVersionMenu(event.clientX, event.clientY, commit);
      };
      return html`<div key=${hash} ...${row(hash, { onContextMenu: menu })}>
        <span class="unseen">${words}, ${author}, ${date}</span>
        <span class="history-words" aria-hidden="true">${words}</span>
        <span class="history-author" aria-hidden="true">${author}</span>
        <span class="history-date" aria-hidden="true">${date}</span>
        <span class="history-short" aria-hidden="true">${short}</span>
      </div>`;
    })}
  </div>`;
}
