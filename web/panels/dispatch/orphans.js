// What earlier runs of the program have left: worktrees whose task it has forgotten.

import { html } from 'htm/preact';
import { openPage } from '../../editor/tabactions.js';
import { ask } from '../../shell/dialogs.js';
import { icon } from '../../shell/icons.js';
import { showMenu } from '../../shell/menus.js';
import { reportError } from '../../shell/toasts.js';
import { counted, firstAndRest } from '../../stores/dispatchboard.js';
import {
  diffOfOrphan,
  landOrphan,
  lossOf,
  orphanAt,
  orphans,
  removeOrphan,
  rescueUnderWay,
} from '../../stores/dispatchrescue.js';
import { closeFolder, openFilesWords, openFolder, openTerminalIn } from './folders.js';
import { Changes } from './patchview.js';
import { landThroughPreview } from './taskactions.js';

/** @typedef {import('../../stores/dispatchorphans.js').Orphan} Orphan */

/** @param {string} directory */
export const openOrphan = (directory) => openPage('worktree', directory);

/** @param {string} directory */
export const orphanTitle = (directory) => {
  const orphan = orphanAt(directory);
  return orphan ? firstAndRest(orphan.title).first : 'Worktree';
};

export function Orphans() {
  const list = orphans.value;
  if (!list.length) return null;
  return html`<section class="board-left" aria-labelledby="board-left">
    <h3 id="board-left">Left by earlier runs <span class="board-count">${list.length}</span></h3>
    <p class="task-hint">The program forgets its tasks when it ends. Their folders and branches are still there.</p>
    <ul>
      ${list.map((orphan) => html`<${Row} key=${orphan.directory} orphan=${orphan} />`)}
    </ul>
  </section>`;
}

/** @param {{orphan: Orphan}} props */
function Row({ orphan }) {
  const { directory, branch, gone } = orphan;
  const busy = rescueUnderWay.value.get(directory);
  const name = firstAndRest(orphan.title).first;
  return html`<li
    class="task-left"
    onContextMenu=${(/** @type {MouseEvent} */ event) => {
      event.preventDefault();
      void showMenu({ x: event.clientX, y: event.clientY, label: name, items: orphanMenu(orphan) });
    }}
  >
    <button type="button" class="task-open" onClick=${() => openOrphan(directory)}>
      <span class="task-title">${name}</span>
      <span class="task-facts">${gone ? 'its folder is gone' : directory}${branch && ` · ${branch}`}</span>
    </button>
    ${
      busy
        ? html`<span class="task-state busy">${icon('loading', 'spin')} ${busy}…</span>`
        : html`<${Buttons} orphan=${orphan} />`
    }
  </li>`;
}

/** @param {{orphan: Orphan}} props */
function Buttons({ orphan }) {
  const { branch, gone } = orphan;
  const name = firstAndRest(orphan.title).first;
  return html`
    ${
      branch &&
      !gone &&
      html`<button type="button" class="button" aria-label=${`Land ${name}`} onClick=${() => landLeft(orphan)}>Land…</button>`
    }
    <button type="button" class="button" aria-label=${`Remove ${name}`} onClick=${() => removeLeft(orphan)}>Remove…</button>
  `;
}

/** @param {Orphan} orphan @returns {import('../../shell/menus.js').MenuItem[]} */
function orphanMenu(orphan) {
  const { directory, branch, gone } = orphan;
  return [
    { label: 'Open', run: () => openOrphan(directory) },
    ...(gone
      ? []
      : [
          { label: 'Open Worktree as Folder', run: () => openFolder(directory) },
          { label: 'Open Terminal There', run: () => openTerminalIn(directory) },
        ]),
    { kind: 'separator' },
    ...(branch && !gone ? [{ label: 'Land…', run: () => landLeft(orphan) }] : []),
    { label: 'Remove…', run: () => removeLeft(orphan) },
  ];
}

/** @param {{arg: string}} props */
export function OrphanPage({ arg }) {
  const orphan = orphanAt(arg);
  if (!orphan) return html`<p class="pane-note" tabindex="0">This worktree is not there any more.</p>`;
  const { directory, branch, baseBranch, prompt, gone } = orphan;
  const busy = rescueUnderWay.value.get(directory);
  return html`<section class="task-page" aria-label=${firstAndRest(orphan.title).first}>
    <header class="task-head">
      <h2 class="task-name">${firstAndRest(orphan.title).first}</h2>
      <p class="task-where">${icon('git-branch')} ${branch || 'on no branch'} ${baseBranch && `from ${baseBranch}`}</p>
      <p class="task-where">${icon('folder')} ${directory}</p>
      ${prompt && html`<p class="task-asked">${prompt}</p>`}
      <div class="task-row">
        ${
          busy
            ? html`<span class="task-state busy">${icon('loading', 'spin')} ${busy}…</span>`
            : html`<${Buttons} orphan=${orphan} />`
        }
        ${
          !gone &&
          html`<button type="button" class="button" onClick=${() => openFolder(directory)}>Open worktree as folder</button>`
        }
      </div>
    </header>
    <div class="task-side">
      ${
        gone
          ? html`<p class="pane-note" tabindex="0">Its folder is gone. Removing it takes its branch away as well.</p>`
          : html`<${Changes} load=${() => diffOfOrphan(orphan)} epoch=${orphan.head} source=${`branch ${orphan.branch}`} opener=${() => null} />`
      }
    </div>
  </section>`;
}

/** @param {Orphan} orphan */
async function landLeft(orphan) {
  const { id, title, repoRoot, directory, branch, baseBranch } = orphan;
  const landing = { id, title, repoRoot, directory, branch, baseBranch, status: 'stopped' };
  if (await landThroughPreview(landing, () => landOrphan(orphan))) {
    await closeFolder(directory, firstAndRest(title).first);
  }
}

/** @param {Orphan} orphan */
async function removeLeft(orphan) {
  const { directory, title } = orphan;
  const name = firstAndRest(title).first;
  try {
    const loss = await lossOf(orphan);
    if (!(await mayRemove(orphan, loss))) return;
    await removeOrphan(orphan, { force: loss.files.length > 0 });
    await closeFolder(directory, name);
  } catch (error) {
    reportError(`Could not remove "${name}"`, error);
  }
}

/**
 * Asks once, and once more when work would be lost that is nowhere else.
 * @param {Orphan} orphan
 * @param {{files: string[], commits: number}} loss
 */
async function mayRemove({ title, directory, branch, gone }, { files, commits }) {
  const name = firstAndRest(title).first;
  const first = await ask({
    title: `Remove "${name}"?`,
    text: gone ? 'Its folder is gone already; its branch goes too.' : 'Its folder and its branch are removed.',
    detail: [!gone && directory, branch, openFilesWords(directory)].filter(Boolean).join('\n'),
    buttons: [
      { id: 'yes', label: 'Remove folder and branch', kind: 'danger' },
      { id: 'no', label: 'Cancel' },
    ],
  });
  if (first !== 'yes') return false;
  if (!files.length && !commits) return true;
  const losses = [
    files.length && counted(files.length, 'file that is not committed', 'files that are not committed'),
    commits && counted(commits, 'commit that is on no other branch', 'commits that are on no other branch'),
  ].filter(Boolean);
  const second = await ask({
    title: 'This work is nowhere else',
    text: `It holds ${losses.join(' and ')}. It cannot be brought back.`,
    detail: files.slice(0, 20).join('\n'),
    buttons: [
      { id: 'no', label: 'Keep it', kind: 'primary' },
      { id: 'yes', label: 'Throw the work away' },
    ],
  });
  return second === 'yes';
}
