// Stashes: putting changes away, and getting them back.

import { signal } from '@preact/signals';
import { html } from 'htm/preact';
import { dirtyBelow } from '../../editor/documents.js';
import { showDialog } from '../../shell/dialogs.js';
import { pick } from '../../shell/quickpick.js';
import { toast } from '../../shell/toasts.js';
import { actGit, actLine, readGit } from '../../stores/gitexec.js';
import { idOf } from '../../stores/gitstatus.js';
import { LIST_STASHES, readStashes, stashLine, stashWords } from '../../stores/historystash.js';
import { ago, moment } from '../../stores/historytime.js';
import { roots } from '../../stores/settings.js';
import { tried } from '../scm/work.js';
import { sure } from './commitactions.js';
import { told } from './outcome.js';

/**
 * @typedef {import('../../stores/gitstatus.js').Repo} Repo
 * @typedef {import('../../stores/historystash.js').Stash} Stash
 */

/** @param {Repo} repo */
export async function stashChanges(repo) {
  if (repo.files.length === 0) return void toast({ kind: 'info', text: `There is nothing to stash in ${repo.name}` });
  const how = await askHow(repo);
  if (!how) return;
  await told({
    repo,
    tried: `stash the changes of ${repo.name}`,
    done: 'Stashed',
    work: () => actGit(repo, stashWords(how), 'Stash'),
  });
}

/**
 * @param {Repo} repo
 * @returns {Promise<{message: string, untracked: boolean, keepStaged: boolean} | null>}
 */
async function askHow(repo) {
  const onlyNew = repo.files.every(({ untracked }) => untracked);
  const how = signal({ message: '', untracked: onlyNew, keepStaged: false });
  const unsaved = repo.files.flatMap(({ path }) => dirtyBelow(idOf(roots.value, repo, path)));
  const answer = await showDialog(`Stash the changes of ${repo.name}`, ({ close }) =>
    html`<${StashForm} repo=${repo} how=${how} unsaved=${unsaved.length} close=${close} />`,
  );
  return answer === 'stash' ? { ...how.value, message: how.value.message.trim() } : null;
}

/**
 * @param {object} props
 * @param {Repo} props.repo
 * @param {import('@preact/signals').Signal<{message: string, untracked: boolean, keepStaged: boolean}>} props.how
 * @param {number} props.unsaved
 * @param {(answer: string | null) => void} props.close
 */
function StashForm({ repo, how, unsaved, close }) {
  const count = repo.files.filter(({ untracked }) => untracked).length;
  const staged = repo.files.some((file) => file.staged);
  /** @param {Event} event */
  const submit = (event) => {
    event.preventDefault();
    close('stash');
  };
  const box = (/** @type {'untracked' | 'keepStaged'} */ key, /** @type {string} */ words) => html`<label class="graph-check">
    <input
      type="checkbox"
      checked=${how.value[key]}
      onChange=${(/** @type {any} */ event) => (how.value = { ...how.value, [key]: event.target.checked })}
    />
    ${words}
  </label>`;
  return html`<form class="graph-stash" onSubmit=${submit}>
    <label class="dialog-text" for="stash-message">Message, to know it by later</label>
    <input
      id="stash-message"
      class="field"
      data-autofocus
      autocomplete="off"
      value=${how.value.message}
      onInput=${(/** @type {any} */ event) => (how.value = { ...how.value, message: event.target.value })}
    />
    ${count > 0 && box('untracked', count === 1 ? 'The untracked file, too' : `The ${count} untracked files, too`)}
    ${staged && box('keepStaged', 'Keep what is staged')}
    ${unsaved > 0 && html`<p class="dialog-text">Changes that are not saved stay in the editor: ${unsaved} open.</p>`}
    <div class="dialog-buttons">
      <button type="submit" class="button primary">Stash</button>
      <button type="button" class="button" onClick=${() => close(null)}>Cancel</button>
    </div>
  </form>`;
}

/** @param {Repo} repo @param {Stash} stash */
export function applyStash(repo, { hash, words }) {
  return told({
    repo,
    tried: `apply the stash "${words}"`,
    done: 'Applied the stash, which stays in the list',
    work: () => actGit(repo, ['stash', 'apply', hash], 'Apply a stash'),
  });
}

/** @param {Repo} repo @param {Stash} stash */
export function popStash(repo, stash) {
  return told({
    repo,
    tried: `pop the stash "${stash.words}"`,
    done: 'Applied the stash and took it off the list',
    work: () => actLine(repo, stashLine(repo, 'pop', stash), 'Pop a stash'),
  });
}

/** @param {Repo} repo @param {Stash} stash */
export async function dropStash(repo, stash) {
  const text = 'The changes in it are lost.';
  if (!(await sure('Drop the stash?', text, 'Drop Stash', `${stash.words}\n${moment(stash.time)}`, 'danger'))) return;
  await told({
    repo,
    tried: `drop the stash "${stash.words}"`,
    done: 'Dropped the stash',
    work: () => actLine(repo, stashLine(repo, 'drop', stash), 'Drop a stash'),
  });
}

/**
 * Chooses a stash, then what is to become of it.
 * @param {Repo} repo
 * @param {(stash: Stash) => unknown} show
 */
export async function chooseStash(repo, show) {
  await tried(`list the stashes of ${repo.name}`, async () => {
    const stashes = readStashes(await readGit(repo, LIST_STASHES, 'List the stashes'));
    const chosen = await pick({
      title: `Stashes of ${repo.name}`,
      placeholder: 'Which stash?',
      items: stashes.map(({ hash, words, time }) => ({ id: hash, label: words, description: ago(time), icon: 'archive' })),
      empty: 'There is no stash yet. "Git: Stash Changes…" makes one.',
    });
    const stash = stashes.find(({ hash }) => hash === chosen?.id);
    if (!stash) return;
    const actions = stashActions(repo, stash, show);
    const action = await pick({
      title: stash.words,
      placeholder: 'What is to be done with it?',
      items: actions.map(({ label }) => ({ id: label, label })),
    });
    await actions.find(({ label }) => label === action?.id)?.run();
  });
}

/**
 * @param {Repo} repo
 * @param {Stash} stash
 * @param {(stash: Stash) => unknown} show
 * @returns {{label: string, run: () => unknown}[]}
 */
export const stashActions = (repo, stash, show) => [
  { label: 'Show What Is in It', run: () => show(stash) },
  { label: 'Apply', run: () => applyStash(repo, stash) },
  { label: 'Pop', run: () => popStash(repo, stash) },
  { label: 'Drop…', run: () => dropStash(repo, stash) },
];
