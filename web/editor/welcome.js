// What the middle shows when nothing is open: what to do next, with its keys.

import { html } from 'htm/preact';
import { commandById, keyFor, runCommand } from '../shell/commands.js';
import { roots } from '../stores/settings.js';

const kSteps = ['explorer.addFolder', 'go.file', 'file.new', 'explorer.focus', 'palette.show', 'file.reopenClosed'];

export function Welcome() {
  const steps = kSteps.filter((id) => commandById(id));
  return html`<section class="welcome" aria-label="Nothing is open" tabindex="0" data-focus>
    <h1>Marlin Bench</h1>
    <p>
      ${
        roots.value.length === 0
          ? 'No folder is open yet. Add one by its path, or drop a folder or a file here.'
          : 'Choose a file in the explorer, or drop one here.'
      }
    </p>
    <ul>
      ${steps.map(
        (id) => html`<li key=${id}>
          <button class="welcome-step" onClick=${() => runCommand(id)}>
            <span>${commandById(id)?.title}</span>
            <kbd>${keyFor(id)}</kbd>
          </button>
        </li>`,
      )}
    </ul>
  </section>`;
}
