// The activity bar, and the frames around the panels at the side, the bottom and the right.

import { html } from 'htm/preact';
import { commandById, keyFor, runCommand } from './commands.js';
import { ring } from './focus.js';
import { icon } from './icons.js';
import { activePanel, layout, panelsIn, showPanel, togglePlace, visible } from './layout.js';
import { showMenu } from './menus.js';
import { Separator } from './separator.js';

/** @typedef {import('./layout.js').Panel} Panel */
/** @typedef {import('./layout.js').Place} Place */

const PLACE_NAMES = { side: 'Side panel', bottom: 'Bottom panel', right: 'Right panel' };

/** Arrow keys move the focus among the tabs or buttons around it. @param {KeyboardEvent} event */
export function rove(event) {
  const step = { ArrowUp: -1, ArrowLeft: -1, ArrowDown: 1, ArrowRight: 1 }[event.key];
  if (!step || !(event.currentTarget instanceof HTMLElement)) return;
  const all = [...event.currentTarget.querySelectorAll('button')];
  const at = all.indexOf(/** @type {HTMLButtonElement} */ (event.target));
  if (at < 0) return;
  all[ring(at, step, all.length)].focus();
  event.preventDefault();
}

export function ActivityBar() {
  const inFront = visible.value.side ? activePanel('side')?.id : '';
  const here = panelsIn('side');
  /** @param {string} id */
  const press = (id) => (id === inFront ? togglePlace('side') : showPanel(id));
  return html`
    <nav class="activity" aria-label="Views" data-part="activity">
      <div
        class="activity-views"
        role="toolbar"
        aria-label="Views"
        aria-orientation="vertical"
        onKeyDown=${rove}
      >
        ${here.map(
          ({ id, title, icon: name, badge: Badge }, i) => html`
            <button
              type="button"
              class="activity-button"
              aria-label=${title}
              title=${withKeys(title, `${id}.focus`)}
              aria-pressed=${String(id === inFront)}
              tabindex=${id === (inFront || here[0].id) ? 0 : -1}
              key=${i}
              onClick=${() => press(id)}
            >
              ${icon(name)} ${Badge && html`<${Badge} />`}
            </button>
          `,
        )}
      </div>
      <button
        type="button"
        class="activity-button"
        aria-label="Manage"
        title="Manage"
        aria-haspopup="menu"
        onClick=${(/** @type {MouseEvent} */ event) => manage(/** @type {Element} */ (event.currentTarget))}
      >
        ${icon('settings-gear')}
      </button>
    </nav>
  `;
}

/** @param {Element} anchor */
function manage(anchor) {
  const { right, bottom } = anchor.getBoundingClientRect();
  const ids = ['palette.show', '', 'look.theme', 'help.keys', '', 'help.about'];
  void showMenu({
    x: right,
    y: bottom,
    label: 'Manage',
    items: ids.map((command) => (command ? { command } : { kind: /** @type {const} */ ('separator') })),
  });
}

export function SidePanel() {
  const panel = activePanel('side');
  if (!panel) return null;
  const { title, component: Body, actions: Actions } = panel;
  return html`
    <section
      class="place place-side"
      aria-label=${title}
      data-place="side"
      data-part="side"
      style=${sized('side')}
    >
      <header class="place-bar">
        <h2 class="place-title">${title}</h2>
        <div class="place-actions">${Actions && html`<${Actions} />`}</div>
      </header>
      <div class="place-body"><${Body} key=${panel.id} /></div>
      <${Separator} place="side" />
    </section>
  `;
}

/** A place whose panels are tabs. @param {{place: 'bottom' | 'right'}} props */
export function TabbedPlace({ place }) {
  const panel = activePanel(place);
  if (!panel) return null;
  const { id, component: Body, actions: Actions } = panel;
  const name = PLACE_NAMES[place];
  return html`
    <section
      class=${`place place-${place}`}
      aria-label=${name}
      data-place=${place}
      data-part=${place}
      style=${sized(place)}
    >
      <header class="place-bar">
        <div class="place-tabs" role="tablist" aria-label=${name} onKeyDown=${rove}>
          ${panelsIn(place).map((one) => html`<${Tab} key=${one.id} panel=${one} selected=${one.id === id} />`)}
        </div>
        <div class="place-actions">
          ${Actions && html`<${Actions} />`}
          <${IconButton}
            icon="close"
            label=${`Close the ${name.toLowerCase()}`}
            onClick=${() => togglePlace(place)}
          />
        </div>
      </header>
      <div class="place-body" role="tabpanel" id=${`panel-${id}`} aria-labelledby=${`tab-${id}`}>
        <${Body} key=${id} />
      </div>
      <${Separator} place=${place} />
    </section>
  `;
}

/** @param {{panel: Panel, selected: boolean}} props */
function Tab({ panel: { id, title, badge: Badge }, selected }) {
  return html`
    <button
      type="button"
      class="place-tab"
      role="tab"
      id=${`tab-${id}`}
      aria-selected=${String(selected)}
      aria-controls=${selected ? `panel-${id}` : undefined}
      tabindex=${selected ? 0 : -1}
      onClick=${() => showPanel(id)}
      onFocus=${() => showPanel(id)}
    >
      ${title} ${Badge && html`<${Badge} />`}
    </button>
  `;
}

/**
 * A button that is an icon. With a command it runs that, and shows its keys.
 * @param {object} props
 * @param {string} props.icon
 * @param {string} [props.label]
 * @param {string} [props.command]
 * @param {() => unknown} [props.onClick]
 * @param {boolean} [props.pressed]
 */
export function IconButton({ icon: name, label, command = '', onClick, pressed }) {
  const words = label ?? commandById(command)?.title ?? '';
  return html`
    <button
      type="button"
      class="icon-button"
      aria-label=${words}
      title=${withKeys(words, command)}
      aria-pressed=${pressed === undefined ? undefined : String(pressed)}
      onClick=${onClick ?? (() => runCommand(command))}
    >
      ${icon(name)}
    </button>
  `;
}

/**
 * @param {string} words
 * @param {string} command
 */
function withKeys(words, command) {
  const keys = keyFor(command);
  return keys ? `${words} (${keys})` : words;
}

/** @param {Place} place */
const sized = (place) => `--size: ${layout.value[place].size}rem`;
