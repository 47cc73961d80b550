// Shows an edit before it is made: the files that come, move or go, and the lines that change, each with a mark that
// leaves it out.

import { signal } from '@preact/signals';
import { html } from 'htm/preact';
import { showDialog } from '../shell/dialogs.js';

/** More lines than this only hold up the page; the rest is made or left out with its file. */
const kLinesShown = 1000;
/** And of a change of many lines, or of a long one, the beginning. */
const kCharsShown = 400;

/**
 * @typedef {import('../stores/lspedit.js').LineChange} LineChange
 * @typedef {{id: string, changes: LineChange[]}} ChangedFile
 */

/**
 * @param {object} edit
 * @param {string} edit.label what the server calls it
 * @param {string[]} edit.deeds what happens to files themselves, in words
 * @param {ChangedFile[]} edit.files
 * @returns {Promise<LineChange[][] | null>} what to make of each file; null for nothing at all
 */
export async function showEdit({ label, deeds, files }) {
  /** @type {import('@preact/signals').Signal<ReadonlySet<LineChange>>} */
  const without = signal(new Set());
  /** @param {readonly LineChange[]} changes @param {boolean} wanted */
  const mark = (changes, wanted) => {
    const next = new Set(without.value);
    for (const change of changes) if (wanted) next.delete(change);
    else next.add(change);
    without.value = next;
  };
  const title = label || (deeds.length ? 'A language server wants to change files' : 'Changes in several files');
  const answer = await showDialog(title, ({ close }) => html`<${Body} ...${{ deeds, files, without, mark, close }} />`);
  if (answer !== 'apply') return null;
  return files.map(({ changes }) => changes.filter((one) => !without.value.has(one)));
}

/**
 * @typedef {object} Marks
 * @property {import('@preact/signals').Signal<ReadonlySet<LineChange>>} without
 * @property {(changes: readonly LineChange[], wanted: boolean) => void} mark
 *
 * @param {Marks & {deeds: string[], files: ChangedFile[], close: (answer: string | null) => void}} props
 */
function Body({ deeds, files, without, mark, close }) {
  let room = kLinesShown;
  const shown = files.map((file) => {
    const changes = file.changes.slice(0, room);
    room -= changes.length;
    return { file, changes };
  });
  const nothing = !deeds.length && files.every(({ changes }) => changes.every((one) => without.value.has(one)));
  return html`
    <p class="dialog-text">
      ${deeds.length > 0 && 'What happens to files themselves is done at once and cannot be undone in a text. '}
      ${files.length > 0 && 'Texts are changed but not saved; what has no mark stays as it is.'}
    </p>
    <div class="edit-preview" tabindex="0" role="group" aria-label="Changes">
      ${deeds.length > 0 && html`<ul class="edit-deeds">${deeds.map((words) => html`<li>${words}</li>`)}</ul>`}
      ${shown.map(({ file, changes }) => html`<${File} ...${{ file, changes, without, mark }} />`)}
    </div>
    <div class="dialog-buttons">
      <button type="button" class="button" onClick=${() => close(null)}>Cancel</button>
      <button type="button" class="button primary" data-autofocus disabled=${nothing} onClick=${() => close('apply')}>
        Apply
      </button>
    </div>
  `;
}

/** @param {Marks & {file: ChangedFile, changes: LineChange[]}} props */
function File({ file, changes, without, mark }) {
  const wanted = file.changes.filter((one) => !without.value.has(one)).length;
  const more = file.changes.length - changes.length;
  return html`<fieldset class="edit-file">
    <legend>
      <label>
        <input
          type="checkbox"
          checked=${wanted > 0}
          indeterminate=${wanted > 0 && wanted < file.changes.length}
          onChange=${(/** @type {Event} */ event) => mark(file.changes, isChecked(event))}
        />
        ${file.id}
      </label>
    </legend>
    ${changes.map(
      (change) => html`<label class="edit-line">
        <input
          type="checkbox"
          checked=${!without.value.has(change)}
          onChange=${(/** @type {Event} */ event) => mark([change], isChecked(event))}
        />
        <span class="edit-number">${change.line + 1}</span>
        <span class="edit-texts">
          <del>${beginning(change.before)}</del>
          <ins>${beginning(change.after)}</ins>
        </span>
      </label>`,
    )}
    ${more > 0 && html`<p class="edit-more">${more} more changes</p>`}
  </fieldset>`;
}

/** @param {Event} event */
const isChecked = ({ target }) => /** @type {HTMLInputElement} */ (target).checked;

/** @param {string} text */
const beginning = (text) => (text.length > kCharsShown ? `${text.slice(0, kCharsShown)}…` : text);
