// How far each folder of the workspace is set up for Claude.

import { signal } from '@preact/signals';
import { call, get } from '../bridge/api.js';
import { roots } from './settings.js';

/**
 * @typedef {object} Project
 * @property {string} root
 * @property {string} path
 * @property {boolean} claudeMd
 * @property {boolean} autoMemory
 * @property {boolean} autoDream
 * @property {boolean} memoryIndex
 * @property {boolean} isRepo
 * @property {boolean} gitignored
 */

/** @type {import('@preact/signals').Signal<Project[]>} */
export const projects = signal([]);

export async function readProjects() {
  projects.value = await Promise.all(roots.value.map(({ name }) => get('project/status', { root: name })));
}

/**
 * What a folder lacks, as the wishes that bring it; null when nothing is missing. What can be switched off is
 * the user's choice, and tidying is not part of a set-up.
 * @param {Project} project
 */
export function missingOf({ autoMemory, memoryIndex, isRepo, gitignored }) {
  const memory = !autoMemory || !memoryIndex;
  const gitignore = isRepo && !gitignored;
  return memory || gitignore ? { ...(memory && { memory }), ...(gitignore && { gitignore }) } : null;
}

/**
 * @param {string} root
 * @param {{memory?: boolean, dream?: boolean, gitignore?: boolean}} wishes
 * @returns {Promise<string[]>} what did not work, in the bridge's words
 */
export async function setUp(root, wishes) {
  const answer = await call('project/setup', { root, ...wishes });
  projects.value = projects.value.map((project) => (project.root === root ? answer : project));
  return answer.failed;
}
