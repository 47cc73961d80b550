// The text on disk beside the text in the editor, and the three ways out.

import { html } from 'htm/preact';
import { useEffect, useRef, useState } from 'preact/hooks';
import { reportError } from '../shell/toasts.js';
import { readTextFile } from '../stores/files.js';
import { closeTab, openTab } from '../stores/tabs.js';
import { reloadFromDisk } from './documents.js';
import { editorHost } from './lazy.js';
import { saveDocument } from './savefile.js';
import { tabs, titleOf } from './state.js';
import { focusGroup } from './tabactions.js';

/** @param {{id: string, group: string, buffer: import('./state.js').TextBuffer}} props */
export function CompareView({ id, group, buffer }) {
  const place = useRef(/** @type {HTMLDivElement | null} */ (null));
  const view = useRef(
    /** @type {{dispose: () => void, nextChange: () => void, previousChange: () => void} | null} */ (null),
  );
  const [failure, setFailure] = useState('');

  useEffect(() => {
    let alive = true;
    Promise.all([editorHost(), readTextFile(id)])
      .then(([host, file]) => {
        if (!alive || !place.current) return;
        if (file.text === null) setFailure('the file on disk is no longer text');
        else view.current = host.createCompare(place.current, file.text, buffer.doc, buffer.language.value);
      })
      .catch((error) => alive && setFailure(error.message));
    return () => {
      alive = false;
      view.current?.dispose();
    };
  }, [id, buffer]);

  const leave = () => {
    const there = openTab(tabs.value, { kind: 'text', id, group }).state;
    tabs.value = closeTab(there, group, `compare:${id}`);
    focusGroup(group);
  };
  const overwrite = async () => {
    if ((await saveDocument(id, { overwrite: true })) !== null) leave();
  };
  const reload = async () => {
    try {
      await reloadFromDisk(id);
      leave();
    } catch (error) {
      reportError(`Could not reload ${titleOf(id)}`, error);
    }
  };
  return html`<div class="compare">
    <div class="compare-bar" role="toolbar" aria-label="Changes on disk">
      <span class="compare-words">
        ${failure ? `Could not compare: ${failure}` : html`Left: on disk. Right: your text of <b>${titleOf(id)}</b>.`}
      </span>
      <button class="button" onClick=${() => view.current?.previousChange()}>Previous Change</button>
      <button class="button" onClick=${() => view.current?.nextChange()}>Next Change</button>
      <button class="button danger" onClick=${overwrite}>Overwrite the File</button>
      <button class="button" onClick=${reload}>Reload from Disk</button>
      <button class="button" onClick=${leave}>Cancel</button>
    </div>
    <div class="compare-view" ref=${place}></div>
  </div>`;
}
