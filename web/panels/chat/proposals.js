// What can be meant by the word that is being typed: a file after "@", a slash command at the beginning.

import { html } from 'htm/preact';
import { useEffect, useState } from 'preact/hooks';
import { documents, frontTab, isUntitled } from '../../editor/state.js';
import { fuzzy } from '../../shell/fuzzy.js';
import { icon } from '../../shell/icons.js';
import { announced } from '../../stores/chat.js';
import { mention, mentionable, pathForClaude } from '../../stores/chatmentions.js';
import { note } from '../../stores/log.js';
import { baseName } from '../../stores/paths.js';
import { roots } from '../../stores/settings.js';

/** @typedef {{words: string, label: string, description: string, icon: string}} Proposal */

const MOST = 12;

/**
 * Open files and commands at once, the other files of the workspace when they are found.
 * @param {import('../../stores/chatmentions.js').Typed | null} typed
 * @returns {Proposal[]}
 */
export function useProposals(typed) {
  const [found, setFound] = useState({ query: '', paths: /** @type {string[]} */ ([]) });
  const query = typed?.kind === 'file' ? typed.query : '';
  useEffect(() => {
    if (!query) return undefined;
    const abort = new AbortController();
    mentionable(query, abort.signal)
      .then((paths) => setFound({ query, paths }))
      .catch((error) => abort.signal.aborted || note('warning', 'Could not look for files', error));
    return () => abort.abort();
  }, [query]);
  const first = proposalsFor(typed);
  if (!query || found.query !== query) return first;
  const others = found.paths.filter((path) => !documents.value.has(path)).map(fileProposal);
  return [...first, ...others].slice(0, MOST);
}

/**
 * @param {import('../../stores/chatmentions.js').Typed | null} typed
 * @returns {Proposal[]}
 */
function proposalsFor(typed) {
  if (!typed) return [];
  const all = typed.kind === 'file' ? openFiles() : commands();
  const found = [];
  for (const proposal of all) {
    const match = typed.query
      ? fuzzy(typed.query, `${proposal.label} ${proposal.description}`)
      : { score: 0 };
    if (match) found.push({ proposal, score: match.score });
  }
  return found
    .sort((a, b) => b.score - a.score)
    .slice(0, MOST)
    .map(({ proposal }) => proposal);
}

/** The open files, that in front first. @returns {Proposal[]} */
function openFiles() {
  const front = frontTab.value?.id ?? '';
  const ids = [...documents.value.keys()].filter((id) => !isUntitled(id));
  return ids.sort((one, other) => Number(other === front) - Number(one === front)).map(fileProposal);
}

/**
 * @param {string} path
 * @returns {Proposal}
 */
function fileProposal(path) {
  return {
    words: mention(pathForClaude(roots.value, path)),
    label: baseName(path),
    description: path,
    icon: 'file',
  };
}

/** @returns {Proposal[]} */
function commands() {
  return announced.value.commands.map(({ name, description, hint }) => ({
    words: `/${name}`,
    label: `/${name}`,
    description: [hint, description].filter(Boolean).join(' · '),
    icon: 'terminal',
  }));
}

/** @param {{list: Proposal[], at: number, choose: (proposal: Proposal) => void}} props */
export function Proposals({ list, at, choose }) {
  return html`
    <ul class="chat-proposals" id="chat-proposals" role="listbox" aria-label="Proposals">
      ${list.map(
        (proposal, index) => html`<li
          id=${`chat-proposal-${index}`}
          key=${proposal.words}
          class="pick-row"
          role="option"
          aria-selected=${String(index === at)}
          onPointerDown=${(/** @type {Event} */ event) => {
            event.preventDefault(); // the field keeps the focus
            choose(proposal);
          }}
        >
          ${icon(proposal.icon)}
          <span class="pick-label">${proposal.label}</span>
          <span class="pick-description">${proposal.description}</span>
        </li>`,
      )}
    </ul>
  `;
}
