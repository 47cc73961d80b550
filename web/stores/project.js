// How far each folder of the workspace is set up for Claude.

import { signal } from '@preact/signals';
import { BridgeError, call, get } from '../bridge/api.js';
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

/** The user's own settings of Claude in a folder. @param {string} root */
export const personalSettings = (root) => `${root}/.claude/settings.local.json`;

/**
 * Whether the bridge reads a settings file as what it is. It takes no number that a double cannot hold, which
 * JSON.parse does take: an exponent of three digits is enough of a doubt to ask.
 * @param {string} text
 */
export function readsAsSettings(text) {
  const body = text.replace(/^\uFEFF/, '');
  const bare = body.replace(/"(?:[^"\\]|\\.)*"/g, '""');
  if (/\d[eE][+-]?\d{3}/.test(bare) || /\d{300}/.test(bare)) return false;
  try {
    const value = JSON.parse(body);
    return typeof value === 'object' && value !== null && !Array.isArray(value);
  } catch {
    return false;
  }
}

/**
 * What a set-up would throw away: it writes switches into the user's own settings, and a file there that it cannot
 * read is replaced by one with nothing else in it.
 * @param {string} root
 * @param {{memory?: boolean, dream?: boolean}} wishes
 * @returns {Promise<{path: string, text: string} | null>} null when nothing is lost
 */
export async function lostBySetUp(root, { memory, dream }) {
  if (memory === undefined && dream === undefined) return null;
  const path = personalSettings(root);
  try {
    const { contents = '', size, binary, truncated } = await get('file/read', { path });
    const nothing = size === 0 || (!binary && contents.trim() === '');
    if (nothing || (!binary && !truncated && readsAsSettings(contents))) return null;
    return { path, text: contents };
  } catch (error) {
    // Another 404 is a file that is there and cannot be read.
    if (error instanceof BridgeError && error.words === 'file not found') return null;
    throw error;
  }
}
