// The lines that a pull request changes in a file. They are one stop of the Tab key: arrows move among them,
// with Shift they choose several; a comment waits below the line that it is about.

import { html } from 'htm/preact';
import { Component } from 'preact';
import { useEffect, useMemo, useRef, useState } from 'preact/hooks';
import { icon } from '../../shell/icons.js';
import { showMenu } from '../../shell/menus.js';
import { hunkWords } from '../../stores/patch.js';
import { astrayWords, deskOf } from '../../stores/pulldrafts.js';
import { DraftView } from './draftview.js';
import { lineActs, lineMenu } from './lineacts.js';
import { go, placeOf } from './pullstate.js';

/**
 * @typedef {import('../../stores/pull.js').PullPage} Page
 * @typedef {import('../../stores/pullwire.js').Detail} Detail
 * @typedef {import('../../stores/pullwire.js').PullFile} PullFile
 * @typedef {import('../../stores/patch.js').PatchFile} PatchFile
 * @typedef {import('../../stores/patch.js').PatchLine} PatchLine
 * @typedef {import('../../stores/pulldrafts.js').Draft} Draft
 * @typedef {import('./lineacts.js').LineActs} LineActs
 */

/** More lines than that are drawn only when they are asked for. */
const kShownLines = 2000;
const kPage = 15;

/** @param {{arg: string, page: Page, detail: Detail, file: PullFile, patch: PatchFile}} props */
export function DiffLines({ arg, page, detail, file, patch }) {
  const place = useRef(/** @type {HTMLDivElement | null} */ (null));
  const [all, setAll] = useState(false);
  const lines = useMemo(() => patch.hunks.flatMap((hunk) => hunk.lines), [patch]);
  const acts = useMemo(() => lineActs(arg, detail, file.path, lines), [arg, detail, file.path, lines]);
  const desk = deskOf(detail.url);
  const drafts = useMemo(() => draftsByLine(desk.drafts, file.path), [desk.drafts, file.path]);
  const { row, anchor } = placeOf(arg).value;
  const shown = all ? lines.length : Math.min(lines.length, kShownLines);
  const at = Math.max(0, Math.min(row, shown - 1));
  useEffect(() => rowAt(place.current, at)?.scrollIntoView({ block: 'nearest' }), [file.path, at]);
  if (lines.length === 0) return html`<p class="pane-note" tabindex="0">${nothingWords(patch)}</p>`;

  const [from, to] = [Math.min(at, anchor), Math.max(at, anchor)];
  const astray = [...drafts.values()].flat().filter((draft) => astrayWords(draft, page.files, detail.head));
  let index = -1;
  return html`<div
    class="pull-lines"
    ref=${place}
    role="group"
    aria-label=${`Lines of ${file.path}`}
    onKeyDown=${(/** @type {KeyboardEvent} */ event) => onKey(event, { arg, at, anchor, count: shown, acts, place: place.current })}
  >
    ${patch.hunks.map(
      (hunk, number) => html`
        ${index + 1 < shown && html`<p key=${`hunk${number}`} class="pull-hunk">${hunkWords(hunk)}</p>`}
        ${hunk.lines.map((line) => {
          index += 1;
          return index < shown && html`<${Line}
            key=${index}
            line=${line}
            index=${index}
            front=${index === at}
            chosen=${from !== to && index >= from && index <= to}
            drafts=${drafts.get(line.new)}
            arg=${arg}
            url=${detail.url}
            acts=${acts}
          />`;
        })}
      `,
    )}
    ${
      shown < lines.length &&
      html`<button type="button" class="button" onClick=${() => setAll(true)}>Show all ${lines.length} lines</button>`
    }
    ${patch.cut && html`<p class="github-note">The patch of this file is too long: its end is not shown.</p>`}
    ${
      astray.length > 0 &&
      html`<p class="github-note">${astray.length} more of this file on no line that is shown: see Comments.</p>`
    }
  </div>`;
}

/**
 * @param {readonly Draft[]} drafts
 * @param {string} path
 */
function draftsByLine(drafts, path) {
  /** @type {Map<number, Draft[]>} */
  const found = new Map();
  for (const draft of drafts)
    if (draft.path === path) found.set(draft.line, [...(found.get(draft.line) ?? []), draft]);
  return found;
}

/** @param {PatchFile} patch */
function nothingWords({ binary, kind, modes, cut }) {
  if (binary) return 'This is no text, so there are no lines to show.';
  if (cut) return 'The patch of this file could not be read.';
  if (modes) return `Only the mode changes: ${modes}.`;
  return kind === 'renamed' || kind === 'copied' ? `The file is ${kind}, nothing in it changes.` : 'The file is empty.';
}

/**
 * @typedef {object} KeyPlace
 * @property {string} arg
 * @property {number} at
 * @property {number} anchor
 * @property {number} count
 * @property {LineActs} acts
 * @property {HTMLElement | null} place
 */

/**
 * @param {KeyboardEvent} event
 * @param {KeyPlace} where
 */
function onKey(event, { arg, at, anchor, count, acts, place }) {
  if (!(event.target instanceof HTMLElement) || !event.target.matches('.pull-line')) return;
  if (event.ctrlKey || event.altKey || event.metaKey) return;
  const next = stepTo(event.key, at, count);
  if (next !== null) {
    const row = Math.max(0, Math.min(count - 1, next));
    go(arg, { row, anchor: event.shiftKey ? anchor : row });
    rowAt(place, row)?.focus();
  } else if (event.key === 'Enter' || event.key === 'c') acts.comment(at);
  else if (event.key === 'r') acts.remark(Math.min(at, anchor), Math.max(at, anchor));
  else if (event.key === 'Escape' && anchor !== at) go(arg, { anchor: at });
  else return;
  event.preventDefault();
  event.stopPropagation();
}

/** @param {string} key @param {number} at @param {number} count */
function stepTo(key, at, count) {
  const to = {
    ArrowUp: at - 1,
    ArrowDown: at + 1,
    PageUp: at - kPage,
    PageDown: at + kPage,
    Home: 0,
    End: count - 1,
  }[key];
  return to ?? null;
}

/** @param {HTMLElement | null} place @param {number} row */
const rowAt = (place, row) =>
  /** @type {HTMLElement | null | undefined} */ (place?.querySelector(`[data-row="${row}"]`));

/** Goes to the lines from the list of files. */
export function focusLines() {
  const line = document.querySelector('.pull-lines [tabindex="0"], .pull-diff [tabindex="0"]');
  if (line instanceof HTMLElement) line.focus();
}

const kSigns = { same: ' ', added: '+', removed: '−' };

/**
 * @typedef {object} LineProps
 * @property {PatchLine} line
 * @property {number} index
 * @property {boolean} front
 * @property {boolean} chosen
 * @property {Draft[] | undefined} drafts
 * @property {string} arg
 * @property {string} url
 * @property {LineActs} acts
 */

/** A step among thousands of lines must draw two of them, not all. @extends {Component<LineProps>} */
class Line extends Component {
  /** @override @param {LineProps} next */
  shouldComponentUpdate(next) {
    const names = /** @type {(keyof LineProps)[]} */ (['line', 'index', 'front', 'chosen', 'drafts', 'arg', 'acts']);
    return names.some((name) => next[name] !== this.props[name]);
  }

  /** @override */
  render() {
    const { line, index, drafts = [], arg, url } = this.props;
    const leave = () => {
      const row = document.querySelector(`.pull-line[data-row="${index}"]`);
      if (row instanceof HTMLElement) row.focus();
    };
    return html`
      <${LineRow} ...${this.props} />
      ${drafts.map((draft) => html`<${DraftView} key=${draft.id} pull=${{ url, arg }} draft=${draft} leave=${leave} />`)}
      ${line.noEnd && html`<p class="pull-no-end">No line end here</p>`}
    `;
  }
}

/** @param {LineProps} props */
function LineRow({ line, index, front, chosen, arg, acts }) {
  /** @param {MouseEvent} event */
  const onMenu = (event) => {
    event.preventDefault();
    const { row, anchor } = placeOf(arg).value;
    const [from, to] = chosen ? [Math.min(row, anchor), Math.max(row, anchor)] : [index, index];
    if (!chosen) go(arg, { row: index, anchor: index });
    void showMenu({ x: event.clientX, y: event.clientY, label: 'Line', items: lineMenu(acts, from, to) });
  };
  /**
   * With Shift the press must not begin a new choice, as a line does that gets the focus.
   * @param {MouseEvent} event
   */
  const onMouseDown = (event) => {
    if (!event.shiftKey) return;
    event.preventDefault();
    go(arg, { row: index });
    if (event.currentTarget instanceof HTMLElement) event.currentTarget.focus();
  };
  const onFocus = () => {
    if (placeOf(arg).value.row !== index) go(arg, { row: index, anchor: index });
  };
  return html`<div
    class=${`pull-line ${line.kind} ${chosen ? 'chosen' : ''}`}
    role="button"
    data-row=${index}
    tabindex=${front ? 0 : -1}
    aria-pressed=${String(chosen)}
    onMouseDown=${onMouseDown}
    onFocus=${onFocus}
    onClick=${(/** @type {MouseEvent} */ event) => !event.shiftKey && go(arg, { anchor: index })}
    onDblClick=${() => acts.comment(index)}
    onContextMenu=${onMenu}
  >
    <span class="pull-line-number">${line.old || ''}</span>
    <span class="pull-line-number">${line.new || ''}</span>
    <span class="pull-sign" aria-hidden="true">${kSigns[line.kind]}</span>
    ${line.kind !== 'same' && html`<span class="unseen">${line.kind}</span>`}
    <span class="pull-text">${line.text || ' '}</span>
    <span
      class="pull-line-add"
      aria-hidden="true"
      title=${line.new ? 'Comment (Enter)' : 'Remark (R)'}
      onClick=${(/** @type {Event} */ event) => {
        event.stopPropagation();
        if (line.new) acts.comment(index);
        else acts.remark(index, index);
      }}
    >${icon('comment')}</span>
  </div>`;
}
