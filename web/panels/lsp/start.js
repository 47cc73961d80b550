// Puts the language servers into the shell: their page, and in the status bar the one of the text in front.

import { html } from 'htm/preact';
import { frontBuffer } from '../../editor/state.js';
import { registerCommand, runCommand } from '../../shell/commands.js';
import { icon } from '../../shell/icons.js';
import { registerPanel, showPanel } from '../../shell/layout.js';
import { IconButton } from '../../shell/places.js';
import { registerStatusItem } from '../../shell/statusbar.js';
import { catalogue, readCatalogue, restartServer, serverFor, stateOf, stopServer } from '../../stores/lspservers.js';
import { Servers, lookOf, shownServer } from './panel.js';

export function startServerPage() {
  registerPanel({
    id: 'servers',
    title: 'Language Servers',
    icon: 'server-process',
    place: 'bottom',
    order: 85,
    component: Servers,
    actions: () => html`<${IconButton} icon="refresh" command="servers.lookAgain" />`,
  });
  for (const command of kCommands) registerCommand({ ...command, category: 'Language' });
  registerStatusItem({ id: 'server', side: 'right', order: 15, component: ServerStatus });
}

/** The server of the text in front, also one that is not installed. */
function rowInFront() {
  const language = frontBuffer.value?.language.value ?? '';
  return serverFor(language) ?? catalogue.value.find(({ languages }) => languages.includes(language));
}

/** @param {string[]} phases */
const inPhase = (phases) => () => phases.includes(stateOf(rowInFront()?.id ?? '').phase);
const idInFront = () => rowInFront()?.id ?? '';

/** @type {Parameters<typeof registerCommand>[0][]} */
const kCommands = [
  {
    id: 'servers.show',
    title: 'Show Language Servers',
    run: (/** @type {string | undefined} */ id) => {
      shownServer.value = id ?? idInFront();
      showPanel('servers');
    },
  },
  { id: 'servers.lookAgain', title: 'Look for Language Servers Again', run: readCatalogue },
  {
    id: 'servers.restart',
    title: 'Restart the Language Server',
    when: () => rowInFront()?.available === true && !inPhase(['starting', 'stopping'])(),
    run: () => restartServer(idInFront()),
  },
  {
    id: 'servers.stop',
    title: 'Stop the Language Server',
    when: inPhase(['running']),
    run: () => stopServer(idInFront()),
  },
];

function ServerStatus() {
  const row = rowInFront();
  if (!row) return null;
  const { words, sign } = lookOf(row);
  const { progress } = stateOf(row.id);
  const doing = progress || (words === 'running' ? '' : words);
  return html`<button
    type="button"
    class="status-item"
    title=${`${row.name}: ${progress || words}`}
    aria-label=${`Language server ${row.name}: ${progress || words}`}
    onClick=${() => runCommand('servers.show', row.id)}
  >
    ${icon(progress ? 'loading' : sign, progress || sign === 'loading' ? 'spin' : '')} ${row.name}${doing && `: ${doing}`}
  </button>`;
}
