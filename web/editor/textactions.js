// The text editor's own actions as commands: they act on the text that has the focus, also in comparisons.

import { registerCommand } from '../shell/commands.js';
import { editorHostNow } from './lazy.js';
import { activeView, frontBuffer } from './state.js';

/**
 * Id, title, keys (which the text editor handles itself, unless the user binds others), and the action's own name.
 * @type {[string, string, string[], string][]}
 */
const kTextActions = [
  ['editor.undo', 'Undo', ['ctrl+z'], 'undo'],
  ['editor.redo', 'Redo', ['ctrl+y'], 'redo'],
  ['editor.cut', 'Cut', ['ctrl+x'], 'editor.action.clipboardCutAction'],
  ['editor.copy', 'Copy', ['ctrl+c'], 'editor.action.clipboardCopyAction'],
  ['editor.paste', 'Paste', ['ctrl+v'], 'editor.action.clipboardPasteAction'],
  ['editor.find', 'Find', ['ctrl+f'], 'actions.find'],
  ['editor.replace', 'Replace', ['ctrl+h'], 'editor.action.startFindReplaceAction'],
  ['editor.gotoLine', 'Go to Line…', ['ctrl+g'], 'editor.action.gotoLine'],
  ['editor.gotoBracket', 'Go to Bracket', ['ctrl+shift+\\'], 'editor.action.jumpToBracket'],
  ['editor.toggleComment', 'Toggle Line Comment', ['ctrl+/'], 'editor.action.commentLine'],
  ['editor.toggleBlockComment', 'Toggle Block Comment', ['ctrl+shift+a'], 'editor.action.blockComment'],
  ['editor.selectAll', 'Select All', ['ctrl+a'], 'editor.action.selectAll'],
  ['editor.expandSelection', 'Expand Selection', ['shift+alt+right'], 'editor.action.smartSelect.expand'],
  ['editor.shrinkSelection', 'Shrink Selection', ['shift+alt+left'], 'editor.action.smartSelect.shrink'],
  ['editor.copyLineUp', 'Copy Line Up', ['shift+alt+up'], 'editor.action.copyLinesUpAction'],
  ['editor.copyLineDown', 'Copy Line Down', ['shift+alt+down'], 'editor.action.copyLinesDownAction'],
  ['editor.moveLineUp', 'Move Line Up', ['alt+up'], 'editor.action.moveLinesUpAction'],
  ['editor.moveLineDown', 'Move Line Down', ['alt+down'], 'editor.action.moveLinesDownAction'],
  ['editor.cursorAbove', 'Add Cursor Above', ['ctrl+alt+up'], 'editor.action.insertCursorAbove'],
  ['editor.cursorBelow', 'Add Cursor Below', ['ctrl+alt+down'], 'editor.action.insertCursorBelow'],
  [
    'editor.addNextMatch',
    'Add Next Match to Selection',
    ['ctrl+d'],
    'editor.action.addSelectionToNextFindMatch',
  ],
  ['editor.selectAllMatches', 'Select All Matches', ['ctrl+shift+l'], 'editor.action.selectHighlights'],
  ['editor.addComment', 'Add Line Comment', ['ctrl+k ctrl+c'], 'editor.action.addCommentLine'],
  ['editor.removeComment', 'Remove Line Comment', ['ctrl+k ctrl+u'], 'editor.action.removeCommentLine'],
  ['editor.foldAll', 'Fold All', ['ctrl+k ctrl+0'], 'editor.foldAll'],
  ['editor.unfoldAll', 'Unfold All', ['ctrl+k ctrl+j'], 'editor.unfoldAll'],
  ['editor.toggleFold', 'Toggle Fold', ['ctrl+k ctrl+l'], 'editor.toggleFold'],
  ['editor.foldRecursively', 'Fold Recursively', ['ctrl+k ctrl+['], 'editor.foldRecursively'],
  ['editor.unfoldRecursively', 'Unfold Recursively', ['ctrl+k ctrl+]'], 'editor.unfoldRecursively'],
  ['editor.skipMatch', 'Skip to Next Match', ['ctrl+k ctrl+d'], 'editor.action.moveSelectionToNextFindMatch'],
  ['editor.trim', 'Trim Trailing Whitespace', ['ctrl+k ctrl+x'], 'editor.action.trimTrailingWhitespace'],
  ['editor.deleteLine', 'Delete Line', ['ctrl+shift+k'], 'editor.action.deleteLines'],
  ['editor.lineBelow', 'Insert Line Below', ['ctrl+enter'], 'editor.action.insertLineAfter'],
  ['editor.lineAbove', 'Insert Line Above', ['ctrl+shift+enter'], 'editor.action.insertLineBefore'],
  ['editor.joinLines', 'Join Lines', [], 'editor.action.joinLines'],
  ['editor.duplicateSelection', 'Duplicate Selection', [], 'editor.action.duplicateSelection'],
  ['editor.indentLines', 'Indent Lines', ['ctrl+]'], 'editor.action.indentLines'],
  ['editor.outdentLines', 'Outdent Lines', ['ctrl+['], 'editor.action.outdentLines'],
  ['editor.sortAscending', 'Sort Lines Ascending', [], 'editor.action.sortLinesAscending'],
  ['editor.sortDescending', 'Sort Lines Descending', [], 'editor.action.sortLinesDescending'],
  ['editor.removeDuplicateLines', 'Remove Duplicate Lines', [], 'editor.action.removeDuplicateLines'],
  ['editor.upperCase', 'To Upper Case', [], 'editor.action.transformToUppercase'],
  ['editor.lowerCase', 'To Lower Case', [], 'editor.action.transformToLowercase'],
  ['editor.titleCase', 'To Title Case', [], 'editor.action.transformToTitlecase'],
  ['editor.transpose', 'Transpose Letters', [], 'editor.action.transposeLetters'],
  ['editor.selectLine', 'Select Line', ['ctrl+l'], 'expandLineSelection'],
  [
    'editor.cursorsAtLineEnds',
    'Add Cursors to Line Ends',
    ['shift+alt+i'],
    'editor.action.insertCursorAtEndOfEachLineSelected',
  ],
  ['editor.changeAll', 'Change All Occurrences', ['ctrl+f2'], 'editor.action.changeAll'],
  ['editor.cursorUndo', 'Undo Last Cursor Move', ['ctrl+u'], 'cursorUndo'],
  ['editor.cursorRedo', 'Redo Last Cursor Move', [], 'cursorRedo'],
  ['editor.findNext', 'Find Next', ['f3'], 'editor.action.nextMatchFindAction'],
  ['editor.findPrevious', 'Find Previous', ['shift+f3'], 'editor.action.previousMatchFindAction'],
  ['editor.findSelection', 'Find Next Selection', ['ctrl+f3'], 'editor.action.nextSelectionMatchFindAction'],
  ['editor.selectToBracket', 'Select to Bracket', [], 'editor.action.selectToBracket'],
  ['editor.removeBrackets', 'Remove Brackets', [], 'editor.action.removeBrackets'],
  ['editor.fold', 'Fold', ['ctrl+shift+['], 'editor.fold'],
  ['editor.unfold', 'Unfold', ['ctrl+shift+]'], 'editor.unfold'],
  ['editor.foldComments', 'Fold All Block Comments', ['ctrl+k ctrl+/'], 'editor.foldAllBlockComments'],
  ['editor.foldLevel1', 'Fold Level 1', ['ctrl+k ctrl+1'], 'editor.foldLevel1'],
  ['editor.foldLevel2', 'Fold Level 2', ['ctrl+k ctrl+2'], 'editor.foldLevel2'],
  ['editor.foldLevel3', 'Fold Level 3', ['ctrl+k ctrl+3'], 'editor.foldLevel3'],
  ['editor.tabMovesFocus', 'Tab Moves the Focus', ['ctrl+m'], 'editor.action.toggleTabFocusMode'],
];

/** Ctrl+C and its like belong to whatever has the focus. */
const inText = () => document.activeElement?.closest('.monaco-editor') instanceof Element;
/** A comparison has texts that can be acted on, while one of them has the focus. */
const canAct = () => frontBuffer.value !== null || inText();

export function registerTextActions() {
  for (const [id, title, keys, action] of kTextActions) {
    const run = () => runInText(action);
    registerCommand({ id, title, category: 'Editor', keys, keysWhen: inText, place: 'text', when: canAct, run });
  }
}

/** @param {string} action */
function runInText(action) {
  if (editorHostNow()?.runInFocus(action)) return;
  activeView()?.focus();
  activeView()?.run(action);
}
