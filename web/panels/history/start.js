// Registers the history of a file: its panel, the commands on its local versions, and what keeps those.

import { beforeLoss, onRenamed } from '../../editor/documents.js';
import { frontTab } from '../../editor/state.js';
import { registerCommand } from '../../shell/commands.js';
import { registerPanel, showPanel } from '../../shell/layout.js';
import { following } from '../../stores/history.js';
import {
  findBefore,
  followFile,
  hasVersions,
  keepingVersions,
  keepText,
  loadKeeping,
  setKeeping,
} from '../../stores/localversionsshown.js';
import { loadHiddenSort } from '../../stores/localversionstimeline.js';
import { watchSaves } from '../../stores/savewatch.js';
import {
  chooseVersion,
  clearAll,
  compareVersion,
  deleteAllOf,
  fileOfTab,
  followTab,
  keepUnsaved,
  restoreLocal,
} from './local.js';
import { HistoryActions, HistoryPanel } from './panel.js';

const frontFile = () => fileOfTab(frontTab.value);
const hasFile = () => frontFile() !== '';

/** @type {Parameters<typeof registerCommand>[0][]} */
const kCommands = [
  { id: 'history.show', title: 'Show File History', when: hasFile, run: show },
  {
    id: 'history.compare',
    title: 'Compare with a Local Version…',
    when: hasFile,
    run: () => chooseVersion(frontFile(), 'compared with the file as it is', compareVersion),
  },
  {
    id: 'history.restore',
    title: 'Restore a Local Version…',
    when: hasFile,
    run: () => chooseVersion(frontFile(), 'restored', restoreLocal),
  },
  {
    id: 'history.delete',
    title: 'Delete Local Versions of the File…',
    when: hasFile,
    run: () => deleteAllOf(frontFile()),
  },
  { id: 'history.clear', title: 'Delete All Local Versions…', run: clearAll },
  {
    id: 'history.keep',
    title: 'Keep Local Versions',
    checked: () => keepingVersions.value,
    run: () => setKeeping(!keepingVersions.value),
  },
];

export function startFileHistory() {
  loadKeeping();
  loadHiddenSort();
  registerPanel({
    id: 'history',
    title: 'File History',
    icon: 'history',
    place: 'bottom',
    order: 60,
    component: HistoryPanel,
    actions: HistoryActions,
  });
  for (const command of kCommands) registerCommand({ category: 'File', ...command });
  watchSaves({
    before: findBefore,
    after: (path, { restored, ...text }, before) =>
      void keepText(path, { ...text, cause: restored ? 'restored' : 'saved' }, before),
  });
  beforeLoss(keepUnsaved);
  onRenamed((from, to) => void (hasVersions(from) && followFile(from, to)));
}

function show() {
  following.value = true;
  followTab(frontTab.value);
  showPanel('history');
}
