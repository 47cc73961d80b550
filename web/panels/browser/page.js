// The browser pane's page: address and buttons, and below them the room over which the native side lays its view.

import { html } from 'htm/preact';
import { useSignalEffect } from '@preact/signals';
import { useLayoutEffect, useRef, useState } from 'preact/hooks';
import { runCommand } from '../../shell/commands.js';
import { openDialog } from '../../shell/dialogs.js';
import { icon } from '../../shell/icons.js';
import { openMenu } from '../../shell/menus.js';
import { openPick } from '../../shell/quickpick.js';
import { toasts } from '../../shell/toasts.js';
import { addressOf, hidePane, navigate, seenServers, setPlace, shown } from '../../stores/browser.js';
import { reportError } from '../../shell/toasts.js';
import { dragging } from './cover.js';

export function BrowserPage() {
  const room = useRef(/** @type {HTMLElement | null} */ (null));
  /** The view is above everything of the page, so it makes way for whatever floats. */
  const covered = () =>
    openDialog.value !== null ||
    openPick.value !== null ||
    openMenu.value !== null ||
    toasts.value.length > 0 ||
    dragging.value;
  const place = () => {
    const box = room.current?.getBoundingClientRect();
    if (!box) return;
    const visible = !covered() && shown.value.url !== '' && box.width > 4 && box.height > 4;
    const [x, y, w, h] = [box.left, box.top, box.width, box.height].map(Math.round);
    void setPlace({ x, y, w, h, visible });
  };
  useLayoutEffect(() => {
    const watcher = new ResizeObserver(place);
    // The room keeps its size while a split beside it moves it, so its ancestors are watched too.
    for (let one = room.current; one; one = one.parentElement) watcher.observe(one);
    window.addEventListener('resize', place);
    return () => {
      watcher.disconnect();
      window.removeEventListener('resize', place);
      void hidePane();
    };
  }, []);
  useSignalEffect(() => {
    covered();
    void shown.value;
    requestAnimationFrame(place);
  });
  const { error, url } = shown.value;
  return html`<div class="browser">
    <${Bar} />
    <div class="browser-room" ref=${room}>
      ${error && html`<p class="browser-words wrong" role="alert">${error}</p>`}
      ${!url && html`<p class="browser-words">Enter the address of a page above, or that of a server you have started.</p>`}
      ${url && !error && html`<p class="browser-words">The page is hidden while something else is open above it.</p>`}
    </div>
  </div>`;
}

function Bar() {
  const { url, canBack, canForward, loading } = shown.value;
  const [draft, setDraft] = useState(/** @type {string | null} */ (null));
  const [fault, setFault] = useState('');

  /** @param {Event} event */
  function go(event) {
    event.preventDefault();
    const found = addressOf(draft ?? url, location.origin);
    if ('fault' in found) return setFault(found.fault);
    setFault('');
    setDraft(null);
    navigate(found.url).catch((error) => reportError(`Could not show ${found.url}`, error));
  }
  const button = (/** @type {string} */ name, /** @type {string} */ label, /** @type {string} */ command, enabled = true) =>
    html`<button
      type="button"
      class="icon-button"
      aria-label=${label}
      title=${label}
      disabled=${!enabled}
      onClick=${() => runCommand(command)}
    >
      ${icon(name)}
    </button>`;
  return html`<form class="browser-bar" role="search" aria-label="Address" onSubmit=${go}>
    ${button('arrow-left', 'Back', 'browser.back', canBack)}
    ${button('arrow-right', 'Forward', 'browser.forward', canForward)}
    ${loading ? button('close', 'Stop', 'browser.stop') : button('refresh', 'Reload', 'browser.reload', url !== '')}
    <input
      class="field"
      type="text"
      data-focus
      aria-label="Address"
      aria-invalid=${String(fault !== '')}
      spellcheck=${false}
      list="browser-servers"
      placeholder="localhost:3000"
      value=${draft ?? url}
      onInput=${(/** @type {Event} */ event) => setDraft(/** @type {HTMLInputElement} */ (event.currentTarget).value)}
    />
    <datalist id="browser-servers">
      ${seenServers.value.map((server) => html`<option key=${server} value=${server}></option>`)}
    </datalist>
    ${button('link-external', 'Open in the Desktop’s Browser', 'browser.external', url !== '')}
    ${button('tools', 'Developer Tools', 'browser.devtools', url !== '')}
    ${fault && html`<span class="browser-fault" role="alert">${fault}</span>`}
  </form>`;
}
