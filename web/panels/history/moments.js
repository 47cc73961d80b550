// The list of the history panel: commits and local versions, told apart by their marks.

import { html } from 'htm/preact';
import { useRef, useState } from 'preact/hooks';
import { icon } from '../../shell/icons.js';
import { ago } from '../../stores/historytime.js';
import { CAUSE_WORDS, versionMoment } from '../../stores/localversions.js';
import { shownFile, shownVersions } from '../../stores/localversionsshown.js';
import { openInCommit, openUncommitted, showVersionMenu } from './actions.js';
import { compareVersion, deleteVersion, showLocalMenu, VERSION_ICONS } from './local.js';

/**
 * @typedef {import('../../stores/localversionstimeline.js').Moment} Moment
 * @typedef {import('../../stores/localversions.js').Version} Version
 * @typedef {{preview?: boolean, focus?: boolean}} OpenOptions
 */

const kUncommitted = 'now';

/** @param {{moments: Moment[], changed: boolean}} props */
export function Moments({ moments, changed }) {
  const list = useRef(/** @type {HTMLElement | null} */ (null));
  const [front, setFront] = useState('');
  const keys = [...(changed ? [kUncommitted] : []), ...moments.map(({ key }) => key)];
  const lit = keys.includes(front) ? front : keys[0];
  const momentOf = (/** @type {string} */ key) => moments.find((one) => one.key === key);
  /** @param {string} key */
  const focusOn = (key) => {
    setFront(key);
    const row = list.current?.querySelector(`[data-version="${key}"]`);
    if (row instanceof HTMLElement) row.focus();
  };
  /** @param {string} key @param {OpenOptions} [options] */
  const open = (key, options) => {
    setFront(key);
    openMoment(momentOf(key), options);
  };
  /** @param {KeyboardEvent} event */
  const onKey = (event) => {
    const at = keys.indexOf(lit);
    const to = { ArrowDown: at + 1, ArrowUp: at - 1, Home: 0, End: keys.length - 1 }[event.key];
    const version = momentOf(lit)?.version;
    if (to !== undefined) focusOn(keys[Math.max(0, Math.min(keys.length - 1, to))]);
    else if (event.key === 'Enter') open(lit);
    else if (event.key === ' ') open(lit, { preview: true, focus: false });
    else if (event.key === 'Delete' && version) void deleteVersion(shownFile.value, version);
    else return;
    event.preventDefault();
    event.stopPropagation();
  };
  const row = (/** @type {string} */ key) => ({
    class: `history-row ${key === lit ? 'selected' : ''}`,
    role: 'option',
    'data-version': key,
    'aria-selected': key === lit,
    tabindex: key === lit ? 0 : -1,
    onClick: () => open(key, { preview: true, focus: false }),
    onDblClick: () => open(key),
    onContextMenu: (/** @type {MouseEvent} */ event) => {
      event.preventDefault();
      setFront(key);
      showMomentMenu(event, momentOf(key));
    },
  });
  return html`<div class="history-rows" role="listbox" aria-label="Versions of the file" ref=${list} onKeyDown=${onKey}>
    ${changed && html`<div ...${row(kUncommitted)}>
      ${icon('edit')} <span class="history-words">Changes that are not committed</span>
    </div>`}
    ${moments.map(
      ({ key, commit, version }) => html`<div key=${key} ...${row(key)}>
        ${commit ? html`<${Commit} commit=${commit} />` : html`<${Local} version=${version} />`}
      </div>`,
    )}
  </div>`;
}

/** Without a moment it is what is not committed. @param {Moment | undefined} moment @param {OpenOptions} [options] */
function openMoment(moment, options) {
  if (moment?.commit) void openInCommit(moment.commit, options);
  else if (moment?.version) compareVersion(shownFile.value, moment.version, options);
  else openUncommitted(options);
}

/** @param {MouseEvent} event @param {Moment | undefined} moment */
function showMomentMenu({ clientX, clientY }, moment) {
  if (moment?.commit) showVersionMenu(clientX, clientY, moment.commit);
  if (!moment?.version) return;
  const { version } = moment;
  const older = shownVersions.value.findLast(({ time }) => time < version.time);
  showLocalMenu(clientX, clientY, shownFile.value, version, older);
}

/** @param {{commit: import('../../stores/history.js').FileCommit}} props */
function Commit({ commit: { short, author, date, subject: words } }) {
  return html`
    ${icon('git-commit')}
    <span class="unseen">${words}, ${author}, ${date}</span>
    <span class="history-words" aria-hidden="true">${words}</span>
    <span class="history-author" aria-hidden="true">${author}</span>
    <span class="history-date" aria-hidden="true">${date}</span>
    <span class="history-short" aria-hidden="true">${short}</span>
  `;
}

/** @param {{version: Version}} props */
function Local({ version: { time, cause, size } }) {
  const moment = versionMoment(time);
  return html`
    ${icon(VERSION_ICONS[cause], 'history-local')}
    <span class="unseen">${CAUSE_WORDS[cause]}, local version, ${moment}</span>
    <span class="history-words" aria-hidden="true">${CAUSE_WORDS[cause]}</span>
    <span class="history-author" aria-hidden="true">Local version</span>
    <span class="history-date" aria-hidden="true" title=${moment}>${ago(time / 1000)}</span>
    <span class="history-short" aria-hidden="true">${sizeWords(size)}</span>
  `;
}

/** @param {number} size in bytes */
const sizeWords = (size) => (size < 1024 ? `${size} B` : `${Math.round(size / 1024)} KB`);
