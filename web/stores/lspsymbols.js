// The symbols of a text as a tree, for its outline: which of them hold a place, and all of them as a list.

import { listOf, recordOf, textOf } from './chatwire.js';
import { comparePositions, pathOfUri, rangeFrom } from './lspwire.js';

/**
 * @typedef {object} OutlineSymbol
 * @property {string} key its place in the tree: "2/0" is the first child of the third
 * @property {string} name
 * @property {string} detail
 * @property {number} kind as the protocol counts, from 1
 * @property {boolean} deprecated
 * @property {import('./lspwire.js').Range} range all of it
 * @property {import('./lspwire.js').Range} place its name
 * @property {OutlineSymbol[]} children
 *
 * @typedef {{name: string, container: string, kind: number, path: string, range: import('./lspwire.js').Range}} FoundSymbol
 */

/** Icons of kinds, from 1. */
const ICONS = [
  ...['file', 'module', 'namespace', 'package', 'class', 'method', 'property', 'field', 'constructor', 'enum'],
  ...['interface', 'function', 'variable', 'constant', 'string', 'number', 'boolean', 'array', 'object', 'key'],
  ...['null', 'enum-member', 'struct', 'event', 'operator', 'type-parameter'],
];

/** Those for which the icon font has another name. @type {Record<string, string>} */
const FONT_NAMES = { package: 'namespace', module: 'namespace', function: 'method', constructor: 'method', null: 'misc' };

/** @param {number} kind */
export function symbolIcon(kind) {
  const name = ICONS[kind - 1] ?? 'misc';
  return `symbol-${FONT_NAMES[name] ?? name}`;
}

/**
 * The tree of an answer to "textDocument/documentSymbol", in the order of the text. A list of older servers is
 * made a tree by what holds what.
 * @param {unknown} answer
 * @returns {OutlineSymbol[]}
 */
export function outlineOf(answer) {
  const list = listOf(answer).map(recordOf);
  const flat = list.some(({ location }) => rangeFrom(recordOf(location).range));
  const symbols = flat ? nested(list.flatMap(symbolFrom)) : list.flatMap(symbolFrom);
  return keyed(symbols, '');
}

/** @param {Record<string, any>} raw @returns {OutlineSymbol[]} empty for what has no place */
function symbolFrom({ name, detail, kind, tags, deprecated, range, selectionRange, location, children }) {
  const whole = rangeFrom(range) ?? rangeFrom(recordOf(location).range);
  if (!whole) return [];
  return [
    {
      key: '',
      name: textOf(name) || '(no name)',
      detail: textOf(detail),
      kind: Number(kind) || 0,
      deprecated: deprecated === true || listOf(tags).includes(1),
      range: whole,
      place: rangeFrom(selectionRange) ?? whole,
      children: listOf(children).map(recordOf).flatMap(symbolFrom),
    },
  ];
}

/** @param {import('./lspwire.js').Range} outer @param {import('./lspwire.js').Range} inner */
const holds = (outer, inner) =>
  comparePositions(outer.start, inner.start) <= 0 && comparePositions(outer.end, inner.end) >= 0;

/** @param {OutlineSymbol[]} list */
function nested(list) {
  const inOrder = [...list].sort(
    (one, other) =>
      comparePositions(one.range.start, other.range.start) || comparePositions(other.range.end, one.range.end),
  );
  /** @type {OutlineSymbol[]} */
  const top = [];
  /** @type {OutlineSymbol[]} */
  const open = [];
  for (const symbol of inOrder) {
    while (open.length && !holds(/** @type {OutlineSymbol} */ (open.at(-1)).range, symbol.range)) open.pop();
    (open.at(-1)?.children ?? top).push(symbol);
    open.push(symbol);
  }
  return top;
}

/** @param {OutlineSymbol[]} list @param {string} before @returns {OutlineSymbol[]} */
const keyed = (list, before) =>
  [...list]
    .sort((one, other) => comparePositions(one.range.start, other.range.start))
    .map((one, at) => ({ ...one, key: `${before}${at}`, children: keyed(one.children, `${before}${at}/`) }));

/**
 * The symbols that hold a place, from the outermost to the innermost.
 * @param {readonly OutlineSymbol[]} tree
 * @param {import('./lspwire.js').Position} position
 * @returns {OutlineSymbol[]}
 */
export function symbolsAt(tree, position) {
  const found = tree.find(({ range }) => holds(range, { start: position, end: position }));
  return found ? [found, ...symbolsAt(found.children, position)] : [];
}

/**
 * @param {readonly OutlineSymbol[]} tree
 * @param {number} [depth]
 * @returns {{symbol: OutlineSymbol, depth: number}[]}
 */
export const allSymbols = (tree, depth = 0) =>
  tree.flatMap((symbol) => [{ symbol, depth }, ...allSymbols(symbol.children, depth + 1)]);

/**
 * The rows that are to be seen: what is closed hides what is below it.
 * @param {readonly OutlineSymbol[]} tree
 * @param {ReadonlySet<string>} closed keys
 * @param {number} [depth]
 * @returns {{symbol: OutlineSymbol, depth: number}[]}
 */
export const outlineRows = (tree, closed, depth = 0) =>
  tree.flatMap((symbol) => [
    { symbol, depth },
    ...(closed.has(symbol.key) ? [] : outlineRows(symbol.children, closed, depth + 1)),
  ]);

/**
 * An answer to "workspace/symbol".
 * @param {unknown} answer
 * @returns {FoundSymbol[]}
 */
export const foundSymbols = (answer) =>
  listOf(answer).flatMap((one) => {
    const { name, containerName, kind, location } = recordOf(one);
    const { uri, range } = recordOf(location);
    const path = pathOfUri(uri);
    const origin = { line: 0, character: 0 };
    const place = rangeFrom(range) ?? { start: origin, end: origin };
    return path ? [{ name: textOf(name), container: textOf(containerName), kind: Number(kind) || 0, path, range: place }] : [];
  });
