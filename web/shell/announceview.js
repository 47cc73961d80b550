// The one live region for news from all over the window, and the sources of news that belong to no panel.

import { effect } from '@preact/signals';
import { html } from 'htm/preact';
import { linkState } from '../bridge/events.js';
import { announce, loadTalk, noteTyping, speak, spoken } from '../stores/announce.js';
import { repos } from '../stores/git.js';
import { branchWords } from '../stores/gitstatus.js';
import { counts } from '../stores/lspproblems.js';
import { registerCommand } from './commands.js';
import { statusWords } from './statusbar.js';

/** Lies beside the page, which is inert while a dialog is open. */
export function SpokenLayer() {
  const { words, turn } = spoken.value;
  // The same words once more are a change only if they differ.
  return html`<div class="unseen" role="status" aria-live="polite" aria-atomic="true" data-spoken-layer>
    ${words}${turn % 2 ? '\u00a0' : ''}
  </div>`;
}

/** @param {Document} document */
export function startAnnouncing(document) {
  loadTalk();
  const typing = (/** @type {Event} */ event) => isTyping(event) && noteTyping();
  document.addEventListener('keydown', typing, { capture: true, passive: true });
  tellOfLink();
  tellOfProblems();
  tellOfBranches();
  registerCommand({
    id: 'access.readStatus',
    title: 'Read the Status Line',
    category: 'View',
    run: () => speak(statusWords(document.querySelectorAll('.status .status-item'))),
  });
  registerCommand({
    id: 'access.readPosition',
    title: 'Read the Line and Column',
    category: 'View',
    run: () => speak(statusWords(document.querySelectorAll('.status [data-position]')) || 'No text is open.'),
  });
}

/** @param {Event} event */
function isTyping(event) {
  const { key, ctrlKey, metaKey, altKey } = /** @type {KeyboardEvent} */ (event);
  if (ctrlKey || metaKey || altKey) return false;
  const { target } = event;
  const field = target instanceof HTMLElement && (target.isContentEditable || target.matches('input, textarea'));
  return field && (key.length === 1 || ['Backspace', 'Delete', 'Enter', 'Process'].includes(key));
}

function tellOfLink() {
  let before = linkState.peek();
  effect(() => {
    const now = linkState.value;
    if (now === 'down' && before === 'open') announce('link', 'The link to the editor is down.');
    if (now === 'open' && before === 'down') announce('link', 'The link to the editor is back.');
    if (now === 'open' || now === 'down') before = now;
  });
}

/** Until a server has found anything, there is no news in that nothing is wrong. */
function tellOfProblems() {
  let before = '';
  effect(() => {
    const { error, warning } = counts.value;
    const words = problemWords(error, warning);
    if (words === before || (!before && !error && !warning)) return;
    before = words;
    announce('problems', words);
  });
}

/** @param {number} errors @param {number} warnings */
export function problemWords(errors, warnings) {
  if (!errors && !warnings) return 'No problems';
  const parts = [
    errors && (errors === 1 ? '1 error' : `${errors} errors`),
    warnings && (warnings === 1 ? '1 warning' : `${warnings} warnings`),
  ];
  return parts.filter(Boolean).join(', ');
}

function tellOfBranches() {
  /** By repository: its branch. @type {Map<string, string>} */
  const before = new Map();
  effect(() => {
    for (const repo of repos.value) {
      if (!repo.isRepo) continue;
      const was = before.get(repo.root);
      before.set(repo.root, repo.branch);
      if (was !== undefined && was !== repo.branch) announce('branch', `${repo.name}: ${branchWords(repo)}`);
    }
  });
}
