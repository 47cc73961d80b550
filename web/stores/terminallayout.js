// Which terminals stand beside each other: tabs, each a row of one or more panes. Values in, values out.

/**
 * @typedef {{id: string, panes: string[], active: string}} TerminalGroup `active` is one of `panes`
 * @typedef {{groups: TerminalGroup[], active: string}} TerminalLayout
 */

/** @type {TerminalLayout} */
export const EMPTY = { groups: [], active: '' };

/** @param {TerminalLayout} layout @param {string} [id] */
export const groupIn = (layout, id = layout.active) => layout.groups.find((group) => group.id === id);

/** The terminal in front; "" when there is none. @param {TerminalLayout} layout */
export const activePane = (layout) => groupIn(layout)?.active ?? '';

/** @param {TerminalLayout} layout @param {string} key @returns {TerminalLayout} */
export function addGroup(layout, key) {
  return { groups: [...layout.groups, { id: key, panes: [key], active: key }], active: key };
}

/**
 * Puts a terminal to the right of another; without that one it gets a tab of its own.
 * @param {TerminalLayout} layout @param {string} beside @param {string} key @returns {TerminalLayout}
 */
export function splitPane(layout, beside, key) {
  const group = layout.groups.find(({ panes }) => panes.includes(beside));
  if (!group) return addGroup(layout, key);
  const panes = [...group.panes];
  panes.splice(panes.indexOf(beside) + 1, 0, key);
  return withGroup({ ...layout, active: group.id }, { ...group, panes, active: key });
}

/** @param {TerminalLayout} layout @param {string} key @returns {TerminalLayout} */
export function showPane(layout, key) {
  const group = layout.groups.find(({ panes }) => panes.includes(key));
  return group ? withGroup({ ...layout, active: group.id }, { ...group, active: key }) : layout;
}

/**
 * Takes a terminal out; what stood beside it, or the next tab, comes to the front.
 * @param {TerminalLayout} layout @param {string} key @returns {TerminalLayout}
 */
export function removePane(layout, key) {
  const at = layout.groups.findIndex(({ panes }) => panes.includes(key));
  const group = layout.groups[at];
  if (!group) return layout;
  const panes = group.panes.filter((one) => one !== key);
  if (panes.length) {
    const next = panes[Math.min(group.panes.indexOf(key), panes.length - 1)];
    return withGroup(layout, { ...group, panes, active: group.active === key ? next : group.active });
  }
  const groups = layout.groups.filter((one) => one !== group);
  const active = layout.active === group.id ? (groups[Math.min(at, groups.length - 1)]?.id ?? '') : layout.active;
  return { groups, active };
}

/** The terminal beside the one in front, in a ring. @param {TerminalLayout} layout @param {1 | -1} step */
export function paneBeside(layout, step) {
  const group = groupIn(layout);
  if (!group) return '';
  const { panes, active } = group;
  return panes[(panes.indexOf(active) + step + panes.length) % panes.length];
}

/** The terminal in front of the next tab, in a ring. @param {TerminalLayout} layout @param {1 | -1} step */
export function groupBeside(layout, step) {
  const { groups, active } = layout;
  if (!groups.length) return '';
  const at = groups.findIndex(({ id }) => id === active);
  return groups[(at + step + groups.length) % groups.length].active;
}

/**
 * A layout read from outside, with only terminals that exist; those it lacks get tabs of their own.
 * @param {unknown} kept @param {readonly string[]} keys @returns {TerminalLayout}
 */
export function soundLayout(kept, keys) {
  const { groups: list, active } = /** @type {any} */ (kept ?? {});
  const left = new Set(keys);
  /** @type {TerminalGroup[]} */
  const groups = [];
  for (const group of Array.isArray(list) ? list : []) {
    const panes = (Array.isArray(group?.panes) ? group.panes : []).filter((/** @type {string} */ key) => left.delete(key));
    if (panes.length) groups.push({ id: panes[0], panes, active: panes.includes(group.active) ? group.active : panes[0] });
  }
  for (const key of left) groups.push({ id: key, panes: [key], active: key });
  const front = (Array.isArray(list) ? list : []).find((/** @type {any} */ group) => group?.id === active)?.panes?.[0];
  return { groups, active: (groups.find(({ panes }) => panes.includes(front)) ?? groups[0])?.id ?? '' };
}

/** @param {TerminalLayout} layout @param {TerminalGroup} group @returns {TerminalLayout} */
function withGroup(layout, group) {
  return { ...layout, groups: layout.groups.map((one) => (one.id === group.id ? group : one)) };
}
