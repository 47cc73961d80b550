// The panel "File History": the commits that changed the file in front, or a file that was chosen, and the versions
// of it that the editor kept, as one list.

import { html } from 'htm/preact';
import { useEffect, useState } from 'preact/hooks';
import { frontTab } from '../../editor/state.js';
import { IconButton } from '../../shell/places.js';
import { repoFor } from '../../stores/git.js';
import {
  fileCommits,
  following,
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
import { MOST_BYTES, MOST_VERSIONS } from '../../stores/localversions.js';
import { keepingVersions, readShown, shownFile, shownVersions, versionsFailure } from '../../stores/localversionsshown.js';
import { hiddenSort, readTimes, timeline, toggleSort } from '../../stores/localversionstimeline.js';
import { repoNamed } from '../graph/state.js';
import { openSettings } from '../settings/sections.js';
import { fileOfTab, followTab, shownName } from './local.js';
import { Moments } from './moments.js';

/**
 * @typedef {import('../../stores/history.js').FileCommit} FileCommit
 * @typedef {{of: readonly FileCommit[], times: ReadonlyMap<string, number>}} KnownTimes
 */

/** @type {ReadonlyMap<string, number>} */
const kNoTimes = new Map();

export function HistoryActions() {
  const toggle = () => {
    following.value = !following.value;
    followTab(frontTab.value);
  };
  return html`
    <span class="history-sorts" role="group" aria-label="Listed">
      <${SortButton} sort="commits" icon="git-commit" label="Commits" />
      <${SortButton} sort="versions" icon="save" label="Local Versions" />
    </span>
    <${IconButton} icon="pinned" label="Stay with This File" pressed=${!following.value} onClick=${toggle} />
  `;
}

/** @param {{sort: import('../../stores/localversionstimeline.js').Sort, icon: string, label: string}} props */
function SortButton({ sort, icon, label }) {
  const shown = hiddenSort.value !== sort;
  return html`<${IconButton} icon=${icon} label=${label} pressed=${shown} onClick=${() => toggleSort(sort)} />`;
}

export function HistoryPanel() {
  const tab = frontTab.value;
  const file = fileOfTab(tab);
  const repo = repoNamed(subject.value?.repo ?? '');
  // At the start the folders come after the tabs, and the repositories after both.
  useEffect(() => followTab(tab), [file, following.value, repoFor(file) !== null]);
  useEffect(() => watchHistory(), []);
  useEffect(() => void readShown(), []);
  const name = shownName();
  const commits = hiddenSort.value === 'commits' ? [] : fileCommits.value;
  const versions = hiddenSort.value === 'versions' ? [] : shownVersions.value;
  const times = useTimes(repo, commits, versions.length > 0);
  if (!name) return html`<p class="history-note">Open a file to see its commits and local versions here.</p>`;
  const changed =
    hiddenSort.value !== 'commits' && (repo?.files.some(({ path }) => path === subject.value?.path) ?? false);
  const moments = times ? timeline(commits, versions, times) : [];
  return html`<div class="history">
    <p class="history-file" title=${name}>${name}</p>
    <${Failures} name=${name} />
    ${(changed || moments.length > 0) && html`<${Moments} key=${name} moments=${moments} changed=${changed} />`}
    ${
      times &&
      !moments.length &&
      !historyFailure.value &&
      html`<p class="history-note" role="status">${emptyWords()}</p>`
    }
    ${hiddenSort.value !== 'commits' && html`<${More} count=${commits.length} />`}
    ${hiddenSort.value !== 'versions' && html`<${Limits} />`}
  </div>`;
}

/**
 * When the commits were made; asked only where there is something to put between them, and null until it is known.
 * @param {import('../../stores/gitstatus.js').Repo | null} repo
 * @param {readonly FileCommit[]} commits
 * @param {boolean} wanted
 */
function useTimes(repo, commits, wanted) {
  const [known, setKnown] = useState(/** @type {KnownTimes | null} */ (null));
  const asked = wanted && repo !== null && commits.length > 0;
  useEffect(() => {
    let alive = true;
    if (asked) void readTimes(repo, commits).then((times) => alive && setKnown({ of: commits, times }));
    return () => {
      alive = false;
    };
  }, [asked, commits]);
  if (!asked) return kNoTimes;
  // Those of a list that has become another are better than no list for a moment.
  const fits = known?.of === commits || commits.some(({ hash }) => known?.times.has(hash));
  return known && fits ? known.times : null;
}

/** @param {{name: string}} props */
function Failures({ name }) {
  return html`
    <${Failure} tried=${`read the history of ${name}`} words=${historyFailure.value} />
    <${Failure} tried=${`read the local versions of ${name}`} words=${versionsFailure.value} />
  `;
}

/** @param {{tried: string, words: string}} props */
function Failure({ tried, words }) {
  return words && html`<p class="history-note" role="alert">Could not ${tried}: ${words}</p>`;
}

function emptyWords() {
  if (historyReading.value) return 'Reading…';
  const inGit = subject.value !== null;
  if (hiddenSort.value === 'versions' && !inGit) return 'The file is in no git repository.';
  const noVersion = 'No local version yet. Each save of the file in this editor makes one.';
  return hiddenSort.value === 'commits' || !inGit ? noVersion : 'No commit has this file yet.';
}

/** What the commits lack, and how to get it. @param {{count: number}} props */
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

/** What is not kept. */
function Limits() {
  if (!shownFile.value) return null;
  if (!keepingVersions.value)
    return html`<p class="history-note">
      No local versions are kept.
      <button type="button" class="button quiet" onClick=${() => openSettings('editor')}>Open the Settings</button>
    </p>`;
  return html`<p class="history-note">
    The latest ${MOST_VERSIONS} local versions are kept, and none of a text above ${MOST_BYTES / 1024} KB.
  </p>`;
}
