// What can be done with a search and its results.

import { bufferOf, documents, frontBuffer, titleOf, viewIn, tabs } from '../../editor/state.js';
import { saveDocument } from '../../editor/savefile.js';
import { showPanel } from '../../shell/layout.js';
import { ask } from '../../shell/dialogs.js';
import { toast } from '../../shell/toasts.js';
import { baseName, isInside, isRoot } from '../../stores/paths.js';
import { hitKey } from '../../stores/searchhits.js';
import { edited } from '../../stores/searchreplace.js';
import { stepHit } from '../../stores/searchresults.js';
import {
  collapsed,
  counts,
  dismiss,
  kHitLimit,
  options,
  rememberQuery,
  replace,
  results,
  rows,
  search,
  setCollapsed,
  setExpanded,
  setOptions,
  state,
} from '../../stores/search.js';
import { focusTree } from './results.js';
import { openHit } from './open.js';
import { focusedRow, rowInFocus } from './state.js';

/**
 * @typedef {import('../../stores/searchhits.js').Hit} Hit
 * @typedef {import('../../stores/searchresults.js').Row} Row
 */

/** Files that a question names. */
const kNamed = 12;

/** The open texts, as the search needs them. */
export function openTexts() {
  return [...documents.value.keys()].flatMap((id) => {
    const buffer = bufferOf(id);
    if (!buffer) return [];
    return {
      id,
      name: titleOf(id),
      dirty: buffer.dirty.value,
      mark: buffer.encoding.value === 'utf8bom',
      readOnly: buffer.readOnly !== '',
      text: () => buffer.text(),
      edit: (/** @type {readonly import('../../stores/searchreplace.js').Edit[]} */ edits) =>
        buffer.doc.setText(edited(buffer.text(), edits)),
    };
  });
}

/**
 * Shows the panel, with what is selected in the text as the query.
 * @param {{replacing?: boolean, include?: string}} [wanted]
 */
export function showSearch({ replacing, include } = {}) {
  const selected = selectedWords();
  showPanel('search');
  setOptions({
    ...(selected && { query: options.value.regex ? escaped(selected) : selected }),
    ...(replacing && { replacing }),
    ...(include !== undefined && { include, filtering: true }),
  });
  if (selected || include !== undefined) void search();
  // Now if the panel is there, so that no key goes elsewhere; else when it is drawn.
  if (!focusQuery()) requestAnimationFrame(focusQuery);
}

export function focusQuery() {
  const field = document.querySelector('.search-query');
  if (!(field instanceof HTMLInputElement)) return false;
  field.value = options.value.query;
  field.focus();
  field.select();
  return true;
}

/** The selection in the text in front, when it is within a line. */
function selectedWords() {
  const range = viewIn(tabs.value.active)?.selection();
  const buffer = frontBuffer.value;
  if (!range || !buffer || range.line !== range.endLine) return '';
  return (buffer.doc.lines()[range.line - 1] ?? '').slice(range.column - 1, range.endColumn - 1);
}

/** @param {string} words */
function escaped(words) {
  return words.replace(/[\\^$.*+?()[\]{}|]/g, '\\$&');
}

/** Searches in a folder of the explorer only. @param {string} path */
export function searchInFolder(path) {
  showSearch({ include: isRoot(path) ? `${path}/**` : path });
}

/** @param {'caseSensitive' | 'wholeWord' | 'regex'} option */
export function toggleOption(option) {
  setOptions({ [option]: !options.value[option] });
  return search();
}

export function searchNow() {
  rememberQuery();
  return search();
}

/** @param {1 | -1} step */
export async function goToHit(step) {
  const hit = stepHit(results.value, focusedRow.value, step);
  if (!hit) return;
  showRow(hit);
  rememberQuery();
  await openHit(hit, { preview: true });
}

/**
 * Opens all that is above a hit and puts the tree's focus on it.
 * @param {Hit} hit
 */
function showRow(hit) {
  for (const key of [...collapsed.value]) {
    const above =
      key === `file ${hit.path}` || (key.startsWith('folder ') && isInside(hit.path, key.slice(7)));
    if (above) setExpanded(key, true);
  }
  focusedRow.value = `hit ${hitKey(hit)}`;
}

export function collapseResults() {
  const keys = rows.value.filter(({ kind }) => kind !== 'hit').map(({ key }) => key);
  const open = rows.value.some(({ kind, expanded }) => kind !== 'hit' && expanded);
  setCollapsed(open ? keys : []);
  const top = rows.value[0];
  if (open && top) focusedRow.value = top.key;
}

/** The files and hits that a row stands for. @param {Row | null} row */
function filesOf(row) {
  if (!row) return [];
  if (row.hit) return [{ path: row.path, hits: [row.hit] }];
  const inside =
    row.kind === 'folder'
      ? (/** @type {string} */ path) => isInside(path, row.path)
      : (/** @type {string} */ path) => path === row.path;
  return results.value.filter(({ path }) => inside(path)).map(({ path, hits }) => ({ path, hits }));
}

export function dismissRow(row = rowInFocus.value) {
  if (!row) return;
  focusAfter(row);
  dismiss(filesOf(row).flatMap(({ hits }) => hits));
}

/** The focus goes to the row behind those that go, or to the one before. @param {Row} row */
function focusAfter(row) {
  const at = rows.value.indexOf(row);
  const next = rows.value.slice(at + 1).find(({ depth }) => depth <= row.depth) ?? rows.value[at - 1];
  focusedRow.value = next?.key ?? '';
  requestAnimationFrame(() => {
    if (document.activeElement === document.body) focusTree();
  });
}

/** Replaces what a row stands for, after a question when that is more than one hit. */
export async function replaceRow(row = rowInFocus.value) {
  if (!row || !options.value.replacing) return;
  const files = filesOf(row);
  if (row.kind !== 'hit' && !(await mayReplace(files))) return;
  focusAfter(row);
  await replaceIn(files);
}

export async function replaceAll() {
  const files = results.value.map(({ path, hits }) => ({ path, hits }));
  if (files.length && (await mayReplace(files))) await replaceIn(files);
}

/** @param {{path: string, hits: readonly Hit[]}[]} files */
async function mayReplace(files) {
  const hits = files.reduce((sum, file) => sum + file.hits.length, 0);
  const { replacement } = options.value;
  const written = files.filter(({ path }) => !bufferOf(path));
  const named = files.slice(0, kNamed).map(({ path }) => path);
  const answer = await ask({
    title: `Replace ${counted(hits, 'match', 'matches')} in ${counted(files.length, 'file')}?`,
    text: [
      replacement === '' ? 'The matches are removed.' : `The new text is “${replacement}”.`,
      cutFile(files) &&
        `${baseName(cutFile(files))} may hold more than the hits that are listed; only these are replaced.`,
      written.length > 0 &&
        `${counted(written.length, 'file')} not open in the editor ${written.length === 1 ? 'is' : 'are'} ` +
          'written at once, which undo does not bring back.',
    ]
      .filter(Boolean)
      .join(' '),
    detail: [...named, ...(files.length > kNamed ? [`and ${files.length - kNamed} more`] : [])].join('\n'),
    buttons: [
      { id: 'replace', label: 'Replace', kind: 'danger' },
      { id: 'cancel', label: 'Cancel' },
    ],
  });
  return answer === 'replace';
}

/**
 * The last file of an answer that was cut, of which not all hits may be known; "" when it is not among these.
 * @param {readonly {path: string}[]} files
 */
function cutFile(files) {
  const last = results.value.findLast(({ own }) => !own)?.path ?? '';
  return state.value.cut && files.some(({ path }) => path === last) ? last : '';
}

/** @param {{path: string, hits: readonly Hit[]}[]} files */
async function replaceIn(files) {
  const known = new Map(results.value.map(({ path, hits }) => [path, hits.length]));
  const hidden = counts.value.left > 0;
  const cut = cutFile(files);
  // Only where every match of a file is listed may all of them go without a look at each.
  const whole = (/** @type {{path: string, hits: readonly Hit[]}} */ { path, hits }) =>
    !hidden && path !== cut && hits.length === known.get(path) && hits.length < kHitLimit;
  const outcome = await replace(files.map((file) => ({ ...file, whole: whole(file) })));
  tell(outcome);
}

/** @param {import('../../stores/searchreplace.js').Outcome} outcome */
function tell({ replaced, written, unsaved, failed }) {
  for (const { path, words } of failed)
    toast({ kind: 'error', text: `Could not replace in ${path}: ${words}` });
  if (replaced === 0) return;
  const files = counted(written.length + unsaved.length, 'file');
  const open = unsaved.filter((path) => path.includes('/') && bufferOf(path)?.dirty.value);
  const rest = open.length
    ? ` ${counted(open.length, 'open file')} ${open.length === 1 ? 'is' : 'are'} not saved yet.`
    : '';
  toast({
    kind: 'info',
    text: `Replaced ${counted(replaced, 'match', 'matches')} in ${files}.${rest}`,
    actions: open.length ? [{ label: 'Save', run: () => saveThem(open) }] : [],
  });
}

/** @param {readonly string[]} paths */
async function saveThem(paths) {
  for (const path of paths) await saveDocument(path);
}

/**
 * @param {number} count
 * @param {string} one
 */
export function counted(count, one, many = `${one}s`) {
  return `${count.toLocaleString('en')} ${count === 1 ? one : many}`;
}

/** @param {Row | null} row */
export function rowText(row) {
  if (row?.hit) return `${row.path}:${row.hit.line}: ${row.hit.text}`;
  return row?.path ?? '';
}

export function copyRow(row = rowInFocus.value) {
  return navigator.clipboard.writeText(rowText(row));
}

export function copyAll() {
  const lines = results.value.flatMap(({ path, hits }) => [
    path,
    ...hits.map(({ line, text }) => `  ${line}: ${text}`),
  ]);
  return navigator.clipboard.writeText(lines.join('\n'));
}
