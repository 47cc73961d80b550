// The commit in front: its message, who made it, and what it did to which files.

import { html } from 'htm/preact';
import { useEffect, useRef, useState } from 'preact/hooks';
import { IconButton } from '../../shell/places.js';
import { readDetail, renameWords, statusWords } from '../../stores/historydetail.js';
import { ago, moment } from '../../stores/historytime.js';
import { copyText } from './commitactions.js';
import { openCommitFile, showFileMenu } from './menus.js';
import { DETAIL, detailSize, setDetailSize } from './state.js';

/**
 * @typedef {import('../../stores/graph.js').GraphStore} GraphStore
 * @typedef {import('../../stores/historydetail.js').CommitDetail} CommitDetail
 * @typedef {import('../../stores/historydetail.js').CommitFile} CommitFile
 */

/** While a key is held down, commits pass by; only one where it rests is read. */
const kRestMs = 90;

/** More files of a commit are not drawn. */
const kDrawn = 1000;

/** @param {{store: GraphStore}} props */
export function Detail({ store }) {
  const hash = store.selected.value || store.commits.value[0]?.hash || '';
  const [detail, failure] = useDetail(store.name, hash);
  return html`<section class="graph-detail" aria-label="Commit" style=${{ height: `${detailSize.value}rem` }}>
    <${Handle} />
    ${failure && html`<p class="graph-note" role="alert">Could not read ${hash.slice(0, 7)}: ${failure}</p>`}
    ${detail && html`<${Facts} store=${store} detail=${detail} />`}
    ${detail && html`<${Files} key=${detail.hash} store=${store} detail=${detail} />`}
  </section>`;
}

/**
 * @param {string} repo
 * @param {string} hash
 * @returns {[CommitDetail | null, string]} and why it could not be read; the one before stays until then
 */
function useDetail(repo, hash) {
  const [read, setRead] = useState(/** @type {{detail?: CommitDetail, failure: string}} */ ({ failure: '' }));
  useEffect(() => {
    const abort = new AbortController();
    const timer = setTimeout(() => {
      readDetail(repo, hash, abort.signal)
        .then((detail) => !abort.signal.aborted && setRead({ detail, failure: '' }))
        .catch((error) => !abort.signal.aborted && setRead({ failure: error.message }));
    }, kRestMs);
    return () => {
      clearTimeout(timer);
      abort.abort();
    };
  }, [repo, hash]);
  return [read.detail ?? null, read.failure];
}

function Handle() {
  /** @param {PointerEvent} event */
  const start = (event) => {
    if (event.button !== 0) return;
    const handle = /** @type {HTMLElement} */ (event.currentTarget);
    const rem = parseFloat(getComputedStyle(document.documentElement).fontSize);
    const [from, size] = [event.clientY, detailSize.value];
    handle.setPointerCapture(event.pointerId);
    handle.onpointermove = (move) => setDetailSize(size + (from - move.clientY) / rem);
    handle.onpointerup = handle.onpointercancel = () => (handle.onpointermove = null);
    event.preventDefault();
  };
  /** @param {KeyboardEvent} event */
  const onKey = (event) => {
    const step = { ArrowUp: 1, ArrowDown: -1 }[event.key];
    if (!step) return;
    setDetailSize(detailSize.value + step);
    event.preventDefault();
  };
  return html`<div
    class="graph-handle"
    role="separator"
    tabindex="0"
    aria-label="Size of the commit's details"
    aria-orientation="horizontal"
    aria-valuemin=${DETAIL.least}
    aria-valuemax=${DETAIL.most}
    aria-valuenow=${detailSize.value}
    onPointerDown=${start}
    onKeyDown=${onKey}
    onDblClick=${() => setDetailSize(DETAIL.first)}
  ></div>`;
}

/** @param {{store: GraphStore, detail: CommitDetail}} props */
function Facts({ store, detail }) {
  const { hash, message, author, email, time, committer, parents } = detail;
  const [subject, ...rest] = message.split('\n');
  const body = rest.join('\n').trim();
  const by = committer && committer !== author ? `, committed by ${committer}` : '';
  return html`<div class="graph-facts">
    <h2 class="graph-title">${subject}</h2>
    <p class="graph-who" title=${email}>
      ${author}${by}, <span title=${moment(time)}>${ago(time)}</span>
      <span class="graph-when">${moment(time)}</span>
    </p>
    <p class="graph-hashes">
      <code>${hash.slice(0, 10)}</code>
      <${IconButton} icon="copy" label="Copy Hash" onClick=${() => copyText(hash, hash)} />
      ${parents.length > 0 && html`<span>${parents.length > 1 ? 'Parents' : 'Parent'}</span>`}
      ${parents.map(
        (parent) => html`<button
          type="button"
          class="graph-link"
          aria-label=${`Parent ${parent.slice(0, 7)}`}
          onClick=${() => store.reveal(parent)}
        >${parent.slice(0, 7)}</button>`,
      )}
    </p>
    ${body && html`<pre class="graph-body" tabindex="0" aria-label="Message">${body}</pre>`}
  </div>`;
}

/** @param {{store: GraphStore, detail: CommitDetail}} props */
function Files({ store, detail }) {
  const { files, parents } = detail;
  const [front, setFront] = useState(0);
  const list = useRef(/** @type {HTMLElement | null} */ (null));
  const { repo } = store;
  /** @param {number} at */
  const go = (at) => {
    const to = Math.max(0, Math.min(files.length - 1, kDrawn - 1, at));
    setFront(to);
    const row = list.current?.querySelectorAll('[role="option"]')[to];
    if (row instanceof HTMLElement) row.focus();
  };
  /** @param {number} at @param {{preview?: boolean, focus?: boolean}} options */
  const open = (at, options) => {
    setFront(at);
    if (repo && files[at]) openCommitFile(repo, detail, files[at], options);
  };
  /** @param {KeyboardEvent} event */
  const onKey = (event) => {
    const to = { ArrowDown: front + 1, ArrowUp: front - 1, Home: 0, End: files.length - 1 }[event.key];
    if (to !== undefined) go(to);
    else if (event.key === 'Enter') open(front, {});
    else if (event.key === ' ') open(front, { preview: true, focus: false });
    else return;
    event.preventDefault();
    event.stopPropagation();
  };
  const count = files.length === 1 ? '1 file' : `${files.length || 'No'} files`;
  const cut = files.length > kDrawn ? `, of which the first ${kDrawn} are shown` : '';
  return html`<div class="graph-files-part">
    <p class="graph-count">${count}${parents.length > 1 ? ', against the first parent' : ''}${cut}</p>
    ${
      files.length > 0 &&
      html`<div class="graph-files" role="listbox" aria-label="Files of the commit" ref=${list} onKeyDown=${onKey}>
        ${files.slice(0, kDrawn).map(
          (file, at) => html`<${FileRow}
            key=${file.path}
            file=${file}
            front=${at === front}
            open=${(/** @type {object} */ options) => open(at, options)}
            menu=${(/** @type {MouseEvent} */ event) => {
              event.preventDefault();
              setFront(at);
              if (repo) showFileMenu(event.clientX, event.clientY, repo, detail, file);
            }}
          />`,
        )}
      </div>`
    }
  </div>`;
}

/**
 * @param {object} props
 * @param {CommitFile} props.file
 * @param {boolean} props.front
 * @param {(options: object) => void} props.open
 * @param {(event: MouseEvent) => void} props.menu
 */
function FileRow({ file, front, open, menu }) {
  const { path, oldPath, status, additions, deletions } = file;
  const words = oldPath ? renameWords(oldPath, path) : path;
  const counts = additions < 0 ? ['binary'] : [additions && `${additions} added`, deletions && `${deletions} removed`];
  return html`<div
    class=${`graph-file git-${statusWords(status).replace(' ', '-')}`}
    role="option"
    aria-selected=${front}
    tabindex=${front ? 0 : -1}
    title=${`${words}, ${statusWords(status)}`}
    onClick=${() => open({ preview: true, focus: false })}
    onDblClick=${() => open({})}
    onContextMenu=${menu}
  >
    <span class="unseen">${[words, statusWords(status), ...counts].filter(Boolean).join(', ')}</span>
    <span class="scm-letter" aria-hidden="true">${status}</span>
    <span class="graph-path" aria-hidden="true">${words}</span>
    <span class="graph-lines" aria-hidden="true">
      ${additions < 0 && 'binary'}
      ${additions > 0 && html`<span class="scm-added">+${additions}</span>`}
      ${deletions > 0 && html`<span class="scm-removed">−${deletions}</span>`}
    </span>
  </div>`;
}

/** Goes to the files of the commit that is shown. @param {Element | null | undefined} page */
export function focusFiles(page) {
  const row = page?.querySelector('.graph-files [tabindex="0"]');
  if (row instanceof HTMLElement) row.focus();
}
