// Registers the browser pane and its commands.

import { registerPage } from '../../editor/pages.js';
import { openWebAddress } from '../../editor/start.js';
import { openPage } from '../../editor/tabactions.js';
import { registerCommand } from '../../shell/commands.js';
import { addressOf, navigate, newestServer, shown, steer } from '../../stores/browser.js';
import { BrowserPage } from './page.js';

const hasPage = () => shown.value.url !== '';
const show = () => openPage('browser', '');

/** @param {string} address */
async function open(address) {
  const found = addressOf(address.replace('//0.0.0.0', '//localhost'), location.origin);
  if ('fault' in found) throw new Error(found.fault);
  show();
  await navigate(found.url);
}

/** @type {Parameters<typeof registerCommand>[0][]} */
const kCommands = [
  { id: 'browser.open', title: 'Open in the Browser Pane', palette: false, run: open },
  { id: 'browser.show', title: 'Show Browser Pane', run: show },
  {
    id: 'browser.server',
    title: 'Open the Server Seen in the Terminal',
    when: () => newestServer.value !== '',
    run: async () => {
      show();
      await navigate(newestServer.value);
    },
  },
  { id: 'browser.back', title: 'Back', when: () => shown.value.canBack, run: () => steer('back') },
  { id: 'browser.forward', title: 'Forward', when: () => shown.value.canForward, run: () => steer('forward') },
  { id: 'browser.reload', title: 'Reload', when: hasPage, run: () => steer('reload') },
  { id: 'browser.stop', title: 'Stop Loading', when: () => shown.value.loading, run: () => steer('stop') },
  { id: 'browser.devtools', title: 'Developer Tools of the Page', when: hasPage, run: () => steer('devtools') },
  {
    id: 'browser.external',
    title: "Open in the Desktop's Browser",
    when: hasPage,
    run: () => openWebAddress(shown.value.url),
  },
];

export function startBrowser() {
  registerPage('browser', { title: () => shown.value.title || 'Browser', component: BrowserPage });
  for (const command of kCommands) registerCommand({ ...command, category: 'Browser' });
}
