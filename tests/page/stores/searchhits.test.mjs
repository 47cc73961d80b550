import assert from 'node:assert/strict';
import { test } from 'node:test';
import { hitOf, hitsOfText, placeOf, positionAt } from '../../../web/stores/searchhits.js';

const raw = (more) => ({ path: 'p/a', line: 1, column: 1, matchColumn: 1, length: 1, text: '', ...more });
const shown = (hit) => hit.text.slice(hit.from, hit.to);
const matches = (text, sought) => {
  const list = [];
  for (let at = text.indexOf(sought); at >= 0; at = text.indexOf(sought, at + 1))
    list.push({ from: at, to: at + sought.length });
  return list;
};

test('searchhits: byte columns lead to the match in the text that is shown', () => {
  const hit = hitOf(raw({ text: 'größe = 1;', column: 13, matchColumn: 11, length: 1 }));
  assert.equal(shown(hit), '1');
  assert.equal(shown(hitOf(raw({ text: '😀 äö', matchColumn: 6, length: 4 }))), 'äö');
});

test('searchhits: a text that was cut inside a character loses only what came of it', () => {
  const hit = hitOf(raw({ text: `${'a'.repeat(399)}\ufffd`, matchColumn: 398, length: 30 }));
  assert.equal(hit.text, 'a'.repeat(399));
  assert.equal(hit.cut, true);
  assert.equal(shown(hit), 'aa', 'a match is shown as far as the text goes');
  const behind = hitOf(raw({ text: 'a'.repeat(400), matchColumn: 900, length: 3 }));
  assert.deepEqual([behind.from, behind.to, behind.cut], [400, 400, true]);
  const own = hitOf(raw({ text: 'odd \ufffd', matchColumn: 1, length: 3 }));
  assert.deepEqual([own.text, own.cut], ['odd \ufffd', false], 'such a character of the file itself stays');
});

test('searchhits: hits made here are those that the native side would tell of', () => {
  const text = 'one\r\n\t  größe größe  \r\nlast größe';
  const hits = hitsOfText('p/a', text, matches(text, 'größe'));
  assert.deepEqual(
    hits.map(({ line, column, length, text: line1, from }) => [line, column, length, line1, from]),
    [
      [2, 4, 7, 'größe größe', 0],
      [2, 12, 7, 'größe größe', 6],
      [3, 6, 7, 'last größe', 5],
    ],
  );
  const [marked] = hitsOfText('p/a', 'größe', [{ from: 0, to: 5 }], { mark: true });
  assert.deepEqual([marked.column, marked.from], [4, 0], 'a mark counts in the column');
  const [long] = hitsOfText('p/a', `${'ä'.repeat(250)}x`, [{ from: 250, to: 251 }]);
  assert.deepEqual([long.column, long.text.length, long.cut], [501, 200, true]);
  const [across] = hitsOfText('p/a', 'ab\ncd', [{ from: 1, to: 4 }]);
  assert.deepEqual([across.length, shown(across)], [3, 'b']);
  const [end] = hitsOfText('p/a', 'ab\ncd', [{ from: 2, to: 3 }]);
  assert.deepEqual([end.line, end.column], [1, 3], 'a line end belongs to the line that it ends');
});

test('searchhits: each hit lies in its text again, until something else stands there', () => {
  const text = 'é x\nxé x\r\n  x\rx';
  const all = matches(text, 'x');
  for (const mark of [false, true]) {
    const hits = hitsOfText('p/a', text, all, { mark });
    assert.deepEqual(
      hits.map((hit) => placeOf(text, hit, { mark })),
      all,
    );
  }
  const [hit] = hitsOfText('p/a', 'a\nfoo', [{ from: 2, to: 5 }]);
  assert.equal(placeOf('a\nfxo', hit), null);
  assert.equal(placeOf('a\n fo', hit), null);
  assert.equal(placeOf('a', hit), null);
  assert.equal(placeOf('a\nfo', hit), null);
  const [across] = hitsOfText('p/a', 'foo\nbar', [{ from: 0, to: 7 }]);
  assert.equal(placeOf('foo', across), null, 'what is not in view must be there as well');
  // Natively found behind a byte order mark, which is part of the text there.
  const found = hitOf(raw({ text: '\ufefffoo', column: 4, matchColumn: 4, length: 3 }));
  assert.deepEqual(placeOf('foo', found, { mark: true }), { from: 0, to: 3 });
});

test('searchhits: the text editor ends its lines at every kind of line end', () => {
  const text = 'a\rb\r\nc\nd';
  const places = [...text].flatMap((letter, at) => (/\w/.test(letter) ? [positionAt(text, at)] : []));
  assert.deepEqual(
    places,
    [1, 2, 3, 4].map((line) => ({ line, column: 1 })),
  );
  assert.deepEqual(positionAt('ab\r\n', 3), { line: 1, column: 4 });
  assert.deepEqual(positionAt('ab\n', 3), { line: 2, column: 1 });
});
