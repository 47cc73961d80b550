import assert from 'node:assert/strict';
import { test } from 'node:test';
import { CONTEXT, SHOWN_ROWS, lineDiff, lineOf } from '../../../web/stores/chatdiff.js';
import {
  LISTED,
  TRANSCRIPT_CHARS,
  forgotten,
  isSessionId,
  recorded,
  renamed,
  restoredHistory,
  titleFrom,
  transcriptLines,
  transcriptPath,
  transcriptText,
} from '../../../web/stores/chathistory.js';
import {
  inserted,
  mention,
  pathForClaude,
  selectedLines,
  typedAt,
} from '../../../web/stores/chatmentions.js';
import { MOST_PICTURES, PICTURE_BYTES, base64Of, pictureProblem } from '../../../web/stores/chatpictures.js';
import { edited, moved, newMessage, removed, restoredQueue } from '../../../web/stores/chatqueue.js';
import { KEPT_MESSAGES, noRecall, recalled, remembered } from '../../../web/stores/chatrecall.js';
import { settledLength } from '../../../web/stores/chattail.js';
import { changesOf, partialField, toolLook, toolName } from '../../../web/stores/chattools.js';
import {
  afterContextAnswer,
  afterMessage,
  afterResult,
  afterStart,
  costWords,
  emptyUsage,
  fullness,
  timeWords,
  tokenWords,
} from '../../../web/stores/chatusage.js';

const signs = ({ rows }) =>
  rows.map(({ kind, text }) => `${{ same: ' ', added: '+', removed: '-', gap: '~' }[kind]}${text}`);

test('chat diff: lines that stay, go and come', () => {
  assert.deepEqual(signs(lineDiff('a\nb\nc\n', 'a\nB\nc\n')), [' a', '-b', '+B', ' c']);
  assert.deepEqual(signs(lineDiff('', 'x\ny')), ['+x', '+y']);
  assert.deepEqual(signs(lineDiff('x\r\ny\r\n', '')), ['-x', '-y']);
  assert.deepEqual(signs(lineDiff('a\nb\nc\nd', 'b\nc\nx\nd')), ['-a', ' b', ' c', '+x', ' d']);
  const { added, removed: gone } = lineDiff('a\nb', 'b\nc\nd');
  assert.deepEqual([added, gone], [2, 1]);
});

test('chat diff: each line has its numbers in both texts, also behind a gap', () => {
  const numbers = ({ rows }) => rows.map(({ old, new: now }) => `${old}:${now}`);
  assert.deepEqual(numbers(lineDiff('a\nb\nc\n', 'a\nB\nx\nc\n')), ['1:1', '2:0', '0:2', '0:3', '3:4']);
  const many = Array.from({ length: 20 }, (_, i) => `line ${i}`);
  const rows = lineDiff(many.join('\n'), many.toSpliced(15, 1).toSpliced(2, 0, 'more').join('\n')).rows;
  assert.deepEqual(rows.filter(({ kind }) => kind === 'gap').map(({ old, new: now }) => [old, now]), [[0, 0]]);
  assert.deepEqual(rows.filter(({ kind }) => kind === 'removed'), [{ kind: 'removed', text: 'line 15', old: 16, new: 0 }]);
  assert.deepEqual([rows.at(-1).old, rows.at(-1).new], [19, 19]);
});

test('chat diff: a part of a file has a line while it is there once', () => {
  assert.equal(lineOf('a\nb\nc\n', 'b\nc'), 2);
  assert.equal(lineOf('a\nb\nc\n', 'a'), 1);
  assert.equal(lineOf('a\r\nb\rc', 'b\nc'), 2, 'whatever ends the lines');
  assert.equal(lineOf('one two\nthree', 'two'), 1);
  for (const [file, part] of [['a\nb\na', 'a'], ['aaa', 'aa'], ['a', 'x'], ['a', ''], ['', 'a']]) assert.equal(lineOf(file, part), 0);
});

test('chat diff: far from a change nothing is shown, and a long one is cut', () => {
  const many = Array.from({ length: 40 }, (_, i) => `line ${i}`);
  const changed = many.with(5, 'five').with(30, 'thirty');
  const rows = signs(lineDiff(many.join('\n'), changed.join('\n')));
  assert.equal(rows.filter((row) => row.startsWith('~')).length, 1);
  assert.equal(rows.filter((row) => row.startsWith(' ')).length, 4 * CONTEXT);
  const huge = lineDiff(many.join('\n'), Array.from({ length: 20000 }, (_, i) => `other ${i}`).join('\n'));
  assert.equal(huge.rows.length, SHOWN_ROWS + 1);
  assert.equal(huge.added, 20000);
});

test('chat tools: each known call is one line of words, any other is data', () => {
  const words = (name, input) => {
    const { label, detail, body } = toolLook(name, input);
    return [label, detail, body];
  };
  assert.deepEqual(words('Bash', { command: 'ls\npwd' }), ['Bash', 'ls …', 'command']);
  assert.deepEqual(words('Bash', { command: 'ls', description: 'List' }), ['Bash', 'List', 'command']);
  assert.deepEqual(words('Read', { file_path: '/p/a', offset: 10, limit: 5 }), [
    'Read',
    '/p/a, lines 10 to 14',
    'line',
  ]);
  assert.deepEqual(words('Grep', { pattern: 'x', path: 'src', glob: '*.c' }), [
    'Search',
    'x in src, *.c',
    'line',
  ]);
  assert.deepEqual(words('TodoWrite', { todos: [{ status: 'completed' }, {}] }), [
    'Tasks',
    '1 of 2 done',
    'tasks',
  ]);
  assert.deepEqual(words('hasOwnProperty', {}), ['hasOwnProperty', '', 'json']);
  assert.equal(toolName('mcp__data_base__run_query'), 'data_base: run_query');
  assert.equal(toolLook('Edit', { file_path: '/p/a.c' }).path, '/p/a.c');
});

test('chat tools: what the editing calls change', () => {
  assert.deepEqual(changesOf('Edit', { file_path: 'a', old_string: 'x', new_string: 'y' }), [
    { path: 'a', before: 'x', after: 'y' },
  ]);
  assert.deepEqual(changesOf('Write', { file_path: 'a', content: 'z' }), [
    { path: 'a', before: '', after: 'z' },
  ]);
  assert.equal(changesOf('MultiEdit', { edits: [{}, { old_string: 'a' }, 7] }).length, 3);
});

test('chat tools: a field is read from JSON that is still coming, wherever it is cut', () => {
  const json = JSON.stringify({ command: 'echo "a\\b"\n\u00e9\u0007 end', file_path: '/p/x' });
  const whole = JSON.parse(json).command;
  for (let at = 0; at <= json.length; at++) {
    const found = partialField(json.slice(0, at), 'command');
    assert.ok(whole.startsWith(found), `${JSON.stringify(found)} at ${at}`);
  }
  assert.equal(partialField(json, 'command'), whole);
  assert.equal(partialField(json, 'file_path'), '/p/x');
});

test('chat tail: a growing text is cut only where what stands before is settled', () => {
  const cases = [
    ['', ''],
    ['one line', ''],
    ['first\n\nsecond', 'first\n\n'],
    ['first\n\n', ''],
    ['- a\n\n- b', ''],
    ['- a\n\n  still a', ''],
    ['first\n\n```\ncode\n\nmore', 'first\n\n'],
    ['```\ncode\n\nmore\n```\n\nafter', '```\ncode\n\nmore\n```\n\n'],
    ['````\n```\n\nx\n````\n\nafter', '````\n```\n\nx\n````\n\n'],
    ['a\n\nb\n\nc', 'a\n\nb\n\n'],
  ];
  for (const [text, settled] of cases)
    assert.equal(text.slice(0, settledLength(text)), settled, JSON.stringify(text));
  const text = 'a\n\n```\nx\n\ny\n```\n\nb\n\n- c\n\nd';
  let before = 0;
  for (let at = 0; at <= text.length; at++) {
    const cut = settledLength(text.slice(0, at));
    assert.ok(cut >= before, `it never goes back, at ${at}`);
    before = cut;
  }
});

test('chat queue: edit, reorder, remove', () => {
  const queue = ['a', 'b', 'c'].map((text) => newMessage(text));
  const texts = (list) => list.map(({ text }) => text).join('');
  const [a, b, c] = queue.map(({ id }) => id);
  assert.equal(texts(moved(queue, c, 0)), 'cab');
  assert.equal(texts(moved(queue, a, 1)), 'bac');
  assert.equal(texts(moved(queue, a, 99)), 'bca');
  assert.equal(texts(moved(queue, b, -5)), 'bac');
  assert.equal(texts(moved(queue, 12345, 0)), 'abc');
  assert.equal(texts(edited(queue, b, 'B')), 'aBc');
  assert.equal(texts(edited(queue, b, '  ')), 'ac', 'an emptied message goes');
  assert.equal(texts(removed(queue, a)), 'bc');
  const picture = { mediaType: 'image/png', data: 'AA==' };
  assert.equal(edited([newMessage('x', [picture])], 0, '').length, 1);
  const kept = restoredQueue([{ text: 'x', images: [picture, 7] }, { text: 5 }, null]);
  assert.deepEqual(
    kept.map(({ text, images }) => [text, images]),
    [['x', [picture]]],
  );
  assert.deepEqual(restoredQueue('no'), []);
});

test('chat recall: Up goes back through what was sent, Down returns to the draft', () => {
  const sent = ['one', 'two'];
  const up = recalled(sent, noRecall, -1, 'draft');
  assert.equal(up.text, 'two');
  const further = recalled(sent, up.recall, -1, 'two');
  assert.equal(further.text, 'one');
  assert.equal(recalled(sent, further.recall, -1, 'one'), null);
  const down = recalled(sent, further.recall, 1, 'one');
  assert.equal(recalled(sent, down.recall, 1, 'two').text, 'draft');
  assert.equal(recalled(sent, noRecall, 1, 'draft'), null);
  let list = [];
  for (let i = 0; i < KEPT_MESSAGES + 3; i++) list = remembered(list, `m${i}`);
  assert.equal(list.length, KEPT_MESSAGES);
  assert.deepEqual(remembered(['a', 'b'], ' a '), ['b', 'a']);
  assert.deepEqual(remembered(['a'], 'x'.repeat(5000)), ['a']);
});

test('chat mentions: paths are named as the CLI reads them', () => {
  const roots = [
    { name: 'proj', path: '/home/me/proj' },
    { name: 'lib', path: '/opt/lib' },
  ];
  assert.equal(pathForClaude(roots, 'proj/src/a.c'), 'src/a.c');
  assert.equal(pathForClaude(roots, 'lib/b.c'), '/opt/lib/b.c');
  assert.equal(mention('src/a.c'), '@src/a.c');
  assert.equal(mention('src/a.c', { from: 3, to: 9 }), '@src/a.c#L3-9');
  assert.equal(mention('src/a.c', { from: 3, to: 3 }), '@src/a.c#L3');
  assert.equal(mention('my file.txt'), '@"my file.txt"');
});

test('chat mentions: what is being typed', () => {
  const at = (text, caret = text.length) => typedAt(text, caret);
  assert.deepEqual(at('see @src/a'), { kind: 'file', query: 'src/a', from: 4, to: 10 });
  assert.deepEqual(at('@'), { kind: 'file', query: '', from: 0, to: 1 });
  assert.deepEqual(at('/rev'), { kind: 'command', query: 'rev', from: 0, to: 4 });
  for (const text of ['mail@host', 'a /rev', '@a b', '']) assert.equal(at(text), null, text);
  assert.deepEqual(inserted('see @sr now', { from: 4, to: 7 }, '@src/a.c'), {
    text: 'see @src/a.c now',
    caret: 13,
  });
  assert.deepEqual(inserted('look', { from: 4, to: 4 }, '@a'), { text: 'look @a ', caret: 8 });
});

test('chat mentions: the lines of a selection', () => {
  const selection = (line, column, endLine, endColumn) => ({ line, column, endLine, endColumn });
  assert.deepEqual(selectedLines(selection(3, 1, 5, 4)), { from: 3, to: 5 });
  assert.deepEqual(
    selectedLines(selection(3, 1, 5, 1)),
    { from: 3, to: 4 },
    'whole lines end at the next one',
  );
  assert.deepEqual(selectedLines(selection(3, 1, 3, 2)), { from: 3, to: 3 });
  assert.equal(selectedLines(selection(3, 2, 3, 2)), null);
  assert.equal(selectedLines(null), null);
});

test('chat pictures: four types, 5 MB, ten at a time', () => {
  const file = (more) => ({ name: 'a.png', type: 'image/png', size: 10, ...more });
  for (const type of ['image/png', 'image/jpeg', 'image/gif', 'image/webp'])
    assert.equal(pictureProblem(file({ type }), 0), '');
  assert.match(pictureProblem(file({ type: 'image/bmp' }), 0), /no PNG/);
  assert.match(pictureProblem(file({ size: 0 }), 0), /empty/);
  assert.equal(pictureProblem(file({ size: PICTURE_BYTES }), 0), '');
  assert.match(pictureProblem(file({ size: PICTURE_BYTES + 1 }), 0), /larger/);
  assert.equal(pictureProblem(file({}), MOST_PICTURES - 1), '');
  assert.notEqual(pictureProblem(file({}), MOST_PICTURES), '');
  const bytes = Uint8Array.from({ length: 100001 }, (_, i) => i % 256);
  assert.equal(base64Of(bytes), Buffer.from(bytes).toString('base64'));
});

test('chat usage: context from what went in and out, cost as the difference between two sums', () => {
  let usage = afterMessage(emptyUsage(), {
    input_tokens: 100,
    cache_read_input_tokens: 49000,
    output_tokens: 900,
  });
  assert.equal(usage.contextTokens, 50000);
  assert.equal(fullness(usage), 0.25);
  usage = afterResult(usage, { total_cost_usd: 0.1 });
  usage = afterResult(usage, { total_cost_usd: 0.25, modelUsage: { m: { contextWindow: 1000000 } } });
  assert.equal(usage.turnCost.toFixed(2), '0.15');
  assert.equal(usage.contextLimit, 1000000);
  usage = afterResult(afterStart(usage), { total_cost_usd: 0.05 });
  assert.deepEqual([usage.turnCost, usage.cost.toFixed(2), usage.turns], [0.05, '0.30', 3]);
  const told = afterContextAnswer(usage, {
    totalTokens: 7,
    maxTokens: 70,
    categories: [{ name: 'Tools', tokens: 3 }, { name: 'None', tokens: 0 }, 5],
  });
  assert.deepEqual(
    [told.contextTokens, told.contextLimit, told.parts],
    [7, 70, [{ name: 'Tools', tokens: 3 }]],
  );
  assert.equal(afterContextAnswer(usage, 'odd').contextTokens, 50000);
  assert.deepEqual([0, 0.004, 1.5].map(costWords), ['$0.00', 'under $0.01', '$1.50']);
  assert.deepEqual([999, 1500, 1200000].map(tokenWords), ['999', '2k', '1.2M']);
  assert.deepEqual([1234, 45000, 75000, 3700000].map(timeWords), [
    '1.2 s',
    '45 s',
    '1 min 15 s',
    '1 h 1 min',
  ]);
});

test('chat history: the newest first, titles stay, and the list has an end', () => {
  const record = (id, more = {}) => ({
    id,
    title: `T ${id}`,
    named: false,
    root: 'proj',
    time: 1,
    turns: 1,
    cost: 0,
    ...more,
  });
  let list = recorded(recorded([], record('a')), record('b'));
  assert.deepEqual(
    list.map(({ id }) => id),
    ['b', 'a'],
  );
  list = renamed(list, 'a', '  My  talk ');
  list = recorded(list, record('a', { title: 'first words', turns: 5 }));
  assert.deepEqual([list[0].id, list[0].title, list[0].named, list[0].turns], ['a', 'My talk', true, 5]);
  assert.deepEqual(
    forgotten(list, 'a').map(({ id }) => id),
    ['b'],
  );
  for (let i = 0; i < LISTED + 5; i++) list = recorded(list, record(`n${i}`));
  assert.equal(list.length, LISTED);
  assert.deepEqual(
    restoredHistory([record('a'), { id: '../../etc/passwd' }, { id: '-rf' }, 7, null]).map(({ id }) => id),
    ['a'],
  );
  assert.equal(isSessionId('3f2a-b_C'), true);
  assert.equal(titleFrom(`  a\n\n b ${'x'.repeat(200)}`).length, 80);
});

test('chat history: a transcript keeps its newest lines and survives a torn end', () => {
  const lines = ['{"a":1}', '{"b":2}'];
  assert.deepEqual(transcriptLines(transcriptText(lines)), lines);
  assert.deepEqual(transcriptLines('{"a":1}\n{"b":'), ['{"a":1}']);
  const big = JSON.stringify({ x: 'y'.repeat(TRANSCRIPT_CHARS / 2) });
  assert.deepEqual(transcriptText([big, big, '{"last":1}']).split('\n').length, 2);
  assert.equal(transcriptPath('proj', 's-1'), 'proj/.marlin/chats/s-1.jsonl');
});
