// Claude's help with a commit: a proposed message and a look over the change, kept for each repository until
// the commit is made. The message itself is the one of the commit box (gitmessages.js).

import { signal } from '@preact/signals';
import { call } from '../bridge/api.js';
import { known } from './gitactions.js';
import { messages, setMessage } from './gitmessages.js';
import * as uistate from './uistate.js';

/**
 * @typedef {import('./gitstatus.js').Repo} Repo
 * @typedef {'message' | 'review'} Work
 *
 * @typedef {object} Said
 * @property {string} text
 * @property {boolean} everything whether it is about all changes, not only those that are staged
 * @property {string} mark of the change that it is about; "" when that is not known
 * @property {boolean} [cut] the change was too long, and only its beginning was looked at
 *
 * @typedef {object} Desk
 * @property {Said | null} review
 * @property {Said | null} proposal a message that was not taken yet
 * @property {boolean | null} everything what the desk shows; null as long as nobody has chosen
 * @property {boolean} push whether a commit is pushed
 */

const kKey = 'scm.desks';
/** Longer words are kept as long as the page lives. */
const kMostKept = 20000;

/** @type {Desk} */
const kEmpty = { review: null, proposal: null, everything: null, push: false };

/** By the folder of the repository. @type {import('@preact/signals').Signal<ReadonlyMap<string, Desk>>} */
export const desks = signal(new Map());
/** What Claude works on. @type {import('@preact/signals').Signal<ReadonlyMap<string, AbortController>>} */
const working = signal(new Map());
/** Why it did not come about. @type {import('@preact/signals').Signal<ReadonlyMap<string, string>>} */
const failures = signal(new Map());
/** What stood in the box before a proposal took its place. @type {import('@preact/signals').Signal<ReadonlyMap<string, {before: string, text: string}>>} */
const replaced = signal(new Map());

/** @param {Repo} repo */
export const deskOf = ({ root }) => desks.value.get(root) ?? kEmpty;

/**
 * @param {Repo} repo
 * @param {Work} work
 */
const workKey = ({ root }, work) => `${work} ${root}`;

/**
 * @param {Repo} repo
 * @param {Work} work
 */
export const isWorking = (repo, work) => working.value.has(workKey(repo, work));

/**
 * @param {Repo} repo
 * @param {Work} work
 */
export const failureOf = (repo, work) => failures.value.get(workKey(repo, work)) ?? '';

/**
 * Without what is in the way of being kept, the map as it was.
 * @template V
 * @param {import('@preact/signals').Signal<ReadonlyMap<string, V>>} map
 * @param {string} key
 * @param {V | undefined} value undefined takes it out
 */
function put(map, key, value) {
  const next = new Map(map.value);
  if (value === undefined) next.delete(key);
  else next.set(key, value);
  map.value = next;
}

export function loadDesks() {
  const kept = uistate.get(kKey, /** @type {unknown} */ ({}));
  if (!kept || typeof kept !== 'object' || Array.isArray(kept)) return;
  desks.value = new Map(Object.entries(kept).map(([root, desk]) => [root, wholeDesk(desk)]));
}

/** @param {any} kept @returns {Desk} */
function wholeDesk(kept) {
  return {
    review: wholeSaid(kept?.review),
    proposal: wholeSaid(kept?.proposal),
    everything: typeof kept?.everything === 'boolean' ? kept.everything : null,
    push: kept?.push === true,
  };
}

/** @param {any} kept @returns {Said | null} */
function wholeSaid(kept) {
  if (typeof kept?.text !== 'string') return null;
  const { text, everything, mark, cut } = kept;
  return { text, everything: everything === true, mark: typeof mark === 'string' ? mark : '', cut: cut === true };
}

/**
 * @param {Repo} repo
 * @param {Partial<Desk>} change
 */
export function changeDesk(repo, change) {
  put(desks, repo.root, { ...deskOf(repo), ...change });
  const kept = [...desks.value].map(([root, desk]) => [root, withoutLong(desk)]);
  uistate.set(kKey, Object.fromEntries(kept));
}

/** @param {Desk} desk @returns {Desk} */
function withoutLong(desk) {
  const fits = (/** @type {Said | null} */ said) => (said && said.text.length > kMostKept ? null : said);
  return { ...desk, review: fits(desk.review), proposal: fits(desk.proposal) };
}

/**
 * Whether the desk is about all changes: where nothing is staged, that is what can be committed.
 * @param {Repo} repo
 */
export function isAboutAll(repo) {
  return deskOf(repo).everything ?? !repo.files.some(({ staged }) => staged);
}

/**
 * @param {Repo} repo
 * @param {Work} work
 * @param {Record<string, unknown>} fields
 * @param {string} job
 * @param {(answer: any) => void} take
 */
async function ask(repo, work, fields, job, take) {
  const key = workKey(repo, work);
  if (working.value.has(key)) return;
  const { name } = known(repo);
  const abort = new AbortController();
  put(working, key, abort);
  put(failures, key, undefined);
  try {
    take(await call(`git/${work}`, { repo: name, ...fields }, { job, signal: abort.signal }));
  } catch (error) {
    // From the tray it can be cancelled as well.
    const cancelled = error instanceof DOMException && error.name === 'AbortError';
    if (!cancelled) put(failures, key, error instanceof Error ? error.message : String(error));
  } finally {
    put(working, key, undefined);
  }
}

/**
 * Lets go of what Claude works on; its process runs on to its end.
 * @param {Repo} repo
 * @param {Work} work
 */
export function cancel(repo, work) {
  working.value.get(workKey(repo, work))?.abort();
}

/**
 * Asks for a message. It goes into the box if that is empty, or if the user wants it there and has written
 * nothing meanwhile; else it waits beside it.
 * @param {Repo} repo
 * @param {{everything: boolean, mark?: string, intoBox?: boolean}} about
 */
export async function writeMessage(repo, { everything, mark = '', intoBox = false }) {
  const before = messages.value.get(repo.root) ?? '';
  await ask(repo, 'message', { everything }, `Write a commit message for ${repo.name}`, ({ message }) => {
    const text = String(message ?? '');
    const now = messages.value.get(repo.root) ?? '';
    if (now.trim() === '' || (intoBox && now === before)) takeText(repo, text);
    else changeDesk(repo, { proposal: { text, everything, mark } });
  });
}

/**
 * @param {Repo} repo
 * @param {string} text
 */
function takeText(repo, text) {
  put(replaced, repo.root, { before: messages.value.get(repo.root) ?? '', text });
  setMessage(repo.root, text);
  changeDesk(repo, { proposal: null });
}

/** Puts the proposal into the box. @param {Repo} repo */
export function takeProposal(repo) {
  const { proposal } = deskOf(repo);
  if (proposal) takeText(repo, proposal.text);
}

/**
 * What stood in the box before a proposal, as long as the proposal stands there unchanged.
 * @param {Repo} repo
 * @returns {string} "" for nothing
 */
export function earlierMessage({ root }) {
  const found = replaced.value.get(root);
  return found && found.text === messages.value.get(root) ? found.before : '';
}

/** @param {Repo} repo */
export function bringBack(repo) {
  const before = earlierMessage(repo);
  if (!before) return;
  const text = messages.value.get(repo.root) ?? '';
  setMessage(repo.root, before);
  put(replaced, repo.root, undefined);
  changeDesk(repo, { proposal: { text, everything: false, mark: '' } });
}

/**
 * @param {Repo} repo
 * @param {{everything: boolean, mark?: string}} about
 */
export function lookOver(repo, { everything, mark = '' }) {
  return ask(repo, 'review', { everything }, `Look over the change in ${repo.name}`, ({ review, truncated }) => {
    changeDesk(repo, { review: { text: String(review ?? ''), everything, mark, cut: truncated === true } });
  });
}

/**
 * Whether words are about another change than the one at hand.
 * @param {Said} said
 * @param {{everything: boolean, mark: string}} now
 */
export function isOld(said, { everything, mark }) {
  if (said.everything !== everything) return true;
  return said.mark !== '' && mark !== '' && said.mark !== mark;
}

/** The commit is made: what was said about it is used. @param {Repo} repo */
export function deskUsed(repo) {
  put(replaced, repo.root, undefined);
  const { push } = deskOf(repo);
  changeDesk(repo, { ...kEmpty, push });
}
