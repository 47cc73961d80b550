// A background task as a conversation: what the chat's parts act upon when they show a task.

import { computed } from '@preact/signals';
import { answerTask, answeringTask, isAsking, taskById, underWay } from '../../stores/dispatch.js';
import { talkOf } from '../../stores/dispatchtalks.js';
import { workspacePath } from '../../stores/paths.js';
import { roots } from '../../stores/settings.js';
import { plainPath } from '../../stores/terminallinks.js';
import { openWorktree, worktreeRoot } from './folders.js';
import { questionMore } from './slots.js';

/** @typedef {import('../chat/conversation.js').Conversation} Conversation */

/** @type {Map<string, Conversation>} */
const known = new Map();

/** @param {string} id of a task */
export function conversationOfTask(id) {
  const there = known.get(id);
  // After a restart another task may have the id.
  if (there?.talk === talkOf(id)) return there;
  const made = conversation(id);
  known.set(id, made);
  return made;
}

/** @param {string} id @returns {Conversation} */
function conversation(id) {
  const more = computed(() => questionMore.value);
  return {
    talk: talkOf(id),
    answering: answeringTask,
    answer: answerTask,
    rules: false,
    doing: () => {
      const words = underWay.value.get(id);
      if (words) return `${words}…`;
      return taskById(id)?.status === 'queued' ? 'Waiting for another task to end…' : '';
    },
    working: () => taskById(id)?.status === 'running' && !isAsking(id),
    focusField: () => focusFollowUp(id),
    inside: (path) => pathInWorkspace(taskById(id)?.directory ?? '', path),
    wayOut: () => (canOpen(id) ? [{ label: 'Open the Worktree as a Folder', run: () => openWorktree(id) }] : []),
    get more() {
      return more.value;
    },
  };
}

/** @param {string} id */
function canOpen(id) {
  const task = taskById(id);
  return task !== undefined && task.worktree && !worktreeRoot(task.directory);
}

/**
 * The workspace path of what a task names: in full, or from the folder it runs in.
 * @param {string} directory
 * @param {string} path
 */
export function pathInWorkspace(directory, path) {
  if (!path || !directory) return '';
  return workspacePath(roots.value, plainPath(path.startsWith('/') ? path : `${directory}/${path}`));
}

/** @param {string} id */
export function focusFollowUp(id) {
  requestAnimationFrame(() => {
    const field = document.querySelector(`[data-task-page="${CSS.escape(id)}"] .task-field`);
    if (field instanceof HTMLElement) field.focus();
  });
}
