// What a pull request is about: its description, and each check with the way to its page.

import { html } from 'htm/preact';
import { Markdown } from '../chat/markdown.js';
import { openOutside } from './actions.js';
import { outcomeIcon } from './marks.js';

/** @param {{detail: import('../../stores/pullwire.js').Detail}} props */
export function About({ detail }) {
  const { body, checks, labels } = detail;
  return html`<div class="pull-about">
    <section aria-label="Description">
      <h2 class="pull-heading">Description</h2>
      ${labels.length > 0 && html`<p class="pull-labels">${labels.map((label) => html`<span key=${label}>${label}</span>`)}</p>`}
      ${body.trim() ? html`<${Markdown} text=${body} />` : html`<p class="quiet">Nothing was written.</p>`}
    </section>
    <section aria-label="Checks">
      <h2 class="pull-heading">Checks</h2>
      ${checks.length === 0 && html`<p class="quiet">No check runs for this pull request.</p>`}
      <ul class="pull-check-list">
        ${checks.map((check, at) => html`<${Check} key=${at} check=${check} />`)}
      </ul>
    </section>
  </div>`;
}

/** @param {{check: import('../../stores/githubitems.js').Check}} props */
function Check({ check: { name, outcome, words, url } }) {
  const open = url.startsWith('https://');
  return html`<li>
    ${outcomeIcon(outcome)}
    ${
      open
        ? html`<button type="button" class="button quiet" onClick=${() => openOutside(url)}>${name}</button>`
        : html`<span>${name}</span>`
    }
    <span class="quiet">${words}</span>
  </li>`;
}
