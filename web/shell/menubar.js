// The menus at the top, as rows of command ids. A command that is not there today has no item, so
// services that join later only need their ids in these rows.

import { html } from 'htm/preact';
import { useRef, useState } from 'preact/hooks';
import { ring } from './focus.js';
import { icon } from './icons.js';
import { readyItems, showMenu } from './menus.js';

/** Each menu is a list of groups with a line between them. @type {{title: string, groups: string[][]}[]} */
const MENUS = [
  {
    title: 'File',
    groups: [
      ['file.new', 'explorer.newFile', 'explorer.newFolder'],
      ['explorer.addFolder', 'explorer.removeFolder'],
      ['file.save', 'file.saveAs', 'file.saveAll'],
      ['file.revert', 'file.close', 'file.closeAll', 'file.reopenClosed'],
      ['history.show', 'file.openOutside'],
      ['settings.open', 'help.keys'],
      ['window.quit'],
    ],
  },
  {
    title: 'Edit',
    groups: [
      ['editor.undo', 'editor.redo'],
      ['editor.cut', 'editor.copy', 'editor.paste'],
      ['editor.find', 'editor.findNext', 'editor.findPrevious', 'editor.replace'],
      ['search.focus', 'search.replace'],
      ['editor.toggleComment', 'editor.toggleBlockComment', 'editor.format'],
      ['editor.rename', 'editor.quickFix', 'editor.refactor'],
    ],
  },
  {
    title: 'Selection',
    groups: [
      ['editor.selectAll', 'editor.expandSelection', 'editor.shrinkSelection'],
      ['editor.copyLineUp', 'editor.copyLineDown', 'editor.moveLineUp', 'editor.moveLineDown'],
      ['editor.lineAbove', 'editor.lineBelow', 'editor.joinLines', 'editor.deleteLine'],
      ['editor.cursorAbove', 'editor.cursorBelow', 'editor.addNextMatch', 'editor.selectAllMatches'],
    ],
  },
  {
    title: 'View',
    groups: [
      ['palette.show'],
      ['explorer.focus', 'search.focus', 'scm.focus', 'chat.focus', 'terminal.toggle', 'outline.focus'],
      ['panel.problems', 'panel.jobs', 'servers.show', 'panel.log', 'panel.health'],
      ['layout.toggleSide', 'layout.toggleBottom', 'layout.toggleRight', 'layout.zen'],
      ['view.splitRight', 'view.splitDown', 'view.wordWrap', 'view.markdownPreview'],
      ['view.breadcrumbs', 'view.minimap', 'view.stickyScroll', 'view.bracketColors', 'view.codeLens', 'view.inlayHints'],
      ['look.theme', 'look.zoomIn', 'look.zoomOut', 'look.zoomReset'],
    ],
  },
  {
    title: 'Go',
    groups: [
      ['go.file', 'search.everywhere'],
      ['search.next', 'search.previous'],
      ['editor.gotoLine', 'editor.gotoBracket', 'editor.symbols', 'editor.workspaceSymbols'],
      ['editor.definition', 'editor.typeDefinition', 'editor.implementation', 'editor.references'],
      ['problems.next', 'problems.previous'],
      ['changes.next', 'changes.previous', 'changes.peek'],
      ['view.nextTab', 'view.previousTab', 'view.nextGroup', 'view.previousGroup'],
      ['layout.nextPart', 'layout.previousPart'],
    ],
  },
  {
    title: 'Terminal',
    groups: [
      ['terminal.new', 'terminal.newClaude', 'terminal.split', 'terminal.newBesideFile'],
      ['terminal.find', 'terminal.commands', 'terminal.failedCommands'],
      ['terminal.rename', 'terminal.clear', 'terminal.kill'],
    ],
  },
  {
    title: 'Window',
    groups: [['window.minimize', 'window.maximize'], ['window.close']],
  },
  { title: 'Help', groups: [['help.keys', 'keys.import'], ['help.licences', 'help.about']] },
];

/** @param {string[][]} groups */
const groupItems = (groups) =>
  readyItems(
    groups.flatMap((ids) => [
      ...ids.map((command) => ({ command })),
      { kind: /** @type {const} */ ('separator') },
    ]),
  );

const menus = () =>
  MENUS.map(({ title, groups }) => ({ label: title, items: groupItems(groups) })).filter(
    ({ items }) => items.length,
  );

/** The bar; where the window is too narrow for it, the button that holds the same menus (shell.css). */
export function MenuBar() {
  const bar = useRef(/** @type {HTMLElement | null} */ (null));
  const [at, setAt] = useState(0);
  const [open, setOpen] = useState(-1);
  const all = menus();

  const buttons = () => [...(bar.current?.querySelectorAll('button') ?? [])];
  /** @param {number} index */
  const show = async (index) => {
    const anchor = buttons()[index];
    setAt(index);
    setOpen(index);
    anchor.focus();
    const { label, items } = menus()[index];
    await showMenu({ anchor, items, label, onSideways: (step) => show(ring(index, step, all.length)) });
    setOpen((now) => (now === index ? -1 : now));
  };
  /** @param {KeyboardEvent} event */
  const onKeyDown = (event) => {
    const step = { ArrowLeft: -1, ArrowRight: 1 }[event.key];
    if (step) {
      const next = ring(at, step, all.length);
      setAt(next);
      buttons()[next].focus();
    } else if (event.key === 'ArrowDown' || event.key === 'ArrowUp') void show(at);
    else return;
    event.preventDefault();
    event.stopPropagation();
  };

  return html`
    <div class="menubar" role="menubar" aria-label="Main menu" ref=${bar} onKeyDown=${onKeyDown}>
      ${all.map(
        ({ label }, i) => html`
          <button
            type="button"
            class="menubar-item"
            role="menuitem"
            aria-haspopup="menu"
            aria-expanded=${String(i === open)}
            tabindex=${i === at ? 0 : -1}
            onClick=${() => show(i)}
          >
            ${label}
          </button>
        `,
      )}
    </div>
    <button
      type="button"
      class="icon-button menu-button"
      aria-label="Main menu"
      title="Main menu"
      aria-haspopup="menu"
      onClick=${(/** @type {Event} */ event) =>
        showMenu({
          anchor: /** @type {Element} */ (event.currentTarget),
          items: menus(),
          label: 'Main menu',
        })}
    >
      ${icon('menu')}
    </button>
  `;
}

/** Puts the focus on the menus, as F10 does on the desktop. */
export function focusMenuBar() {
  const targets = document.querySelectorAll('.menubar-item[tabindex="0"], .menu-button');
  const seen = [...targets].find((one) => one.checkVisibility());
  if (seen instanceof HTMLElement) seen.focus();
}
