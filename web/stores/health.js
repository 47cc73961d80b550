// How well the program is: the link, the list of files and the watcher as events tell of them, and the
// tools around it as they answer when they are asked.

import { computed, signal } from '@preact/signals';
import { BridgeError, call } from '../bridge/api.js';
import { lastGapMs, linkState, on } from '../bridge/events.js';
import {
  claudeReport,
  githubReport,
  gitReport,
  indexReport,
  linkReport,
  serversReport,
  updateReport,
  watcherReport,
} from './healthreports.js';
import { indexStats, scanFound } from './indexstats.js';

/** @typedef {import('./healthreports.js').Report} Report */

/** What is asked, and how its answer is read. */
const kTools = [
  { id: 'claude', title: 'Claude CLI', route: 'claude/auth', read: claudeReport },
  { id: 'git', title: 'Git', route: 'git/status', read: gitReport },
  { id: 'github', title: 'GitHub CLI', route: 'github/status', read: githubReport },
  { id: 'servers', title: 'Language servers', route: 'lsp/servers', read: serversReport },
  { id: 'update', title: 'Updates', route: 'update', read: updateReport },
];

/** @type {import('@preact/signals').Signal<import('./healthreports.js').Batch | null>} */
const lastBatch = signal(null);
const cutBatches = signal(0);
/**
 * @type {import('@preact/signals').Signal<ReadonlyMap<string, Report | null>>} null for a tool the bridge
 *   does not know
 */
const tools = signal(new Map());
/** Whether tools are being asked. */
export const asking = signal(false);

/** @type {import('@preact/signals').ReadonlySignal<{id: string, title: string, report: Report}[]>} */
export const healthRows = computed(() => [
  { id: 'link', title: 'Link', report: linkReport(linkState.value, lastGapMs.value) },
  { id: 'index', title: 'List of files', report: indexReport(indexStats.value, scanFound.value) },
  { id: 'watcher', title: 'Watcher', report: watcherReport(lastBatch.value, cutBatches.value) },
  ...kTools.flatMap(({ id, title }) => {
    const report = tools.value.get(id);
    return report ? [{ id, title, report }] : [];
  }),
]);

/** Asks every tool; each answers in its own time, and a failure is its report. */
export async function askTools() {
  if (asking.value) return;
  asking.value = true;
  await Promise.all(kTools.map(askTool));
  asking.value = false;
}

/** @param {(typeof kTools)[number]} tool */
async function askTool({ id, route, read }) {
  if (!tools.value.get(id)) enter(id, { health: 'busy', words: 'Asking…' });
  try {
    enter(id, read(await call(route)));
  } catch (error) {
    const unknown = error instanceof BridgeError && error.status === 404;
    enter(
      id,
      unknown ? null : { health: 'error', words: error instanceof Error ? error.message : String(error) },
    );
  }
}

/** @param {string} id @param {Report | null} report */
function enter(id, report) {
  tools.value = new Map(tools.value).set(id, report);
}

on('fs.changed', ({ paths, count }) => {
  lastBatch.value = { at: new Date(), count, told: paths.length };
  if (count > paths.length) cutBatches.value += 1;
});
