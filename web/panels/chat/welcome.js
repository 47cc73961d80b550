// What an empty conversation says: how to begin, or what is missing before one can.

import { html } from 'htm/preact';
import { useEffect } from 'preact/hooks';
import { runCommand } from '../../shell/commands.js';
import { icon } from '../../shell/icons.js';
import { reportError } from '../../shell/toasts.js';
import { executable, sessionId, statusKnown } from '../../stores/chat.js';
import { account, canResume, readAccount } from '../../stores/chatsession.js';
import { roots } from '../../stores/settings.js';

export function Welcome() {
  useEffect(() => {
    // Asking starts the CLI, so only for somebody who looks.
    if (statusKnown.value && !account.value) check();
  }, [statusKnown.value]);
  if (!statusKnown.value) return html`<p class="chat-note">Looking for the Claude CLI…</p>`;
  if (!isPath(executable.value)) return html`<${NotFound} />`;
  return html`
    <div class="chat-welcome">
      <h2>${icon('comment-discussion')} Ask Claude</h2>
      <p>
        Claude reads and changes the files of ${roots.value[0]?.name ?? 'the folder it is started in'}. What it may do
        without asking is the mode below the field.
      </p>
      ${
        !roots.value.length &&
        html`<p class="chat-notice warning">${icon('warning')} <span>No folder is open: add one first.</span></p>`
      }
      <${Account} />
      ${canResume.value && html`<p class="chat-note">Conversation ${sessionId.value}</p>`}
      <p class="chat-note">${executable.value}</p>
    </div>
  `;
}

/** A bare name is what is left when no file was found. @param {string} path */
const isPath = (path) => path.includes('/');

function check() {
  readAccount().catch((error) => reportError('Could not ask who is signed in', error));
}

export function NotFound() {
  return html`
    <div class="chat-welcome">
      <h2>${icon('warning')} The Claude CLI was not found</h2>
      <p>Install it, or set "claudeCommand" in the settings to its full path.</p>
      <pre class="chat-command" tabindex="0">npm install -g @anthropic-ai/claude-code</pre>
      <button type="button" class="button primary" onClick=${() => runCommand('chat.lookAgain')}>Look again</button>
    </div>
  `;
}

export function Account() {
  const told = account.value;
  if (!told) return null;
  if (told.loggedIn) {
    const words = [told.email, told.subscription].filter(Boolean).join(', ');
    return html`<p class="chat-note">${icon('account')} Signed in${words && ` as ${words}`}</p>`;
  }
  const words = told.known ? 'You are not signed in.' : 'Who is signed in could not be found out.';
  return html`
    <div class="chat-notice warning">
      ${icon('account')}
      <div>
        <p>${words} Run this in a terminal and type /login:</p>
        <pre class="chat-command" tabindex="0">${executable.value}</pre>
        <button type="button" class="button" onClick=${() => runCommand('chat.lookAgain')}>Look again</button>
      </div>
    </div>
  `;
}
