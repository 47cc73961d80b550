// The conversation is fed with lines that no CLI should print. Whatever they are, nothing is thrown and the
// conversation stays whole.
import assert from 'node:assert/strict';
import { test } from 'node:test';
import { allowAlways, allowOnce, choicesOf, suggestionWords } from '../../../web/stores/chatquestions.js';
import { settledLength } from '../../../web/stores/chattail.js';
import { afterLine, emptyTalk } from '../../../web/stores/chatstream.js';
import { changesOf, inputJson, partialField, tasksOf, toolLook } from '../../../web/stores/chattools.js';
import { fullness } from '../../../web/stores/chatusage.js';
import {
  asks,
  assistant,
  begin,
  block,
  calls,
  delta,
  init,
  own,
  randomFrom,
  result,
  toolResult,
} from '../support/chatlines.mjs';

const SAMPLES = [
  init({ agents: ['a'], mcp_servers: [{ name: 'x', status: 'y' }], skills: ['s'] }),
  begin(),
  block(0, { type: 'text', text: 'a' }),
  block(1, { type: 'tool_use', id: 't', name: 'Bash', input: {} }),
  delta(0, { type: 'text_delta', text: 'b' }),
  delta(1, { type: 'input_json_delta', partial_json: '{"command":"l' }),
  assistant([{ type: 'text', text: 'a' }, { type: 'thinking', thinking: 't' }, { type: 'odd' }], {
    usage: { input_tokens: 5 },
  }),
  calls('t', 'MultiEdit', { file_path: '/p/a', edits: [{ old_string: 'a', new_string: 'b' }] }),
  calls('u', 'TodoWrite', { todos: [{ content: 'x', status: 'pending' }] }),
  toolResult('t', [{ type: 'text', text: 'r' }, { type: 'image' }]),
  asks('q', 'AskUserQuestion', { questions: [{ question: 'Which?', options: [{ label: 'a' }] }] }),
  asks(
    'r',
    'Bash',
    { command: 'ls' },
    { permission_suggestions: [{ type: 'addRules', rules: [{ toolName: 'Bash' }] }] },
  ),
  result({ modelUsage: { m: { contextWindow: 5 } }, errors: ['e'] }),
  own('sent', { text: 'x' }),
  own('introduced', {
    answer: { commands: [{ name: 'c' }], models: [{ value: 'm' }], agents: [{ name: 'a' }] },
  }),
  own('answered', { requestId: 'q', words: 'w' }),
  own('ended', { code: 1 }),
  '{"type":"system","subtype":"status","status":"compacting"}',
  '{"type":"system","subtype":"api_retry","attempt":2}',
  '{"type":"system","subtype":"compact_boundary"}',
];
const VALUES = [
  null,
  true,
  0,
  -1,
  1e308,
  '',
  'x',
  't',
  'q',
  '__proto__',
  'constructor',
  [],
  {},
  [null],
  [[]],
  { type: 7 },
  ['a', 5],
];

/** A copy in which some values anywhere are others. */
function bent(value, random) {
  if (random(8) === 0) return VALUES[random(VALUES.length)];
  if (Array.isArray(value)) return value.map((each) => bent(each, random));
  if (value === null || typeof value !== 'object') return value;
  const entries = Object.entries(value).map(([key, each]) => [
    key,
    key === 'type' && random(6) ? each : bent(each, random),
  ]);
  return Object.fromEntries(entries);
}

/** A line with bytes lost, doubled or changed. */
function damaged(line, random) {
  const at = random(line.length);
  const kind = random(3);
  if (kind === 0) return line.slice(0, at);
  if (kind === 1) return line.slice(0, at) + line.slice(at + 1 + random(5));
  return line.slice(0, at) + String.fromCharCode(random(0x2fff)) + line.slice(at);
}

/** What the views ask of a conversation. */
function looked(talk) {
  for (const item of talk.items) {
    assert.equal(typeof item.id, 'number');
    if ('text' in item) assert.equal(typeof item.text, 'string');
    if (item.kind !== 'tool') continue;
    const { label, detail, path } = toolLook(item.name, item.input);
    for (const words of [label, detail, path]) assert.equal(typeof words, 'string');
    for (const { before, after } of changesOf(item.name, item.input))
      assert.equal(typeof before + typeof after, 'stringstring');
    for (const { words } of tasksOf(item.input)) assert.equal(typeof words, 'string');
    assert.equal(typeof inputJson(item.input), 'string');
  }
  for (const { text, key } of talk.tail.blocks) {
    assert.equal(typeof text + typeof key, 'stringstring');
    assert.ok(settledLength(text) <= text.length);
    assert.equal(typeof partialField(text, 'command'), 'string');
  }
  for (const question of talk.questions) {
    assert.ok(question.id);
    assert.ok(typeof question.input === 'object' && !Array.isArray(question.input));
    assert.deepEqual(allowOnce(question).input, question.input);
    assert.ok(Array.isArray(allowAlways(question).updatedPermissions));
    for (const suggestion of question.suggestions) assert.equal(typeof suggestionWords(suggestion), 'string');
    for (const { question: words } of choicesOf(question)) assert.ok(words);
  }
  const { cost, turnCost } = talk.usage;
  assert.ok(Number.isFinite(cost) && Number.isFinite(turnCost) && Number.isFinite(fullness(talk.usage)));
}

test('chat fuzz: 30000 bent and damaged lines are taken without an exception', () => {
  const random = randomFrom(20261120);
  let talk = emptyTalk();
  let remarks = 0;
  for (let i = 0; i < 30000; i++) {
    const sample = SAMPLES[random(SAMPLES.length)];
    const line = random(4) ? JSON.stringify(bent(JSON.parse(sample), random)) : damaged(sample, random);
    let step;
    assert.doesNotThrow(() => (step = afterLine(talk, line)), line);
    talk = step.talk;
    remarks += step.remarks.length;
    assert.ok(talk.items.length <= 400, line);
    if (i % 50 === 0) looked(talk);
    if (i % 5000 === 0) talk = emptyTalk();
  }
  assert.ok(remarks > 1000, 'most of what is not understood is remarked');
  assert.equal({}.polluted, undefined);
});

test('chat fuzz: lines of noise change nothing', () => {
  const random = randomFrom(7);
  let talk = emptyTalk();
  for (let i = 0; i < 3000; i++) {
    const line = Array.from({ length: random(60) }, () => String.fromCharCode(random(0x10000))).join('');
    const step = afterLine(talk, line);
    talk = step.talk;
    assert.equal(step.remarks.length, 1);
  }
  assert.deepEqual(talk, emptyTalk());
});
