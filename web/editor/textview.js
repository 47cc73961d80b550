// The text view of a group: one editor, made once, that shows the text in front.

import { html } from 'htm/preact';
import { useEffect, useRef } from 'preact/hooks';
import { effect } from '@preact/signals';
import { zoom } from '../look/zoom.js';
import { commandById } from '../shell/commands.js';
import { showMenu } from '../shell/menus.js';
import { peekAt } from './changepeek.js';
import { editorHost } from './lazy.js';
import { keepViews } from './session.js';
import { giveFocus, keep, takeRevealWish } from './tabactions.js';
import { cursor, tabs, textViews, titleOf, viewKey, viewStates, wordWrap } from './state.js';

const kTruncated = 'Only the first 12 MB of this file were read, so it cannot be edited here.';

/** Of the text; "" is a line between groups. */
const kMenu = [
  'editor.cut',
  'editor.copy',
  'editor.paste',
  '',
  'editor.find',
  'editor.replace',
  'editor.gotoLine',
  '',
  'editor.toggleComment',
  'editor.selectAll',
  'editor.selectAllMatches',
  '',
  'view.markdownPreview',
  'editor.language',
];

/** What a language server offers for the text. */
const kLanguageMenu = [
  'editor.definition',
  'editor.references',
  'editor.rename',
  'editor.quickFix',
  'editor.format',
];

/** Of a text with changes, or in a repository; left out where they mean nothing. */
const kChangeMenu = ['changes.peek', 'changes.stage', 'changes.stageLines', 'changes.revert', 'scm.compareStaged', 'history.show'];

function textMenu() {
  const usable = (/** @type {string[]} */ ids) => ids.filter((id) => commandById(id)?.when?.());
  return [...kMenu, '', ...usable(kLanguageMenu), '', ...usable(kChangeMenu)].map(menuItem);
}

/**
 * @param {string} command
 * @returns {import('../shell/menus.js').MenuItem}
 */
function menuItem(command) {
  return command ? { command } : { kind: 'separator' };
}

/**
 * @param {{group: string, id: string, buffer: import('./state.js').TextBuffer | null}} props
 *   without a buffer the view hides and waits
 */
export function TextView({ group, id, buffer }) {
  const place = useRef(/** @type {HTMLDivElement | null} */ (null));
  const view = useRef(/** @type {import('./host.js').HostEditor | null} */ (null));
  const shown = useRef('');

  useEffect(() => {
    let alive = true;
    void editorHost().then((host) => {
      if (!alive || !place.current) return;
      view.current = makeView(host, place.current, group);
      showText(view.current, shown, group, id, buffer);
    });
    return () => {
      alive = false;
      if (view.current) leave(view.current, shown.current, group);
      view.current = null;
    };
  }, [group]);

  useEffect(() => {
    if (view.current) showText(view.current, shown, group, id, buffer);
  }, [id, buffer]);

  useEffect(() => {
    if (!buffer) return undefined;
    const stopKeeping = buffer.onEdit(() => keep(`text:${id}`));
    const stopOptions = effect(() => {
      const label = `${titleOf(id)}${buffer.readOnly ? ', read-only' : ''}`;
      const wrap = wordWrap.value;
      void editorHost().then(() =>
        view.current?.configure({ readOnly: buffer.readOnly !== '', message: kTruncated, wrap, label }),
      );
    });
    return () => {
      stopKeeping();
      stopOptions();
    };
  }, [id, buffer]);

  return html`<div class="text-view" ref=${place} hidden=${!buffer}></div>`;
}

/**
 * @param {typeof import('./host.js')} host
 * @param {HTMLElement} place
 * @param {string} group
 */
function makeView(host, place, group) {
  const made = host.createEditor(place);
  textViews.set(group, made);
  made.onCursor((now) => {
    if (tabs.value.active === group) cursor.value = now;
  });
  made.onFocus(() => {
    if (tabs.value.active !== group) tabs.value = { ...tabs.value, active: group };
  });
  made.onMenu((x, y) => void showMenu({ x, y, label: 'Text', items: textMenu() }));
  made.onMark((line) => {
    if (tabs.value.active !== group) tabs.value = { ...tabs.value, active: group };
    // After the press has given the focus to the text.
    requestAnimationFrame(() => peekAt(line));
  });
  place.addEventListener('focusout', () => keepViews());
  const stopZoom = zoom.subscribe(() => requestAnimationFrame(() => made.rescale()));
  const dispose = made.dispose;
  made.dispose = () => {
    stopZoom();
    dispose();
  };
  return made;
}

/**
 * @param {import('./host.js').HostEditor} view
 * @param {{current: string}} shown
 * @param {string} group
 * @param {string} id
 * @param {import('./state.js').TextBuffer | null} buffer
 */
function showText(view, shown, group, id, buffer) {
  if (shown.current) viewStates.set(viewKey(group, shown.current), view.viewState());
  shown.current = buffer ? id : '';
  if (!buffer) return view.clear();
  view.show(buffer.doc, viewStates.get(viewKey(group, id)));
  requestAnimationFrame(() => {
    takeRevealWish(group, id);
    giveFocus(group);
  });
}

/**
 * @param {import('./host.js').HostEditor} view
 * @param {string} shown
 * @param {string} group
 */
function leave(view, shown, group) {
  if (shown) viewStates.set(viewKey(group, shown), view.viewState());
  if (textViews.get(group) === view) textViews.delete(group);
  view.dispose();
}
