// Registers the settings page, its sections, and what belongs to them: updates, the desktop's entry, the
// Discord status.

import { effect } from '@preact/signals';
import { registerPage } from '../../editor/pages.js';
import { whenEditorHost } from '../../editor/lazy.js';
import { frontTab, textViews } from '../../editor/state.js';
import { onFonts, startFonts } from '../../look/fonts.js';
import { registerCommand } from '../../shell/commands.js';
import { ask } from '../../shell/dialogs.js';
import { registerStatusItem } from '../../shell/statusbar.js';
import { toast } from '../../shell/toasts.js';
import { registerDesktop, unregisterDesktop } from '../../stores/desktop.js';
import { noteActivity, paused, presentFile, presenting, setPaused, startPresence } from '../../stores/presence.js';
import { applyAndRestart, canUpdate, checkNow, download, skip, startUpdates, update, updateBusy } from '../../stores/updates.js';
import { AccessSettings } from './access.js';
import { ClaudeSettings } from './claude.js';
import { DesktopSettings } from './desktop.js';
import { EditorSettings, FileSettings, LookSettings } from './look.js';
import { SettingsPage } from './page.js';
import { PresenceSettings } from './presence.js';
import { ProjectSettings } from './project.js';
import { openSettings, registerSection } from './sections.js';
import { UpdateBadge, UpdateSettings } from './updates.js';

const kSections = [
  { id: 'look', title: 'Look', order: 10, component: LookSettings },
  { id: 'editor', title: 'Editor', order: 20, component: EditorSettings },
  { id: 'access', title: 'Screen Reader', order: 25, component: AccessSettings },
  { id: 'claude', title: 'Claude', order: 30, component: ClaudeSettings },
  { id: 'project', title: 'Project', order: 40, component: ProjectSettings },
  { id: 'updates', title: 'Updates', order: 60, component: UpdateSettings },
  { id: 'desktop', title: 'Desktop', order: 70, component: DesktopSettings },
  { id: 'presence', title: 'Discord Status', order: 80, component: PresenceSettings },
  { id: 'file', title: 'Settings File', order: 90, component: FileSettings },
];

const inState = (/** @type {string} */ state) => update.value.state === state;

/** @type {Parameters<typeof registerCommand>[0][]} */
const kCommands = [
  { id: 'settings.open', title: 'Settings', category: 'File', keys: ['ctrl+,'], global: true, run: () => openSettings() },
  { id: 'settings.look', title: 'Settings: Look', category: 'File', run: () => openSettings('look') },
  { id: 'settings.editor', title: 'Settings: Editor', category: 'File', run: () => openSettings('editor') },
  { id: 'settings.claude', title: 'Settings: Claude', category: 'File', run: () => openSettings('claude') },
  { id: 'settings.file', title: 'Settings: Settings File', category: 'File', run: () => openSettings('file') },
  { id: 'project.setup', title: 'Set Up Project', category: 'Claude', run: () => openSettings('project') },
  { id: 'update.show', title: 'Show Updates', category: 'Help', run: () => openSettings('updates') },
  {
    id: 'update.check',
    title: 'Check for Updates',
    category: 'Help',
    when: () => canUpdate.value && !updateBusy.value,
    run: async () => {
      openSettings('updates');
      await checkNow();
    },
  },
  { id: 'update.download', title: 'Download the Update', category: 'Help', when: () => inState('available'), run: download },
  {
    id: 'update.skip',
    title: 'Leave This Version Out',
    category: 'Help',
    when: () => inState('available') || inState('ready'),
    run: skip,
  },
  { id: 'update.apply', title: 'Restart and Install the Update', category: 'Help', when: () => inState('ready'), run: restart },
  { id: 'desktop.show', title: 'Show Desktop Integration', category: 'Help', run: () => openSettings('desktop') },
  {
    id: 'desktop.register',
    title: 'Add Marlin Bench to the Applications',
    category: 'Help',
    run: async () => {
      await registerDesktop();
      toast({ kind: 'info', text: 'Marlin Bench is now in your applications and in "Open With".' });
    },
  },
  {
    id: 'desktop.unregister',
    title: 'Remove Marlin Bench from the Applications',
    category: 'Help',
    run: async () => {
      await unregisterDesktop();
      toast({ kind: 'info', text: 'The desktop entry has been removed.' });
    },
  },
  { id: 'presence.show', title: 'Show Discord Status', category: 'Help', run: () => openSettings('presence') },
  {
    id: 'presence.pause',
    title: 'Pause Discord Status',
    category: 'View',
    checked: () => paused.value,
    run: () => setPaused(!paused.value),
  },
  {
    id: 'presence.presenting',
    title: 'Presenting Mode',
    category: 'View',
    checked: () => presenting.value,
    run: () => {
      presenting.value = !presenting.value;
    },
  },
];

async function restart() {
  const answer = await ask({
    title: 'Restart and install the update?',
    text: 'Terminals, language servers and running tasks end. Text that is not saved is kept and comes back.',
    buttons: [
      { id: 'restart', label: 'Restart and Install', kind: 'primary' },
      { id: 'cancel', label: 'Not Now' },
    ],
  });
  if (answer === 'restart') await applyAndRestart();
}

export function startSettings() {
  startFonts();
  onFonts(() =>
    whenEditorHost(() => {
      for (const view of textViews.values()) view.rescale();
    }),
  );
  registerPage('settings', { title: () => 'Settings', component: SettingsPage });
  for (const section of kSections) registerSection(section);
  for (const command of kCommands) registerCommand(command);
  registerStatusItem({ id: 'update', side: 'right', order: 5, component: UpdateBadge });
  void startUpdates();
}

/** After the snapshot is there, which says whether the status is wanted. */
export function startStatus() {
  for (const type of ['keydown', 'pointerdown']) document.addEventListener(type, () => noteActivity(), { capture: true, passive: true });
  effect(() => {
    const tab = frontTab.value;
    presentFile.value = tab && tab.kind !== 'page' && tab.id.includes('/') && !tab.id.includes(':') ? tab.id : '';
  });
  startPresence();
}
