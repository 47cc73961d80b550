// The find box of the terminal in front.

import { html } from 'htm/preact';
import { useEffect, useLayoutEffect, useRef, useState } from 'preact/hooks';
import { IconButton } from '../../shell/places.js';
import { findColors } from './look.js';
import { finding, focusTerminal, frontScreen } from './state.js';

/** What was looked for last, for the next time. */
let lastQuery = '';

export function openFind() {
  const selected = frontScreen()?.terminal.getSelection() ?? '';
  if (selected && !selected.includes('\n')) lastQuery = selected;
  finding.value = true;
  document.querySelector('.terminal-find input')?.dispatchEvent(new CustomEvent('again'));
}

export function closeFind() {
  frontScreen()?.search.clearDecorations();
  finding.value = false;
  focusTerminal();
}

/** @type {{id: 'caseSensitive' | 'wholeWord' | 'regex', icon: string, label: string}[]} */
const kSwitches = [
  { id: 'caseSensitive', icon: 'case-sensitive', label: 'Match Case' },
  { id: 'wholeWord', icon: 'whole-word', label: 'Match Whole Word' },
  { id: 'regex', icon: 'regex', label: 'Regular Expression' },
];

/** @param {{screen: import('./screen.js').TerminalScreen}} props */
export function FindBox({ screen }) {
  const field = useRef(/** @type {HTMLInputElement | null} */ (null));
  const [query, setQuery] = useState(lastQuery);
  const [options, setOptions] = useState({ caseSensitive: false, wholeWord: false, regex: false });
  const [count, setCount] = useState({ resultIndex: -1, resultCount: 0 });

  useLayoutEffect(() => {
    const again = () => {
      setQuery(lastQuery);
      field.current?.focus();
      field.current?.select();
    };
    field.current?.addEventListener('again', again);
    again();
  }, []);
  useEffect(() => {
    const listening = screen.search.onDidChangeResults(setCount);
    return () => listening.dispose();
  }, [screen]);
  useEffect(() => find(1, true), [query, options, screen]);

  /** @param {1 | -1} step @param {boolean} [incremental] */
  const find = (step, incremental = false) => {
    lastQuery = query;
    const wanted = { ...options, incremental, decorations: findColors() };
    if (!query || (options.regex && !isPattern(query))) {
      screen.search.clearDecorations();
      setCount({ resultIndex: -1, resultCount: 0 });
    } else if (step > 0) screen.search.findNext(query, wanted);
    else screen.search.findPrevious(query, wanted);
  };
  /** @param {KeyboardEvent} event */
  const onKey = (event) => {
    const back = event.key === 'F3' || event.key === 'Enter' ? (event.shiftKey ? -1 : 1) : 0;
    if (back) find(back);
    else if (event.key === 'Escape') closeFind();
    else return;
    event.preventDefault();
    event.stopPropagation();
  };
  return html`
    <div class="terminal-find" role="search" aria-label="Find in the terminal" onKeyDown=${onKey}>
      <input
        class="field"
        ref=${field}
        aria-label="Find"
        placeholder="Find"
        value=${query}
        spellcheck=${false}
        autocomplete="off"
        aria-invalid=${options.regex && !isPattern(query) ? 'true' : undefined}
        onInput=${(/** @type {Event} */ event) => setQuery(/** @type {HTMLInputElement} */ (event.target).value)}
      />
      ${kSwitches.map(
        ({ id, icon, label }) =>
          html`<${IconButton}
            key=${id}
            icon=${icon}
            label=${label}
            pressed=${options[id]}
            onClick=${() => setOptions({ ...options, [id]: !options[id] })}
          />`,
      )}
      <span class="terminal-find-count" role="status">${countWords(query, count)}</span>
      <${IconButton} icon="arrow-up" label="Previous Match" onClick=${() => find(-1)} />
      <${IconButton} icon="arrow-down" label="Next Match" onClick=${() => find(1)} />
      <${IconButton} icon="close" label="Close" onClick=${closeFind} />
    </div>
  `;
}

/** @param {string} query @param {{resultIndex: number, resultCount: number}} count */
function countWords(query, { resultIndex, resultCount }) {
  if (!query) return '';
  if (!resultCount) return 'No results';
  return resultIndex < 0 ? `${resultCount} or more` : `${resultIndex + 1} of ${resultCount}`;
}

/** @param {string} text */
function isPattern(text) {
  try {
    return Boolean(new RegExp(text));
  } catch {
    return false;
  }
}
