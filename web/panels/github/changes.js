// The changes of a pull request: its files with what was looked at, and the lines of the one in front.

import { html } from 'htm/preact';
import { useEffect, useRef } from 'preact/hooks';
import { icon } from '../../shell/icons.js';
import { readPullFile } from '../../stores/pull.js';
import { deskOf } from '../../stores/pulldrafts.js';
import { missingWords } from '../../stores/pullwire.js';
import { setViewed, viewedOf } from '../../stores/pullviewed.js';
import { baseName, parentOf } from '../../stores/paths.js';
import { FileDiff } from './filediff.js';
import { focusLines } from './difflines.js';
import { goToFile, placeOf } from './pullstate.js';

/**
 * @typedef {import('../../stores/pull.js').PullPage} Page
 * @typedef {import('../../stores/pullwire.js').Detail} Detail
 * @typedef {import('../../stores/pullwire.js').PullFile} PullFile
 */

/** @param {{arg: string, page: Page, detail: Detail}} props */
export function Changes({ arg, page, detail }) {
  const { files } = page;
  const at = placeOf(arg).value.path;
  const file = files.find(({ path }) => path === at) ?? files[0];
  const seen = viewedOf(detail);
  useEffect(() => {
    if (file && !file.patch && !page.fileFailures.has(file.path)) void readPullFile(arg, file.path);
  }, [arg, file?.path, file?.patch]);
  if (!file) return html`<p class="pane-note" tabindex="0" data-first-focus>This pull request changes no file.</p>`;
  const missing = missingWords(detail, files, page.cut);
  return html`<div class="pull-changes">
    <div class="pull-files">
      <p class="pull-files-head">
        <span role="status">${seen.length} of ${files.length} viewed</span>
      </p>
      <${FileList} arg=${arg} files=${files} detail=${detail} front=${file} />
      ${missing && html`<p class="github-note">${missing}</p>`}
    </div>
    <${FileDiff} key=${file.path} arg=${arg} page=${page} detail=${detail} file=${file} />
  </div>`;
}

/**
 * One stop of the Tab key. Enter goes to the lines of a file, the blank key marks it as looked at.
 * @param {{arg: string, files: PullFile[], detail: Detail, front: PullFile}} props
 */
function FileList({ arg, files, detail, front }) {
  const list = useRef(/** @type {HTMLDivElement | null} */ (null));
  const seen = viewedOf(detail);
  /** @param {number} index */
  const show = (index) => {
    const to = files[Math.max(0, Math.min(files.length - 1, index))];
    if (!to) return;
    goToFile(arg, to.path);
    requestAnimationFrame(() => {
      const row = list.current?.querySelector('[aria-selected="true"]');
      if (row instanceof HTMLElement) row.focus();
    });
  };
  /** @param {KeyboardEvent} event */
  const onKeyDown = (event) => {
    if (event.ctrlKey || event.altKey || event.metaKey) return;
    const at = files.indexOf(front);
    const to = { ArrowDown: at + 1, ArrowUp: at - 1, Home: 0, End: files.length - 1 }[event.key];
    if (to !== undefined) show(to);
    else if (event.key === 'Enter') focusLines();
    else if (event.key === ' ') setViewed(detail, front.path, !seen.includes(front.path));
    else return;
    event.preventDefault();
    event.stopPropagation();
  };
  return html`<div class="pull-file-list" role="listbox" aria-label="Changed files" ref=${list} onKeyDown=${onKeyDown}>
    ${files.map((file) => html`<${FileRow} key=${file.path} arg=${arg} file=${file} detail=${detail} front=${file === front} />`)}
  </div>`;
}

/** @type {Record<string, string>} */
const kLetters = { added: 'A', deleted: 'D', renamed: 'R', copied: 'C', modified: 'M', '': '' };

/** @param {{arg: string, file: PullFile, detail: Detail, front: boolean}} props */
function FileRow({ arg, file, detail, front }) {
  const { path, kind, added, removed } = file;
  const seen = viewedOf(detail).includes(path);
  const drafts = deskOf(detail.url).drafts.filter((draft) => draft.path === path && !draft.url).length;
  const waiting = drafts === 1 ? '1 comment' : `${drafts} comments`;
  const counts = [added && `${added} added`, removed && `${removed} removed`];
  const words = [path, kind, ...counts, drafts && waiting, seen && 'viewed'];
  return html`<div
    class=${`pull-file ${seen ? 'seen' : ''} ${front ? 'selected' : ''}`}
    role="option"
    aria-selected=${String(front)}
    tabindex=${front ? 0 : -1}
    data-first-focus=${front ? '' : undefined}
    title=${path}
    onClick=${() => goToFile(arg, path)}
  >
    <span class="unseen">${words.filter(Boolean).join(', ')}</span>
    <span
      class="pull-seen"
      aria-hidden="true"
      title=${seen ? 'Viewed (Blank)' : 'Mark as viewed (Blank)'}
      onClick=${(/** @type {Event} */ event) => {
        event.stopPropagation();
        setViewed(detail, path, !seen);
      }}
    >
      ${icon(seen ? 'check' : 'circle-large-outline')}
    </span>
    <span class="pull-file-cells" aria-hidden="true">
      <span class="pull-file-name">${baseName(path)}</span>
      <span class="pull-file-folder">${parentOf(path)}</span>
      ${drafts > 0 && html`<span class="pull-file-drafts">${icon('comment')}${drafts}</span>`}
      ${added > 0 && html`<span class="pull-added">+${added}</span>`}
      ${removed > 0 && html`<span class="pull-removed">−${removed}</span>`}
      <span class="pull-letter">${kLetters[kind]}</span>
    </span>
  </div>`;
}
