// Makes a rule out of a question: what is answered, for which input, and for whom.

import { html } from 'htm/preact';
import { useState } from 'preact/hooks';
import { showDialog } from '../../shell/dialogs.js';
import { addRule, askerOf, wordsOfRule } from '../../stores/inbox.js';
import { canHaveRule, matchChoices, scopeChoices } from '../../stores/inboxrules.js';
import { toolLook } from '../../stores/chattools.js';

/** @typedef {import('../../stores/chatquestions.js').Question} Question */

/** On the card of a question that a rule could answer. @param {{question: Question}} props */
export function RuleButton({ question }) {
  if (!canHaveRule(question) || !askerOf(question)) return null;
  return html`<button type="button" class="button" onClick=${() => makeRule(question)}>Rule…</button>`;
}

/** @param {Question} question */
export async function makeRule(question) {
  const asker = askerOf(question);
  if (!asker || !canHaveRule(question)) return;
  const { label } = toolLook(question.tool, question.input);
  await showDialog(
    `A rule for ${label}`,
    ({ close }) => html`<${RuleForm} question=${question} asker=${asker} close=${close} />`,
  );
}

/** @type {{id: 'allow' | 'deny', label: string}[]} */
const BEHAVIORS = [
  { id: 'allow', label: 'Allow' },
  { id: 'deny', label: 'Refuse' },
];

/**
 * @param {object} props
 * @param {Question} props.question
 * @param {import('../../stores/inboxrules.js').Asker} props.asker
 * @param {(answer: string | null) => void} props.close
 */
function RuleForm({ question, asker, close }) {
  const matches = matchChoices(question, asker);
  const scopes = scopeChoices(asker);
  const [behavior, setBehavior] = useState(/** @type {'allow' | 'deny'} */ ('allow'));
  const [what, setWhat] = useState(matches[0]?.id ?? '');
  const [whose, setWhose] = useState(scopes[0]?.id ?? '');
  const match = (matches.find(({ id }) => id === what) ?? matches[0])?.match;
  const scope = (scopes.find(({ id }) => id === whose) ?? scopes[0])?.scope;
  if (!match || !scope) return null;
  const wanted = { behavior, tool: question.tool, match, scope };
  /** @param {Event} event */
  const submit = (event) => {
    event.preventDefault();
    close('made');
    addRule(wanted);
  };
  return html`<form class="rule-form" onSubmit=${submit}>
    <${Choices} name="rule-answer" title="Answer" choices=${BEHAVIORS} chosen=${behavior} choose=${setBehavior} />
    <${Choices} name="rule-what" title="When it asks for" choices=${matches} chosen=${what} choose=${setWhat} />
    <${Choices} name="rule-whose" title="And this asks" choices=${scopes} chosen=${whose} choose=${setWhose} />
    <p class="rule-words" role="status">${wordsOfRule({ ...wanted, id: '', made: 0 })}</p>
    <p class="inbox-note">
      Nothing but exactly this is answered, and this question is answered now. A rule that refuses wins over all that
      allow.
    </p>
    <div class="dialog-buttons">
      <button type="button" class="button" onClick=${() => close(null)}>Cancel</button>
      <button type="submit" class=${`button ${behavior === 'allow' ? 'primary' : 'danger'}`}>
        ${behavior === 'allow' ? 'Keep the Rule and Allow' : 'Keep the Rule and Refuse'}
      </button>
    </div>
  </form>`;
}

/**
 * @param {object} props
 * @param {string} props.name
 * @param {string} props.title
 * @param {{id: string, label: string}[]} props.choices
 * @param {string} props.chosen
 * @param {(id: any) => void} props.choose
 */
function Choices({ name, title, choices, chosen, choose }) {
  return html`<fieldset class="rule-choices">
    <legend>${title}</legend>
    ${choices.map(
      ({ id, label }) => html`<label key=${id}>
        <input type="radio" name=${name} value=${id} checked=${id === chosen} onChange=${() => choose(id)} />
        <span>${label}</span>
      </label>`,
    )}
  </fieldset>`;
}
