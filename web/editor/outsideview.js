// What stands above a text whose file is not what it was.

import { html } from 'htm/preact';
import { openTab } from '../stores/tabs.js';
import { saveDocument } from './savefile.js';
import { tabs, titleOf } from './state.js';

/** @param {{id: string, buffer: import('./state.js').TextBuffer}} props */
export function OutsideBanner({ id, buffer }) {
  if (buffer.gone.value) {
    return html`<div class="disk-banner" role="status">
      <span>${titleOf(id)} was deleted on disk. Its text is kept here.</span>
      <button class="button" onClick=${() => saveDocument(id)}>Save It Again</button>
    </div>`;
  }
  if (!buffer.diskChanged.value) return null;
  const compare = () => {
    tabs.value = openTab(tabs.value, { kind: 'compare', id }).state;
  };
  return html`<div class="disk-banner" role="status">
    <span>${titleOf(id)} is different on disk from what these changes were made to.</span>
    <button class="button" onClick=${compare}>Compare</button>
  </div>`;
}
