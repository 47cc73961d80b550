// What an edit of a language server does, in its order: texts that change, files that come, move and go; and the
// lines that it changes, to be looked at before.

import { recordOf, textOf } from './chatwire.js';
import { comparePositions, editsFrom, pathOfUri } from './lspwire.js';

/**
 * @typedef {import('./lspwire.js').Position} Position
 * @typedef {import('./lspwire.js').TextEdit} TextEdit
 * @typedef {import('./lspwire.js').FileEdit} FileEdit
 *
 * Texts that change together. Paths are absolute.
 * @typedef {{kind: 'edit', files: FileEdit[]}} EditStep
 *
 * What is done to a file itself; `lenient` lets pass what is there already, or is not there any more.
 * @typedef {{kind: 'create', path: string, overwrite: boolean, lenient: boolean}} CreateStep
 * @typedef {{kind: 'rename', path: string, to: string, overwrite: boolean, lenient: boolean}} RenameStep
 * @typedef {{kind: 'delete', path: string, recursive: boolean, lenient: boolean}} DeleteStep
 * @typedef {CreateStep | RenameStep | DeleteStep} FileStep
 * @typedef {EditStep | FileStep} Step
 *
 * Neighbouring edits as they change whole lines; `line` counts from 0.
 * @typedef {{line: number, before: string, after: string, edits: TextEdit[]}} LineChange
 */

/**
 * The steps of a workspace edit. What cannot be done here is an error, so that nothing of it is begun.
 * @param {unknown} edit
 * @returns {Step[]}
 */
export function stepsFrom(edit) {
  const { changes, documentChanges } = recordOf(edit);
  /** @type {Record<string, any>[]} */
  const list = Array.isArray(documentChanges)
    ? documentChanges.map(recordOf)
    : Object.entries(recordOf(changes)).map(([uri, edits]) => ({ textDocument: { uri }, edits }));
  /** @type {Step[]} */
  const steps = [];
  for (const change of list) {
    if (change.kind) steps.push(fileStep(change));
    else addEdits(steps, change);
  }
  return steps;
}

/** @param {unknown} uri */
function pathOrError(uri) {
  const path = pathOfUri(uri);
  if (!path) throw new Error(`the edit is for ${textOf(uri) || 'no file'}, which is no file of this machine`);
  return path;
}

/** @param {Record<string, any>} change @returns {FileStep} */
function fileStep({ kind, uri, oldUri, newUri, options }) {
  const { overwrite, recursive, ignoreIfExists, ignoreIfNotExists } = recordOf(options);
  const lenient = ignoreIfExists === true;
  switch (kind) {
    case 'create':
      return { kind, path: pathOrError(uri), overwrite: overwrite === true, lenient };
    case 'rename':
      return { kind, path: pathOrError(oldUri), to: pathOrError(newUri), overwrite: overwrite === true, lenient };
    case 'delete':
      return { kind, path: pathOrError(uri), recursive: recursive === true, lenient: ignoreIfNotExists === true };
  }
  throw new Error(`the edit wants to ${textOf(kind)} a file, which is not supported`);
}

/**
 * Adds to the texts that change together, unless files themselves change in between.
 * @param {Step[]} steps
 * @param {Record<string, any>} change
 */
function addEdits(steps, { textDocument, edits: list }) {
  const { uri, version } = recordOf(textDocument);
  const path = pathOrError(uri);
  const edits = editsFrom(list);
  if (!edits.length) return;
  const last = steps.at(-1);
  const files = last?.kind === 'edit' ? last.files : [];
  if (last?.kind !== 'edit') steps.push({ kind: 'edit', files });
  const there = files.find((file) => file.path === path);
  const file = there ?? { path, version: null, edits: [] };
  if (!there) files.push(file);
  if (typeof version === 'number') file.version = version;
  file.edits.push(...edits);
}

/** All paths that a step is about. @param {Step} step */
export function pathsOf(step) {
  if (step.kind === 'edit') return step.files.map(({ path }) => path);
  return step.kind === 'rename' ? [step.path, step.to] : [step.path];
}

/**
 * Where the text of each file that a step edits is to be found before anything is done; "" for a file that the
 * edit makes.
 * @param {readonly Step[]} steps
 * @returns {Map<FileEdit, string>}
 */
export function originsOf(steps) {
  /** @type {[string, string][]} new place and old, the latest first */
  const moved = [];
  /** @param {string} path @returns {string} */
  const before = (path) => {
    for (const [to, from] of moved) {
      if (path === to || path.startsWith(`${to}/`)) path = `${from}${path.slice(to.length)}`;
    }
    return path;
  };
  /** @type {Map<FileEdit, string>} */
  const origins = new Map();
  for (const step of steps) {
    if (step.kind === 'edit') for (const file of step.files) origins.set(file, before(file.path));
    else if (step.kind === 'create') moved.unshift([step.path, '']);
    else if (step.kind === 'rename') moved.unshift([step.to, step.path]);
  }
  return origins;
}

/**
 * The lines that edits change, from the first to the last. Edits that share a line are one change.
 * @param {readonly string[]} lines
 * @param {readonly TextEdit[]} edits
 * @returns {LineChange[]}
 */
export function lineChanges(lines, edits) {
  const inOrder = [...edits].sort((one, other) => comparePositions(one.range.start, other.range.start));
  /** @type {{first: number, last: number, edits: TextEdit[]}[]} */
  const groups = [];
  for (const edit of inOrder) {
    const { start, end } = edit.range;
    const group = groups.at(-1);
    if (group && start.line <= group.last) {
      group.edits.push(edit);
      group.last = Math.max(group.last, end.line);
    } else groups.push({ first: start.line, last: end.line, edits: [edit] });
  }
  return groups.map(({ first, last, edits: mine }) => {
    const from = { line: first, character: 0 };
    const to = { line: last, character: (lines[last] ?? '').length };
    return { line: first, before: between(lines, from, to), after: changed(lines, from, to, mine), edits: mine };
  });
}

/**
 * @param {readonly string[]} lines
 * @param {Position} from
 * @param {Position} to
 * @param {readonly TextEdit[]} edits between the two, in their order
 */
function changed(lines, from, to, edits) {
  let after = '';
  let at = from;
  for (const { range, newText } of edits) {
    after += between(lines, at, range.start) + newText;
    at = range.end;
  }
  return after + between(lines, at, to);
}

/**
 * @param {readonly string[]} lines
 * @param {Position} from
 * @param {Position} to
 */
function between(lines, from, to) {
  if (comparePositions(from, to) >= 0) return '';
  if (from.line === to.line) return (lines[from.line] ?? '').slice(from.character, to.character);
  const middle = lines.slice(from.line + 1, to.line);
  const ends = [(lines[from.line] ?? '').slice(from.character), (lines[to.line] ?? '').slice(0, to.character)];
  return [ends[0], ...middle, ends[1]].join('\n');
}
