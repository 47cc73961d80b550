// The tabs and groups as they were left, and where the cursor stood in each.

import { effect } from '@preact/signals';
import { restoreTabs } from '../stores/tabs.js';
import * as uistate from '../stores/uistate.js';
import { closeGone } from './tabactions.js';
import { bufferOf, tabs, textViews, viewKey, viewStates, wordWrap } from './state.js';

const kTabsKey = 'editor.tabs';
const kViewsKey = 'editor.views';
const kWrapKey = 'editor.wrap';

export function restoreSession() {
  wordWrap.value = uistate.get(kWrapKey, /** @type {unknown} */ (false)) === true;
  tabs.value = restoreTabs(uistate.get(kTabsKey, null));
  for (const [key, state] of Object.entries(uistate.get(kViewsKey, {}))) viewStates.set(key, state);
}

/** Untitled pages whose text did not come back have nothing to show. */
export function dropEmptyUntitled() {
  closeGone((id) => id.startsWith('untitled:') && !bufferOf(id));
}

export function keepSession() {
  effect(() => {
    const { groups, layout, active } = tabs.value;
    uistate.set(kTabsKey, { groups: groups.map(keptGroup), layout, active });
    keepViews();
  });
  effect(() => {
    uistate.set(kWrapKey, wordWrap.value);
  });
}

/** @param {import('../stores/tabs.js').Group} group */
function keptGroup({ id, tabs: list, active }) {
  const kept = list.filter((tab) => tab.kind !== 'compare');
  return { id, active, tabs: kept.map(({ kind, id: path, preview }) => ({ kind, id: path, preview })) };
}

/** Keeps the views of tabs that are open; called when tabs change and when a view loses the focus. */
export function keepViews() {
  /** @type {Record<string, unknown>} */
  const kept = {};
  for (const group of tabs.value.groups) {
    for (const tab of group.tabs) {
      const key = viewKey(group.id, tab.id);
      const buffer = bufferOf(tab.id);
      const view = textViews.get(group.id);
      const live = buffer && view?.shows(buffer.doc) ? view.viewState() : null;
      const state = live ?? viewStates.get(key);
      if (state) kept[key] = state;
    }
  }
  uistate.set(kViewsKey, kept);
}
