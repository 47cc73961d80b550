// The rows of settings: a switch, a choice, a text, or a value that can only be read. Each writes when it
// is changed; a failure is told, and the row goes back to what holds.

import { html } from 'htm/preact';
import { useId, useState } from 'preact/hooks';
import { reportError } from '../../shell/toasts.js';

/**
 * @typedef {object} RowProps
 * @property {string} label
 * @property {string} [words] what it does
 */

/**
 * @param {string} label
 * @param {() => unknown} write
 * @returns {Promise<boolean>} false when it failed
 */
async function told(label, write) {
  try {
    await write();
    return true;
  } catch (error) {
    reportError(`Could not set "${label}"`, error);
    return false;
  }
}

/** @param {RowProps & {value: boolean, set: (value: boolean) => unknown, disabled?: boolean}} props */
export function Switch({ label, words, value, set, disabled = false }) {
  const id = useId();
  return html`
    <div class="setting">
      <label class="setting-switch" for=${id}>
        <input
          type="checkbox"
          id=${id}
          checked=${value}
          disabled=${disabled}
          aria-describedby=${words ? `${id}-words` : undefined}
          onChange=${async (/** @type {Event} */ event) => {
            const box = /** @type {HTMLInputElement} */ (event.currentTarget);
            if (!(await told(label, () => set(box.checked)))) box.checked = value;
          }}
        />
        ${label}
      </label>
      <${Words} id=${id} words=${words} />
    </div>
  `;
}

/**
 * @param {RowProps & {value: string, options: {id: string, label: string}[], set: (value: string) => unknown}} props
 */
export function Choice({ label, words, value, options, set }) {
  const id = useId();
  const known = options.some((option) => option.id === value);
  return html`
    <div class="setting">
      <label class="setting-label" for=${id}>${label}</label>
      <select
        class="field"
        id=${id}
        value=${value}
        aria-describedby=${words ? `${id}-words` : undefined}
        onChange=${(/** @type {Event} */ event) =>
          told(label, () => set(/** @type {HTMLSelectElement} */ (event.currentTarget).value))}
      >
        ${!known && html`<option value=${value}>${value || '(not set)'}</option>`}
        ${options.map((option) => html`<option key=${option.id} value=${option.id}>${option.label}</option>`)}
      </select>
      <${Words} id=${id} words=${words} />
    </div>
  `;
}

/**
 * Written when it is left or Enter is pressed; Escape puts back what holds.
 * @param {RowProps & {value: string, lines?: boolean, placeholder?: string, mode?: string,
 *   wrong?: (value: string) => string, set: (value: string) => unknown}} props
 */
export function Text({ label, words, value, lines = false, placeholder, mode, wrong, set }) {
  const id = useId();
  const [draft, setDraft] = useState(/** @type {string | null} */ (null));
  const text = draft ?? value;
  const fault = wrong?.(text) ?? '';

  async function write() {
    if (draft === null || fault) return;
    if (draft !== value) await told(label, () => set(draft));
    setDraft(null);
  }
  /** @param {KeyboardEvent} event */
  function press(event) {
    if (event.key === 'Escape') setDraft(null);
    if (event.key === 'Enter' && !lines) void write();
  }
  const props = {
    class: 'field',
    id,
    value: text,
    placeholder,
    spellcheck: false,
    'aria-invalid': String(fault !== ''),
    'aria-describedby': `${id}-words`,
    onInput: (/** @type {Event} */ event) =>
      setDraft(/** @type {HTMLInputElement} */ (event.currentTarget).value),
    onBlur: write,
    onKeyDown: press,
  };
  return html`
    <div class="setting">
      <label class="setting-label" for=${id}>${label}</label>
      ${lines ? html`<textarea rows="3" ...${props} />` : html`<input type="text" inputmode=${mode} ...${props} />`}
      <${Words} id=${id} words=${fault || words} wrong=${fault !== ''} />
    </div>
  `;
}

/** @param {RowProps & {value: string, name?: string}} props `name`: its key in the settings file */
export function Fact({ label, words, value, name }) {
  return html`
    <div class="setting">
      <span class="setting-label">${label}</span>
      <span class="setting-fact">${value || html`<span class="setting-none">not set</span>`}</span>
      ${name && html`<p class="setting-words">Can be changed in the settings file only: <code>${name}</code></p>`}
      ${words && html`<p class="setting-words">${words}</p>`}
    </div>
  `;
}

/** @param {{id: string, words?: string, wrong?: boolean}} props */
function Words({ id, words, wrong = false }) {
  if (!words) return null;
  return html`<p class=${`setting-words ${wrong ? 'wrong' : ''}`} id=${`${id}-words`}>${words}</p>`;
}
