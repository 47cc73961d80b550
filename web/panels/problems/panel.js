// The "Problems" panel: what language servers find, by file, with the way there.

import { html } from 'htm/preact';
import { signal } from '@preact/signals';
import { useLayoutEffect, useRef, useState } from 'preact/hooks';
import { openPlace } from '../../editor/lsp.js';
import { icon } from '../../shell/icons.js';
import { menuFor } from '../../shell/menus.js';
import { counts, problems } from '../../stores/lspproblems.js';
import { MOST_ROWS, problemLine, problemRows } from '../../stores/lsprows.js';
import { workspacePath } from '../../stores/paths.js';
import { roots } from '../../stores/settings.js';
import { typing } from '../chat/fields.js';

/** @typedef {import('../../stores/lsprows.js').Row} Row */

export const filter = signal('');
/** Files whose problems are folded away. @type {import('@preact/signals').Signal<ReadonlySet<string>>} */
const closed = signal(new Set());

/** @type {Record<string, string>} */
const SIGNS = { error: 'error', warning: 'warning', info: 'info' };

export function ProblemsBadge() {
  const { error, warning } = counts.value;
  const sum = error + warning;
  return sum > 0 && html`<span class="count">${sum}<span class="unseen"> errors and warnings</span></span>`;
}

export function ProblemsActions() {
  return html`<input
    class="field problems-filter"
    aria-label="Filter problems"
    placeholder="Filter"
    value=${filter.value}
    onInput=${typing((words) => {
      filter.value = words;
    })}
  />`;
}

export function Problems() {
  const { rows, cut } = problemRows(problems.value, {
    filter: filter.value,
    closed: closed.value,
    roots: roots.value,
  });
  if (!rows.length) {
    return html`<p class="empty" tabindex="0" data-focus>
      ${
        filter.value.trim()
          ? 'No problem fits the filter.'
          : 'No problems were found. What language servers find in the files of the workspace will be listed here.'
      }
    </p>`;
  }
  return html`
    <${List} rows=${rows} />
    ${cut > 0 && html`<p class="empty">${cut} more problems are not listed: only ${MOST_ROWS} rows are shown.</p>`}
  `;
}

/** @param {{rows: Row[]}} props */
function List({ rows }) {
  const place = useRef(/** @type {HTMLDivElement | null} */ (null));
  const [key, setKey] = useState('');
  const at = Math.max(0, rows.findIndex((row) => row.key === key));
  const latest = useRef(rows);
  latest.current = rows;
  useLayoutEffect(
    () => (place.current ? menuFor(place.current, (event) => menuOf(rowAt(latest.current, event.target))) : undefined),
    [],
  );
  /** @param {number} index */
  const go = (index) => {
    const to = Math.max(0, Math.min(rows.length - 1, index));
    setKey(rows[to].key);
    const row = /** @type {HTMLElement | null} */ (place.current?.querySelector(`[data-index="${to}"]`));
    row?.focus();
  };
  /** @param {KeyboardEvent} event */
  const onKeyDown = (event) => {
    const row = rows[at];
    if (event.ctrlKey && event.key === 'c') void copy([row]);
    else if (event.ctrlKey || event.altKey || event.metaKey) return;
    else if (event.key === 'ArrowDown') go(at + 1);
    else if (event.key === 'ArrowUp') go(at - 1);
    else if (event.key === 'Home') go(0);
    else if (event.key === 'End') go(rows.length - 1);
    else if (event.key === 'ArrowLeft') {
      if (row.kind === 'file') fold(row.path, true);
      else go(rows.findIndex((one) => one.kind === 'file' && one.path === row.path));
    } else if (event.key === 'ArrowRight' && row.kind === 'file') fold(row.path, false);
    else if (event.key === 'Enter' || event.key === ' ') act(row);
    else return;
    event.preventDefault();
    event.stopPropagation();
  };
  return html`<div class="problems" role="tree" aria-label="Problems" ref=${place} onKeyDown=${onKeyDown}>
    ${rows.map(
      (row, index) => html`<div
        key=${row.key}
        class=${`problem-row ${row.kind}`}
        role="treeitem"
        aria-level=${row.kind === 'file' ? 1 : 2}
        aria-expanded=${row.kind === 'file' ? String(row.open) : undefined}
        aria-selected=${String(index === at)}
        tabindex=${index === at ? 0 : -1}
        data-index=${index}
        data-focus=${index === at ? '' : undefined}
        onClick=${() => {
          go(index);
          act(row);
        }}
      >
        ${row.kind === 'file' ? html`<${FileCells} row=${row} />` : html`<${ProblemCells} problem=${row.problem} />`}
      </div>`,
    )}
  </div>`;
}

/** @param {{row: import('../../stores/lsprows.js').FileRow}} props */
function FileCells({ row: { name, folder, count, open } }) {
  return html`${icon(open ? 'chevron-down' : 'chevron-right')}
    <span class="problem-name">${name}</span>
    <span class="problem-folder">${folder}</span>
    <span class="count">${count}</span>`;
}

/** @param {{problem: import('../../stores/lspproblems.js').Problem}} props */
function ProblemCells({ problem: { severity, message, source, code, range } }) {
  return html`<span class=${`problem-sign ${severity}`}>
      ${icon(SIGNS[severity] ?? 'info')}<span class="unseen">${severity}</span>
    </span>
    <span class="problem-words">${message}</span>
    <span class="problem-source">${[source, code].filter(Boolean).join(' ')}</span>
    <span class="problem-place">${range.start.line + 1}:${range.start.character + 1}</span>`;
}

/** @param {readonly Row[]} rows @param {EventTarget | null} target */
function rowAt(rows, target) {
  const index = target instanceof Element ? target.closest('[data-index]')?.getAttribute('data-index') : null;
  return rows[Number(index ?? -1)];
}

/** @param {Row | undefined} row @returns {import('../../shell/menus.js').MenuItem[]} */
function menuOf(row) {
  if (!row) return [];
  const { path } = row;
  const below = problemRows(problems.value, { filter: filter.value, closed: new Set(), roots: roots.value }).rows;
  const same = below.filter((one) => one.path === path);
  return [
    { label: 'Open', run: () => (row.kind === 'file' ? openPlace(path, 1, 1) : act(row)) },
    { kind: 'separator' },
    row.kind === 'problem'
      ? { label: 'Copy', run: () => copy([row]) }
      : { label: 'Copy All of This File', run: () => copy(same) },
    ...(row.kind === 'problem'
      ? [{ label: 'Copy Message', run: () => navigator.clipboard.writeText(row.problem.message) }]
      : []),
  ];
}

/** @param {readonly Row[]} rows */
function copy(rows) {
  const lines = rows.flatMap((row) =>
    row.kind === 'problem' ? [problemLine(row.problem, workspacePath(roots.value, row.path) || row.path)] : [],
  );
  return navigator.clipboard.writeText(lines.join('\n') || rows[0].path);
}

/** @param {string} path @param {boolean} away */
function fold(path, away) {
  const next = new Set(closed.value);
  if (away) next.add(path);
  else next.delete(path);
  closed.value = next;
}

/** @param {Row} row */
function act(row) {
  if (row.kind === 'file') return fold(row.path, row.open);
  const { line, character } = row.problem.range.start;
  return void openPlace(row.path, line + 1, character + 1);
}
