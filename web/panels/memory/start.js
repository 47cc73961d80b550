// Registers the page of Claude's notes.

import { registerPage } from '../../editor/pages.js';
import { openPage } from '../../editor/tabactions.js';
import { registerCommand } from '../../shell/commands.js';
import { directory, dirty, readNotes } from '../../stores/memory.js';
import { goTo, newNote, save } from './actions.js';
import { MemoryPage } from './page.js';

export function startMemory() {
  registerPage('memory', { title: () => 'Memory', component: MemoryPage });
  registerCommand({ id: 'memory.show', title: 'Show Memory', category: 'Claude', run: () => openPage('memory', '') });
  registerCommand({
    id: 'memory.graph',
    title: 'Show Memory Graph',
    category: 'Claude',
    run: async () => {
      openPage('memory', '');
      await goTo('');
    },
  });
  registerCommand({ id: 'memory.save', title: 'Save the Memory Note', category: 'Claude', when: () => dirty.value, run: save });
  registerCommand({
    id: 'memory.new',
    title: 'New Memory Note…',
    category: 'Claude',
    run: async () => {
      await readNotes();
      if (!directory.value) throw new Error('Claude keeps no notes on these folders yet');
      openPage('memory', '');
      await newNote();
    },
  });
}
