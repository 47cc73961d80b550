// What Claude made and somebody wants to look at: names of such files, and servers on this machine, become links in its
// words and in the output of tools, and the card of a call that wrote one offers to open it.

import { html } from 'htm/preact';
import { useMemo } from 'preact/hooks';
import { icon } from '../../shell/icons.js';
import { reportError } from '../../shell/toasts.js';
import { isArtifact, opensOutside, piecesOf } from '../../stores/artifacts.js';
import { changesOf } from '../../stores/chattools.js';
import { baseName } from '../../stores/paths.js';
import { useConversation } from './conversation.js';
import { followLink, linkMenu, openNamed, openNamedOutside } from './links.js';

/**
 * The output of a tool, with its links.
 * @param {{text: string}} props
 */
export function Linked({ text }) {
  const conversation = useConversation();
  const pieces = useMemo(() => piecesOf(text), [text]);
  const follow = (/** @type {MouseEvent} */ event) => followLink(event, conversation);
  return html`<span
    onClick=${follow}
    onAuxClick=${follow}
    onContextMenu=${(/** @type {MouseEvent} */ event) => linkMenu(event, conversation)}
  >${pieces.map(({ text: words, target }) =>
    target ? html`<a class="chat-artifact" href=${target} data-names=${target}>${words}</a>` : words,
  )}</span>`;
}

/**
 * Makes links of what Markdown has left as text. Blocks of code are left alone: what stands there is mostly not there
 * yet, or not of this project.
 * @param {DocumentFragment} fragment
 */
export function linkArtifacts(fragment) {
  const walker = document.createTreeWalker(fragment, NodeFilter.SHOW_TEXT);
  /** @type {Text[]} */
  const texts = [];
  while (walker.nextNode()) texts.push(/** @type {Text} */ (walker.currentNode));
  for (const text of texts) {
    if (text.parentElement?.closest('a, pre')) continue;
    const pieces = piecesOf(text.data);
    if (pieces.some(({ target }) => target)) text.replaceWith(...pieces.map(nodeOf));
  }
}

/** @param {import('../../stores/artifacts.js').Piece} piece */
function nodeOf({ text, target }) {
  if (!target) return text;
  const link = document.createElement('a');
  link.className = 'chat-artifact';
  link.setAttribute('href', target);
  link.setAttribute('data-names', target);
  link.textContent = text;
  return link;
}

/**
 * What can be done with the file that a call wrote.
 * @param {{item: Extract<import('../../stores/chatstream.js').Item, {kind: 'tool'}>}} props
 */
export function WrittenArtifact({ item: { name, input, result } }) {
  const conversation = useConversation();
  const path = result && !result.error ? (changesOf(name, input)[0]?.path ?? '') : '';
  if (!isArtifact(path)) return null;
  const file = baseName(path);
  const open = (/** @type {'text' | 'markdown'} */ kind) =>
    openNamed(path, conversation, kind).catch((error) => reportError(`Could not open ${path}`, error));
  return html`<div class="chat-artifact-row">
    ${
      /\.md$/i.test(path) &&
      html`<button type="button" class="button quiet" aria-label=${`Preview: ${file}`} onClick=${() => open('markdown')}>
        ${icon('open-preview')} Preview
      </button>`
    }
    ${
      opensOutside(path)
        ? html`<button
            type="button"
            class="button quiet"
            aria-label=${`Open Outside: ${file}`}
            onClick=${() => openNamedOutside(path, conversation)}
          >
            ${icon('link-external')} Open Outside
          </button>`
        : html`<button type="button" class="button quiet" aria-label=${`Show: ${file}`} onClick=${() => open('text')}>
            ${icon('open-preview')} Show
          </button>`
    }
  </div>`;
}
