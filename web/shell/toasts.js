// Short messages in the corner that never take the focus. Errors and warnings stay until they are
// dismissed and are in the log as well; information goes by itself.

import { signal } from '@preact/signals';
import { note } from '../stores/log.js';

/** How long information stays. */
export const INFO_MS = 6000;
/** More than this many would cover the text that people work on. */
export const SHOWN_TOASTS = 4;

/**
 * @typedef {{label: string, run: () => unknown}} ToastAction
 * @typedef {object} ToastRequest
 * @property {'info' | 'warning' | 'error'} kind
 * @property {string} text
 * @property {unknown} [detail] for the log
 * @property {ToastAction[]} [actions]
 *
 * @typedef {ToastRequest & {id: number, count: number}} Toast
 */

/** @type {import('@preact/signals').Signal<Toast[]>} */
export const toasts = signal([]);

let lastId = 0;

/**
 * Shows a message; the same one again is counted, not repeated. The result takes it away.
 * @param {ToastRequest} request
 */
export function toast(request) {
  note(request.kind, request.text, request.detail);
  const same = toasts.value.find(({ kind, text }) => kind === request.kind && text === request.text);
  const id = same?.id ?? ++lastId;
  const shown = { ...request, id, count: (same?.count ?? 0) + 1 };
  toasts.value = [...toasts.value.filter((one) => one !== same), shown].slice(-SHOWN_TOASTS);
  if (request.kind === 'info' && !request.actions?.length) setTimeout(() => dismiss(id), INFO_MS);
  return () => dismiss(id);
}

/** @param {number} id */
export function dismiss(id) {
  toasts.value = toasts.value.filter((one) => one.id !== id);
}

/**
 * Tells of a failure: what was tried, then the bridge's own words as they stand.
 * What the user cancelled is not a failure.
 * @param {string} tried "Could not save a.txt"
 * @param {unknown} error
 */
export function reportError(tried, error) {
  if (error instanceof DOMException && error.name === 'AbortError') return;
  const words = error instanceof Error ? error.message : String(error);
  toast({ kind: 'error', text: `${tried}: ${words}`, detail: error });
}
