// How far each folder is set up for Claude, and the one button that does the rest.

import { html } from 'htm/preact';
import { useEffect } from 'preact/hooks';
import { runCommand } from '../../shell/commands.js';
import { icon } from '../../shell/icons.js';
import { reportError } from '../../shell/toasts.js';
import { missingOf, projects, readProjects, setUp } from '../../stores/project.js';
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
  const change = (/** @type {object} */ wishes) => told(project.root, wishes);
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
    html`<button type="button" class="button primary" onClick=${() => change(missing)}>Set Up What Is Missing</button>`}
  </section>`;
}

/** @param {string} root @param {object} wishes */
async function told(root, wishes) {
  const failed = await setUp(root, wishes);
  if (failed.length) reportError(`Could not set up ${root}`, failed.join('; '));
}

/** @param {{there: boolean, words: string}} props */
function Mark({ there, words }) {
  return html`<li>${icon(there ? 'check' : 'circle-slash')} ${words} <span class="unseen">${there ? 'is there' : 'is missing'}</span></li>`;
}
