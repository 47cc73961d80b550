import assert from 'node:assert/strict';
import { test } from 'node:test';
import * as basket from '../../../web/stores/basket.js';
import * as uistate from '../../../web/stores/uistate.js';

const place = (more = {}) => ({
  path: 'p/src/fish.c',
  side: 'new',
  from: 3,
  to: 4,
  quote: ['static int count;', 'int fish() { return count; }'],
  source: 'Working tree against Staged',
  jump: { command: 'basket.showLine', arg: { id: 'p/src/fish.c', kind: 'diff', side: 'new', line: 3 } },
  ...more,
});
const kept = () => uistate.get('basket.remarks', []);

test('basket: remarks are kept with their place until they are removed', () => {
  assert.equal(basket.addRemark(place(), '   '), 0, 'without words it is none');
  const id = basket.addRemark(place(), ' Call it fishes ');
  basket.addRemark(place({ from: 9, to: 9, side: 'old', jump: null }), 'Why did that go?');
  basket.loadBasket();
  assert.deepEqual(
    basket.remarks.value.map(({ from, side, text, jump }) => [from, side, text, jump?.command]),
    [[3, 'new', 'Call it fishes', 'basket.showLine'], [9, 'old', 'Why did that go?', undefined]],
  );
  assert.deepEqual(basket.remarks.value[0].jump, place().jump);
  assert.notEqual(basket.remarks.value[0].id, id, 'ids are of this run');
  basket.editRemark(basket.remarks.value[0].id, 'Call it shoal');
  assert.equal(kept()[0].text, 'Call it shoal');
  basket.removeRemark(basket.remarks.value[0].id);
  assert.deepEqual(kept().map(({ text }) => text), ['Why did that go?']);
});

test('basket: what was sent goes, what came meanwhile stays', () => {
  const sent = basket.remarks.value;
  basket.addRemark(place(), 'later');
  basket.removeSent(sent);
  assert.deepEqual(basket.remarks.value.map(({ text }) => text), ['later']);
  basket.removeSent(basket.remarks.value);
  assert.deepEqual(kept(), []);
});

test('basket: one message of all remarks, with their places and lines', () => {
  basket.addRemark(place(), 'Call it fishes');
  assert.equal(
    basket.messageOf(basket.remarks.value),
    'Please see to this remark of a review.\n\np/src/fish.c:3-4 (Working tree against Staged)\n\n' +
      '> static int count;\n> int fish() { return count; }\n\nCall it fishes',
  );
  basket.addRemark(place({ path: 'p/a.txt', from: 1, to: 1, side: 'old', quote: [''], source: 'task Fix' }), 'And\nthis');
  const message = basket.messageOf(basket.remarks.value);
  assert.match(message, /^Please see to these remarks of a review\.\n\n1\. p\/src\/fish\.c:3-4 \(/);
  assert.match(message, /\n\n2\. p\/a\.txt:1 \(task Fix, as it was before\)\n\n>\n\nAnd\nthis$/);
  basket.addRemark(place({ path: 'p/b.txt' }), 'x');
  assert.equal(basket.titleOf(basket.remarks.value), 'Review remarks on fish.c, a.txt and 1 more');
  assert.equal(basket.titleOf(basket.remarks.value.slice(0, 1)), 'Review remarks on fish.c');
});

test('basket: lines without a known number are told by their quote', () => {
  basket.removeSent(basket.remarks.value);
  basket.addRemark(place({ from: 0, to: 0, jump: null, source: 'an edit of Claude' }), 'Why?');
  assert.equal(basket.placeWords(basket.remarks.value[0]), 'p/src/fish.c');
  assert.match(basket.messageOf(basket.remarks.value), /\n\np\/src\/fish\.c \(an edit of Claude\)\n\n> static int count;/);
});

test('basket: long quotes are cut, and a basket that has no room says so', () => {
  basket.removeSent(basket.remarks.value);
  basket.addRemark(place({ quote: Array.from({ length: 100 }, (_, at) => `line ${at}`) }), 'long');
  assert.equal(basket.remarks.value[0].quote.length, basket.QUOTED_LINES);
  basket.editRemark(basket.remarks.value[0].id, 'x'.repeat(uistate.MAX_BYTES));
  assert.equal(basket.unsaved.value, true);
  assert.equal(basket.remarks.value.length, 1, 'it is still in the window');
  basket.removeSent(basket.remarks.value);
  assert.equal(basket.unsaved.value, false);
});

test('basket: nonsense that was kept is left out', () => {
  uistate.set('basket.remarks', [null, 4, {}, { path: 'a' }, { path: 'a', text: 'b', quote: [1, 'c'], from: 'x' }]);
  basket.loadBasket();
  assert.deepEqual(
    basket.remarks.value.map(({ path, text, quote, from }) => [path, text, quote, from]),
    [['a', 'b', ['', 'c'], 0]],
  );
});
