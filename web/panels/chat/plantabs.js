// The tabs in which plans are shown as documents: which question each belongs to, and their end with it.

import { effect } from '@preact/signals';
import { closeGone, focusGroup } from '../../editor/tabactions.js';
import { tabs } from '../../editor/state.js';
import { toast } from '../../shell/toasts.js';
import { questionKey } from '../../stores/chatquestions.js';
import { startDrafts } from '../../stores/chatplandrafts.js';
import { draft, setDraft } from '../../stores/chatsession.js';
import { setTaskDraft, taskDraft } from '../../stores/dispatchtalks.js';
import { mayBeOpen, openQuestions } from '../../stores/openquestions.js';
import { allTabs, planOfTab, planTabId } from '../../stores/tabs.js';

/**
 * The plan that a tab shows, while it waits for an answer.
 * @param {string} tabId
 */
export const planOf = (tabId) =>
  openQuestions.value.find((one) => one.kind === 'plan' && planTabId(questionKey(one)) === tabId);

/** Closes the tabs of plans that were answered or withdrawn. */
export function startPlans() {
  startDrafts(rescue);
  effect(() => {
    const gone = allTabs(tabs.value).some(({ kind, id }) => kind === 'plan' && isGone(id));
    if (gone) queueMicrotask(closeGonePlans); // a tab's end must not be part of what brought it about
  });
}

/** @param {string} tabId */
const isGone = (tabId) => !planOf(tabId) && !mayBeOpen(planOfTab(tabId));

function closeGonePlans() {
  const hadFocus = document.activeElement?.closest('.plan-view');
  const plans = new Set(
    allTabs(tabs.value)
      .filter(({ kind }) => kind === 'plan')
      .map(({ id }) => id),
  );
  closeGone((id) => plans.has(id) && isGone(id));
  if (hadFocus) focusGroup(tabs.value.active);
}

/**
 * The plan was withdrawn while the user wrote on it: the words can still be said.
 * @param {string} words
 * @param {string} owner
 */
function rescue(words, owner) {
  if (owner) {
    const before = taskDraft(owner);
    setTaskDraft(owner, before.trim() ? `${before}\n\n${words}` : words);
  } else setDraft(draft.value.trim() ? `${draft.value}\n\n${words}` : words);
  toast({ kind: 'info', text: 'Claude withdrew its plan. Your comments are in the message field.' });
}
