// Questions of the CLI that wait for the user: may it use a tool, is the plan good, which of these. An open
// question holds the CLI up until it is answered, is withdrawn by a cancel line, or the CLI ends.

import { listOf, recordOf, textOf } from './chatwire.js';

/**
 * @typedef {'tool' | 'plan' | 'choice'} QuestionKind
 *
 * @typedef {object} Question
 * @property {string} id
 * @property {QuestionKind} kind
 * @property {string} tool
 * @property {string} toolUseId the call that waits for it, "" when the CLI did not say
 * @property {Record<string, any>} input as the CLI sent it
 * @property {any[]} suggestions rules that the CLI proposes for "always"
 * @property {string} reason why it asks, in the CLI's words
 * @property {string} [owner] the background task that asks; without one it is the chat
 *
 * @typedef {{question: string, header: string, many: boolean, options: {label: string, description: string}[]}} Choice
 *
 * @typedef {object} Answer the body of the answer's request
 * @property {string} requestId
 * @property {'allow' | 'deny'} behavior
 * @property {Record<string, any>} [input]
 * @property {any[]} [updatedPermissions]
 * @property {string} [message]
 * @property {boolean} [interrupt]
 */

/** @type {Record<string, QuestionKind>} */
const KINDS = { ExitPlanMode: 'plan', AskUserQuestion: 'choice' };

/**
 * @param {Record<string, any>} line
 * @returns {Question | null} null when it is no question for the user
 */
export function questionOf(line) {
  const request = recordOf(line.request);
  const id = textOf(line.request_id);
  if (line.type !== 'control_request' || request.subtype !== 'can_use_tool' || !id) return null;
  const tool = textOf(request.tool_name);
  const question = {
    id,
    kind: Object.hasOwn(KINDS, tool) ? KINDS[tool] : 'tool',
    tool,
    toolUseId: textOf(request.tool_use_id),
    input: recordOf(request.input),
    suggestions: listOf(request.permission_suggestions),
    reason: textOf(request.decision_reason) || textOf(request.description),
  };
  // A question without anything to choose from is answered like any other tool.
  if (question.kind === 'choice' && !choicesOf(question).length) return { ...question, kind: 'tool' };
  return question;
}

/**
 * What tells a question from all others of the page: two CLIs may give theirs the same id.
 * @param {Pick<Question, 'id' | 'owner'>} question
 */
export const questionKey = ({ id, owner }) => (owner ? `${owner} ${id}` : id);

/** The task that a question of this key belongs to, "" for the chat. @param {string} key */
export const ownerOf = (key) => /^(t\d+-\d+) /.exec(key)?.[1] ?? '';

/**
 * @param {readonly Question[]} list
 * @param {Question} question
 */
export function asked(list, question) {
  return [...list.filter(({ id }) => id !== question.id), question];
}

/**
 * @param {readonly Question[]} list
 * @param {string} id
 */
export const withdrawn = (list, id) => list.filter((question) => question.id !== id);

/**
 * A call that has its result waits for nobody: the question was answered somewhere else.
 * @param {readonly Question[]} list
 * @param {string} toolUseId
 */
export const settledBy = (list, toolUseId) =>
  list.filter((question) => !toolUseId || question.toolUseId !== toolUseId);

/** @param {Question} question @returns {Choice[]} */
export function choicesOf({ input }) {
  return listOf(input.questions)
    .map((one) => {
      const { question, header, multiSelect, options } = recordOf(one);
      return {
        question: textOf(question),
        header: textOf(header),
        many: multiSelect === true,
        options: listOf(options).map((option) => ({
          label: textOf(recordOf(option).label) || textOf(option),
          description: textOf(recordOf(option).description),
        })),
      };
    })
    .filter(({ question }) => question !== '');
}

/**
 * The CLI takes an answer by the input it carries, so that is always the question's own.
 * @param {Question} question
 * @returns {Answer}
 */
export const allowOnce = ({ id, input }) => ({ requestId: id, behavior: 'allow', input });

/** @param {Question} question @returns {Answer} */
export const allowAlways = (question) => ({
  ...allowOnce(question),
  updatedPermissions: question.suggestions,
});

/**
 * @param {Question} question
 * @param {string} reason "" for none
 * @param {{stop?: boolean}} [options]
 * @returns {Answer}
 */
export function deny({ id }, reason, { stop = false } = {}) {
  /** @type {Answer} */
  const answer = { requestId: id, behavior: 'deny' };
  if (reason.trim()) answer.message = reason.trim();
  if (stop) answer.interrupt = true;
  return answer;
}

/**
 * @param {Question} question
 * @param {Record<string, string>} answers the question's words to what was chosen
 * @returns {Answer}
 */
export const answerChoices = (question, answers) => ({
  ...allowOnce(question),
  input: { ...question.input, answers },
});

/**
 * A plan is approved together with the mode that the work goes on in.
 * @param {Question} question
 * @param {string} mode
 * @returns {Answer}
 */
export const approvePlan = (question, mode) => ({
  ...allowOnce(question),
  updatedPermissions: [{ type: 'setMode', mode, destination: 'session' }],
});

const PLACES = {
  session: 'for this conversation',
  localSettings: 'in this project, for you',
  projectSettings: 'in this project, for everyone',
  userSettings: 'in all projects',
};

/**
 * What "always" would do, in words.
 * @param {any} suggestion
 */
export function suggestionWords(suggestion) {
  const { type, rules, mode, directories, behavior, destination } = recordOf(suggestion);
  const place = Object.hasOwn(PLACES, textOf(destination))
    ? PLACES[/** @type {keyof typeof PLACES} */ (destination)]
    : textOf(destination);
  /** @param {string} words */
  const placed = (words) => (place ? `${words} ${place}` : words);
  if (type === 'setMode') return placed(`change the mode to ${textOf(mode)}`);
  if (type === 'addDirectories') return placed(`allow the folder ${listOf(directories).join(', ')}`);
  if (type === 'addRules' || type === 'replaceRules') {
    return placed(`${textOf(behavior) || 'allow'} ${listOf(rules).map(ruleWords).join(', ')}`);
  }
  return placed(JSON.stringify(suggestion) ?? '');
}

/** @param {any} rule */
function ruleWords(rule) {
  const { toolName, ruleContent } = recordOf(rule);
  return textOf(ruleContent) ? `${textOf(toolName)}(${ruleContent})` : textOf(toolName);
}
