// Places in the board that other parts fill: what is shown before a task lands, and the page that holds the
// tries of one task beside each other.

import { signal } from '@preact/signals';

/**
 * What is to land. A task of the list fits, and one that an earlier run of the program left behind.
 * @typedef {object} Landing
 * @property {string} id
 * @property {string} title
 * @property {string} repoRoot absolute path of the folder whose checked out branch receives
 * @property {string} directory absolute path of the worktree
 * @property {string} branch
 * @property {string} baseBranch what was checked out when the task was created, "" when not known
 * @property {string} status of the task, or "stopped"
 *
 * @typedef {(landing: Landing, land: () => Promise<unknown>) => Promise<boolean>} LandingPreview shows what would
 *   happen, and calls `land` when the user says so; true when it has landed. Failures are told by it.
 */

/** @type {LandingPreview | null} */
let preview = null;

/** @param {LandingPreview} fn what all landing goes through */
export function setLandingPreview(fn) {
  preview = fn;
}

export const landingPreview = () => preview;

/**
 * Opens the tries of a group; null while nobody can.
 * @type {import('@preact/signals').Signal<((groupId: string) => unknown) | null>}
 */
export const openTries = signal(null);

/** @param {(groupId: string) => unknown} fn gets the id of the first try, the key in `tryGroups` */
export function setTriesView(fn) {
  openTries.value = fn;
}

/** @typedef {import('../../stores/chatquestions.js').Question} Question */

/**
 * What else the card of a task's question offers, beside allow and no: a rule that the page keeps.
 * @type {import('@preact/signals').Signal<import('preact').ComponentType<{question: Question}> | null>}
 */
export const questionMore = signal(null);
