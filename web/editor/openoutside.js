// Opens what the desktop's own programs show better: a page in the browser, a picture in its viewer. What is opened
// is the file as it stands on disk.

import { call } from '../bridge/api.js';
import { registerCommand } from '../shell/commands.js';
import { toast } from '../shell/toasts.js';
import { isWebAddress, opensOutside, outsideCall } from '../stores/artifacts.js';
import { isOutside } from '../stores/gitstatus.js';
import { baseName } from '../stores/paths.js';
import { frontTab } from './state.js';

/**
 * @param {string} target a web address, or a workspace path
 * @param {object} [telling] how a refusal is told
 * @param {string} [telling.name]
 * @param {() => import('../shell/toasts.js').ToastAction[]} [telling.wayOut] what helps
 */
export async function openOutside(target, { name = baseName(target), wayOut = () => [] } = {}) {
  const web = isWebAddress(target);
  const { route, body } = web ? outsideCall(target) : { route: 'artifact/open', body: { path: target } };
  try {
    await call(route, body);
  } catch (error) {
    const words = error instanceof Error ? error.message : String(error);
    toast({ kind: 'error', text: `Could not open ${web ? target : name} outside: ${words}`, detail: error, actions: wayOut() });
  }
}

/**
 * What menus of a file offer, nothing for one that the desktop cannot be asked to open.
 * @param {string} path
 * @returns {import('../shell/menus.js').MenuItem[]}
 */
export const outsideItems = (path) =>
  opensOutside(path) ? [{ label: 'Open Outside', run: () => openOutside(path) }] : [];

/** The file in front that can be opened outside, "" for none. */
function frontPath() {
  const { kind, id = '' } = frontTab.value ?? {};
  return (kind === 'text' || kind === 'markdown') && id.includes('/') && !isOutside(id) && opensOutside(id) ? id : '';
}

export function registerOutsideCommand() {
  registerCommand({
    id: 'file.openOutside',
    title: 'Open Outside',
    category: 'File',
    when: () => frontPath() !== '',
    run: () => openOutside(frontPath()),
  });
}
