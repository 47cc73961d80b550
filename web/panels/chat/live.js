// Words for screen readers: what Claude asks, and what it has answered. A growing answer says nothing, or
// it would be read again with each word.

import { effect } from '@preact/signals';
import { announce } from '../../stores/announce.js';
import { busy, items, questions } from '../../stores/chat.js';
import { toolLook } from '../../stores/chattools.js';

/** A long answer is read where it stands. */
const kSpoken = 300;

export function startLive() {
  let working = busy.peek();
  let known = new Set(questions.peek().map(({ id }) => id));
  effect(() => {
    // What has ended the work is among the items a moment later.
    if (working && !busy.value) queueMicrotask(() => announce('answer', endWords()));
    working = busy.value;
  });
  effect(() => {
    for (const question of questions.value) if (!known.has(question.id)) announce('question', questionWords(question));
    known = new Set(questions.value.map(({ id }) => id));
  });
}

function endWords() {
  const end = items.value.findLast(({ kind }) => kind === 'result');
  if (end?.kind === 'result' && !end.ok) return `Claude failed: ${end.words}`;
  const said = items.value.findLast(({ kind, parent }) => kind === 'text' && !parent);
  const text = said?.kind === 'text' ? said.text : '';
  return text.length > kSpoken ? `Claude answered: ${text.slice(0, kSpoken)}…` : `Claude answered: ${text}`;
}

/** @param {import('../../stores/chatquestions.js').Question} question */
function questionWords({ kind, tool, input }) {
  if (kind === 'plan') return 'Claude has a plan that waits for you.';
  if (kind === 'choice') return 'Claude asks you something.';
  const { label, detail } = toolLook(tool, input);
  return `Claude asks whether it may use ${label}. ${detail}`;
}
