// Updates: what is there, what was verified of it, and the steps up to the restart.

import { html } from 'htm/preact';
import { useEffect } from 'preact/hooks';
import { call } from '../../bridge/api.js';
import { runCommand } from '../../shell/commands.js';
import { icon } from '../../shell/icons.js';
import { desktop, readDesktop } from '../../stores/desktop.js';
import { applyConfig, config } from '../../stores/settings.js';
import { canUpdate, update, updateBadge, updateBusy, updateError } from '../../stores/updates.js';
import { stateWords, verifiedFacts } from '../../stores/updatewords.js';
import { Choice, Fact, Switch } from './fields.js';

const kChannels = [
  { id: 'stable', label: 'Stable' },
  { id: 'beta', label: 'Beta: sooner, and less tried' },
];

const setConfig = async (/** @type {object} */ change) => applyConfig((await call('config', change)).config);

export function UpdateSettings() {
  useEffect(() => void readDesktop().catch(() => {}), []);
  const status = update.value;
  const checked = status.lastCheck ? new Date(status.lastCheck * 1000).toLocaleString() : 'not yet';
  return html`
    <p role="status" class="setting-state">${stateWords(status)}</p>
    ${updateError.value && html`<p class="setting-words wrong">${updateError.value}</p>`}
    ${status.state === 'downloading' &&
    html`<progress max="100" value=${status.progress} aria-label="Download"></progress>`}
    <${Steps} />
    ${['available', 'downloading', 'ready'].includes(status.state) && html`<${Sheet} />`}
    ${canUpdate.value && html`<${Fact} label="Last looked" value=${checked} />`}
    <${Switch}
      label="Look for updates by itself"
      words="At the start, and twice a day. Nothing is downloaded without being asked for."
      value=${config.value.automaticUpdates === true}
      set=${(/** @type {boolean} */ automaticUpdates) => setConfig({ automaticUpdates })}
    />
    <${Choice}
      label="Channel"
      value=${config.value.updateChannel === 'beta' ? 'beta' : 'stable'}
      options=${kChannels}
      set=${(/** @type {string} */ updateChannel) => setConfig({ updateChannel })}
    />
    <${Fact} label="Address" name="updateUrl" value=${config.value.updateUrl} />
  `;
}

function Steps() {
  const { state } = update.value;
  if (!canUpdate.value) return null;
  const button = (/** @type {string} */ command, /** @type {string} */ label, primary = false) =>
    html`<button
      type="button"
      class=${`button ${primary ? 'primary' : ''}`}
      onClick=${() => runCommand(command)}
    >
      ${label}
    </button>`;
  return html`<div class="setting-steps">
    ${state === 'available' && button('update.download', 'Download', true)}
    ${state === 'ready' && button('update.apply', 'Restart and Install', true)}
    ${['available', 'ready'].includes(state) && button('update.skip', 'Leave This Version Out')}
    ${!updateBusy.value && button('update.check', 'Check Now')}
  </div>`;
}

function Sheet() {
  const facts = verifiedFacts(update.value, desktop.value.currentExecutable, Date.now());
  return html`
    <h3>What was verified</h3>
    <dl class="facts">
      ${facts.map(
        ({ label, value }) => html`<div key=${label}>
          <dt>${label}</dt>
          <dd>${value}</dd>
        </div>`,
      )}
    </dl>
    ${update.value.notes &&
    html`<h3>Notes</h3>
      <p class="setting-notes">${update.value.notes}</p>`}
  `;
}

/** In the status bar, only while there is something to do. */
export function UpdateBadge() {
  const badge = updateBadge.value;
  if (!badge) return null;
  return html`<button
    type="button"
    class="status-item"
    title="Updates"
    onClick=${() => runCommand('update.show')}
  >
    ${icon(badge.icon)} ${badge.words}
  </button>`;
}
