// Commands of the window as a whole: layout, look, window, help.

import { effect } from '@preact/signals';
import { chooseTheme, theme, themeChoice, themes } from '../look/theme.js';
import { setZoom, zoom, zoomBy, ZOOM_STEPS } from '../look/zoom.js';
import { leave, maximized, shutdown, windowCommand } from '../stores/windowstate.js';
import { showAbout, showLicences } from './about.js';
import { registerCommand } from './commands.js';
import { layout, panelsIn, togglePlace } from './layout.js';
import { focusMenuBar } from './menubar.js';
import { pick } from './quickpick.js';
import { focusNextPart } from './shell.js';

/** @type {import('./commands.js').Command[]} */
const LAYOUT = [
  {
    id: 'layout.toggleSide',
    title: 'Toggle Side Panel',
    category: 'View',
    keys: ['ctrl+b'],
    global: true,
    when: () => panelsIn('side').length > 0,
    checked: () => layout.value.side.open,
    run: () => togglePlace('side'),
  },
  {
    id: 'layout.toggleBottom',
    title: 'Toggle Bottom Panel',
    category: 'View',
    keys: ['ctrl+j'],
    global: true,
    checked: () => layout.value.bottom.open,
    run: () => togglePlace('bottom'),
  },
  {
    id: 'layout.nextPart',
    title: 'Focus Next Part',
    category: 'View',
    keys: ['f6'],
    global: true,
    run: () => focusNextPart(1),
  },
  {
    id: 'layout.previousPart',
    title: 'Focus Previous Part',
    category: 'View',
    keys: ['shift+f6'],
    global: true,
    run: () => focusNextPart(-1),
  },
  {
    id: 'layout.menus',
    title: 'Focus Main Menu',
    category: 'View',
    keys: ['f10'],
    global: true,
    run: focusMenuBar,
  },
];

/** @type {import('./commands.js').Command} */
const TOGGLE_RIGHT = {
  id: 'layout.toggleRight',
  title: 'Toggle Right Panel',
  category: 'View',
  keys: ['ctrl+alt+b'],
  global: true,
  checked: () => layout.value.right.open,
  run: () => togglePlace('right'),
};

/** @type {import('./commands.js').Command[]} */
const LOOK = [
  { id: 'look.theme', title: 'Colour Theme…', category: 'View', keys: ['ctrl+k ctrl+t'], run: pickTheme },
  {
    id: 'look.zoomIn',
    title: 'Zoom In',
    category: 'View',
    keys: ['ctrl+=', 'ctrl+plus', 'ctrl+shift+=', 'ctrl+shift+plus'],
    global: true,
    when: () => zoom.value < (ZOOM_STEPS.at(-1) ?? 1),
    run: () => zoomBy(1),
  },
  {
    id: 'look.zoomOut',
    title: 'Zoom Out',
    category: 'View',
    keys: ['ctrl+-', 'ctrl+shift+-'],
    global: true,
    when: () => zoom.value > ZOOM_STEPS[0],
    run: () => zoomBy(-1),
  },
  {
    id: 'look.zoomReset',
    title: 'Reset Zoom',
    category: 'View',
    keys: ['ctrl+0'],
    global: true,
    run: () => setZoom(1),
  },
];

/** @type {import('./commands.js').Command[]} */
const WINDOW = [
  { id: 'window.minimize', title: 'Minimise', category: 'Window', run: () => windowCommand('minimize') },
  {
    id: 'window.maximize',
    title: 'Maximise',
    category: 'Window',
    checked: () => maximized.value,
    run: () => windowCommand('maximize'),
  },
  {
    id: 'window.close',
    title: 'Close Window',
    category: 'Window',
    keys: ['ctrl+shift+w', 'alt+f4'],
    global: true,
    run: () => leave(() => windowCommand('close')),
  },
  {
    id: 'window.quit',
    title: 'Quit',
    category: 'File',
    keys: ['ctrl+q'],
    global: true,
    run: () => leave(shutdown),
  },
];

/** @type {import('./commands.js').Command[]} */
const HELP = [
  { id: 'help.licences', title: 'Licences', category: 'Help', run: () => void showLicences() },
  { id: 'help.about', title: 'About Marlin Bench', category: 'Help', run: () => void showAbout() },
];

export function registerAppCommands() {
  for (const command of [...LAYOUT, ...LOOK, ...WINDOW, ...HELP]) registerCommand(command);
  // Only once something lives there: a command that can never run would be in the way.
  const stop = effect(() => {
    if (!panelsIn('right').length) return;
    registerCommand(TOGGLE_RIGHT);
    queueMicrotask(() => stop());
  });
}

/** Each theme is tried on while it is lit; leaving without a choice puts the former one back. */
async function pickTheme() {
  const before = themeChoice.value;
  const chosen = await pick({
    title: 'Colour theme',
    placeholder: 'Choose a theme',
    active: before,
    items: [
      {
        id: 'auto',
        label: 'Follow the desktop',
        icon: 'color-mode',
        description: before === 'auto' ? theme.value : '',
      },
      ...themes.map(({ id, title }) => ({ id, label: title })),
    ],
    onActive: (item) => {
      if (item) themeChoice.value = /** @type {import('../look/theme.js').ThemeId | 'auto'} */ (item.id);
    },
  });
  chooseTheme(chosen ? /** @type {import('../look/theme.js').ThemeId | 'auto'} */ (chosen.id) : before);
}
