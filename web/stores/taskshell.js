// Lines for the shell about the folders of tasks, which lie outside of the workspace.

import { call } from '../bridge/api.js';
import { numberOf, textOf } from './chatwire.js';
import { taskRoots } from './dispatch.js';
import { foretell } from './dispatchforetell.js';
import { quoted } from './shellquote.js';

/**
 * Runs a line that names all its folders itself, so that any folder of the workspace will do to start from.
 * @param {string} command
 * @param {{job: string, timeout?: number, signal?: AbortSignal}} options `timeout` in seconds
 * @returns {Promise<{exitCode: number, out: string, err: string}>}
 */
export async function runLine(command, { job, timeout = 120, signal }) {
  const root = taskRoots.value[0]?.name;
  const body = root ? { command, root, timeout } : { command, timeout };
  const { exitCode, out, err } = await call('blueprint/exec', body, { job, signal });
  return { exitCode: numberOf(exitCode), out: textOf(out), err: textOf(err) };
}

/**
 * Where paths lead, links followed, also for a file that is not there yet.
 * @param {string} directory absolute
 * @param {string} path absolute, or from the directory
 * @returns {Promise<{directory: string, path: string}>}
 */
export async function realPaths(directory, path) {
  const names = `${quoted(directory)} ${quoted(path)}`;
  const line = `cd -- ${quoted(directory)} && realpath -m -z -- ${names}`;
  const { exitCode, out, err } = await runLine(line, { job: 'Look where a path leads' });
  const [there = '', file = ''] = out.split('\0');
  if (exitCode !== 0) throw new Error(err.trim() || `realpath ended with code ${exitCode}`);
  return { directory: there, path: file };
}

/**
 * What landing a task would do.
 * @param {import('./dispatchlanding.js').LandingTask} task
 */
export const foretellLanding = (task) =>
  foretell(task, (command) => runLine(command, { job: 'Look at what would land' }));
