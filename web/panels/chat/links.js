// Where a link or a path in Claude's words leads: into the editor, or to the desktop's browser.

import { openWebAddress } from '../../editor/start.js';
import { openFile } from '../../editor/tabactions.js';
import { reportError, toast } from '../../shell/toasts.js';
import { fileInfo } from '../../stores/files.js';

/** @typedef {import('./conversation.js').Conversation} Conversation */

/**
 * Opens a file that Claude names, at a line if it names one ("a.c:12", "a.c#L12").
 * @param {string} words
 * @param {Conversation} conversation
 */
export async function openNamed(words, { inside: insideOf, wayOut }) {
  const [, path, line] = /^(.*?)(?:(?::|#L)(\d+)(?:[-:]L?\d+)?)?$/s.exec(words) ?? [];
  const inside = insideOf(path ?? '');
  const info = inside.includes('/') ? await fileInfo(inside) : null;
  if (info && !info.directory)
    await openFile(inside, { line: line ? Number(line) : undefined, focus: false });
  else toast({ kind: 'warning', text: `${words} is no file of the workspace.`, actions: wayOut() });
}

/**
 * No link is ever followed by the page itself.
 * @param {MouseEvent} event
 * @param {Conversation} conversation
 */
export function followLink(event, conversation) {
  const link = event.target instanceof Element ? event.target.closest('a') : null;
  if (!link) return;
  event.preventDefault();
  const href = link.getAttribute('href') ?? '';
  if (/^https?:\/\//.test(href)) openWebAddress(href);
  else openNamed(decoded(href), conversation).catch((error) => reportError(`Could not open ${href}`, error));
}

/** @param {string} href */
function decoded(href) {
  try {
    return decodeURIComponent(href);
  } catch {
    return href; // a lone percent sign in a file name
  }
}
