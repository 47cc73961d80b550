// The questions of the chat and of all background tasks together.

import { computed } from '@preact/signals';
import { questions } from './chat.js';
import { answering } from './chatsession.js';
import { ownerOf, questionKey } from './chatquestions.js';
import { answeringTask, tasksKnown } from './dispatch.js';
import { taskQuestions } from './dispatchtalks.js';

/** The chat's first; `owner` says which task a question belongs to. */
export const openQuestions = computed(() => [...questions.value, ...taskQuestions.value]);

/**
 * Whether a question that is not among the open ones may still come back: those of tasks are known only once
 * the tasks are.
 * @param {string} key
 */
export const mayBeOpen = (key) => ownerOf(key) !== '' && !tasksKnown.value;

/** Whether an answer is on its way. @param {string} key */
export const isBeingAnswered = (key) => answering.value.has(key) || answeringTask.value.has(key);

/** @param {readonly {id: string, owner?: string}[]} list */
export const keysOf = (list) => new Set(list.map(questionKey));
