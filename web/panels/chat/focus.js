// Puts the focus into the field that messages are written in.

/** @returns {HTMLTextAreaElement | null} */
export const composerField = () => document.querySelector('.chat .chat-field');

export function focusComposer() {
  // The panel may only just have been opened.
  requestAnimationFrame(() => composerField()?.focus());
}
