// How far each folder is set up for Claude, and the one button that does the rest.

import { html } from 'htm/preact';
import { useEffect } from 'preact/hooks';
import { openFile } from '../../editor/tabactions.js';
import { runCommand } from '../../shell/commands.js';
import { ask } from '../../shell/dialogs.js';
import { icon } from '../../shell/icons.js';
import { reportError } from '../../shell/toasts.js';
import { lostBySetUp, missingOf, projects, readProjects, setUp } from '../../stores/project.js';
import { Switch } from './fields.js';

export function ProjectSettings() {
  useEffect(() => {
    readProjects().catch((error) => reportError('Could not look at the folders', error));
  }, []);
  if (!projects.value.length) return html`<p class="setting-state">No folder is open.</p>`;
  return html`${projects.value.map((project) => html`<${Project} key=${project.root} project=${project} />`)}
    <div class="setting-steps">
      <button type="button" class="button" onClick=${() => runCommand('memory.show')}>Show Memory</button>
    </div>`;
}

/** @param {{project: import('../../stores/project.js').Project}} props */
function Project({ project }) {
  const missing = missingOf(project);
  const change = (/** @type {Wishes} */ wishes) => told(project.root, wishes);
  return html`<section class="setting-project" aria-label=${project.root}>
    <h3>${project.root}</h3>
    <p class="setting-words">${project.path}</p>
    <ul class="setting-facts">
      <${Mark} there=${project.claudeMd} words="CLAUDE.md, what Claude reads first" />
      <${Mark} there=${project.memoryIndex} words="An index of memory" />
      ${project.isRepo && html`<${Mark} there=${project.gitignored} words="Personal files are ignored by git" />`}
    </ul>
    <${Switch}
      label="Claude keeps notes"
      value=${project.autoMemory}
      set=${(/** @type {boolean} */ memory) => change({ memory })}
    />
    <${Switch}
      label="Claude tidies its notes by itself"
      value=${project.autoDream}
      set=${(/** @type {boolean} */ dream) => change({ dream })}
    />
    ${missing &&
    html`<button type="button" class="button primary" onClick=${() => pressed(project.root, missing)}>Set Up What Is Missing</button>`}
  </section>`;
}

/** @typedef {{memory?: boolean, dream?: boolean, gitignore?: boolean}} Wishes */

/**
 * A switch goes back to what holds when nothing was written, so going back is told as a request that was given up.
 * @param {string} root @param {Wishes} wishes
 */
async function told(root, wishes) {
  if (!(await mayReplace(root, wishes))) throw new DOMException('', 'AbortError');
  const failed = await setUp(root, wishes);
  if (failed.length) reportError(`Could not set up ${root}`, failed.join('; '));
}

/** @param {string} root @param {Wishes} wishes */
async function pressed(root, wishes) {
  try {
    await told(root, wishes);
  } catch (error) {
    reportError(`Could not set up ${root}`, error);
  }
}

/** How much of what would be lost a question shows. */
const kShownLines = 40;

/**
 * Asks before a file of settings that nobody can read is replaced: a comma too many, and all that stands in it is gone.
 * @param {string} root @param {Wishes} wishes
 */
async function mayReplace(root, wishes) {
  const lost = await lostBySetUp(root, wishes);
  if (!lost) return true;
  const answer = await ask({
    title: `Replace ${lost.path}?`,
    text: 'It does not read as JSON, so its settings cannot be kept: the file would be written anew, with only the switches of this page. Mend it first, and nothing is lost.',
    detail: excerpt(lost.text),
    buttons: [
      { id: 'open', label: 'Open the File', kind: 'primary' },
      { id: 'replace', label: 'Replace It', kind: 'danger' },
      { id: 'cancel', label: 'Cancel' },
    ],
  });
  if (answer === 'open') await openFile(lost.path);
  return answer === 'replace';
}

/** @param {string} text */
function excerpt(text) {
  const lines = text.split('\n');
  if (!text) return 'Its content is no text.';
  return lines.length > kShownLines ? `${lines.slice(0, kShownLines).join('\n')}\n…` : text.trimEnd();
}

/** @param {{there: boolean, words: string}} props */
function Mark({ there, words }) {
  return html`<li>${icon(there ? 'check' : 'circle-slash')} ${words} <span class="unseen">${there ? 'is there' : 'is missing'}</span></li>`;
}
