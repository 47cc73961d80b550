// The menu of a row of the source control panel, and the buttons that stand in the row.

import { html } from 'htm/preact';
import { showMenu } from '../../shell/menus.js';
import { icon } from '../../shell/icons.js';
import { activate, copyRowPath, idOfRow, mayOpenFile, openRowFile, revealRow } from './actions.js';
import { keepingPlace } from './place.js';
import { discardRow, isConflict, mayDiscard, mayStage, mayUnstage, stageRow, unstageRow } from './work.js';

/** @typedef {import('../../stores/gitrows.js').GitRow} GitRow */
/** @typedef {import('../../shell/menus.js').MenuItem} MenuItem */

/**
 * @typedef {object} RowAction
 * @property {(row: GitRow) => boolean} may
 * @property {(row: GitRow) => Promise<unknown>} run
 * @property {string} key
 * @property {string} keys the key as shown
 * @property {string} icon
 * @property {(row: GitRow) => string} label
 */

/** @param {GitRow} row */
const all = (row) => (row.change ? '' : ' All');

/** @type {RowAction[]} */
const kActions = [
  {
    may: mayDiscard,
    run: discardRow,
    key: 'Delete',
    keys: 'Delete',
    icon: 'discard',
    label: (row) => (row.group?.id === 'untracked' ? `Delete${all(row)}…` : `Discard${all(row)} Changes…`),
  },
  { may: mayUnstage, run: unstageRow, key: '-', keys: '-', icon: 'remove', label: (row) => `Unstage${all(row)}` },
  {
    may: mayStage,
    run: stageRow,
    key: '+',
    keys: '+',
    icon: 'add',
    label: (row) => (isConflict(row) ? `Mark${all(row)} as Resolved` : `Stage${all(row)}`),
  },
];

/**
 * Does what a key means on a row.
 * @param {string} key
 * @param {GitRow} row
 */
export function actByKey(key, row) {
  const action = kActions.find((one) => one.key === key && one.may(row));
  if (!action) return false;
  void keepingPlace(row, () => action.run(row));
  return true;
}

/** For the mouse only: by keyboard, the keys and the menu do the same. @param {{row: GitRow}} props */
export function RowButtons({ row }) {
  const actions = kActions.filter(({ may }) => may(row));
  if (actions.length === 0) return null;
  return html`<span class="scm-buttons">
    ${actions.map(
      (action) => html`<button
        type="button"
        class="icon-button"
        tabindex="-1"
        title=${`${action.label(row)} (${action.keys})`}
        onClick=${(/** @type {MouseEvent} */ event) => {
          event.stopPropagation();
          void keepingPlace(row, () => action.run(row));
        }}
        onDblClick=${(/** @type {MouseEvent} */ event) => event.stopPropagation()}
      >
        ${icon(isConflict(row) ? 'check' : action.icon)}
      </button>`,
    )}
  </span>`;
}

/**
 * @param {number} x
 * @param {number} y
 * @param {GitRow} row
 */
export function showRowMenu(x, y, row) {
  void showMenu({ x, y, label: 'Source control', items: rowMenu(row) });
}

/**
 * @param {GitRow} row
 * @returns {MenuItem[]}
 */
function rowMenu(row) {
  const separator = { kind: /** @type {const} */ ('separator') };
  const items = [...openItems(row), separator, ...actionItems(row), separator];
  if (!row.group && row.repo.isRepo) items.push(...repoItems(row), separator);
  if (!row.group || row.change) items.push({ label: 'Copy Path', run: () => copyRowPath(row) });
  return [...items, separator, { command: 'scm.refresh' }];
}

/**
 * @param {GitRow} row
 * @returns {MenuItem[]}
 */
function openItems(row) {
  if (!row.change) return [{ label: row.expanded ? 'Fold' : 'Unfold', run: () => activate(row) }];
  const inWorkspace = mayOpenFile(row);
  /** @type {MenuItem[]} */
  const items = [
    { label: isConflict(row) ? 'Open Conflict Editor' : 'Open Changes', run: () => activate(row) },
    { label: 'Open File', run: () => openRowFile(row), enabled: inWorkspace },
  ];
  // The name of a conflict may be cut.
  if (isConflict(row)) return items;
  return [
    ...items,
    { kind: 'separator' },
    { command: 'explorer.show', arg: idOfRow(row), label: 'Show in Explorer', enabled: inWorkspace },
    { label: 'Reveal in File Manager', run: () => revealRow(row), enabled: inWorkspace },
  ];
}

/**
 * @param {GitRow} row
 * @returns {MenuItem[]}
 */
function actionItems(row) {
  return kActions
    .filter(({ may }) => may(row))
    .reverse()
    .map(({ label, keys, run }) => ({ label: label(row), keys, run: () => keepingPlace(row, () => run(row)) }));
}

const kRepoCommands = [
  'scm.push',
  'scm.pull',
  'scm.fetch',
  '',
  'scm.switchBranch',
  'scm.createBranch',
  'scm.merge',
  '',
  'graph.show',
  'graph.stash',
  'graph.stashes',
  'graph.undo',
  'graph.abort',
];

/**
 * @param {GitRow} row
 * @returns {MenuItem[]}
 */
function repoItems({ repo }) {
  return kRepoCommands.map((command) => (command ? { command, arg: repo } : { kind: 'separator' }));
}

/** @param {Element} anchor */
export function showActionsMenu(anchor) {
  const items = kRepoCommands.map((command) => (command ? { command } : { kind: /** @type {const} */ ('separator') }));
  void showMenu({ anchor, label: 'Source control actions', items });
}
