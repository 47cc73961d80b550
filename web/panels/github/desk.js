// All comments of a pull request in one list: what the review says, those on no line that is shown, the others.

import { html } from 'htm/preact';
import { IconButton } from '../../shell/places.js';
import { lineAt } from '../../stores/patch.js';
import { astrayWords, clearPosted, deskOf, unsaved } from '../../stores/pulldrafts.js';
import { DraftView } from './draftview.js';
import { go, goToFile } from './pullstate.js';

/**
 * @typedef {import('../../stores/pull.js').PullPage} Page
 * @typedef {import('../../stores/pullwire.js').Detail} Detail
 * @typedef {import('../../stores/pulldrafts.js').Draft} Draft
 */

/** @param {{arg: string, page: Page, detail: Detail}} props */
export function Desk({ arg, page, detail }) {
  const { summary, drafts } = deskOf(detail.url);
  if (drafts.length === 0 && !summary) {
    return html`<p class="pane-note" tabindex="0">
      Nothing waits here. “Look It Over” lets Claude review the change; with Enter on a line you write a comment of
      your own.
    </p>`;
  }
  /** @param {Draft} draft */
  const astray = (draft) => (draft.url ? '' : astrayWords(draft, page.files, detail.head));
  const lost = drafts.filter(astray);
  const placed = drafts.filter((draft) => !astray(draft));
  const posted = drafts.filter(({ url }) => url).length;
  return html`<div class="pull-desk">
    ${summary && html`<section aria-label="Review"><h2 class="pull-heading">Review by Claude</h2><p class="pull-summary">${summary}</p></section>`}
    ${unsaved.value && html`<p class="github-note" role="alert">There is no room to keep these comments over a restart.</p>`}
    ${
      lost.length > 0 &&
      html`<section aria-label="Comments on no line that is shown">
        <h2 class="pull-heading">On no line that is shown</h2>
        ${lost.map((draft) => html`<${Item} key=${draft.id} arg=${arg} detail=${detail} draft=${draft} words=${astray(draft)} />`)}
      </section>`
    }
    ${
      placed.length > 0 &&
      html`<section aria-label="Comments on lines">
        <h2 class="pull-heading">On lines</h2>
        ${placed.map((draft) => html`<${Item} key=${draft.id} arg=${arg} page=${page} detail=${detail} draft=${draft} />`)}
      </section>`
    }
    ${
      (posted > 0 || drafts.length === 0) &&
      html`<button type="button" class="button" onClick=${() => clearPosted(detail.url)}>
        ${posted > 0 ? `Take away ${posted} posted` : 'Take away the review'}
      </button>`
    }
  </div>`;
}

/** @param {{arg: string, page?: Page, detail: Detail, draft: Draft, words?: string}} props */
function Item({ arg, page, detail, draft, words = '' }) {
  const leave = () => {
    const tab = document.querySelector('.pull-parts [aria-selected="true"]');
    if (tab instanceof HTMLElement) tab.focus();
  };
  return html`<div class="pull-desk-item">
    <p class="pull-desk-place">
      <span>${draft.path}:${draft.line}</span>
      ${
        page &&
        !draft.url &&
        html`<${IconButton} icon="go-to-file" label=${`Show ${draft.path} line ${draft.line}`} onClick=${() => showLine(arg, page, draft)} />`
      }
    </p>
    ${words && html`<p class="quiet">${words}</p>`}
    <${DraftView} pull=${{ url: detail.url, arg }} draft=${draft} leave=${leave} />
  </div>`;
}

/**
 * Goes to a line of a file of the page.
 * @param {string} arg
 * @param {Page} page
 * @param {{path: string, line: number, side?: 'old' | 'new'}} where
 */
export function showLine(arg, page, { path, line, side = 'new' }) {
  const patch = page.files.find((file) => file.path === path)?.patch;
  goToFile(arg, path);
  const wanted = patch && lineAt(patch, side, line);
  if (!patch || !wanted) return;
  const row = patch.hunks.flatMap((hunk) => hunk.lines).indexOf(wanted);
  go(arg, { row, anchor: row });
}
