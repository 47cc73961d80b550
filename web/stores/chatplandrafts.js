// What the user has written on plans that still wait for an answer. The card and the document of a plan share
// it, a reload keeps it, and it ends with its question.

import { effect, signal, untracked } from '@preact/signals';
import { keepValue, keptValue } from './chat.js';
import { planReply } from './chatplan.js';
import { ownerOf, questionKey } from './chatquestions.js';
import { listOf, recordOf, textOf } from './chatwire.js';
import { isBeingAnswered, keysOf, mayBeOpen, openQuestions } from './openquestions.js';

/**
 * @typedef {object} PlanDraft
 * @property {string} plan whose lines the comments count
 * @property {import('./chatplan.js').PlanComment[]} comments one with empty words is being written
 * @property {string} general on the plan as a whole
 * @property {string} mode to carry it out in
 */

/** By the question's key. @type {import('@preact/signals').Signal<ReadonlyMap<string, PlanDraft>>} */
export const drafts = signal(new Map());

const KEY = 'plans';
const FIRST_MODE = 'acceptEdits';

/** @param {import('./chatquestions.js').Question} question @returns {PlanDraft} */
export function draftOf(question) {
  const fresh = { plan: textOf(question.input.plan), comments: [], general: '', mode: FIRST_MODE };
  return drafts.value.get(questionKey(question)) ?? fresh;
}

/**
 * @param {import('./chatquestions.js').Question} question
 * @param {Partial<PlanDraft>} change
 */
export function changeDraft(question, change) {
  setDrafts(new Map(drafts.value).set(questionKey(question), { ...draftOf(question), ...change }));
}

/** @param {ReadonlyMap<string, PlanDraft>} next */
function setDrafts(next) {
  drafts.value = next;
  keepValue(KEY, [...next]);
}

/**
 * Takes up what a reload left. When a plan goes without an answer of the user, `rescue` gets what was
 * written on it.
 * @param {(words: string, owner: string) => void} rescue
 */
export function startDrafts(rescue) {
  drafts.value = new Map(listOf(keptValue(KEY)).map(restored).filter(([id]) => id !== ''));
  return effect(() => {
    const open = keysOf(openQuestions.value);
    const gone = [...drafts.peek()].filter(([key]) => !open.has(key) && !mayBeOpen(key));
    if (!gone.length) return;
    const ended = new Set(gone.map(([key]) => key));
    setDrafts(new Map([...drafts.peek()].filter(([key]) => !ended.has(key))));
    for (const [key, { plan, comments, general }] of gone) {
      // While an answer is on its way, it is what ended the question.
      const words = untracked(() => isBeingAnswered(key)) ? '' : planReply(plan, comments, general);
      if (words) untracked(() => rescue(words, ownerOf(key)));
    }
  });
}

/** @param {any} kept @returns {[string, PlanDraft]} */
function restored(kept) {
  const [id, value] = listOf(kept);
  const { plan, comments, general, mode } = recordOf(value);
  const whole = listOf(comments)
    .map(recordOf)
    .filter(({ from, to }) => Number.isInteger(from) && Number.isInteger(to))
    .map(({ from, to, words }) => ({ from, to, words: textOf(words) }));
  return [
    textOf(id),
    { plan: textOf(plan), comments: whole, general: textOf(general), mode: textOf(mode) || FIRST_MODE },
  ];
}
