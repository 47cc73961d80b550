// The form that a new task is written in. Ctrl+Enter creates it.

import { html } from 'htm/preact';
import { useRef } from 'preact/hooks';
import { signal } from '@preact/signals';
import { icon } from '../../shell/icons.js';
import { toast } from '../../shell/toasts.js';
import { announced } from '../../stores/chat.js';
import { MODES } from '../../stores/chatsession.js';
import { createTasks, taskRoots, worktreeWords } from '../../stores/dispatch.js';
import { counted, firstAndRest } from '../../stores/dispatchboard.js';
import { MOST_TRIES, changeForm, formProblem, formSent, newTask } from '../../stores/dispatchform.js';
import { USUAL_MODELS } from '../chat/chips.js';
import { typing } from '../chat/fields.js';
import { focusCard } from './place.js';

/** Whether the form is open on the board. */
export const formShown = signal(false);
const creating = signal(false);
/** Why the last task could not be made. */
const trouble = signal('');

function closeForm() {
  formShown.value = false;
  trouble.value = '';
}

async function create() {
  const form = newTask();
  if (creating.value) return;
  trouble.value = formProblem(form);
  if (trouble.value) return;
  creating.value = true;
  try {
    const ids = await createTasks(form);
    formSent();
    closeForm();
    if (ids.length < form.tries) tellMissing(ids.length, form.tries);
    focusCard(ids[0] ?? '');
  } catch (error) {
    trouble.value = error instanceof Error ? error.message : String(error);
  } finally {
    creating.value = false;
  }
}

/** @param {number} made @param {number} wanted */
function tellMissing(made, wanted) {
  const { first, rest } = firstAndRest(worktreeWords.value);
  const why = first ? ` ${first}` : '';
  toast({ kind: 'warning', text: `Only ${made} of ${counted(wanted, 'try', 'tries')} could be made.${why}`, detail: rest });
}

export function TaskForm() {
  const form = newTask();
  const words = useRef(/** @type {HTMLTextAreaElement | null} */ (null));
  const root = taskRoots.value.find(({ name }) => name === form.root);
  /** @param {KeyboardEvent} event */
  const onKeyDown = (event) => {
    if (event.isComposing) return;
    if (event.key === 'Enter' && event.ctrlKey) void create();
    else if (event.key === 'Escape') closeForm();
    else return;
    event.preventDefault();
    event.stopPropagation();
  };
  return html`<form
    class="task-form"
    aria-label="New task"
    aria-busy=${String(creating.value)}
    onKeyDown=${onKeyDown}
    onSubmit=${(/** @type {Event} */ event) => {
      event.preventDefault();
      void create();
    }}
  >
    <textarea
      class="field task-words"
      ref=${words}
      rows="4"
      tabindex="0"
      aria-label="What is to be done"
      placeholder="What is to be done? Claude works on it in the background, in a folder and on a branch of its own."
      value=${form.task}
      onInput=${typing((task) => changeForm({ task }))}
    ></textarea>
    <div class="task-fields">
      <label class="task-wide"
        >Title
        <input
          class="field"
          placeholder="The first words of the task"
          value=${form.title}
          onInput=${typing((title) => changeForm({ title }))}
        />
      </label>
      <label
        >Folder
        <select class="field" value=${form.root} onChange=${typing((name) => changeForm({ root: name }))}>
          ${taskRoots.value.map(({ name }) => html`<option value=${name} selected=${name === form.root}>${name}</option>`)}
        </select>
      </label>
      <${ModeField} form=${form} />
      <${ModelField} form=${form} />
      <label
        >Tries
        <select
          class="field"
          value=${String(form.tries)}
          disabled=${!form.worktree}
          onChange=${typing((count) => changeForm({ tries: Number(count) }))}
        >
          ${Array.from({ length: MOST_TRIES }, (_, at) => html`<option selected=${form.tries === at + 1}>${at + 1}</option>`)}
        </select>
      </label>
    </div>
    <div class="task-checks">
      <${Check}
        label="In a worktree of its own"
        on=${form.worktree}
        disabled=${root?.git !== true}
        set=${(/** @type {boolean} */ worktree) => changeForm({ worktree })}
      />
      <${Check} label="Plan first" on=${form.plan} set=${(/** @type {boolean} */ plan) => changeForm({ plan })} />
      <span class="task-hint">${hint(form, root?.git === true)}</span>
    </div>
    ${trouble.value && html`<${Trouble} words=${trouble.value} />`}
    <div class="task-buttons">
      <button type="submit" class="button primary" disabled=${creating.value} title="Ctrl+Enter">
        ${creating.value ? 'Creating…' : form.tries > 1 ? `Create ${form.tries} tries` : 'Create task'}
      </button>
      <button type="button" class="button" onClick=${closeForm}>Cancel</button>
    </div>
  </form>`;
}

/**
 * @param {import('../../stores/dispatch.js').NewTask} form
 * @param {boolean} git
 */
function hint({ worktree, root, mode, plan }, git) {
  if (!git) return root ? `${root} is no git repository: the task works in the folder itself.` : '';
  if (!worktree) return 'It changes your own files, and there is nothing to land.';
  return mode === 'bypassPermissions' && !plan ? 'It does everything without asking.' : '';
}

/** @param {{label: string, on: boolean, disabled?: boolean, set: (on: boolean) => void}} props */
function Check({ label, on, disabled = false, set }) {
  return html`<label class="task-check">
    <input
      type="checkbox"
      checked=${on}
      disabled=${disabled}
      onChange=${(/** @type {Event} */ event) => set(/** @type {HTMLInputElement} */ (event.target).checked)}
    />
    ${label}
  </label>`;
}

/** @param {{form: import('../../stores/dispatch.js').NewTask}} props */
function ModeField({ form: { mode, plan } }) {
  const modes = plan ? MODES.filter(({ id }) => id === 'plan') : MODES.filter(({ id }) => id !== 'plan');
  return html`<label
    >Mode
    <select class="field" disabled=${plan} onChange=${typing((id) => changeForm({ mode: id }))}>
      ${modes.map(
        ({ id, label, words }) =>
          html`<option value=${id} title=${words} selected=${plan || id === mode}>${label}</option>`,
      )}
    </select>
  </label>`;
}

/** @param {{form: import('../../stores/dispatch.js').NewTask}} props */
function ModelField({ form: { model } }) {
  const known = announced.value.models.length ? announced.value.models : USUAL_MODELS;
  const named = known.filter(({ id }) => id !== 'default');
  const models = [{ id: '', name: 'As in the settings' }, ...named];
  if (!models.some(({ id }) => id === model)) models.push({ id: model, name: model });
  return html`<label
    >Model
    <select class="field" onChange=${typing((id) => changeForm({ model: id }))}>
      ${models.map(({ id, name }) => html`<option value=${id} selected=${id === model}>${name}</option>`)}
    </select>
  </label>`;
}

/** The bridge's words are git's first line; the rest came as an event. @param {{words: string}} props */
function Trouble({ words }) {
  const rest = worktreeWords.value.trim();
  return html`<div class="task-error" role="alert">
    <p>${icon('error')} <span>${words}</span></p>
    ${rest && !words.endsWith(rest) && html`<pre tabindex="0" aria-label="All that git said">${rest}</pre>`}
  </div>`;
}
