import assert from 'node:assert/strict';
import { test } from 'node:test';
import {
  activePane,
  addGroup,
  EMPTY,
  groupBeside,
  paneBeside,
  removePane,
  showPane,
  soundLayout,
  splitPane,
} from '../../../web/stores/terminallayout.js';

/** Tabs with their panes, the front ones marked. */
const shape = ({ groups, active }) =>
  groups.map(({ id, panes, active: front }) => (id === active ? '*' : '') + panes.map((key) => (key === front ? `[${key}]` : key)).join('')).join(' ');
const build = (...steps) => steps.reduce((layout, step) => step(layout), EMPTY);
const add = (key) => (layout) => addGroup(layout, key);
const split = (beside, key) => (layout) => splitPane(layout, beside, key);

test('terminal layout: tabs and panes beside each other', () => {
  const layout = build(add('a'), add('b'), split('a', 'c'), split('a', 'd'));
  assert.equal(shape(layout), '*a[d]c [b]');
  assert.equal(activePane(layout), 'd');
  assert.equal(shape(splitPane(layout, 'gone', 'e')), 'a[d]c [b] *[e]');
  assert.equal(activePane(EMPTY), '');
});

test('terminal layout: showing a pane brings its tab to the front', () => {
  const layout = build(add('a'), split('a', 'b'), add('c'));
  assert.equal(shape(showPane(layout, 'a')), '*[a]b [c]');
  assert.equal(showPane(layout, 'gone'), layout);
});

test('terminal layout: what is closed leaves its neighbour in front', () => {
  const layout = build(add('a'), add('b'), split('b', 'c'), add('d'));
  assert.equal(shape(removePane(layout, 'd')), '[a] *b[c]');
  assert.equal(shape(removePane(layout, 'c')), '[a] [b] *[d]');
  assert.equal(shape(removePane(removePane(layout, 'd'), 'c')), '[a] *[b]');
  assert.equal(shape(removePane(build(add('a')), 'a')), '');
  assert.equal(removePane(layout, 'gone'), layout);
  const named = build(add('a'), split('a', 'b'));
  assert.equal(activePane(removePane(named, 'a')), 'b', 'the pane that gave the tab its name may go');
});

test('terminal layout: next and previous go round', () => {
  const layout = build(add('a'), split('a', 'b'), split('b', 'c'), add('d'));
  const inFirst = showPane(layout, 'c');
  assert.equal(paneBeside(inFirst, 1), 'a');
  assert.equal(paneBeside(inFirst, -1), 'b');
  assert.equal(groupBeside(inFirst, 1), 'd');
  assert.equal(groupBeside(layout, 1), 'c');
  assert.equal(groupBeside(EMPTY, 1), '');
  assert.equal(paneBeside(EMPTY, 1), '');
});

test('terminal layout: a kept layout comes back with the terminals that exist', () => {
  const layout = build(add('a'), split('a', 'b'), add('c'));
  assert.equal(shape(soundLayout(JSON.parse(JSON.stringify(layout)), ['a', 'b', 'c'])), 'a[b] *[c]');
  assert.equal(shape(soundLayout(layout, ['b', 'x'])), '*[b] [x]');
  for (const odd of [null, 7, { groups: 'x' }, { groups: [null, { panes: 3 }] }, { groups: [{ panes: ['a', 'a'] }] }]) {
    assert.equal(shape(soundLayout(odd, ['a'])), '*[a]', JSON.stringify(odd));
  }
  assert.equal(shape(soundLayout(layout, [])), '');
});
