// How the window looks, and every switch that the editor has.

import { html } from 'htm/preact';
import { chooseTheme, themeChoice, themes } from '../../look/theme.js';
import { codeFont, setCodeFont, setTextFont, textFont } from '../../look/fonts.js';
import { setZoom, zoom, ZOOM_STEPS } from '../../look/zoom.js';
import { commands, enabled, runCommand } from '../../shell/commands.js';
import { config, roots } from '../../stores/settings.js';
import { Choice, Fact, Switch, Text } from './fields.js';

const kThemes = [{ id: 'auto', label: 'As the desktop' }, ...themes.map(({ id, title }) => ({ id, label: title }))];
const kZooms = ZOOM_STEPS.map((step) => ({ id: String(step), label: `${Math.round(step * 100)} %` }));

export function LookSettings() {
  return html`
    <${Choice} label="Colour theme" value=${themeChoice.value} options=${kThemes} set=${chooseTheme} />
    <${Choice}
      label="Zoom"
      value=${String(zoom.value)}
      options=${kZooms}
      set=${(/** @type {string} */ step) => setZoom(Number(step))}
    />
    <${Text}
      label="Font of code"
      words="The name of an installed font; empty for the usual one."
      value=${codeFont.value}
      set=${setCodeFont}
    />
    <${Text}
      label="Font of the window"
      words="Empty for the desktop's own."
      value=${textFont.value}
      set=${setTextFont}
    />
  `;
}

/** Whatever can be switched is a command, so that nothing here is listed twice. */
export function EditorSettings() {
  const switches = commands.value.filter(
    (command) => command.checked && command.palette !== false && !/^(layout|window)\./.test(command.id),
  );
  return html`
    ${switches.map(
      (command) => html`<${Switch}
        key=${command.id}
        label=${command.title}
        value=${command.checked?.() === true}
        disabled=${!enabled(command)}
        set=${() => runCommand(command.id)}
      />`,
    )}
    <div class="setting">
      <button type="button" class="button" onClick=${() => runCommand('history.clear')}>Delete All Local Versions…</button>
      <p class="setting-words">
        Each save keeps a version of the file in .marlin/history of its folder. The panel "File History" lists them.
      </p>
    </div>
  `;
}

/** What the settings file says and no part of the page can change. */
export function FileSettings() {
  const { shellCommand, languageServers, theme, bridgePort } = config.value;
  const servers = Object.entries(languageServers ?? {}).map(([id, command]) => `${id}: ${command}`);
  return html`
    <p class="setting-state">
      These stand in marlin-bench.json. The program reads the file at its start, and writes it when a setting
      changes: edit it while the program is closed.
    </p>
    <${Fact} label="Command of new terminals" name="shellCommand" value=${shellCommand} />
    <${Fact} label="Own commands of language servers" name="languageServers" value=${servers.join('\n')} />
    <${Fact} label="Theme of the native side" name="theme" value=${theme} />
    <${Fact} label="Port of the bridge" name="bridgePort" value=${String(bridgePort ?? '')} />
    <${Fact}
      label="Folders, in their order"
      name="roots"
      value=${roots.value.map(({ name, path }) => `${name}: ${path}`).join('\n')}
    />
  `;
}
