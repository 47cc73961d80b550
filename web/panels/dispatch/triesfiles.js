// The files of several tries: which try changed which, and the same place of one file in all of them.

import { html } from 'htm/preact';
import { useMemo, useRef, useState } from 'preact/hooks';
import { icon } from '../../shell/icons.js';
import { fileRows, likeness, regionsOf } from '../../stores/dispatchtries.js';
import { fileAt, readPatch } from '../../stores/patch.js';
import { Counts } from './patchview.js';

/**
 * @typedef {import('../../stores/dispatchwire.js').Task} Task
 * @typedef {import('../../stores/dispatchwire.js').TaskDiff} TaskDiff
 * @typedef {import('../../stores/dispatchtries.js').FileRow} FileRow
 * @typedef {import('../../stores/patch.js').PatchFile} PatchFile
 */

/** More files than this are not compared by eye. */
const kRowsShown = 500;
/** Lines of one place in one try; a new file of thousands would hold the page up. */
const kLinesShown = 800;

/** @param {{group: readonly Task[], diffs: (TaskDiff | null)[]}} props */
export function TryFiles({ group, diffs }) {
  const [chosen, setChosen] = useState('');
  const rows = useMemo(() => fileRows(diffs), diffs);
  const parts = useMemo(() => diffs.map((diff) => (diff ? readPatch(diff.patch, { cut: diff.cut }) : [])), diffs);
  const path = rows.some((row) => row.path === chosen) ? chosen : mostChanged(rows);
  const files = parts.map((list) => fileAt(list, path));
  if (!rows.length) return null;
  return html`
    <${FileList}
      group=${group}
      rows=${rows.slice(0, kRowsShown)}
      path=${path}
      choose=${setChosen}
      parts=${parts}
    />
    <${Limits} more=${rows.length - kRowsShown} cut=${diffs.some((diff) => diff?.cut)} />
    <${Parallel} group=${group} path=${path} files=${files} row=${rows.find((row) => row.path === path)} />
  `;
}

/** What is not shown. @param {{more: number, cut: boolean}} props */
function Limits({ more, cut }) {
  const words = [
    more > 0 && `${more} more files are not listed.`,
    cut && 'The changes of a try are too large to be shown whole; the counts cover everything.',
  ];
  return words.filter(Boolean).map((one) => html`<p class="tries-note">${icon('warning')} ${one}</p>`);
}

/** The file that the most tries changed says most about them. @param {FileRow[]} rows */
function mostChanged(rows) {
  const count = (/** @type {FileRow} */ { tries }) => tries.filter((one) => one !== null).length;
  return rows.reduce((best, row) => (best && count(best) >= count(row) ? best : row), rows[0])?.path ?? '';
}

/**
 * One stop of the Tab key; the arrows move among the files.
 * @param {object} props
 * @param {readonly Task[]} props.group
 * @param {FileRow[]} props.rows
 * @param {string} props.path
 * @param {(path: string) => void} props.choose
 * @param {PatchFile[][]} props.parts
 */
function FileList({ group, rows, path, choose, parts }) {
  const list = useRef(/** @type {HTMLElement | null} */ (null));
  /** @param {KeyboardEvent} event */
  const onKeyDown = (event) => {
    const at = rows.findIndex((row) => row.path === path);
    const to = { ArrowUp: at - 1, ArrowDown: at + 1, Home: 0, End: rows.length - 1 }[event.key];
    const next = to === undefined ? undefined : rows[to];
    if (to === undefined || event.ctrlKey || event.altKey || event.metaKey) return;
    event.preventDefault();
    if (!next) return;
    choose(next.path);
    const rowsShown = list.current?.querySelectorAll('.tries-file');
    /** @type {HTMLElement | undefined} */ (rowsShown?.[to])?.focus();
  };
  return html`<div
    class="tries-files"
    role="listbox"
    aria-label="Files that any try changed"
    ref=${list}
    onKeyDown=${onKeyDown}
  >
    ${rows.map((row) => {
      const alike = likeness(parts.map((files) => fileAt(files, row.path)));
      return html`<div
        key=${row.path}
        class="tries-row tries-file"
        role="option"
        tabindex=${row.path === path ? 0 : -1}
        aria-selected=${String(row.path === path)}
        onClick=${() => choose(row.path)}
      >
        <span class="tries-path" title=${row.path}>${row.path}</span>
        ${row.tries.map(
          (counts, at) => html`<span class="tries-cell">
            <${Cell} counts=${counts} at=${at} alike=${alike} group=${group} />
          </span>`,
        )}
      </div>`;
    })}
  </div>`;
}

/**
 * @param {object} props
 * @param {FileRow['tries'][number]} props.counts
 * @param {number} props.at
 * @param {number[]} props.alike
 * @param {readonly Task[]} props.group
 */
function Cell({ counts, at, alike, group }) {
  const number = group[at]?.try ?? at + 1;
  if (!counts) {
    return html`<span class="tries-none">
      <span aria-hidden="true">–</span><span class="unseen">Try ${number} left it alone</span>
    </span>`;
  }
  const same = alike[at] ?? -1;
  const like = same >= 0 && same < at ? group[same]?.try : undefined;
  return html`<span class="unseen">Try ${number}: </span><${Counts} ...${counts} />
    ${like !== undefined && html` <span class="tries-like">same as try ${like}</span>`}`;
}

/**
 * @param {object} props
 * @param {readonly Task[]} props.group
 * @param {string} props.path
 * @param {(PatchFile | null)[]} props.files
 * @param {FileRow | undefined} props.row
 */
function Parallel({ group, path, files, row }) {
  const regions = useMemo(() => regionsOf(files), files);
  return html`<section class="tries-parallel" aria-label=${`${path} in each try`}>
    <div class="tries-row tries-names">
      <h3 class="tries-path">${path}</h3>
      ${group.map((task, at) => {
        const note = noteOf(files[at] ?? null, row?.tries[at] ?? null);
        return html`<span key=${task.id} class="tries-cell">Try ${task.try}${note}</span>`;
      })}
    </div>
    ${regions.map(
      ({ from, to, tries }) => html`<div
        key=${from}
        class="tries-row tries-region"
        role="group"
        aria-label=${placeWords(from, to)}
      >
        <span class="tries-place">${placeWords(from, to)}</span>
        ${tries.map((lines, at) => html`<${Place} key=${at} lines=${lines} number=${group[at]?.try ?? 0} />`)}
      </div>`,
    )}
  </section>`;
}

/**
 * @param {PatchFile | null} file
 * @param {{added: number, removed: number} | null} counts
 */
function noteOf(file, counts) {
  if (!file) return counts ? ', not in the part that is shown' : ', unchanged';
  if (file.binary) return ', a binary file';
  const kind = file.kind === 'modified' ? '' : `, ${file.kind}`;
  return `${kind}${file.modes && `, ${file.modes}`}${file.cut ? ', its end is cut off' : ''}`;
}

/**
 * @param {number} from
 * @param {number} to
 */
function placeWords(from, to) {
  if (to === 0) return 'New file';
  return from === to ? `Line ${from}` : `Lines ${from}–${to}`;
}

const SIGNS = { same: ' ', added: '+', removed: '-' };

/** @param {{lines: import('../../stores/patch.js').PatchLine[] | null, number: number}} props */
function Place({ lines, number }) {
  if (!lines) return html`<p class="tries-same">Try ${number} changed nothing here</p>`;
  const more = lines.length - kLinesShown;
  return html`<div class="chat-diff tries-lines">
    <pre>
${lines
        .slice(0, kLinesShown)
        .map(({ kind, text }) => html`<span class=${`diff-row ${kind}`}>${SIGNS[kind]} ${text}</span>`)}</pre
    >
    ${more > 0 && html`<p class="tries-note">${more} more lines</p>`}
  </div>`;
}
