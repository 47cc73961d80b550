// The page of a pull request, as a tab: its changes file by file, what it is about, and comments that wait.

import { html } from 'htm/preact';
import { useEffect } from 'preact/hooks';
import { giveFocus } from '../../editor/tabactions.js';
import { icon } from '../../shell/icons.js';
import { IconButton, rove } from '../../shell/places.js';
import { gitState } from '../../stores/git.js';
import { checksSummary, reviewWords, stateWords } from '../../stores/githubitems.js';
import { pullOfArg, pullPage, readPull } from '../../stores/pull.js';
import { deskOf, reviewing } from '../../stores/pulldrafts.js';
import { About } from './about.js';
import { checkOut, openOutside } from './actions.js';
import { Changes } from './changes.js';
import { Desk } from './desk.js';
import { outcomeIcon } from './marks.js';
import { go, placeOf } from './pullstate.js';
import { lookOver } from './review.js';

/**
 * @typedef {import('../../stores/pull.js').PullPage} Page
 * @typedef {import('../../stores/pullwire.js').Detail} Detail
 */

/** @param {string} arg */
export function pullTitle(arg) {
  const title = pullPage(arg).value.detail?.title;
  const { repo, number } = pullOfArg(arg);
  return title ? `#${number} ${title}` : `${repo} #${number}`;
}

/** @param {{arg: string, group: string}} props */
export function PullPage({ arg, group }) {
  const page = pullPage(arg).value;
  const known = gitState.value !== 'unknown';
  useEffect(() => {
    if (known && !pullPage(arg).value.detail) void readPull(arg);
  }, [arg, known]);
  useEffect(() => giveFocus(group), [page.detail !== null, page.failure]);
  if (!page.detail) return html`<${Waiting} arg=${arg} page=${page} />`;
  return html`<article class="pull" aria-label=${pullTitle(arg)} aria-busy=${String(page.loading)}>
    <${Head} arg=${arg} page=${page} detail=${page.detail} />
    ${page.failure && html`<${Failed} arg=${arg} words=${page.failure} />`}
    <${Part} arg=${arg} page=${page} detail=${page.detail} />
  </article>`;
}

/** @param {{arg: string, page: Page}} props */
function Waiting({ arg, page }) {
  if (page.failure) return html`<${Failed} arg=${arg} words=${page.failure} />`;
  return html`<p class="pane-note" role="status">Reading pull request #${pullOfArg(arg).number}…</p>`;
}

/** @param {{arg: string, words: string}} props */
function Failed({ arg, words }) {
  return html`<div class="pane-note" role="alert" tabindex="0">
    <p>Could not read pull request #${pullOfArg(arg).number}: ${words}</p>
    <button type="button" class="button" onClick=${() => readPull(arg)}>Try Again</button>
  </div>`;
}

/** @param {{arg: string, page: Page, detail: Detail}} props */
function Head({ arg, page, detail }) {
  const { number, title, author, branch, base, added, removed, url } = detail;
  const busy = reviewing.value.has(url);
  return html`<header class="pull-head">
    <div class="pull-titles">
      <h1 class="pull-title">${title} <span class="pull-number">#${number}</span></h1>
      <p class="pull-facts">
        <span class=${`pull-state ${stateWords(detail)}`}>${stateWords(detail)}</span>
        <span>${author}</span>
        <span class="pull-branches">${branch} ${icon('arrow-right')}<span class="unseen">into</span> ${base}</span>
        <span class="pull-added">+${added}</span> <span class="pull-removed">−${removed}</span>
        <${Verdicts} detail=${detail} />
        <span role="status">${page.loading && 'Reading…'}</span>
      </p>
    </div>
    <div class="pull-actions" role="toolbar" aria-label="Pull request">
      <button type="button" class="button primary" disabled=${busy} onClick=${() => lookOver({ url, arg })}>
        ${busy ? 'Looking It Over…' : 'Look It Over'}
      </button>
      <button type="button" class="button" onClick=${() => checkOut(arg)}>Check Out</button>
      <button type="button" class="button" onClick=${() => openOutside(url)}>Open in Browser</button>
      <${IconButton} icon="refresh" label="Read Again" onClick=${() => readPull(arg)} />
    </div>
    <${Parts} arg=${arg} page=${page} detail=${detail} />
  </header>`;
}

/** @param {{detail: Detail}} props */
function Verdicts({ detail }) {
  const summary = checksSummary(detail.checks);
  const review = reviewWords(detail.review);
  return html`
    ${review && html`<span class=${`review-${detail.review.toLowerCase()}`}>${review}</span>`}
    <span class="pull-checks">${outcomeIcon(summary.outcome)} ${summary.words}</span>
  `;
}

/** @param {{arg: string, page: Page, detail: Detail}} props */
function Parts({ arg, page, detail }) {
  const { part } = placeOf(arg).value;
  const drafts = deskOf(detail.url).drafts.length;
  const parts = /** @type {const} */ ([
    ['changes', `Changes (${detail.changedFiles || page.files.length})`],
    ['about', `About and Checks (${detail.checks.length})`],
    ['drafts', `Comments (${drafts})`],
  ]);
  return html`<div class="pull-parts" role="tablist" aria-label="Parts of the pull request" onKeyDown=${rove}>
    ${parts.map(
      ([id, words]) => html`<button
        type="button"
        class="place-tab"
        role="tab"
        id=${`pull-tab-${id}`}
        aria-selected=${String(id === part)}
        aria-controls=${id === part ? 'pull-part' : undefined}
        tabindex=${id === part ? 0 : -1}
        onClick=${() => go(arg, { part: id })}
        onFocus=${() => id !== part && go(arg, { part: id })}
      >
        ${words}
      </button>`,
    )}
  </div>`;
}

/** @param {{arg: string, page: Page, detail: Detail}} props */
function Part({ arg, page, detail }) {
  const { part } = placeOf(arg).value;
  const body = { changes: Changes, about: About, drafts: Desk }[part];
  return html`<div class="pull-part" id="pull-part" role="tabpanel" aria-labelledby=${`pull-tab-${part}`}>
    <${body} arg=${arg} page=${page} detail=${detail} />
  </div>`;
}
