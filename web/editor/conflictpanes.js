// The panes of the conflict editor: the whole texts of both sides and of what they began from, the buttons
// that decide, and the file itself below them.

import { effect } from '@preact/signals';
import { html } from 'htm/preact';
import { useEffect, useRef, useState } from 'preact/hooks';
import { zoom } from '../look/zoom.js';
import { runCommand } from '../shell/commands.js';
import { showMenu } from '../shell/menus.js';
import { IconButton } from '../shell/places.js';
import { basePlaces, basesOf, conflictAt, placesIn } from '../stores/conflict.js';
import { baseName } from '../stores/paths.js';
import { attachLenses } from './conflictlens.js';
import { conflictsOf, ground } from './conflictmarks.js';
import { editorHost } from './lazy.js';
import { OutsideBanner } from './outsideview.js';
import { tabs } from './state.js';

/**
 * @typedef {import('../stores/conflictgit.js').Sides} Sides
 * @typedef {import('../stores/buffers.js').TextBuffer} TextBuffer
 * @typedef {import('./host.js').HostEditor} HostEditor
 * @typedef {{id: string, buffer: TextBuffer, view: HostEditor, bases: (string[] | null)[]}} Shown
 */

/** The panes there are, by group. @type {Map<string, Shown>} */
const shownPages = new Map();

/** @param {string} group */
export const shownIn = (group) => shownPages.get(group) ?? null;

/** Whether panes anywhere show a file. @param {string} id */
export const isInPanes = (id) => [...shownPages.values()].some((shown) => shown.id === id);

/** @type {{side: 'ours' | 'base' | 'theirs', title: string, command: string, label: string}[]} */
const kSides = [
  { side: 'ours', title: 'Ours', command: 'conflict.ours', label: 'Accept Ours' },
  { side: 'base', title: 'Base', command: 'conflict.base', label: 'Accept Base' },
  { side: 'theirs', title: 'Theirs', command: 'conflict.theirs', label: 'Accept Theirs' },
];

/** @param {{id: string, group: string, sides: Sides, buffer: TextBuffer}} props */
export function Panes({ id, group, sides, buffer }) {
  const [at, setAt] = useState(0);
  const result = useRef(/** @type {HTMLDivElement | null} */ (null));
  const view = useRef(/** @type {HostEditor | null} */ (null));
  const conflicts = conflictsOf(id);
  const current = Math.max(0, Math.min(at, conflicts.length - 1));

  useEffect(() => {
    let alive = true;
    let leave = () => {};
    void editorHost().then((host) => {
      if (!alive || !result.current) return;
      const made = host.createEditor(result.current);
      view.current = made;
      leave = enter(made, { id, group, buffer, sides }, setAt);
    });
    return () => {
      alive = false;
      leave();
      view.current = null;
    };
  }, [id, group, buffer, sides]);
  /** @param {number} index */
  const go = (index) => {
    setAt(index);
    const conflict = conflictsOf(id)[index];
    if (conflict) view.current?.reveal(conflict.start + 1);
  };
  /** @param {string} command */
  const run = (command) => {
    if (tabs.value.active !== group) tabs.value = { ...tabs.value, active: group };
    return runCommand(command);
  };
  const lines = buffer.doc.lines();
  const [first] = conflicts;
  const labels = { ours: first?.ours.label, base: '', theirs: first?.theirs.label };
  return html`<div class="conflict">
    <${OutsideBanner} id=${id} buffer=${buffer} />
    <${Bar} conflicts=${conflicts} current=${current} go=${go} run=${run} />
    <div class="conflict-sides">
      ${kSides.map(({ side, title, command, label }) => {
        const text = sides[side];
        return html`<section class="conflict-side" key=${side} aria-label=${title}>
          <header>
            <h3>${title} <span>${labels[side] ?? ''}</span></h3>
            <button type="button" class="button" disabled=${conflicts.length === 0 || text === null} onClick=${() => run(command)}>${label}</button>
          </header>
          ${
            text === null
              ? html`<p class="pane-note">The file is new on both sides.</p>`
              : html`<${SideText} id=${id} side=${side} text=${text} language=${buffer.language.value} places=${placesOf(lines, conflicts, sides, side)} current=${current} />`
          }
        </section>`;
      })}
    </div>
    <header class="conflict-result-head">
      <h3>${baseName(id)}, to be kept</h3>
      <button type="button" class="button" disabled=${conflicts.length === 0} onClick=${() => run('conflict.both')}>Accept Both</button>
      <button type="button" class="button" disabled=${conflicts.length === 0} onClick=${() => run('conflict.bothTurned')}>Both, Theirs First</button>
    </header>
    <div class="conflict-result" ref=${result}></div>
  </div>`;
}

/**
 * @param {{conflicts: readonly unknown[], current: number, go: (at: number) => void, run: (command: string) => unknown}} props
 */
function Bar({ conflicts, current, go, run }) {
  const count = conflicts.length;
  const words = count === 0 ? 'No conflict is left' : `Conflict ${current + 1} of ${count}`;
  return html`<div class="compare-bar" role="toolbar" aria-label="Conflicts">
    <span class="compare-words" role="status">${words}</span>
    ${
      count > 1 &&
      html`<select class="field conflict-list" aria-label="Conflicts" value=${current} onChange=${(/** @type {Event} */ event) => go(Number(/** @type {HTMLSelectElement} */ (event.target).value))}>
        ${conflicts.map((conflict, at) => html`<option key=${at} value=${at}>Conflict ${at + 1}, line ${/** @type {any} */ (conflict).start + 1}</option>`)}
      </select>`
    }
    <${IconButton} icon="arrow-up" label="Previous Conflict" onClick=${() => run('conflict.previous')} />
    <${IconButton} icon="arrow-down" label="Next Conflict" onClick=${() => run('conflict.next')} />
    <button type="button" class="button" disabled=${count === 0} onClick=${() => run('conflict.allOurs')}>All Ours</button>
    <button type="button" class="button" disabled=${count === 0} onClick=${() => run('conflict.allTheirs')}>All Theirs</button>
    <button type="button" class=${`button ${count === 0 ? 'primary' : ''}`} tabindex="0" onClick=${() => run('conflict.resolve')}>Mark as Resolved</button>
  </div>`;
}

/**
 * Where the conflicts lie on a side.
 * @param {string[]} lines
 * @param {import('../stores/conflict.js').Conflict[]} conflicts
 * @param {Sides} sides
 * @param {'ours' | 'base' | 'theirs'} side
 */
function placesOf(lines, conflicts, sides, side) {
  const text = sides[side];
  if (text === null) return [];
  const there = text.split('\n');
  if (side !== 'base') return placesIn(lines, conflicts, side, there);
  return basePlaces(lines, conflicts, sides.ours.split('\n'), there);
}

/**
 * Makes the editor of the result known, and keeps what goes with it. The result takes it out again.
 * @param {HostEditor} made
 * @param {{id: string, group: string, buffer: TextBuffer, sides: Sides}} shown
 * @param {(at: number) => void} onConflict
 */
function enter(made, { id, group, buffer, sides }, onConflict) {
  made.show(buffer.doc, null);
  made.configure({ readOnly: buffer.readOnly !== '', wrap: false, label: `${baseName(id)}, to be kept` });
  const { ours, base } = sides;
  /** @type {Shown} */
  const entry = { id, buffer, view: made, bases: [] };
  shownPages.set(group, entry);
  const stopBases = effect(() => {
    const conflicts = conflictsOf(id);
    entry.bases = base === null ? [] : basesOf(buffer.doc.lines(), conflicts, ours.split('\n'), base.split('\n'));
  });
  const stopLenses = attachLenses(made, buffer, id, false);
  made.onCursor(({ line }) => {
    const at = conflictAt(conflictsOf(id), line);
    if (at >= 0) onConflict(at);
  });
  made.onFocus(() => {
    if (tabs.value.active !== group) tabs.value = { ...tabs.value, active: group };
  });
  made.onMenu((x, y) => void showMenu({ x, y, label: 'Text', items: textMenu(made) }));
  const [first] = conflictsOf(id);
  if (first) made.reveal(first.start + 1);
  const stopZoom = zoom.subscribe(() => requestAnimationFrame(() => made.rescale()));
  return () => {
    stopZoom();
    stopLenses();
    stopBases();
    if (shownPages.get(group) === entry) shownPages.delete(group);
    made.dispose();
  };
}

const kTextActions = [
  ['Undo', 'undo'],
  ['Redo', 'redo'],
  ['Cut', 'editor.action.clipboardCutAction'],
  ['Copy', 'editor.action.clipboardCopyAction'],
  ['Paste', 'editor.action.clipboardPasteAction'],
  ['Find', 'actions.find'],
];

/**
 * @param {HostEditor} view
 * @returns {import('../shell/menus.js').MenuItem[]}
 */
function textMenu(view) {
  const ids = ['ours', 'theirs', 'both', 'bothTurned', 'base'];
  const actions = kTextActions.map(([label, action]) => ({
    label,
    run: () => {
      view.focus();
      view.run(action);
    },
  }));
  return [...ids.map((id) => ({ command: `conflict.${id}` })), { kind: 'separator' }, ...actions];
}

/**
 * A side's whole text, to look at. The place of the current conflict is brought into view.
 * @param {object} props
 * @param {string} props.id
 * @param {string} props.side
 * @param {string} props.text
 * @param {string} props.language
 * @param {({from: number, to: number} | null)[]} props.places
 * @param {number} props.current
 */
function SideText({ id, side, text, language, places, current }) {
  const place = useRef(/** @type {HTMLDivElement | null} */ (null));
  const [shown, setShown] = useState(/** @type {{view: HostEditor, doc: import('./host.js').HostDocument} | null} */ (null));
  const decorations = useRef(/** @type {string[]} */ ([]));
  useEffect(() => {
    let alive = true;
    /** @type {(() => void) | null} */
    let leave = null;
    void editorHost().then((host) => {
      if (!alive || !place.current) return;
      const doc = host.createDocument(text, language, '\n');
      const view = host.createEditor(place.current);
      view.show(doc, null);
      view.configure({ readOnly: true, wrap: false, label: `${baseName(id)}, ${side}` });
      const stopZoom = zoom.subscribe(() => requestAnimationFrame(() => view.rescale()));
      setShown({ view, doc });
      leave = () => {
        stopZoom();
        view.dispose();
        setTimeout(() => doc.dispose());
      };
    });
    return () => {
      alive = false;
      leave?.();
    };
  }, [id, side, text, language]);
  const marked = JSON.stringify(places);
  useEffect(() => {
    if (!shown) return;
    const grounds = places.flatMap((one) => (one && one.to > one.from ? [ground(one.from + 1, one.to, `conflict-${side}`)] : []));
    decorations.current = shown.doc.model.deltaDecorations(decorations.current, grounds);
    const here = places[current];
    if (here) shown.view.reveal(here.from + 1);
  }, [shown, marked, current]);
  return html`<div class="conflict-text" ref=${place}></div>`;
}
