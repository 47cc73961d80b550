// Edits of language servers across files. All texts are read before anything is changed; what is not open is
// opened, so that nothing is written that the user has not seen, and each file's part is one step to undo. What
// the user could not see coming is shown first: changes of files that are not open, and files that come, move or go.

import { call } from '../bridge/api.js';
import { createFile, fileInfo } from '../stores/files.js';
import { lineChanges, originsOf, pathsOf, stepsFrom } from '../stores/lspedit.js';
import { sourceOf } from '../stores/lspservers.js';
import { isInside, workspacePath } from '../stores/paths.js';
import { roots } from '../stores/settings.js';
import { focusTab, groupOf, openTab } from '../stores/tabs.js';
import { dirtyBelow, followRename, openDocument, releaseDocument } from './documents.js';
import { showEdit } from './editpreview.js';
import { editorHost } from './lazy.js';
import { bufferOf, isShown, tabs } from './state.js';
import { closeGone } from './tabactions.js';

/**
 * @typedef {import('../stores/lspedit.js').Step} Step
 * @typedef {import('../stores/lspedit.js').FileStep} FileStep
 * @typedef {import('../stores/lspwire.js').FileEdit} FileEdit
 * @typedef {ReturnType<typeof openDocument>} OpenDocument
 * @typedef {{file: FileEdit, id: string, lines: string[]}} Target a text before the edit; `id` is where it will be
 */

/** The user has looked at an edit and does not want it. */
export class Declined extends Error {}

/**
 * Makes an edit, or rejects with the reason why it was not made, or not to its end.
 * @param {unknown} edit
 * @param {string} [label] what the server calls it
 */
export async function applyWorkspaceEdit(edit, label = '') {
  const wanted = stepsFrom(edit);
  for (const path of wanted.flatMap(pathsOf)) workspaceId(path);
  const steps = await needed(wanted);
  /** @type {OpenDocument[]} */
  const held = [];
  try {
    const seen = steps.every((step) => step.kind === 'edit' && step.files.every(({ path }) => bufferOf(workspaceId(path))));
    const targets = await readAll(steps, held);
    if (!seen) await agree(steps, targets, label);
    await takeAll(steps, held);
  } finally {
    // What was left alone need not stay open.
    for (const { id } of held) if (!bufferOf(id)?.dirty.value) releaseDocument(id);
  }
}

/** @param {string} path absolute */
function workspaceId(path) {
  const id = workspacePath(roots.value, path);
  if (!id) throw new Error(`${path} lies outside the folders of the workspace`);
  return id;
}

/**
 * Leaves out files to be made that may be there already, and are.
 * @param {readonly Step[]} steps
 */
async function needed(steps) {
  const mayBe = (/** @type {Step} */ step) => step.kind === 'create' && step.lenient && !step.overwrite;
  const there = await Promise.all(steps.map((step) => (mayBe(step) ? fileInfo(workspaceId(pathsOf(step)[0])) : null)));
  return steps.filter((_, at) => !there[at]);
}

/**
 * @param {readonly Step[]} steps
 * @param {OpenDocument[]} held is added to
 * @returns {Promise<Target[]>}
 */
async function readAll(steps, held) {
  const origins = [...originsOf(steps)];
  const opened = origins.map(([, origin]) => (origin ? openDocument(workspaceId(origin)) : null));
  for (const document of opened) if (document) held.push(document);
  await Promise.all(opened.map((document) => document?.ready));
  return origins.map(([file, origin]) => {
    const id = workspaceId(file.path);
    if (!origin) return { file, id, lines: [] };
    const version = origin === file.path ? file.version : null;
    return { file, id, lines: editable({ path: origin, version }, workspaceId(origin)).doc.lines() };
  });
}

/**
 * @param {{path: string, version: number | null}} file
 * @param {string} id
 */
function editable({ path, version }, id) {
  const buffer = bufferOf(id);
  if (!buffer || buffer.readOnly) throw new Error(`${id} cannot be edited as text`);
  if (version !== null && sourceOf(path) && sourceOf(path)?.version !== version)
    throw new Error(`${id} was changed meanwhile`);
  return buffer;
}

/**
 * Shows what would be done. What the user leaves out is taken out of the steps.
 * @param {readonly Step[]} steps
 * @param {readonly Target[]} targets
 * @param {string} label
 */
async function agree(steps, targets, label) {
  const files = targets.map(({ id, file, lines }) => ({ id, changes: lineChanges(lines, file.edits) }));
  const deeds = steps.flatMap((step) => (step.kind === 'edit' ? [] : [wordsOf(step)]));
  const kept = await showEdit({ label, deeds, files });
  if (!kept) throw new Declined('the user does not want it');
  for (const [at, { file, id, lines }] of targets.entries()) {
    const now = bufferOf(id)?.doc.lines();
    if (now && now.join('\n') !== lines.join('\n')) throw new Error(`${id} was changed meanwhile`);
    file.edits = kept[at].flatMap(({ edits }) => edits);
  }
}

/** @param {FileStep} step */
function wordsOf(step) {
  const id = workspaceId(step.path);
  const unsaved = dirtyBelow(id).length ? ', which has unsaved changes' : '';
  switch (step.kind) {
    case 'create':
      return `Create ${id}${step.overwrite ? '; a file that is there goes to the Trash' : ''}`;
    case 'rename':
      return `Rename ${id} to ${workspaceId(step.to)}${step.overwrite ? '; a file that is there goes to the Trash' : ''}`;
    case 'delete':
      return `Move ${id} to the Trash${unsaved}`;
  }
}

/**
 * @param {readonly Step[]} steps
 * @param {OpenDocument[]} held
 */
async function takeAll(steps, held) {
  /** @type {string[]} */
  const done = [];
  for (const step of steps) {
    try {
      if (step.kind === 'edit') await editTexts(step.files, held);
      else if (await changeFile(step)) done.push(wordsOf(step));
    } catch (error) {
      const words = error instanceof Error ? error.message : String(error);
      throw new Error(done.length ? `${words}. This was done before: ${done.join('; ')}` : words);
    }
  }
}

/**
 * @param {readonly FileEdit[]} files
 * @param {OpenDocument[]} held
 */
async function editTexts(files, held) {
  const wanted = files.filter(({ edits }) => edits.length > 0);
  const host = await editorHost();
  const opened = wanted.map(({ path }) => openDocument(workspaceId(path)));
  held.push(...opened);
  await Promise.all(opened.map(({ ready }) => ready));
  const buffers = opened.map(({ id }) => editable({ path: '', version: null }, id));
  for (const [at, buffer] of buffers.entries()) {
    const doc = /** @type {import('./host.js').HostDocument} */ (buffer.doc);
    host.languageServices.applyEdits(doc, wanted[at].edits);
  }
  for (const { id } of opened) showBehind(id);
}

/** @param {FileStep} step @returns {Promise<boolean>} false when there was nothing to do */
async function changeFile(step) {
  const id = workspaceId(step.path);
  const there = await fileInfo(id);
  if (step.kind === 'create') {
    if (there && !(await makeWay(id, step))) return false;
    await createFile(id, new Uint8Array());
  } else if (step.kind === 'rename') {
    const to = workspaceId(step.to);
    if ((await fileInfo(to)) && !(await makeWay(to, step))) return false;
    await call('file/rename', { from: id, to });
    followRename(id, to);
  } else {
    if (!there && step.lenient) return false;
    if (there?.directory && !step.recursive) throw new Error(`${id} is a folder`);
    await trash(id);
  }
  return true;
}

/**
 * Deals with a file that is where one shall be.
 * @param {string} id
 * @param {{overwrite: boolean, lenient: boolean}} step
 * @returns {Promise<boolean>} false when it shall stay
 */
async function makeWay(id, { overwrite, lenient }) {
  if (!overwrite && lenient) return false;
  if (!overwrite) throw new Error(`${id} is there already`);
  await trash(id);
  return true;
}

/** @param {string} id */
async function trash(id) {
  await call('file/delete', { path: id });
  closeGone((one) => isInside(one, id));
}

/** Gives a changed file a tab, behind the one in front. @param {string} id */
function showBehind(id) {
  if (isShown(id)) return;
  const { active } = tabs.value;
  const front = groupOf(tabs.value).active;
  const { state } = openTab(tabs.value, { kind: 'text', id });
  tabs.value = front ? focusTab(state, active, front) : state;
}
