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

test('layout: zen mode puts everything away, and what is opened in it does not outlive it', async () => {
  const first = await fresh('zen');
  first.registerPanel(panel('files', 'side'));
  first.registerPanel(panel('log', 'bottom'));
  first.registerPanel(panel('chat', 'right'));
  first.showPanel('log');
  first.resizePlace('bottom', 20);
  const before = first.layout.value;
  const kept = get('layout', {});
  first.setZen(true);
  assert.equal(first.zen.value, true);
  assert.deepEqual(first.visible.value, { side: false, bottom: false, right: false });
  first.showPanel('chat');
  first.resizePlace('right', 30);
  assert.equal(first.visible.value.right, true);
  assert.deepEqual(get('layout', {}), kept, 'what was there is what comes back, also after a restart');

  const again = await fresh('zenagain');
  again.loadLayout();
  again.registerPanel(panel('log', 'bottom'));
  assert.equal(again.zen.value, true, 'a reload goes on in zen mode');
  assert.equal(again.visible.value.bottom, false);
  again.setZen(false);
  assert.equal(again.visible.value.bottom, true);
  assert.equal(again.layout.value.bottom.size, 20);
  assert.equal(get('zen', 'none'), 'none');

  first.setZen(true);
  first.setZen(false);
  first.setZen(false);
  assert.deepEqual(first.layout.value, before);
  set('zen', 'yes');
  const odd = await fresh('zenodd');
  odd.loadLayout();
  assert.equal(odd.zen.value, false);
  set('zen', undefined);
});
