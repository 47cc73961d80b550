// What other editors' files of key bindings call commands and keys: the names of VS Code beside ours.

/** Ours, then theirs; the first of theirs is the one that is written. @type {[string, ...string[]][]} */
const kCommands = [
  ['layout.toggleSide', 'workbench.action.toggleSidebarVisibility'],
  ['layout.toggleBottom', 'workbench.action.togglePanel'],
  ['layout.toggleRight', 'workbench.action.toggleAuxiliaryBar'],
  ['layout.nextPart', 'workbench.action.focusNextPart'],
  ['layout.previousPart', 'workbench.action.focusPreviousPart'],
  ['layout.zen', 'workbench.action.toggleZenMode'],
  ['look.theme', 'workbench.action.selectTheme'],
  ['look.zoomIn', 'workbench.action.zoomIn'],
  ['look.zoomOut', 'workbench.action.zoomOut'],
  ['look.zoomReset', 'workbench.action.zoomReset'],
  ['window.minimize', 'workbench.action.minimizeWindow'],
  ['window.close', 'workbench.action.closeWindow'],
  ['window.quit', 'workbench.action.quit'],
  ['help.keys', 'workbench.action.openGlobalKeybindings'],
  ['help.about', 'workbench.action.showAboutDialog'],
  ['settings.open', 'workbench.action.openSettings'],
  ['update.check', 'update.check', 'update.checkForUpdate'],
  ['palette.show', 'workbench.action.showCommands'],
  ['panel.log', 'workbench.action.output.toggleOutput'],
  ['panel.problems', 'workbench.actions.view.problems', 'workbench.action.problems.focus'],
  ['explorer.focus', 'workbench.view.explorer', 'workbench.files.action.focusFilesExplorer'],
  ['explorer.newFile', 'explorer.newFile', 'workbench.files.action.createFileFromExplorer'],
  ['explorer.newFolder', 'explorer.newFolder', 'workbench.files.action.createFolderFromExplorer'],
  ['explorer.addFolder', 'workbench.action.addRootFolder', 'workbench.action.files.openFolder'],
  ['explorer.removeFolder', 'workbench.action.removeRootFolder', 'removeRootFolder'],
  ['explorer.refresh', 'workbench.files.action.refreshFilesExplorer'],
  ['explorer.collapseAll', 'workbench.files.action.collapseExplorerFolders'],
  ['explorer.show', 'workbench.files.action.showActiveFileInExplorer', 'revealInExplorer'],
  ['explorer.reveal', 'revealFileInOS'],
  ['explorer.copyPath', 'copyFilePath'],
  ['explorer.rename', 'renameFile'],
  ['explorer.delete', 'moveFileToTrash', 'deleteFile'],
  ['explorer.cut', 'filesExplorer.cut'],
  ['explorer.copy', 'filesExplorer.copy'],
  ['explorer.paste', 'filesExplorer.paste'],
  ['explorer.openTerminal', 'openInIntegratedTerminal', 'openInTerminal'],
  ['search.focus', 'workbench.action.findInFiles', 'workbench.view.search', 'workbench.view.search.focus'],
  ['search.replace', 'workbench.action.replaceInFiles'],
  ['search.next', 'search.action.focusNextSearchResult'],
  ['search.previous', 'search.action.focusPreviousSearchResult'],
  ['search.again', 'search.action.refreshSearchResults'],
  ['search.clear', 'search.action.clearSearchResults'],
  ['search.tree', 'search.action.viewAsTree'],
  ['search.collapse', 'search.action.collapseSearchResults'],
  ['search.copyAll', 'search.action.copyAll'],
  ['search.everywhere', 'workbench.action.quickTextSearch', 'workbench.action.experimental.quickTextSearch'],
  ['search.inFolder', 'filesExplorer.findInFolder'],
  ['search.case', 'toggleSearchCaseSensitive'],
  ['search.word', 'toggleSearchWholeWord'],
  ['search.regex', 'toggleSearchRegex'],
  ['search.replaceAll', 'search.action.replaceAll'],
  ['search.replaceHere', 'search.action.replace'],
  ['search.dismiss', 'search.action.remove'],
  ['search.copy', 'search.action.copyMatch'],
  ['go.file', 'workbench.action.quickOpen'],
  ['scm.focus', 'workbench.view.scm'],
  ['scm.refresh', 'git.refresh'],
  ['scm.compareCommit', 'git.openChange'],
  ['scm.commit', 'git.commit', 'git.commitStaged'],
  ['scm.stageAll', 'git.stageAll'],
  ['scm.unstageAll', 'git.unstageAll'],
  ['scm.discardAll', 'git.cleanAll'],
  ['scm.push', 'git.push'],
  ['scm.pull', 'git.pull'],
  ['scm.fetch', 'git.fetch'],
  ['scm.switchBranch', 'git.checkout'],
  ['scm.createBranch', 'git.branch'],
  ['scm.merge', 'git.merge'],
  ['changes.next', 'workbench.action.editor.nextChange', 'workbench.action.compareEditor.nextChange'],
  ['changes.previous', 'workbench.action.editor.previousChange', 'workbench.action.compareEditor.previousChange'],
  ['changes.peek', 'editor.action.dirtydiff.next'],
  ['changes.revert', 'git.revertSelectedRanges'],
  ['changes.stageLines', 'git.stageSelectedRanges'],
  ['changes.unstageLines', 'git.unstageSelectedRanges'],
  ['diff.inline', 'toggle.diff.renderSideBySide'],
  ['graph.stash', 'git.stash'],
  ['graph.stashes', 'git.stashPop'],
  ['graph.tag', 'git.createTag'],
  ['graph.deleteTag', 'git.deleteTag'],
  ['graph.renameBranch', 'git.renameBranch'],
  ['graph.deleteBranch', 'git.deleteBranch'],
  ['graph.publish', 'git.publish'],
  ['graph.rebase', 'git.rebase'],
  ['blame.toggle', 'git.blame.toggleEditorDecoration'],
  ['history.show', 'timeline.focus'],
  ['file.new', 'workbench.action.files.newUntitledFile'],
  ['file.save', 'workbench.action.files.save'],
  ['file.saveAs', 'workbench.action.files.saveAs'],
  ['file.saveAll', 'workbench.action.files.saveAll', 'saveAll'],
  ['file.revert', 'workbench.action.files.revert'],
  ['file.close', 'workbench.action.closeActiveEditor'],
  ['file.closeOthers', 'workbench.action.closeOtherEditors'],
  ['file.closeRight', 'workbench.action.closeEditorsToTheRight'],
  ['file.closeAll', 'workbench.action.closeAllEditors', 'workbench.action.closeEditorsInGroup'],
  ['file.reopenClosed', 'workbench.action.reopenClosedEditor'],
  ['file.keepOpen', 'workbench.action.keepEditor'],
  ['file.copyPath', 'workbench.action.files.copyPathOfActiveFile'],
  ['file.reveal', 'workbench.action.files.revealActiveFileInWindows'],
  ['view.splitRight', 'workbench.action.splitEditor', 'workbench.action.splitEditorRight'],
  ['view.splitDown', 'workbench.action.splitEditorDown', 'workbench.action.splitEditorOrthogonal'],
  ['view.nextTab', 'workbench.action.nextEditor', 'workbench.action.nextEditorInGroup'],
  ['view.previousTab', 'workbench.action.previousEditor', 'workbench.action.previousEditorInGroup'],
  ['view.nextGroup', 'workbench.action.focusNextGroup', 'workbench.action.focusRightGroup'],
  ['view.previousGroup', 'workbench.action.focusPreviousGroup', 'workbench.action.focusLeftGroup'],
  ['view.tabToNextGroup', 'workbench.action.moveEditorToNextGroup', 'workbench.action.moveEditorToRightGroup'],
  ['view.tabToPreviousGroup', 'workbench.action.moveEditorToPreviousGroup', 'workbench.action.moveEditorToLeftGroup'],
  ['view.group1', 'workbench.action.focusFirstEditorGroup'],
  ['view.group2', 'workbench.action.focusSecondEditorGroup'],
  ['view.group3', 'workbench.action.focusThirdEditorGroup'],
  ['view.focusEditor', 'workbench.action.focusActiveEditorGroup'],
  ['view.wordWrap', 'editor.action.toggleWordWrap'],
  ['view.markdownPreview', 'markdown.showPreviewToSide'],
  ['view.breadcrumbs', 'breadcrumbs.toggle'],
  ['view.minimap', 'editor.action.toggleMinimap'],
  ['view.stickyScroll', 'editor.action.toggleStickyScroll'],
  ['editor.language', 'workbench.action.editor.changeLanguageMode'],
  ['editor.encoding', 'workbench.action.editor.changeEncoding'],
  ['editor.lineEnds', 'workbench.action.editor.changeEOL'],
  ['editor.indent', 'changeEditorIndentation'],
  ['editor.undo', 'undo'],
  ['editor.redo', 'redo'],
  ['editor.cut', 'editor.action.clipboardCutAction'],
  ['editor.copy', 'editor.action.clipboardCopyAction'],
  ['editor.paste', 'editor.action.clipboardPasteAction'],
  ['editor.find', 'actions.find'],
  ['editor.replace', 'editor.action.startFindReplaceAction'],
  ['editor.gotoLine', 'workbench.action.gotoLine', 'editor.action.gotoLine'],
  ['editor.gotoBracket', 'editor.action.jumpToBracket'],
  ['editor.toggleComment', 'editor.action.commentLine'],
  ['editor.toggleBlockComment', 'editor.action.blockComment'],
  ['editor.selectAll', 'editor.action.selectAll'],
  ['editor.expandSelection', 'editor.action.smartSelect.expand', 'editor.action.smartSelect.grow'],
  ['editor.shrinkSelection', 'editor.action.smartSelect.shrink'],
  ['editor.copyLineUp', 'editor.action.copyLinesUpAction'],
  ['editor.copyLineDown', 'editor.action.copyLinesDownAction'],
  ['editor.moveLineUp', 'editor.action.moveLinesUpAction'],
  ['editor.moveLineDown', 'editor.action.moveLinesDownAction'],
  ['editor.cursorAbove', 'editor.action.insertCursorAbove'],
  ['editor.cursorBelow', 'editor.action.insertCursorBelow'],
  ['editor.addNextMatch', 'editor.action.addSelectionToNextFindMatch'],
  ['editor.selectAllMatches', 'editor.action.selectHighlights'],
  ['editor.skipMatch', 'editor.action.moveSelectionToNextFindMatch'],
  ['editor.addComment', 'editor.action.addCommentLine'],
  ['editor.removeComment', 'editor.action.removeCommentLine'],
  ['editor.foldAll', 'editor.foldAll'],
  ['editor.unfoldAll', 'editor.unfoldAll'],
  ['editor.toggleFold', 'editor.toggleFold'],
  ['editor.foldRecursively', 'editor.foldRecursively'],
  ['editor.unfoldRecursively', 'editor.unfoldRecursively'],
  ['editor.trim', 'editor.action.trimTrailingWhitespace'],
  ['editor.deleteLine', 'editor.action.deleteLines'],
  ['editor.lineBelow', 'editor.action.insertLineAfter'],
  ['editor.lineAbove', 'editor.action.insertLineBefore'],
  ['editor.joinLines', 'editor.action.joinLines'],
  ['editor.duplicateSelection', 'editor.action.duplicateSelection'],
  ['editor.indentLines', 'editor.action.indentLines'],
  ['editor.outdentLines', 'editor.action.outdentLines'],
  ['editor.sortAscending', 'editor.action.sortLinesAscending'],
  ['editor.sortDescending', 'editor.action.sortLinesDescending'],
  ['editor.removeDuplicateLines', 'editor.action.removeDuplicateLines'],
  ['editor.upperCase', 'editor.action.transformToUppercase'],
  ['editor.lowerCase', 'editor.action.transformToLowercase'],
  ['editor.titleCase', 'editor.action.transformToTitlecase'],
  ['editor.transpose', 'editor.action.transposeLetters'],
  ['editor.selectLine', 'expandLineSelection'],
  ['editor.cursorsAtLineEnds', 'editor.action.insertCursorAtEndOfEachLineSelected'],
  ['editor.changeAll', 'editor.action.changeAll'],
  ['editor.cursorUndo', 'cursorUndo'],
  ['editor.cursorRedo', 'cursorRedo'],
  ['editor.findNext', 'editor.action.nextMatchFindAction'],
  ['editor.findPrevious', 'editor.action.previousMatchFindAction'],
  ['editor.findSelection', 'editor.action.nextSelectionMatchFindAction'],
  ['editor.selectToBracket', 'editor.action.selectToBracket'],
  ['editor.removeBrackets', 'editor.action.removeBrackets'],
  ['editor.fold', 'editor.fold'],
  ['editor.unfold', 'editor.unfold'],
  ['editor.foldComments', 'editor.foldAllBlockComments'],
  ['editor.foldLevel1', 'editor.foldLevel1'],
  ['editor.foldLevel2', 'editor.foldLevel2'],
  ['editor.foldLevel3', 'editor.foldLevel3'],
  ['editor.tabMovesFocus', 'editor.action.toggleTabFocusMode'],
  ['editor.suggest', 'editor.action.triggerSuggest'],
  ['editor.hover', 'editor.action.showHover'],
  ['editor.parameterHints', 'editor.action.triggerParameterHints'],
  ['editor.definition', 'editor.action.revealDefinition', 'editor.action.goToDeclaration'],
  ['editor.peekDefinition', 'editor.action.peekDefinition'],
  ['editor.declaration', 'editor.action.revealDeclaration'],
  ['editor.typeDefinition', 'editor.action.goToTypeDefinition'],
  ['editor.implementation', 'editor.action.goToImplementation'],
  ['editor.references', 'editor.action.goToReferences'],
  ['editor.rename', 'editor.action.rename'],
  ['editor.quickFix', 'editor.action.quickFix'],
  ['editor.refactor', 'editor.action.refactor'],
  ['editor.organizeImports', 'editor.action.organizeImports'],
  ['editor.format', 'editor.action.formatDocument', 'editor.action.format'],
  ['editor.formatSelection', 'editor.action.formatSelection'],
  ['editor.incomingCalls', 'references-view.showCallHierarchy', 'editor.showCallHierarchy', 'editor.showIncomingCalls'],
  ['editor.outgoingCalls', 'editor.showOutgoingCalls'],
  ['editor.symbols', 'workbench.action.gotoSymbol'],
  ['editor.workspaceSymbols', 'workbench.action.showAllSymbols'],
  ['outline.focus', 'outline.focus'],
  ['problems.next', 'editor.action.marker.nextInFiles', 'editor.action.marker.next'],
  ['problems.previous', 'editor.action.marker.prevInFiles', 'editor.action.marker.prev'],
  ['conflict.ours', 'merge-conflict.accept.current'],
  ['conflict.theirs', 'merge-conflict.accept.incoming'],
  ['conflict.both', 'merge-conflict.accept.both'],
  ['conflict.allOurs', 'merge-conflict.accept.all-current'],
  ['conflict.allTheirs', 'merge-conflict.accept.all-incoming'],
  ['conflict.next', 'merge-conflict.next'],
  ['conflict.previous', 'merge-conflict.previous'],
  ['rewrite.start', 'inlineChat.start', 'inlinechat.start'],
  ['rewrite.accept', 'inlineChat.acceptChanges'],
  ['rewrite.discard', 'inlineChat.discardHunkChange'],
  ['chat.focus', 'workbench.action.chat.open', 'workbench.panel.chat.view.copilot.focus'],
  ['chat.new', 'workbench.action.chat.newChat'],
  ['chat.history', 'workbench.action.chat.history'],
  ['chat.interrupt', 'workbench.action.chat.cancel'],
  ['browser.show', 'simpleBrowser.show'],
  ['terminal.toggle', 'workbench.action.terminal.toggleTerminal', 'workbench.action.terminal.focus'],
  ['terminal.new', 'workbench.action.terminal.new'],
  ['terminal.split', 'workbench.action.terminal.split'],
  ['terminal.kill', 'workbench.action.terminal.kill'],
  ['terminal.rename', 'workbench.action.terminal.rename'],
  ['terminal.restart', 'workbench.action.terminal.relaunch'],
  ['terminal.clear', 'workbench.action.terminal.clear'],
  ['terminal.next', 'workbench.action.terminal.focusNext'],
  ['terminal.previous', 'workbench.action.terminal.focusPrevious'],
  ['terminal.nextPane', 'workbench.action.terminal.focusNextPane'],
  ['terminal.previousPane', 'workbench.action.terminal.focusPreviousPane'],
  ['terminal.copy', 'workbench.action.terminal.copySelection'],
  ['terminal.paste', 'workbench.action.terminal.paste'],
  ['terminal.selectAll', 'workbench.action.terminal.selectAll'],
  ['terminal.find', 'workbench.action.terminal.focusFind'],
  ['terminal.openLink', 'workbench.action.terminal.openDetectedLink'],
  ['terminal.scrollUp', 'workbench.action.terminal.scrollUpPage'],
  ['terminal.scrollDown', 'workbench.action.terminal.scrollDownPage'],
  ['terminal.previousCommand', 'workbench.action.terminal.scrollToPreviousCommand'],
  ['terminal.nextCommand', 'workbench.action.terminal.scrollToNextCommand'],
  ['terminal.copyOutput', 'workbench.action.terminal.copyLastCommandOutput'],
  ['terminal.commands', 'workbench.action.terminal.runRecentCommand'],
];

const kOurs = new Map(kCommands.flatMap(([ours, ...theirs]) => theirs.map((name) => [name, ours])));
const kTheirs = new Map(kCommands.map(([ours, theirs]) => [ours, theirs]));

/** All of ours that have a counterpart. */
export const kMapped = Object.freeze(kCommands.map(([ours]) => ours));

/** Our name for one of theirs. @param {string} name */
export const oursOf = (name) => kOurs.get(name);

/** Their name for one of ours; ours where there is none. @param {string} id */
export const theirsOf = (id) => kTheirs.get(id) ?? id;

/** @type {Record<string, string>} */
const kModifiers = { ctrl: 'ctrl', shift: 'shift', alt: 'alt', option: 'alt', cmd: 'meta', win: 'meta', meta: 'meta' };

/** Named keys that are ours as they stand. */
const kNamed = new Set(
  ('left up right down pageup pagedown end home tab enter escape space backspace delete insert ' +
    'numpad_multiply numpad_add numpad_separator numpad_subtract numpad_decimal numpad_divide').split(' '),
);

/** Other spellings: of the keys on a US keyboard, and of single keys. @type {Record<string, string>} */
const kSpelled = {
  oem_1: ';', oem_plus: '=', oem_comma: ',', oem_minus: '-', oem_period: '.', oem_2: '/', oem_3: '`',
  oem_4: '[', oem_5: '\\', oem_6: ']', oem_7: "'", pausebreak: 'pause', esc: 'escape', del: 'delete', ins: 'insert',
  plus: 'plus', pause: 'pause',
};

/** Places of keys, as "[Minus]" names them. @type {Record<string, string>} */
const kPlaces = {
  minus: '-', equal: '=', bracketleft: '[', bracketright: ']', backslash: '\\', semicolon: ';', quote: "'",
  backquote: '`', comma: ',', period: '.', slash: '/', arrowleft: 'left', arrowright: 'right', arrowup: 'up',
  arrowdown: 'down', numpadadd: 'numpad_add', numpadsubtract: 'numpad_subtract', numpadmultiply: 'numpad_multiply',
  numpaddivide: 'numpad_divide', numpaddecimal: 'numpad_decimal', numpadenter: 'enter', pause: 'pause',
};

/**
 * Keys as such a file writes them, in our spelling.
 * @param {string} text "ctrl+k ctrl+[KeyA]"
 * @returns {{keys: string, note: string} | {reason: string}} the note says what was taken on trust
 */
export function keysFromForeign(text) {
  const strokes = text.trim().toLowerCase().split(/\s+/);
  if (!strokes[0]) return { reason: 'it names no keys' };
  if (strokes.length > 2) return { reason: 'chords have two strokes here' };
  const notes = new Set();
  const done = [];
  for (const stroke of strokes) {
    const read = strokeFrom(stroke, notes);
    if ('reason' in read) return read;
    done.push(read.stroke);
  }
  return { keys: done.join(' '), note: [...notes].join(' ') };
}

/**
 * @param {string} stroke
 * @param {Set<string>} notes
 * @returns {{stroke: string} | {reason: string}}
 */
function strokeFrom(stroke, notes) {
  const held = new Set();
  let rest = stroke;
  for (let found; (found = /^([a-z]+)[+-](?=.)/.exec(rest)) && Object.hasOwn(kModifiers, found[1]); ) {
    held.add(kModifiers[found[1]]);
    rest = rest.slice(found[0].length);
  }
  const place = /^\[([a-z0-9]+)\]$/.exec(rest)?.[1];
  const key = place ? keyAt(place) : keyCalled(rest);
  if (!key) return { reason: `the key "${rest}" is not known here` };
  if (place && [...key].length === 1) notes.add('The key was named by its place, and is taken as on a US keyboard.');
  return { stroke: ['ctrl', 'shift', 'alt', 'meta'].filter((name) => held.has(name)).concat(key).join('+') };
}

/** @param {string} name */
function keyCalled(name) {
  if (Object.hasOwn(kSpelled, name)) return kSpelled[name];
  if (name === '+') return 'plus';
  return kNamed.has(name) || /^(?:\S|f[1-9]|f1\d|f2[0-4]|numpad\d)$/u.test(name) ? name : '';
}

/** @param {string} place */
function keyAt(place) {
  const plain = /^(?:key([a-z])|digit(\d))$/.exec(place);
  if (plain) return plain[1] ?? plain[2];
  return Object.hasOwn(kPlaces, place) ? kPlaces[place] : keyCalled(place);
}

/**
 * Our keys as such a file writes them.
 * @param {string} keys
 */
export const keysToForeign = (keys) => keys.replace(/(?<=^|[ +])plus(?= |$)/g, '+').replace(/(?<=^|[ +])pause(?= |$)/g, 'pausebreak');
