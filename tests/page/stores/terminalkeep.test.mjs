import assert from 'node:assert/strict';
import { test } from 'node:test';
import { ALL_CHARS, keepList, keepText, keptList, keptText, TEXT_CHARS } from '../../../web/stores/terminalkeep.js';

/** The storage of a tab, which holds only so much. */
function storage(limit = Infinity) {
  const map = new Map();
  return {
    get length() {
      return map.size;
    },
    key: (i) => [...map.keys()][i] ?? null,
    getItem: (name) => map.get(name) ?? null,
    setItem: (name, value) => {
      if (value.length > limit) throw new Error('quota');
      map.set(name, value);
    },
    removeItem: (name) => map.delete(name),
  };
}
const one = { key: 't1', id: 'term1', kind: 'shell', title: 'Shell', cwd: '/x', code: null };

test('terminal keep: the list comes back in the same run only', () => {
  const kept = storage();
  keepList(kept, 'run1', { terminals: [one], layout: { groups: [] } });
  assert.deepEqual(keptList(kept, 'run1'), { terminals: [one], layout: { groups: [] } });
  assert.deepEqual(keptList(kept, 'run2').terminals, [], 'ids begin again with each run');
  assert.deepEqual(keptList(storage(), 'run1').terminals, []);
});

test('terminal keep: what makes no sense is left out', () => {
  const kept = storage();
  for (const text of ['', '{', '7', 'null', '{"session":"r"}', '{"session":"r","terminals":7}']) {
    kept.setItem('marlin-terminals', text);
    assert.deepEqual(keptList(kept, 'r').terminals, [], text);
  }
  const odd = [null, {}, { ...one, id: '' }, { ...one, kind: 'x' }, { ...one, code: 'x' }, { ...one, title: 1 }];
  kept.setItem('marlin-terminals', JSON.stringify({ session: 'r', terminals: [...odd, one] }));
  assert.deepEqual(keptList(kept, 'r').terminals, [one]);
});

test('terminal keep: the text of a closed terminal goes', () => {
  const kept = storage();
  keepText(kept, 't1', () => 'one', 0);
  keepText(kept, 't2', () => 'two', 0);
  keepList(kept, 'r', { terminals: [one], layout: null });
  assert.equal(keptText(kept, 't1'), 'one');
  assert.equal(keptText(kept, 't2'), '');
});

test('terminal keep: a text too long is kept with fewer rows', () => {
  const kept = storage();
  const asked = [];
  const serialize = (rows) => {
    asked.push(rows);
    return 'x'.repeat(rows * 1000);
  };
  assert.equal(keepText(kept, 't1', serialize, 1000), true);
  assert.deepEqual(asked, [1000, 500, 250]);
  assert.ok(keptText(kept, 't1').length <= TEXT_CHARS);
  assert.equal(keepText(kept, 't1', () => 'x'.repeat(TEXT_CHARS + 1), 8), false, 'even the screen alone is too long');
  assert.equal(keptText(kept, 't1'), '');
});

test('terminal keep: all texts together have a bound, and a full storage is no failure', () => {
  const kept = storage();
  for (let i = 0; i < 10; i++) keepText(kept, `t${i}`, () => 'x'.repeat(TEXT_CHARS), 0);
  let all = 0;
  for (let i = 0; i < 10; i++) all += keptText(kept, `t${i}`).length;
  assert.ok(all <= ALL_CHARS && all >= ALL_CHARS - TEXT_CHARS, String(all));
  const full = storage(100);
  assert.equal(keepText(full, 't1', (rows) => 'x'.repeat(10 + rows), 1000), true);
  assert.ok(keptText(full, 't1').length <= 100);
});
