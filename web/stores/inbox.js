// Every question that waits for the user, of the chat and of all tasks, and the rules by which the page answers
// some of them itself.

import { computed, effect, signal } from '@preact/signals';
import { questions as chatQuestions } from './chat.js';
import { allowOnce, deny, questionKey } from './chatquestions.js';
import { answer as answerChat, answering as answeringChat } from './chatsession.js';
import { answerTask, answeringTask, taskById, tasks, tasksKnown } from './dispatch.js';
import { taskQuestions } from './dispatchtalks.js';
import { titleLine } from './dispatchwire.js';
import {
  fitsReally,
  livingRules,
  mindsLinks,
  pathIn,
  restoredRules,
  ruleFor,
  ruleWords,
  withRule,
} from './inboxrules.js';
import { note } from './log.js';
import { roots } from './settings.js';
import { realPaths } from './taskshell.js';
import * as uistate from './uistate.js';

/**
 * @typedef {import('./chatquestions.js').Question} Question
 * @typedef {import('./inboxrules.js').Rule} Rule
 * @typedef {import('./inboxrules.js').Asker} Asker
 *
 * @typedef {object} Entry
 * @property {string} key
 * @property {Question} question
 * @property {string} who "Chat", or the task's title
 *
 * @typedef {{key: string, words: string, who: string, at: number, ok: boolean}} Automatic an answer by a rule
 */

const kRulesKey = 'inbox.rules';
/** Answers by rules that are listed. */
export const KEPT_ANSWERS = 30;

/** @type {import('@preact/signals').Signal<readonly Rule[]>} */
export const rules = signal([]);
/** What rules have answered, the latest first. @type {import('@preact/signals').Signal<readonly Automatic[]>} */
export const automatic = signal([]);

/** When each open question came, as a number that grows. @type {Map<string, number>} */
const arrivals = new Map();
let arrived = 0;

/** All that wait, in the order they came. @type {import('@preact/signals').ReadonlySignal<Entry[]>} */
export const entries = computed(() => {
  const open = [...chatQuestions.value, ...taskQuestions.value];
  const list = open.map((question) => ({ key: questionKey(question), question, who: whoAsks(question) }));
  const keys = new Set(list.map(({ key }) => key));
  for (const key of arrivals.keys()) if (!keys.has(key)) arrivals.delete(key);
  for (const { key } of list) if (!arrivals.has(key)) arrivals.set(key, ++arrived);
  return list.sort((a, b) => (arrivals.get(a.key) ?? 0) - (arrivals.get(b.key) ?? 0));
});

/** @param {Question} question */
function whoAsks({ owner }) {
  if (!owner) return 'Chat';
  const task = taskById(owner);
  return task ? titleLine(task) + (task.tries > 1 ? `, try ${task.try}` : '') : owner;
}

/**
 * Who asks, as far as rules want to know; null while that is not known.
 * @param {Question} question
 * @returns {Asker | null}
 */
export function askerOf({ owner }) {
  if (!owner) {
    const first = roots.value[0]?.path ?? '';
    return first ? { task: '', createdAt: 0, folder: first, directory: first } : null;
  }
  const task = taskById(owner);
  if (!task) return null;
  return { task: owner, createdAt: task.createdAt, folder: task.repoRoot, directory: task.directory };
}

/** Whether a question's answer is on its way. @param {Question} question */
export const isAnswering = (question) =>
  (question.owner ? answeringTask : answeringChat).value.has(questionKey(question));

/**
 * @param {Question} question
 * @param {import('./chatquestions.js').Answer} body
 * @param {string} words what the conversation keeps of it
 */
export const answerQuestion = (question, body, words) =>
  question.owner ? answerTask(question, body, words) : answerChat(question, body, words);

/** Rules about folders of this workspace; those of others are kept, and do nothing here. */
export const shownRules = computed(() => {
  const here = new Set([...roots.value.map(({ path }) => path), ...tasks.value.map(({ repoRoot }) => repoRoot)]);
  return rules.value.filter(({ scope }) => here.has(scope.folder));
});

/** A rule in words, with the title of its task. @param {Rule} rule */
export function wordsOfRule(rule) {
  const task = rule.scope.kind === 'task' ? taskById(rule.scope.id) : undefined;
  return ruleWords(rule, task && titleLine(task));
}

/** @param {Omit<Rule, 'id' | 'made'>} wanted */
export function addRule(wanted) {
  setRules(withRule(rules.value, wanted, Date.now()));
}

/** @param {string} id */
export function removeRule(id) {
  setRules(rules.value.filter((rule) => rule.id !== id));
}

/** @param {readonly Rule[]} next */
function setRules(next) {
  if (next === rules.value) return;
  rules.value = next;
  if (!uistate.set(kRulesKey, next)) note('warning', 'The rules are too long to be kept', next);
}

/** Takes up the rules and answers by them from now on. The result ends that. */
export function startRules() {
  rules.value = restoredRules(uistate.get(kRulesKey, []));
  const stopSweep = effect(() => {
    // A list that is not known yet holds no task, and would take every rule away.
    if (tasksKnown.value) setRules(livingRules(rules.value, tasks.value));
  });
  /** Questions that a rule has taken: one that could not be answered is left to the user. @type {Set<string>} */
  const taken = new Set();
  const stopAnswers = effect(() => {
    const open = entries.value;
    const keys = new Set(open.map(({ key }) => key));
    for (const key of taken) if (!keys.has(key)) taken.delete(key);
    for (const entry of open) {
      const asker = askerOf(entry.question);
      const rule = asker && ruleFor(rules.value, entry.question, asker);
      if (!rule || taken.has(entry.key)) continue;
      taken.add(entry.key);
      queueMicrotask(() => void answerBy(rule, entry, asker)); // it changes what is read here
    }
  });
  return () => {
    stopSweep();
    stopAnswers();
  };
}

/**
 * Whether a rule still has to answer, now that the disk was looked at: meanwhile the user may have answered, or
 * taken the rule back.
 * @param {Rule} rule
 * @param {Entry} entry
 * @param {Asker} asker
 */
async function mayAnswer(rule, { key, question, who }, asker) {
  if (mindsLinks(rule)) {
    try {
      const real = await realPaths(asker.directory, pathIn(question, asker) ?? '');
      if (!fitsReally(rule, real.directory, real.path)) return false;
    } catch (error) {
      note('warning', `Could not look where ${who} would write, so no rule answers`, error);
      return false;
    }
  }
  // By its words: who asks may have been told the same question as a new object.
  const now = entries.value.find((entry) => entry.key === key)?.question;
  const open = JSON.stringify(now) === JSON.stringify(question);
  return open && rules.value.includes(rule) && !isAnswering(question);
}

/**
 * @param {Rule} rule
 * @param {Entry} entry
 * @param {Asker} asker
 */
async function answerBy(rule, entry, asker) {
  if (!(await mayAnswer(rule, entry, asker))) return;
  const { key, question, who } = entry;
  const allow = rule.behavior === 'allow';
  const words = `${allow ? 'Allowed' : 'Refused'} by your rule: ${wordsOfRule(rule)}`;
  const body = allow ? allowOnce(question) : deny(question, 'A rule of the user refuses this.');
  let ok = true;
  try {
    await answerQuestion(question, body, words);
    note('info', `${who}: ${words}`);
  } catch (error) {
    ok = false;
    note('warning', `Could not answer ${who} by a rule`, error);
  }
  automatic.value = [{ key, words, who, at: Date.now(), ok }, ...automatic.value].slice(0, KEPT_ANSWERS);
}
