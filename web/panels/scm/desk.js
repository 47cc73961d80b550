// The commit desk: what a commit would hold, what Claude says of it, and its message, on one page. All of it
// stays until the commit is made.

import { html } from 'htm/preact';
import { useEffect, useRef, useState } from 'preact/hooks';
import { openPage } from '../../editor/tabactions.js';
import { registerPage } from '../../editor/pages.js';
import { icon } from '../../shell/icons.js';
import { executable, statusKnown } from '../../stores/chat.js';
import {
  bringBack,
  cancel,
  changeDesk,
  deskOf,
  earlierMessage,
  failureOf,
  isAboutAll,
  isOld,
  isWorking,
  loadDesks,
  lookOver,
  takeProposal,
  writeMessage,
} from '../../stores/commitdesk.js';
import { readDesk } from '../../stores/commitdeskdiff.js';
import { gitEpoch, gitState, repos } from '../../stores/git.js';
import { busy } from '../../stores/gitactions.js';
import { messages, setMessage } from '../../stores/gitmessages.js';
import { refresher } from '../../stores/gitrefresh.js';
import { branchWords } from '../../stores/gitstatus.js';
import { typing } from '../chat/fields.js';
import { Markdown } from '../chat/markdown.js';
import { pushBranch } from './branches.js';
import { commitRepo, isAmending, setAmend } from './commitbox.js';
import { DeskFiles } from './deskfiles.js';

/** @typedef {import('../../stores/git.js').Repo} Repo */
/** @typedef {import('../../stores/commitdeskdiff.js').DeskDiff} DeskDiff */
/** @typedef {{diff: DeskDiff | null, failure: string}} Read */

/** Longer first lines are cut by much that shows them. */
const kSubject = 72;

export function startDesk() {
  loadDesks();
  registerPage('desk', { title: (name) => `Commit ${name}`, component: Desk });
}

/** @param {Repo} repo */
export const openDesk = ({ name }) => openPage('desk', name);

/** @param {Repo} repo */
export async function reviewChange(repo) {
  openDesk(repo);
  await lookOver(repo, { everything: isAboutAll(repo) });
}

/** @param {{arg: string}} props */
function Desk({ arg: name }) {
  const repo = repos.value.find((one) => one.name === name && one.isRepo);
  if (!repo) {
    const words = gitState.value === 'unknown' ? 'Asking git…' : `${name} is not among the repositories any more.`;
    return html`<p class="pane-note" role="status" tabindex="0">${words}</p>`;
  }
  return html`<${RepoDesk} key=${repo.root} repo=${repo} />`;
}

/** @param {{repo: Repo}} props */
function RepoDesk({ repo }) {
  const everything = isAboutAll(repo);
  const { diff, failure } = useDiff(repo, everything);
  const mark = diff?.mark ?? '';
  return html`<div class="desk" tabindex="-1">
    <header class="desk-head">
      <h2 class="desk-title">Commit in ${repo.name} <span>${branchWords(repo)}</span></h2>
      <${Choice} repo=${repo} everything=${everything} />
    </header>
    <div class="desk-columns">
      <${DeskFiles} repo=${repo} everything=${everything} diff=${diff} failure=${failure} />
      <div class="desk-side">
        <${Missing} />
        <${Message} repo=${repo} everything=${everything} mark=${mark} />
        <${Review} repo=${repo} everything=${everything} mark=${mark} />
      </div>
    </div>
  </div>`;
}

/**
 * What would be committed, read again when git's side may have changed.
 * @param {Repo} repo
 * @param {boolean} everything
 * @returns {Read}
 */
function useDiff(repo, everything) {
  const [found, setFound] = useState(/** @type {Read} */ ({ diff: null, failure: '' }));
  const reader = useRef(/** @type {ReturnType<typeof refresher> | null} */ (null));
  useEffect(() => {
    let alive = true;
    setFound({ diff: null, failure: '' });
    reader.current = refresher(async () => {
      const read = await readSafely(repo, everything);
      if (alive) setFound(read);
    });
    void reader.current.now();
    return () => {
      alive = false;
    };
  }, [repo.root, everything]);
  useEffect(() => reader.current?.soon(), [gitEpoch.value, repo.files]);
  return found;
}

/**
 * @param {Repo} repo
 * @param {boolean} everything
 * @returns {Promise<Read>}
 */
async function readSafely(repo, everything) {
  try {
    return { diff: await readDesk(repo, everything), failure: '' };
  } catch (error) {
    return { diff: null, failure: error instanceof Error ? error.message : String(error) };
  }
}

/** @param {{repo: Repo, everything: boolean}} props */
function Choice({ repo, everything }) {
  /** @param {boolean} value @param {string} words */
  const option = (value, words) => html`<label>
    <input type="radio" name=${`desk-${repo.name}`} checked=${everything === value} onChange=${() => changeDesk(repo, { everything: value })} />
    ${words}
  </label>`;
  return html`<div class="desk-choice" role="radiogroup" aria-label="What is committed">
    ${option(false, 'What is staged')} ${option(true, 'All changes')}
  </div>`;
}

/** Without Claude all else works. */
function Missing() {
  if (!statusKnown.value || executable.value.includes('/')) return null;
  return html`<p class="desk-note">
    ${icon('info')} The Claude CLI was not found. Writing the message and looking the change over need it.
  </p>`;
}

/** @param {{repo: Repo, everything: boolean, mark: string}} props */
function Message({ repo, everything, mark }) {
  const text = messages.value.get(repo.root) ?? '';
  const { proposal } = deskOf(repo);
  const writing = isWorking(repo, 'message');
  const long = (text.split('\n')[0] ?? '').length;
  const failure = failureOf(repo, 'message');
  /** @param {KeyboardEvent} event */
  const onKeyDown = (event) => {
    if (event.key !== 'Enter' || !event.ctrlKey || event.isComposing) return;
    event.preventDefault();
    event.stopPropagation();
    void commitHere(repo, everything);
  };
  return html`<section class="desk-part" aria-label="Message">
    <div class="desk-bar">
      <h3>Message</h3>
      ${long > kSubject && html`<span class="desk-long" role="status">First line: ${long} of ${kSubject} letters</span>`}
      ${earlierMessage(repo) && html`<button type="button" class="button quiet" onClick=${() => bringBack(repo)}>Bring Back Mine</button>`}
      <${Ask} words="Write It" doing="Writing…" busy=${writing} start=${() => writeMessage(repo, { everything, mark })} stop=${() => cancel(repo, 'message')} />
    </div>
    <textarea
      class="field desk-message"
      rows="8"
      tabindex="0"
      aria-label=${`Message of the commit in ${repo.name}`}
      placeholder="What changed, and why (Ctrl+Enter commits)"
      value=${text}
      onInput=${typing((words) => setMessage(repo.root, words))}
      onKeyDown=${onKeyDown}
    ></textarea>
    ${failure && html`<p class="desk-failure" role="alert">Could not write a message: ${failure}</p>`}
    ${
      proposal &&
      html`<div class="desk-said" role="group" aria-label="Proposed message">
        <${Old} said=${proposal} everything=${everything} mark=${mark} />
        <pre tabindex="0">${proposal.text}</pre>
        <div class="desk-bar">
          <button type="button" class="button" onClick=${() => takeProposal(repo)}>Use This Message</button>
          <button type="button" class="button quiet" onClick=${() => changeDesk(repo, { proposal: null })}>Dismiss</button>
        </div>
      </div>`
    }
    <${Commit} repo=${repo} everything=${everything} />
  </section>`;
}

/** @param {{repo: Repo, everything: boolean}} props */
function Commit({ repo, everything }) {
  const amend = isAmending(repo);
  const { push } = deskOf(repo);
  const words = busy.value.get(repo.name);
  const verb = amend ? 'Amend' : 'Commit';
  /** @param {boolean} checked @param {string} label @param {(on: boolean) => void} change */
  const box = (checked, label, change) => html`<label>
    <input type="checkbox" checked=${checked} onChange=${(/** @type {Event} */ event) => change(/** @type {HTMLInputElement} */ (event.target).checked)} />
    ${label}
  </label>`;
  return html`<div class="desk-bar desk-commit">
    ${box(amend, 'Amend', (on) => void setAmend(repo, on))} ${box(push, 'Push after it', (on) => changeDesk(repo, { push: on }))}
    <span class="desk-busy" role="status">${words ? `${words}…` : ''}</span>
    <button type="button" class="button primary" disabled=${words !== undefined} onClick=${() => commitHere(repo, everything)}>
      ${everything ? `Stage All and ${verb}` : verb}
    </button>
  </div>`;
}

/**
 * @param {Repo} repo
 * @param {boolean} everything
 */
async function commitHere(repo, everything) {
  const { push } = deskOf(repo);
  if ((await commitRepo(repo, { everything })) && push) await pushBranch(repo);
}

/** @param {{repo: Repo, everything: boolean, mark: string}} props */
function Review({ repo, everything, mark }) {
  const { review } = deskOf(repo);
  const failure = failureOf(repo, 'review');
  const start = () => lookOver(repo, { everything, mark });
  return html`<section class="desk-part" aria-label="Review">
    <div class="desk-bar">
      <h3>Review</h3>
      <${Ask} words="Look It Over" doing="Looking it over…" busy=${isWorking(repo, 'review')} start=${start} stop=${() => cancel(repo, 'review')} />
    </div>
    ${failure && html`<p class="desk-failure" role="alert">Could not look the change over: ${failure}</p>`}
    <div role="status">
      ${
        review &&
        html`<div class="desk-said">
          <${Old} said=${review} everything=${everything} mark=${mark} />
          ${review.cut && html`<p class="desk-old">The change was too long: only its first 120 KB were looked at.</p>`}
          <${Markdown} text=${review.text} />
          <div class="desk-bar">
            <button type="button" class="button quiet" onClick=${() => changeDesk(repo, { review: null })}>Dismiss</button>
          </div>
        </div>`
      }
      ${!review && !failure && html`<p class="desk-empty">Claude reads the change and says what is wrong with it, if anything.</p>`}
    </div>
  </section>`;
}

/**
 * A button that starts a work of Claude, and while it runs one that stops it.
 * @param {{words: string, doing: string, busy: boolean, start: () => unknown, stop: () => unknown}} props
 */
function Ask({ words, doing, busy: running, start, stop }) {
  return html`
    <span class="desk-busy" role="status">${running ? doing : ''}</span>
    <button type="button" class="button" onClick=${running ? stop : start}>
      ${icon(running ? 'debug-stop' : 'sparkle')} ${running ? 'Stop' : words}
    </button>
  `;
}

/** @param {{said: import('../../stores/commitdesk.js').Said, everything: boolean, mark: string}} props */
function Old({ said, everything, mark }) {
  if (!isOld(said, { everything, mark })) return null;
  return html`<p class="desk-old">${icon('history')} The change is another one by now.</p>`;
}
