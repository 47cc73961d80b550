// What stands behind the conversation: what the CLI wrote to standard error, and each line as it came.

import { signal } from '@preact/signals';
import { html } from 'htm/preact';
import { IconButton } from '../../shell/places.js';
import { rawLines, showRaw, stderr } from '../../stores/chat.js';

/** @type {import('@preact/signals').Signal<'' | 'stderr' | 'stream'>} */
export const drawer = signal('');

/** @param {'' | 'stderr' | 'stream'} which */
export function openDrawer(which) {
  drawer.value = which;
  showRaw(which === 'stream');
}

export function Drawer() {
  const which = drawer.value;
  if (!which) return null;
  const isErrors = which === 'stderr';
  const text = isErrors ? stderr.value : rawLines.value.join('\n');
  const empty = isErrors
    ? 'Claude wrote nothing to standard error.'
    : 'No line has come since this page was loaded.';
  return html`
    <section class="chat-drawer" aria-label=${isErrors ? 'Standard error' : 'Lines as they came'}>
      <header class="chat-drawer-head">
        <h2>${isErrors ? 'Standard error' : 'Lines as they came'}</h2>
        <button type="button" class="button quiet" onClick=${() => openDrawer(isErrors ? 'stream' : 'stderr')}>
          ${isErrors ? 'Show the lines' : 'Show standard error'}
        </button>
        <${IconButton} icon="close" label="Close" onClick=${() => openDrawer('')} />
      </header>
      <pre tabindex="0">${text || empty}</pre>
    </section>
  `;
}
