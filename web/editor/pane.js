// What stands below the tabs of a group: the text view, a preview, a comparison, or why there is nothing.

import { html } from 'htm/preact';
import { useEffect } from 'preact/hooks';
import { PlanDocument } from '../panels/chat/plandocument.js';
import { MarkdownPreview } from '../panels/preview/markdown.js';
import { FilePreview } from '../panels/preview/preview.js';
import { isDiff } from '../stores/gitdiffs.js';
import { Breadcrumbs } from './breadcrumbs.js';
import { CompareView } from './compareview.js';
import { needsDocument } from './diff.js';
import { DiffView } from './diffview.js';
import { openDocument, retryDocument } from './documents.js';
import { OutsideBanner } from './outsideview.js';
import { closeOne, giveFocus } from './tabactions.js';
import { pageOf } from './pages.js';
import { bufferOf, documents, titleOf } from './state.js';
import { TextView } from './textview.js';

/** @param {{group: import('../stores/tabs.js').Group}} props */
export function GroupBody({ group }) {
  const tab = group.tabs.find((each) => each.key === group.active) ?? null;
  const id = tab?.id ?? '';
  const known = documents.value.has(id);
  useEffect(() => {
    if (tab && !known && needsDocument(tab)) openDocument(id);
  }, [id, tab?.kind, known]);
  const buffer = tab?.kind === 'text' ? bufferOf(id) : null;
  return html`<div class="group-body" role="tabpanel" aria-label=${tab ? titleOf(id) : 'Empty group'}>
    ${buffer && html`<${OutsideBanner} id=${id} buffer=${buffer} />`}
    ${buffer && html`<${Breadcrumbs} id=${id} group=${group.id} />`}
    <${TextView} group=${group.id} id=${id} buffer=${buffer} />
    ${tab && !buffer && html`<${Other} key=${tab.key} tab=${tab} group=${group.id} />`}
    ${!tab && html`<p class="empty-group" tabindex="0">Open a file from the explorer, or drop one here.</p>`}
  </div>`;
}

/** @param {{tab: import('../stores/tabs.js').Tab, group: string}} props */
function Other({ tab, group }) {
  const content = documents.value.get(tab.id)?.content.value ?? { kind: 'loading' };
  useEffect(() => giveFocus(group), [content.kind]);
  if (tab.kind === 'plan') return html`<${PlanDocument} id=${tab.id} />`;
  if (tab.kind === 'page') return html`<${PageBody} id=${tab.id} group=${group} />`;
  if (isDiff(tab.kind)) return html`<${DiffView} tab=${tab} kind=${tab.kind} group=${group} />`;
  if (content.kind === 'loading')
    return html`<p class="pane-note" role="status">Opening ${titleOf(tab.id)}…</p>`;
  if (content.kind === 'failed') return html`<${Failed} tab=${tab} group=${group} words=${content.words} />`;
  if (content.kind === 'facts') return html`<${FilePreview} info=${content.info} />`;
  if (tab.kind === 'markdown') return html`<${MarkdownPreview} id=${tab.id} buffer=${content.buffer} />`;
  return html`<${CompareView} id=${tab.id} group=${group} buffer=${content.buffer} />`;
}

/** @param {{id: string, group: string}} props */
function PageBody({ id, group }) {
  const page = pageOf(id);
  if (!page) return html`<p class="pane-note" tabindex="0">This page cannot be shown any more.</p>`;
  const { component: Page, arg } = page;
  return html`<${Page} key=${id} arg=${arg} id=${id} group=${group} />`;
}

/** @param {{tab: import('../stores/tabs.js').Tab, group: string, words: string}} props */
function Failed({ tab, group, words }) {
  return html`<div class="pane-note" role="alert" tabindex="0">
    <p>Could not open ${tab.id}: ${words}</p>
    <button class="button" onClick=${() => retryDocument(tab.id)}>Try Again</button>
    <button class="button" onClick=${() => closeOne(group, tab.key)}>Close</button>
  </div>`;
}
