// The dialog in which one presses the keys for a command: one stroke, or two of a chord.

import { html } from 'htm/preact';
import { useState } from 'preact/hooks';
import { bindings, fullTitle } from '../../shell/commands.js';
import { showDialog } from '../../shell/dialogs.js';
import { keyNames, recordedStroke, shownKeys } from '../../shell/keynames.js';
import { conflictsOf } from '../../stores/keybindings.js';
import { keysFault, keysNotes } from '../../stores/keybindingsreserved.js';
import { conflictWords } from '../../stores/keybindingsrows.js';

/**
 * @typedef {import('../../shell/commands.js').Command} Command
 * @typedef {{name: string, names: string[]}} Stroke
 */

/**
 * @param {Command} command
 * @param {{keys: string} | null} replaced
 * @returns {Promise<string | null>} the keys
 */
export const recordKeys = (command, replaced) =>
  showDialog(fullTitle(command), ({ close }) => html`<${Recorder} command=${command} replaced=${replaced} close=${close} />`);

/**
 * A pressed stroke, or null for a modifier alone and while an input method composes.
 * @param {KeyboardEvent} event
 * @returns {Stroke | null}
 */
export function pressedStroke(event) {
  const composing = event.isComposing || event.keyCode === 229 || event.getModifierState('AltGraph');
  const name = composing || event.repeat ? '' : recordedStroke(event);
  return name ? { name, names: keyNames(event) } : null;
}

/** Whether a key belongs to the dialog or the page: Tab moves on, Esc leaves. @param {KeyboardEvent} event */
export const isLeaving = ({ key, ctrlKey, altKey, metaKey, shiftKey }) =>
  !ctrlKey && !altKey && !metaKey && (key === 'Tab' || (key === 'Escape' && !shiftKey));

/** @param {readonly Stroke[]} strokes */
const keysOf = (strokes) => strokes.map(({ name }) => name).join(' ');

/**
 * @param {object} props
 * @param {Command} props.command
 * @param {{keys: string} | null} props.replaced
 * @param {(answer: string | null) => void} props.close
 */
function Recorder({ command, replaced, close }) {
  const [strokes, setStrokes] = useState(/** @type {Stroke[]} */ ([]));
  const keys = keysOf(strokes);
  const fault = keys && keysFault(keys);
  const keep = () => keys && !fault && close(keys);

  /** @param {KeyboardEvent} event */
  const onKeyDown = (event) => {
    if (isLeaving(event)) return;
    event.preventDefault();
    event.stopPropagation();
    const stroke = pressedStroke(event);
    if (!stroke) return;
    if (stroke.name === 'enter') return void keep();
    if (stroke.name === 'backspace') return setStrokes(strokes.slice(0, -1));
    setStrokes(strokes.length === 1 && !fault ? [...strokes, stroke] : [stroke]);
  };

  return html`<div class="keys-recorder">
    <p class="quiet" id="keys-recorder-words">
      ${replaced ? `Instead of ${shownKeys(replaced.keys)}: press` : 'Press'} one key combination, or two for a chord.
      Enter keeps it, Backspace takes a combination back, Esc leaves.
    </p>
    <input
      class="field keys-recorded"
      readonly
      data-autofocus
      aria-label="Keys"
      aria-describedby="keys-recorder-words"
      placeholder="Press the keys"
      value=${keys && shownKeys(keys)}
      onKeyDown=${onKeyDown}
    />
    <div class="keys-findings" role="status">
      <${Findings} command=${command} strokes=${strokes} fault=${fault} />
    </div>
    <div class="dialog-buttons">
      <button type="button" class="button" onClick=${() => close(null)}>Cancel</button>
      <button type="button" class="button primary" disabled=${!keys || Boolean(fault)} onClick=${keep}>Keep</button>
    </div>
  </div>`;
}

/** @param {{command: Command, strokes: Stroke[], fault: string}} props */
function Findings({ command, strokes, fault }) {
  if (!strokes.length) return null;
  if (fault) return html`<p class="keys-fault">${fault}, so it cannot be bound.</p>`;
  const all = strokes.map(({ names }) => names);
  const conflicts = conflictsOf(bindings.value, { command, mine: true, when: null }, all);
  const notes = keysNotes(keysOf(strokes));
  return html`
    <p class="unseen">${shownKeys(keysOf(strokes))}</p>
    ${conflicts.map((one) => html`<p class="keys-conflict">${conflictWords(one)}</p>`)}
    ${conflicts.length > 0 && html`<p class="quiet">Where both could act, what you bound last does.</p>`}
    ${notes.map((words) => html`<p class="quiet">${words}</p>`)}
    ${!conflicts.length && !notes.length && html`<p class="quiet">Nothing else has these keys.</p>`}
  `;
}
