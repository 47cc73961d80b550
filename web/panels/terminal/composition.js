// Puts the decision of stores/terminalcompose.js between an input method and a terminal. The listeners
// sit above the terminal's own, on the way down, so that what they stop never reaches it.

import { compose, RESTING } from '../../stores/terminalcompose.js';

/** @typedef {import('xterm').Terminal} Terminal */

const kTypes = /** @type {const} */ ([
  'keydown',
  'keyup',
  'compositionstart',
  'compositionupdate',
  'compositionend',
  'input',
  'blur',
]);

/**
 * @param {HTMLElement} element that holds the terminal
 * @param {Terminal} terminal opened
 */
export function guardComposition(element, terminal) {
  const preedit = makePreedit(terminal);
  let state = RESTING;
  /** @param {import('../../stores/terminalcompose.js').InputStep} step */
  const take = (step) => {
    const decision = compose(state, step);
    state = decision.state;
    if (decision.show !== null) preedit(decision.show);
    if (decision.send) terminal.input(decision.send);
    return decision;
  };
  const settle = () => {
    take({ type: 'settle' });
    // What the method left there is sent; kept, it would only grow.
    if (!state.composing && terminal.textarea) terminal.textarea.value = '';
  };
  /** @param {Event} event */
  const listen = (event) => {
    if (event.target !== terminal.textarea) return;
    const { keyCode, data, inputType } = /** @type {any} */ (event);
    const decision = take({ type: /** @type {any} */ (event.type), keyCode, data, inputType });
    if (decision.stop) event.stopPropagation();
    if (event.type === 'compositionend' || decision.send) setTimeout(settle);
  };
  for (const type of kTypes) element.addEventListener(type, listen, { capture: true });
}

/** What is being composed, drawn at the cursor. @param {Terminal} terminal */
function makePreedit(terminal) {
  const view = document.createElement('div');
  view.className = 'terminal-preedit';
  view.hidden = true;
  const screen = terminal.element?.querySelector('.xterm-screen');
  screen?.append(view);
  return (/** @type {string} */ text) => {
    view.textContent = text;
    view.hidden = text === '';
    if (!text || !screen) return;
    const { width, height } = screen.getBoundingClientRect();
    const { cursorX, cursorY } = terminal.buffer.active;
    const { fontFamily, fontSize } = terminal.options;
    Object.assign(view.style, {
      left: `${(cursorX * width) / terminal.cols}px`,
      top: `${(cursorY * height) / terminal.rows}px`,
      font: `${fontSize}px / ${height / terminal.rows}px ${fontFamily}`,
    });
  };
}
