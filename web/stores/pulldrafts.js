// Comments on lines of pull requests that are not posted yet: those that a review by Claude found, and one's
// own. They are kept until they are posted or dropped, and go out one at a time.

import { signal } from '@preact/signals';
import { call } from '../bridge/api.js';
import { listOf, numberOf, recordOf, textOf } from './chatwire.js';
import { lineAt } from './patch.js';
import { isKnown, pullOfArg } from './pull.js';
import * as uistate from './uistate.js';

const kKey = 'pull.drafts';

/**
 * @typedef {object} Draft
 * @property {number} id
 * @property {string} head the commit that its line is of
 * @property {string} path
 * @property {number} line on the new side, the only one the bridge comments on
 * @property {string} body
 * @property {'review' | 'own'} from
 * @property {string} url where it can be seen once it is posted
 * @property {string} failure why it could not be posted last
 *
 * @typedef {object} Desk
 * @property {string} summary of the latest review
 * @property {readonly Draft[]} drafts
 *
 * A pull request as drafts know it: by its address, and by its page's argument for what is asked.
 * @typedef {{url: string, arg: string}} DraftsOf
 */

/** By the pull request's address. @type {import('@preact/signals').Signal<ReadonlyMap<string, Desk>>} */
export const desks = signal(new Map());
/** The pull requests that are being reviewed. @type {import('@preact/signals').Signal<ReadonlySet<string>>} */
export const reviewing = signal(new Set());
/** The id of the draft that is on its way; 0 for none. */
export const posting = signal(0);
/** Whether there is more than the native side has room for: it would not outlive the window. */
export const unsaved = signal(false);

let lastId = 0;

/** @type {Desk} */
const kNothing = { summary: '', drafts: [] };

export function loadDrafts() {
  const kept = Object.entries(recordOf(uistate.get(kKey, {})));
  desks.value = new Map(
    kept.map(([url, one]) => [
      url,
      { summary: textOf(recordOf(one).summary), drafts: listOf(recordOf(one).drafts).map(restored) },
    ]),
  );
}

/**
 * @param {unknown} raw
 * @returns {Draft}
 */
function restored(raw) {
  const { head, path, line, body, from, url } = recordOf(raw);
  return {
    id: ++lastId,
    head: textOf(head),
    path: textOf(path),
    line: numberOf(line),
    body: textOf(body),
    from: from === 'own' ? 'own' : 'review',
    url: textOf(url),
    failure: '',
  };
}

/** @param {string} url */
export const deskOf = (url) => desks.value.get(url) ?? kNothing;

/**
 * @param {string} url
 * @param {Desk} desk
 */
function put(url, desk) {
  const next = new Map(desks.value);
  if (desk.drafts.length || desk.summary) next.set(url, desk);
  else next.delete(url);
  desks.value = next;
  const kept = [...next].map(([key, { summary, drafts }]) => [
    key,
    { summary, drafts: drafts.map(({ id: _id, failure: _failure, ...draft }) => draft) },
  ]);
  unsaved.value = !uistate.set(kKey, Object.fromEntries(kept));
}

/**
 * Lets Claude review a pull request; its comments become drafts beside those that there are.
 * @param {DraftsOf} pull
 * @returns {Promise<number>} how many there are more
 */
export async function review({ url, arg }) {
  const { repo, number } = pullOfArg(arg);
  mustBeKnown(repo);
  if (reviewing.value.has(url)) return 0;
  reviewing.value = new Set(reviewing.value).add(url);
  try {
    const answer = recordOf(await call('github/pr-review', { repo, number }, { job: `Look over #${number}` }));
    return takeReview(url, answer);
  } finally {
    const left = new Set(reviewing.value);
    left.delete(url);
    reviewing.value = left;
  }
}

/**
 * @param {string} url
 * @param {Record<string, unknown>} answer
 */
function takeReview(url, { summary, comments, head }) {
  const { drafts } = deskOf(url);
  const fresh = listOf(comments)
    .map((one) => restored({ ...recordOf(one), head, from: 'review' }))
    .filter(({ path, line, body }) => path && line > 0 && body)
    .filter((one) => !drafts.some((other) => isSame(one, other)));
  put(url, { summary: textOf(summary), drafts: [...drafts, ...fresh] });
  return fresh.length;
}

/** @param {Draft} one @param {Draft} other */
const isSame = (one, other) => one.path === other.path && one.line === other.line && one.body === other.body;

/**
 * Begins a comment of one's own.
 * @param {string} url
 * @param {{head: string, path: string, line: number}} place
 * @returns {number} its id; that of the one that is being written there already
 */
export function beginDraft(url, place) {
  const desk = deskOf(url);
  const there = desk.drafts.find(
    ({ path, line, from, url: posted }) => path === place.path && line === place.line && from === 'own' && !posted,
  );
  if (there) return there.id;
  const draft = restored({ ...place, from: 'own' });
  put(url, { ...desk, drafts: [...desk.drafts, draft] });
  return draft.id;
}

/**
 * @param {string} url
 * @param {number} id
 * @param {Partial<Draft>} next
 */
function change(url, id, next) {
  const desk = deskOf(url);
  put(url, { ...desk, drafts: desk.drafts.map((draft) => (draft.id === id ? { ...draft, ...next } : draft)) });
}

/** @param {string} url @param {number} id @param {string} body */
export const editDraft = (url, id, body) => change(url, id, { body, failure: '' });

/** @param {string} url @param {number} id */
export function dropDraft(url, id) {
  const desk = deskOf(url);
  put(url, { ...desk, drafts: desk.drafts.filter((draft) => draft.id !== id) });
}

/** Takes away what is posted, and the words of the review when nothing else is left. @param {string} url */
export function clearPosted(url) {
  const { summary, drafts } = deskOf(url);
  const left = drafts.filter((draft) => !draft.url);
  put(url, { summary: left.length ? summary : '', drafts: left });
}

/**
 * Posts one draft. Another one waits for its own press: each is looked at by itself.
 * @param {DraftsOf} pull
 * @param {number} id
 * @returns {Promise<boolean>} false when it stays a draft
 */
export async function postDraft({ url, arg }, id) {
  const draft = deskOf(url).drafts.find((one) => one.id === id);
  if (!draft || draft.url || !draft.body.trim() || posting.value) return false;
  const { repo, number } = pullOfArg(arg);
  posting.value = id;
  try {
    mustBeKnown(repo);
    const { head, path, line, body } = draft;
    const answer = await call('github/pr-comment', { repo, number, head, path, line, body }, { job: 'Post a comment' });
    change(url, id, { url: textOf(answer.url) || url, failure: '' });
    return true;
  } catch (error) {
    change(url, id, { failure: error instanceof Error ? error.message : String(error) });
    return false;
  } finally {
    posting.value = 0;
  }
}

/** @param {string} repo */
function mustBeKnown(repo) {
  if (!isKnown(repo)) throw new Error(`git has told of no repository called ${repo}`);
}

/**
 * Why a draft stands at no line of what is shown; "" when it does.
 * @param {Draft} draft
 * @param {readonly import('./pullwire.js').PullFile[]} files
 * @param {string} head of the pull request now
 */
export function astrayWords({ path, line, head: commit }, files, head) {
  const file = files.find((one) => one.path === path);
  if (!file) return 'The pull request does not change this file.';
  if (!file.patch) return 'The changes of this file are not read yet.';
  if (lineAt(file.patch, 'new', line)) return '';
  if (file.patch.cut) return 'The line is not in the part of the patch that is shown.';
  const moved = commit && head && commit !== head ? ' The pull request has other commits by now.' : '';
  return `Line ${line} is not in the patch, so GitHub takes no comment on it.${moved}`;
}
