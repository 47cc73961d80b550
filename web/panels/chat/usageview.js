// What the conversation has used, and what Claude has at hand, as far as the CLI tells.

import { html } from 'htm/preact';
import { useEffect, useState } from 'preact/hooks';
import { showDialog } from '../../shell/dialogs.js';
import { announced, running, usage } from '../../stores/chat.js';
import { readLimits, readUsage } from '../../stores/chatsession.js';
import { costWords, fullness, tokenWords } from '../../stores/chatusage.js';

export const showUsage = () => showDialog('Context and cost', Usage);

/** @param {{close: (answer: null) => void}} props */
function Usage({ close }) {
  const [trouble, setTrouble] = useState('');
  const [limits, setLimits] = useState('');
  useEffect(() => {
    if (!running.value) return;
    readUsage().catch((error) => setTrouble(error.message));
    // An older CLI does not know of limits, which is no trouble.
    readLimits().then(
      (answer) => setLimits(JSON.stringify(answer, null, 2)),
      () => {},
    );
  }, []);
  const { contextTokens, contextLimit, parts, turnCost, cost, turns } = usage.value;
  const { version, servers, tools, agents, skills } = announced.value;
  return html`
    <dl class="about">
      <dt>Context</dt>
      <dd>${tokenWords(contextTokens)} of ${tokenWords(contextLimit)} (${Math.round(fullness(usage.value) * 100)} %)</dd>
      ${parts.map(({ name, tokens }) => html`<dt>${name}</dt><dd>${tokenWords(tokens)}</dd>`)}
      <dt>Last turn</dt>
      <dd>${costWords(turnCost)}</dd>
      <dt>Conversation</dt>
      <dd>${costWords(cost)} in ${turns} ${turns === 1 ? 'turn' : 'turns'}</dd>
      ${version && html`<dt>Claude CLI</dt><dd>${version}</dd>`}
      ${named(
        'Connected tools',
        servers.map(({ name, status }) => `${name} (${status})`),
      )}
      ${named('Agents', agents)} ${named('Skills', skills)} ${named('Tools', tools)}
    </dl>
    ${limits && limits !== '{}' && html`<pre class="dialog-detail" tabindex="0">${limits}</pre>`}
    ${trouble && html`<p class="dialog-text">Claude did not tell more: ${trouble}</p>`}
    <div class="dialog-buttons">
      <button type="button" class="button primary" onClick=${() => close(null)}>Close</button>
    </div>
  `;
}

/**
 * @param {string} what
 * @param {string[]} names
 */
const named = (what, names) => names.length > 0 && html`<dt>${what}</dt><dd>${names.join(', ')}</dd>`;
