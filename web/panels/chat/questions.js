// Questions of Claude as cards above the field. They never take the focus; with it, Enter allows and Escape
// declines.

import { html } from 'htm/preact';
import { useRef, useState } from 'preact/hooks';
import {
  allowAlways,
  allowOnce,
  answerChoices,
  choicesOf,
  deny,
  questionKey,
  suggestionWords,
} from '../../stores/chatquestions.js';
import { toolLook } from '../../stores/chattools.js';
import { Frame, give } from './card.js';
import { ConversationContext, conversationOf, useConversation } from './conversation.js';
import { typing } from './fields.js';
import { PlanCard } from './plan.js';
import { Body } from './tools.js';

/** @typedef {import('../../stores/chatquestions.js').Question} Question */

/** @param {{list: readonly Question[]}} props */
export function Questions({ list }) {
  if (!list.length) return null;
  return html`
    <div class="chat-questions" role="region" aria-label="Questions of Claude">
      ${list.map((question) => html`<${Card} key=${questionKey(question)} question=${question} />`)}
    </div>
  `;
}

/** @param {{question: Question}} props */
export function Card({ question }) {
  return html`<${ConversationContext.Provider} value=${conversationOf(question)}>
    <${CARDS[question.kind]} question=${question} />
  <//>`;
}

/** @type {Record<string, string>} */
const ASKS = {
  command: 'Claude wants to run a command',
  changes: 'Claude wants to change a file',
};

/** @param {{question: Question}} props */
function ToolQuestion({ question }) {
  const { tool, input, reason } = question;
  const { rules, more: More } = useConversation();
  const suggestions = rules ? question.suggestions : [];
  const look = toolLook(tool, input);
  const [declining, setDeclining] = useState(false);
  const [words, setWords] = useState('');
  const label = ASKS[look.body] ?? `Claude wants to use ${look.label}`;
  const always = suggestions.map(suggestionWords).join('; ');
  const allow = () => give(question, allowOnce(question), '');
  const no = (/** @type {boolean} */ stop) =>
    give(
      question,
      deny(question, words, { stop }),
      `You declined ${look.label}${words.trim() ? `: ${words.trim()}` : '.'}`,
    );
  const escape = () => (declining ? setDeclining(false) : no(false));
  return html`
    <${Frame} label=${label} sign=${look.icon} question=${question} onEnter=${allow} onEscape=${escape}>
      ${look.path && html`<p class="chat-question-path">${look.path}</p>`}
      ${look.body === 'line' && html`<p class="chat-question-path">${look.detail}</p>`}
      <${Body} name=${tool} input=${input} body=${look.body === 'line' ? 'json' : look.body} compare />
      ${look.body === 'command' && look.detail && html`<p class="chat-note">${look.detail}</p>`}
      ${reason && html`<p class="chat-note">${reason}</p>`}
      <div class="chat-buttons">
        <button type="button" class="button primary" onClick=${allow}>Allow once</button>
        ${
          suggestions.length > 0 &&
          html`<button
            type="button"
            class="button"
            title=${always}
            aria-description=${always}
            onClick=${() => give(question, allowAlways(question), `You chose: ${always}.`)}
          >
            Always
          </button>`
        }
        <button
          type="button"
          class="button"
          aria-expanded=${String(declining)}
          onClick=${() => (declining ? no(false) : setDeclining(true))}
        >
          No
        </button>
        <button type="button" class="button" onClick=${() => no(true)}>No and stop</button>
        ${More && html`<${More} question=${question} />`}
      </div>
      ${suggestions.length > 0 && html`<p class="chat-note">Always: ${always}</p>`}
      ${declining && html`<${Reason} words=${words} setWords=${setWords} send=${() => no(false)} />`}
    <//>
  `;
}

/** @param {{words: string, setWords: (words: string) => void, send: () => unknown}} props */
function Reason({ words, setWords, send }) {
  const field = useRef(/** @type {HTMLInputElement | null} */ (null));
  /** @param {HTMLInputElement | null} element */
  const take = (element) => {
    // The user has just pressed "No", so the focus is in this card already.
    if (element && !field.current) element.focus();
    field.current = element;
  };
  return html`<form
    class="chat-reason"
    onSubmit=${(/** @type {Event} */ event) => {
      event.preventDefault();
      void send();
    }}
  >
    <input
      class="field"
      ref=${take}
      aria-label="Why not, or what to do instead"
      placeholder="Why not, or what to do instead"
      value=${words}
      onInput=${typing(setWords)}
    />
    <button type="submit" class="button">Send</button>
  </form>`;
}

/** @param {{question: Question}} props */
function ChoiceCard({ question }) {
  const choices = choicesOf(question);
  const [picked, setPicked] = useState(/** @type {Record<string, string[]>} */ ({}));
  const [other, setOther] = useState(/** @type {Record<string, string>} */ ({}));
  const answerTo = (/** @type {string} */ words) =>
    [...(picked[words] ?? []), other[words]?.trim() ?? ''].filter(Boolean).join(', ');
  const complete = choices.every(({ question: words }) => answerTo(words) !== '');
  const send = () => {
    if (!complete) return;
    const answers = Object.fromEntries(choices.map(({ question: words }) => [words, answerTo(words)]));
    const kept = choices.map(({ question: words }) => `${words} ${answerTo(words)}`).join('\n');
    return give(question, answerChoices(question, answers), kept);
  };
  const no = () => give(question, deny(question, 'The user did not answer.'), 'You did not answer.');
  return html`
    <${Frame} label="Claude asks" sign="question" question=${question} onEnter=${send} onEscape=${no}>
      ${choices.map(
        (choice, at) => html`<${ChoiceField}
          key=${at}
          name=${`${questionKey(question)}-${at}`}
          choice=${choice}
          picked=${picked[choice.question] ?? []}
          other=${other[choice.question] ?? ''}
          setPicked=${(/** @type {string[]} */ labels) => setPicked({ ...picked, [choice.question]: labels })}
          setOther=${(/** @type {string} */ words) => setOther({ ...other, [choice.question]: words })}
        />`,
      )}
      <div class="chat-buttons">
        <button type="button" class="button primary" disabled=${!complete} onClick=${send}>Answer</button>
        <button type="button" class="button" onClick=${no}>Do not answer</button>
      </div>
    <//>
  `;
}

/**
 * @param {object} props
 * @param {string} props.name
 * @param {import('../../stores/chatquestions.js').Choice} props.choice
 * @param {string[]} props.picked
 * @param {string} props.other
 * @param {(labels: string[]) => void} props.setPicked
 * @param {(words: string) => void} props.setOther
 */
function ChoiceField({
  name,
  choice: { question, header, many, options },
  picked,
  other,
  setPicked,
  setOther,
}) {
  /** @param {string} label */
  const toggle = (label) => {
    if (!many) return setPicked([label]);
    setPicked(picked.includes(label) ? picked.filter((one) => one !== label) : [...picked, label]);
  };
  return html`
    <fieldset class="chat-choice">
      <legend>${header && html`<span class="chat-tag">${header}</span>`} ${question}</legend>
      ${options.map(
        ({ label, description }) => html`<label key=${label}>
          <input
            type=${many ? 'checkbox' : 'radio'}
            name=${name}
            checked=${picked.includes(label)}
            onChange=${() => toggle(label)}
          />
          <span><b>${label}</b> ${description && html`<span class="chat-note">${description}</span>`}</span>
        </label>`,
      )}
      <input
        class="field"
        aria-label=${`Another answer to: ${question}`}
        placeholder="Something else"
        value=${other}
        onInput=${(/** @type {Event} */ event) => {
          setOther(/** @type {HTMLInputElement} */ (event.target).value);
          if (!many) setPicked([]);
        }}
      />
    </fieldset>
  `;
}

const CARDS = { plan: PlanCard, choice: ChoiceCard, tool: ToolQuestion };
