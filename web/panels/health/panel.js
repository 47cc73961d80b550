// The "Health" panel: what is cut, missing or busy, and the log of the link.

import { html } from 'htm/preact';
import { useEffect } from 'preact/hooks';
import { registerCommand, runCommand } from '../../shell/commands.js';
import { icon } from '../../shell/icons.js';
import { registerPanel, showPanel } from '../../shell/layout.js';
import { menuFor } from '../../shell/menus.js';
import { IconButton } from '../../shell/places.js';
import { asking, askTools, healthRows } from '../../stores/health.js';
import { clock } from '../../stores/healthreports.js';
import { entries } from '../../stores/log.js';

const kLooks = {
  ok: { icon: 'pass', words: 'well' },
  busy: { icon: 'loading', words: 'busy' },
  warning: { icon: 'warning', words: 'warning' },
  error: { icon: 'error', words: 'error' },
  unknown: { icon: 'question', words: 'not known' },
};

/** Lines of the link's log that are shown. */
const kLines = 50;

export function startHealth() {
  registerPanel({
    id: 'health',
    title: 'Health',
    icon: 'pulse',
    place: 'bottom',
    order: 95,
    component: Health,
    actions: Actions,
  });
  registerCommand({
    id: 'panel.health',
    title: 'Show Health',
    category: 'View',
    run: () => showPanel('health'),
  });
  registerCommand({
    id: 'health.ask',
    title: 'Check Health Again',
    category: 'View',
    when: () => !asking.value,
    run: askTools,
  });
  registerCommand({
    id: 'health.copyAll',
    title: 'Copy the Health Report',
    category: 'View',
    run: () => copy([...healthRows.value]),
  });
}

/** @param {HealthRow[]} rows */
const copy = (rows) => navigator.clipboard.writeText(rows.map(asText).join('\n'));

function Actions() {
  return html`<${IconButton} icon="refresh" command="health.ask" />`;
}

function Health() {
  useEffect(() => void askTools(), []);
  return html`
    <div class="health">
      <ul class="health-rows" aria-label="Health" ref=${bindMenu}>
        ${healthRows.value.map((row) => html`<${Row} key=${row.id} row=${row} />`)}
      </ul>
      <${LinkLog} />
    </div>
  `;
}

/** @typedef {(typeof healthRows.value)[number]} HealthRow */

const scan = () => runCommand('index.scan');

/** @param {{row: HealthRow}} props */
function Row({ row: { id, title, report } }) {
  const look = kLooks[report.health];
  return html`
    <li class=${`health-row ${report.health}`} data-row=${id}>
      ${icon(look.icon, report.health === 'busy' ? 'spin' : '')}
      <span class="unseen">${look.words}</span>
      <span class="health-title">${title}</span>
      <div class="health-words">
        <p>${report.words}</p>
        ${report.detail && html`<p class="health-detail">${report.detail}</p>`}
      </div>
      ${
        id === 'index' &&
        report.health !== 'busy' &&
        html`<button type="button" class="button" onClick=${scan}>Scan Again</button>`
      }
    </li>
  `;
}

function LinkLog() {
  const lines = entries.value.filter(({ kind }) => kind === 'link').slice(-kLines);
  return html`
    <h2 class="health-heading">Log of the link</h2>
    ${
      lines.length === 0
        ? html`<p class="health-none">It was never lost.</p>`
        : html`<ol class="health-log">
          ${lines.toReversed().map(
            ({ id, time, text }) => html`<li key=${id}>
              <time dateTime=${time.toISOString()}>${clock(time)}</time> ${text}
            </li>`,
          )}
        </ol>`
    }
  `;
}

/** @param {Element | null} list */
function bindMenu(list) {
  if (!list) return;
  menuFor(list, (event) => {
    const id = /** @type {Element} */ (event.target).closest('[data-row]')?.getAttribute('data-row');
    const row = healthRows.value.find((one) => one.id === id);
    return [
      ...(row ? [{ label: 'Copy', run: () => copy([row]) }] : []),
      { label: 'Copy All', run: () => copy([...healthRows.value]) },
      { kind: /** @type {const} */ ('separator') },
      { command: 'health.ask' },
      { command: 'index.scan' },
    ];
  });
}

/** @param {HealthRow} row */
function asText({ title, report: { health, words, detail } }) {
  return [`${title} (${kLooks[health].words}): ${words}`, detail].filter(Boolean).join('\n');
}
