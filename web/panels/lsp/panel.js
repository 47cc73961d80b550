// The page of the language servers: where each was found, what it does, its log, and how to get the others.

import { html } from 'htm/preact';
import { signal } from '@preact/signals';
import { useEffect } from 'preact/hooks';
import { openWebAddress } from '../../editor/start.js';
import { icon } from '../../shell/icons.js';
import { reportError } from '../../shell/toasts.js';
import {
  catalogue,
  ownCommand,
  readServerLog,
  restartServer,
  stateOf,
  stopServer,
} from '../../stores/lspservers.js';

/** @typedef {import('../../stores/lspservers.js').ServerRow} ServerRow */

/** The server whose details are shown. */
export const shownServer = signal('');
/** What a server wrote to standard error, as last read. */
const log = signal({ id: '', text: '' });

/** @type {Record<string, {words: string, sign: string}>} */
const PHASES = {
  starting: { words: 'starting', sign: 'loading' },
  running: { words: 'running', sign: 'pass' },
  stopping: { words: 'stopping', sign: 'loading' },
  failed: { words: 'failed', sign: 'error' },
  lost: { words: 'waits for the link', sign: 'debug-disconnect' },
};

/** @param {ServerRow} row */
export function lookOf(row) {
  const look = PHASES[stateOf(row.id).phase];
  if (look) return look;
  return row.available ? { words: 'not running', sign: 'circle-large' } : { words: 'not installed', sign: 'circle-slash' };
}

/** Those that do something first, then those that could. @param {ServerRow} row */
const rank = (row) => (stateOf(row.id).phase !== 'stopped' ? 0 : row.available ? 1 : 2);

export function Servers() {
  const rows = [...catalogue.value].sort((one, other) => rank(one) - rank(other));
  if (!rows.length)
    return html`<p class="empty" tabindex="0" data-focus>The list of language servers could not be read. Look again with the button above.</p>`;
  return html`<ul class="servers" aria-label="Language servers">
    ${rows.map((row) => html`<${Server} key=${row.id} row=${row} />`)}
  </ul>`;
}

/** @param {{row: ServerRow}} props */
function Server({ row }) {
  const { id, name, languages } = row;
  const { words, sign } = lookOf(row);
  const { progress } = stateOf(id);
  const open = shownServer.value === id;
  return html`<li class=${`server ${stateOf(id).phase}`} data-server=${id}>
    <button
      type="button"
      class="server-row"
      aria-expanded=${String(open)}
      onClick=${() => {
        shownServer.value = open ? '' : id;
      }}
    >
      ${icon(open ? 'chevron-down' : 'chevron-right')} ${icon(sign, sign === 'loading' ? 'spin' : '')}
      <span class="server-name">${name}</span>
      <span class="server-state">${words}${progress && `: ${progress}`}</span>
      <span class="server-languages">${languages.join(', ')}</span>
    </button>
    ${open && html`<${Details} row=${row} />`}
  </li>`;
}

/** @param {{row: ServerRow}} props */
function Details({ row }) {
  const { id, path, available, install, homepage } = row;
  const { phase, words } = stateOf(id);
  const command = ownCommand(id);
  useEffect(() => void readLog(id), [id, phase]);
  const busy = phase === 'starting' || phase === 'stopping';
  return html`<div class="server-details">
    ${words && html`<p class="server-words" role="alert">${words}</p>`}
    <dl>
      ${command && html`<dt>Your own command</dt><dd><code>${command}</code></dd>`}
      ${!command && path && html`<dt>Found at</dt><dd><code>${path}</code></dd>`}
      ${!available && install && html`<dt>How to get it</dt><dd><code>${install}</code></dd>`}
      ${!available && !install && html`<dt>How to get it</dt><dd>See its page, or name a command under “languageServers” in the settings file.</dd>`}
    </dl>
    <div class="server-buttons">
      ${
        available &&
        html`<button type="button" class="button" disabled=${busy} onClick=${() => tried('start', row, restartServer(id))}>
          ${phase === 'running' ? 'Restart' : phase === 'failed' ? 'Start Again' : 'Start'}
        </button>`
      }
      ${
        phase === 'running' &&
        html`<button type="button" class="button" onClick=${() => tried('stop', row, stopServer(id))}>Stop</button>`
      }
      ${
        !available &&
        install &&
        html`<button type="button" class="button" onClick=${() => navigator.clipboard.writeText(install)}>Copy the Command</button>`
      }
      ${homepage && html`<button type="button" class="button" onClick=${() => openWebAddress(homepage)}>Open Its Page</button>`}
      <button type="button" class="button" onClick=${() => void readLog(id)}>Read the Log Again</button>
    </div>
    <${Log} id=${id} />
  </div>`;
}

/** @param {{id: string}} props */
function Log({ id }) {
  const written = log.value.id === id ? log.value.text : '';
  const { said } = stateOf(id);
  return html`
    ${said && html`<h3>What it told the editor</h3><pre class="server-log" tabindex="0">${said}</pre>`}
    <h3>Log</h3>
    ${
      written
        ? html`<pre class="server-log" tabindex="0" aria-label="Log">${written}</pre>`
        : html`<p class="server-none">It has written nothing to standard error.</p>`
    }
  `;
}

/** @param {string} id */
async function readLog(id) {
  try {
    log.value = { id, text: await readServerLog(id) };
  } catch (error) {
    reportError('Could not read the log', error);
  }
}

/**
 * @param {string} what
 * @param {ServerRow} row
 * @param {Promise<unknown>} work
 */
function tried(what, row, work) {
  work.catch((error) => reportError(`Could not ${what} ${row.name}`, error));
}
