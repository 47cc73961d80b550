// One box over all that can be searched. Each kind of answer is a source (stores/searchsources.js).

import { computed } from '@preact/signals';
import { frontTab, isUntitled } from '../../editor/state.js';
import { pick } from '../../shell/quickpick.js';
import { toast } from '../../shell/toasts.js';
import { FindAnswers } from '../../stores/findanswers.js';
import { onIndexChange } from '../../stores/indexstats.js';
import { baseName, parentOf, rootOf } from '../../stores/paths.js';
import { findFiles } from '../../stores/quickopen.js';
import { findText, kHitLimit } from '../../stores/search.js';
import { Everywhere, registerSource } from '../../stores/searchsources.js';
import { roots } from '../../stores/settings.js';
import { openAt, openHit } from './open.js';
import { fileRow, noteOf } from './quickopen.js';

/** @typedef {import('../../stores/searchsources.js').Source} Source */

/** Of each kind; more would push the next kind out of sight. */
const kNames = 12;
const kTexts = 60;

/** @type {Source} */
const kNameSource = {
  id: 'names',
  title: 'Files',
  order: 10,
  least: 1,
  delayMs: 0,
  async find(query, stop) {
    const { files, cut } = await findFiles(query, stop);
    const items = files.slice(0, kNames).map((file) => {
      const { item, at, descriptionAt } = fileRow(file);
      return {
        ...item,
        at,
        descriptionAt,
        open: (/** @type {boolean} */ beside) => openAt(file.path, {}, { beside }),
      };
    });
    return {
      items,
      note:
        files.length > kNames
          ? `Files: the best ${kNames} of ${files.length}${cut ? ' or more' : ''}.`
          : noteOf(cut),
    };
  },
};

/** @type {Source} */
const kTextSource = {
  id: 'text',
  title: 'Text in files',
  order: 30,
  least: 2,
  delayMs: 200,
  async find(query, stop) {
    const { hits, cut } = await findText(query, stop);
    const items = hits.slice(0, kTexts).map((hit) => ({
      id: `${hit.path} ${hit.line} ${hit.column}`,
      label: hit.text,
      description: `${shownPath(hit.path)}:${hit.line}`,
      icon: 'list-selection',
      at: Array.from({ length: hit.to - hit.from }, (_, i) => hit.from + i),
      open: (/** @type {boolean} */ beside) => openHit(hit, { beside }),
    }));
    const all = cut ? `${kHitLimit} or more` : String(hits.length);
    return { items, note: hits.length > kTexts ? `Text: the first ${kTexts} of ${all} hits.` : '' };
  },
};

/** @param {string} path */
function shownPath(path) {
  const hidden = roots.value.length > 1 || !path.includes('/') ? 0 : rootOf(path).length + 1;
  const folder = parentOf(path).slice(hidden);
  return folder ? `${folder}/${baseName(path)}` : baseName(path);
}

/** Whether the box is open, with which question. */
let shownQuery = '';

const answers = new FindAnswers({
  lookingAt: () => (isUntitled(frontTab.value?.id ?? '') ? '' : (frontTab.value?.id ?? '')),
  shown: shownPath,
  open: ({ path, line }, beside) => openAt(path, { line }, { beside }),
  asked: (question) => searchEverywhere(question),
  answered: (question, words) => {
    if (shownQuery === question) return;
    const show = { label: 'Show', run: () => searchEverywhere(question) };
    toast({ kind: 'info', text: `Claude found ${words}: ${question}`, actions: [show] });
  },
});

export function registerSources() {
  registerSource(kNameSource);
  registerSource(kTextSource);
  for (const source of answers.sources()) registerSource(source);
}

/** @param {string} [query] what stands in the box at first */
export async function searchEverywhere(query = '') {
  const box = new Everywhere();
  const rows = computed(() =>
    box.answers.value.flatMap(({ source, items }) =>
      items.map(({ id, label, description, icon, at = [], descriptionAt }) => ({
        item: { id: `${source.id} ${id}`, label, description, icon, group: source.title },
        at,
        descriptionAt,
      })),
    ),
  );
  const note = computed(() => {
    const { value } = box.answers;
    const notes = value.map((one) => one.note).filter(Boolean);
    return [...notes, ...(value.some(({ pending }) => pending) ? ['Searching…'] : [])].join(' ');
  });
  const stop = onIndexChange((scanned) => {
    void box.again(kNameSource.id);
    // A search through all texts is worth more than a single file's change.
    if (scanned) void box.again(kTextSource.id);
  });
  const chosen = await pick({
    title: 'Search everywhere',
    placeholder: 'Search names of files, symbols and the text in files, or ask Claude in plain words',
    empty: 'Nothing was found',
    items: [],
    // Names come at once, and Enter does not wait for the slower kinds.
    live: {
      rows,
      note,
      ask: async (typed) => {
        shownQuery = typed.trim();
        return box.ask(typed)[0];
      },
    },
    query,
  });
  shownQuery = '';
  stop();
  box.stop();
  const found = box.answers.value.flatMap(({ source, items }) =>
    items.map((item) => ({ id: `${source.id} ${item.id}`, item })),
  );
  await found.find(({ id }) => id === chosen?.id)?.item.open(chosen?.beside === true);
}
