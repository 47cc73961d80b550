// The status bar: what others registered, and between them what the keys and the jobs have to say.

import { html } from 'htm/preact';
import { linkState } from '../bridge/events.js';
import { activeJobs } from '../stores/jobs.js';
import { icon } from './icons.js';
import { chordHint } from './keys.js';
import { showPanel } from './layout.js';
import { statusItems } from './statusbar.js';

export function StatusBar() {
  const items = statusItems.value;
  const left = items.filter(({ side }) => side === 'left');
  // The first of the right side is the outermost, so it is drawn last.
  const right = items.filter(({ side }) => side === 'right').reverse();
  return html`
    <footer class="status" aria-label="Status bar" data-part="status">
      ${linkState.value === 'down' &&
      html`<span class="status-item down">${icon('debug-disconnect')} No link</span>`}
      ${left.map(({ id, component: Item }) => html`<${Item} key=${id} />`)}
      <${Jobs} />
      <span class="status-hint" role="status">${chordHint.value}</span>
      ${right.map(({ id, component: Item }) => html`<${Item} key=${id} />`)}
    </footer>
  `;
}

function Jobs() {
  const running = activeJobs.value;
  if (!running.length) return null;
  const words = running.length === 1 ? running[0].title : `${running.length} jobs`;
  return html`
    <button type="button" class="status-item" title="Show jobs" onClick=${() => showPanel('jobs')}>
      ${icon('loading', 'spin')} ${words}
    </button>
  `;
}
