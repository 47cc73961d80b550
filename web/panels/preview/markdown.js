// A Markdown text as a page, beside its source. Two walls stand between the text and the page: HTML in it is
// not read as HTML, and what comes out is cleaned once more. No link is ever followed by the page itself.

import { html } from 'htm/preact';
import { useEffect, useRef, useState } from 'preact/hooks';
import DOMPurify from 'dompurify';
import MarkdownIt from 'markdown-it';
import { openFile } from '../../editor/tabactions.js';
import { openWebAddress } from '../../editor/start.js';
import { showMenu } from '../../shell/menus.js';
import { toast } from '../../shell/toasts.js';
import { fileInfo } from '../../stores/files.js';
import { resolveLink } from '../../stores/paths.js';
import { blobAddress } from './blob.js';

const markdown = new MarkdownIt({ html: false, linkify: true });
// An address in `src` would be asked for as soon as the element exists, so it waits under another name.
markdown.renderer.rules.image = (tokens, index, options, env, self) => {
  const token = /** @type {import('markdown-it').Token} */ (tokens[index]);
  const alt = self.renderInlineAsText(token.children ?? [], options, env);
  token.attrs = [
    ['data-src', token.attrGet('src') ?? ''],
    ['alt', alt],
    ['title', token.attrGet('title') ?? alt],
  ];
  return self.renderToken(tokens, index, options);
};
/** Long texts are drawn again a moment after the last key. */
const kRedrawAfterMs = 120;

/** @param {string} text */
export function renderMarkdown(text) {
  const dirty = markdown.render(text);
  return DOMPurify.sanitize(dirty, {
    RETURN_DOM_FRAGMENT: true,
    FORBID_TAGS: [
      'style',
      'form',
      'input',
      'button',
      'iframe',
      'object',
      'embed',
      'audio',
      'video',
      'source',
    ],
    FORBID_ATTR: ['style', 'srcset'],
  });
}

/** @param {{id: string, buffer: import('../../editor/state.js').TextBuffer}} props */
export function MarkdownPreview({ id, buffer }) {
  const page = useRef(/** @type {HTMLDivElement | null} */ (null));
  const [text, setText] = useState(buffer.doc.text());
  useEffect(() => {
    /** @type {ReturnType<typeof setTimeout> | undefined} */
    let timer;
    const stop = buffer.onEdit(() => {
      clearTimeout(timer);
      timer = setTimeout(() => setText(buffer.doc.text()), kRedrawAfterMs);
    });
    return () => {
      clearTimeout(timer);
      stop();
    };
  }, [buffer]);
  useEffect(() => {
    const abort = new AbortController();
    /** @type {string[]} */
    const addresses = [];
    const fragment = renderMarkdown(text);
    nameHeadings(fragment);
    loadPictures(fragment, id, addresses, abort.signal);
    page.current?.replaceChildren(fragment);
    return () => {
      abort.abort();
      for (const address of addresses) URL.revokeObjectURL(address);
    };
  }, [text, id]);
  return html`<div
    class="markdown-view"
    ref=${page}
    tabindex="0"
    role="document"
    aria-label="Preview"
    onClick=${(/** @type {MouseEvent} */ event) => followLink(event, id)}
    onAuxClick=${(/** @type {MouseEvent} */ event) => followLink(event, id)}
    onContextMenu=${(/** @type {MouseEvent} */ event) => pageMenu(event, id)}
  ></div>`;
}

/**
 * Headings get the ids that links within the text use.
 * @param {DocumentFragment} fragment
 */
function nameHeadings(fragment) {
  for (const heading of fragment.querySelectorAll('h1, h2, h3, h4, h5, h6')) {
    heading.setAttribute('data-anchor', anchorOf(heading.textContent ?? ''));
  }
}

/** @param {string} heading */
function anchorOf(heading) {
  return heading
    .trim()
    .toLowerCase()
    .replace(/[^\p{L}\p{N}\s_-]/gu, '')
    .replace(/\s/g, '-');
}

/**
 * Pictures of the workspace are fetched; those of the web are not: reading a file must not call anybody.
 * @param {DocumentFragment} fragment
 * @param {string} id
 * @param {string[]} addresses
 * @param {AbortSignal} signal
 */
function loadPictures(fragment, id, addresses, signal) {
  for (const picture of fragment.querySelectorAll('img')) {
    const { path } = resolveLink(id, picture.dataset.src ?? '');
    if (!path.includes('/')) {
      picture.replaceWith(`[${picture.alt || 'picture'}]`);
      continue;
    }
    void loadPicture(picture, path, addresses, signal);
  }
}

/**
 * @param {HTMLImageElement} picture
 * @param {string} path
 * @param {string[]} addresses
 * @param {AbortSignal} signal
 */
async function loadPicture(picture, path, addresses, signal) {
  try {
    const info = await fileInfo(path);
    if (info?.kind !== 'image') return;
    const address = await blobAddress(path, info.mime, signal);
    addresses.push(address);
    if (signal.aborted) URL.revokeObjectURL(address);
    else picture.src = address;
  } catch {
    // The alternative text stays, which is what it is for.
  }
}

/**
 * @param {MouseEvent} event
 * @param {string} id
 */
function followLink(event, id) {
  const link = event.target instanceof Element ? event.target.closest('a') : null;
  if (!link) return;
  event.preventDefault();
  const href = link.getAttribute('href') ?? '';
  if (/^https?:\/\//.test(href)) openWebAddress(href);
  else void openLink(id, href, /** @type {HTMLElement} */ (event.currentTarget));
}

/**
 * @param {string} id
 * @param {string} href
 * @param {HTMLElement} page
 */
async function openLink(id, href, page) {
  const { path, fragment } = resolveLink(id, href);
  if (path === id && fragment) {
    const wanted = anchorOf(decodeURIComponent(fragment).replaceAll('-', ' '));
    page.querySelector(`[data-anchor="${CSS.escape(wanted)}"]`)?.scrollIntoView();
    return;
  }
  const info = path.includes('/') ? await fileInfo(path) : null;
  if (info && !info.directory) await openFile(path, { preview: true });
  else toast({ kind: 'warning', text: `The link ${href} leads to no file of the workspace.` });
}

/**
 * @param {MouseEvent} event
 * @param {string} id
 */
function pageMenu(event, id) {
  event.preventDefault();
  const link = event.target instanceof Element ? event.target.closest('a') : null;
  const href = link?.getAttribute('href') ?? '';
  const page = /** @type {HTMLElement} */ (event.currentTarget);
  const selected = getSelection()?.toString() ?? '';
  void showMenu({
    x: event.clientX,
    y: event.clientY,
    items: [
      { label: 'Copy', enabled: selected !== '', run: () => navigator.clipboard.writeText(selected) },
      ...(href ? [{ label: 'Copy Link', run: () => navigator.clipboard.writeText(href) }] : []),
      { label: 'Show the Source', run: () => openFile(id) },
      ...(href && !/^https?:/.test(href)
        ? [{ label: 'Open Link', run: () => openLink(id, href, page) }]
        : []),
    ],
  });
}
