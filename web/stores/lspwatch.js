// Which changes on disk a language server wants to hear of: patterns that it registers, matched with paths.

import { listOf, recordOf, textOf } from './chatwire.js';
import { pathOfUri, uriOf } from './lspwire.js';

/** The protocol's number for a file that was changed; what became of it the server sees for itself. */
const CHANGED = 2;

/**
 * The changes to be told of, for what was registered.
 * @param {readonly Record<string, any>[]} registrations options of "workspace/didChangeWatchedFiles"
 * @param {readonly string[]} paths absolute
 */
export function watchedChanges(registrations, paths) {
  const tests = registrations.flatMap(({ watchers }) => listOf(watchers).map(watcherTest));
  return paths
    .filter((path) => path !== '' && tests.some((fits) => fits(path)))
    .map((path) => ({ uri: uriOf(path), type: CHANGED }));
}

/**
 * @param {any} watcher
 * @returns {(path: string) => boolean}
 */
function watcherTest(watcher) {
  const { globPattern } = recordOf(watcher);
  const { baseUri, pattern } = recordOf(globPattern);
  const expression = globExpression(textOf(globPattern) || textOf(pattern));
  const base = pathOfUri(baseUri) || pathOfUri(recordOf(baseUri).uri);
  if (!base) return (path) => expression.test(path);
  const prefix = base.endsWith('/') ? base : `${base}/`;
  return (path) => path.startsWith(prefix) && expression.test(path.slice(prefix.length));
}

/** What a piece of a pattern stands for. @type {[RegExp, (match: string) => string][]} */
const PIECES = [
  [/^\*\*\//, () => '(?:.*/)?'],
  [/^\*\*/, () => '.*'],
  [/^\*/, () => '[^/]*'],
  [/^\?/, () => '[^/]'],
  [/^\[!?[^\]/]+\]/, (match) => `[${match.startsWith('[!') ? '^' : ''}${setOf(match)}]`],
  [/^[^*?[]+|^\[/, (match) => match.replace(/[\\^$.|+()[\]{}]/g, '\\$&')],
];

/** @param {string} match with its brackets */
const setOf = (match) => match.replace(/^\[!?|\]$/g, '').replace(/[\\^]/g, '\\$&');

/**
 * @param {string} pattern with *, **, ?, {a,b} and [a-z]
 * @returns {RegExp} for a whole path; one that fits nothing for a pattern that makes no sense
 */
export function globExpression(pattern) {
  try {
    return new RegExp(`^(?:${alternatives(pattern).map(source).join('|')})$`);
  } catch {
    return /^(?!)/;
  }
}

/** @param {string} pattern without braces */
function source(pattern) {
  let rest = pattern;
  let text = '';
  while (rest) {
    const [expression, replace] = /** @type {[RegExp, (match: string) => string]} */ (
      PIECES.find(([one]) => one.test(rest))
    );
    const [match] = /** @type {RegExpExecArray} */ (expression.exec(rest));
    text += replace(match);
    rest = rest.slice(match.length);
  }
  return text;
}

/**
 * The patterns that one with braces stands for.
 * @param {string} pattern
 * @returns {string[]}
 */
function alternatives(pattern) {
  const braces = /\{([^{}]*)\}/.exec(pattern);
  if (!braces) return [pattern];
  const before = pattern.slice(0, braces.index);
  const after = pattern.slice(braces.index + braces[0].length);
  return braces[1].split(',').flatMap((one) => alternatives(before + one + after));
}
