// Calls, as language servers tell them.
import assert from 'node:assert/strict';
import { test } from 'node:test';
import { callItems, callsFrom } from '../../../web/stores/lspcalls.js';

const range = (line) => ({ start: { line, character: 0 }, end: { line, character: 4 } });
const raw = { name: 'fish', kind: 12, uri: 'file:///p/a.c', range: range(0), selectionRange: range(1), data: 5 };
const item = { name: 'fish', detail: '', kind: 12, path: '/p/a.c', range: range(1), raw };

test('lsp calls: what has no place is left out', () => {
  assert.deepEqual(callItems([raw, { ...raw, uri: 'jdt://x' }, { name: 'fish' }, null]), [item]);
  assert.deepEqual(callItems(null), []);
});

test('lsp calls: a caller is shown at each of its calls, what is called at its name', () => {
  const ranges = [range(7), {}, range(9)];
  const incoming = callsFrom([{ from: raw, fromRanges: ranges }, { to: raw }], 'incoming');
  assert.deepEqual(incoming.map(({ path, range: at }) => [path, at.start.line]), [
    ['/p/a.c', 7],
    ['/p/a.c', 9],
  ]);
  assert.deepEqual(incoming[0].item, item);
  assert.deepEqual(callsFrom([{ to: raw, fromRanges: ranges }], 'outgoing'), [{ item, path: '/p/a.c', range: range(1) }]);
  assert.deepEqual(callsFrom([{ from: raw }], 'incoming').map(({ range: at }) => at.start.line), [1]);
});
