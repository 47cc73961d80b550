// A line of actions above each conflict in a text.

import { effect } from '@preact/signals';
import { html } from 'htm/preact';
import { render } from 'preact';
import { runCommand } from '../shell/commands.js';
import { activeTab } from '../stores/tabs.js';
import { conflictsOf, decideIn } from './conflictmarks.js';
import { bufferOf, documents, tabs, textViews } from './state.js';

/**
 * @typedef {import('../stores/conflict.js').Choice} Choice
 * @typedef {import('./host.js').HostEditor} HostEditor
 * @typedef {import('../stores/buffers.js').TextBuffer} TextBuffer
 */

/** @type {[Choice, string][]} */
export const kChoices = [
  ['ours', 'Accept Ours'],
  ['theirs', 'Accept Theirs'],
  ['both', 'Accept Both'],
  ['bothTurned', 'Accept Both, Theirs First'],
  ['base', 'Accept Base'],
];

/** The first ones fit into a line above the text. */
const kInLine = 3;

/**
 * Keeps actions above the conflicts of what a view shows. The result takes them away.
 * @param {HostEditor} view
 * @param {TextBuffer} buffer
 * @param {string} id
 * @param {boolean} opens whether they lead to the conflict editor
 */
export function attachLenses(view, buffer, id, opens) {
  /** @type {(() => void)[]} */
  let drawn = [];
  let places = '';
  const clear = () => {
    for (const remove of drawn) remove();
    drawn = [];
  };
  const stop = effect(() => {
    const conflicts = conflictsOf(id);
    const now = conflicts.map(({ start }) => start).join();
    if (now === places) return;
    places = now;
    clear();
    if (!buffer.readOnly) drawn = conflicts.map(({ start }, at) => drawLens(view, buffer, { id, at, start, opens }));
  });
  return () => {
    stop();
    clear();
  };
}

/**
 * @param {HostEditor} view
 * @param {TextBuffer} buffer
 * @param {{id: string, at: number, start: number, opens: boolean}} lens
 */
function drawLens(view, buffer, { id, at, start, opens }) {
  const element = document.createElement('div');
  element.className = 'conflict-lens';
  const decide = (/** @type {Choice} */ choice) => {
    const conflict = conflictsOf(id)[at];
    if (conflict) decideIn(buffer, choice, { line: conflict.start + 1 });
    view.focus();
  };
  // By keyboard the commands do the same; here the keys belong to the text.
  render(
    html`
      ${kChoices
        .slice(0, kInLine)
        .map(([choice, words]) => html`<button type="button" tabindex="-1" onClick=${() => decide(choice)}>${words}</button>`)}
      ${opens && html`<button type="button" tabindex="-1" onClick=${() => runCommand('conflict.open', id)}>Open Conflict Editor</button>`}
    `,
    element,
  );
  const remove = view.insert(start, 1, element);
  return () => {
    render(null, element);
    remove();
  };
}

/** A view that is still to come is awaited so long. */
const kFrames = 120;

/** Attaches lenses to each text view as it shows one text after the other. */
export function followTexts() {
  /** @type {Map<string, {view: HostEditor, buffer: TextBuffer, stop: () => void}>} */
  const attached = new Map();
  /** @param {number} tries */
  const update = (tries) => {
    let waits = false;
    for (const { id: group } of tabs.value.groups) {
      const tab = activeTab(tabs.value, group);
      const buffer = tab?.kind === 'text' ? bufferOf(tab.id) : null;
      const view = textViews.get(group);
      const there = attached.get(group);
      const fits = there && there.view === view && there.buffer === buffer;
      if (fits) continue;
      there?.stop();
      attached.delete(group);
      if (tab && buffer && view?.shows(buffer.doc)) {
        attached.set(group, { view, buffer, stop: attachLenses(view, buffer, tab.id, true) });
      } else waits ||= buffer !== null;
    }
    for (const [group, { stop }] of attached) {
      if (tabs.value.groups.some(({ id }) => id === group)) continue;
      stop();
      attached.delete(group);
    }
    if (waits && tries > 0) requestAnimationFrame(() => update(tries - 1));
  };
  effect(() => {
    for (const { id } of tabs.value.groups) bufferOf(activeTab(tabs.value, id)?.id ?? '');
    void documents.value;
    // The views follow the tabs a moment later.
    requestAnimationFrame(() => update(kFrames));
  });
}
