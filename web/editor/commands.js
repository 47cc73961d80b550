// The commands of the editor area: files, tabs and groups, and the text editor's own actions.

import { call } from '../bridge/api.js';
import { registerCommand } from '../shell/commands.js';
import { ask, prompt } from '../shell/dialogs.js';
import { toast } from '../shell/toasts.js';
import { announce } from '../stores/announce.js';
import { baseName, absolutePath } from '../stores/paths.js';
import { roots } from '../stores/settings.js';
import { closeTab, groupOf, keepTab, openTab, splitGroup, tabKey } from '../stores/tabs.js';
import { reloadFromDisk } from './documents.js';
import { onSaved, saveAll, saveAs, saveDocument } from './savefile.js';
import {
  dirtyIds,
  frontBuffer,
  frontSavable,
  frontTab,
  isUntitled,
  tabs,
  titleOf,
  wordWrap,
} from './state.js';
import {
  closeEverything,
  closeOne,
  closeSome,
  focusEditor,
  focusGroupNumber,
  keep,
  moveBesideGroup,
  newUntitled,
  nextGroup,
  nextTab,
  reopenClosed,
  split,
} from './tabactions.js';
import { changeEncoding, changeIndent, changeLanguage, changeLineEnd } from './pickers.js';
import { registerTextActions } from './textactions.js';

/** @typedef {Parameters<typeof registerCommand>[0]} Command */

const hasTab = () => frontTab.value !== null;
const hasText = () => frontBuffer.value !== null;
const canSave = () => frontSavable.value !== null;
const hasFile = () => hasTab() && !isUntitled(frontTab.value?.id ?? '');
const frontId = () => frontTab.value?.id ?? '';

/** @type {Command[]} */
const kFileCommands = [
  { id: 'file.new', title: 'New Untitled File', keys: ['ctrl+n'], run: newUntitled },
  { id: 'file.save', title: 'Save', keys: ['ctrl+s'], when: canSave, run: () => saveDocument(frontId()) },
  {
    id: 'file.saveAs',
    title: 'Save As…',
    keys: ['ctrl+shift+s'],
    when: hasText,
    run: () => saveAs(frontId()),
  },
  {
    id: 'file.saveAll',
    title: 'Save All',
    keys: ['ctrl+k s'],
    when: () => dirtyIds.value.length > 0,
    run: saveAll,
  },
  { id: 'file.revert', title: 'Revert to Saved', when: () => hasText() && hasFile(), run: revert },
  { id: 'file.close', title: 'Close', keys: ['ctrl+w', 'ctrl+f4'], when: hasTab, run: () => closeOne() },
  {
    id: 'file.closeOthers',
    title: 'Close Others',
    when: () => groupOf(tabs.value).tabs.length > 1,
    run: () => closeSome('others'),
  },
  { id: 'file.closeRight', title: 'Close to the Right', when: hasTab, run: () => closeSome('right') },
  { id: 'file.closeAll', title: 'Close All', keys: ['ctrl+k ctrl+w'], when: hasTab, run: closeEverything },
  {
    id: 'file.reopenClosed',
    title: 'Reopen Closed File',
    keys: ['ctrl+shift+t'],
    when: () => tabs.value.closed.length > 0,
    run: reopenClosed,
  },
  {
    id: 'file.keepOpen',
    title: 'Keep Open',
    keys: ['ctrl+k enter'],
    when: hasTab,
    run: () => keep(frontTab.value?.key ?? ''),
  },
  { id: 'file.copyPath', title: 'Copy Path', keys: ['ctrl+k p'], when: hasFile, run: copyPath },
  { id: 'file.reveal', title: 'Reveal in File Manager', keys: ['ctrl+k r'], when: hasFile, run: reveal },
];

/** @type {Command[]} */
const kViewCommands = [
  {
    id: 'view.splitRight',
    title: 'Split Editor Right',
    keys: ['ctrl+\\'],
    when: hasTab,
    run: () => split('row'),
  },
  {
    id: 'view.splitDown',
    title: 'Split Editor Down',
    keys: ['ctrl+k ctrl+\\'],
    when: hasTab,
    run: () => split('column'),
  },
  {
    id: 'view.nextTab',
    title: 'Next Tab',
    keys: ['ctrl+pagedown', 'ctrl+tab'],
    when: hasTab,
    run: () => nextTab(1),
  },
  {
    id: 'view.previousTab',
    title: 'Previous Tab',
    keys: ['ctrl+pageup', 'ctrl+shift+tab'],
    when: hasTab,
    run: () => nextTab(-1),
  },
  { id: 'view.nextGroup', title: 'Next Editor Group', keys: ['ctrl+k ctrl+right'], run: () => nextGroup(1) },
  {
    id: 'view.previousGroup',
    title: 'Previous Editor Group',
    keys: ['ctrl+k ctrl+left'],
    run: () => nextGroup(-1),
  },
  {
    id: 'view.tabToNextGroup',
    title: 'Move Tab to Next Group',
    keys: ['ctrl+alt+right'],
    when: hasTab,
    run: () => moveBesideGroup(1),
  },
  {
    id: 'view.tabToPreviousGroup',
    title: 'Move Tab to Previous Group',
    keys: ['ctrl+alt+left'],
    when: hasTab,
    run: () => moveBesideGroup(-1),
  },
  { id: 'view.focusEditor', title: 'Focus Editor', keys: ['ctrl+k ctrl+e'], when: hasTab, run: focusEditor },
  {
    id: 'view.wordWrap',
    title: 'Word Wrap',
    keys: ['alt+z'],
    checked: () => wordWrap.value,
    run: () => {
      wordWrap.value = !wordWrap.value;
    },
  },
  {
    id: 'view.markdownPreview',
    title: 'Markdown Preview to the Side',
    keys: ['ctrl+k v'],
    when: () => frontBuffer.value?.language.value === 'markdown',
    run: previewBeside,
  },
];

/** @type {Command[]} */
const kTextCommands = [
  {
    id: 'editor.language',
    title: 'Change Language…',
    keys: ['ctrl+k m'],
    when: hasText,
    run: changeLanguage,
  },
  { id: 'editor.encoding', title: 'Change Encoding…', when: hasText, run: changeEncoding },
  { id: 'editor.lineEnds', title: 'Change Line Ends…', when: hasText, run: changeLineEnd },
  { id: 'editor.indent', title: 'Change Indentation…', when: hasText, run: changeIndent },
];

export function registerEditorCommands() {
  // Global: the keys work wherever the focus is, before the text editor's own.
  for (const command of kFileCommands) registerCommand({ ...command, category: 'File', global: true });
  for (const command of kViewCommands) registerCommand({ ...command, category: 'View', global: true });
  for (const command of kTextCommands) registerCommand({ ...command, category: 'Editor' });
  registerTextActions();
  for (let number = 1; number <= 3; number++) {
    registerCommand({
      id: `view.group${number}`,
      title: `Focus Editor Group ${number}`,
      category: 'View',
      keys: [`ctrl+${number}`],
      global: true,
      when: () => tabs.value.groups.length >= number,
      run: () => focusGroupNumber(number),
    });
  }
  onSaved((path) => announce('saved', `Saved ${baseName(path)}`));
}

async function revert() {
  const id = frontId();
  if (frontBuffer.value?.dirty.value) {
    const answer = await ask({
      title: `Revert ${titleOf(id)} to what is on disk?`,
      text: 'Undo brings your text back as long as the tab is open.',
      buttons: [
        { id: 'revert', label: 'Revert', kind: 'danger' },
        { id: 'cancel', label: 'Cancel' },
      ],
    });
    if (answer !== 'revert') return;
  }
  await reloadFromDisk(id);
}

/** @param {string} [path] */
async function copyPath(path = frontId()) {
  const absolute = absolutePath(roots.value, path);
  try {
    await navigator.clipboard.writeText(absolute);
    toast({ kind: 'info', text: `Copied ${absolute}` });
  } catch {
    // Without access to the clipboard the path is at least there to be copied by hand.
    await prompt({
      title: 'Copy the path',
      label: 'Path',
      value: absolute,
      select: [0, absolute.length],
      button: 'Close',
    });
  }
}

/** @param {string} [path] */
function reveal(path = frontId()) {
  return call('shell/reveal', { path });
}

/** The source keeps the focus: the preview is there to be looked at while typing. */
function previewBeside() {
  const id = frontId();
  const from = tabs.value.active;
  const beside = tabs.value.groups.find((group) => group.id !== from);
  let state = keepTab(tabs.value, tabKey('text', id));
  if (!beside) state = splitGroup(state, 'row');
  const group = beside?.id ?? state.active;
  state = openTab(state, { kind: 'markdown', id, group }).state;
  if (!beside) state = { ...closeTab(state, group, tabKey('text', id)), closed: state.closed };
  tabs.value = { ...state, active: from };
  focusEditor();
}
