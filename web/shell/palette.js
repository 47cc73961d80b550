// The command palette: every command of the table that can run now, the ones used lately first.

import { get, set } from '../stores/uistate.js';
import { commands, enabled, fullTitle, keyFor, registerCommand, runCommand } from './commands.js';
import { pick } from './quickpick.js';

/** How many of the last used stand above the others. */
const RECENT = 8;

/** @returns {import('./quickpick.js').PickItem[]} */
export function paletteItems() {
  const shown = commands.value.filter((command) => command.palette !== false && enabled(command));
  const items = shown.map((command) => ({
    id: command.id,
    label: fullTitle(command),
    keys: keyFor(command.id),
  }));
  items.sort((a, b) => a.label.localeCompare(b.label));
  const recent = recentIds().flatMap((id) => items.find((item) => item.id === id) ?? []);
  const others = items.filter((item) => !recent.includes(item));
  return [
    ...recent.map((item) => ({ ...item, group: 'recently used' })),
    ...others.map((item) => ({ ...item, group: recent.length ? 'other commands' : '' })),
  ];
}

/** @returns {string[]} */
const recentIds = () => get('palette.recent', []);

async function showPalette() {
  const chosen = await pick({
    title: 'Command palette',
    placeholder: 'Type the name of a command',
    empty: 'No command has that name',
    items: paletteItems(),
  });
  if (!chosen) return;
  set('palette.recent', [chosen.id, ...recentIds().filter((id) => id !== chosen.id)].slice(0, RECENT));
  await runCommand(chosen.id);
}

export function registerPalette() {
  registerCommand({
    id: 'palette.show',
    title: 'Command Palette…',
    category: 'View',
    keys: ['ctrl+shift+p', 'f1'],
    global: true,
    palette: false,
    run: () => void showPalette(),
  });
}
