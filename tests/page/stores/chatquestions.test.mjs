import assert from 'node:assert/strict';
import { test } from 'node:test';
import {
  allowAlways,
  allowOnce,
  answerChoices,
  approvePlan,
  choicesOf,
  deny,
  questionOf,
  suggestionWords,
} from '../../../web/stores/chatquestions.js';
import { asks } from '../support/chatlines.mjs';

const question = (tool, input, more) => questionOf(JSON.parse(asks('q1', tool, input, more)));

test('chat questions: every allow carries the input of the question itself', () => {
  const input = { command: 'make', nested: { deep: [1, null] } };
  const suggestions = [
    {
      type: 'addRules',
      rules: [{ toolName: 'Bash', ruleContent: 'make:*' }],
      behavior: 'allow',
      destination: 'localSettings',
    },
  ];
  const one = question('Bash', input, { permission_suggestions: suggestions });
  assert.deepEqual(allowOnce(one), { requestId: 'q1', behavior: 'allow', input });
  assert.deepEqual(allowAlways(one), {
    requestId: 'q1',
    behavior: 'allow',
    input,
    updatedPermissions: suggestions,
  });
  const plan = question('ExitPlanMode', { plan: '# Do it' });
  assert.deepEqual(approvePlan(plan, 'acceptEdits'), {
    requestId: 'q1',
    behavior: 'allow',
    input: { plan: '# Do it' },
    updatedPermissions: [{ type: 'setMode', mode: 'acceptEdits', destination: 'session' }],
  });
});

test('chat questions: a no goes with its reason, or without the key, and may stop', () => {
  const one = question('Bash', {});
  assert.deepEqual(deny(one, '  not now '), { requestId: 'q1', behavior: 'deny', message: 'not now' });
  assert.deepEqual(deny(one, ' '), { requestId: 'q1', behavior: 'deny' });
  assert.deepEqual(deny(one, '', { stop: true }), { requestId: 'q1', behavior: 'deny', interrupt: true });
});

test('chat questions: structured questions are read, and answered beside what was asked', () => {
  const input = {
    questions: [
      {
        question: 'Which way?',
        header: 'Way',
        multiSelect: false,
        options: [{ label: 'Left', description: 'shorter' }, 'Right'],
      },
      { question: 'What else?', multiSelect: true, options: [] },
      { header: 'nothing is asked' },
      7,
    ],
  };
  const one = question('AskUserQuestion', input);
  assert.equal(one.kind, 'choice');
  assert.deepEqual(choicesOf(one), [
    {
      question: 'Which way?',
      header: 'Way',
      many: false,
      options: [
        { label: 'Left', description: 'shorter' },
        { label: 'Right', description: '' },
      ],
    },
    { question: 'What else?', header: '', many: true, options: [] },
  ]);
  const answers = { 'Which way?': 'Left', 'What else?': 'a, b' };
  assert.deepEqual(answerChoices(one, answers).input, { ...input, answers });
  assert.equal(
    question('AskUserQuestion', {}).kind,
    'tool',
    'with nothing to choose it can still be answered',
  );
});

test('chat questions: what is no question is none', () => {
  for (const line of [
    { type: 'control_request', request_id: '', request: { subtype: 'can_use_tool' } },
    { type: 'control_request', request_id: 'x', request: { subtype: 'hook_callback' } },
    { type: 'control_request', request_id: 'x' },
    { type: 'assistant' },
  ]) {
    assert.equal(questionOf(line), null);
  }
  assert.equal(question('toString', {}).kind, 'tool');
});

test('chat questions: what "always" would do is told in words', () => {
  const cases = [
    [
      { type: 'setMode', mode: 'acceptEdits', destination: 'session' },
      'change the mode to acceptEdits for this conversation',
    ],
    [
      {
        type: 'addRules',
        rules: [{ toolName: 'Bash', ruleContent: 'ls:*' }, { toolName: 'Read' }],
        behavior: 'allow',
        destination: 'localSettings',
      },
      'allow Bash(ls:*), Read in this project, for you',
    ],
    [
      { type: 'addDirectories', directories: ['/a', '/b'], destination: 'mars' },
      'allow the folder /a, /b mars',
    ],
    [{ type: 'new' }, '{"type":"new"}'],
    [null, 'null'],
  ];
  for (const [suggestion, words] of cases) assert.equal(suggestionWords(suggestion), words);
});
