// Where a question was asked: the chat, or the page of a task.

import { showPanel } from '../../shell/layout.js';
import { questionKey } from '../../stores/chatquestions.js';
import { historyShown } from '../chat/historyview.js';
import { showSide } from '../dispatch/task.js';
import { openTask } from '../dispatch/taskactions.js';

/** @param {import('../../stores/chatquestions.js').Question} question */
export function goToPlace(question) {
  const { owner = '' } = question;
  if (owner) {
    showSide(owner, 'talk');
    openTask(owner);
  } else {
    historyShown.value = false;
    showPanel('chat');
  }
  const place = owner ? `[data-task-page="${CSS.escape(owner)}"]` : '.chat';
  const card = `${place} [data-question="${CSS.escape(questionKey(question))}"]`;
  requestAnimationFrame(() => /** @type {HTMLElement | null} */ (document.querySelector(card))?.focus());
}
