// Links in terminals: web addresses, and files that programs name in their messages. They open with
// Ctrl and a click, since a plain click selects; "Open Link" opens them by keyboard.

import { openFile } from '../../editor/tabactions.js';
import { openWebAddress } from '../../editor/start.js';
import { fileInfo } from '../../stores/files.js';
import { workspacePath } from '../../stores/paths.js';
import { roots } from '../../stores/settings.js';
import { candidates, findPaths, homeOf, plainPath } from '../../stores/terminallinks.js';
import { lineWithCells } from './lines.js';

/**
 * @typedef {import('xterm').Terminal} Terminal
 * @typedef {import('../../stores/terminallinks.js').PathLink} PathLink
 */

/** How long an answer about a file is good for. */
const kKnownMs = 10000;
const kWebAddress = /https?:\/\/[^\s"'`<>()[\]{}|\\^]*[^\s"'`<>()[\]{}|\\^.,:;!?]/g;

/** @type {Map<string, {at: number, isFile: Promise<boolean>}>} */
const known = new Map();

/** @param {string} path workspace path */
function isFile(path) {
  const before = known.get(path);
  if (before && Date.now() - before.at < kKnownMs) return before.isFile;
  const asked = fileInfo(path).then(
    (info) => info !== null && info.exists !== false && !info.directory,
    () => false,
  );
  if (known.size > 500) known.clear();
  known.set(path, { at: Date.now(), isFile: asked });
  return asked;
}

/** The file that a name in the output means; "" for none. @param {string} path @param {string} cwd */
async function resolve(path, cwd) {
  const all = candidates(path, { cwd, home: homeOf(roots.value), roots: roots.value });
  for (const one of all) if (await isFile(one)) return one;
  return '';
}

/** @param {MouseEvent} event @param {string} uri */
export function openUri(event, uri) {
  if (!event.ctrlKey && !event.metaKey) return;
  if (/^https?:\/\//i.test(uri)) openWebAddress(uri);
  else if (/^file:\/\//i.test(uri)) void openFileUri(uri);
}

/** @param {string} uri */
async function openFileUri(uri) {
  const path = workspacePath(roots.value, plainPath(decodeURI(new URL(uri).pathname)));
  if (path) await openFile(path);
}

/**
 * Files in the output, found when the mouse comes to their line.
 * @param {Terminal} terminal @param {() => string} cwd
 */
export function provideFileLinks(terminal, cwd) {
  terminal.registerLinkProvider({
    provideLinks: (y, give) => {
      const { text, cells } = lineWithCells(terminal.buffer.active, y - 1);
      void realLinks(text, cwd()).then((links) =>
        give(
          links.map(({ target, start, end, ...place }) => ({
            range: { start: cells[start], end: cells[end - 1] },
            text: target,
            activate: (event) => {
              if (event.ctrlKey || event.metaKey) void openFile(target, place);
            },
          })),
        ),
      );
    },
  });
}

/** @param {string} text @param {string} cwd */
async function realLinks(text, cwd) {
  const found = await Promise.all(
    findPaths(text).map(async ({ path, ...rest }) => ({ ...rest, target: await resolve(path, cwd) })),
  );
  return found.filter(({ target }) => target !== '');
}

/**
 * Every link in the rows that are to be seen, the last first.
 * @param {Terminal} terminal @param {string} cwd
 * @returns {Promise<{label: string, open: () => unknown}[]>}
 */
export async function linksInView(terminal, cwd) {
  const buffer = terminal.buffer.active;
  /** @type {Map<string, () => unknown>} */
  const found = new Map();
  for (let row = buffer.viewportY; row < buffer.viewportY + terminal.rows; row++) {
    if (row > buffer.viewportY && buffer.getLine(row)?.isWrapped) continue; // was read with its first row
    const { text } = lineWithCells(buffer, row);
    for (const [address] of text.matchAll(kWebAddress)) found.set(address, () => openWebAddress(address));
    for (const { target, line, column } of await realLinks(text, cwd)) {
      found.set(line ? `${target}:${line}` : target, () => openFile(target, { line, column }));
    }
  }
  return [...found].map(([label, open]) => ({ label, open })).reverse();
}
