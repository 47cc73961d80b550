// The editor area as data: groups of tabs and how they lie beside each other. Every function takes a state
// and gives a new one, so a layout can be compared, kept and tested without a page.

import { isDiff } from './gitdiffs.js';

/**
 * @typedef {'text' | 'markdown' | 'compare' | 'plan' | 'page' | import('./gitdiffs.js').DiffKind} TabKind
 * @typedef {object} Tab
 * @property {string} key kind and id, unique in its group
 * @property {TabKind} kind
 * @property {string} id workspace path, or the id of an untitled page
 * @property {boolean} preview shown in italics; the next preview takes its place
 *
 * @typedef {object} Group
 * @property {string} id
 * @property {Tab[]} tabs
 * @property {string} active key of the tab in front; "" for none
 * @property {string[]} recent keys, the latest last
 *
 * @typedef {{group: string} | {direction: 'row' | 'column', sizes: number[], children: Layout[]}} Layout
 * @typedef {{kind: TabKind, id: string, group: string, index: number}} ClosedTab
 *
 * @typedef {object} Tabs
 * @property {Group[]} groups
 * @property {Layout} layout
 * @property {string} active id of the group that has the focus
 * @property {ClosedTab[]} closed the latest last
 */

const kClosedKept = 30;

/** @returns {Tabs} */
export function emptyTabs() {
  return { groups: [newGroup('g1')], layout: { group: 'g1' }, active: 'g1', closed: [] };
}

/**
 * @param {string} id
 * @returns {Group}
 */
function newGroup(id) {
  return { id, tabs: [], active: '', recent: [] };
}

/**
 * @param {TabKind} kind
 * @param {string} id
 */
export function tabKey(kind, id) {
  return `${kind}:${id}`;
}

/**
 * @param {Tabs} state
 * @param {string} [id]
 */
export function groupOf(state, id = state.active) {
  return state.groups.find((group) => group.id === id) ?? /** @type {Group} */ (state.groups[0]);
}

/**
 * The tab in front.
 * @param {Tabs} state
 * @param {string} [group]
 */
export function activeTab(state, group = state.active) {
  const found = groupOf(state, group);
  return found.tabs.find((tab) => tab.key === found.active) ?? null;
}

/**
 * The id under which a plan is shown. Like an untitled page's it has no slash, so it is no file's.
 * @param {string} question the id of the question that the plan waits in
 */
export function planTabId(question) {
  return `plan:${encodeURIComponent(question)}`;
}

/** The question that a plan's tab shows. @param {string} id */
export function planOfTab(id) {
  try {
    return decodeURIComponent(id.slice('plan:'.length));
  } catch {
    return ''; // a kept text that nobody here has written
  }
}

const kPageId = /^page:([a-z]+):(.*)$/;

/**
 * The id of a page that a panel shows as a tab. It has no slash either.
 * @param {string} name of the page, as it was registered
 * @param {string} arg which one it shows
 */
export function pageTabId(name, arg) {
  return `page:${name}:${encodeURIComponent(arg)}`;
}

/**
 * @param {string} id
 * @returns {{name: string, arg: string} | null} null for what is no such page
 */
export function pageOfId(id) {
  const [, name = '', arg = ''] = kPageId.exec(id) ?? [];
  try {
    return name ? { name, arg: decodeURIComponent(arg) } : null;
  } catch {
    return null;
  }
}

/** @param {Tabs} state */
export function allTabs(state) {
  return state.groups.flatMap((group) => group.tabs);
}

/**
 * @param {Tabs} state
 * @param {Group} changed
 * @returns {Tabs}
 */
function withGroup(state, changed) {
  return { ...state, groups: state.groups.map((group) => (group.id === changed.id ? changed : group)) };
}

/**
 * @param {Group} group
 * @param {string} key
 * @returns {Group}
 */
function withFront(group, key) {
  return { ...group, active: key, recent: [...group.recent.filter((each) => each !== key), key] };
}

/**
 * Shows a tab: the one there is, or a new one right of the one in front. A preview takes the place of the
 * group's preview; opening a preview for good keeps it.
 * @param {Tabs} state
 * @param {{kind: TabKind, id: string, preview?: boolean, group?: string, index?: number}} wanted
 * @returns {{state: Tabs, replaced: Tab | null}}
 */
export function openTab(state, { kind, id, preview = false, group: groupId, index }) {
  const group = groupOf(state, groupId);
  const key = tabKey(kind, id);
  const there = group.tabs.find((tab) => tab.key === key);
  /** @type {Tab} */
  const tab = { key, kind, id, preview: preview && (there?.preview ?? true) };
  const replaced = there || !preview ? null : (group.tabs.find((each) => each.preview) ?? null);
  const tabs = there
    ? group.tabs.map((each) => (each === there ? tab : each))
    : placed(group, tab, replaced, index);
  const gone = replaced ? replaced.key : '';
  const recent = group.recent.filter((each) => each !== gone);
  const next = withFront({ ...group, tabs, recent }, key);
  return { state: { ...withGroup(state, next), active: group.id }, replaced };
}

/**
 * @param {Group} group
 * @param {Tab} tab
 * @param {Tab | null} replaced
 * @param {number} [index]
 */
function placed(group, tab, replaced, index) {
  if (replaced) return group.tabs.map((each) => (each === replaced ? tab : each));
  const front = group.tabs.findIndex((each) => each.key === group.active);
  const at = index ?? (front < 0 ? group.tabs.length : front + 1);
  return group.tabs.toSpliced(Math.max(0, Math.min(at, group.tabs.length)), 0, tab);
}

/**
 * @param {Tabs} state
 * @param {string} groupId
 * @param {string} key
 * @returns {Tabs}
 */
export function focusTab(state, groupId, key) {
  const group = groupOf(state, groupId);
  if (!group.tabs.some((tab) => tab.key === key)) return { ...state, active: group.id };
  return { ...withGroup(state, withFront(group, key)), active: group.id };
}

/**
 * Makes a preview stay, in every group.
 * @param {Tabs} state
 * @param {string} key
 * @returns {Tabs}
 */
export function keepTab(state, key) {
  if (!allTabs(state).some((tab) => tab.key === key && tab.preview)) return state;
  const groups = state.groups.map((group) => ({
    ...group,
    tabs: group.tabs.map((tab) => (tab.key === key ? { ...tab, preview: false } : tab)),
  }));
  return { ...state, groups };
}

/**
 * Closes a tab. The one that was in front before comes back; a group that runs empty goes, but the last one stays.
 * @param {Tabs} state
 * @param {string} groupId
 * @param {string} key
 * @returns {Tabs}
 */
export function closeTab(state, groupId, key) {
  const group = groupOf(state, groupId);
  const index = group.tabs.findIndex((tab) => tab.key === key);
  const tab = group.tabs[index];
  if (!tab) return state;
  const tabs = group.tabs.toSpliced(index, 1);
  const recent = group.recent.filter((each) => each !== key);
  const beside = tabs[Math.min(index, tabs.length - 1)]?.key ?? '';
  const active = group.active === key ? (recent.at(-1) ?? beside) : group.active;
  const next = withGroup(state, { ...group, tabs, recent, active });
  const closed = remembered(state.closed, { kind: tab.kind, id: tab.id, group: group.id, index });
  return tabs.length === 0 ? dropGroup({ ...next, closed }, group.id) : { ...next, closed };
}

/**
 * @param {ClosedTab[]} closed
 * @param {ClosedTab} tab
 */
function remembered(closed, tab) {
  if (tab.kind === 'compare' || tab.kind === 'plan') return closed;
  const others = closed.filter((each) => each.kind !== tab.kind || each.id !== tab.id);
  return [...others, tab].slice(-kClosedKept);
}

/**
 * Takes the tab that was closed last off the list.
 * @param {Tabs} state
 * @returns {{state: Tabs, tab: ClosedTab | null}}
 */
export function takeClosed(state) {
  const tab = state.closed.at(-1) ?? null;
  return { state: { ...state, closed: state.closed.slice(0, -1) }, tab };
}

/**
 * The tabs that are to be closed, for "others", "right" and "all".
 * @param {Group} group
 * @param {string} key
 * @param {'others' | 'right' | 'all'} which
 */
export function tabsToClose(group, key, which) {
  if (which === 'all') return group.tabs;
  const index = group.tabs.findIndex((tab) => tab.key === key);
  return group.tabs.filter((tab, at) => (which === 'right' ? at > index : tab.key !== key));
}

/**
 * Puts a tab elsewhere: within its group, or into another one.
 * @param {Tabs} state
 * @param {string} fromId
 * @param {string} key
 * @param {string} toId
 * @param {number} index
 * @returns {Tabs}
 */
export function moveTab(state, fromId, key, toId, index) {
  const from = groupOf(state, fromId);
  const at = from.tabs.findIndex((tab) => tab.key === key);
  const tab = from.tabs[at];
  if (!tab) return state;
  if (fromId === toId) {
    const rest = from.tabs.toSpliced(at, 1);
    const to = index > at ? index - 1 : index;
    return focusTab(withGroup(state, { ...from, tabs: rest.toSpliced(to, 0, tab) }), fromId, key);
  }
  const opened = openTab(state, { ...tab, group: toId, index, preview: false }).state;
  const moved = { ...closeTab(opened, fromId, key), closed: state.closed };
  return { ...moved, active: toId };
}

/**
 * A new group beside one, with the tab in front shown in it too.
 * @param {Tabs} state
 * @param {'row' | 'column'} direction
 * @param {string} [groupId]
 * @returns {Tabs}
 */
export function splitGroup(state, direction, groupId = state.active) {
  const source = groupOf(state, groupId);
  const id = freshGroupId(state);
  const tab = activeTab(state, source.id);
  const group = newGroup(id);
  if (tab) Object.assign(group, withFront({ ...group, tabs: [{ ...tab, preview: false }] }, tab.key));
  const layout = insertBeside(state.layout, source.id, id, direction);
  return { ...state, groups: [...state.groups, group], layout, active: id };
}

/** @param {Tabs} state */
function freshGroupId(state) {
  const used = state.groups.map((group) => Number(group.id.slice(1)) || 0);
  return `g${Math.max(0, ...used) + 1}`;
}

/**
 * @param {Layout} layout
 * @param {string} beside
 * @param {string} id
 * @param {'row' | 'column'} direction
 * @returns {Layout}
 */
function insertBeside(layout, beside, id, direction) {
  if ('group' in layout) {
    if (layout.group !== beside) return layout;
    return { direction, sizes: [0.5, 0.5], children: [layout, { group: id }] };
  }
  const at = layout.children.findIndex((child) => 'group' in child && child.group === beside);
  if (at < 0 || layout.direction !== direction) {
    const children = layout.children.map((child) => insertBeside(child, beside, id, direction));
    return { ...layout, children };
  }
  const half = /** @type {number} */ (layout.sizes[at]) / 2;
  const sizes = layout.sizes.toSpliced(at, 1, half, half);
  return { ...layout, sizes, children: layout.children.toSpliced(at + 1, 0, { group: id }) };
}

/**
 * @param {Tabs} state
 * @param {string} id
 * @returns {Tabs}
 */
function dropGroup(state, id) {
  if (state.groups.length === 1) return state;
  const groups = state.groups.filter((group) => group.id !== id);
  const layout = /** @type {Layout} */ (without(state.layout, id));
  const active = state.active === id ? firstGroup(layout) : state.active;
  return { ...state, groups, layout, active };
}

/**
 * @param {Layout} layout
 * @param {string} id
 * @returns {Layout | null}
 */
function without(layout, id) {
  if ('group' in layout) return layout.group === id ? null : layout;
  /** @type {Layout[]} */
  const children = [];
  /** @type {number[]} */
  const sizes = [];
  layout.children.forEach((child, index) => {
    const kept = without(child, id);
    if (!kept) return;
    children.push(kept);
    sizes.push(/** @type {number} */ (layout.sizes[index]));
  });
  if (children.length < 2) return children[0] ?? null;
  return { ...layout, children, sizes: shares(sizes) };
}

/**
 * Sizes that add up to one.
 * @param {number[]} sizes
 */
function shares(sizes) {
  const total = sizes.reduce((sum, size) => sum + size, 0);
  return sizes.map((size) => (total > 0 ? size / total : 1 / sizes.length));
}

/**
 * The groups as they lie, for moving on with the keyboard.
 * @param {Layout} layout
 * @returns {string[]}
 */
export function groupOrder(layout) {
  return 'group' in layout ? [layout.group] : layout.children.flatMap(groupOrder);
}

/** @param {Layout} layout */
function firstGroup(layout) {
  return /** @type {string} */ (groupOrder(layout)[0]);
}

/**
 * Moves the border behind child `index` of the split at `way`.
 * @param {Layout} layout
 * @param {readonly number[]} way indexes from the top
 * @param {number} index
 * @param {number} share of the split's length
 * @returns {Layout}
 */
export function resizeSplit(layout, way, index, share) {
  if ('group' in layout) return layout;
  if (way.length > 0) {
    const children = layout.children.map((child, at) =>
      at === way[0] ? resizeSplit(child, way.slice(1), index, share) : child,
    );
    return { ...layout, children };
  }
  const sizes = [...layout.sizes];
  const both = /** @type {number} */ (sizes[index]) + /** @type {number} */ (sizes[index + 1]);
  const least = Math.min(0.08, both / 2);
  sizes[index] = Math.max(least, Math.min(both - least, share));
  sizes[index + 1] = both - sizes[index];
  return { ...layout, sizes };
}

/**
 * Follows a rename.
 * @param {Tabs} state
 * @param {(id: string) => string} relabelId
 * @returns {Tabs}
 */
export function renameTabs(state, relabelId) {
  /** @param {string} key */
  const renamed = (key) => {
    const colon = key.indexOf(':');
    return key.slice(0, colon + 1) + relabelId(key.slice(colon + 1));
  };
  const groups = state.groups.map((group) => ({
    ...group,
    tabs: group.tabs.map((tab) => ({ ...tab, id: relabelId(tab.id), key: renamed(tab.key) })),
    active: group.active && renamed(group.active),
    recent: group.recent.map(renamed),
  }));
  return { ...state, groups, closed: state.closed.map((tab) => ({ ...tab, id: relabelId(tab.id) })) };
}

/**
 * A state that was kept, or an empty one. Whatever the text holds, the result is whole: every group is in
 * the layout once and every key fits its tab.
 * @param {any} kept
 * @returns {Tabs}
 */
export function restoreTabs(kept) {
  const groups = list(kept?.groups)
    .map(restoreGroup)
    .filter((group) => group !== null);
  const unique = groups.filter((group, at) => groups.findIndex((other) => other.id === group.id) === at);
  if (unique.length === 0) return emptyTabs();
  const ids = new Set(unique.map((group) => group.id));
  const layout = restoreLayout(kept.layout, ids) ?? { group: unique[0]?.id ?? 'g1' };
  const shown = groupOrder(layout);
  const state = {
    groups: unique.filter((group) => shown.includes(group.id)),
    layout,
    active: '',
    closed: [],
  };
  return { ...state, active: shown.includes(kept.active) ? kept.active : firstGroup(layout) };
}

/**
 * @param {any} kept
 * @returns {Group | null}
 */
function restoreGroup(kept) {
  if (typeof kept?.id !== 'string') return null;
  const group = newGroup(kept.id);
  for (const { kind, id, preview } of list(kept.tabs)) {
    const key = tabKey(kind, id);
    const known = kind === 'text' || kind === 'markdown' || kind === 'plan' || kind === 'page' || isDiff(kind);
    if (!known || typeof id !== 'string' || group.tabs.some((tab) => tab.key === key)) continue;
    group.tabs.push({ key, kind, id, preview: preview === true });
  }
  const front = group.tabs.find((tab) => tab.key === kept.active) ?? group.tabs[0];
  return front ? withFront(group, front.key) : group;
}

/**
 * Takes each id out of `free` as it is placed.
 * @param {any} kept
 * @param {Set<string>} free
 * @returns {Layout | null}
 */
function restoreLayout(kept, free) {
  if (typeof kept?.group === 'string') return free.delete(kept.group) ? { group: kept.group } : null;
  const children = list(kept?.children).map((child) => restoreLayout(child, free));
  const whole = children.filter((child) => child !== null);
  if (whole.length < 2) return whole[0] ?? null;
  const sizes = children.flatMap((child, at) => (child ? [Math.abs(Number(kept.sizes?.[at])) || 0] : []));
  const direction = kept.direction === 'column' ? 'column' : 'row';
  return {
    direction,
    sizes: shares(sizes.some((size) => size === 0) ? sizes.map(() => 1) : sizes),
    children: whole,
  };
}

/**
 * @param {any} value
 * @returns {any[]}
 */
function list(value) {
  return Array.isArray(value) ? value.filter((each) => each && typeof each === 'object') : [];
}
