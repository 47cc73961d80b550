// Where a link or a path in Claude's words leads: into the editor, the browser pane, or to the desktop's programs.

import { openOutside, outsideItems } from '../../editor/openoutside.js';
import { openFile } from '../../editor/tabactions.js';
import { call } from '../../bridge/api.js';
import { showMenu } from '../../shell/menus.js';
import { reportError, toast } from '../../shell/toasts.js';
import { isWebAddress, nameAndLine } from '../../stores/artifacts.js';
import { fileInfo } from '../../stores/files.js';
import { baseName } from '../../stores/paths.js';

/** @typedef {import('./conversation.js').Conversation} Conversation */
/** @typedef {import('../../shell/menus.js').MenuItem} MenuItem */

/**
 * Opens a file that Claude names, at a line if it names one ("a.c:12", "a.c#L12").
 * @param {string} words
 * @param {Conversation} conversation
 * @param {'text' | 'markdown'} [kind]
 */
export async function openNamed(words, { inside: insideOf, wayOut }, kind = 'text') {
  const { path, line } = nameAndLine(words);
  const inside = insideOf(path);
  const info = inside.includes('/') ? await fileInfo(inside) : null;
  if (info && !info.directory) await openFile(inside, { line, focus: false, kind });
  else toast({ kind: 'warning', text: `${words} is no file of the workspace.`, actions: wayOut() });
}

/**
 * Opens what Claude names with the desktop's own program. What lies outside of the workspace has no path there, which
 * the bridge refuses with words that say what helps.
 * @param {string} words a web address, or a file
 * @param {Conversation} conversation
 */
export function openNamedOutside(words, { inside, wayOut }) {
  if (isWebAddress(words)) return openOutside(words);
  const { path } = nameAndLine(words);
  return openOutside(inside(path), { name: baseName(path), wayOut });
}

/**
 * No link is ever followed by the page itself.
 * @param {MouseEvent} event
 * @param {Conversation} conversation
 */
export function followLink(event, conversation) {
  const href = linkAt(event);
  if (!href) return;
  event.preventDefault();
  if (event.button === 2) return; // is on its way to the menu
  if (isWebAddress(href)) void openOutside(href);
  else openNamed(href, conversation).catch((error) => reportError(`Could not open ${href}`, error));
}

/**
 * The menu of a link, or of a file's name; by keyboard as well (fieldmenu.js).
 * @param {MouseEvent} event
 * @param {Conversation} conversation
 */
export function linkMenu(event, conversation) {
  const words = linkAt(event);
  if (!words || event.defaultPrevented) return;
  event.preventDefault();
  const items = isWebAddress(words) ? addressItems(words) : fileItems(words, conversation);
  void showMenu({ x: event.clientX, y: event.clientY, label: 'Link', items: [...items, ...copyItems(words)] });
}

/** @param {string} url @returns {MenuItem[]} */
const addressItems = (url) => [
  { label: 'Open Outside', run: () => openOutside(url) },
  { command: 'browser.open', arg: url },
];

/**
 * @param {string} words
 * @param {Conversation} conversation
 * @returns {MenuItem[]}
 */
function fileItems(words, conversation) {
  const { path } = nameAndLine(words);
  const inside = conversation.inside(path);
  return [
    { label: 'Open', run: () => openNamed(words, conversation) },
    ...(/\.md$/i.test(path)
      ? [{ label: 'Open the Preview', run: () => openNamed(path, conversation, 'markdown') }]
      : []),
    ...outsideItems(path).map((item) => ({ ...item, run: () => openNamedOutside(words, conversation) })),
    ...(inside.includes('/') ? [{ label: 'Reveal in File Manager', run: () => reveal(inside) }] : []),
  ];
}

/** @param {string} path */
async function reveal(path) {
  try {
    await call('shell/reveal', { path });
  } catch (error) {
    reportError(`Could not reveal ${baseName(path)}`, error);
  }
}

/** @param {string} words @returns {MenuItem[]} */
const copyItems = (words) => [
  { kind: 'separator' },
  {
    label: isWebAddress(words) ? 'Copy Address' : 'Copy Path',
    run: () => navigator.clipboard.writeText(words),
  },
];

/** What the link, or the button of a path, at an event leads to; "" for none. @param {Event} event */
function linkAt({ target }) {
  const link = target instanceof Element ? target.closest('a, .chat-path') : null;
  if (!link) return '';
  // Only links in Markdown are encoded; the others carry their words as they are.
  const href = link.getAttribute('href') ?? '';
  if (isWebAddress(href)) return href;
  return link.getAttribute(link.matches('a') ? 'data-names' : 'title') ?? decoded(href);
}

/** @param {string} href */
function decoded(href) {
  try {
    return decodeURIComponent(href);
  } catch {
    return href; // a lone percent sign in a file name
  }
}
