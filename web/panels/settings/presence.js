// The Discord status: what it shows, and where it is silent.

import { html } from 'htm/preact';
import { call } from '../../bridge/api.js';
import { connected, paused, presenceOn, presenting, privateRoots, setPaused, setPrivate, silence } from '../../stores/presence.js';
import { applyConfig, config, roots } from '../../stores/settings.js';
import { Fact, Switch } from './fields.js';

const setConfig = async (/** @type {object} */ change) => applyConfig((await call('config', change)).config);

function stateWords() {
  if (config.value.discordPresence !== true) return 'The status is off.';
  if (!config.value.discordAppId) return 'The status needs the id of a Discord application.';
  if (silence.value) return `The status says nothing of your work: ${silence.value}.`;
  return connected.value ? 'Discord shows what you work on.' : 'Discord does not answer; it is looked for now and then.';
}

export function PresenceSettings() {
  return html`
    <p role="status" class="setting-state">${stateWords()}</p>
    <${Switch}
      label="Show in Discord what I work on"
      value=${config.value.discordPresence === true}
      set=${(/** @type {boolean} */ discordPresence) => setConfig({ discordPresence })}
    />
    <${Switch}
      label="With the names of files"
      value=${config.value.discordShowFileNames === true}
      disabled=${config.value.discordPresence !== true}
      set=${(/** @type {boolean} */ discordShowFileNames) => setConfig({ discordShowFileNames })}
    />
    <${Fact} label="Application" name="discordAppId" value=${config.value.discordAppId} />
    <h3>Silence</h3>
    <${Switch}
      label="Pause"
      words=${presenceOn.value ? 'Until it is switched on again.' : ''}
      value=${paused.value}
      set=${setPaused}
    />
    <${Switch}
      label="I am presenting"
      words="Until the window is closed."
      value=${presenting.value}
      set=${(/** @type {boolean} */ value) => {
        presenting.value = value;
      }}
    />
    ${roots.value.map(
      ({ name }) => html`<${Switch}
        key=${name}
        label=${`Say nothing of ${name}`}
        value=${privateRoots.value.includes(name)}
        set=${(/** @type {boolean} */ value) => setPrivate(name, value)}
      />`,
    )}
    <p class="setting-words">It says nothing of files that may hold secrets either, such as .env or private keys.</p>
  `;
}
