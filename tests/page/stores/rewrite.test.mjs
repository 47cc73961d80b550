import assert from 'node:assert/strict';
import { test } from 'node:test';
import { askRewrite, contextOf, fitted, placeOf, stepsOf, textIn } from '../../../web/stores/rewrite.js';
import { startBridge } from '../support/bridge.mjs';

const lines = ['one', '  two', 'three', 'four'];
const place = (line, column, endLine, endColumn) => ({ line, column, endLine, endColumn });

test('rewrite: a selection means itself, whole lines, or the line of the cursor', () => {
  assert.deepEqual(placeOf(lines, place(2, 3, 2, 6)), place(2, 3, 2, 6));
  assert.deepEqual(placeOf(lines, place(2, 4, 2, 4)), place(2, 1, 2, 6));
  assert.deepEqual(placeOf(lines, place(1, 2, 3, 2)), place(1, 1, 3, 6));
  assert.deepEqual(placeOf(lines, place(1, 2, 3, 1)), place(1, 1, 2, 6));
  assert.equal(textIn(lines, place(2, 3, 2, 6)), 'two');
  assert.equal(textIn(lines, place(1, 1, 3, 6)), 'one\n  two\nthree');
  assert.equal(contextOf(lines, place(2, 1, 3, 6)), 'one\n(the code to rewrite stands here)\nfour');
  assert.equal(contextOf(['x'], place(1, 1, 1, 2)), '');
});

test('rewrite: an answer loses its fence and gets the ends of the code', () => {
  const rows = [
    ['new\n', 'old', 'new'],
    ['\n\n  new\n\n', '  old', '  new'],
    ['```js\nnew\n```\n', 'old\n', 'new\n'],
    ['```\na\n```\ntext\n```\nb\n```', 'old', '```\na\n```\ntext\n```\nb\n```'],
    ['a\r\nb\r\n', 'old', 'a\nb'],
    ['new', '\n\n old  \n\n', '\n\nnew  \n\n'],
    ['new', '  \n', 'new'],
    ['', 'old\n', '\n'],
  ];
  for (const [answer, code, expected] of rows) assert.equal(fitted(answer, code), expected, JSON.stringify(answer));
});

test('rewrite: the steps are those between the lines, with what stands beside a part of a line', () => {
  assert.deepEqual(stepsOf(lines, place(2, 3, 2, 6), 'TWO'), [{ line: 2, count: 1, added: ['  TWO'] }]);
  assert.deepEqual(stepsOf(lines, place(1, 1, 4, 5), 'one\n  two\nnew\nthree'), [
    { line: 3, count: 0, added: ['new'] },
    { line: 4, count: 1, added: [] },
  ]);
  assert.deepEqual(stepsOf(lines, place(1, 1, 4, 5), lines.join('\n')), []);
});

test('rewrite: the language is always sent', async () => {
  const bridge = await startBridge(() => ({ body: { ok: true, result: 'new\n' } }));
  const signal = new AbortController().signal;
  const what = { instruction: 'do', code: 'old', path: 'p/a.c', context: '' };
  assert.equal(await askRewrite({ ...what, language: 'c' }, signal), 'new');
  await askRewrite({ ...what, language: '' }, signal);
  const sent = bridge.asked.map(({ body }) => JSON.parse(body));
  assert.deepEqual(sent[0], { ...what, language: 'c' });
  assert.equal(sent[1].language, 'plaintext');
});
