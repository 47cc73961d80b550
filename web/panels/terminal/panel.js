// The "Terminal" panel: the panes of the tab in front, what an exit left, and the list of tabs.

import { html } from 'htm/preact';
import { useLayoutEffect, useRef } from 'preact/hooks';
import { runCommand } from '../../shell/commands.js';
import { icon } from '../../shell/icons.js';
import { IconButton, rove } from '../../shell/places.js';
import { groupIn } from '../../stores/terminallayout.js';
import { showTerminal, terminalByKey, terminalLayout, terminals } from '../../stores/terminals.js';
import { killTerminal, restartTerminal } from './actions.js';
import { FindBox } from './find.js';
import { tabMenu } from './menus.js';
import { announcement, finding, focusTerminal, screenCount, screens } from './state.js';

/** @typedef {import('../../stores/terminals.js').TerminalInfo} TerminalInfo */

export function TerminalActions() {
  return html`
    <${IconButton} icon="add" command="terminal.new" />
    <${IconButton} icon="sparkle" command="terminal.newClaude" />
    ${terminals.value.length > 0 &&
    html`<${IconButton} icon="split-horizontal" command="terminal.split" />
      <${IconButton} icon="trash" command="terminal.kill" />`}
  `;
}

export function TerminalPanel() {
  const layout = terminalLayout.value;
  const group = groupIn(layout);
  void screenCount.value; // a screen that was made since is to be shown
  return html`
    <div class="terminals">
      <div class="unseen" role="status">${announcement.value}</div>
      ${group
        ? html`<div class=${`terminal-row ${group.panes.length === 1 ? 'single' : ''}`}>
            ${group.panes.map((key) => html`<${Pane} key=${key} id=${key} active=${key === group.active} />`)}
          </div>`
        : html`<${Empty} />`}
      ${terminals.value.length > 1 && html`<${Tabs} />`}
    </div>
  `;
}

function Empty() {
  return html`<div class="terminal-empty">
    <p>No terminal is open.</p>
    <button type="button" class="button primary" onClick=${() => runCommand('terminal.new')}>New Terminal</button>
  </div>`;
}

/** @param {{id: string, active: boolean}} props */
function Pane({ id, active }) {
  const host = useRef(/** @type {HTMLElement | null} */ (null));
  const screen = screens.get(id);
  const info = terminalByKey(id);
  useLayoutEffect(() => {
    if (!screen || !host.current) return undefined;
    screen.mount(host.current);
    return () => screen.unmount();
  }, [screen]);
  return html`
    <section class=${`terminal-pane ${active ? 'active' : ''}`} aria-label=${info?.title}>
      <div class="terminal-host" ref=${host}></div>
      ${active && finding.value && screen && html`<${FindBox} key=${id} screen=${screen} />`}
      ${info?.state === 'exited' && html`<${Ended} info=${info} />`}
    </section>
  `;
}

/** @param {TerminalInfo} info */
const hasFailed = ({ state, code }) => state === 'exited' && code !== 0;

/** @param {TerminalInfo} info */
const exitWords = ({ code }) => (code === null || code < 0 ? 'Ended, exit code unknown' : `Exited with code ${code}`);

/** @param {{info: TerminalInfo}} props */
function Ended({ info }) {
  return html`<div class=${`terminal-ended ${hasFailed(info) ? 'failed' : ''}`}>
    ${icon(hasFailed(info) ? 'error' : 'pass')}
    <span>${exitWords(info)}</span>
    <button type="button" class="button" onClick=${() => restartTerminal(info.key)}>Start Again</button>
    <button type="button" class="button" onClick=${() => killTerminal(info.key)}>Close</button>
  </div>`;
}

function Tabs() {
  const { groups, active } = terminalLayout.value;
  const front = groupIn(terminalLayout.value)?.active ?? '';
  const ordered = groups.flatMap(({ id, panes }) => panes.map((key) => ({ key, inFront: id === active, split: panes.length > 1 })));
  return html`
    <div class="terminal-tabs" role="tablist" aria-label="Terminals" aria-orientation="vertical" onKeyDown=${onTabKey}>
      ${ordered.map(({ key, split }) => {
        const info = terminalByKey(key);
        return info && html`<${Tab} key=${key} info=${info} selected=${key === front} split=${split} />`;
      })}
    </div>
  `;
}

/** @param {{info: TerminalInfo, selected: boolean, split: boolean}} props */
function Tab({ info, selected, split }) {
  const { key, kind, title, cwd, state, code } = info;
  const ended = state === 'exited';
  return html`
    <button
      type="button"
      class=${`terminal-tab ${split ? 'split' : ''}`}
      role="tab"
      data-key=${key}
      aria-selected=${String(selected)}
      tabindex=${selected ? 0 : -1}
      title=${[title, cwd, ended ? exitWords(info) : ''].filter(Boolean).join('\n')}
      onClick=${() => {
        showTerminal(key);
        focusTerminal();
      }}
      onFocus=${() => showTerminal(key)}
      onDblClick=${() => runCommand('terminal.rename')}
      onContextMenu=${(/** @type {MouseEvent} */ event) => {
        event.preventDefault();
        tabMenu(key, { x: event.clientX, y: event.clientY });
      }}
    >
      ${icon(kind === 'claude' ? 'sparkle' : 'terminal')}
      <span class="terminal-tab-name">${title}</span>
      ${ended &&
      html`<span class=${`terminal-code ${hasFailed(info) ? 'failed' : ''}`} aria-hidden="true">${code ?? '?'}</span>
        <span class="unseen">, ${exitWords(info).toLowerCase()}</span>`}
    </button>
  `;
}

/** @param {KeyboardEvent} event */
function onTabKey(event) {
  const key = event.target instanceof HTMLElement ? event.target.dataset.key : '';
  if (event.key === 'Delete' && key) {
    event.preventDefault();
    void killTerminal(key);
  } else if (event.key === 'F2') {
    event.preventDefault();
    event.stopPropagation();
    void runCommand('terminal.rename');
  } else rove(event);
}
