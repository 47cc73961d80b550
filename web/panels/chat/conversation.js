// What the parts of a conversation act upon: the chat, or a background task. The parts are the same for both,
// and take this from the context that they are drawn in.

import { createContext } from 'preact';
import { useContext } from 'preact/hooks';
import { chat } from '../../stores/chat.js';
import { answer, answering, starting, stopping } from '../../stores/chatsession.js';
import { joinPath, resolveLink, workspacePath } from '../../stores/paths.js';
import { roots } from '../../stores/settings.js';
import { focusComposer } from './focus.js';

/**
 * @typedef {import('../../stores/chatquestions.js').Question} Question
 * @typedef {import('../../stores/chatquestions.js').Answer} Answer
 *
 * @typedef {object} Conversation
 * @property {import('../../stores/chattalk.js').TalkStore} talk
 * @property {import('@preact/signals').Signal<ReadonlySet<string>>} answering keys of questions whose answer is on its way
 * @property {(question: Question, answer: Answer, words: string) => Promise<void>} answer
 * @property {boolean} rules whether an answer can carry the CLI's own rules for "always"
 * @property {() => string} doing what is under way beside the talk, "" for nothing
 * @property {() => boolean} working
 * @property {() => void} focusField
 * @property {(path: string) => string} inside the workspace path of what Claude names, "" outside
 * @property {() => import('../../shell/toasts.js').ToastAction[]} wayOut what helps with a path outside
 * @property {import('preact').ComponentType<{question: Question}> | null} more what else the card of a question offers
 */

/**
 * The workspace path of a path that Claude names: in full, or from the first root, where it runs.
 * @param {string} path
 * @returns {string} "" when it lies outside of the workspace
 */
function fromFirstRoot(path) {
  if (path.startsWith('/')) return workspacePath(roots.value, path);
  const first = roots.value[0]?.name ?? '';
  return first && path ? resolveLink(joinPath(first, '.'), path).path : '';
}

/** @type {Conversation} */
export const chatConversation = {
  talk: chat,
  answering,
  answer,
  rules: true,
  doing: () => (stopping.value ? 'Stopping…' : starting.value ? 'Starting Claude…' : ''),
  working: () => chat.busy.value,
  focusField: focusComposer,
  inside: fromFirstRoot,
  wayOut: () => [],
  more: null,
};

export const ConversationContext = createContext(chatConversation);

export const useConversation = () => useContext(ConversationContext);

/** @type {(task: string) => Conversation} */
let ofTask = () => chatConversation;

/** @param {(task: string) => Conversation} fn */
export function setTaskConversations(fn) {
  ofTask = fn;
}

/** The conversation that a question belongs to. @param {Pick<Question, 'owner'>} question */
export const conversationOf = ({ owner }) => (owner ? ofTask(owner) : chatConversation);
