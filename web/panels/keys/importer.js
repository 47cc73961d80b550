// The dialog that takes over a file of key bindings: where it comes from, then what would be taken over and what
// not. Nothing changes before the last button.

import { html } from 'htm/preact';
import { useLayoutEffect, useRef, useState } from 'preact/hooks';
import { get } from '../../bridge/api.js';
import { commands } from '../../shell/commands.js';
import { showDialog } from '../../shell/dialogs.js';
import { shownKeys } from '../../shell/keynames.js';
import { changes } from '../../stores/keybindings.js';
import { planConflicts, planImport } from '../../stores/keybindingsimport.js';
import { conflictWords } from '../../stores/keybindingsrows.js';
import { workspacePath } from '../../stores/paths.js';
import { roots } from '../../stores/settings.js';
import { typing } from '../chat/fields.js';
import { countWords, takeOver } from './state.js';

/**
 * @typedef {import('../../stores/keybindingsimport.js').Plan} Plan
 * @typedef {import('../../stores/keybindingsimport.js').Taken} Taken
 */

/** Out of reach for files that are read by their path, but where people will look for it. */
const kUsual = '~/.config/Code/User/keybindings.json';

/** @param {string} [path] of a file in the workspace that is offered at first */
export async function importKeys(path = '') {
  /** @type {Plan | null} */
  let chosen = null;
  const take = (/** @type {Plan} */ plan) => {
    chosen = plan;
  };
  const answer = await showDialog('Import key bindings of VS Code', ({ close }) =>
    html`<${Importer} path=${path} take=${take} close=${close} />`);
  if (answer === 'take' && chosen) takeOver(chosen);
}

/** @param {{path: string, take: (plan: Plan) => void, close: (answer: string | null) => void}} props */
function Importer({ path, take, close }) {
  const [plan, setPlan] = useState(/** @type {Plan | null} */ (null));
  if (!plan) return html`<${Source} path=${path} close=${close} show=${setPlan} />`;
  return html`<${Preview}
    plan=${plan}
    back=${() => setPlan(null)}
    close=${close}
    take=${() => {
      take(plan);
      close('take');
    }}
  />`;
}

/** @param {{path: string, close: (answer: string | null) => void, show: (plan: Plan) => void}} props */
function Source({ path: first, close, show }) {
  const chooser = useRef(/** @type {HTMLInputElement | null} */ (null));
  const choose = useRef(/** @type {HTMLElement | null} */ (null));
  const [path, setPath] = useState(first);
  const [text, setText] = useState('');
  const [wrong, setWrong] = useState('');
  useLayoutEffect(() => choose.current?.focus(), []);
  /** @param {string} what @param {() => Promise<string> | string} read */
  const read = async (what, read) => {
    try {
      const made = planImport(await read(), commands.peek(), changes.peek());
      if ('error' in made) setWrong(`${what}: ${made.error}`);
      else show(made);
    } catch (error) {
      setWrong(`Could not read ${what}: ${error instanceof Error ? error.message : error}`);
    }
  };
  /** @param {Event} event */
  const readPath = (event) => {
    event.preventDefault();
    void read(path, () => textAt(path));
  };
  return html`<div class="keys-import">
    <p class="quiet">The file is usually <code>${kUsual}</code>. Nothing changes before you have seen what would.</p>
    <div class="keys-source-row">
      <button type="button" class="button" data-autofocus ref=${choose} onClick=${() => chooser.current?.click()}>Choose a File…</button>
      <input
        type="file"
        hidden
        accept=".json,application/json"
        aria-label="File of key bindings"
        ref=${chooser}
        onChange=${(/** @type {Event} */ event) => {
          const [file] = /** @type {HTMLInputElement} */ (event.currentTarget).files ?? [];
          if (file) void read(file.name, () => file.text());
        }}
      />
    </div>
    <textarea
      class="field keys-pasted"
      rows="6"
      aria-label="Text of the file"
      placeholder="Or paste its text"
      spellcheck=${false}
      value=${text}
      onInput=${typing(setText)}
    ></textarea>
    <form class="keys-source-row" onSubmit=${readPath}>
      <input
        class="field"
        aria-label="Path of the file"
        placeholder="Or the path of a file in the workspace"
        spellcheck=${false}
        value=${path}
        onInput=${typing(setPath)}
      />
      <button type="submit" class="button" disabled=${!path.trim()}>Read</button>
    </form>
    <p class="dialog-wrong" role="alert">${wrong}</p>
    <div class="dialog-buttons">
      <button type="button" class="button" onClick=${() => close(null)}>Cancel</button>
      <button type="button" class="button primary" disabled=${!text.trim()} onClick=${() => read('The text', () => text)}>
        Show What Changes
      </button>
    </div>
  </div>`;
}

/**
 * @param {string} path of the workspace, or an absolute one inside it
 * @returns {Promise<string>}
 */
async function textAt(path) {
  const asked = path.trim();
  const inside = /^[/~]/.test(asked) ? workspacePath(roots.peek(), asked) : asked;
  if (!inside) throw new Error('it lies outside the workspace. Choose it with the button, or paste its text');
  const { contents, binary, truncated } = await get('file/read', { path: inside });
  if (binary || truncated) throw new Error('it is no text of that kind');
  return contents;
}

/** @param {{plan: Plan, back: () => void, take: () => void, close: (answer: string | null) => void}} props */
function Preview({ plan, back, take, close }) {
  const { taken, left } = plan;
  const conflicts = planConflicts(plan, commands.peek());
  const next = useRef(/** @type {HTMLElement | null} */ (null));
  // What had the focus went with the first part of the dialog.
  useLayoutEffect(() => next.current?.focus(), []);
  return html`<div class="keys-import">
    <p role="status">${planWords(taken.length, left.length, conflicts.size)}</p>
    <div class="keys-preview" tabindex="0" role="region" aria-label="What changes">
      ${taken.length > 0 && html`<h3>Taken over</h3>`}
      <ul>
        ${taken.map((item) => html`<${TakenItem} item=${item} conflicts=${conflicts.get(item) ?? []} />`)}
      </ul>
      ${left.length > 0 && html`<h3>Not taken over</h3>`}
      <ul>
        ${left.map(
          ({ keys, theirs, reason }) => html`<li>
            <kbd class="keys-shown">${keys || '(no keys)'}</kbd> <code>${theirs || '(no command)'}</code>
            <span class="quiet">${reason}</span>
          </li>`,
        )}
      </ul>
    </div>
    <div class="dialog-buttons">
      <button type="button" class="button" onClick=${() => close(null)}>Cancel</button>
      <button type="button" class="button" ref=${taken.length ? undefined : next} onClick=${back}>Back</button>
      <button
        type="button"
        class="button primary"
        ref=${taken.length ? next : undefined}
        disabled=${!taken.length}
        onClick=${take}
      >
        Take Over ${countWords(taken.length, 'Binding')}
      </button>
    </div>
  </div>`;
}

/** @param {number} taken @param {number} left @param {number} conflicts */
const planWords = (taken, left, conflicts) =>
  `${taken ? `${countWords(taken, 'binding')} would be taken over` : 'Nothing would be taken over'}` +
  `${left ? `, ${left} not` : ''}${conflicts ? `. ${conflicts} of them in conflict with others` : ''}.`;

/** @param {{item: Taken, conflicts: import('../../stores/keybindingsrows.js').Conflict[]}} props */
function TakenItem({ item: { command, keys, when, removes, note }, conflicts }) {
  const { category, title } = command;
  return html`<li>
    <kbd class="keys-shown">${shownKeys(keys)}</kbd> ${`${removes ? 'taken from ' : ''}${category ? `${category}: ` : ''}${title} `}
    ${when && html`<code>${when}</code>`}
    ${conflicts.map((one) => html`<span class="keys-conflict">${conflictWords(one)}</span>`)}
    ${note && html`<span class="quiet">${note}</span>`}
  </li>`;
}
