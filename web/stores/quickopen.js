// Finding files by words of their paths: those opened lately first, then those of the native side's list.

import { computed, effect, signal } from '@preact/signals';
import { get } from '../bridge/api.js';
import { on } from '../bridge/events.js';
import { fileInfo } from './files.js';
import { onIndexChange } from './indexstats.js';
import { isInside, rootOf } from './paths.js';
import { needles, rankPaths, wordsOf } from './quickopenrank.js';
import { isHidden } from './searchresults.js';
import { roots } from './settings.js';
import * as uistate from './uistate.js';

/** The native side answers with no more files than this. */
export const kAnswerLimit = 200;
/** Files opened lately that are kept. */
export const kRecentKept = 60;
/** How many words are asked for when the answers to longer ones were cut. */
const kAsked = 3;
/** Answers that are kept until a file comes or goes. */
const kAnswersKept = 50;
const kRecentKey = 'quickopen.recent';

/**
 * @typedef {import('./quickopenrank.js').RankedPath & {recent: boolean}} FoundFile
 * @typedef {{files: FoundFile[], cut: boolean}} FoundFiles `cut` says that there may be more
 */

/** The latest first. @type {import('@preact/signals').Signal<readonly string[]>} */
const opened = signal([]);

/** Files opened lately that are in a folder of the workspace, the latest first. */
export const recentFiles = computed(() => {
  const names = new Set(roots.value.map(({ name }) => name));
  return opened.value.filter((path) => names.has(rootOf(path)));
});

/** @param {string} path */
export function noteOpened(path) {
  if (opened.value[0] !== path) setOpened([path, ...opened.value.filter((one) => one !== path)]);
}

/** @param {string} path a file or folder that is gone */
export function forgetOpened(path) {
  if (opened.value.some((one) => isInside(one, path)))
    setOpened(opened.value.filter((one) => !isInside(one, path)));
}

/** @param {string[]} paths */
function setOpened(paths) {
  opened.value = paths.slice(0, kRecentKept);
  uistate.set(kRecentKey, opened.value);
}

export function loadRecentFiles() {
  const kept = uistate.get(kRecentKey, /** @type {unknown} */ ([]));
  if (Array.isArray(kept))
    opened.value = kept.filter((path) => typeof path === 'string').slice(0, kRecentKept);
}

/** By what was asked. @type {Map<string, {paths: string[], cut: boolean}>} */
const answers = new Map();
onIndexChange(() => answers.clear());
effect(() => {
  void roots.value;
  answers.clear();
});

/**
 * The files that hold all words of a text in their paths, in any order.
 * @param {string} text
 * @param {AbortSignal} [signal]
 * @returns {Promise<FoundFiles>}
 */
export async function findFiles(text, signal) {
  const words = wordsOf(text);
  const recent = recentFiles.value;
  /** @type {Set<string>} */
  const paths = new Set();
  let cut = false;
  const asked = words.length ? needles(words).slice(0, kAsked) : [''];
  for (const needle of asked) {
    const answer = await filesWith(needle, signal);
    for (const path of answer.paths) paths.add(path);
    cut = answer.cut;
    // A full answer to one word holds every file that fits all of them.
    if (!cut) break;
  }
  const lately = rankPaths(recent, words).map((file) => ({ ...file, recent: true }));
  const others = [...paths].filter((path) => !recent.includes(path));
  return { files: [...lately, ...rankPaths(others, words).map((file) => ({ ...file, recent: false }))], cut };
}

/**
 * @param {string} needle
 * @param {AbortSignal} [signal]
 */
async function filesWith(needle, signal) {
  const known = knownAnswer(needle);
  if (known) return known;
  const { results } = await get('search/files', { q: needle }, { signal });
  const list = /** @type {{path: string}[]} */ (Array.isArray(results) ? results : []);
  const answer = {
    paths: list.map(({ path }) => path).filter((path) => !isHidden(path)),
    cut: list.length >= kAnswerLimit,
  };
  if (answers.size >= kAnswersKept) answers.delete(/** @type {string} */ (answers.keys().next().value));
  answers.set(needle, answer);
  return answer;
}

/**
 * A full answer to a piece of the needle holds everything that the needle can find.
 * @param {string} needle
 */
function knownAnswer(needle) {
  const same = answers.get(needle);
  if (same) return same;
  for (const [asked, answer] of answers) if (!answer.cut && needle.includes(asked)) return answer;
  return undefined;
}

/** Forgets what is no longer there, among what was changed. @param {{paths: string[]}} event */
async function forgetGone({ paths }) {
  const touched = opened.value.filter((path) => paths.some((changed) => isInside(path, changed)));
  for (const path of touched) if ((await fileInfo(path)) === null) forgetOpened(path);
}

on('fs.changed', forgetGone);
