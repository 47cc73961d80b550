// The bar above the history: what is looked for, and what narrows it.

import { html } from 'htm/preact';
import { prompt } from '../../shell/dialogs.js';
import { icon } from '../../shell/icons.js';
import { IconButton } from '../../shell/places.js';
import { pick } from '../../shell/quickpick.js';
import { tried } from '../scm/work.js';
import { readGit } from '../../stores/gitexec.js';
import { authors } from '../../stores/graphmodel.js';
import { refsShown, toggleRefs } from './state.js';

/** @typedef {import('../../stores/graph.js').GraphStore} GraphStore */

/** Keys rest this long before the list is narrowed. */
const kRestMs = 120;

/** @type {ReturnType<typeof setTimeout> | undefined} */
let timer;

/** @param {{store: GraphStore}} props */
export function Toolbar({ store }) {
  const { text, author, email } = store.filter.value;
  /** @type {[icon: string, label: string, on: boolean, run: (store: GraphStore) => unknown][]} */
  const filters = [
    ['filter', 'Filter by Author…', author !== '', chooseAuthor],
    ['account', 'Only Mine', email !== '', onlyMine],
    ['file', 'Filter by Path…', store.path.value !== '', choosePath],
  ];
  return html`<div class="graph-bar" role="toolbar" aria-label="History">
    <${IconButton} icon="list-tree" label="Branches and Tags" pressed=${refsShown.value} onClick=${toggleRefs} />
    <input
      class="field graph-find"
      type="search"
      placeholder="Find by subject, author or hash"
      aria-label="Find commits by subject, author or hash"
      value=${text}
      onInput=${(/** @type {any} */ event) => {
        const typed = event.target.value;
        clearTimeout(timer);
        timer = setTimeout(() => store.sift({ text: typed }), kRestMs);
      }}
    />
    <${Chips} store=${store} />
    <span class="graph-total" role="status">${totalWords(store)}</span>
    ${filters.map(
      ([name, label, on, run]) => html`<${IconButton} icon=${name} label=${label} pressed=${on} onClick=${() => run(store)} />`,
    )}
    <${IconButton} icon="archive" command="graph.stash" label="Stash Changes…" />
    <${IconButton} icon="history" command="graph.undo" label="Undo by Reflog…" />
    <${IconButton} icon="refresh" label="Read Again" onClick=${() => store.refresh.now()} />
  </div>`;
}

/** @param {GraphStore} store */
function totalWords(store) {
  const { commits = [] } = store.graph.value ?? {};
  const all = `${commits.length.toLocaleString('en')}${store.cut.value ? '+' : ''}`;
  const shown = store.commits.value.length;
  if (shown === commits.length) return commits.length === 1 ? '1 commit' : `${all} commits`;
  return `${shown.toLocaleString('en')} of ${all} commits`;
}

/** What narrows the list, each with a way to take it away. @param {{store: GraphStore}} props */
function Chips({ store }) {
  const { author, email, ref } = store.filter.value;
  const named = ref && (store.graph.value?.refs.find(({ hash }) => hash === ref)?.name ?? ref.slice(0, 7));
  const chips = [
    named && { words: named, what: 'branch', clear: () => store.sift({ ref: '' }) },
    author && { words: author, what: 'author', clear: () => store.sift({ author: '' }) },
    email && { words: 'mine', what: 'author', clear: () => store.sift({ email: '' }) },
    store.path.value && { words: store.path.value, what: 'path', clear: () => store.siftByPath('') },
  ];
  return chips.filter((chip) => !!chip).map(
    ({ words, what, clear }) => html`<button
      type="button"
      class="graph-chip"
      aria-label=${`Stop filtering by ${what} ${words}`}
      title=${`Stop filtering by ${what} ${words}`}
      onClick=${clear}
    >${words} ${icon('close')}</button>`,
  );
}

/** @param {GraphStore} store */
export async function chooseAuthor(store) {
  const chosen = await pick({
    title: 'Authors',
    placeholder: 'Whose commits?',
    items: authors(store.graph.value?.commits ?? []).map(({ author, count }) => ({
      id: author,
      label: author,
      description: count === 1 ? '1 commit' : `${count} commits`,
    })),
    active: store.filter.value.author,
    empty: 'Nobody of that name has a commit in the list',
  });
  if (chosen) store.sift({ author: chosen.id });
}

/** @param {GraphStore} store */
export async function onlyMine(store) {
  if (store.filter.value.email) return store.sift({ email: '' });
  const { repo } = store;
  if (!repo) return undefined;
  return tried('find out who you are', async () => {
    const email = (await readGit(repo, ['config', 'user.email'], 'Read your name').catch(() => '')).trim();
    if (!email) throw new Error('git has no user.email for this repository');
    store.sift({ email });
  });
}

/** @param {GraphStore} store */
export async function choosePath(store) {
  const path = await prompt({
    title: 'Filter by Path',
    label: `A file or folder of ${store.name}, from the top of the repository`,
    value: store.path.value,
    button: 'Filter',
  });
  if (path !== null) await store.siftByPath(path.trim().replace(/^\.?\/+/, ''));
}
