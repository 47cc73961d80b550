// The tabs in which plans are shown as documents: which question each belongs to, and their end with it.

import { effect } from '@preact/signals';
import { closeGone, focusGroup } from '../../editor/tabactions.js';
import { tabs } from '../../editor/state.js';
import { toast } from '../../shell/toasts.js';
import { questions } from '../../stores/chat.js';
import { startDrafts } from '../../stores/chatplandrafts.js';
import { draft, setDraft } from '../../stores/chatsession.js';
import { allTabs, planTabId } from '../../stores/tabs.js';

/**
 * The plan that a tab shows, while it waits for an answer.
 * @param {string} tabId
 */
export const planOf = (tabId) =>
  questions.value.find(({ id, kind }) => kind === 'plan' && planTabId(id) === tabId);

/** Closes the tabs of plans that were answered or withdrawn. */
export function startPlans() {
  startDrafts(rescue);
  effect(() => {
    const gone = allTabs(tabs.value).some(({ kind, id }) => kind === 'plan' && !planOf(id));
    if (gone) queueMicrotask(closeGonePlans); // a tab's end must not be part of what brought it about
  });
}

function closeGonePlans() {
  const hadFocus = document.activeElement?.closest('.plan-view');
  const plans = new Set(
    allTabs(tabs.value)
      .filter(({ kind }) => kind === 'plan')
      .map(({ id }) => id),
  );
  closeGone((id) => plans.has(id) && !planOf(id));
  if (hadFocus) focusGroup(tabs.value.active);
}

/**
 * The plan was withdrawn while the user wrote on it: the words can still be said.
 * @param {string} words
 */
function rescue(words) {
  setDraft(draft.value.trim() ? `${draft.value}\n\n${words}` : words);
  toast({ kind: 'info', text: 'Claude withdrew its plan. Your comments are in the message field.' });
}
