// One file of a pull request: what it is, whether it was looked at, and its lines.

import { html } from 'htm/preact';
import { openFile } from '../../editor/tabactions.js';
import { icon } from '../../shell/icons.js';
import { IconButton } from '../../shell/places.js';
import { readPullFile } from '../../stores/pull.js';
import { setViewed, viewedOf } from '../../stores/pullviewed.js';
import { DiffLines } from './difflines.js';
import { workspaceFile } from './pullremark.js';

/**
 * @typedef {import('../../stores/pull.js').PullPage} Page
 * @typedef {import('../../stores/pullwire.js').Detail} Detail
 * @typedef {import('../../stores/pullwire.js').PullFile} PullFile
 */

/** @param {{arg: string, page: Page, detail: Detail, file: PullFile}} props */
export function FileDiff({ arg, page, detail, file }) {
  const failure = page.fileFailures.get(file.path);
  return html`<section class="pull-diff" aria-label=${`Changes of ${file.path}`}>
    <${FileBar} arg=${arg} detail=${detail} file=${file} />
    ${
      failure &&
      html`<div class="pane-note" role="alert">
        <p>Could not read the changes of ${file.path}: ${failure}</p>
        <button type="button" class="button" onClick=${() => readPullFile(arg, file.path)}>Try Again</button>
      </div>`
    }
    ${!file.patch && !failure && html`<p class="pane-note" role="status">Reading the changes of ${file.path}…</p>`}
    ${file.patch && html`<${DiffLines} arg=${arg} page=${page} detail=${detail} file=${file} patch=${file.patch} />`}
  </section>`;
}

/** @param {{arg: string, detail: Detail, file: PullFile}} props */
function FileBar({ arg, detail, file: { path, oldPath, kind, patch } }) {
  const seen = viewedOf(detail).includes(path);
  const id = workspaceFile(arg, path);
  return html`<div class="pull-file-bar" role="toolbar" aria-label="File">
    <span class="pull-file-path">${oldPath !== path && html`${oldPath} ${icon('arrow-right')} `}${path}</span>
    <span class="quiet">${[kind, patch?.modes].filter(Boolean).join(', ')}</span>
    <button
      type="button"
      class="button"
      aria-pressed=${String(seen)}
      onClick=${() => setViewed(detail, path, !seen)}
    >
      ${seen && icon('check')} Viewed
    </button>
    ${id && html`<${IconButton} icon="go-to-file" label="Open File" onClick=${() => openFile(id)} />`}
  </div>`;
}
