import assert from 'node:assert/strict';
import { test } from 'node:test';
import { SHOWN_ITEMS, SHOWN_TEXT, afterLine, emptyTalk } from '../../../web/stores/chatstream.js';
import {
  asks,
  assistant,
  begin,
  block,
  calls,
  cancels,
  delta,
  init,
  own,
  result,
  says,
  streamed,
  textDelta,
  toolResult,
} from '../support/chatlines.mjs';

/** The conversation after some lines, and all remarks. */
function played(...lines) {
  let talk = emptyTalk();
  const remarks = [];
  for (const line of lines) {
    const step = afterLine(talk, line);
    talk = step.talk;
    remarks.push(...step.remarks.map(({ text }) => text));
  }
  return { talk, remarks };
}

const shown = ({ talk }) => talk.items.map((item) => [item.kind, item.text ?? item.name ?? item.words]);

test('chat stream: an answer grows by deltas, and the whole message takes its place', () => {
  const growing = played(
    own('sent', { text: 'hi' }),
    begin(),
    block(0, { type: 'text', text: '' }),
    textDelta('Hel'),
    textDelta('lo'),
  );
  assert.deepEqual(
    growing.talk.tail.blocks.map(({ kind, text }) => [kind, text]),
    [['text', 'Hello']],
  );
  assert.equal(growing.talk.busy, true);
  const whole = afterLine(growing.talk, says('Hello!'));
  assert.deepEqual(whole.talk.tail.blocks, []);
  assert.deepEqual(shown(whole), [
    ['user', 'hi'],
    ['text', 'Hello!'],
  ]);
  const end = afterLine(whole.talk, result());
  assert.equal(end.talk.busy, false);
  assert.deepEqual(end.remarks, []);
});

test('chat stream: a delta changes the tail alone, and settled items stay the same values', () => {
  const before = played(
    own('sent', { text: 'hi' }),
    says('one'),
    begin('msg-2'),
    block(0, { type: 'text' }),
  ).talk;
  const { talk } = afterLine(before, textDelta('more'));
  assert.equal(talk.items, before.items);
  const after = played(own('sent', { text: 'a' }), calls('t1', 'Bash', { command: 'ls' }), says('x')).talk;
  const done = afterLine(after, toolResult('t1', 'out')).talk;
  assert.equal(done.items[0], after.items[0]);
  assert.equal(done.items[2], after.items[2]);
  assert.notEqual(done.items[1], after.items[1]);
});

test('chat stream: each block of a message takes the place of its own open one', () => {
  const { talk } = played(
    begin(),
    block(0, { type: 'thinking', thinking: '' }),
    delta(0, { type: 'thinking_delta', thinking: 'hm' }),
    block(1, { type: 'text', text: '' }),
    textDelta('so', 1),
    block(2, { type: 'tool_use', id: 't1', name: 'Bash', input: {} }),
    delta(2, { type: 'input_json_delta', partial_json: '{"comm' }),
    assistant([{ type: 'thinking', thinking: 'hm' }]),
    says('so'),
  );
  assert.deepEqual(
    talk.tail.blocks.map(({ kind, toolId, text }) => [kind, toolId, text]),
    [['tool', 't1', '{"comm']],
  );
  const { talk: end } = afterLine(talk, calls('t1', 'Bash', { command: 'ls' }));
  assert.deepEqual(end.tail.blocks, []);
  assert.deepEqual(
    end.items.map(({ kind }) => kind),
    ['thinking', 'text', 'tool'],
  );
});

test('chat stream: a helper streams beside the main talk without disturbing it', () => {
  const { talk } = played(
    begin('main'),
    block(0, { type: 'text' }),
    textDelta('main'),
    begin('side', 'task-1'),
    block(0, { type: 'text' }, 'task-1'),
    delta(0, { type: 'text_delta', text: 'side' }, 'task-1'),
    says('side whole', { id: 'side', parent: 'task-1' }),
  );
  assert.deepEqual(
    talk.tail.blocks.map(({ text, parent }) => [text, parent]),
    [['main', '']],
  );
  assert.deepEqual(
    talk.items.map(({ text, parent }) => [text, parent]),
    [['side whole', 'task-1']],
  );
});

test('chat stream: what an interrupted answer had said stays', () => {
  const { talk } = played(
    begin(),
    block(0, { type: 'text' }),
    textDelta('half an ans'),
    result({ subtype: 'error_during_execution', is_error: true, result: undefined }),
  );
  assert.deepEqual(shown({ talk }), [
    ['text', 'half an ans'],
    ['result', 'The turn was cut short.'],
  ]);
  assert.deepEqual(talk.tail.blocks, []);
});

test('chat stream: a page that joins in the middle of an answer shows what still comes', () => {
  const { talk, remarks } = played(textDelta('the rest'));
  assert.equal(talk.tail.blocks[0].text, 'the rest');
  assert.deepEqual(remarks, []);
});

test('chat stream: a call gets its result, and one without a result ends with the turn', () => {
  const { talk } = played(
    calls('t1', 'Bash', { command: 'ls' }),
    calls('t2', 'Bash', { command: 'sleep' }),
    toolResult('t1', [
      { type: 'text', text: 'a.txt' },
      { type: 'image', source: {} },
    ]),
    result(),
  );
  const [one, two] = talk.items;
  assert.deepEqual([one.result.text, one.result.images, one.ended], ['a.txt', 1, true]);
  assert.deepEqual([two.result, two.ended], [null, true]);
});

test('chat stream: a failed call keeps that it failed, and a result without its call is shown', () => {
  const { talk } = played(
    calls('t1', 'Edit', {}),
    toolResult('t1', 'no such text', true),
    toolResult('lost', 'late'),
  );
  assert.equal(talk.items[0].result.error, true);
  assert.deepEqual([talk.items[1].kind, talk.items[1].result.text], ['tool', 'late']);
});

test('chat stream: a slash command that answers with its result alone is shown', () => {
  assert.deepEqual(shown(played(own('sent', { text: '/cost' }), result({ result: 'Total: $1' })))[1], [
    'text',
    'Total: $1',
  ]);
  const spoken = played(own('sent', { text: 'hi' }), says('done'), result({ result: 'done' }));
  assert.equal(spoken.talk.items.filter(({ kind }) => kind === 'text').length, 1);
});

test('chat stream: a failed turn says why', () => {
  const { talk } = played(
    result({ subtype: 'error_during_execution', is_error: true, result: undefined, errors: ['out of luck'] }),
  );
  assert.deepEqual([talk.items[0].ok, talk.items[0].words], [false, 'out of luck']);
  assert.equal(
    played(result({ is_error: true, result: 'Credit is used up' })).talk.items[0].words,
    'Credit is used up',
  );
});

test('chat stream: questions come, are withdrawn by a cancel line, a result and the end', () => {
  const ids = ({ talk }) => talk.questions.map(({ id }) => id);
  const two = [asks('q1', 'Bash', { command: 'rm' }, { tool_use_id: 't1' }), asks('q2', 'Edit', {})];
  assert.deepEqual(ids(played(...two)), ['q1', 'q2']);
  assert.deepEqual(ids(played(...two, cancels('q1'))), ['q2']);
  assert.deepEqual(ids(played(...two, toolResult('t1', 'done elsewhere'))), ['q2']);
  assert.deepEqual(ids(played(...two, own('answered', { requestId: 'q2' }))), ['q1']);
  assert.deepEqual(ids(played(...two, own('ended', { code: 137 }))), []);
  assert.deepEqual(
    ids(played(...two, asks('q1', 'Write', {}))),
    ['q2', 'q1'],
    'asked again, it is one question',
  );
});

test('chat stream: init tells session, mode, model and what there is', () => {
  const { talk } = played(
    init({
      agents: ['planner', { name: 'tester' }],
      mcp_servers: [{ name: 'db', status: 'connected' }],
      skills: ['pdf'],
      output_style: 'default',
    }),
  );
  assert.deepEqual([talk.sessionId, talk.mode, talk.model], ['session-1', 'acceptEdits', 'claude-test-1']);
  assert.deepEqual(talk.announced.agents, ['planner', 'tester']);
  assert.deepEqual(talk.announced.servers, [{ name: 'db', status: 'connected' }]);
  assert.deepEqual(
    talk.announced.commands.map(({ name }) => name),
    ['compact', 'review'],
  );
});

test('chat stream: the introduction describes the commands that init only names', () => {
  const answer = {
    commands: [{ name: 'compact', description: 'Sum up', argumentHint: '[what]' }],
    models: [{ value: 'opus', displayName: 'Opus' }],
    available_output_styles: ['default', 'terse'],
  };
  const { talk } = played(own('introduced', { answer }), init());
  assert.deepEqual(talk.announced.commands, [
    { name: 'compact', description: 'Sum up', hint: '[what]' },
    { name: 'review', description: '', hint: '' },
  ]);
  assert.deepEqual(talk.announced.models, [{ id: 'opus', name: 'Opus' }]);
  assert.deepEqual(talk.announced.outputStyles, ['default', 'terse']);
});

test('chat stream: what is not understood is remarked and changes nothing', () => {
  const cases = {
    'not JSON': 'is not JSON',
    '[1,2]': 'is not JSON',
    '{"type":"from_the_future","x":1}': 'unknown type "from_the_future"',
    '{"type":"system","subtype":"weather"}': '"weather"',
    '{"type":"constructor"}': 'unknown type "constructor"',
    [streamed({ type: 'strange' })]: 'unknown event "strange"',
    [streamed({ type: 'content_block_delta', index: 0, delta: { type: 'smell_delta' } })]: 'unknown event',
  };
  for (const [line, words] of Object.entries(cases)) {
    const { talk, remarks } = played(line);
    assert.equal(remarks.length, 1, line);
    assert.ok(remarks[0].includes(words), `${remarks[0]} for ${line}`);
    assert.deepEqual(talk, emptyTalk(), line);
  }
});

test('chat stream: an unknown block is shown as data, and an unknown request is not lost', () => {
  const data = played(assistant([{ type: 'hologram', depth: 3 }]));
  assert.equal(data.talk.items[0].kind, 'data');
  assert.match(data.talk.items[0].json, /"depth": 3/);
  assert.equal(data.remarks.length, 1);
  const request = played('{"type":"control_request","request_id":"r","request":{"subtype":"elicitation"}}');
  assert.equal(request.talk.items[0].kind, 'notice');
  assert.equal(request.remarks.length, 1);
});

test('chat stream: only so many items and characters are held', () => {
  let { talk } = played();
  for (let i = 0; i < SHOWN_ITEMS + 7; i++) talk = afterLine(talk, says(`answer ${i}`)).talk;
  assert.equal(talk.items.length, SHOWN_ITEMS);
  assert.equal(talk.dropped, 7);
  assert.equal(talk.items[0].text, 'answer 7');
  assert.equal(new Set(talk.items.map(({ id }) => id)).size, SHOWN_ITEMS);
  const long = played(calls('t', 'Bash', {}), toolResult('t', 'x'.repeat(SHOWN_TEXT + 5))).talk.items[0]
    .result.text;
  assert.match(long, /5 more characters$/);
  assert.ok(long.length < SHOWN_TEXT + 40);
});

test('chat stream: the end says how it came, unless it was wanted', () => {
  assert.match(played(own('ended', { code: 137 })).talk.items[0].text, /137/);
  assert.deepEqual(played(own('ended', { code: 0, wanted: true })).talk.items, []);
  const { talk } = played(own('sent', { text: 'hi' }), own('unsent', { words: 'no link' }));
  assert.equal(talk.busy, false);
  assert.match(talk.items[1].text, /no link/);
});
