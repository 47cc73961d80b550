// Puts the problems into the shell: their panel, their counts in the status bar, and the keys that go from one
// to the next.

import { html } from 'htm/preact';
import { openPlace } from '../../editor/lsp.js';
import { activeView, bufferOf, cursor, frontTab } from '../../editor/state.js';
import { registerCommand, runCommand } from '../../shell/commands.js';
import { icon } from '../../shell/icons.js';
import { registerPanel, showPanel } from '../../shell/layout.js';
import { registerStatusItem } from '../../shell/statusbar.js';
import { speak } from '../../stores/announce.js';
import { counts, nextProblem, problems } from '../../stores/lspproblems.js';
import { absolutePath } from '../../stores/paths.js';
import { roots } from '../../stores/settings.js';
import { Problems, ProblemsActions, ProblemsBadge } from './panel.js';

export function startProblems() {
  registerPanel({
    id: 'problems',
    title: 'Problems',
    icon: 'warning',
    place: 'bottom',
    order: 20,
    component: Problems,
    actions: ProblemsActions,
    badge: ProblemsBadge,
  });
  registerCommand({
    id: 'panel.problems',
    title: 'Show Problems',
    category: 'View',
    keys: ['ctrl+shift+m'],
    global: true,
    run: () => {
      showPanel('problems');
      requestAnimationFrame(() => /** @type {HTMLElement | null} */ (document.querySelector(kFirst))?.focus());
    },
  });
  const some = () => problems.value.some(({ severity }) => severity !== 'hint');
  registerCommand({
    id: 'problems.next',
    title: 'Go to Next Problem',
    category: 'Go',
    keys: ['f8'],
    global: true,
    when: some,
    run: () => step(1),
  });
  registerCommand({
    id: 'problems.previous',
    title: 'Go to Previous Problem',
    category: 'Go',
    keys: ['shift+f8'],
    global: true,
    when: some,
    run: () => step(-1),
  });
  registerStatusItem({ id: 'problems', side: 'left', order: 30, component: ProblemsStatus });
}

const kFirst = '.problems [tabindex="0"], .empty[data-focus]';

function ProblemsStatus() {
  const { error, warning } = counts.value;
  return html`<button
    type="button"
    class="status-item"
    title="Show Problems"
    onClick=${() => runCommand('panel.problems')}
  >
    <span class="unseen">Problems: </span>
    ${icon('error')} ${error}<span class="unseen"> errors, </span>
    ${icon('warning')} ${warning}<span class="unseen"> warnings</span>
  </button>`;
}

/** @param {1 | -1} by */
async function step(by) {
  const id = frontTab.value?.id ?? '';
  const path = absolutePath(roots.value, id);
  const { line, column } = cursor.value;
  const at = path ? { path, line: line - 1, character: column - 1 } : null;
  const found = nextProblem(problems.value, at, by);
  if (!found) return;
  const { start } = found.range;
  await openPlace(found.path, start.line + 1, start.character + 1);
  speak(`${found.severity}: ${found.message}`);
  // The view of another file shows its text a frame later.
  requestAnimationFrame(() => requestAnimationFrame(() => showBelow(found.path)));
}

/** Shows the problem at the cursor between the lines. @param {string} path */
function showBelow(path) {
  const view = activeView();
  const id = frontTab.value?.id ?? '';
  const buffer = bufferOf(id);
  if (!view || !buffer || !view.shows(buffer.doc) || absolutePath(roots.value, id) !== path) return;
  view.focus();
  view.run('closeMarkersNavigation');
  view.run('editor.action.marker.next');
}
