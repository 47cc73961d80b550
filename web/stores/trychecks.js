// Runs a command in the folder of each try, and keeps what came of it.

import { signal } from '@preact/signals';
import { diffOfTask } from './dispatch.js';
import { checkCommand, leftBehind, readCheck } from './dispatchtries.js';
import { runLine } from './taskshell.js';
import * as uistate from './uistate.js';

/**
 * @typedef {import('./dispatchwire.js').Task} Task
 * @typedef {import('./dispatchwire.js').TaskDiff} TaskDiff
 *
 * "failed": it could not be run, for the reason in `words`.
 * @typedef {object} Check
 * @property {'running' | 'ended' | 'failed'} state
 * @property {string} command
 * @property {import('./dispatchtries.js').CheckResult | null} result
 * @property {string} words
 * @property {string[]} left files that it changed or made, which would land too
 */

/** Half an hour is the longest that the bridge lets a command run, in seconds. */
const kMostSeconds = 1800;
const kCommandsKey = 'tries.checks';
const kCommandsKept = 20;

/** The last check of each task. @type {import('@preact/signals').Signal<ReadonlyMap<string, Check>>} */
export const checks = signal(new Map());

/**
 * @param {string} id
 * @param {Check} check
 */
function setCheck(id, check) {
  checks.value = new Map(checks.value).set(id, check);
}

/** The command that was last used in a folder. @param {string} folder */
export function rememberedCheck(folder) {
  const kept = uistate.get(kCommandsKey, /** @type {Record<string, unknown>} */ ({}));
  const command = Object.hasOwn(kept ?? {}, folder) ? kept[folder] : '';
  return typeof command === 'string' ? command : '';
}

/**
 * @param {string} folder
 * @param {string} command
 */
function rememberCheck(folder, command) {
  const { [folder]: _, ...others } = uistate.get(kCommandsKey, /** @type {Record<string, unknown>} */ ({}));
  const kept = Object.entries(others).slice(1 - kCommandsKept);
  uistate.set(kCommandsKey, Object.fromEntries([...kept, [folder, command]]));
}

/**
 * Runs a command in the folder of each task, as many at once as long calls may run.
 * @param {readonly Task[]} list
 * @param {string} command
 * @param {(id: string, diff: TaskDiff) => void} onDiff is told what each has changed behind its check
 */
export async function runChecks(list, command, onDiff) {
  const line = command.trim();
  if (!line) return;
  if (list[0]) rememberCheck(list[0].repoRoot, line);
  await Promise.all(list.map((task) => runCheck(task, line, onDiff)));
}

/**
 * @param {Task} task
 * @param {string} command
 * @param {(id: string, diff: TaskDiff) => void} onDiff
 */
async function runCheck({ id, directory, try: number }, command, onDiff) {
  /** @type {Check} */
  const running = { state: 'running', command, result: null, words: '', left: [] };
  setCheck(id, running);
  try {
    const before = await diffOfTask(id);
    const job = `Check try ${number}: ${command}`;
    const answer = await runLine(checkCommand(directory, command), { job, timeout: kMostSeconds });
    const after = await diffOfTask(id);
    onDiff(id, after);
    setCheck(id, { ...running, state: 'ended', result: readCheck(answer), left: leftBehind(before, after) });
  } catch (error) {
    const words = error instanceof Error ? error.message : String(error);
    setCheck(id, { ...running, state: 'failed', words });
  }
}
