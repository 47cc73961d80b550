import assert from 'node:assert/strict';
import { test } from 'node:test';
import { desktopTheme } from '../../../web/look/theme.js';
import { get, set } from '../../../web/stores/uistate.js';

const fresh = (name) => import(`../../../web/shell/layout.js?${name}`);
const panel = (id, place, order = 1) => ({ id, place, order, title: id, icon: 'x', component: () => null });

test('layout: a place without panels is not to be seen, whatever it was', async () => {
  const { registerPanel, togglePlace, visible } = await fresh('empty');
  assert.deepEqual(visible.value, { side: false, bottom: false, right: false });
  registerPanel(panel('files', 'side'));
  assert.equal(visible.value.side, true);
  togglePlace('right');
  assert.equal(visible.value.right, false);
});

test('layout: showing a panel opens its place, and the one in front is kept', async () => {
  const { activePanel, registerPanel, showPanel, visible } = await fresh('show');
  registerPanel(panel('log', 'bottom', 2));
  registerPanel(panel('jobs', 'bottom', 1));
  assert.equal(activePanel('bottom').id, 'jobs', 'the first by order before any was shown');
  showPanel('log');
  showPanel('unknown');
  assert.equal(visible.value.bottom, true);
  assert.equal(activePanel('bottom').id, 'log');
  assert.equal(get('layout', {}).bottom.active, 'log');
});

test('layout: sizes stay within their limits and come back as they were left', async () => {
  const { LIMITS, layout, resizePlace, togglePlace } = await fresh('resize');
  resizePlace('side', 1);
  assert.equal(layout.value.side.size, LIMITS.side.least);
  resizePlace('side', 999);
  assert.equal(layout.value.side.size, LIMITS.side.most);
  resizePlace('side', 20);
  togglePlace('side');
  const again = await fresh('again');
  again.loadLayout();
  assert.deepEqual(again.layout.value.side, { open: false, size: 20, active: '' });
});

test('layout: what makes no sense is as designed', async () => {
  for (const kept of [
    null,
    7,
    { side: null, bottom: { open: 'x', size: '9', active: 3 }, right: { size: 9999 } },
  ]) {
    set('layout', kept);
    const { LIMITS, layout, loadLayout } = await fresh(`sense-${JSON.stringify(kept)}`);
    loadLayout();
    assert.deepEqual(layout.value.bottom, { open: false, size: LIMITS.bottom.first, active: '' });
    assert.equal(layout.value.right.size, LIMITS.right.first);
    assert.equal(layout.value.side.open, true);
  }
});

test('theme: the desktop chooses among four', () => {
  assert.equal(desktopTheme({ light: false, contrast: false }), 'marlin-dark');
  assert.equal(desktopTheme({ light: true, contrast: false }), 'marlin-light');
  assert.equal(desktopTheme({ light: false, contrast: true }), 'marlin-contrast-dark');
  assert.equal(desktopTheme({ light: true, contrast: true }), 'marlin-contrast-light');
});
