// Claude's notes on the project: the list with the index first, the note that is open, and what links to it.

import { html } from 'htm/preact';
import { useEffect } from 'preact/hooks';
import { rove } from '../../shell/places.js';
import { runCommand } from '../../shell/commands.js';
import { icon } from '../../shell/icons.js';
import { reportError } from '../../shell/toasts.js';
import { changedSince, directory, dirty, draft, listed, notes, openFile, query, readNotes, shownNotes } from '../../stores/memory.js';
import { backlinks, targetOf } from '../../stores/memorylinks.js';
import { MemoryGraph } from './graph.js';
import { goTo, save } from './actions.js';

export function MemoryPage() {
  useEffect(() => {
    readNotes().catch((error) => reportError('Could not list the notes', error));
  }, []);
  if (!listed.value) return html`<p class="memory-empty">Reading…</p>`;
  if (!directory.value)
    return html`<div class="memory-empty">
      <p>Claude keeps no notes on these folders yet.</p>
      <button type="button" class="button primary" onClick=${() => runCommand('project.setup')}>
        Set Up the Project
      </button>
    </div>`;
  return html`<div class="memory">
    <${List} />
    ${openFile.value ? html`<${Note} />` : html`<${MemoryGraph} />`}
  </div>`;
}

function List() {
  return html`<nav class="memory-side" aria-label="Notes">
    <input
      type="search"
      class="field"
      aria-label="Find notes"
      placeholder="Find notes"
      value=${query.value}
      onInput=${(/** @type {Event} */ event) => {
        query.value = /** @type {HTMLInputElement} */ (event.currentTarget).value;
      }}
    />
    <div class="memory-list" role="group" aria-label="Notes" onKeyDown=${rove}>
      ${shownNotes.value.map(
        (note) => html`<button
          type="button"
          class="memory-row"
          key=${note.file}
          title=${note.file}
          aria-current=${note.file === openFile.value ? 'true' : undefined}
          onClick=${() => goTo(note.file)}
        >
          ${icon(note.isIndex ? 'home' : 'note')} <span>${note.name}</span>
          ${note.description && html`<span class="memory-about">${note.description}</span>`}
        </button>`,
      )}
      ${shownNotes.value.length === 0 && html`<p class="memory-none">No note matches.</p>`}
    </div>
    <div class="memory-foot">
      <button type="button" class="button" onClick=${() => runCommand('memory.new')}>New Note</button>
      <button type="button" class="button" onClick=${() => runCommand('memory.graph')}>Graph</button>
    </div>
  </nav>`;
}

function Note() {
  const note = notes.value.find(({ file }) => file === openFile.value);
  return html`<section class="memory-note" aria-label=${openFile.value}>
    <div class="memory-head">
      <h2>${note?.name ?? openFile.value}</h2>
      <button type="button" class="button primary" disabled=${!dirty.value} onClick=${save}>
        ${dirty.value ? 'Save' : 'Saved'}
      </button>
    </div>
    ${changedSince.value.length > 0 &&
    html`<p class="memory-old">
      ${icon('history')} Older than the code it speaks of: ${changedSince.value.join(', ')}
    </p>`}
    <textarea
      class="memory-text"
      aria-label="Text of the note"
      spellcheck=${false}
      value=${draft.value}
      onInput=${(/** @type {Event} */ event) => {
        draft.value = /** @type {HTMLTextAreaElement} */ (event.currentTarget).value;
      }}
      onKeyDown=${(/** @type {KeyboardEvent} */ event) => {
        if (event.key !== 's' || !event.ctrlKey) return;
        event.preventDefault();
        event.stopPropagation();
        void save();
      }}
    />
    <div class="memory-links">
      <${Links} title="Links to" links=${(note?.links ?? []).map((link) => ({ link, to: targetOf(notes.value, link) }))} />
      <${Links}
        title="Linked from"
        links=${backlinks(notes.value, openFile.value).map((to) => ({ link: to.name, to }))}
      />
    </div>
  </section>`;
}

/** @param {{title: string, links: {link: string, to: import('../../stores/memorylinks.js').Note | null}[]}} props */
function Links({ title, links }) {
  if (!links.length) return null;
  return html`<div>
    <h3>${title}</h3>
    <ul>
      ${links.map(
        ({ link, to }) => html`<li key=${link}>
          ${to
            ? html`<button type="button" class="memory-link" onClick=${() => goTo(to.file)}>${to.name}</button>`
            : html`<span class="memory-broken">${link} (not there)</span>`}
        </li>`,
      )}
    </ul>
  </div>`;
}
