import { html } from 'htm/preact';
import { keepFocus } from './focus.js';
import { icon } from './icons.js';
import { showPanel } from './layout.js';
import { dismiss, reportError, toasts } from './toasts.js';

const ICONS = { info: 'info', warning: 'warning', error: 'error' };

export function ToastLayer() {
  return html`
    <section class="toasts" aria-label="Notifications">
      <div role="log" aria-live="polite" aria-label="Notifications">
        ${toasts.value.map((one) => html`<${Card} key=${one.id} toast=${one} />`)}
      </div>
    </section>
  `;
}

/** @param {{toast: import('./toasts.js').Toast}} props */
function Card({ toast }) {
  const { id, kind, text, count, detail, actions = [] } = toast;
  const close = () => {
    const giveBack = keepFocus();
    dismiss(id);
    giveBack();
  };
  /** @param {() => unknown} run @param {string} label */
  const act = async (run, label) => {
    close();
    try {
      await run();
    } catch (error) {
      reportError(`Could not run "${label}"`, error);
    }
  };
  const inLog = kind !== 'info' && detail !== undefined;
  return html`
    <div class=${`toast ${kind}`}>
      ${icon(ICONS[kind])}
      <p class="toast-text">
        <span class="unseen">${kind}: </span>${text}${count > 1 && html` <span class="count">${count}</span>`}
      </p>
      <button type="button" class="icon-button" aria-label="Dismiss" title="Dismiss" onClick=${close}>
        ${icon('close')}
      </button>
      ${
        (actions.length > 0 || inLog) &&
        html`<div class="toast-actions">
        ${actions.map(
          ({ label, run }) =>
            html`<button type="button" class="button" onClick=${() => act(run, label)}>${label}</button>`,
        )}
        ${
          inLog &&
          html`<button type="button" class="button quiet" onClick=${() => showPanel('log')}>Show in log</button>`
        }
      </div>`
      }
    </div>
  `;
}
