// The text on disk beside the text in the editor, and the three ways out.

import { html } from 'htm/preact';
import { useEffect, useRef, useState } from 'preact/hooks';
import { reportError } from '../shell/toasts.js';
import { readTextFile } from '../stores/files.js';
import { closeTab, openTab } from '../stores/tabs.js';
import { reloadFromDisk } from './documents.js';
import { editorHost } from './lazy.js';
import { diskTurns } from './outside.js';
import { saveDocument } from './savefile.js';
import { tabs, titleOf } from './state.js';
import { focusGroup } from './tabactions.js';

/** @param {{id: string, group: string, buffer: import('./state.js').TextBuffer}} props */
export function CompareView({ id, group, buffer }) {
  const place = useRef(/** @type {HTMLDivElement | null} */ (null));
  const view = useRef(/** @type {ReturnType<typeof compared> | null} */ (null));
  const [ready, setReady] = useState(false);
  const [failure, setFailure] = useState('');

  useEffect(() => {
    let alive = true;
    void editorHost().then((host) => {
      if (alive && place.current) view.current = compared(host, place.current, buffer);
      setReady(alive);
    });
    return () => {
      alive = false;
      view.current?.dispose();
      view.current = null;
    };
  }, [id, buffer]);
  useEffect(() => {
    let alive = true;
    if (!ready) return undefined;
    readTextFile(id)
      .then((file) => {
        if (!alive) return;
        setFailure(file.text === null ? 'the file on disk is no longer text' : '');
        view.current?.setOriginal(file.text ?? '');
      })
      .catch((error) => alive && setFailure(error.message));
    return () => {
      alive = false;
    };
  }, [id, buffer, ready, diskTurns.value]);

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

/**
 * @param {typeof import('./host.js')} host
 * @param {HTMLElement} place
 * @param {import('./state.js').TextBuffer} buffer
 */
function compared(host, place, buffer) {
  return host.createCompare(place, {
    original: '',
    modified: buffer.doc,
    language: buffer.language.value,
    labels: ['Text on disk', 'Your text'],
  });
}
