// The section of the settings page that leads to the keyboard shortcuts.

import { html } from 'htm/preact';
import { runCommand } from '../../shell/commands.js';
import { changes } from '../../stores/keybindings.js';
import { conflictCount, countWords, hasChanges } from './state.js';

export function KeysSettings() {
  const { add, remove } = changes.value;
  const deed = (/** @type {string} */ command, /** @type {string} */ words, primary = false) => html`<button
    type="button"
    class=${`button ${primary ? 'primary' : ''}`}
    onClick=${() => runCommand(command)}
  >
    ${words}
  </button>`;
  return html`
    <p class="setting-state" role="status">
      ${hasChanges()
        ? `You added ${countWords(add.length, 'key')} and took ${countWords(remove.length, 'key')} away.`
        : 'All commands have the keys that they came with.'}
      ${conflictCount.value > 0 && ` ${countWords(conflictCount.value, 'key')} in conflict.`}
    </p>
    <div class="setting-steps">
      ${deed('help.keys', 'Show Keyboard Shortcuts', true)} ${deed('keys.import', 'Import from VS Code…')}
    </div>
  `;
}
