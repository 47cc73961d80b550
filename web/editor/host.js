// EditorHost: the one module that names Monaco. It makes documents (the texts of buffers), editors that
// show them, and the view that compares two; colours and sizes come from the page's CSS variables.

import * as monaco from 'monaco';
import { onTheme, theme } from '../look/theme.js';
import { textEdits } from '../stores/changes.js';
import { kOwnLanguages } from './languages.js';
import { languageHost } from './lsphost.js';
import { kMarkColors, monacoTheme } from './monacotheme.js';

/**
 * @typedef {import('../stores/buffers.js').TextDocument} TextDocument
 * @typedef {TextDocument & {model: any, snapshot: () => () => string | null, indent: () => Indent,
 *   setIndent: (indent: Indent) => void, onIndent: (fn: () => void) => () => void,
 *   mark: (marks: Mark[]) => void}} HostDocument
 * @typedef {import('../stores/changes.js').Mark} Mark
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

/** What language servers know of the texts. */
export const languageServices = languageHost(monaco);

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

/** What the user chose to see around the text. */
let look = {
  minimap: false,
  stickyScroll: false,
  bracketColors: false,
  codeLens: true,
  inlayHints: true,
  screenReader: /** @type {'auto' | 'on' | 'off'} */ ('auto'),
};

/** @param {typeof look} next views take it with their next rescale() */
export function setLook(next) {
  look = next;
  for (const model of monaco.editor.getModels()) model.updateOptions(bracketOptions());
}

/** Bracket colours belong to the text, not to its view. */
const bracketOptions = () => ({
  bracketColorizationOptions: { enabled: look.bracketColors, independentColorPoolPerBracketType: false },
});

/** Everything that costs frames and that nobody misses at once is off. */
function commonOptions() {
  const style = getComputedStyle(document.documentElement);
  const rem = parseFloat(style.fontSize);
  return {
    theme: 'marlin',
    automaticLayout: true,
    fontFamily: style.getPropertyValue('--font-code').trim(),
    fontSize: parseFloat(style.getPropertyValue('--size-code')) * rem,
    minimap: { enabled: look.minimap },
    codeLens: look.codeLens,
    accessibilitySupport: look.screenReader,
    inlayHints: { enabled: look.inlayHints ? /** @type {const} */ ('on') : /** @type {const} */ ('off') },
    occurrencesHighlight: /** @type {const} */ ('off'),
    wordBasedSuggestions: /** @type {const} */ ('off'),
    // While typing, proposals of language servers come by themselves, but not in words for people.
    quickSuggestions: { other: /** @type {const} */ ('on'), comments: false, strings: false },
    'semanticHighlighting.enabled': true,
    stickyScroll: { enabled: look.stickyScroll },
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
    renderFinalNewline: /** @type {const} */ ('on'), // dimmed, its number is hard to read
    scrollbar: { useShadows: false },
  };
}

/** @returns {{id: string, title: string}[]} by title */
export function languages() {
  const found = new Map(monaco.languages.getLanguages().map(({ id, aliases }) => [id, aliases?.[0] ?? id]));
  return [...found].map(([id, title]) => ({ id, title })).sort((a, b) => a.title.localeCompare(b.title));
}

/**
 * The language of a file that the native side does not know, such as one that is only in git.
 * @param {string} name
 */
export function languageFor(name) {
  const lower = name.toLowerCase();
  const found = monaco.languages
    .getLanguages()
    .find(
      ({ filenames, extensions }) =>
        filenames?.some((one) => one.toLowerCase() === lower) ||
        extensions?.some((end) => lower.endsWith(end.toLowerCase())),
    );
  return found?.id ?? 'plaintext';
}

/** @param {string} id */
export function languageTitle(id) {
  return languages().find((language) => language.id === id)?.title ?? id;
}

/** Tells apart the texts of one path: a file may be closed and opened again before the first is let go. */
let made = 0;

/**
 * @param {string} text @param {string} language
 * @param {string} [path] by which lists of places name it
 */
function createModel(text, language, path) {
  const address = path ? monaco.Uri.from({ scheme: 'marlin', path: `/${path}`, query: String(++made) }) : undefined;
  const model = monaco.editor.createModel(text, language, address);
  model.updateOptions(bracketOptions());
  return model;
}

/**
 * @param {string} text without byte order mark
 * @param {string} language
 * @param {'\n' | '\r\n'} eol
 * @param {string} [path] workspace path
 * @returns {HostDocument}
 */
export function createDocument(text, language, eol, path) {
  const model = createModel(text, language, path);
  model.setEOL(eolSequence(eol));
  const { TextDefined, LF } = monaco.editor.EndOfLinePreference;
  /** @type {string[]} */
  let decorations = [];
  return {
    model,
    // A second mark at the start is text, which the model would hide otherwise.
    text: () => model.getValue(TextDefined, true),
    lines: () => model.getValue(LF, true).split('\n'),
    version: () => model.getAlternativeVersionId(),
    eol: () => /** @type {'\n' | '\r\n'} */ (model.getEOL()),
    setEol: (next) => next !== model.getEOL() && model.pushEOL(eolSequence(next)),
    setText: (next) => {
      const edits = textEdits(model.getValue(), next.replace(/\r\n|\r|\n/g, model.getEOL()));
      model.pushStackElement();
      model.pushEditOperations([], edits.map(editIn(model)), () => null);
      model.pushStackElement();
    },
    mark: (marks) => {
      decorations = model.deltaDecorations(decorations, marks.map(decorationOf));
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

/** @param {monaco.editor.ITextModel} model */
function editIn(model) {
  return (/** @type {{start: number, end: number, text: string}} */ { start, end, text }) => ({
    range: monaco.Range.fromPositions(model.getPositionAt(start), model.getPositionAt(end)),
    text,
  });
}

/**
 * A bar beside changed lines, here and in the scroll bar.
 * @param {Mark} mark
 */
function decorationOf({ line, endLine, kind }) {
  const color = { id: kMarkColors[kind] };
  return {
    range: new monaco.Range(line, 1, endLine, 1),
    options: {
      linesDecorationsClassName: `change-bar ${kind}`,
      overviewRuler: { color, position: monaco.editor.OverviewRulerLane.Left },
    },
  };
}

/** @param {'\n' | '\r\n'} eol */
function eolSequence(eol) {
  const { CRLF, LF } = monaco.editor.EndOfLineSequence;
  return eol === '\r\n' ? CRLF : LF;
}

/**
 * Runs one of the text editor's own actions in the text that has the focus, the innermost one.
 * @param {string} action such as "actions.find"
 * @returns {boolean} false when no text has it
 */
export function runInFocus(action) {
  const editors = monaco.editor.getEditors();
  const focused = editors.findLast((one) => one.hasTextFocus()) ?? editors.findLast((one) => one.hasWidgetFocus());
  focused?.trigger('command', action, null);
  return focused !== undefined;
}

/** @param {HTMLElement} container */
export function createEditor(container) {
  return handleOf(monaco.editor.create(container, { ...commonOptions(), model: null }));
}

/** @param {monaco.editor.ICodeEditor} editor */
function handleOf(editor) {
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
    /**
     * The main selection, from its start to its end whichever way it was made.
     * @returns {{line: number, column: number, endLine: number, endColumn: number} | null} null without a text
     */
    selection() {
      const found = editor.getSelection();
      if (!found) return null;
      const { startLineNumber: line, startColumn: column, endLineNumber: endLine, endColumn } = found;
      return { line, column, endLine, endColumn };
    },
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
     * @param {{line: number, column: number}} [end] selects the text up to there
     */
    reveal(line, column = 1, end = { line, column }) {
      editor.setSelection(new monaco.Range(line, column, end.line, end.column));
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
    /**
     * A bar beside changed lines was pressed.
     * @param {(line: number) => void} fn
     */
    onMark(fn) {
      editor.onMouseDown(({ target }) => {
        if (target.element?.classList.contains('change-bar') && target.position) fn(target.position.lineNumber);
      });
    },
    /**
     * Makes room below a line and puts an element there. The result takes it away.
     * @param {number} line from 1; 0 is above the first
     * @param {number} rows its height in lines
     * @param {HTMLElement} element
     */
    insert: (line, rows, element) => insertBelow(editor, line, rows, element),
    dispose: () => editor.dispose(),
  };
}

/** Several may be in one view. */
let lastInserted = 0;

/**
 * Room among the lines lies under the text and takes no clicks, so the element itself floats above it.
 * @param {monaco.editor.ICodeEditor} editor
 * @param {number} line
 * @param {number} rows
 * @param {HTMLElement} element
 */
function insertBelow(editor, line, rows, element) {
  const id = `marlin.inserted.${++lastInserted}`;
  const widget = {
    getId: () => id,
    getDomNode: () => element,
    getPosition: () => null,
  };
  const place = () => {
    const { contentLeft, contentWidth, verticalScrollbarWidth } = editor.getLayoutInfo();
    element.style.left = `${contentLeft}px`;
    element.style.width = `${contentWidth - verticalScrollbarWidth}px`;
  };
  let zone = '';
  place();
  editor.addOverlayWidget(widget);
  editor.changeViewZones((zones) => {
    zone = zones.addZone({
      afterLineNumber: line,
      heightInLines: rows,
      domNode: document.createElement('div'),
      onDomNodeTop: (top) => {
        element.style.top = `${top}px`;
      },
      onComputedHeight: (height) => {
        element.style.height = `${height}px`;
      },
    });
  });
  const layout = editor.onDidLayoutChange(place);
  return () => {
    layout.dispose();
    editor.removeOverlayWidget(widget);
    editor.changeViewZones((zones) => zones.removeZone(zone));
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
 * Two texts beside or above each other: the left one only to look at, the right one as it is in its buffer,
 * or a text to look at as well.
 * @param {HTMLElement} container
 * @param {object} texts
 * @param {string} texts.original
 * @param {TextDocument | string} texts.modified
 * @param {string} texts.language
 * @param {[string, string]} texts.labels what the two are, for those who hear them
 * @param {boolean} [texts.readOnly] of a buffer that must not be changed
 */
export function createCompare(container, { original, modified, language, labels, readOnly = false }) {
  const left = createModel(original, language);
  const own = typeof modified === 'string' ? createModel(modified, language) : null;
  const right = own ?? /** @type {HostDocument} */ (modified).model;
  const diff = monaco.editor.createDiffEditor(container, {
    ...commonOptions(),
    originalEditable: false,
    readOnly: readOnly || own !== null,
    renderSideBySide: true,
    useInlineViewWhenSpaceIsLimited: false, // the user's choice stands
    renderGutterMenu: false,
    ignoreTrimWhitespace: false, // a changed indent is a change
  });
  // Each change of options takes the names away again.
  /** @param {monaco.editor.IDiffEditorOptions} options */
  const update = (options) => {
    diff.updateOptions(options);
    diff.getOriginalEditor().updateOptions({ ariaLabel: labels[0] });
    diff.getModifiedEditor().updateOptions({ ariaLabel: labels[1] });
  };
  update({});
  diff.setModel({ original: left, modified: right });
  const [leftView, rightView] = [diff.getOriginalEditor(), diff.getModifiedEditor()].map(handleOf);
  return {
    leftView,
    rightView,
    focus: () => rightView.focus(),
    nextChange: () => diff.goToDiff('next'),
    previousChange: () => diff.goToDiff('previous'),
    /** @param {boolean} inline */
    setInline: (inline) => update({ renderSideBySide: !inline }),
    /** @param {string} text */
    setOriginal: (text) => left.getValue() !== text && left.setValue(text),
    /** Only where both are texts to look at. @param {string} text */
    setModified: (text) => own && own.getValue() !== text && own.setValue(text),
    /** @param {(changes: number) => void} fn */
    onChanges: (fn) => void diff.onDidUpdateDiff(() => fn(diff.getLineChanges()?.length ?? 0)),
    rescale: () => update(commonOptions()),
    dispose() {
      // Parts of the view still answer to the models in this turn.
      diff.setModel(null);
      setTimeout(() => {
        diff.dispose();
        left.dispose();
        own?.dispose();
      });
    },
  };
}
