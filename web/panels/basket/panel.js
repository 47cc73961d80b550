// The review basket: remarks on lines, to be read over, changed and sent together.

import { html } from 'htm/preact';
import { useRef } from 'preact/hooks';
import { runCommand } from '../../shell/commands.js';
import { IconButton } from '../../shell/places.js';
import { editRemark, placeWords, remarks, removeRemark, unsaved } from '../../stores/basket.js';
import { typing } from '../chat/fields.js';
import { sending } from './send.js';

/** @typedef {import('../../stores/basket.js').Remark} Remark */

export function Basket() {
  const list = useRef(/** @type {HTMLDivElement | null} */ (null));
  if (remarks.value.length === 0) {
    return html`<p class="empty" role="status">
      Remarks on lines gather here. Write one from the menu of a line, or with R, in any comparison: they go out
      together, as one message to Claude or as a task.
    </p>`;
  }
  /** @param {Remark} remark */
  const drop = (remark) => {
    const at = remarks.value.indexOf(remark);
    removeRemark(remark.id);
    // The element that had the focus goes; the one that takes its place gets it.
    requestAnimationFrame(() => {
      const fields = list.current?.querySelectorAll('textarea') ?? [];
      const next = fields[Math.min(at, fields.length - 1)];
      if (next instanceof HTMLElement) next.focus();
    });
  };
  return html`<div class="basket">
    ${unsaved.value && html`<p class="github-note" role="alert">There is no room to keep these remarks over a restart.</p>`}
    <div class="basket-list" role="list" aria-label="Remarks" ref=${list}>
      ${remarks.value.map((remark) => html`<${RemarkView} key=${remark.id} remark=${remark} drop=${drop} />`)}
    </div>
    <div class="basket-foot">
      <button type="button" class="button primary" disabled=${sending.value} onClick=${() => runCommand('basket.send')}>
        ${sending.value ? 'Sending…' : 'Send to Chat'}
      </button>
      <button type="button" class="button" disabled=${sending.value} onClick=${() => runCommand('basket.task')}>
        Make a Task…
      </button>
    </div>
  </div>`;
}

/** @param {{remark: Remark, drop: (remark: Remark) => void}} props */
function RemarkView({ remark, drop }) {
  const { id, source, side, quote, text, jump } = remark;
  const where = placeWords(remark);
  return html`<div class="basket-remark" role="listitem">
    <div class="basket-head">
      <span class="basket-where" title=${where}>${where}</span>
      ${
        jump &&
        html`<${IconButton} icon="go-to-file" label=${`Show ${where}`} onClick=${() => runCommand(jump.command, jump.arg)} />`
      }
      <${IconButton} icon="trash" label=${`Remove the remark on ${where}`} onClick=${() => drop(remark)} />
    </div>
    <p class="basket-source">${source}${side === 'old' ? ', as it was before' : ''}</p>
    ${quote.some((line) => line.trim()) && html`<pre class="remark-quote" tabindex="0">${quote.join('\n')}</pre>`}
    <textarea
      class="field"
      rows=${Math.min(8, Math.max(2, text.split('\n').length))}
      aria-label=${`Remark on ${where}`}
      value=${text}
      onInput=${typing((words) => editRemark(id, words))}
    ></textarea>
  </div>`;
}

export function BasketBadge() {
  const count = remarks.value.length;
  return count > 0 && html`<span class="count">${count}</span>`;
}
