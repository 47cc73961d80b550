// How much screen readers are told, and how texts are laid out for them.

import { html } from 'htm/preact';
import { screenReader, setScreenReader } from '../../editor/lspoptions.js';
import { runCommand } from '../../shell/commands.js';
import { setTalk, talk } from '../../stores/announce.js';
import { Choice } from './fields.js';

const kTalks = [
  { id: 'all', label: 'Everything' },
  { id: 'needed', label: 'Questions, answers, ends of tasks and the link' },
  { id: 'nothing', label: 'Nothing by itself' },
];

const kSupport = [
  { id: 'auto', label: 'As the text editor finds it' },
  { id: 'on', label: 'On' },
  { id: 'off', label: 'Off' },
];

export function AccessSettings() {
  return html`
    <${Choice}
      label="What screen readers are told"
      words="News are said together, at most one message a second, and none while you type."
      value=${talk.value}
      options=${kTalks}
      set=${setTalk}
    />
    <${Choice}
      label="Texts for screen readers"
      words="On: the text editor hands whole pages of text to the screen reader, and some of its effects are off."
      value=${screenReader.value}
      options=${kSupport}
      set=${setScreenReader}
    />
    <div class="setting-steps">
      <button type="button" class="button" onClick=${() => runCommand('access.readStatus')}>Read the Status Line</button>
      <button type="button" class="button" onClick=${() => runCommand('access.readPosition')}>Read the Line and Column</button>
    </div>
  `;
}
