// A file that cannot be shown: what is known of it, and the way to a program that can.

import { html } from 'htm/preact';
import { runCommand } from '../../shell/commands.js';
import { icon } from '../../shell/icons.js';

/** @param {number} bytes */
export function sizeWords(bytes) {
  if (bytes < 1024) return `${bytes} bytes`;
  const units = ['KB', 'MB', 'GB', 'TB'];
  let size = bytes / 1024;
  let unit = 0;
  while (size >= 1024 && unit < units.length - 1) {
    size /= 1024;
    unit++;
  }
  return `${size < 10 ? size.toFixed(1) : Math.round(size)} ${units[unit]} (${bytes.toLocaleString('en')} bytes)`;
}

/** @param {{info: import('../../stores/files.js').FileInfo, reason?: string}} props */
export function Facts({ info, reason = '' }) {
  const rows = [
    ['Kind', info.kind === 'binary' ? 'binary file' : info.kind],
    ['Type', info.mime],
    ['Size', sizeWords(info.size)],
    ['Changed', new Date(info.modified * 1000).toLocaleString()],
    ['Path', info.path],
  ];
  return html`<section class="facts" aria-label=${info.name} tabindex="0">
    <h2>${icon('file-binary')} ${info.name}</h2>
    <p>${reason || 'This file is not text and is not opened as such, so that nothing in it can be damaged.'}</p>
    <dl>
      ${rows.map(([name, value]) => html`<div key=${name}><dt>${name}</dt><dd>${value}</dd></div>`)}
    </dl>
    <button class="button" onClick=${() => runCommand('file.reveal', info.path)}>Reveal in File Manager</button>
  </section>`;
}
