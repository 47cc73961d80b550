// What stands below the tabs of a group: the text view, a preview, a comparison, or why there is nothing.

import { html } from 'htm/preact';
import { useEffect } from 'preact/hooks';
import { MarkdownPreview } from '../panels/preview/markdown.js';
import { FilePreview } from '../panels/preview/preview.js';
import { openTab } from '../stores/tabs.js';
import { CompareView } from './compareview.js';
import { openDocument, retryDocument } from './documents.js';
import { closeOne, giveFocus } from './tabactions.js';
import { bufferOf, documents, tabs, titleOf } from './state.js';
import { TextView } from './textview.js';

/** @param {{group: import('../stores/tabs.js').Group}} props */
export function GroupBody({ group }) {
  const tab = group.tabs.find((each) => each.key === group.active) ?? null;
  const id = tab?.id ?? '';
  const known = documents.value.has(id);
  useEffect(() => {
    if (tab && !known && id.includes('/')) openDocument(id);
  }, [id, known]);
  const buffer = tab?.kind === 'text' ? bufferOf(id) : null;
  return html`<div class="group-body" role="tabpanel" aria-label=${tab ? titleOf(id) : 'Empty group'}>
    ${buffer?.diskChanged.value && html`<${DiskBanner} id=${id} />`}
    <${TextView} group=${group.id} id=${id} buffer=${buffer} />
    ${tab && !buffer && html`<${Other} key=${tab.key} tab=${tab} group=${group.id} />`}
    ${!tab && html`<p class="empty-group" tabindex="0">Open a file from the explorer, or drop one here.</p>`}
  </div>`;
}

/** @param {{tab: import('../stores/tabs.js').Tab, group: string}} props */
function Other({ tab, group }) {
  const content = documents.value.get(tab.id)?.content.value ?? { kind: 'loading' };
  useEffect(() => giveFocus(group), [content.kind]);
  if (content.kind === 'loading')
    return html`<p class="pane-note" role="status">Opening ${titleOf(tab.id)}…</p>`;
  if (content.kind === 'failed') return html`<${Failed} tab=${tab} group=${group} words=${content.words} />`;
  if (content.kind === 'facts') return html`<${FilePreview} info=${content.info} />`;
  if (tab.kind === 'markdown') return html`<${MarkdownPreview} id=${tab.id} buffer=${content.buffer} />`;
  return html`<${CompareView} id=${tab.id} group=${group} buffer=${content.buffer} />`;
}

/** @param {{tab: import('../stores/tabs.js').Tab, group: string, words: string}} props */
function Failed({ tab, group, words }) {
  return html`<div class="pane-note" role="alert" tabindex="0">
    <p>Could not open ${tab.id}: ${words}</p>
    <button class="button" onClick=${() => retryDocument(tab.id)}>Try Again</button>
    <button class="button" onClick=${() => closeOne(group, tab.key)}>Close</button>
  </div>`;
}

/** @param {{id: string}} props */
function DiskBanner({ id }) {
  const compare = () => {
    tabs.value = openTab(tabs.value, { kind: 'compare', id }).state;
  };
  return html`<div class="disk-banner" role="status">
    <span>${titleOf(id)} is different on disk from what these changes were made to.</span>
    <button class="button" onClick=${compare}>Compare</button>
  </div>`;
}
