// Choosing language, encoding, line ends and indentation of the text in front.

import { pick } from '../shell/quickpick.js';
import { reportError } from '../shell/toasts.js';
import { encodingLabel, kEncodings } from '../stores/encoding.js';
import { reopenWithEncoding } from './documents.js';
import { editorHost } from './lazy.js';
import { frontBuffer, frontTab, isUntitled } from './state.js';

/** @typedef {import('../stores/encoding.js').Encoding} Encoding */

export async function changeLanguage() {
  const buffer = frontBuffer.value;
  if (!buffer) return;
  const host = await editorHost();
  const chosen = await pick({
    title: 'Language',
    placeholder: `Language of ${buffer.name.value}`,
    items: host.languages().map(({ id, title }) => ({ id, label: title, description: id })),
    active: buffer.language.value,
  });
  if (chosen) buffer.setLanguage(chosen.id);
}

export async function changeEncoding() {
  const buffer = frontBuffer.value;
  const id = frontTab.value?.id ?? '';
  if (!buffer) return;
  const save = kEncodings.map((each) => ({
    id: `save ${each.id}`,
    label: each.label,
    group: 'Save with encoding',
  }));
  const reopen = kEncodings
    .filter((each) => each.id !== 'utf8bom')
    .map((each) => ({
      id: `reopen ${each.id}`,
      label: `Reopen as ${each.label}`,
      group: 'Read the file again',
    }));
  const mayReopen = !isUntitled(id) && !buffer.dirty.value && !buffer.readOnly;
  const chosen = await pick({
    title: 'Encoding',
    placeholder: `Encoding of ${buffer.name.value}, now ${encodingLabel(buffer.encoding.value)}`,
    items: buffer.readOnly ? reopen.slice(0, 0) : [...save, ...(mayReopen ? reopen : [])],
    active: `save ${buffer.encoding.value}`,
    empty: 'This file cannot be edited, so its encoding stays.',
  });
  if (!chosen) return;
  const [how, encoding] = /** @type {[string, Encoding]} */ (chosen.id.split(' '));
  if (how === 'save') buffer.setEncoding(encoding);
  else
    await reopenWithEncoding(id, encoding).catch((error) =>
      reportError(`Could not reopen ${buffer.name.value}`, error),
    );
}

export async function changeLineEnd() {
  const buffer = frontBuffer.value;
  if (!buffer || buffer.readOnly) return;
  const chosen = await pick({
    title: 'Line ends',
    placeholder: 'End all lines with',
    items: [
      { id: 'lf', label: 'LF', description: 'Linux and macOS' },
      { id: 'crlf', label: 'CRLF', description: 'Windows' },
    ],
    active: buffer.lineEnd.value,
  });
  if (chosen) buffer.setLineEnd(chosen.id === 'crlf' ? 'crlf' : 'lf');
}

export async function changeIndent() {
  const buffer = frontBuffer.value;
  if (!buffer) return;
  const doc = /** @type {import('./host.js').HostDocument} */ (buffer.doc);
  const sizes = [2, 4, 8];
  const chosen = await pick({
    title: 'Indentation',
    placeholder: 'Indent with',
    items: [
      ...sizes.map((size) => ({ id: `spaces ${size}`, label: `${size} spaces` })),
      ...sizes.map((size) => ({ id: `tabs ${size}`, label: `Tabs, ${size} wide` })),
    ],
    active: `${doc.indent().spaces ? 'spaces' : 'tabs'} ${doc.indent().size}`,
  });
  if (!chosen) return;
  const [kind, size] = chosen.id.split(' ');
  doc.setIndent({ spaces: kind === 'spaces', size: Number(size) });
}
