// Staging, unstaging and discarding parts of a file: the change at the cursor, or the lines that are selected,
// in a comparison or in the text itself. Staging works on what is on disk; discarding is an edit of the text.

import { ask } from '../shell/dialogs.js';
import { toast } from '../shell/toasts.js';
import { lineHunks, linesWithEnds } from '../stores/changes.js';
import { repoFor } from '../stores/git.js';
import { fitsShown, inverted, partPatch, partProblem, rowsIn, rowsOf, runsTouched } from '../stores/hunks.js';
import { applyToIndex, readDiff } from '../stores/hunksapply.js';
import { withoutLines } from '../stores/hunksrevert.js';
import { serialQueue } from '../stores/saving.js';
import { changesOf } from './changebars.js';
import { saveDocument } from './savefile.js';
import { activeView, bufferOf, frontBuffer, frontTab, tabs, titleOf } from './state.js';

/**
 * @typedef {import('../stores/hunks.js').Span} Span
 * @typedef {'old' | 'now'} Side
 * @typedef {import('./host.js').HostEditor} HostEditor
 *
 * A comparison that is in front of its group.
 * @typedef {object} Compared
 * @property {string} key of its tab
 * @property {{old: HostEditor, now: HostEditor}} views
 * @property {() => string} left what stands on its left
 * @property {() => string[]} right the lines on its right
 * @property {Side} side that was used last
 *
 * @typedef {object} Place where an action shall work
 * @property {string} id
 * @property {'work' | 'staged' | 'untracked'} which
 * @property {() => Span} span
 * @property {() => string[]} old lines with their ends
 * @property {() => string[]} now lines without
 */

/** By group. @type {Map<string, Compared>} */
const comparisons = new Map();

/** One after another in each repository: the second part is cut out of what the first has left. */
const inTurn = serialQueue();

/**
 * Makes the sides of a comparison known. The result takes them out again.
 * @param {string} group
 * @param {Omit<Compared, 'side'>} compared
 */
export function enterSides(group, compared) {
  /** @type {Compared} */
  const entry = { ...compared, side: 'now' };
  comparisons.set(group, entry);
  for (const side of /** @type {const} */ (['old', 'now'])) {
    compared.views[side].onFocus(() => {
      entry.side = side;
    });
  }
  return () => {
    if (comparisons.get(group) === entry) comparisons.delete(group);
  };
}

/** The comparison in front, while its texts are shown. */
function comparedInFront() {
  const compared = comparisons.get(tabs.value.active);
  return compared && compared.key === frontTab.value?.key ? compared : null;
}

/** @param {HostEditor | null} view */
function selectedLines(view) {
  const found = view?.selection() ?? { line: 1, endLine: 1, endColumn: 1 };
  // A selection that ends before the first letter of a line has nothing of it.
  const to = found.endLine > found.line && found.endColumn === 1 ? found.endLine - 1 : found.endLine;
  return { from: found.line, to };
}

/** @returns {Place | null} */
function placeInFront() {
  const tab = frontTab.value;
  const compared = comparedInFront();
  if (tab && compared && (tab.kind === 'diff' || tab.kind === 'diff-staged')) {
    const { views, left, right } = compared;
    return {
      id: tab.id,
      which: tab.kind === 'diff' ? 'work' : 'staged',
      span: () => ({ side: compared.side, ...selectedLines(views[compared.side]) }),
      old: () => linesWithEnds(left()),
      now: right,
    };
  }
  const buffer = frontBuffer.value;
  if (!tab || !buffer) return null;
  const which = isUntracked(tab.id) ? 'untracked' : 'work';
  return {
    id: tab.id,
    which,
    span: () => ({ side: 'now', ...selectedLines(activeView()) }),
    old: () => changesOf(tab.id)?.base ?? [],
    now: () => buffer.doc.lines(),
  };
}

/** @param {string} id */
function isUntracked(id) {
  const file = repoFor(id);
  return file?.repo.files.some(({ path, untracked }) => untracked && path === file.path) ?? false;
}

/** Whether what is in front can be staged in parts. */
export function canStagePart() {
  const { kind, id } = frontTab.value ?? { kind: '', id: '' };
  if (kind === 'diff') return comparedInFront() !== null;
  return frontBuffer.value !== null && (hasHunks(id) || isUntracked(id));
}

/** @param {string} id */
const hasHunks = (id) => (changesOf(id)?.hunks.length ?? 0) > 0;

export const canUnstagePart = () => frontTab.value?.kind === 'diff-staged' && comparedInFront() !== null;

/** Whether changed lines in front can be taken back. */
export function canDiscardPart() {
  const { kind, id } = frontTab.value ?? { kind: '', id: '' };
  const buffer = kind === 'diff' || kind === 'text' ? bufferOf(id) : null;
  if (!buffer || buffer.readOnly) return false;
  return kind === 'diff' ? comparedInFront() !== null : hasHunks(id);
}

/**
 * Stages the change at the cursor, or only the lines that are selected; on what is staged, the way back.
 * @param {boolean} whole takes all of each change that is touched
 */
export async function stagePart(whole) {
  const place = placeInFront();
  const file = place && repoFor(place.id);
  if (!place || !file) return;
  const { repo, path } = file;
  if (place.which !== 'staged' && !(await isOnDisk(place.id))) return;
  await inTurn(repo.root, async () => {
    const diff = await readDiff(repo, path, place.which);
    const problem = diff ? partProblem(diff) : 'git finds no change in it';
    if (!diff || problem) throw new Error(`${titleOf(place.id)}: ${problem}`);
    const spans = [place.span()];
    const rows = whole ? rowsOf(wholeRuns(diff, spans)) : rowsIn(diff, spans);
    if (rows.size === 0) return sayNothing(whole);
    const now = place.now();
    const old = place.old().map((line) => line.replace(/\n$/, ''));
    // Of a file that git does not know there is no old side.
    if (!fitsShown(diff, rows, place.which === 'untracked' ? { now } : { old, now })) throw new Error(kNotShown);
    const back = place.which === 'staged';
    const patch = partPatch(back ? inverted(diff) : diff, rows);
    await applyToIndex(repo, patch, `${back ? 'Unstage' : 'Stage'} a part of ${titleOf(place.id)}`);
  });
}

/**
 * The only change of a file is meant wherever the cursor is.
 * @param {import('../stores/hunks.js').FileDiff} diff
 * @param {Span[]} spans
 */
function wholeRuns(diff, spans) {
  return diff.runs.length === 1 ? diff.runs : runsTouched(diff, spans);
}

const kNotShown =
  'the lines that are shown are not those that git compares. The file may have changed a moment ago, or git converts it: stage it as a whole';

/** @param {boolean} whole */
function sayNothing(whole) {
  const text = whole ? 'There is no change at the cursor.' : 'No changed line is selected.';
  toast({ kind: 'info', text });
}

/**
 * Git stages what is on disk.
 * @param {string} id
 */
async function isOnDisk(id) {
  const buffer = bufferOf(id);
  if (!buffer?.dirty.value) return true;
  const answer = await ask({
    title: `Save ${titleOf(id)} first?`,
    text: 'It has unsaved changes, and git stages what is on disk.',
    buttons: [
      { id: 'save', label: 'Save and Stage', kind: 'primary' },
      { id: 'cancel', label: 'Cancel' },
    ],
  });
  return answer === 'save' && (await saveDocument(id)) !== null;
}

/**
 * Takes the change at the cursor back, or only the lines that are selected. It is an edit, which undo takes
 * back; a text without other unsaved changes is saved after it.
 * @param {boolean} whole
 */
export async function discardPart(whole) {
  const place = placeInFront();
  const buffer = place && bufferOf(place.id);
  if (!place || !buffer || !canDiscardPart()) return;
  const span = place.span();
  const before = buffer.state();
  const text = textWithout(place, span, whole);
  if (text === null) return sayNothing(whole);
  const what = whole ? 'this change' : 'these lines';
  const answer = await ask({
    title: `Discard ${what} of ${titleOf(place.id)}?`,
    text: `The text becomes what is staged there. Undo brings ${whole ? 'it' : 'them'} back while the file is open.`,
    buttons: [
      { id: 'discard', label: whole ? 'Discard Change' : 'Discard Lines', kind: 'danger' },
      { id: 'cancel', label: 'Cancel' },
    ],
  });
  if (answer !== 'discard') return;
  if (buffer.state().version !== before.version) throw new Error(`${titleOf(place.id)} was changed meanwhile`);
  const clean = !buffer.dirty.value;
  buffer.doc.setText(text);
  if (clean) await saveDocument(place.id);
}

/**
 * @param {Place} place
 * @param {Span} span
 * @param {boolean} whole
 */
function textWithout(place, span, whole) {
  const from = place.old();
  const to = linesWithEnds(place.now().join('\n'));
  const hunks = lineHunks(from, to);
  const everywhere = { side: span.side, from: 0, to: Infinity };
  return withoutLines(from, to, hunks, whole && hunks.length === 1 ? everywhere : span, whole);
}
