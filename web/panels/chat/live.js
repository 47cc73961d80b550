// Words for screen readers: what Claude asks, and what it has answered. A growing answer says nothing, or
// it would be read again with each word.

import { html } from 'htm/preact';
import { useEffect, useRef, useState } from 'preact/hooks';
import { busy, items, questions } from '../../stores/chat.js';
import { toolLook } from '../../stores/chattools.js';

/** A long answer is read where it stands. */
const SPOKEN = 300;

export function Live() {
  const [words, setWords] = useState('');
  const before = useRef({ busy: false, known: new Set(questions.value.map(({ id }) => id)) });
  const working = busy.value;
  const open = questions.value;

  useEffect(() => {
    if (before.current.busy && !working) setWords(endWords());
    before.current.busy = working;
  }, [working]);
  useEffect(() => {
    const fresh = open.find(({ id }) => !before.current.known.has(id));
    before.current.known = new Set(open.map(({ id }) => id));
    if (fresh) setWords(questionWords(fresh));
  }, [open]);

  return html`<div class="unseen" role="status" aria-live="polite">${words}</div>`;
}

function endWords() {
  const end = items.value.findLast(({ kind }) => kind === 'result');
  if (end?.kind === 'result' && !end.ok) return `Claude failed: ${end.words}`;
  const said = items.value.findLast(({ kind, parent }) => kind === 'text' && !parent);
  const text = said?.kind === 'text' ? said.text : '';
  return text.length > SPOKEN ? `Claude answered: ${text.slice(0, SPOKEN)}…` : `Claude answered: ${text}`;
}

/** @param {import('../../stores/chatquestions.js').Question} question */
function questionWords({ kind, tool, input }) {
  if (kind === 'plan') return 'Claude has a plan that waits for you.';
  if (kind === 'choice') return 'Claude asks you something.';
  const { label, detail } = toolLook(tool, input);
  return `Claude asks whether it may use ${label}. ${detail}`;
}
