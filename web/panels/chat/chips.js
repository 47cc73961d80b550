// What the next words go to: mode, model, how hard to think, and how full the context is.

import { html } from 'htm/preact';
import { runCommand } from '../../shell/commands.js';
import { icon } from '../../shell/icons.js';
import { showMenu } from '../../shell/menus.js';
import { announced, running, usage } from '../../stores/chat.js';
import {
  EFFORTS,
  MODES,
  agent,
  canRestart,
  effort,
  outputStyle,
  restart,
  saveClaude,
  setMode,
  setModel,
  shownMode,
  shownModel,
} from '../../stores/chatsession.js';
import { costWords, fullness, tokenWords } from '../../stores/chatusage.js';

/** What the CLI knows without having been asked. */
export const USUAL_MODELS = [
  { id: 'default', name: 'Default' },
  { id: 'opus', name: 'Opus' },
  { id: 'sonnet', name: 'Sonnet' },
  { id: 'haiku', name: 'Haiku' },
];

export function Chips() {
  const mode = MODES.find(({ id }) => id === shownMode.value);
  return html`
    <div class="chat-chips" role="group" aria-label="How Claude works">
      <${Chip} words=${mode?.label ?? shownMode.value} name="Mode" command="chat.mode" sign="shield" />
      <${Chip} words=${modelWords(shownModel.value)} name="Model" command="chat.model" sign="hubot" />
      <${Chip} words=${effort.value || 'Effort'} name="At the start" command="chat.startOptions" sign="settings" />
      <${Meter} />
    </div>
  `;
}

/** @param {{words: string, name: string, command: string, sign: string}} props */
function Chip({ words, name, command, sign }) {
  return html`<button
    type="button"
    class="chat-chip"
    aria-haspopup="menu"
    aria-label=${`${name}: ${words}`}
    title=${`${name}: ${words}`}
    onClick=${(/** @type {Event} */ event) => runCommand(command, event.currentTarget)}
  >
    ${icon(sign)} <span>${words}</span>
  </button>`;
}

function Meter() {
  const { contextTokens, contextLimit, cost } = usage.value;
  if (!contextTokens && !cost) return null;
  const full = fullness(usage.value);
  const percent = Math.round(full * 100);
  const tokens = `${tokenWords(contextTokens)} of ${tokenWords(contextLimit)}`;
  const words = `Context ${percent} % full: ${tokens}. Cost ${costWords(cost)}.`;
  return html`<button
    type="button"
    class=${`chat-chip chat-meter ${full > 0.8 ? 'full' : ''}`}
    aria-label=${words}
    title=${words}
    onClick=${() => runCommand('chat.usage')}
  >
    <span class="chat-gauge" style=${`--full: ${percent}%`}></span>
    <span>${[contextTokens > 0 && `${percent} %`, costWords(cost)].filter(Boolean).join(' · ')}</span>
  </button>`;
}

/** "claude-sonnet-4-5-20250929" says too much for a chip. @param {string} id */
function modelWords(id) {
  const known = [...announced.value.models, ...USUAL_MODELS].find((model) => model.id === id);
  return known?.name ?? id.replace(/^claude-/, '').replace(/-\d{8}$/, '');
}

/** @typedef {import('../../shell/menus.js').MenuItem} MenuItem */

/**
 * @param {Element | undefined} anchor
 * @param {string} label
 * @param {MenuItem[]} items
 */
function menuAt(anchor, label, items) {
  const at = anchor instanceof Element ? anchor : document.querySelector('.chat-chips');
  const { left, top } = at?.getBoundingClientRect() ?? { left: 0, top: 0 };
  return showMenu({ x: left, y: top, anchor: at ?? undefined, label, items });
}

/** @param {Element} [anchor] */
export function pickMode(anchor) {
  const items = MODES.map(({ id, label, words }) => ({
    label: `${label}: ${words}`,
    checked: id === shownMode.value,
    run: () => setMode(id),
  }));
  return menuAt(anchor, 'Mode', items);
}

/** @param {Element} [anchor] */
export function pickModel(anchor) {
  const models = announced.value.models.length ? announced.value.models : USUAL_MODELS;
  const items = models.map(({ id, name }) => ({
    label: name,
    checked: id === shownModel.value,
    run: () => setModel(id),
  }));
  return menuAt(anchor, 'Model', items);
}

/** Flags that act at the start only. @param {Element} [anchor] */
export function pickStartOptions(anchor) {
  /** @type {MenuItem[]} */
  const items = [
    { label: 'Effort', items: ['', ...EFFORTS].map(effortItem) },
    ...(announced.value.outputStyles.length
      ? [{ label: 'Output style', items: announced.value.outputStyles.map(styleItem) }]
      : []),
    ...(announced.value.agents.length
      ? [{ label: 'Agent', items: ['', ...announced.value.agents].map(agentItem) }]
      : []),
    { kind: 'separator' },
    { label: 'Restart Claude with These', enabled: canRestart.value, run: restart },
  ];
  return menuAt(anchor, 'At the start', items);
}

/** @param {string} id @returns {MenuItem} */
const effortItem = (id) => ({
  label: id || 'Default',
  checked: effort.value === id,
  run: () => changeStart({ effort: id }),
});

/** @param {string} id @returns {MenuItem} */
const styleItem = (id) => ({
  label: id,
  checked: outputStyle.value === id,
  run: () => changeStart({ outputStyle: id }),
});

/** @param {string} id @returns {MenuItem} */
const agentItem = (id) => ({
  label: id || 'None',
  checked: agent.value === id,
  run: () => changeStart({ agent: id }),
});

/** @param {Record<string, string>} change */
async function changeStart(change) {
  await saveClaude(change);
  // What runs has read its flags already: it goes on in a new start with the same words.
  if (running.value && canRestart.value) await restart();
}
