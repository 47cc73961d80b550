/**
 * Hands on what stands in a field, for its onInput and onChange.
 * @param {(value: string) => void} take
 */
export const typing = (take) => (/** @type {Event} */ event) =>
  take(/** @type {HTMLInputElement | HTMLTextAreaElement | HTMLSelectElement} */ (event.target).value);
