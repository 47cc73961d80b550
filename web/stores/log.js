// What happened and was not asked for: errors with their detail, events that nobody here knows, and
// the ups and downs of the link. The "Log" panel shows it; nothing in it is ever thrown.

import { signal } from '@preact/signals';

/** Older entries go when this many are kept. */
export const KEPT_ENTRIES = 1000;

/**
 * @typedef {'info' | 'warning' | 'error' | 'event' | 'link'} LogKind
 * @typedef {{id: number, time: Date, kind: LogKind, text: string, detail: string}} LogEntry
 */

/** @type {import('@preact/signals').Signal<LogEntry[]>} */
export const entries = signal([]);

let lastId = 0;

/**
 * @param {LogKind} kind
 * @param {string} text one line
 * @param {unknown} [detail] shown on demand; objects are kept as JSON
 */
export function note(kind, text, detail) {
  const entry = { id: ++lastId, time: new Date(), kind, text, detail: detailText(detail) };
  entries.value = [...entries.value.slice(1 - KEPT_ENTRIES), entry];
}

export function clearLog() {
  entries.value = [];
}

/** @param {unknown} detail */
function detailText(detail) {
  if (detail === undefined || detail === null) return '';
  if (typeof detail === 'string') return detail;
  if (detail instanceof Error) return detail.stack || String(detail);
  try {
    return JSON.stringify(detail, null, 2) ?? String(detail);
  } catch {
    return String(detail); // a ring or a BigInt has no JSON
  }
}
