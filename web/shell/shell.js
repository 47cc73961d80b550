// The window's contents: header, activity bar, the places for panels around the centre, status bar,
// and above them banner, toasts, menus and dialogs.

import { html } from 'htm/preact';
import { useLayoutEffect, useRef } from 'preact/hooks';
import { active } from '../stores/windowstate.js';
import { roots } from '../stores/settings.js';
import { SpokenLayer } from './announceview.js';
import { Banner } from './banner.js';
import { keyFor, runCommand } from './commands.js';
import { DialogLayer } from './dialogview.js';
import { openDialog } from './dialogs.js';
import { rescueFocus, setFocusFallback } from './focus.js';
import { icon } from './icons.js';
import { center, layout, panelsIn, visible, zen } from './layout.js';
import { MenuBar } from './menubar.js';
import { MenuLayer } from './menuview.js';
import { ActivityBar, IconButton, SidePanel, TabbedPlace } from './places.js';
import { openPick } from './quickpick.js';
import { PickLayer } from './quickpickview.js';
import { StatusBar } from './statusview.js';
import { ToastLayer } from './toastview.js';
import { zenClasses } from './zen.js';

/** The landmarks that F6 goes through, in order. */
const PARTS = ['header', 'activity', 'side', 'center', 'bottom', 'right', 'status'];

export function Shell() {
  const page = useRef(/** @type {HTMLElement | null} */ (null));
  const modal = openDialog.value !== null || openPick.value !== null;
  const shown = visible.value;
  const Center = center.value;

  useLayoutEffect(() => {
    setFocusFallback(() => focusTarget('center') ?? focusTarget('activity'));
  }, []);
  // A folded panel takes the focus with it, which then must not be nowhere.
  useLayoutEffect(() => {
    if (!modal) rescueFocus();
  }, [shown.side, shown.bottom, shown.right, zen.value]);

  return html`
    <div class=${`page ${active.value ? '' : 'resting'} ${zenClasses()}`} ref=${page} inert=${modal}>
      <${Header} />
      <${Banner} />
      <div class="middle">
        ${!zen.value && html`<${ActivityBar} />`}
        ${shown.side && html`<${SidePanel} />`}
        <div class="column">
          <main class="center" aria-label="Editor" data-part="center" tabindex="-1">
            ${Center && html`<${Center} />`}
          </main>
          ${shown.bottom && html`<${TabbedPlace} place="bottom" />`}
        </div>
        ${shown.right && html`<${TabbedPlace} place="right" />`}
      </div>
      <${StatusBar} />
      <${ToastLayer} />
    </div>
    <${SpokenLayer} />
    <${DialogLayer} />
    <${PickLayer} />
    <${MenuLayer} />
  `;
}

function Header() {
  const names = roots.value.map(({ name }) => name);
  const title = names.length ? names.join(', ') : 'Marlin Bench';
  const open = layout.value;
  return html`
    <header class="window-header" data-part="header">
      <h1 class="unseen">Marlin Bench</h1>
      <${MenuBar} />
      <button
        type="button"
        class="header-title"
        aria-label=${`${title}, command palette`}
        title=${`Command palette (${keyFor('palette.show')})`}
        onClick=${() => runCommand('palette.show')}
      >
        ${icon('search')} <span>${title}</span>
      </button>
      <div class="header-toggles" role="group" aria-label="Layout">
        <${PlaceToggle} icon="layout-sidebar-left" command="layout.toggleSide" open=${open.side.open} />
        <${PlaceToggle} icon="layout-panel" command="layout.toggleBottom" open=${open.bottom.open} />
        ${panelsIn('right').length > 0 &&
        html`<${PlaceToggle}
          icon="layout-sidebar-right"
          command="layout.toggleRight"
          open=${open.right.open}
        />`}
      </div>
    </header>
  `;
}

/** @param {{icon: string, command: string, open: boolean}} props */
function PlaceToggle({ icon: name, command, open }) {
  return html`<${IconButton} icon=${open ? name : `${name}-off`} command=${command} pressed=${open} />`;
}

/**
 * Puts the focus on the next landmark that is there.
 * @param {1 | -1} step
 */
export function focusNextPart(step) {
  const there = PARTS.filter((part) => focusTarget(part));
  const inside = document.activeElement?.closest('[data-part]');
  const at = there.indexOf(inside?.getAttribute('data-part') ?? '');
  const next = at < 0 ? 0 : (at + step + there.length) % there.length;
  focusTarget(there[next])?.focus();
}

/** What takes the focus in a landmark: a text editor before anything else. @param {string} part */
export function focusTarget(part) {
  const area = document.querySelector(`[data-part="${part}"]`);
  const order = [
    '[data-focus]',
    '.monaco-editor textarea, .monaco-editor .native-edit-context',
    '[tabindex="0"], button:not([tabindex="-1"]), input',
  ];
  for (const selector of order) {
    const all = area?.querySelectorAll(selector) ?? [];
    const found = [...all].find((one) => one.checkVisibility() && !one.matches(':disabled'));
    if (found instanceof HTMLElement) return found;
  }
  return area instanceof HTMLElement && area.tabIndex >= -1 && area.hasAttribute('tabindex') ? area : null;
}
