// The "Log" panel: errors with their detail, unknown events, the link's ups and downs.

import { html } from 'htm/preact';
import { useState } from 'preact/hooks';
import { clearLog, entries } from '../../stores/log.js';
import { registerCommand } from '../../shell/commands.js';
import { icon } from '../../shell/icons.js';
import { registerPanel, showPanel } from '../../shell/layout.js';
import { menuFor } from '../../shell/menus.js';
import { IconButton } from '../../shell/places.js';

/** @typedef {import('../../stores/log.js').LogEntry} LogEntry */

const ICONS = { info: 'info', warning: 'warning', error: 'error', event: 'radio-tower', link: 'plug' };

export function registerLogPanel() {
  registerPanel({
    id: 'log',
    title: 'Log',
    icon: 'output',
    place: 'bottom',
    order: 90,
    component: Log,
    actions: Actions,
  });
  registerCommand({
    id: 'panel.log',
    title: 'Show Log',
    category: 'View',
    keys: ['ctrl+shift+u'],
    run: () => showPanel('log'),
  });
  registerCommand({
    id: 'log.clear',
    title: 'Clear Log',
    category: 'View',
    when: () => entries.value.length > 0,
    run: clearLog,
  });
  registerCommand({
    id: 'log.copyAll',
    title: 'Copy the Whole Log',
    category: 'View',
    when: () => entries.value.length > 0,
    run: copyAll,
  });
}

const copyAll = () => navigator.clipboard.writeText(entries.value.map(asText).join('\n'));

function Actions() {
  return html`<${IconButton} icon="clear-all" command="log.clear" />`;
}

function Log() {
  const all = entries.value;
  if (!all.length)
    return html`<p class="empty">Nothing went wrong so far. Errors and their details will be listed here.</p>`;
  return html`
    <ol class="log" aria-label="Log" ref=${bindMenu}>
      ${all.toReversed().map((entry) => html`<${Entry} key=${entry.id} entry=${entry} />`)}
    </ol>
  `;
}

/** @param {{entry: LogEntry}} props */
function Entry({ entry }) {
  const { kind, time, text, detail } = entry;
  const [open, setOpen] = useState(false);
  const head = html`
    <span class=${`log-kind ${kind}`}>${icon(ICONS[kind])}<span class="unseen">${kind}</span></span>
    <time class="log-time" dateTime=${time.toISOString()}>
      ${time.toLocaleTimeString([], { hour12: false })}
    </time>
    <span class="log-text">${text}</span>
  `;
  return html`
    <li data-entry=${entry.id}>
      ${
        detail
          ? html`<button type="button" class="log-row" aria-expanded=${String(open)} onClick=${() => setOpen(!open)}>
            ${icon(open ? 'chevron-down' : 'chevron-right')} ${head}
          </button>`
          : html`<div class="log-row"><span class="codicon"></span> ${head}</div>`
      }
      ${open && html`<pre class="log-detail" tabindex="0">${detail}</pre>`}
    </li>
  `;
}

/** @param {Element | null} list */
function bindMenu(list) {
  if (list) menuFor(list, (event) => menuItems(/** @type {Element} */ (event.target)));
}

/** @param {Element} target */
function menuItems(target) {
  const id = Number(target.closest('[data-entry]')?.getAttribute('data-entry'));
  const entry = entries.value.find((one) => one.id === id);
  const items = [
    { label: 'Copy All', run: copyAll },
  ];
  if (entry) items.unshift({ label: 'Copy', run: () => navigator.clipboard.writeText(asText(entry)) });
  return [...items, { kind: /** @type {const} */ ('separator') }, { command: 'log.clear' }];
}

/** @param {LogEntry} entry */
const asText = ({ time, kind, text, detail }) =>
  `${time.toISOString()} ${kind}: ${text}${detail ? `\n${detail}` : ''}`;
