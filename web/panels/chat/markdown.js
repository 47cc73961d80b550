// Claude's words as Markdown. A text is rendered once; of one that still grows, what stands before its last
// paragraph is rendered once as well, so that a long answer costs no more each frame than its last lines.

import { html } from 'htm/preact';
import { useLayoutEffect, useRef } from 'preact/hooks';
import { renderMarkdown } from '../preview/markdown.js';
import { settledLength } from '../../stores/chattail.js';
import { linkArtifacts } from './artifacts.js';
import { useConversation } from './conversation.js';
import { followLink, linkMenu } from './links.js';

/** @param {{text: string}} props */
export function Markdown({ text }) {
  const place = useRef(/** @type {HTMLDivElement | null} */ (null));
  useLayoutEffect(() => place.current?.replaceChildren(rendered(text)), [text]);
  const conversation = useConversation();
  const follow = (/** @type {MouseEvent} */ event) => followLink(event, conversation);
  return html`<div
    class="chat-markdown"
    ref=${place}
    onClick=${follow}
    onAuxClick=${follow}
    onContextMenu=${(/** @type {MouseEvent} */ event) => linkMenu(event, conversation)}
  ></div>`;
}

/** @param {{text: string}} props */
export function GrowingMarkdown({ text }) {
  const cut = settledLength(text);
  return html`
    <${SettledPieces} text=${text.slice(0, cut)} />
    <${Markdown} text=${text.slice(cut)} />
  `;
}

/**
 * What has settled, piece by piece as it did: a piece that is drawn is not drawn again.
 * @param {{text: string}} props
 */
function SettledPieces({ text }) {
  const pieces = useRef(/** @type {string[]} */ ([]));
  const known = pieces.current.reduce((sum, piece) => sum + piece.length, 0);
  if (text.length > known) pieces.current = [...pieces.current, text.slice(known)];
  return pieces.current.map((piece, at) => html`<${Markdown} key=${at} text=${piece} />`);
}

/**
 * Pictures are their words: looking at an answer must not call anybody.
 * @param {string} text
 */
function rendered(text) {
  const fragment = renderMarkdown(text);
  for (const picture of fragment.querySelectorAll('img'))
    picture.replaceWith(`[${picture.alt || 'picture'}]`);
  linkArtifacts(fragment);
  for (const code of fragment.querySelectorAll('pre')) code.tabIndex = 0; // it scrolls, also by keys
  return fragment;
}
