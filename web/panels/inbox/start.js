// Puts the inbox into the shell: its panel, its commands, and the rules.

import { effect } from '@preact/signals';
import { registerCommand } from '../../shell/commands.js';
import { activePanel, registerPanel, showPanel, visible } from '../../shell/layout.js';
import { reportError } from '../../shell/toasts.js';
import { announce } from '../../stores/announce.js';
import { allowOnce, deny } from '../../stores/chatquestions.js';
import { toolLook } from '../../stores/chattools.js';
import { answerQuestion, automatic, entries, startRules } from '../../stores/inbox.js';
import { canHaveRule } from '../../stores/inboxrules.js';
import { chatConversation } from '../chat/conversation.js';
import { questionMore } from '../dispatch/slots.js';
import { Inbox, InboxBadge, focusWaiting, focused } from './panel.js';
import { RuleButton, makeRule } from './ruleform.js';

/** @typedef {import('../../stores/inbox.js').Entry} Entry */

const shown = () => visible.value.right && activePanel('right')?.id === 'inbox';
const hasEntries = () => entries.value.length > 0;

/** The question that commands are about: the one that had the focus, else the one that waits longest. */
const current = () => entries.value.find(({ key }) => key === focused.value) ?? entries.value[0];

/** Only tools are answered by a word; plans and choices have to be read. */
const isPlain = () => current()?.question.kind === 'tool';

/** @param {number} step */
function go(step) {
  const list = entries.value;
  const at = list.findIndex(({ key }) => key === focused.value);
  const next = at < 0 ? (step > 0 ? 0 : list.length - 1) : (at + step + list.length) % list.length;
  showPanel('inbox');
  focusWaiting(list[next]?.key ?? '');
}

/**
 * Answers the question that the user sees; what is not to be seen is shown first.
 * @param {'allow' | 'deny'} behavior
 */
async function answerCurrent(behavior) {
  const entry = current();
  if (!entry) return;
  if (!shown()) {
    showPanel('inbox');
    return focusWaiting(entry.key);
  }
  const { question } = entry;
  const { label } = toolLook(question.tool, question.input);
  const allow = behavior === 'allow';
  focused.value = entry.key;
  const body = allow ? allowOnce(question) : deny(question, '');
  try {
    await answerQuestion(question, body, allow ? '' : `You declined ${label}.`);
  } catch (error) {
    reportError('Could not answer', error);
  }
}

/** @type {Parameters<typeof registerCommand>[0][]} */
const kCommands = [
  {
    id: 'inbox.focus',
    title: 'Show the Inbox',
    keys: ['ctrl+alt+i'],
    global: true,
    run: () => {
      showPanel('inbox');
      focusWaiting(current()?.key ?? '');
    },
  },
  { id: 'inbox.next', title: 'Next Question', when: hasEntries, run: () => go(1) },
  { id: 'inbox.previous', title: 'Previous Question', when: hasEntries, run: () => go(-1) },
  { id: 'inbox.allow', title: 'Allow the Question Once', when: isPlain, run: () => answerCurrent('allow') },
  { id: 'inbox.deny', title: 'Decline the Question', when: isPlain, run: () => answerCurrent('deny') },
  {
    id: 'inbox.rule',
    title: 'Rule for the Question…',
    when: () => hasEntries() && canHaveRule(/** @type {Entry} */ (current()).question),
    run: () => {
      const entry = current();
      if (entry) void makeRule(entry.question);
    },
  },
];

export function startInbox() {
  registerPanel({
    id: 'inbox',
    title: 'Inbox',
    icon: 'inbox',
    place: 'right',
    order: 20,
    component: Inbox,
    badge: InboxBadge,
  });
  for (const command of kCommands) registerCommand({ ...command, category: 'Inbox' });
  chatConversation.more = RuleButton;
  questionMore.value = RuleButton;
  startRules();
  tellOfRules();
}

/** Answers that a rule gave are told to screen readers; who asks is told where questions come in. */
function tellOfRules() {
  effect(() => {
    const last = automatic.value[0];
    if (last?.ok) announce('answer', `${last.who}: ${last.words}`);
  });
}
