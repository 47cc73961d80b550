// The text editor's code is large and comes only once something needs it, so that the shell paints first.

/** @typedef {typeof import('./host.js')} EditorHost */

/** @type {Promise<EditorHost> | null} */
let loading = null;
/** @type {EditorHost | null} */
let loaded = null;

/** @returns {Promise<EditorHost>} */
export function editorHost() {
  loading ??= import('./host.js').then((host) => {
    loaded = host;
    return host;
  });
  return loading;
}

/** The host if it is there already. */
export function editorHostNow() {
  return loaded;
}
