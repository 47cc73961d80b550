// What can be done with a commit of a file's history.

import { openDiff } from '../../editor/diff.js';
import { bufferOf } from '../../editor/state.js';
import { showPanel } from '../../shell/layout.js';
import { showMenu } from '../../shell/menus.js';
import { diffIn, diffWith } from '../../stores/gitdiffs.js';
import { actGit } from '../../stores/gitexec.js';
import { idOf } from '../../stores/gitstatus.js';
import { subject } from '../../stores/history.js';
import { readDetail } from '../../stores/historydetail.js';
import { baseName } from '../../stores/paths.js';
import { roots } from '../../stores/settings.js';
import { copyText, sure } from '../graph/commitactions.js';
import { told } from '../graph/outcome.js';
import { repoNamed } from '../graph/state.js';
import { tried } from '../scm/work.js';
import { showFileOf } from './local.js';

/**
 * @typedef {import('../../stores/gitstatus.js').Repo} Repo
 * @typedef {import('../../stores/history.js').FileCommit} FileCommit
 */

/**
 * Shows the history of one file, and stays with it.
 * @param {Repo} repo
 * @param {string} path
 */
export function showFileHistory(repo, path) {
  showFileOf(repo, path);
  showPanel('history');
}

/**
 * Shows what a commit did to the file.
 * @param {FileCommit} commit
 * @param {{preview?: boolean, focus?: boolean}} [options]
 */
export function openInCommit({ hash, short, path }, options) {
  const repo = repoNamed(subject.value?.repo ?? '');
  if (!repo) return undefined;
  return tried(`show ${short}`, async () => {
    const { parents, files } = await readDetail(repo.name, hash);
    const file = files.find((one) => one.path === path);
    const kind = diffIn({ hash, parent: parents[0] ?? '', old: file?.oldPath ?? '' });
    openDiff(idOf(roots.value, repo, path), kind, options);
  });
}

/** The file as it is against what was committed last. @param {{preview?: boolean, focus?: boolean}} [options] */
export function openUncommitted(options) {
  const now = subject.value;
  const repo = repoNamed(now?.repo ?? '');
  if (now && repo) openDiff(idOf(roots.value, repo, now.path), 'diff-head', options);
}

/** @param {FileCommit} commit */
export function compareWithNow({ hash }) {
  const now = subject.value;
  const repo = repoNamed(now?.repo ?? '');
  if (now && repo) openDiff(idOf(roots.value, repo, now.path), diffWith(hash));
}

/**
 * Makes the file what it was after a commit.
 * @param {FileCommit} commit
 */
export async function restoreVersion({ hash, short, path, subject: words }) {
  const repo = repoNamed(subject.value?.repo ?? '');
  if (!repo) return;
  const name = baseName(path);
  const unsaved = bufferOf(idOf(roots.value, repo, path))?.dirty.value;
  const changed = repo.files.some((file) => file.path === path && file.unstaged);
  const text = [
    `The file on disk becomes what it was after ${short}.`,
    changed && 'Its changes that are not committed are lost.',
    unsaved && 'What is not saved stays in the editor.',
  ];
  const kind = changed ? 'danger' : 'primary';
  if (!(await sure(`Restore ${name} from ${short}?`, text.filter(Boolean).join(' '), 'Restore', words, kind))) return;
  // The name is no pattern here.
  const command = ['--literal-pathspecs', 'restore', `--source=${hash}`, '--worktree', '--', path];
  await told({
    repo,
    tried: `restore ${name}`,
    done: `Restored ${name} from ${short}`,
    work: () => actGit(repo, command, `Restore ${name}`),
  });
}

/**
 * @param {number} x
 * @param {number} y
 * @param {FileCommit} commit
 */
export function showVersionMenu(x, y, commit) {
  const sameName = commit.path === subject.value?.path;
  void showMenu({
    x,
    y,
    label: 'Version',
    items: [
      { label: 'Open Changes', run: () => openInCommit(commit) },
      // Under another name the two would have nothing in common.
      { label: 'Compare with the File as It Is', run: () => compareWithNow(commit), enabled: sameName },
      { label: 'Restore This Version…', run: () => restoreVersion(commit), enabled: sameName },
      { kind: 'separator' },
      { command: 'graph.commit', arg: { repo: subject.value?.repo, hash: commit.hash } },
      { label: 'Copy Hash', run: () => copyText(commit.hash, commit.hash) },
    ],
  });
}
