// The settings page: a list of sections, and the one that is chosen.

import { html } from 'htm/preact';
import { ring } from '../../shell/focus.js';
import { sections, shownSection } from './sections.js';

export function SettingsPage() {
  const all = sections.value;
  const shown = all.find(({ id }) => id === shownSection.value) ?? all[0];
  if (!shown) return null;
  const Body = shown.component;
  return html`
    <div class="settings">
      <div
        class="settings-list"
        role="tablist"
        aria-label="Settings"
        aria-orientation="vertical"
        onKeyDown=${step}
      >
        ${all.map(
          ({ id, title }) => html`<button
            type="button"
            role="tab"
            id=${`settings-tab-${id}`}
            class="settings-tab"
            aria-selected=${String(id === shown.id)}
            aria-controls="settings-body"
            tabindex=${id === shown.id ? 0 : -1}
            key=${id}
            onClick=${() => {
              shownSection.value = id;
            }}
          >
            ${title}
          </button>`,
        )}
      </div>
      <div
        class="settings-body"
        role="tabpanel"
        id="settings-body"
        tabindex="0"
        aria-labelledby=${`settings-tab-${shown.id}`}
      >
        <h2>${shown.title}</h2>
        <${Body} key=${shown.id} />
      </div>
    </div>
  `;
}

/** Arrow keys choose at once, as tabs do. @param {KeyboardEvent} event */
function step(event) {
  const by = { ArrowDown: 1, ArrowUp: -1 }[event.key];
  if (!by || !(event.currentTarget instanceof HTMLElement)) return;
  const tabs = [...event.currentTarget.querySelectorAll('button')];
  const at = tabs.findIndex((tab) => tab.getAttribute('aria-selected') === 'true');
  const next = tabs[ring(at, by, tabs.length)];
  next.click();
  next.focus();
  event.preventDefault();
}
