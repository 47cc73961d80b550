// Where a link or a path in Claude's words leads: into the editor, or to the desktop's browser.

import { openWebAddress } from '../../editor/start.js';
import { openFile } from '../../editor/tabactions.js';
import { reportError, toast } from '../../shell/toasts.js';
import { fileInfo } from '../../stores/files.js';
import { joinPath, resolveLink, workspacePath } from '../../stores/paths.js';
import { roots } from '../../stores/settings.js';

/**
 * The workspace path of what Claude names: in full, or from the first root, where it runs.
 * @param {string} path
 * @returns {string} "" when it lies outside of the workspace
 */
export function fromClaude(path) {
  if (path.startsWith('/')) return workspacePath(roots.value, path);
  const first = roots.value[0]?.name ?? '';
  return first && path ? resolveLink(joinPath(first, '.'), path).path : '';
}

/**
 * Opens a file that Claude names, at a line if it names one ("a.c:12", "a.c#L12").
 * @param {string} words
 */
export async function openNamed(words) {
  const [, path, line] = /^(.*?)(?:(?::|#L)(\d+)(?:[-:]L?\d+)?)?$/s.exec(words) ?? [];
  const inside = fromClaude(path ?? '');
  const info = inside.includes('/') ? await fileInfo(inside) : null;
  if (info && !info.directory)
    await openFile(inside, { line: line ? Number(line) : undefined, focus: false });
  else toast({ kind: 'warning', text: `${words} is no file of the workspace.` });
}

/**
 * No link is ever followed by the page itself.
 * @param {MouseEvent} event
 */
export function followLink(event) {
  const link = event.target instanceof Element ? event.target.closest('a') : null;
  if (!link) return;
  event.preventDefault();
  const href = link.getAttribute('href') ?? '';
  if (/^https?:\/\//.test(href)) openWebAddress(href);
  else openNamed(decoded(href)).catch((error) => reportError(`Could not open ${href}`, error));
}

/** @param {string} href */
function decoded(href) {
  try {
    return decodeURIComponent(href);
  } catch {
    return href; // a lone percent sign in a file name
  }
}
