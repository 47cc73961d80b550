// The view of a comparison with git: two texts, how many changes there are, and steps among them.

import { html } from 'htm/preact';
import { useEffect, useRef, useState } from 'preact/hooks';
import { zoom } from '../look/zoom.js';
import { commandById, enabled, runCommand } from '../shell/commands.js';
import { icon } from '../shell/icons.js';
import { showMenu } from '../shell/menus.js';
import { IconButton } from '../shell/places.js';
import { gitEpoch, gitFailure, gitState, readSides, repoFor } from '../stores/git.js';
import { diffRule } from '../stores/gitdiffs.js';
import { readCommitSides } from '../stores/historydetail.js';
import { readVersionSides } from '../stores/localversionsshown.js';
import { isOutside } from '../stores/gitstatus.js';
import { inlineDiff, toggleInline } from './diff.js';
import { enterDiff } from './diffremark.js';
import { enterSides } from './hunkactions.js';
import { editorHost } from './lazy.js';
import { OutsideBanner } from './outsideview.js';
import { bufferOf, cursor, diffViews, documents, tabs, titleOf } from './state.js';
import { giveFocus, keep, openFile } from './tabactions.js';

/** @typedef {ReturnType<typeof import('./host.js').createCompare>} Compare */

/**
 * @typedef {object} Sides
 * @property {string} left
 * @property {import('./state.js').TextBuffer | string} right
 * @property {string} language "" where only the name of the file can tell
 */

/**
 * @param {object} props
 * @param {import('../stores/tabs.js').Tab} props.tab
 * @param {import('../stores/gitdiffs.js').DiffKind} props.kind
 * @param {string} props.group
 */
export function DiffView({ tab, kind, group }) {
  const [changes, setChanges] = useState(/** @type {number | null} */ (null));
  const [sides, failure] = useSides(tab.id, kind);
  useEffect(() => giveFocus(group), [failure]);
  const name = titleOf(tab.id);
  return html`<div class="diff">
    <${DiffBar} id=${tab.id} kind=${kind} group=${group} changes=${changes} />
    ${typeof sides?.right === 'object' && html`<${OutsideBanner} id=${tab.id} buffer=${sides.right} />`}
    ${failure && html`<p class="pane-note" role="alert" tabindex="0">Could not compare ${name}: ${failure}</p>`}
    ${!failure && !sides && html`<p class="pane-note" role="status">Comparing ${name}…</p>`}
    ${
      sides &&
      html`<${DiffTexts}
        key=${typeof sides.right === 'string' ? 'texts' : 'file'}
        tab=${tab}
        kind=${kind}
        group=${group}
        sides=${sides}
        onChanges=${setChanges}
      />`
    }
  </div>`;
}

/** What the bar offers for parts of a comparison; by keys and menu the selected lines alone, too. @type {Record<string, [string, string][]>} */
const kParts = {
  diff: [
    ['add', 'changes.stage'],
    ['discard', 'changes.discard'],
  ],
  'diff-staged': [['remove', 'changes.unstage']],
};

/** @param {{id: string, kind: import('../stores/gitdiffs.js').DiffKind, group: string, changes: number | null}} props */
function DiffBar({ id, kind, group, changes }) {
  const { words } = diffRule(kind);
  const steps = () => diffViews.get(group)?.steps;
  /** @param {string} command */
  const run = (command) => {
    if (tabs.value.active !== group) tabs.value = { ...tabs.value, active: group };
    return runCommand(command);
  };
  return html`<div class="compare-bar" role="toolbar" aria-label="Comparison">
    <span class="compare-words">
      ${words[0]} ${icon('arrow-right')} ${words[1]}
      <span class="diff-count" role="status">${changes === null ? '' : countWords(changes)}</span>
    </span>
    <${IconButton} icon="arrow-up" label="Previous Change" onClick=${() => steps()?.previousChange()} />
    <${IconButton} icon="arrow-down" label="Next Change" onClick=${() => steps()?.nextChange()} />
    ${changes !== 0 && kParts[kind]?.map(([name, command]) => html`<${IconButton} icon=${name} command=${command} onClick=${() => run(command)} />`)}
    <${IconButton} icon="list-flat" label="Inline View" pressed=${inlineDiff.value} onClick=${toggleInline} />
    ${!isOutside(id) && html`<${IconButton} icon="go-to-file" label="Open File" onClick=${() => openFile(id)} />`}
  </div>`;
}

/** @param {number} changes */
function countWords(changes) {
  return changes === 1 ? '1 change' : `${changes || 'No'} changes`;
}

/**
 * Both texts, read again when git's may have changed.
 * @param {string} id
 * @param {import('../stores/gitdiffs.js').DiffKind} kind
 * @returns {[Sides | null, string]} and why there are none
 */
function useSides(id, kind) {
  const [read, setRead] = useState(
    /** @type {{id: string, left: string, right: string, failure: string} | null} */ (null),
  );
  const { local } = diffRule(kind);
  const file = local ? null : repoFor(id);
  const known = local !== undefined || file !== null;
  useEffect(() => {
    let alive = true;
    const reading = local ? readVersionSides(id, local) : file && readBoth(file, kind);
    if (!reading) return undefined;
    reading
      .then((texts) => alive && setRead({ id, ...texts, failure: '' }))
      .catch((error) => alive && setRead({ id, left: '', right: '', failure: error.message }));
    return () => {
      alive = false;
    };
    // A version stays what it is, even when it is dropped while it is looked at.
  }, [id, kind, known, local ? 0 : gitEpoch.value]);

  if (!known) return [null, noRepository()];
  if (!read || read.id !== id) return [null, ''];
  if (read.failure) return [null, read.failure];
  const content = diffRule(kind).right || isOutside(id) ? null : documents.value.get(id)?.content.value;
  if (content?.kind === 'loading' || content === undefined) return [null, ''];
  const buffer = bufferOf(id);
  const right = content && buffer ? buffer : read.right;
  if (!buffer && !read.left && !read.right && content?.kind === 'failed') return [null, kNothing];
  const binary = content?.kind === 'facts' || read.left.includes('\0') || read.right.includes('\0');
  if (binary) return [null, 'it is not text'];
  return [{ left: read.left, right, language: buffer?.language.value ?? '' }, ''];
}

/** Git tells the last word only of a conflicted path with blanks, and quotes names with odd letters. */
const kNothing = 'nothing has this path. Git may have told only a part of it, as it does with blanks and quotes';

/** Why a file has no repository; "" while that is not known yet. */
function noRepository() {
  if (gitState.value === 'missing') return 'git was not found';
  if (gitState.value === 'ready') return 'it is in no git repository that was there at the start';
  return gitFailure.value;
}

/**
 * @param {{repo: import('../stores/gitstatus.js').Repo, path: string}} file
 * @param {import('../stores/gitdiffs.js').DiffKind} kind
 */
async function readBoth(file, kind) {
  const { left, right, commit } = diffRule(kind);
  if (commit) return readCommitSides(file, commit);
  const [older, newer] = await Promise.all([readSides(file, left), right ? readSides(file, right) : null]);
  return { left: older.original, right: newer ? newer.original : older.modified };
}

/**
 * @param {object} props
 * @param {import('../stores/tabs.js').Tab} props.tab
 * @param {import('../stores/gitdiffs.js').DiffKind} props.kind
 * @param {string} props.group
 * @param {Sides} props.sides
 * @param {(changes: number | null) => void} props.onChanges
 */
function DiffTexts({ tab, kind, group, sides, onChanges }) {
  const place = useRef(/** @type {HTMLDivElement | null} */ (null));
  const view = useRef(/** @type {Compare | null} */ (null));
  const { left, right, language } = sides;
  const latest = useRef(sides);
  latest.current = sides;
  const text = typeof right === 'string' ? right : '';
  const buffer = typeof right === 'string' ? null : right;

  useEffect(() => {
    let alive = true;
    let leave = () => {};
    void editorHost().then((host) => {
      if (!alive || !place.current) return;
      const { words } = diffRule(kind);
      const made = host.createCompare(place.current, {
        original: latest.current.left,
        modified: buffer ? buffer.doc : text,
        language: language || host.languageFor(titleOf(tab.id)),
        labels: [`${titleOf(tab.id)}, ${words[0]}`, `${titleOf(tab.id)}, ${words[1]}`],
        readOnly: buffer?.readOnly !== '',
      });
      view.current = made;
      const leaveGroup = enter(made, tab.key, group, buffer?.readOnly === '', onChanges);
      const leaveSides = enterSides(group, {
        key: tab.key,
        views: { old: made.leftView, now: made.rightView },
        left: () => latest.current.left,
        right: () => linesOf(latest.current.right),
      });
      const textOf = (/** @type {'old' | 'new'} */ side) =>
        side === 'old' ? latest.current.left : linesOf(latest.current.right).join('\n');
      const leaveRemarks = enterDiff(group, { id: tab.id, kind, made, text: textOf });
      leave = () => {
        leaveRemarks();
        leaveSides();
        leaveGroup();
      };
    });
    const stopKeeping = buffer?.onEdit(() => keep(tab.key));
    return () => {
      alive = false;
      stopKeeping?.();
      leave();
      view.current?.dispose();
      view.current = null;
      onChanges(null);
    };
  }, [tab.key, buffer, group]);
  useEffect(() => void view.current?.setOriginal(left), [left]);
  useEffect(() => void view.current?.setModified(text), [text]);
  return html`<div class="diff-view" ref=${place}></div>`;
}

/** @param {Sides['right']} right */
const linesOf = (right) => (typeof right === 'string' ? right.split('\n') : right.doc.lines());

/**
 * Makes a comparison known to keys, menus and the status bar. The result takes it out again.
 * @param {Compare} made
 * @param {string} key of its tab
 * @param {string} group
 * @param {boolean} editable
 * @param {(changes: number) => void} onChanges
 */
function enter(made, key, group, editable, onChanges) {
  const { leftView, rightView } = made;
  diffViews.set(group, { key, view: rightView, steps: made });
  made.onChanges(onChanges);
  for (const side of [leftView, rightView]) {
    const mayType = side === rightView && editable;
    side.onMenu((x, y) => void showMenu({ x, y, label: 'Text', items: sideMenu(side, mayType) }));
    side.onFocus(() => {
      if (tabs.value.active !== group) tabs.value = { ...tabs.value, active: group };
    });
  }
  rightView.onCursor((now) => {
    if (tabs.value.active === group) cursor.value = now;
  });
  const stopInline = inlineDiff.subscribe((inline) => made.setInline(inline));
  const stopZoom = zoom.subscribe(() => requestAnimationFrame(() => made.rescale()));
  requestAnimationFrame(() => giveFocus(group));
  return () => {
    stopInline();
    stopZoom();
    if (diffViews.get(group)?.view === rightView) diffViews.delete(group);
  };
}

/** What can be done with a side by its menu; the last three only where it can be typed into. */
const kSideActions = [
  ['Copy', 'editor.action.clipboardCopyAction'],
  ['Find', 'actions.find'],
  ['Select All', 'editor.action.selectAll'],
  ['Cut', 'editor.action.clipboardCutAction'],
  ['Paste', 'editor.action.clipboardPasteAction'],
  ['Undo', 'undo'],
];

const kPartCommands = ['stage', 'unstage', 'discard'].flatMap((what) => [`changes.${what}`, `changes.${what}Lines`]);

/** @param {string} id */
function usable(id) {
  const command = commandById(id);
  return command !== undefined && enabled(command);
}

/**
 * @param {Compare['leftView']} side
 * @param {boolean} editable
 * @returns {import('../shell/menus.js').MenuItem[]}
 */
function sideMenu(side, editable) {
  const actions = kSideActions.slice(0, editable ? kSideActions.length : 3).map(([label, action]) => ({
    label,
    run: () => {
      side.focus();
      side.run(action);
    },
  }));
  const parts = kPartCommands.filter((id) => usable(id)).map((command) => ({ command }));
  return [
    ...parts,
    ...(parts.length ? [{ kind: /** @type {const} */ ('separator') }] : []),
    { command: 'basket.remark' },
    { kind: /** @type {const} */ ('separator') },
    { command: 'changes.previous' },
    { command: 'changes.next' },
    { command: 'diff.inline' },
    { kind: 'separator' },
    ...actions,
  ];
}
