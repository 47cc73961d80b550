// Values of the language server protocol as the text editor takes them, and back. Lines and columns count from
// 0 there and from 1 here; both count UTF-16 units.

import { listOf, recordOf, textOf } from '../stores/chatwire.js';
import { SEVERITIES } from '../stores/lspproblems.js';
import { rangeFrom } from '../stores/lspwire.js';

/**
 * @typedef {typeof import('monaco')} Monaco
 * @typedef {import('monaco').IRange} IRange
 * @typedef {import('../stores/lspwire.js').Range} Range
 */

/** Kinds of proposals in the order of their numbers, from 1. */
const COMPLETION_KINDS = /** @type {const} */ ([
  ...['Text', 'Method', 'Function', 'Constructor', 'Field', 'Variable', 'Class', 'Interface', 'Module'],
  ...['Property', 'Unit', 'Value', 'Enum', 'Keyword', 'Snippet', 'Color', 'File', 'Reference', 'Folder'],
  ...['EnumMember', 'Constant', 'Struct', 'Event', 'Operator', 'TypeParameter'],
]);

/** @param {Monaco} monaco @param {unknown} kind */
export function completionKind(monaco, kind) {
  const kinds = /** @type {Record<string, any>} */ (monaco.languages.CompletionItemKind);
  return kinds[COMPLETION_KINDS[Number(kind) - 1] ?? 'Text'];
}

/** Kinds of symbols have the same order, here from 0. @param {unknown} kind */
export const symbolKind = (kind) => Math.max(0, Math.min(25, (Number(kind) || 13) - 1));

/** @param {import('monaco').IPosition} position */
export const toPosition = ({ lineNumber, column }) => ({ line: lineNumber - 1, character: column - 1 });

/** @param {IRange} range @returns {Range} */
export const toRange = ({ startLineNumber, startColumn, endLineNumber, endColumn }) => ({
  start: { line: startLineNumber - 1, character: startColumn - 1 },
  end: { line: endLineNumber - 1, character: endColumn - 1 },
});

/** @param {Range} range @returns {IRange} */
export const fromRange = ({ start, end }) => ({
  startLineNumber: start.line + 1,
  startColumn: start.character + 1,
  endLineNumber: end.line + 1,
  endColumn: end.character + 1,
});

/** @param {unknown} value @returns {IRange | null} */
export function rangeOrNull(value) {
  const range = rangeFrom(value);
  return range && fromRange(range);
}

/**
 * Words that are either plain or Markdown, as Markdown.
 * @param {unknown} value a text, a text with its kind, or a text in a language
 * @returns {import('monaco').IMarkdownString | undefined} undefined for no words
 */
export function words(value) {
  if (typeof value === 'string') return value ? { value } : undefined;
  const { kind, value: text, language } = recordOf(value);
  if (!textOf(text)) return undefined;
  if (textOf(language)) return { value: fenced(textOf(text), textOf(language)) };
  return { value: kind === 'plaintext' ? plain(textOf(text)) : textOf(text) };
}

/** @param {string} text @param {string} language */
function fenced(text, language) {
  const longest = Math.max(2, ...(text.match(/`+/g) ?? []).map((ticks) => ticks.length));
  const fence = '`'.repeat(longest + 1);
  return `${fence}${language}\n${text}\n${fence}`;
}

/** Markdown that shows a text as it stands. @param {string} text */
const plain = (text) =>
  text.replace(/[\\`*_{}[\]()#+\-.!<>|~&]/g, '\\$&').replace(/\n/g, '  \n').replace(/^[ \t]+/gm, '');

/**
 * @param {unknown} contents one of them, or a list
 */
export const allWords = (contents) =>
  (Array.isArray(contents) ? contents : [contents]).flatMap((one) => words(one) ?? []);

/**
 * A finding as a mark in the text.
 * @param {Monaco} monaco
 * @param {import('../stores/lspproblems.js').Problem} problem
 * @param {(path: string) => import('monaco').Uri} addressOf
 * @returns {import('monaco').editor.IMarkerData}
 */
export function markerOf(monaco, problem, addressOf) {
  const { range, severity, message, source, code, link, unused, deprecated, related } = problem;
  const { Error, Warning, Info, Hint } = monaco.MarkerSeverity;
  return {
    ...fromRange(range),
    severity: [Error, Warning, Info, Hint][SEVERITIES.indexOf(severity)] ?? Error,
    message,
    source: source || undefined,
    code: link ? { value: code, target: monaco.Uri.parse(link) } : code || undefined,
    tags: [
      ...(unused ? [monaco.MarkerTag.Unnecessary] : []),
      ...(deprecated ? [monaco.MarkerTag.Deprecated] : []),
    ],
    relatedInformation: related.map((one) => ({
      ...fromRange(one.range),
      resource: addressOf(one.path),
      message: one.message,
    })),
  };
}

/**
 * One proposal; `fallback` is the place of those that name none.
 * @param {Monaco} monaco
 * @param {Record<string, any>} item
 * @param {Record<string, any>} defaults what the list says for all its items
 * @param {import('monaco').languages.CompletionItemRanges} fallback
 * @returns {import('monaco').languages.CompletionItem}
 */
export function completionOf(monaco, item, defaults, fallback) {
  const { InsertAsSnippet } = monaco.languages.CompletionItemInsertTextRule;
  const edit = recordOf(item.textEdit);
  const label = textOf(item.label);
  const { detail, description } = recordOf(item.labelDetails);
  const byDefault = defaults.editRange ? textOf(item.textEditText) : '';
  const format = item.insertTextFormat ?? defaults.insertTextFormat;
  const deprecated = item.deprecated === true || listOf(item.tags).includes(1);
  return {
    label: detail || description ? { label, detail: textOf(detail), description: textOf(description) } : label,
    kind: completionKind(monaco, item.kind),
    tags: deprecated ? [monaco.languages.CompletionItemTag.Deprecated] : undefined,
    detail: textOf(item.detail) || undefined,
    documentation: words(item.documentation),
    sortText: textOf(item.sortText) || undefined,
    filterText: textOf(item.filterText) || undefined,
    preselect: item.preselect === true,
    insertText:
      typeof edit.newText === 'string' ? edit.newText : byDefault || textOf(item.insertText) || label,
    insertTextRules: format === 2 ? InsertAsSnippet : undefined,
    range: completionRange(item.textEdit ?? editRangeOf(defaults.editRange), fallback),
    commitCharacters: commitCharacters(item.commitCharacters ?? defaults.commitCharacters),
    additionalTextEdits: editOperations(item.additionalTextEdits),
  };
}

/** @param {any} value a range, or two of them */
const editRangeOf = (value) => (rangeFrom(value) ? { range: value } : value);

/** @param {unknown} list */
const commitCharacters = (list) => listOf(list).filter((one) => typeof one === 'string' && one.length === 1);

/**
 * The text editor takes only ranges in the line that is being typed in.
 * @param {any} edit
 * @param {import('monaco').languages.CompletionItemRanges} fallback
 */
function completionRange(edit, fallback) {
  const { range, insert, replace } = recordOf(edit);
  const first = rangeOrNull(insert) ?? rangeOrNull(range);
  const second = rangeOrNull(replace) ?? first;
  const line = fallback.insert.startLineNumber;
  /** @param {IRange | null} one */
  const fits = (one) => one?.startLineNumber === line && one.endLineNumber === line;
  if (!first || !second || !fits(first) || !fits(second)) return fallback;
  return { insert: first, replace: second };
}

/**
 * @param {unknown} list
 * @returns {import('monaco').languages.TextEdit[]}
 */
export function editOperations(list) {
  return listOf(list).flatMap((one) => {
    const range = rangeOrNull(recordOf(one).range);
    return range ? [{ range, text: textOf(one.newText) }] : [];
  });
}

/**
 * The symbols of a text as a tree; servers of older days send a list.
 * @param {unknown} list
 * @returns {import('monaco').languages.DocumentSymbol[]}
 */
export function symbolsOf(list) {
  return listOf(list).flatMap((one) => {
    const { name, detail, kind, tags, range, selectionRange, location, containerName, children } = recordOf(one);
    const whole = rangeOrNull(range) ?? rangeOrNull(recordOf(location).range);
    if (!whole) return [];
    return [
      {
        name: textOf(name) || '(no name)',
        detail: textOf(detail),
        kind: symbolKind(kind),
        tags: listOf(tags).filter((tag) => tag === 1),
        containerName: textOf(containerName),
        range: whole,
        selectionRange: rangeOrNull(selectionRange) ?? whole,
        children: symbolsOf(children),
      },
    ];
  });
}
