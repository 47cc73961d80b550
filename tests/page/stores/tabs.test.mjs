import assert from 'node:assert/strict';
import { test } from 'node:test';
import * as T from '../../../web/stores/tabs.js';

const open = (state, id, more = {}) => T.openTab(state, { kind: 'text', id, ...more }).state;
const ids = (state, group) => T.groupOf(state, group).tabs.map((tab) => tab.id);

/** What holds for every state. */
function assertWhole(state) {
  const shown = T.groupOrder(state.layout);
  assert.deepEqual([...shown].sort(), state.groups.map((group) => group.id).sort());
  assert.ok(shown.includes(state.active));
  for (const group of state.groups) {
    const keys = group.tabs.map((tab) => tab.key);
    assert.equal(new Set(keys).size, keys.length);
    assert.ok(keys.length === 0 ? group.active === '' : keys.includes(group.active));
    assert.ok(group.recent.every((key) => keys.includes(key)));
    for (const tab of group.tabs) assert.equal(tab.key, T.tabKey(tab.kind, tab.id));
  }
}

test('tabs: a new tab comes right of the one in front and is in front', () => {
  let state = open(open(open(T.emptyTabs(), 'p/a'), 'p/b'), 'p/c');
  state = T.focusTab(state, 'g1', 'text:p/a');
  state = open(state, 'p/d');
  assert.deepEqual(ids(state), ['p/a', 'p/d', 'p/b', 'p/c']);
  assert.equal(T.activeTab(state)?.id, 'p/d');
});

test('tabs: opening again shows the tab there is', () => {
  const state = open(open(open(T.emptyTabs(), 'p/a'), 'p/b'), 'p/a');
  assert.deepEqual(ids(state), ['p/a', 'p/b']);
  assert.equal(T.activeTab(state)?.id, 'p/a');
});

test('tabs: a preview is replaced by the next one, and kept when it is opened for good', () => {
  let state = open(T.emptyTabs(), 'p/a');
  state = open(state, 'p/b', { preview: true });
  const next = T.openTab(state, { kind: 'text', id: 'p/c', preview: true });
  assert.deepEqual(ids(next.state), ['p/a', 'p/c']);
  assert.equal(next.replaced?.id, 'p/b');
  state = open(next.state, 'p/c');
  assert.equal(T.activeTab(state)?.preview, false);
  assert.deepEqual(ids(open(state, 'p/d', { preview: true })), ['p/a', 'p/c', 'p/d']);
  assert.equal(T.activeTab(open(state, 'p/c', { preview: true }))?.preview, false, 'it never turns back');
  assert.equal(T.keepTab(state, 'text:p/c'), state, 'nothing to do is no new state');
});

test('tabs: closing brings back the tab that was in front before', () => {
  let state = open(open(open(T.emptyTabs(), 'p/a'), 'p/b'), 'p/c');
  state = T.focusTab(state, 'g1', 'text:p/a');
  state = T.focusTab(state, 'g1', 'text:p/c');
  state = T.closeTab(state, 'g1', 'text:p/c');
  assert.equal(T.activeTab(state)?.id, 'p/a');
  state = T.closeTab(state, 'g1', 'text:p/b');
  assert.equal(T.activeTab(state)?.id, 'p/a', 'closing another one leaves the front alone');
  state = T.closeTab(state, 'g1', 'text:p/a');
  assert.equal(T.activeTab(state), null);
  assertWhole(state);
});

test('tabs: closed ones come back, the latest first, with their place', () => {
  let state = open(open(T.emptyTabs(), 'p/a'), 'p/b');
  state = T.closeTab(T.closeTab(state, 'g1', 'text:p/a'), 'g1', 'text:p/b');
  const first = T.takeClosed(state);
  assert.deepEqual(first.tab, { kind: 'text', id: 'p/b', group: 'g1', index: 0 });
  const second = T.takeClosed(first.state);
  assert.equal(second.tab?.id, 'p/a');
  assert.equal(T.takeClosed(second.state).tab, null);
});

test('tabs: closing others, to the right, all', () => {
  const state = open(open(open(T.emptyTabs(), 'p/a'), 'p/b'), 'p/c');
  const group = T.groupOf(state);
  const closing = (which) => T.tabsToClose(group, 'text:p/b', which).map((tab) => tab.id);
  assert.deepEqual(closing('others'), ['p/a', 'p/c']);
  assert.deepEqual(closing('right'), ['p/c']);
  assert.deepEqual(closing('all'), ['p/a', 'p/b', 'p/c']);
});

test('tabs: a split shows the same file beside; an empty group goes, but the last one stays', () => {
  let state = T.splitGroup(open(T.emptyTabs(), 'p/a'), 'row');
  assert.deepEqual(state.layout, {
    direction: 'row',
    sizes: [0.5, 0.5],
    children: [{ group: 'g1' }, { group: 'g2' }],
  });
  assert.deepEqual(ids(state, 'g2'), ['p/a']);
  assert.equal(state.active, 'g2');
  state = T.closeTab(state, 'g2', 'text:p/a');
  assert.deepEqual(state.layout, { group: 'g1' });
  assert.equal(state.active, 'g1');
  state = T.closeTab(state, 'g1', 'text:p/a');
  assert.equal(state.groups.length, 1);
  assertWhole(state);
});

test('tabs: splits in one direction share a row, across they nest', () => {
  let state = T.splitGroup(open(T.emptyTabs(), 'p/a'), 'row');
  state = T.splitGroup(state, 'row', 'g1');
  assert.deepEqual(T.groupOrder(state.layout), ['g1', 'g3', 'g2']);
  assert.deepEqual(state.layout.sizes, [0.25, 0.25, 0.5]);
  state = T.splitGroup(state, 'column', 'g2');
  assert.deepEqual(state.layout.children[2], {
    direction: 'column',
    sizes: [0.5, 0.5],
    children: [{ group: 'g2' }, { group: 'g4' }],
  });
  assertWhole(state);
  state = T.closeTab(state, 'g3', 'text:p/a');
  assert.deepEqual(
    state.layout.sizes.map((size) => Math.round(size * 100)),
    [33, 67],
  );
  assertWhole(state);
});

test('tabs: a border moves only its two neighbours and never over one of them', () => {
  const layout = {
    direction: 'row',
    sizes: [0.25, 0.25, 0.5],
    children: [{ group: 'a' }, { group: 'b' }, { group: 'c' }],
  };
  const near = (sizes, wanted) =>
    sizes.forEach((size, at) => assert.ok(Math.abs(size - wanted[at]) < 1e-9, String(sizes)));
  near(T.resizeSplit(layout, [], 0, 0.4).sizes, [0.4, 0.1, 0.5]);
  near(T.resizeSplit(layout, [], 0, 9).sizes, [0.42, 0.08, 0.5]);
  near(T.resizeSplit(layout, [], 1, -1).sizes, [0.25, 0.08, 0.67]);
  const nested = { direction: 'column', sizes: [0.5, 0.5], children: [{ group: 'x' }, layout] };
  near(T.resizeSplit(nested, [1], 0, 0.3).children[1].sizes, [0.3, 0.2, 0.5]);
});

test('tabs: moving within a group and into another one', () => {
  let state = open(open(open(T.emptyTabs(), 'p/a'), 'p/b'), 'p/c');
  state = T.moveTab(state, 'g1', 'text:p/a', 'g1', 3);
  assert.deepEqual(ids(state), ['p/b', 'p/c', 'p/a']);
  state = T.moveTab(state, 'g1', 'text:p/a', 'g1', 0);
  assert.deepEqual(ids(state), ['p/a', 'p/b', 'p/c']);
  state = T.splitGroup(state, 'row');
  state = T.moveTab(state, 'g1', 'text:p/b', 'g2', 0);
  assert.deepEqual(
    [ids(state, 'g1'), ids(state, 'g2')],
    [
      ['p/a', 'p/c'],
      ['p/b', 'p/a'],
    ],
  );
  assert.equal(state.active, 'g2');
  assert.equal(state.closed.length, 0, 'moving is not closing');
  state = T.moveTab(T.moveTab(state, 'g1', 'text:p/a', 'g2', 0), 'g1', 'text:p/c', 'g2', 0);
  assert.deepEqual(state.layout, { group: 'g2' });
  assertWhole(state);
});

test('tabs: a rename reaches tabs, front, history and closed ones', () => {
  let state = open(open(T.emptyTabs(), 'p/a'), 'p/b');
  state = T.closeTab(open(state, 'p/c'), 'g1', 'text:p/c');
  state = T.renameTabs(state, (id) => id.replace(/^p\//, 'q/'));
  assert.deepEqual(ids(state), ['q/a', 'q/b']);
  assert.equal(T.activeTab(state)?.id, 'q/b');
  assert.equal(state.closed[0].id, 'q/c');
  assertWhole(state);
});

test('tabs: what was kept comes back as it was', () => {
  let state = T.splitGroup(open(open(T.emptyTabs(), 'p/a'), 'p/b', { preview: true }), 'column');
  state = open(state, 'p/md', { kind: 'markdown' });
  const back = T.restoreTabs(JSON.parse(JSON.stringify(state)));
  assert.deepEqual(back.layout, state.layout);
  assert.deepEqual(
    back.groups.map((group) => group.tabs),
    state.groups.map((group) => group.tabs),
  );
  assert.equal(back.active, state.active);
  assertWhole(back);
});

test('tabs: whatever was kept, the result is whole', () => {
  const tab = { kind: 'text', id: 'p/a' };
  const bad = [
    null,
    1,
    [],
    {},
    { groups: [] },
    { groups: [{}] },
    { groups: [{ id: 'g1', tabs: 5 }] },
    {
      groups: [{ id: 'g1', tabs: [tab, tab, { kind: 'other', id: 'x' }, { kind: 'text', id: 3 }, null] }],
      layout: { group: 'nowhere' },
      active: 'x',
    },
    {
      groups: [
        { id: 'g1', tabs: [tab], active: 'text:gone' },
        { id: 'g1', tabs: [] },
      ],
      layout: { direction: 'row', children: [{ group: 'g1' }, { group: 'g1' }] },
    },
    {
      groups: [{ id: 'g1' }, { id: 'g2' }],
      layout: {
        direction: 'sideways',
        sizes: ['x', -2],
        children: [{ group: 'g1' }, { group: 'g2' }, null, { children: [] }],
      },
    },
  ];
  for (const kept of bad) assertWhole(T.restoreTabs(kept));
  const two = T.restoreTabs(bad.at(-1));
  assert.deepEqual(two.layout.sizes, [0.5, 0.5]);
});

test('tabs: pages of panels have ids of their own, and come back with the others', () => {
  const id = T.pageTabId('pull', 'a/b c:ä/7');
  assert.deepEqual(T.pageOfId(id), { name: 'pull', arg: 'a/b c:ä/7' });
  assert.ok(!id.includes('/'), 'it is no path of a file');
  for (const other of ['p/a', 'page:', 'page:pull', 'page:pull:%', 'untitled:1']) assert.equal(T.pageOfId(other), null);
  const state = T.openTab(open(T.emptyTabs(), 'p/a'), { kind: 'page', id }).state;
  const restored = T.restoreTabs(JSON.parse(JSON.stringify(state)));
  assert.deepEqual(ids(restored), ['p/a', id]);
  assert.equal(T.activeTab(restored)?.kind, 'page');
  const closed = T.takeClosed(T.closeTab(state, 'g1', T.tabKey('page', id)));
  assert.deepEqual([closed.tab?.kind, closed.tab?.id], ['page', id]);
});
