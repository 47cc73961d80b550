// The tabs of a group, by mouse and by keyboard.

import { html } from 'htm/preact';
import { useEffect, useRef } from 'preact/hooks';
import { signal } from '@preact/signals';
import { keyFor } from '../shell/commands.js';
import { icon } from '../shell/icons.js';
import { showMenu } from '../shell/menus.js';
import { diffRule, isDiff } from '../stores/gitdiffs.js';
import { isOutside } from '../stores/gitstatus.js';
import { tabHints } from '../stores/paths.js';
import { allTabs } from '../stores/tabs.js';
import { outsideItems } from './openoutside.js';
import { closeOne, focusGroup, keep, move, showTab } from './tabactions.js';
import { bufferOf, isUntitled, tabs, titleOf } from './state.js';

/**
 * @typedef {import('../stores/tabs.js').Group} Group
 * @typedef {import('../stores/tabs.js').Tab} Tab
 */

/**
 * The tab that is being dragged.
 * @type {import('@preact/signals').Signal<{group: string, key: string} | null>}
 */
const dragged = signal(null);

const kKindPrefix = { text: '', markdown: 'Preview of ', compare: 'Compare ', plan: '', page: '' };

/** @param {Tab} tab */
function tabTitle({ kind, id }) {
  return isDiff(kind) ? titleOf(id) + diffRule(kind).suffix : kKindPrefix[kind] + titleOf(id);
}

/** @param {{group: Group}} props */
export function TabStrip({ group }) {
  const strip = useRef(/** @type {HTMLDivElement | null} */ (null));
  const hints = tabHints(
    [...new Set(allTabs(tabs.value).map((tab) => tab.id))].filter((id) => !isUntitled(id)),
  );
  useEffect(() => {
    strip.current
      ?.querySelector('[aria-selected="true"]')
      ?.scrollIntoView({ block: 'nearest', inline: 'nearest' });
  }, [group.active, group.tabs.length]);
  /** @param {KeyboardEvent} event */
  const onKey = (event) => stripKey(event, group);
  return html`<div
    class="tab-strip"
    role="tablist"
    aria-label="Open files"
    ref=${strip}
    onKeyDown=${onKey}
    onWheel=${(/** @type {WheelEvent} */ event) => {
      if (strip.current && event.deltaY) strip.current.scrollLeft += event.deltaY;
    }}
    onDragOver=${(/** @type {DragEvent} */ event) => dragged.value && event.preventDefault()}
    onDrop=${() => drop(group.id, group.tabs.length)}
  >
    ${group.tabs.map(
      (tab, index) =>
        html`<${TabItem} key=${tab.key} tab=${tab} group=${group} index=${index} hint=${hints.get(tab.id) ?? ''} />`,
    )}
  </div>`;
}

/**
 * @param {string} group
 * @param {number} index
 */
function drop(group, index) {
  const from = dragged.value;
  dragged.value = null;
  if (from) move(from.group, from.key, group, index);
}

/**
 * @param {KeyboardEvent} event
 * @param {Group} group
 */
function stripKey(event, group) {
  const at = group.tabs.findIndex((tab) => tab.key === group.active);
  const last = group.tabs.length - 1;
  const to = { ArrowLeft: at - 1, ArrowRight: at + 1, Home: 0, End: last }[event.key];
  const tab = to === undefined ? undefined : group.tabs[(to + last + 1) % (last + 1)];
  if (tab) {
    event.preventDefault();
    showTab(group.id, tab.key);
    const strip = /** @type {HTMLElement} */ (event.currentTarget);
    requestAnimationFrame(() => {
      const front = /** @type {HTMLElement | null} */ (strip.querySelector('[aria-selected="true"]'));
      front?.focus();
    });
  } else if (event.key === 'Enter' || event.key === ' ') {
    event.preventDefault();
    keep(group.active);
    focusGroup(group.id);
  } else if (event.key === 'Delete') {
    event.preventDefault();
    void closeOne(group.id);
  }
}

/** @param {{tab: Tab, group: Group, index: number, hint: string}} props */
function TabItem({ tab, group, index, hint }) {
  const front = tab.key === group.active;
  const buffer = bufferOf(tab.id);
  const dirty = buffer?.dirty.value ?? false;
  const title = tabTitle(tab);
  const state = [
    dirty && 'unsaved',
    buffer?.readOnly && 'read-only',
    buffer?.diskChanged.value && 'changed on disk',
    buffer?.gone.value && 'deleted on disk',
  ]
    .filter(Boolean)
    .join(', ');
  /** @param {MouseEvent} event */
  const onContext = (event) => {
    event.preventDefault();
    showTab(group.id, tab.key);
    void showMenu({ x: event.clientX, y: event.clientY, label: 'Tab', items: tabMenu(tab) });
  };
  return html`<div
    class=${`tab ${front ? 'front' : ''} ${tab.preview ? 'preview' : ''} ${dirty ? 'dirty' : ''} ${buffer?.gone.value ? 'gone' : ''}`}
    role="tab"
    draggable="true"
    tabindex=${front ? 0 : -1}
    aria-selected=${front}
    aria-label=${[hint ? `${title} ${hint}` : title, state].filter(Boolean).join(', ')}
    title=${isUntitled(tab.id) ? title : tab.id}
    onPointerDown=${(/** @type {PointerEvent} */ event) => {
      if (event.button === 0) showTab(group.id, tab.key);
    }}
    onClick=${() => focusGroup(group.id)}
    onDblClick=${() => keep(tab.key)}
    onAuxClick=${(/** @type {MouseEvent} */ event) => {
      if (event.button === 1) void closeOne(group.id, tab.key);
    }}
    onContextMenu=${onContext}
    onDragStart=${(/** @type {DragEvent} */ event) => {
      dragged.value = { group: group.id, key: tab.key };
      event.dataTransfer?.setData('text/x-marlin-tab', tab.key);
    }}
    onDragEnd=${() => {
      dragged.value = null;
    }}
    onDrop=${(/** @type {DragEvent} */ event) => {
      event.stopPropagation();
      const box = /** @type {HTMLElement} */ (event.currentTarget).getBoundingClientRect();
      drop(group.id, event.clientX > box.left + box.width / 2 ? index + 1 : index);
    }}
  >
    <span class="tab-title">${title}</span>
    ${hint && html`<span class="tab-hint">${hint}</span>`}
    <span
      class="tab-close"
      aria-hidden="true"
      title=${`Close (${keyFor('file.close')})`}
      onPointerDown=${(/** @type {Event} */ event) => event.stopPropagation()}
      onClick=${(/** @type {Event} */ event) => {
        event.stopPropagation();
        void closeOne(group.id, tab.key);
      }}
    >${icon(dirty ? 'circle-filled' : 'close')}</span>
  </div>`;
}

/**
 * @param {Tab} tab
 * @returns {import('../shell/menus.js').MenuItem[]}
 */
function tabMenu(tab) {
  const isFile = !isUntitled(tab.id) && !isOutside(tab.id);
  return [
    { command: 'file.close' },
    { command: 'file.closeOthers' },
    { command: 'file.closeRight' },
    { command: 'file.closeAll' },
    { kind: 'separator' },
    ...(tab.preview ? [{ command: 'file.keepOpen' }] : []),
    { command: 'view.splitRight' },
    { command: 'view.splitDown' },
    ...(isFile
      ? /** @type {import('../shell/menus.js').MenuItem[]} */ ([
          { kind: 'separator' },
          { command: 'file.copyPath', arg: tab.id },
          { command: 'file.reveal', arg: tab.id },
          ...outsideItems(tab.id),
          { command: 'explorer.show', arg: tab.id, label: 'Show in Explorer' },
        ])
      : []),
  ];
}
