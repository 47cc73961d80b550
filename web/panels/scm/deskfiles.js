// The change on the commit desk, file by file, as lines to read. Parts of what is staged can be taken out.

import { html } from 'htm/preact';
import { useRef, useState } from 'preact/hooks';
import { openDiff } from '../../editor/diff.js';
import { ring } from '../../shell/focus.js';
import { icon } from '../../shell/icons.js';
import { IconButton } from '../../shell/places.js';
import { unstage } from '../../stores/gitactions.js';
import { idOf } from '../../stores/gitstatus.js';
import { inverted, partPatch, partProblem, readable, rowsOf } from '../../stores/hunks.js';
import { applyToIndex } from '../../stores/hunksapply.js';
import { baseName, parentOf } from '../../stores/paths.js';
import { roots } from '../../stores/settings.js';
import { tried } from './work.js';

/**
 * @typedef {import('../../stores/git.js').Repo} Repo
 * @typedef {import('../../stores/hunks.js').Line} Line
 * @typedef {import('../../stores/commitdeskdiff.js').DeskFile} DeskFile
 * @typedef {import('../../stores/commitdeskdiff.js').DeskDiff} DeskDiff
 */

/** A file with more lines than this is folded at first, and shows so many at a time. */
const kMostLines = 300;

/** @param {{repo: Repo, everything: boolean, diff: DeskDiff | null, failure: string}} props */
export function DeskFiles({ repo, everything, diff, failure }) {
  const list = useRef(/** @type {HTMLDivElement | null} */ (null));
  const [front, setFront] = useState('');
  const untracked = everything ? repo.files.filter((file) => file.untracked) : [];
  /** @param {KeyboardEvent} event */
  const onKey = (event) => {
    const step = { ArrowDown: 1, ArrowUp: -1 }[event.key];
    const heads = [...(list.current?.querySelectorAll('.desk-file-name') ?? [])];
    const at = heads.indexOf(/** @type {Element} */ (event.target));
    if (!step || at < 0) return;
    event.preventDefault();
    /** @type {HTMLElement} */ (heads[ring(at, step, heads.length)]).focus();
  };
  const files = diff?.files ?? [];
  const stop = files.some(({ path }) => path === front) ? front : files[0]?.path;
  return html`<div class="desk-files" role="group" aria-label="Changes" ref=${list} onKeyDown=${onKey}>
    ${failure && html`<p class="desk-failure" role="alert">Could not read the change: ${failure}</p>`}
    ${!diff && !failure && html`<p class="desk-empty" role="status">Reading the change…</p>`}
    ${diff?.cut && html`<p class="desk-empty">The change is larger than 140 KB. The source control panel opens its files one by one.</p>`}
    ${diff && !diff.cut && files.length + untracked.length === 0 && html`<p class="desk-empty">${emptyWords(everything)}</p>`}
    ${files.map(
      (file) => html`<${File}
        key=${`${everything} ${file.path}`}
        repo=${repo}
        everything=${everything}
        file=${file}
        front=${file.path === stop}
        onFocus=${() => setFront(file.path)}
      />`,
    )}
    ${
      untracked.length > 0 &&
      html`<div class="desk-new">
        <h3>New files, committed whole</h3>
        <ul>${untracked.map(({ path }) => html`<li key=${path}>${path}</li>`)}</ul>
      </div>`
    }
  </div>`;
}

/** @param {boolean} everything */
const emptyWords = (everything) =>
  everything
    ? 'Nothing has changed since the last commit.'
    : 'Nothing is staged. Stage changes in the source control panel, or choose "All changes".';

/** @param {{repo: Repo, everything: boolean, file: DeskFile, front: boolean, onFocus: () => void}} props */
function File({ repo, everything, file, front, onFocus }) {
  const { path, old, kind, diff, added, removed } = file;
  const [open, setOpen] = useState(added + removed <= kMostLines);
  const name = baseName(path);
  const show = () => openDiff(idOf(roots.value, repo, path), everything ? 'diff-head' : 'diff-staged');
  const words = [name, parentOf(path), kind, `${added} added`, `${removed} removed`].filter(Boolean).join(', ');
  return html`<section class="desk-file" aria-label=${path}>
    <header class="desk-file-head">
      <button
        type="button"
        class="desk-file-name"
        aria-expanded=${String(open)}
        tabindex=${front ? 0 : -1}
        onFocus=${onFocus}
        onClick=${() => setOpen(!open)}
      >
        <span class="unseen">${words}</span>
        <span class="desk-cells" aria-hidden="true">
          ${icon(open ? 'chevron-down' : 'chevron-right')}
          <span>${name}</span>
          <span class="desk-folder">${old ? `${old} → ${path}` : parentOf(path)}</span>
          <span class="desk-kind">${kind}</span>
          <span class="scm-added">+${added}</span> <span class="scm-removed">−${removed}</span>
        </span>
      </button>
      <${IconButton} icon="diff" label=${`Compare ${name}`} onClick=${show} />
      ${
        !everything &&
        html`<${IconButton}
          icon="remove"
          label=${`Unstage ${name}`}
          onClick=${() => tried(`unstage ${name}`, () => unstage(repo, old ? [path, old] : [path]))}
        />`
      }
    </header>
    ${open && html`<${Lines} repo=${repo} file=${file} mayTake=${!everything && !old && partProblem(diff) === ''} />`}
  </section>`;
}

/** @param {{repo: Repo, file: DeskFile, mayTake: boolean}} props */
function Lines({ repo, file, mayTake }) {
  const [most, setMost] = useState(kMostLines);
  const { diff } = file;
  const problem = diff.hunks.length ? '' : partProblem(diff);
  const all = diff.hunks.reduce((sum, hunk) => sum + hunk.length, 0);
  let left = most;
  let run = 0;
  return html`<div class="desk-lines">
    ${problem && html`<p class="desk-empty">${diff.binary ? 'A binary file.' : 'No line differs: its name or its mode does.'}</p>`}
    ${diff.hunks.map((hunk, at) => {
      const first = run;
      run += runStarts(hunk).size;
      const lines = hunk.slice(0, Math.max(0, left));
      left -= hunk.length;
      return lines.length && html`<${Hunk} key=${at} repo=${repo} file=${file} lines=${lines} first=${first} mayTake=${mayTake} />`;
    })}
    ${all > most && html`<button type="button" class="button quiet" onClick=${() => setMost(all)}>Show All ${all} Lines</button>`}
  </div>`;
}

/**
 * Where runs of changed lines begin, as indexes in the hunk.
 * @param {Line[]} lines
 */
function runStarts(lines) {
  const starts = lines.flatMap(({ kind }, at) => (kind !== ' ' && (at === 0 || lines[at - 1].kind === ' ') ? [at] : []));
  return new Map(starts.map((at, index) => [at, index]));
}

/** @param {{repo: Repo, file: DeskFile, lines: Line[], first: number, mayTake: boolean}} props `first` is the index of its first run */
function Hunk({ repo, file, lines, first, mayTake }) {
  const starts = runStarts(lines);
  return html`<div class="desk-hunk" role="group" tabindex="0" aria-label=${`Lines from ${lines[0].now}`}>
    ${lines.map(({ kind, text, old, now }, at) => {
      const run = starts.get(at);
      const look = kind === '+' ? 'added' : kind === '-' ? 'removed' : '';
      return html`<div key=${at} class=${`desk-line ${look}`}>
        <span class="desk-number">${kind === '+' ? '' : old}</span>
        <span class="desk-number">${kind === '-' ? '' : now}</span>
        <span class="desk-sign">${kind}</span>
        <span class="desk-text">${readable(text) || ' '}</span>
        ${
          mayTake &&
          run !== undefined &&
          html`<button
            type="button"
            class="icon-button desk-take"
            title="Unstage This Change"
            aria-label=${`Unstage the change at line ${now}`}
            onClick=${() => takeOut(repo, file, first + run)}
          >
            ${icon('remove')}
          </button>`
        }
      </div>`;
    })}
  </div>`;
}

/**
 * @param {Repo} repo
 * @param {DeskFile} file
 * @param {number} run
 */
function takeOut(repo, { path, diff }, run) {
  const name = baseName(path);
  const patch = partPatch(inverted(diff), rowsOf([diff.runs[run]]));
  return tried(`unstage a part of ${name}`, () => applyToIndex(repo, patch, `Unstage a part of ${name}`));
}
