// Writing a remark on some lines. Any comparison of the page offers it: writeRemark() asks for the words and
// puts the remark into the basket; remarkItem() is its entry in a menu.

import { html } from 'htm/preact';
import { useState } from 'preact/hooks';
import { showDialog } from '../../shell/dialogs.js';
import { addRemark, placeWords } from '../../stores/basket.js';
import { typing } from '../chat/fields.js';

/** @typedef {import('../../stores/basket.js').RemarkPlace} RemarkPlace */

/**
 * @param {RemarkPlace} place
 * @returns {Promise<boolean>} whether there is a remark more
 */
export async function writeRemark(place) {
  const words = await showDialog(`Remark on ${placeWords(place)}`, ({ close }) => html`<${Form} place=${place} close=${close} />`);
  return words !== null && addRemark(place, words) > 0;
}

/** @param {boolean} one whether it is a single line */
export const remarkLabel = (one) => (one ? 'Remark on the Line…' : 'Remark on the Lines…');

/**
 * @param {RemarkPlace} place
 * @returns {import('../../shell/menus.js').MenuItem}
 */
export const remarkItem = (place) => ({
  label: remarkLabel(place.from === place.to),
  run: () => writeRemark(place),
});

/** @param {{place: RemarkPlace, close: (answer: string | null) => void}} props */
function Form({ place, close }) {
  const [words, setWords] = useState('');
  /** @param {KeyboardEvent} event */
  const onKeyDown = (event) => {
    if (event.isComposing || event.key !== 'Enter' || !event.ctrlKey || !words.trim()) return;
    event.preventDefault();
    event.stopPropagation();
    close(words);
  };
  return html`<div class="remark-form">
    <p class="quiet">${place.source}${place.side === 'old' ? ', as it was before' : ''}</p>
    <pre class="remark-quote" tabindex="0">${place.quote.join('\n') || ' '}</pre>
    <textarea
      class="field"
      rows="4"
      data-autofocus
      aria-label="Remark"
      placeholder="What is to be said of it"
      value=${words}
      onInput=${typing(setWords)}
      onKeyDown=${onKeyDown}
    ></textarea>
    <div class="dialog-buttons">
      <button type="button" class="button" onClick=${() => close(null)}>Cancel</button>
      <button type="button" class="button primary" disabled=${!words.trim()} title="Ctrl+Enter" onClick=${() => close(words)}>
        Put into the Basket
      </button>
    </div>
  </div>`;
}
