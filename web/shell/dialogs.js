// Questions that must be answered before anything else: ask for one of some buttons, prompt for a
// line of text. One is open at a time; the next waits. Escape is always "no answer".

import { signal } from '@preact/signals';
import { keepFocus } from './focus.js';

/**
 * @typedef {{id: string, label: string, kind?: 'primary' | 'danger'}} DialogButton
 *
 * @typedef {object} AskRequest
 * @property {string} title
 * @property {string} [text]
 * @property {string} [detail] smaller, with its line breaks: a list of files, an error
 * @property {DialogButton[]} buttons the first of kind "primary" or "danger" is what Enter presses
 *
 * @typedef {object} PromptRequest
 * @property {string} title
 * @property {string} label
 * @property {string} [value]
 * @property {[number, number]} [select]
 * @property {(value: string) => string} [validate] what is wrong with a value, "" for nothing
 * @property {string} [button]
 *
 * @typedef {object} OpenDialog
 * @property {AskRequest} [ask]
 * @property {PromptRequest} [prompt]
 * @property {(props: {close: (answer: string | null) => void}) => any} [body] a dialog with a body of its own
 * @property {string} title
 * @property {(answer: string | null) => void} close
 */

/** @type {import('@preact/signals').Signal<OpenDialog | null>} */
export const openDialog = signal(null);

/** @type {Promise<unknown>} */
let last = Promise.resolve();

/**
 * @param {AskRequest} request
 * @returns {Promise<string | null>} the id of the button
 */
export const ask = (request) => open({ ask: request, title: request.title });

/**
 * @param {PromptRequest} request
 * @returns {Promise<string | null>} the text
 */
export const prompt = (request) => open({ prompt: request, title: request.title });

/**
 * Shows a component as a dialog.
 * @param {string} title
 * @param {NonNullable<OpenDialog['body']>} body
 */
export const showDialog = (title, body) => open({ body, title });

/**
 * @param {Omit<OpenDialog, 'close'>} dialog
 * @returns {Promise<string | null>}
 */
function open(dialog) {
  const answer = last.then(() => show(dialog));
  last = answer;
  return answer;
}

/**
 * @param {Omit<OpenDialog, 'close'>} dialog
 * @returns {Promise<string | null>}
 */
function show(dialog) {
  const giveBack = keepFocus();
  return new Promise((resolve) => {
    openDialog.value = {
      ...dialog,
      close: (answer) => {
        openDialog.value = null;
        giveBack();
        resolve(answer);
      },
    };
  });
}
