// The history of a repository as a tab: a bar, the tree of refs, the commits, and the commit in front.

import { html } from 'htm/preact';
import { useEffect, useRef } from 'preact/hooks';
import { gitState } from '../../stores/git.js';
import { graphOf } from '../../stores/graph.js';
import { Detail, focusFiles } from './detail.js';
import { CommitList } from './list.js';
import { RefsTree } from './refstree.js';
import { refsShown } from './state.js';
import { Toolbar } from './toolbar.js';

/** @param {{arg: string, group: string}} props `arg` is the repository's name */
export function GraphPage({ arg, group }) {
  const page = useRef(/** @type {HTMLElement | null} */ (null));
  const store = graphOf(arg);
  useEffect(() => store.watch(), [store]);
  const { repo } = store;
  const graph = store.graph.value;
  if (!repo) return html`<p class="pane-note" tabindex="0" role="status">${noRepo(arg)}</p>`;
  if (!graph && store.failure.value)
    return html`<div class="pane-note" role="alert" tabindex="0">
      <p>Could not read the history of ${arg}: ${store.failure.value}</p>
      <button type="button" class="button" onClick=${() => store.refresh.now()}>Try Again</button>
    </div>`;
  if (!graph) return html`<p class="pane-note" role="status">Reading the history of ${arg}…</p>`;
  if (!graph.commits.length)
    return html`<p class="pane-note" tabindex="0">
      ${arg} has no commit yet. Write a message in source control and commit.
    </p>`;
  return html`<div
    class=${`graph ${refsShown.value ? 'with-refs' : ''}`}
    ref=${page}
    onKeyDown=${(/** @type {KeyboardEvent} */ event) => findByKey(event, page.current)}
  >
    <${Toolbar} store=${store} />
    ${
      store.failure.value &&
      html`<p class="graph-note" role="alert">Could not read the history again: ${store.failure.value}</p>`
    }
    <div class="graph-middle">
      <div class="graph-main">
        <${CommitList} key=${arg} store=${store} group=${group} onOpen=${() => focusFiles(page.current)} />
        ${store.commits.value.length === 0 && html`<p class="graph-note" role="status">${nothing(store)}</p>`}
        <${Detail} store=${store} />
      </div>
      ${refsShown.value && html`<${RefsTree} store=${store} />`}
    </div>
  </div>`;
}

/** @param {string} name */
function noRepo(name) {
  if (gitState.value === 'missing') return 'Git was not found. Install it, then start Marlin Bench again.';
  return gitState.value === 'unknown' ? 'Asking git…' : `${name} is not among the repositories any more.`;
}

/** @param {import('../../stores/graph.js').GraphStore} store */
function nothing(store) {
  const count = store.graph.value?.commits.length.toLocaleString('en');
  const among = store.cut.value ? `the latest ${count} commits` : 'the history';
  return `Nothing in ${among} fits. Take a filter away to see more.`;
}

/**
 * @param {KeyboardEvent} event
 * @param {HTMLElement | null} page
 */
function findByKey(event, page) {
  if (event.key !== 'f' || !event.ctrlKey || event.altKey || event.shiftKey) return;
  const field = page?.querySelector('.graph-find');
  if (!(field instanceof HTMLInputElement)) return;
  field.focus();
  field.select();
  event.preventDefault();
  event.stopPropagation();
}
