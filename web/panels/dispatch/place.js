// Where the focus goes on the board.

/** @param {string} id of a task, "" for the first card */
export function focusCard(id) {
  // The card may only just have come to be.
  requestAnimationFrame(() => {
    const wanted = id && document.querySelector(`.board [data-task="${CSS.escape(id)}"]`);
    const card = wanted || document.querySelector('.board [data-task]');
    if (card instanceof HTMLElement) card.focus();
  });
}

export function focusForm() {
  requestAnimationFrame(() => {
    const field = document.querySelector('.board .task-words');
    if (field instanceof HTMLElement) field.focus();
  });
}
