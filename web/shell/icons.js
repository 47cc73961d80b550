import { html } from 'htm/preact';

/**
 * An icon of the codicon set, invisible to screen readers: what it means stands beside it or in the
 * name of its button.
 * @param {string} name
 * @param {string} [className]
 */
export function icon(name, className = '') {
  return html`<span class="codicon codicon-${name} ${className}" aria-hidden="true"></span>`;
}
