// Draws the open dialog. What lies behind is inert (shell.js), so Tab stays inside by itself; the
// two ends are joined here, since leaving the page by Tab would lead nowhere in a window without bars.

import { useLayoutEffect, useRef, useState } from 'preact/hooks';
import { html } from 'htm/preact';
import { openDialog } from './dialogs.js';

/** @typedef {(answer: string | null) => void} Close */

export function DialogLayer() {
  const dialog = openDialog.value;
  if (!dialog) return null;
  return html`<${Dialog} key=${dialog} dialog=${dialog} />`;
}

/** @param {{dialog: import('./dialogs.js').OpenDialog}} props */
function Dialog({ dialog }) {
  const box = useRef(/** @type {HTMLElement | null} */ (null));
  useLayoutEffect(() => {
    const first = box.current?.querySelector('[data-autofocus]') ?? focusable(box.current)[0];
    if (first instanceof HTMLElement) first.focus();
  }, []);
  /** @param {KeyboardEvent} event */
  const onKeyDown = (event) => {
    // An input method's own Escape takes back what is being composed, not the dialog.
    if (event.isComposing) return;
    if (event.key === 'Escape') dialog.close(null);
    else if (event.key !== 'Tab' || !turnRound(box.current, event.shiftKey)) return;
    event.preventDefault();
    event.stopPropagation();
  };
  const { ask, prompt, body: Body } = dialog;
  return html`
    <div class="dialog-layer" data-overlay>
      <div
        class="dialog"
        ref=${box}
        role=${ask ? 'alertdialog' : 'dialog'}
        aria-modal="true"
        aria-labelledby="dialog-title"
        aria-describedby=${ask?.text ? 'dialog-text' : undefined}
        onKeyDown=${onKeyDown}
      >
        <h2 id="dialog-title" class="dialog-title">${dialog.title}</h2>
        ${ask && html`<${Ask} request=${ask} close=${dialog.close} />`}
        ${prompt && html`<${Prompt} request=${prompt} close=${dialog.close} />`}
        ${Body && html`<${Body} close=${dialog.close} />`}
      </div>
    </div>
  `;
}

/** @param {{request: import('./dialogs.js').AskRequest, close: Close}} props */
function Ask({ request, close }) {
  const { text, detail, buttons } = request;
  const first = buttons.find(({ kind }) => kind) ?? buttons[0];
  return html`
    ${text && html`<p id="dialog-text" class="dialog-text">${text}</p>`}
    ${detail && html`<pre class="dialog-detail" tabindex="0">${detail}</pre>`}
    <div class="dialog-buttons">
      ${buttons.map(
        (button) => html`
          <button
            type="button"
            class=${`button ${button.kind ?? ''}`}
            data-autofocus=${button === first ? '' : undefined}
            onClick=${() => close(button.id)}
          >
            ${button.label}
          </button>
        `,
      )}
    </div>
  `;
}

/** @param {{request: import('./dialogs.js').PromptRequest, close: Close}} props */
function Prompt({ request, close }) {
  const { label, value = '', select, validate, button = 'OK' } = request;
  const field = useRef(/** @type {HTMLInputElement | null} */ (null));
  const [text, setText] = useState(value);
  const [touched, setTouched] = useState(false);
  const wrong = validate?.(text) ?? '';
  useLayoutEffect(() => {
    const [from, to] = select ?? [0, value.length];
    field.current?.setSelectionRange(from, to);
  }, []);
  /** @param {Event} event */
  const submit = (event) => {
    event.preventDefault();
    setTouched(true);
    if (!wrong) close(text);
  };
  const shown = touched ? wrong : '';
  return html`
    <form onSubmit=${submit} noValidate>
      <label class="dialog-text" for="dialog-field">${label}</label>
      <input
        id="dialog-field"
        class="field"
        data-autofocus
        ref=${field}
        value=${text}
        autocomplete="off"
        spellcheck=${false}
        aria-invalid=${shown ? 'true' : undefined}
        aria-describedby="dialog-wrong"
        onInput=${(/** @type {Event} */ event) => {
          setText(/** @type {HTMLInputElement} */ (event.target).value);
          setTouched(true);
        }}
      />
      <p id="dialog-wrong" class="dialog-wrong" role="alert">${shown}</p>
      <div class="dialog-buttons">
        <button type="button" class="button" onClick=${() => close(null)}>Cancel</button>
        <button type="submit" class="button primary">${button}</button>
      </div>
    </form>
  `;
}

/** @param {HTMLElement | null} box */
function focusable(box) {
  const found = box?.querySelectorAll('button, input, select, textarea, a[href], [tabindex="0"]') ?? [];
  return [...found].filter((one) => !one.matches(':disabled'));
}

/**
 * At an end, moves the focus to the other one.
 * @param {HTMLElement | null} box
 * @param {boolean} back
 */
function turnRound(box, back) {
  const all = focusable(box);
  const at = all.indexOf(/** @type {Element} */ (document.activeElement));
  if (at !== (back ? 0 : all.length - 1) && at >= 0) return false;
  const next = all.at(back ? -1 : 0);
  if (next instanceof HTMLElement) next.focus();
  return true;
}
