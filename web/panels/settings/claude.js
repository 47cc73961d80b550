// Settings of the Claude CLI: where it is, how it is started, how many tasks may run.

import { html } from 'htm/preact';
import { call } from '../../bridge/api.js';
import { EFFORTS, MODES, saveClaude, setMode, setModel, shownMode, shownModel } from '../../stores/chatsession.js';
import { fieldFault, fieldText, fieldValue, kClaudeFields } from '../../stores/claudefields.js';
import { recordOf } from '../../stores/chatwire.js';
import { limit, setLimit } from '../../stores/dispatch.js';
import { applyConfig, config } from '../../stores/settings.js';
import { Choice, Switch, Text } from './fields.js';

const kLimits = [1, 2, 3, 4, 5, 6, 7, 8].map((count) => ({ id: String(count), label: String(count) }));
const kEfforts = [{ id: '', label: 'The CLI decides' }, ...EFFORTS.map((id) => ({ id, label: id }))];

export function ClaudeSettings() {
  const claude = recordOf(config.value.claude);
  return html`
    <${Text}
      label="Command"
      words="A name that is found on PATH and in the usual places, or a path."
      value=${config.value.claudeCommand ?? ''}
      placeholder="claude"
      set=${async (/** @type {string} */ claudeCommand) =>
        applyConfig((await call('config', { claudeCommand })).config)}
    />
    <${Text}
      label="Model"
      words="A name that the CLI knows, or default."
      value=${shownModel.value}
      set=${setModel}
    />
    <${Choice}
      label="Mode"
      value=${shownMode.value}
      options=${MODES.map(({ id, label, words }) => ({ id, label: `${label}: ${words}` }))}
      set=${setMode}
    />
    <${Choice}
      label="Tasks that run at once"
      words="Further ones wait in line."
      value=${String(limit.value)}
      options=${kLimits}
      set=${(/** @type {string} */ count) => setLimit(Number(count))}
    />
    <h3>At the start of a session</h3>
    ${kClaudeFields.map((field) => html`<${Field} key=${field.key} field=${field} claude=${claude} />`)}
  `;
}

/** @param {{field: import('../../stores/claudefields.js').ClaudeField, claude: Record<string, unknown>}} props */
function Field({ field, claude }) {
  const { key, label, words, kind } = field;
  const save = (/** @type {unknown} */ value) => saveClaude({ [key]: value });
  if (kind === 'flag')
    return html`<${Switch} label=${label} words=${words} value=${claude[key] === true} set=${save} />`;
  const value = fieldText(claude, field);
  const set = (/** @type {string} */ text) => save(fieldValue(field, text));
  if (kind === 'effort')
    return html`<${Choice} label=${label} words=${words} value=${value} options=${kEfforts} set=${set} />`;
  return html`<${Text}
    label=${label}
    words=${words}
    value=${value}
    lines=${kind === 'lines'}
    mode=${kind === 'number' ? 'decimal' : undefined}
    wrong=${(/** @type {string} */ text) => fieldFault(field, text)}
    set=${set}
  />`;
}
