// EditorHost: the one module that names Monaco. It makes documents (the texts of buffers), editors that
// show them, and the view that compares two; colours and sizes come from the page's CSS variables.

import * as monaco from 'monaco';
import { onTheme, theme } from '../look/theme.js';
import { kOwnLanguages } from './languages.js';
import { monacoTheme } from './monacotheme.js';

/**
 * @typedef {import('../stores/buffers.js').TextDocument} TextDocument
 * @typedef {TextDocument & {model: any, snapshot: () => () => string | null, indent: () => Indent,
 *   setIndent: (indent: Indent) => void, onIndent: (fn: () => void) => () => void}} HostDocument
 * @typedef {{spaces: boolean, size: number}} Indent
 * @typedef {{line: number, column: number, selected: number, selections: number}} Cursor
 * @typedef {ReturnType<typeof createEditor>} HostEditor
 */

globalThis.MonacoEnvironment = {
  getWorker: () => new Worker('/vendor/editor.worker.js', { type: 'module' }),
};

for (const { id, title, rules, configuration } of kOwnLanguages) {
  monaco.languages.register({ id, aliases: [title] });
  monaco.languages.setMonarchTokensProvider(id, /** @type {any} */ (rules));
  monaco.languages.setLanguageConfiguration(id, /** @type {any} */ (configuration));
}

/** Set by start.js: what a click on a web address in the text does. */
/** @type {(address: string) => void} */
let openLink = () => {};
monaco.editor.registerLinkOpener({
  open: (resource) => {
    openLink(resource.toString(true));
    return true;
  },
});

/** @param {(address: string) => void} fn */
export function setLinkOpener(fn) {
  openLink = fn;
}

function applyTheme() {
  const style = getComputedStyle(document.documentElement);
  monaco.editor.defineTheme(
    'marlin',
    monacoTheme(theme.value, (name) => style.getPropertyValue(name).trim()),
  );
  monaco.editor.setTheme('marlin');
}
applyTheme();
onTheme(applyTheme);

/** Everything that costs frames and that nobody misses at once is off. */
function commonOptions() {
  const style = getComputedStyle(document.documentElement);
  const rem = parseFloat(style.fontSize);
  return {
    theme: 'marlin',
    automaticLayout: true,
    fontFamily: style.getPropertyValue('--font-code').trim(),
    fontSize: parseFloat(style.getPropertyValue('--size-code')) * rem,
    minimap: { enabled: false },
    occurrencesHighlight: /** @type {const} */ ('off'),
    wordBasedSuggestions: /** @type {const} */ ('off'),
    stickyScroll: { enabled: false },
    // Both would change text that the user did not touch, or ask about it.
    unusualLineTerminators: /** @type {const} */ ('off'),
    dropIntoEditor: { enabled: false },
    // WebKit has no EditContext; one way of input in all engines means one way to test.
    editContext: false,
    contextmenu: false, // the page's own menu instead (textview.js)
    fixedOverflowWidgets: true,
    scrollBeyondLastLine: false,
    padding: { top: 4 },
    renderLineHighlight: /** @type {const} */ ('line'),
    scrollbar: { useShadows: false },
  };
}

/** @returns {{id: string, title: string}[]} by title */
export function languages() {
  const found = new Map(monaco.languages.getLanguages().map(({ id, aliases }) => [id, aliases?.[0] ?? id]));
  return [...found].map(([id, title]) => ({ id, title })).sort((a, b) => a.title.localeCompare(b.title));
}

/** @param {string} id */
export function languageTitle(id) {
  return languages().find((language) => language.id === id)?.title ?? id;
}

/**
 * A model without bracket colours: the option belongs to the text, not to its view.
 * @param {string} text @param {string} language
 */
function createModel(text, language) {
  const model = monaco.editor.createModel(text, language);
  model.updateOptions({
    bracketColorizationOptions: { enabled: false, independentColorPoolPerBracketType: false },
  });
  return model;
}

/**
 * @param {string} text without byte order mark
 * @param {string} language
 * @param {'\n' | '\r\n'} eol
 * @returns {HostDocument}
 */
export function createDocument(text, language, eol) {
  const model = createModel(text, language);
  model.setEOL(eolSequence(eol));
  const { TextDefined, LF } = monaco.editor.EndOfLinePreference;
  return {
    model,
    // A second mark at the start is text, which the model would hide otherwise.
    text: () => model.getValue(TextDefined, true),
    lines: () => model.getValue(LF, true).split('\n'),
    version: () => model.getAlternativeVersionId(),
    eol: () => /** @type {'\n' | '\r\n'} */ (model.getEOL()),
    setEol: (next) => next !== model.getEOL() && model.pushEOL(eolSequence(next)),
    setText: (next) => {
      model.pushStackElement();
      model.pushEditOperations([], [{ range: model.getFullModelRange(), text: next }], () => null);
      model.pushStackElement();
    },
    setLanguage: (id) => monaco.editor.setModelLanguage(model, id),
    onChange: (fn) => {
      const handle = model.onDidChangeContent(({ changes }) =>
        fn(
          changes.map(({ range, text: typed }) => ({
            startLine: range.startLineNumber,
            endLine: range.endLineNumber,
            text: typed,
          })),
        ),
      );
      return () => handle.dispose();
    },
    // A view of the text as it is now, piece by piece, that later edits do not change.
    snapshot: () => {
      const snapshot = model.createSnapshot(true);
      return () => snapshot.read();
    },
    indent: () => {
      const { insertSpaces, tabSize } = model.getOptions();
      return { spaces: insertSpaces, size: tabSize };
    },
    setIndent: ({ spaces, size }) =>
      model.updateOptions({ insertSpaces: spaces, tabSize: size, indentSize: size }),
    onIndent: (fn) => {
      const handle = model.onDidChangeOptions(fn);
      return () => handle.dispose();
    },
    dispose: () => model.dispose(),
  };
}

/** @param {'\n' | '\r\n'} eol */
function eolSequence(eol) {
  const { CRLF, LF } = monaco.editor.EndOfLineSequence;
  return eol === '\r\n' ? CRLF : LF;
}

/** @param {HTMLElement} container */
export function createEditor(container) {
  const editor = monaco.editor.create(container, { ...commonOptions(), model: null });
  return {
    /**
     * @param {TextDocument} doc
     * @param {unknown} viewState what viewState() gave for it
     */
    show(doc, viewState) {
      const { model } = /** @type {HostDocument} */ (doc);
      if (editor.getModel() !== model) editor.setModel(model);
      if (viewState) editor.restoreViewState(/** @type {any} */ (viewState));
    },
    clear: () => editor.setModel(null),
    shows: (/** @type {TextDocument} */ doc) => editor.getModel() === /** @type {HostDocument} */ (doc).model,
    viewState: () => editor.saveViewState(),
    focus: () => editor.focus(),
    hasFocus: () => editor.hasWidgetFocus(),
    /** @param {{readOnly: boolean, message?: string, wrap: boolean, label: string}} options */
    configure({ readOnly, message, wrap, label }) {
      editor.updateOptions({
        readOnly,
        readOnlyMessage: message ? { value: message } : undefined,
        wordWrap: wrap ? 'on' : 'off',
        ariaLabel: label,
      });
    },
    /** Takes sizes from the page again, after a zoom. */
    rescale: () => editor.updateOptions(commonOptions()),
    /**
     * @param {number} line from 1
     * @param {number} [column] from 1
     */
    reveal(line, column = 1) {
      editor.setPosition({ lineNumber: line, column });
      editor.revealLineInCenterIfOutsideViewport(line);
    },
    /**
     * Runs one of the text editor's own actions, such as "actions.find".
     * @param {string} id
     */
    run: (id) => editor.trigger('command', id, null),
    /** @param {(cursor: Cursor) => void} fn */
    onCursor(fn) {
      const tell = () => fn(cursorOf(editor));
      editor.onDidChangeCursorSelection(tell);
      editor.onDidChangeModel(tell);
    },
    /** @param {() => void} fn */
    onFocus: (fn) => void editor.onDidFocusEditorWidget(fn),
    /**
     * Asked for a menu, by mouse or by key.
     * @param {(x: number, y: number) => void} fn places in the page
     */
    onMenu(fn) {
      editor.onContextMenu(({ event, target }) => {
        event.preventDefault();
        event.stopPropagation();
        const at = target.position;
        const inside = at && editor.getSelections()?.some((selection) => selection.containsPosition(at));
        if (at && !inside) editor.setPosition(at);
        editor.focus();
        fn(event.posx, event.posy);
      });
    },
    dispose: () => editor.dispose(),
  };
}

/**
 * @param {monaco.editor.ICodeEditor} editor
 * @returns {Cursor}
 */
function cursorOf(editor) {
  const position = editor.getPosition();
  const selections = editor.getSelections() ?? [];
  const model = editor.getModel();
  const selected = model
    ? selections.reduce((sum, selection) => sum + model.getValueLengthInRange(selection), 0)
    : 0;
  return {
    line: position?.lineNumber ?? 1,
    column: position?.column ?? 1,
    selected,
    selections: selections.length,
  };
}

/**
 * Two texts side by side: the left one only to look at, the right one as it is in its buffer.
 * @param {HTMLElement} container
 * @param {string} original
 * @param {TextDocument} modified
 * @param {string} language
 */
export function createCompare(container, original, modified, language) {
  const left = createModel(original, language);
  const diff = monaco.editor.createDiffEditor(container, {
    ...commonOptions(),
    originalEditable: false,
    renderSideBySide: true,
  });
  diff.getOriginalEditor().updateOptions({ ariaLabel: 'Text on disk' });
  diff.getModifiedEditor().updateOptions({ ariaLabel: 'Your text' });
  diff.setModel({ original: left, modified: /** @type {HostDocument} */ (modified).model });
  return {
    focus: () => diff.getModifiedEditor().focus(),
    nextChange: () => diff.goToDiff('next'),
    previousChange: () => diff.goToDiff('previous'),
    dispose() {
      // Parts of the view still answer to the models in this turn.
      diff.setModel(null);
      setTimeout(() => {
        diff.dispose();
        left.dispose();
      });
    },
  };
}
