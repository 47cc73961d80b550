// What the conditions of key bindings see of the page.

import { cursor, frontBuffer, frontTab } from '../../editor/state.js';
import { layout } from '../../shell/layout.js';

/** @param {string} selector */
const focusIn = (selector) => () => document.activeElement?.closest(selector) instanceof Element;

const inText = focusIn('.monaco-editor');
const language = () => frontBuffer.peek()?.language.peek();

/** @type {Record<import('../../stores/keybindingscontexts.js').ContextName, () => unknown>} */
export const kContextValues = {
  editorTextFocus: inText,
  editorFocus: inText,
  textInputFocus: inText,
  editorReadonly: () => (frontBuffer.peek()?.readOnly ?? '') !== '',
  editorHasSelection: () => cursor.peek().selected > 0,
  editorHasMultipleSelections: () => cursor.peek().selections > 1,
  editorLangId: language,
  resourceLangId: language,
  editorIsOpen: () => frontTab.peek() !== null,
  isInDiffEditor: focusIn('.monaco-diff-editor'),
  inputFocus: focusIn('input, textarea, [contenteditable]'),
  terminalFocus: focusIn('.terminals'),
  filesExplorerFocus: focusIn('.tree'),
  explorerViewletFocus: focusIn('.tree'),
  searchViewletFocus: focusIn('.search'),
  sideBarFocus: focusIn('[data-part="side"]'),
  panelFocus: focusIn('[data-part="bottom"]'),
  auxiliaryBarFocus: focusIn('[data-part="right"]'),
  sideBarVisible: () => layout.peek().side.open,
  panelVisible: () => layout.peek().bottom.open,
  auxiliaryBarVisible: () => layout.peek().right.open,
};
