// Commands for what language servers can do. Each is there only while the server of the text in front offers it.

import { registerCommand } from '../shell/commands.js';
import { clientOf, sourceOf, states } from '../stores/lspservers.js';
import { absolutePath } from '../stores/paths.js';
import { roots } from '../stores/settings.js';
import { activeView, frontBuffer, frontTab } from './state.js';

/**
 * Id, title, keys (the text editor handles them itself), the action's own name, and the method it needs.
 * @type {[string, string, string[], string, string][]}
 */
const kActions = [
  ['editor.suggest', 'Propose', ['ctrl+space'], 'editor.action.triggerSuggest', 'textDocument/completion'],
  ['editor.hover', 'Show Hover', ['ctrl+k ctrl+i'], 'editor.action.showHover', 'textDocument/hover'],
  [
    'editor.parameterHints',
    'Show Parameters',
    ['ctrl+shift+space'],
    'editor.action.triggerParameterHints',
    'textDocument/signatureHelp',
  ],
  ['editor.definition', 'Go to Definition', ['f12'], 'editor.action.revealDefinition', 'textDocument/definition'],
  [
    'editor.peekDefinition',
    'Peek Definition',
    ['alt+f12'],
    'editor.action.peekDefinition',
    'textDocument/definition',
  ],
  ['editor.declaration', 'Go to Declaration', [], 'editor.action.revealDeclaration', 'textDocument/declaration'],
  [
    'editor.typeDefinition',
    'Go to Type Definition',
    [],
    'editor.action.goToTypeDefinition',
    'textDocument/typeDefinition',
  ],
  [
    'editor.implementation',
    'Go to Implementations',
    ['ctrl+f12'],
    'editor.action.goToImplementation',
    'textDocument/implementation',
  ],
  [
    'editor.references',
    'Go to References',
    ['shift+f12'],
    'editor.action.goToReferences',
    'textDocument/references',
  ],
  ['editor.rename', 'Rename Symbol', ['f2'], 'editor.action.rename', 'textDocument/rename'],
  ['editor.quickFix', 'Quick Fix…', ['ctrl+.'], 'editor.action.quickFix', 'textDocument/codeAction'],
  ['editor.refactor', 'Refactor…', ['ctrl+shift+r'], 'editor.action.refactor', 'textDocument/codeAction'],
  [
    'editor.organizeImports',
    'Organize Imports',
    ['shift+alt+o'],
    'editor.action.organizeImports',
    'textDocument/codeAction',
  ],
  [
    'editor.format',
    'Format Document',
    ['shift+alt+f', 'ctrl+shift+i'],
    'editor.action.formatDocument',
    'textDocument/formatting',
  ],
  [
    'editor.formatSelection',
    'Format Selection',
    ['ctrl+k ctrl+f'],
    'editor.action.formatSelection',
    'textDocument/rangeFormatting',
  ],
];

const inText = () => document.activeElement?.closest('.text-view') instanceof Element;

/**
 * Whether the server of the text in front offers a method.
 * @param {string} method
 */
export function offered(method) {
  void states.value; // read for the sake of those who follow this as signals
  const source = frontBuffer.value && sourceOf(absolutePath(roots.value, frontTab.value?.id ?? ''));
  return Boolean(source && clientOf(source)?.abilities.options(method));
}

export function registerLanguageCommands() {
  for (const [id, title, keys, action, method] of kActions) {
    registerCommand({
      id,
      title,
      category: 'Editor',
      keys,
      keysWhen: inText,
      place: 'text',
      when: () => offered(method),
      run() {
        activeView()?.focus();
        activeView()?.run(action);
      },
    });
  }
}
