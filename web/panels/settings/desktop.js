// The program among the desktop's applications.

import { html } from 'htm/preact';
import { useEffect } from 'preact/hooks';
import { runCommand } from '../../shell/commands.js';
import { icon } from '../../shell/icons.js';
import { reportError } from '../../shell/toasts.js';
import { desktop, readDesktop } from '../../stores/desktop.js';
import { Fact } from './fields.js';

export function DesktopSettings() {
  useEffect(() => {
    readDesktop().catch((error) => reportError('Could not ask the desktop', error));
  }, []);
  const { known, registered, stale, registeredExecutable, currentExecutable } = desktop.value;
  if (!known) return html`<p class="setting-state">Asking…</p>`;
  return html`
    <p role="status" class="setting-state">
      ${registered
        ? 'Marlin Bench is among the applications and in "Open With".'
        : 'The desktop does not know Marlin Bench: it is neither among the applications nor in "Open With".'}
    </p>
    ${stale &&
    html`<p class="setting-warning">
      ${icon('warning')} The entry starts another program than this one. It was moved or replaced since; add the
      entry again to have it start this one.
    </p>`}
    <div class="setting-steps">
      <button type="button" class="button primary" onClick=${() => runCommand('desktop.register')}>
        ${registered ? 'Add the Entry Again' : 'Add to the Applications'}
      </button>
      ${registered &&
      html`<button type="button" class="button" onClick=${() => runCommand('desktop.unregister')}>
        Remove the Entry
      </button>`}
    </div>
    <${Fact} label="This program" value=${currentExecutable} />
    ${registered && html`<${Fact} label="The entry starts" value=${registeredExecutable} />`}
  `;
}
