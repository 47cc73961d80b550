// The text editor's code is large and comes only once something needs it, so that the shell paints first.

/** @typedef {typeof import('./host.js')} EditorHost */

/** @type {Promise<EditorHost> | null} */
let loading = null;
/** @type {EditorHost | null} */
let loaded = null;
/** @type {Set<(host: EditorHost) => void>} */
const waiting = new Set();

/** @returns {Promise<EditorHost>} */
export function editorHost() {
  loading ??= import('./host.js').then((host) => {
    loaded = host;
    for (const fn of waiting) fn(host);
    waiting.clear();
    return host;
  });
  return loading;
}

/**
 * Calls `fn` once the host is there, and does not ask for it.
 * @param {(host: EditorHost) => void} fn
 */
export function whenEditorHost(fn) {
  if (loaded) fn(loaded);
  else waiting.add(fn);
}

/** The host if it is there already. */
export function editorHostNow() {
  return loaded;
}
