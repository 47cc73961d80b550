// Puts the chat into the shell: its panel, its commands, and what it listens to.

import { html } from 'htm/preact';
import { on } from '../../bridge/events.js';
import { sessionToken } from '../../bridge/token.js';
import { registerCommand } from '../../shell/commands.js';
import { icon } from '../../shell/icons.js';
import { activePanel, registerPanel, showPanel, visible } from '../../shell/layout.js';
import { registerStatusItem } from '../../shell/statusbar.js';
import { reportError } from '../../shell/toasts.js';
import { busy, connectTalk, questions, readStatus, running, sessionId } from '../../stores/chat.js';
import { fork, history, startRecords } from '../../stores/chatrecords.js';
import {
  account,
  canRestart,
  canResume,
  interrupt,
  newTalk,
  readAccount,
  restart,
  restoreSession,
  start,
  stop,
} from '../../stores/chatsession.js';
import { focusNextQuestion } from './card.js';
import { pickMode, pickModel, pickStartOptions } from './chips.js';
import { mentionFront, takePaths } from './composer.js';
import { drawer, openDrawer } from './drawer.js';
import { focusComposer } from './focus.js';
import { historyShown, mayLeave } from './historyview.js';
import { startLive } from './live.js';
import { Chat, ChatActions, ChatBadge } from './panel.js';
import { startPlans } from './plantabs.js';
import { showUsage } from './usageview.js';

/** @typedef {Parameters<typeof registerCommand>[0]} Command */

/** Opens the panel, and runs `then` when it is there. @param {() => unknown} then */
function inPanel(then) {
  showPanel('chat');
  historyShown.value = false;
  return then();
}

const here = () => history.value.find(({ id }) => id === sessionId.value);

/** @type {Command[]} */
const kCommands = [
  {
    id: 'chat.focus',
    title: 'Focus Claude',
    keys: ['ctrl+alt+c'],
    global: true,
    run: () => inPanel(focusComposer),
  },
  { id: 'chat.new', title: 'New Conversation', run: () => inPanel(begin) },
  {
    id: 'chat.history',
    title: 'Earlier Conversations',
    run: () => {
      showPanel('chat');
      historyShown.value = !historyShown.value;
    },
  },
  { id: 'chat.fork', title: 'Fork the Conversation', when: () => here() !== undefined, run: branch },
  {
    id: 'chat.continue',
    title: 'Go On With the Conversation',
    when: () => canResume.value,
    run: () => start({ resume: sessionId.value }),
  },
  { id: 'chat.interrupt', title: 'Interrupt Claude', when: () => busy.value, run: interrupt },
  { id: 'chat.stop', title: 'Stop Claude', when: () => running.value, run: stop },
  { id: 'chat.restart', title: 'Restart Claude', when: () => canRestart.value, run: restart },
  {
    id: 'chat.question',
    title: 'Go to the Question',
    keys: ['ctrl+alt+q'],
    global: true,
    when: () => questions.value.length > 0,
    run: () => inPanel(focusNextQuestion),
  },
  {
    id: 'chat.mention',
    title: 'Mention the File or Selection',
    keys: ['ctrl+alt+m'],
    global: true,
    run: () => inPanel(mentionFront),
  },
  { id: 'chat.mode', title: 'Mode…', run: (anchor) => inPanel(() => pickMode(anchor)) },
  { id: 'chat.model', title: 'Model…', run: (anchor) => inPanel(() => pickModel(anchor)) },
  {
    id: 'chat.startOptions',
    title: 'Effort and Style…',
    run: (anchor) => inPanel(() => pickStartOptions(anchor)),
  },
  { id: 'chat.usage', title: 'Context and Cost', run: showUsage },
  {
    id: 'chat.stderr',
    title: 'Show Standard Error',
    run: () => inPanel(() => openDrawer(drawer.value ? '' : 'stderr')),
  },
  { id: 'chat.stream', title: 'Show the Lines as They Came', run: () => inPanel(() => openDrawer('stream')) },
  { id: 'chat.lookAgain', title: 'Look for the Claude CLI Again', run: lookAgain },
];

export function startChat() {
  registerPanel({
    id: 'chat',
    title: 'Claude',
    icon: 'comment-discussion',
    place: 'right',
    order: 10,
    component: Chat,
    actions: ChatActions,
    badge: ChatBadge,
  });
  for (const command of kCommands) registerCommand({ ...command, category: 'Claude' });
  registerStatusItem({ id: 'chat', side: 'left', order: 60, component: ChatStatus });
  connectTalk(sessionStorage, sessionToken());
  restoreSession();
  startLive();
  startPlans();
  startRecords();
  on('files.dropped', ({ paths, x, y }) => {
    const target = document.elementFromPoint(x, y)?.closest('.chat .chat-composer');
    if (target) takePaths(paths).catch((error) => reportError('Could not take what was dropped', error));
  });
  readStatus().catch((error) => reportError('Could not ask whether Claude runs', error));
}

/** Says that Claude waits for an answer, also while its panel is not to be seen. */
function ChatStatus() {
  const seen = visible.value.right && activePanel('right')?.id === 'chat';
  return (
    questions.value.length > 0 &&
    !seen &&
    html`<button type="button" class="status-item down" onClick=${() => inPanel(focusNextQuestion)}>
      ${icon('question')} Claude asks
    </button>`
  );
}

async function begin() {
  if (!(await mayLeave())) return;
  await newTalk();
  focusComposer();
}

async function branch() {
  const record = here();
  if (record && (await mayLeave())) await fork(record);
}

async function lookAgain() {
  account.value = null;
  await readStatus();
  await readAccount();
}
