// Boot: the token, the link, what was kept, then the shell; the snapshot may come after the first
// paint, and the text editor's own code is loaded last (editor/start.js).

import { render } from 'preact';
import { html } from 'htm/preact';
import { openLink } from './bridge/events.js';
import { sessionToken, takeToken } from './bridge/token.js';
import { startCallHierarchy } from './editor/callhierarchy.js';
import { startConflicts } from './editor/conflictcommands.js';
import { startLanguages } from './editor/lsp.js';
import { startReader } from './editor/margin.js';
import { startRewrite } from './editor/rewrite.js';
import { startEditor } from './editor/start.js';
import { startTheme } from './look/theme.js';
import { startZoom } from './look/zoom.js';
import { startBasket } from './panels/basket/start.js';
import { startBrowser } from './panels/browser/start.js';
import { startChat } from './panels/chat/start.js';
import { startLanding } from './panels/dispatch/landing.js';
import { startDispatch } from './panels/dispatch/start.js';
import { startTries } from './panels/dispatch/tries.js';
import { startExplorer } from './panels/explorer/start.js';
import { startGithub } from './panels/github/start.js';
import { startGraph } from './panels/graph/start.js';
import { startHealth } from './panels/health/panel.js';
import { startFileHistory } from './panels/history/start.js';
import { startInbox } from './panels/inbox/start.js';
import { registerJobsPanel } from './panels/jobs/panel.js';
import { startOutlinePanel } from './panels/outline/panel.js';
import { startMemory } from './panels/memory/start.js';
import { startKeys } from './panels/keys/start.js';
import { registerLogPanel } from './panels/log/panel.js';
import { startServerPage } from './panels/lsp/start.js';
import { startProblems } from './panels/problems/start.js';
import { startScm } from './panels/scm/start.js';
import { startSearch } from './panels/search/start.js';
import { startSettings, startStatus } from './panels/settings/start.js';
import { startTerminals } from './panels/terminal/start.js';
import { registerAppCommands } from './shell/appcommands.js';
import { installFieldMenus } from './shell/fieldmenu.js';
import { installKeys } from './shell/keys.js';
import { loadLayout } from './shell/layout.js';
import { startAnnouncing } from './shell/announceview.js';
import { registerPalette } from './shell/palette.js';
import { Shell } from './shell/shell.js';
import { reportError } from './shell/toasts.js';
import { startZen } from './shell/zen.js';
import { note } from './stores/log.js';
import { loadSnapshot } from './stores/settings.js';
import { flush, loadUiState } from './stores/uistate.js';
import { loadWindowState, onLeave } from './stores/windowstate.js';

async function boot() {
  const app = /** @type {HTMLElement} */ (document.getElementById('app'));
  takeToken(window);
  if (!sessionToken()) {
    app.textContent = 'This address lacks its key. Open the address that Marlin Bench printed at its start.';
    return;
  }
  openLink();
  const layoutRead = told('Could not read the saved layout', loadUiState());
  const stateRead = told('Could not read the state', loadSnapshot());
  // A bridge without a window says so, and the page is well without its state.
  loadWindowState().catch((error) => note('info', 'No window state', error));

  await layoutRead;
  startTheme(window);
  startZoom(document);
  loadLayout();
  registerAppCommands();
  startZen(document);
  startAnnouncing(document);
  registerPalette();
  registerJobsPanel();
  registerLogPanel();
  startHealth();
  startExplorer();
  startSearch();
  startScm();
  startGraph();
  startFileHistory();
  startEditor();
  startLanguages();
  startConflicts();
  startRewrite();
  startReader();
  startCallHierarchy();
  startProblems();
  startOutlinePanel();
  startServerPage();
  startTerminals();
  startChat();
  startDispatch();
  startLanding();
  startTries();
  startInbox();
  startGithub();
  startBasket();
  startSettings();
  startMemory();
  startBrowser();
  startKeys();
  onLeave(flush);
  installKeys(document);
  installFieldMenus(document);
  app.textContent = '';
  render(html`<${Shell} />`, app);
  await stateRead;
  startStatus();
}

/**
 * @param {string} tried
 * @param {Promise<unknown>} work
 */
async function told(tried, work) {
  try {
    await work;
  } catch (error) {
    reportError(tried, error);
  }
}

window.addEventListener('error', ({ message, error }) => note('error', message, error));
window.addEventListener('unhandledrejection', ({ reason }) => note('error', String(reason), reason));
void boot();
