// Pictures that go along with the next message: taken from the clipboard or a drop, shown small.

import { signal } from '@preact/signals';
import { html } from 'htm/preact';
import { raw } from '../../bridge/api.js';
import { icon } from '../../shell/icons.js';
import { toast } from '../../shell/toasts.js';
import { base64Of, pictureProblem } from '../../stores/chatpictures.js';
import { fileInfo } from '../../stores/files.js';

/** @typedef {import('../../stores/chatqueue.js').Picture & {name: string}} Attached */

/** @type {import('@preact/signals').Signal<Attached[]>} */
export const attached = signal([]);

/**
 * Takes the pictures among some files and says why another one cannot go along.
 * @param {readonly File[]} files
 */
export async function attach(files) {
  for (const file of files) {
    const problem = pictureProblem(file, attached.value.length);
    if (problem) {
      toast({ kind: 'warning', text: problem });
      continue;
    }
    const data = base64Of(new Uint8Array(await file.arrayBuffer()));
    attached.value = [...attached.value, { name: file.name || 'Picture', mediaType: file.type, data }];
  }
}

/**
 * Takes a picture of the workspace.
 * @param {string} path
 * @returns {Promise<boolean>} false when the file is none
 */
export async function attachFromWorkspace(path) {
  const info = await fileInfo(path);
  if (info?.kind !== 'image' || pictureProblem({ ...info, type: info.mime }, attached.value.length))
    return false;
  const bytes = await (await raw(path)).arrayBuffer();
  await attach([new File([bytes], info.name, { type: info.mime })]);
  return true;
}

/** What is attached, taken out. */
export function takeAttached() {
  const pictures = attached.value.map(({ mediaType, data }) => ({ mediaType, data }));
  attached.value = [];
  return pictures;
}

export function Attached() {
  if (!attached.value.length) return null;
  return html`
    <ul class="chat-attached" aria-label="Pictures of this message">
      ${attached.value.map(
        ({ name, mediaType, data }, at) => html`<li key=${data}>
          <img src=${`data:${mediaType};base64,${data}`} alt=${name} />
          <button
            type="button"
            class="icon-button"
            aria-label=${`Remove ${name}`}
            onClick=${() => {
              attached.value = attached.value.toSpliced(at, 1);
            }}
          >
            ${icon('close')}
          </button>
        </li>`,
      )}
    </ul>
  `;
}
