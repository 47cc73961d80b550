// Registers the review basket: its panel, and the commands that fill, show and send it.

import { html } from 'htm/preact';
import { openDiff } from '../../editor/diff.js';
import { frontRemarkPlace, revealInDiff } from '../../editor/diffremark.js';
import { openFile } from '../../editor/tabactions.js';
import { registerCommand, runCommand } from '../../shell/commands.js';
import { ask } from '../../shell/dialogs.js';
import { icon } from '../../shell/icons.js';
import { registerPanel, showPanel } from '../../shell/layout.js';
import { registerStatusItem } from '../../shell/statusbar.js';
import { loadBasket, remarks, removeSent } from '../../stores/basket.js';
import { isDiff } from '../../stores/gitdiffs.js';
import { Basket, BasketBadge } from './panel.js';
import { writeRemark } from './remark.js';
import { sendToChat, sendToTaskOf } from './send.js';

const hasRemarks = () => remarks.value.length > 0;

/** @type {Parameters<typeof registerCommand>[0][]} */
const kCommands = [
  { id: 'basket.focus', title: 'Show the Basket', run: show },
  { id: 'basket.remark', title: 'Write a Remark…', keys: ['ctrl+k n'], when: () => frontRemarkPlace() !== null, run: write },
  { id: 'basket.send', title: 'Send to Chat', when: hasRemarks, run: sendToChat },
  { id: 'basket.task', title: 'Make a Task…', when: hasRemarks, run: sendToTaskOf },
  { id: 'basket.clear', title: 'Empty the Basket…', when: hasRemarks, run: clear },
  { id: 'basket.showLine', title: 'Show a Remark in Its Comparison', palette: false, run: showLine },
  { id: 'basket.showFile', title: 'Show a Remark in Its File', palette: false, run: showInFile },
];

export function startBasket() {
  loadBasket();
  registerPanel({
    id: 'basket',
    title: 'Basket',
    icon: 'checklist',
    place: 'right',
    order: 40,
    component: Basket,
    badge: BasketBadge,
  });
  registerStatusItem({ id: 'basket', side: 'right', order: 5, component: BasketStatus });
  for (const command of kCommands) registerCommand({ ...command, category: 'Basket' });
}

/** How many remarks wait: the panel need not be open to see that another one is there. */
function BasketStatus() {
  const count = remarks.value.length;
  const words = count === 1 ? '1 remark in the basket' : `${count} remarks in the basket`;
  return html`
    <span class="unseen" role="status">${count > 0 && words}</span>
    ${
      count > 0 &&
      html`<button
        type="button"
        class="status-item"
        title=${words}
        aria-label=${words}
        onClick=${() => runCommand('basket.focus')}
      >
        ${icon('checklist')} ${count}
      </button>`
    }
  `;
}

function show() {
  showPanel('basket');
  requestAnimationFrame(() => {
    const first = document.querySelector('.basket textarea');
    if (first instanceof HTMLElement) first.focus();
  });
}

/** @param {import('../../stores/basket.js').RemarkPlace} [place] else that of the comparison in front */
function write(place = frontRemarkPlace() ?? undefined) {
  return place && writeRemark(place);
}

async function clear() {
  const list = remarks.value;
  const answer = await ask({
    title: list.length === 1 ? 'Remove the remark?' : `Remove all ${list.length} remarks?`,
    text: 'They were not sent.',
    buttons: [
      { id: 'clear', label: 'Empty the Basket', kind: 'danger' },
      { id: 'cancel', label: 'Cancel' },
    ],
  });
  if (answer === 'clear') removeSent(list);
}

/** @param {{id: string, line: number}} where */
function showInFile({ id, line }) {
  return openFile(id, { line });
}

/** @param {{id: string, kind: unknown, side: 'old' | 'new', line: number}} where */
function showLine({ id, kind, side, line }) {
  if (!isDiff(kind)) return;
  openDiff(id, kind);
  revealInDiff(id, kind, side, line);
}
