// The About dialog, and the licences of what the page is built from.

import { html } from 'htm/preact';
import { useEffect, useState } from 'preact/hooks';
import { version } from '../stores/settings.js';
import { showDialog } from './dialogs.js';

/** @typedef {{name: string, version: string, license: string, file: string}} Licence */
/** @typedef {{close: (answer: string | null) => void}} BodyProps */

export const showAbout = () => showDialog('Marlin Bench', About);
export const showLicences = () => showDialog('Licences', Licences);

/** @param {BodyProps} props */
function About({ close }) {
  const rows = [
    ['Version', version.value || 'unknown'],
    ['Licence', 'MIT'],
    ['Web view', navigator.userAgent],
  ];
  return html`
    <dl class="about">${rows.map(([name, value]) => html`<dt>${name}</dt><dd>${value}</dd>`)}</dl>
    <div class="dialog-buttons">
      <button type="button" class="button" onClick=${() => (close(null), void showLicences())}>
        Show licences
      </button>
      <button type="button" class="button primary" data-autofocus onClick=${() => close(null)}>Close</button>
    </div>
  `;
}

/** @param {BodyProps} props */
function Licences({ close }) {
  const [list, setList] = useState(/** @type {Licence[] | string} */ ([]));
  useEffect(() => {
    fetch('/vendor/licences.json')
      .then((answer) => answer.json())
      .then(setList, (error) => setList(`Could not read the licences: ${error.message}`));
  }, []);
  return html`
    <p class="dialog-text">The page is built from these packages, each under its own licence.</p>
    <div class="licences" tabindex="0" aria-label="Licences" role="group">
      ${typeof list === 'string'
        ? list
        : list.map((one) => html`<${LicenceText} key=${one.file} licence=${one} />`)}
    </div>
    <div class="dialog-buttons">
      <button type="button" class="button primary" data-autofocus onClick=${() => close(null)}>Close</button>
    </div>
  `;
}

/** @param {{licence: Licence}} props */
function LicenceText({ licence: { name, version: of, license, file } }) {
  const [text, setText] = useState('');
  const read = async () => {
    if (!text) setText(await (await fetch(`/vendor/licences/${file}`)).text());
  };
  return html`
    <details onToggle=${read}>
      <summary>${[name, of].filter(Boolean).join(' ')}, ${license}</summary>
      <pre>${text}</pre>
    </details>
  `;
}
