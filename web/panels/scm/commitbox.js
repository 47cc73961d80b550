// The box above the changes: the message of the next commit of the repository in front, and the commit.

import { signal } from '@preact/signals';
import { html } from 'htm/preact';
import { runCommand } from '../../shell/commands.js';
import { ask } from '../../shell/dialogs.js';
import { IconButton } from '../../shell/places.js';
import { toast } from '../../shell/toasts.js';
import { bringBack, cancel, deskUsed, earlierMessage, failureOf, isAboutAll, isWorking, writeMessage } from '../../stores/commitdesk.js';
import { repos } from '../../stores/git.js';
import { busy, commit, lastMessage } from '../../stores/gitactions.js';
import { messages, setMessage } from '../../stores/gitmessages.js';
import { groupsOf } from '../../stores/gitstatus.js';
import { repoInFront } from './state.js';
import { tried } from './work.js';

/** @typedef {import('../../stores/git.js').Repo} Repo */

/** The repositories whose last commit is to be replaced, by folder. @type {import('@preact/signals').Signal<ReadonlySet<string>>} */
const amending = signal(new Set());
/** Messages that were taken from the commit that is to be replaced. @type {Map<string, string>} */
const taken = new Map();

export function CommitBox() {
  const repo = repoInFront.value;
  if (!repo) return null;
  const { name, root, branch, detached } = repo;
  const several = repos.value.length > 1;
  const amend = isAmending(repo);
  const words = busy.value.get(name);
  /** @param {KeyboardEvent} event */
  const onKeyDown = (event) => {
    if (event.key !== 'Enter' || !event.ctrlKey || event.isComposing) return;
    event.preventDefault();
    event.stopPropagation();
    void commitRepo(repo);
  };
  return html`<form class="scm-commit" aria-label=${`Commit in ${name}`} onSubmit=${(/** @type {Event} */ event) => {
    event.preventDefault();
    void commitRepo(repo);
  }}>
    <textarea
      class="field scm-message"
      rows="3"
      key=${root}
      aria-label=${`Message of the commit in ${name}`}
      placeholder=${`Message for ${several ? `${name}, ` : ''}${detached ? 'no branch' : branch} (Ctrl+Enter)`}
      value=${messages.value.get(root) ?? ''}
      onInput=${(/** @type {Event} */ event) => setMessage(root, /** @type {HTMLTextAreaElement} */ (event.target).value)}
      onKeyDown=${onKeyDown}
    ></textarea>
    <div class="scm-commit-bar">
      <label class="scm-amend">
        <input
          type="checkbox"
          checked=${amend}
          onChange=${(/** @type {Event} */ event) => setAmend(repo, /** @type {HTMLInputElement} */ (event.target).checked)}
        />
        Amend
      </label>
      <span class="scm-busy" role="status">${words ? `${words}…` : ''}</span>
      <${MessageButtons} repo=${repo} />
      <${IconButton} icon="checklist" label="Open Commit Desk" onClick=${() => runCommand('scm.desk', repo)} />
      <button type="submit" class="button primary">${amend ? 'Amend Commit' : 'Commit'}</button>
    </div>
  </form>`;
}

/** Claude's message for the box, and the way back. @param {{repo: Repo}} props */
export function MessageButtons({ repo }) {
  if (isWorking(repo, 'message')) {
    return html`<${IconButton} icon="debug-stop" label="Stop Writing the Message" onClick=${() => cancel(repo, 'message')} />`;
  }
  const back = () => bringBack(repo);
  return html`
    ${earlierMessage(repo) && html`<${IconButton} icon="discard" label="Bring Back the Earlier Message" onClick=${back} />`}
    <${IconButton} icon="sparkle" label="Write the Message with Claude" onClick=${() => runCommand('scm.writeMessage', repo)} />
  `;
}

/** @param {Repo} repo */
export async function proposeMessage(repo) {
  await writeMessage(repo, { everything: isAboutAll(repo), intoBox: true });
  const failure = failureOf(repo, 'message');
  if (failure) toast({ kind: 'error', text: `Could not write a message for ${repo.name}: ${failure}` });
}

export function focusMessage() {
  const field = document.querySelector('.scm-message');
  if (field instanceof HTMLElement) field.focus();
}

/** @param {Repo} repo */
export const isAmending = ({ root }) => amending.value.has(root);

/**
 * Who replaces a commit mostly keeps its message.
 * @param {Repo} repo
 * @param {boolean} amend
 */
export async function setAmend(repo, amend) {
  const { root, name } = repo;
  const next = new Set(amending.value);
  if (amend) next.add(root);
  else next.delete(root);
  amending.value = next;
  if (!amend) {
    if (messages.value.get(root) === taken.get(root)) setMessage(root, '');
    taken.delete(root);
  } else if (!messages.value.get(root)) {
    await tried(`read the last message of ${name}`, async () => {
      const text = await lastMessage(repo);
      if (messages.value.get(root) || !amending.value.has(root)) return;
      taken.set(root, text);
      setMessage(root, text);
    });
  }
}

/**
 * @param {Repo} repo
 * @param {{everything?: boolean}} [options] `everything` stages all first, without a question
 * @returns {Promise<boolean>} whether the commit was made
 */
export async function commitRepo(repo, { everything = false } = {}) {
  const { name, root } = repo;
  if (busy.value.get(name) === 'Commit') return false;
  const message = messages.value.get(root) ?? '';
  const amend = isAmending(repo);
  if (!message.trim() && !amend) {
    focusMessage();
    toast({ kind: 'info', text: 'Write a message, then commit.' });
    return false;
  }
  const stageAll = everything || (!amend && hasOnlyUnstaged(repo));
  if (stageAll && !everything && !(await mayStageAll(repo))) return false;
  const done = await tried(`commit in ${name}`, () => commit(repo, { message, amend, stageAll }));
  if (!done) return false;
  // What was typed meanwhile is for the next one.
  if (messages.value.get(root) === message) setMessage(root, '');
  taken.delete(root);
  amending.value = new Set([...amending.value].filter((one) => one !== root));
  deskUsed(repo);
  toast({ kind: 'info', text: `${amend ? 'Amended' : 'Committed'}: ${message.trim().split('\n')[0]}` });
  return true;
}

/**
 * Whether a commit of everything can be offered: it would call conflicts resolved.
 * @param {Repo} repo
 */
function hasOnlyUnstaged(repo) {
  const groups = groupsOf(repo).map(({ id }) => id);
  return groups.length > 0 && !groups.includes('staged') && !groups.includes('conflicts');
}

/** @param {Repo} repo */
async function mayStageAll(repo) {
  const answer = await ask({
    title: 'Commit all changes?',
    text: 'Nothing is staged. All changes and all untracked files can be staged and committed.',
    detail: repo.files.map(({ path }) => path).join('\n'),
    buttons: [
      { id: 'all', label: 'Stage All and Commit', kind: 'primary' },
      { id: 'cancel', label: 'Cancel' },
    ],
  });
  return answer === 'all';
}
