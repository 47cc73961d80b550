// The text editor's colours, made from the page's own.

/** Kind of token to the variable of its colour and its style. @type {[string, string, string?][]} */
const kTokens = [
  ['', '--syntax-variable'],
  ['comment', '--syntax-comment', 'italic'],
  ['keyword', '--syntax-keyword'],
  ['storage', '--syntax-keyword'],
  ['string', '--syntax-string'],
  ['string.escape', '--syntax-regexp'],
  ['string.invalid', '--syntax-invalid'],
  ['regexp', '--syntax-regexp'],
  ['number', '--syntax-number'],
  ['constant', '--syntax-constant'],
  ['type', '--syntax-type'],
  ['namespace', '--syntax-type'],
  ['function', '--syntax-function'],
  ['predefined', '--syntax-function'],
  ['identifier', '--syntax-variable'],
  ['variable', '--syntax-variable'],
  ['variable.predefined', '--syntax-constant'],
  ['operator', '--syntax-operator'],
  ['delimiter', '--syntax-operator'],
  ['tag', '--syntax-tag'],
  ['attribute.name', '--syntax-attribute'],
  ['attribute.value', '--syntax-string'],
  ['metatag', '--syntax-meta'],
  ['annotation', '--syntax-meta'],
  ['key', '--syntax-attribute'],
  ['strong', '--syntax-variable', 'bold'],
  ['emphasis', '--syntax-variable', 'italic'],
  ['invalid', '--syntax-invalid'],
];

/** Name of a colour in the text editor to the variable it is taken from. @type {[string, string][]} */
const kColors = [
  ['editor.background', '--bg'],
  ['editor.foreground', '--text'],
  ['editor.lineHighlightBackground', '--line-highlight'],
  ['editor.lineHighlightBorder', '--line-highlight'],
  ['editorLineNumber.foreground', '--line-number'],
  ['editorLineNumber.activeForeground', '--line-number-active'],
  ['editorCursor.foreground', '--cursor'],
  ['editor.selectionBackground', '--selection'],
  ['editor.inactiveSelectionBackground', '--selection-quiet'],
  ['editor.findMatchBackground', '--find-match'],
  ['editor.findMatchHighlightBackground', '--find-other'],
  ['editorIndentGuide.background1', '--guide'],
  ['editorIndentGuide.activeBackground1', '--guide-active'],
  ['editorWhitespace.foreground', '--guide-active'],
  ['editorBracketMatch.background', '--bracket'],
  ['editorBracketMatch.border', '--bracket'],
  ['editorLink.activeForeground', '--link'],
  ['diffEditor.insertedLineBackground', '--added'],
  ['diffEditor.removedLineBackground', '--removed'],
  ['editorWidget.background', '--raised'],
  ['editorWidget.foreground', '--text'],
  ['editorWidget.border', '--line-strong'],
  ['editorHoverWidget.background', '--raised'],
  ['editorHoverWidget.border', '--line-strong'],
  ['editorSuggestWidget.background', '--raised'],
  ['editorSuggestWidget.selectedBackground', '--selected'],
  ['input.background', '--input'],
  ['input.foreground', '--text'],
  ['input.border', '--line-strong'],
  ['input.placeholderForeground', '--faint'],
  ['inputOption.activeBorder', '--focus'],
  ['focusBorder', '--focus'],
  ['foreground', '--text'],
  ['icon.foreground', '--text'],
  ['menu.background', '--raised'],
  ['menu.foreground', '--text'],
  ['menu.selectionBackground', '--selected'],
  ['menu.selectionForeground', '--strong'],
  ['menu.border', '--line-strong'],
  ['menu.separatorBackground', '--line'],
  ['quickInput.background', '--raised'],
  ['quickInput.foreground', '--text'],
  ['list.focusBackground', '--selected'],
  ['list.hoverBackground', '--hover'],
  ['textLink.foreground', '--link'],
  ['editorError.foreground', '--error'],
  ['editorWarning.foreground', '--warning'],
  ['editorInfo.foreground', '--info'],
];

/** @type {Record<string, 'vs' | 'vs-dark' | 'hc-black' | 'hc-light'>} */
const kBases = {
  'marlin-dark': 'vs-dark',
  'marlin-light': 'vs',
  'marlin-contrast-dark': 'hc-black',
  'marlin-contrast-light': 'hc-light',
};

/**
 * @param {string} id of the page's theme
 * @param {(variable: string) => string} colorOf
 * @returns {import('monaco').editor.IStandaloneThemeData}
 */
export function monacoTheme(id, colorOf) {
  const rules = kTokens.map(([token, variable, fontStyle]) => ({
    token,
    foreground: colorOf(variable).replace('#', ''),
    ...(fontStyle && { fontStyle }),
  }));
  const colors = Object.fromEntries(kColors.map(([name, variable]) => [name, colorOf(variable)]));
  return { base: kBases[id] ?? 'vs-dark', inherit: true, rules, colors };
}
