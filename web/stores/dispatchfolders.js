// A task's worktree as a folder that the editor works in.

import { call } from '../bridge/api.js';
import { textOf } from './chatwire.js';
import { taskRoots } from './dispatch.js';
import { quoted } from './shellquote.js';

/**
 * The editor keeps backups below each folder of the workspace, and whatever lies in a worktree lands with the task.
 * So git is told first to leave them out: in the repository's own list of what it ignores, which is no file of the
 * project.
 * @param {string} directory of the worktree
 */
export async function hideBackups(directory) {
  const command = [
    `{ cd ${quoted(directory)} && { git check-ignore -q .marlin/backups || {`,
    'f=$(git rev-parse --git-path info/exclude) && mkdir -p "$(dirname "$f")" &&',
    "printf '\\n.marlin/\\n' >>\"$f\"; }; }; }",
  ].join(' ');
  const root = taskRoots.value[0]?.name ?? '';
  const answer = await call('blueprint/exec', { command, root, timeout: 60 }, { job: 'Prepare a worktree' });
  if (Number(answer.exitCode) !== 0) throw new Error(textOf(answer.err).trim() || 'git cannot work in that folder');
}
