// What a task has changed: its files with their counts, and each file's lines when it is unfolded.

import { html } from 'htm/preact';
import { useEffect, useMemo, useState } from 'preact/hooks';
import { icon } from '../../shell/icons.js';
import { showMenu } from '../../shell/menus.js';
import { counted } from '../../stores/dispatchboard.js';
import { hunkWords, readPatch } from '../../stores/patch.js';
import { remarkItem, writeRemark } from '../basket/remark.js';
import { rangeOf } from '../github/pullremark.js';

/**
 * @typedef {import('../../stores/dispatchwire.js').TaskDiff} TaskDiff
 * @typedef {import('../../stores/patch.js').PatchFile} PatchFile
 * @typedef {{diff: TaskDiff | null, words: string, busy: boolean}} Reading
 */

/** Files are unfolded from the first on until so many lines are shown. */
const UNFOLDED_LINES = 600;

/**
 * Asks for the changes when it is shown, when `epoch` becomes another, and when the user says so; never by itself.
 * @param {object} props
 * @param {() => Promise<TaskDiff>} props.load
 * @param {unknown} props.epoch
 * @param {(path: string) => (() => unknown) | null} props.opener what opens a file, null where nothing can
 * @param {string} [props.source] what the changes are of, for remarks on their lines; none without it
 * @param {(diff: TaskDiff | null) => void} [props.told]
 */
export function Changes({ load, epoch, opener, source, told }) {
  const [state, setState] = useState(/** @type {Reading} */ ({ diff: null, words: '', busy: true }));
  const [asked, setAsked] = useState(0);
  useEffect(() => {
    let shown = true;
    setState((before) => ({ ...before, busy: true }));
    load().then(
      (diff) => {
        if (!shown) return;
        setState({ diff, words: '', busy: false });
        told?.(diff);
      },
      (error) => shown && setState({ diff: null, words: error.message, busy: false }),
    );
    return () => {
      shown = false;
    };
  }, [epoch, asked]);
  const { diff, words, busy } = state;
  return html`<section class="patch" aria-label="Changes" aria-busy=${String(busy)} tabindex="0">
    <header class="patch-head">
      <span>${diff ? html`<${Sum} diff=${diff} />` : busy ? 'Reading the changes…' : ''}</span>
      <button type="button" class="button quiet" disabled=${busy} onClick=${() => setAsked(asked + 1)}>
        ${icon('refresh')} Refresh
      </button>
    </header>
    ${words && html`<p class="patch-note" role="status">${words}</p>`}
    ${diff && html`<${Files} diff=${diff} opener=${opener} source=${source} />`}
  </section>`;
}

/** @param {{diff: TaskDiff}} props */
function Sum({ diff: { fileCount, added, removed } }) {
  if (!fileCount) return 'Nothing has changed yet.';
  return html`${counted(fileCount, 'file')}, <${Counts} added=${added} removed=${removed} />`;
}

/** @param {{added: number, removed: number}} props */
export function Counts({ added, removed }) {
  return html`<span class="patch-counts"
    ><span class="patch-added" aria-hidden="true">+${added}</span>
    <span class="patch-removed" aria-hidden="true">−${removed}</span>
    <span class="unseen">${counted(added, 'line')} added, ${removed} removed</span></span
  >`;
}

/** @param {{diff: TaskDiff, opener: (path: string) => (() => unknown) | null, source?: string}} props */
function Files({ diff, opener, source }) {
  const { files, patch, cut } = diff;
  const parts = useMemo(() => readPatch(patch, { cut }), [patch, cut]);
  const byPath = new Map(parts.map((part) => [part.path, part]));
  let room = UNFOLDED_LINES;
  return html`
    ${
      cut &&
      html`<p class="patch-note">
        ${icon('warning')} The changes are too large to be shown whole: the counts cover everything, the lines end
        early.
      </p>`
    }
    ${files.map(({ path, added, removed }) => {
      const part = byPath.get(path) ?? partFor(parts, path);
      const open = room > 0;
      room -= part ? part.added + part.removed + 1 : 1;
      return html`<${FileChange}
        key=${path}
        path=${path}
        added=${added}
        removed=${removed}
        part=${part}
        first=${open}
        cut=${cut}
        open=${opener(path)}
        source=${source}
      />`;
    })}
  `;
}

/**
 * A renamed file is told as "old => new" or "folder/{old => new}", and stands in the patch under its new path.
 * @param {readonly PatchFile[]} parts
 * @param {string} told
 */
function partFor(parts, told) {
  const path = told
    .replace(/\{(?:.*?) => (.*?)\}/, '$1')
    .replace(/^.* => /, '')
    .replaceAll('//', '/');
  return parts.find((part) => part.path === path);
}

/**
 * @param {object} props
 * @param {string} props.path
 * @param {number} props.added
 * @param {number} props.removed
 * @param {PatchFile | undefined} props.part
 * @param {boolean} props.first
 * @param {boolean} props.cut
 * @param {(() => unknown) | null} props.open
 * @param {string} [props.source]
 */
function FileChange({ path, added, removed, part, first, cut, open, source }) {
  const [unfolded, setUnfolded] = useState(first);
  return html`<section class="patch-file" aria-label=${path}>
    <header class="patch-file-head">
      <button type="button" class="patch-fold" aria-expanded=${String(unfolded)} onClick=${() => setUnfolded(!unfolded)}>
        ${icon(unfolded ? 'chevron-down' : 'chevron-right')} <span class="patch-path">${path}</span>
        ${part && part.kind !== 'modified' && html`<span class="patch-kind">${part.kind}</span>`}
      </button>
      <${Counts} added=${added} removed=${removed} />
      ${
        open &&
        html`<button type="button" class="icon-button" aria-label=${`Open ${path}`} title="Open" onClick=${open}>
          ${icon('go-to-file')}
        </button>`
      }
    </header>
    ${unfolded && html`<${Lines} part=${part} cut=${cut} source=${source} />`}
  </section>`;
}

/** Its number is not read out and not copied. @param {{line: import('../../stores/patch.js').PatchLine}} props */
const Numbered = ({ line }) => html`
  <span class="patch-number" aria-hidden="true">${line.new || line.old}</span>${SIGNS[line.kind]} ${line.text}
`;

const SIGNS = { same: ' ', added: '+', removed: '-' };

/**
 * The menu of a line, and with r a remark on the whole hunk that has the focus.
 * @param {PatchFile} part
 * @param {readonly import('../../stores/patch.js').PatchLine[]} lines of the hunk
 * @param {string} source
 */
function remarking({ path }, lines, source) {
  const place = (/** @type {number} */ from, /** @type {number} */ to) => ({
    ...rangeOf(lines, from, to),
    path,
    source,
    jump: null,
  });
  return {
    onContextMenu: (/** @type {MouseEvent} */ event) => {
      const row = /** @type {Element} */ (event.target).closest('.diff-row');
      const at = row ? [.../** @type {Element} */ (event.currentTarget).children].indexOf(row) : -1;
      if (at < 0) return;
      event.preventDefault();
      event.stopPropagation();
      void showMenu({ x: event.clientX, y: event.clientY, label: path, items: [remarkItem(place(at, at))] });
    },
    onKeyDown: (/** @type {KeyboardEvent} */ event) => {
      if (event.key !== 'r' || event.ctrlKey || event.altKey || event.metaKey) return;
      event.preventDefault();
      void writeRemark(place(0, lines.length - 1));
    },
  };
}

/** @param {{part: PatchFile | undefined, cut: boolean, source?: string}} props */
function Lines({ part, cut, source }) {
  if (!part) return html`<p class="patch-note">${cut ? 'Its lines were cut off.' : 'Its lines are not in the patch.'}</p>`;
  if (part.binary) return html`<p class="patch-note">A binary file.</p>`;
  return html`<div class="chat-diff patch-lines">
    ${part.modes && html`<p class="patch-note">${part.modes}</p>`}
    ${part.hunks.map(
      (hunk, at) => html`<div key=${at}>
        <p class="patch-hunk">${hunkWords(hunk)}</p>
        <pre tabindex="0" aria-label=${hunkWords(hunk)} ...${source ? remarking(part, hunk.lines, source) : {}}>
${hunk.lines.map(
            (line) => html`<span class=${`diff-row ${line.kind}`}><${Numbered} line=${line} /></span>`,
          )}</pre
        >
      </div>`,
    )}
    ${part.cut && html`<p class="patch-note">The rest of this file was cut off.</p>`}
  </div>`;
}
