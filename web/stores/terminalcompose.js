// What an input method types, exactly once. Engines tell of a finished composition by an "input" event,
// by "compositionend" or by both, in an order of their own, and WebKit ends compositions that never
// began; a terminal that acts on each of these gets the text twice. This is the decision alone: events
// go in, out comes what to send, what to show at the cursor and whether the terminal may see the event.

/**
 * @typedef {object} InputStep an event, or "settle" once the events of one key are through
 * @property {'keydown' | 'keyup' | 'compositionstart' | 'compositionupdate' | 'compositionend' | 'input' | 'blur' | 'settle'} type
 * @property {number} [keyCode]
 * @property {string | null} [data]
 * @property {string} [inputType]
 *
 * @typedef {object} Composition
 * @property {boolean} composing
 * @property {boolean} plainKey a key that no input method took is down: its text is the terminal's affair
 * @property {{by: 'input' | 'end', text: string} | null} last what was sent and may be told once more
 *
 * @typedef {object} Decision
 * @property {Composition} state
 * @property {string} send
 * @property {string | null} show the text under composition, null to leave it as it is
 * @property {boolean} stop keep the event from the terminal
 */

/** The key code of every key that an input method took. */
const TAKEN = 229;

/** @type {Composition} */
export const RESTING = { composing: false, plainKey: false, last: null };

/**
 * @param {Composition} state
 * @param {InputStep} step
 * @returns {Decision}
 */
export function compose(state, step) {
  const text = step.data ?? '';
  switch (step.type) {
    case 'keydown':
      // A key that the method took may be told after the text that it made, so `last` stays.
      if (step.keyCode === TAKEN) return decide({ ...state, plainKey: false }, { stop: true });
      return decide({ ...state, plainKey: true, last: null });
    case 'keyup':
      return decide({ ...state, plainKey: false });
    case 'compositionstart':
      return decide({ composing: true, plainKey: false, last: null }, { show: '', stop: true });
    case 'compositionupdate':
      return decide(state, { show: text, stop: true });
    case 'compositionend':
      return commit({ ...state, composing: false }, 'end', text);
    case 'input':
      return input(state, step.inputType ?? '', text);
    case 'blur':
      return decide({ ...RESTING }, { show: '' });
    default:
      return decide({ ...state, last: null });
  }
}

/**
 * @param {Composition} state
 * @param {string} inputType
 * @param {string} text
 * @returns {Decision}
 */
function input(state, inputType, text) {
  if (inputType === 'insertFromComposition') return commit(state, 'input', text);
  // Preedit, which compositionend tells again when it is final.
  if (inputType === 'insertCompositionText' && state.composing) return decide(state, { stop: true });
  if (inputType === 'deleteCompositionText') return decide(state, { stop: true });
  if (inputType !== 'insertText' && inputType !== 'insertCompositionText') return decide(state);
  if (state.plainKey) return decide(state);
  return commit(state, 'input', text);
}

/**
 * Text that is final. The other of the two events that tell of it is swallowed.
 * @param {Composition} state
 * @param {'input' | 'end'} by
 * @param {string} text
 * @returns {Decision}
 */
function commit(state, by, text) {
  const { last } = state;
  const again = last !== null && last.by !== by && last.text === text;
  if (again || !text) return decide({ ...state, last: again ? null : last }, { show: '', stop: true });
  return decide({ ...state, last: { by, text } }, { send: text, show: '', stop: true });
}

/**
 * @param {Composition} state
 * @param {Partial<Decision>} [rest]
 * @returns {Decision}
 */
const decide = (state, rest = {}) => ({ send: '', show: null, stop: false, ...rest, state });
