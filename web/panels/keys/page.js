// The page "Keyboard Shortcuts": all commands with their keys, found by words or by pressing keys, and changed.

import { html } from 'htm/preact';
import { useState } from 'preact/hooks';
import { runCommand } from '../../shell/commands.js';
import { icon } from '../../shell/icons.js';
import { typing } from '../chat/fields.js';
import { KeyList } from './list.js';
import { isLeaving, pressedStroke } from './record.js';
import { conflictCount, countWords, filter, filterKeys, hasChanges, rows, setFilter } from './state.js';

export function KeysPage() {
  const [pressing, setPressing] = useState(filter.value.strokes.length > 0);
  const shown = rows.value;
  return html`<div class="keys">
    <div class="keys-bar" role="toolbar" aria-label="Keyboard shortcuts">
      <${pressing || filter.value.strokes.length ? PressField : WordField} />
      <${Toggle}
        icon="record-keys"
        label="Search by Pressed Keys"
        pressed=${pressing || filter.value.strokes.length > 0}
        toggle=${(/** @type {boolean} */ on) => {
          setPressing(on);
          setFilter({ words: '', strokes: [] });
        }}
      />
      <${Toggle}
        icon="warning"
        label=${`Conflicts Only (${conflictCount.value})`}
        pressed=${filter.value.conflicts}
        toggle=${(/** @type {boolean} */ conflicts) => setFilter({ conflicts })}
      />
      <${Toggle}
        icon="account"
        label="Yours Only"
        pressed=${filter.value.mine}
        toggle=${(/** @type {boolean} */ mine) => setFilter({ mine })}
      />
      <span class="keys-space"></span>
      <${Deed} command="keys.import" words="Import…" />
      <${Deed} command="keys.export" words="Copy as File" disabled=${!hasChanges()} />
      <${Deed} command="keys.resetAll" words="Reset All…" disabled=${!hasChanges()} />
    </div>
    <p class="unseen" role="status">${countWords(shown.length, 'row')}</p>
    <${KeyList} rows=${shown} />
  </div>`;
}

function WordField() {
  return html`<input
    class="field keys-search"
    type="search"
    data-first-focus
    aria-label="Search keyboard shortcuts"
    placeholder="Words of a command, or of its keys"
    spellcheck=${false}
    value=${filter.value.words}
    onInput=${typing((words) => setFilter({ words }))}
    onKeyDown=${intoList}
  />`;
}

/** The arrow down leads from what is looked for to what was found. @param {KeyboardEvent} event */
function intoList(event) {
  const row = document.querySelector('.keys-row[tabindex="0"]');
  if (event.key !== 'ArrowDown' || !(row instanceof HTMLElement)) return;
  event.preventDefault();
  row.focus();
}

/** Two strokes are a chord; a third begins anew. */
function PressField() {
  /** @param {KeyboardEvent} event */
  const onKeyDown = (event) => {
    if (isLeaving(event) && event.key === 'Tab') return;
    event.preventDefault();
    event.stopPropagation();
    const stroke = pressedStroke(event);
    if (!stroke) return;
    const { strokes } = filter.value;
    if (stroke.name === 'escape') return setFilter({ strokes: [] });
    setFilter({ strokes: strokes.length === 1 ? [...strokes, stroke.names] : [stroke.names] });
  };
  return html`<input
    class="field keys-search"
    readonly
    data-keys-only
    data-first-focus
    aria-label="Search by pressed keys"
    placeholder="Press the keys to search for; Esc clears"
    value=${filterKeys.value}
    onKeyDown=${onKeyDown}
  />`;
}

/** @param {{icon: string, label: string, pressed: boolean, toggle: (on: boolean) => void}} props */
function Toggle({ icon: name, label, pressed, toggle }) {
  return html`<button
    type="button"
    class=${`icon-button keys-toggle ${pressed ? 'on' : ''}`}
    aria-label=${label}
    title=${label}
    aria-pressed=${String(pressed)}
    onClick=${() => toggle(!pressed)}
  >
    ${icon(name)}
  </button>`;
}

/** @param {{command: string, words: string, disabled?: boolean}} props */
function Deed({ command, words, disabled = false }) {
  return html`<button type="button" class="button" disabled=${disabled} onClick=${() => runCommand(command)}>
    ${words}
  </button>`;
}
