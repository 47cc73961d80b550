// Registers the page of keyboard shortcuts, its commands, and what conditions of key bindings look at.

import { registerPage } from '../../editor/pages.js';
import { frontTab } from '../../editor/state.js';
import { openPage } from '../../editor/tabactions.js';
import { registerCommand } from '../../shell/commands.js';
import { registerContexts } from '../../shell/keycontexts.js';
import { claimKeys } from '../../shell/keys.js';
import { loadKeybindings } from '../../stores/keybindings.js';
import { baseName } from '../../stores/paths.js';
import { registerSection } from '../settings/sections.js';
import { kContextValues } from './contexts.js';
import { importKeys } from './importer.js';
import { KeysPage } from './page.js';
import { KeysSettings } from './section.js';
import { canUndoImport, copyAsFile, hasChanges, resetAll, undoImport } from './state.js';

/** A file of that name in front is likely the one that is meant. */
const fileInFront = () => {
  const tab = frontTab.value;
  return tab?.kind === 'text' && baseName(tab.id) === 'keybindings.json' ? tab.id : undefined;
};

/** @type {Parameters<typeof registerCommand>[0][]} */
const kCommands = [
  { id: 'help.keys', title: 'Keyboard Shortcuts', keys: ['ctrl+k ctrl+s'], run: () => openPage('keys', '') },
  { id: 'keys.import', title: 'Import Key Bindings of VS Code…', run: () => void importKeys(fileInFront()) },
  { id: 'keys.undoImport', title: 'Take Back the Imported Key Bindings', when: canUndoImport, run: undoImport },
  { id: 'keys.export', title: 'Copy Key Bindings as a File', when: hasChanges, run: copyAsFile },
  { id: 'keys.resetAll', title: 'Reset All Keyboard Shortcuts…', when: hasChanges, run: resetAll },
];

export function startKeys() {
  loadKeybindings();
  registerContexts(kContextValues);
  // A field that is searched with takes all keys as what is searched for.
  claimKeys(() => document.activeElement?.matches('[data-keys-only]') ?? false);
  registerPage('keys', { title: () => 'Keyboard Shortcuts', component: KeysPage });
  registerSection({ id: 'keys', title: 'Keyboard', order: 28, component: KeysSettings });
  for (const command of kCommands) registerCommand({ ...command, category: 'Help' });
}
