// Rewriting a part of a text by Claude: what is sent, and what is made of the answer. Nothing here knows the
// text editor; places count lines and columns from 1, the end is behind the last letter.

import { call } from '../bridge/api.js';
import { lineHunks } from './changes.js';

/**
 * @typedef {{line: number, column: number, endLine: number, endColumn: number}} Place
 *
 * A run of lines that go, and those that come behind them.
 * @typedef {{line: number, count: number, added: string[]}} Step
 */

/** Lines before and behind that show Claude where the code stands. */
const kContext = 40;

/**
 * What a selection means: within a line just that, else whole lines, and nothing the line of the cursor.
 * @param {readonly string[]} lines
 * @param {Place} selected
 * @returns {Place}
 */
export function placeOf(lines, { line, column, endLine, endColumn }) {
  if (line === endLine && column !== endColumn) return { line, column, endLine, endColumn };
  // A selection that ends before the first letter of a line has nothing of it.
  const last = endLine > line && endColumn === 1 ? endLine - 1 : endLine;
  return { line, column: 1, endLine: last, endColumn: (lines[last - 1] ?? '').length + 1 };
}

/**
 * @param {readonly string[]} lines
 * @param {Place} place
 */
export function textIn(lines, { line, column, endLine, endColumn }) {
  const inside = lines.slice(line - 1, endLine);
  const last = inside.length - 1;
  return inside
    .map((text, at) => text.slice(at === 0 ? column - 1 : 0, at === last ? endColumn - 1 : undefined))
    .join('\n');
}

/**
 * What stands around a place.
 * @param {readonly string[]} lines
 * @param {Place} place
 */
export function contextOf(lines, { line, endLine }) {
  const before = lines.slice(Math.max(0, line - 1 - kContext), line - 1);
  const behind = lines.slice(endLine, endLine + kContext);
  if (before.length + behind.length === 0) return '';
  return [...before, '(the code to rewrite stands here)', ...behind].join('\n');
}

/**
 * Claude's answer as it comes in the place of the code: without a fence around it, and with the blank lines
 * at its ends that the code has.
 * @param {string} answer
 * @param {string} code
 */
export function fitted(answer, code) {
  const plain = answer.replace(/\r\n?/g, '\n');
  const fence = /^\s*```[^\n]*\n([^]*?)\n?```\s*$/.exec(plain);
  const inside = (fence && !fence[1].includes('```') ? fence[1] : plain).replace(/^(?:[ \t]*\n)+|\s+$/g, '');
  const head = /^(?:[ \t]*\n)*/.exec(code)?.[0] ?? '';
  const tail = /\s*$/.exec(code)?.[0] ?? '';
  return head.length < code.length ? head + inside + tail : inside;
}

/**
 * What taking an answer does to the lines of the text.
 * @param {readonly string[]} lines
 * @param {Place} place
 * @param {string} text
 * @returns {Step[]} in order
 */
export function stepsOf(lines, place, text) {
  const { line, column, endLine, endColumn } = place;
  const old = lines.slice(line - 1, endLine);
  const before = (old[0] ?? '').slice(0, column - 1);
  const behind = (old.at(-1) ?? '').slice(endColumn - 1);
  const next = (before + text + behind).split('\n');
  return lineHunks(old, next).map(({ oldStart, oldCount, newStart, newCount }) => ({
    line: line + oldStart,
    count: oldCount,
    added: next.slice(newStart, newStart + newCount),
  }));
}

/**
 * @param {object} what
 * @param {string} what.instruction
 * @param {string} what.code
 * @param {string} what.language the bridge would take a missing one for Lua
 * @param {string} what.path workspace path, "" for an untitled page
 * @param {string} what.context
 * @param {AbortSignal} signal
 * @returns {Promise<string>} the code as it comes into the text
 */
export async function askRewrite({ instruction, code, language, path, context }, signal) {
  const body = { instruction, code, language: language || 'plaintext', path, context };
  const job = `Rewrite a part of ${path.slice(path.lastIndexOf('/') + 1) || 'a page'}`;
  const { result } = await call('agent/edit', body, { signal, job });
  return fitted(String(result ?? ''), code);
}
