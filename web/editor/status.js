// What the status bar says about the text in front; each part is a button that changes it.

import { html } from 'htm/preact';
import { useEffect, useState } from 'preact/hooks';
import { commandById, runCommand } from '../shell/commands.js';
import { registerStatusItem } from '../shell/statusbar.js';
import { kLineEndLabels } from '../stores/buffers.js';
import { encodingLabel } from '../stores/encoding.js';
import { editorHostNow } from './lazy.js';
import { cursor, frontBuffer } from './state.js';

export function registerEditorStatus() {
  // Smaller orders are further out, so the language stands at the very right.
  const items = [Language, Encoding, LineEnds, Indentation, Position];
  items.forEach((component, index) => {
    const id = `editor.${component.name.toLowerCase()}`;
    registerStatusItem({ id, side: 'right', order: 20 + index * 10, component });
  });
  registerStatusItem({ id: 'editor.readonly', side: 'left', order: 40, component: ReadOnly });
}

/** @param {{command: string, what: string, words: string, spoken?: string, position?: boolean}} props */
function StatusButton({ command, what, words, spoken, position = false }) {
  const title = commandById(command)?.title ?? what;
  return html`<button
    type="button"
    class="status-item"
    title=${title}
    aria-label=${`${what}: ${words}`}
    data-spoken=${spoken}
    data-position=${position || undefined}
    onClick=${() => runCommand(command)}
  >${words}</button>`;
}

function Position() {
  if (!frontBuffer.value) return null;
  const { line, column, selected, selections } = cursor.value;
  const many = selections > 1 ? `${selections} selections` : `Ln ${line}, Col ${column}`;
  const words = selected ? `${many} (${selected} selected)` : many;
  const place = selections > 1 ? many : `Line ${line}, column ${column}`;
  const spoken = selected ? `${place}, ${selected === 1 ? '1 character' : `${selected} characters`} selected` : place;
  return html`<${StatusButton} command="editor.gotoLine" what="Position" words=${words} spoken=${spoken} position />`;
}

function Indentation() {
  const buffer = frontBuffer.value;
  const [, refresh] = useState(0);
  const doc = /** @type {import('./host.js').HostDocument | undefined} */ (buffer?.doc);
  useEffect(() => doc?.onIndent(() => refresh((count) => count + 1)), [doc]);
  if (!doc) return null;
  const { spaces, size } = doc.indent();
  return html`<${StatusButton} command="editor.indent" what="Indentation" words=${`${spaces ? 'Spaces' : 'Tabs'}: ${size}`} />`;
}

function LineEnds() {
  const buffer = frontBuffer.value;
  if (!buffer) return null;
  return html`<${StatusButton} command="editor.lineEnds" what="Line ends" words=${kLineEndLabels[buffer.lineEnd.value]} />`;
}

function Encoding() {
  const buffer = frontBuffer.value;
  if (!buffer) return null;
  return html`<${StatusButton} command="editor.encoding" what="Encoding" words=${encodingLabel(buffer.encoding.value)} />`;
}

function Language() {
  const buffer = frontBuffer.value;
  if (!buffer) return null;
  const title = editorHostNow()?.languageTitle(buffer.language.value) ?? buffer.language.value;
  return html`<${StatusButton} command="editor.language" what="Language" words=${title} />`;
}

function ReadOnly() {
  const buffer = frontBuffer.value;
  if (!buffer?.readOnly) return null;
  return html`<span class="status-item status-note" role="status">Read-only: only the first 12 MB were read</span>`;
}
