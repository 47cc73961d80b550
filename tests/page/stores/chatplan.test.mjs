// Plans: their lines and paragraphs, the comments on them, and what becomes of these when a plan goes.
import assert from 'node:assert/strict';
import { beforeEach, test } from 'node:test';
import { receive } from '../../../web/bridge/events.js';
import { lineKinds, planLines, planParts, planReply, rangeWords, withComment } from '../../../web/stores/chatplan.js';
import { approvePlan } from '../../../web/stores/chatquestions.js';
import { emptyTabs, openTab, closeTab, planTabId, restoreTabs } from '../../../web/stores/tabs.js';
import { asks, cancels } from '../support/chatlines.mjs';
import { deferred, startBridge } from '../support/bridge.mjs';

/** What the next answer waits for. @type {Promise<any> | null} */
let held = null;
await startBridge(async ({ route }) => {
  if (route === 'agent/permission' && held) await held;
  if (route === 'agent/status') return { body: { ok: true, running: true, executable: 'claude' } };
  return { body: { ok: true } };
});
const chat = await import('../../../web/stores/chat.js');
const session = await import('../../../web/stores/chatsession.js');
const drafts = await import('../../../web/stores/chatplandrafts.js');

const values = new Map();
const storage = {
  getItem: (key) => values.get(key) ?? null,
  setItem: (key, value) => void values.set(key, value),
  removeItem: (key) => void values.delete(key),
};
chat.connectTalk(storage, 'run');
await chat.readStatus();

/** @type {string[]} */
let rescued = [];
let stop = drafts.startDrafts((words) => rescued.push(words));
const claudeSays = (line) => receive(JSON.stringify({ type: 'agent.event', line }));
const plan = 'First this.\n\nThen that.';
const open = (id) => {
  claudeSays(asks(id, 'ExitPlanMode', { plan }));
  return chat.questions.value.find((one) => one.id === id);
};

beforeEach(() => {
  rescued = [];
  held = null;
});

test('chat plan: a plan falls into paragraphs with their lines, and code stays whole', () => {
  const text = '# Plan\n\nFirst this.\r\nThen that.\n\n\n```js\na();\n\nb();\n```\n\n- one\n- two\n';
  assert.deepEqual(planParts(text), [
    { from: 1, to: 1, text: '# Plan' },
    { from: 3, to: 4, text: 'First this.\nThen that.' },
    { from: 7, to: 11, text: '```js\na();\n\nb();\n```' },
    { from: 13, to: 14, text: '- one\n- two' },
  ]);
  assert.deepEqual(planParts(' \n\n'), []);
  assert.deepEqual(planLines(text).length, 14);
});

test('chat plan: headings, code and quotes are told apart, and a heading in code is code', () => {
  assert.deepEqual(lineKinds(['# A', '', '~~~', '# b', '~~~', '> c', 'd', '####### e']), [
    'heading',
    'blank',
    'code',
    'code',
    'code',
    'quote',
    'text',
    'text',
  ]);
});

test('chat plan: one comment a range, in the order of the plan', () => {
  let comments = withComment([], { from: 4, to: 4 }, 'four');
  comments = withComment(comments, { from: 2, to: 6 }, 'two');
  comments = withComment(comments, { from: 2, to: 2 }, 'just two');
  comments = withComment(comments, { from: 4, to: 4 }, 'four!');
  assert.deepEqual(comments, [
    { from: 2, to: 2, words: 'just two' },
    { from: 2, to: 6, words: 'two' },
    { from: 4, to: 4, words: 'four!' },
  ]);
  assert.deepEqual(withComment(comments, { from: 2, to: 6 }, undefined).length, 2);
  assert.equal(rangeWords({ from: 2, to: 2 }), 'Line 2');
  assert.equal(rangeWords({ from: 2, to: 3 }), 'Lines 2 to 3');
});

test('chat plan: comments go back under the lines they are about', () => {
  const comments = [
    { from: 1, to: 1, words: '  ' },
    { from: 2, to: 4, words: 'why?' },
    { from: 5, to: 5, words: ' no ' },
    { from: 9, to: 9, words: 'lost' },
  ];
  assert.equal(
    planReply('one\ntwo\n\nlines\nthree', comments, 'Good otherwise.'),
    'Please revise the plan:\n\n> two\n>\n> lines\n\nwhy?\n\n> three\n\nno\n\nGood otherwise.',
  );
  assert.equal(planReply('one', [], ' '), '');
});

test('chat plan: what is written on a plan outlives a reload', () => {
  const question = open('p1');
  assert.equal(drafts.draftOf(question).mode, 'acceptEdits');
  drafts.changeDraft(question, { comments: [{ from: 1, to: 1, words: 'why?' }] });
  drafts.changeDraft(question, { mode: 'default' });
  stop();
  drafts.drafts.value = new Map();
  stop = drafts.startDrafts((words) => rescued.push(words));
  assert.deepEqual(drafts.draftOf(question), {
    plan,
    comments: [{ from: 1, to: 1, words: 'why?' }],
    general: '',
    mode: 'default',
  });
  assert.deepEqual(rescued, []);
});

test('chat plan: of a plan that is withdrawn, the comments are handed out once', () => {
  const question = open('p2');
  drafts.changeDraft(question, { comments: [{ from: 3, to: 3, words: 'why?' }] });
  claudeSays(cancels('p2'));
  assert.deepEqual(rescued, ['Please revise the plan:\n\n> Then that.\n\nwhy?']);
  assert.equal(drafts.drafts.value.has('p2'), false);
  open('p3');
  claudeSays(cancels('p3'));
  assert.equal(rescued.length, 1, 'nothing was written on the other one');
});

test('chat plan: an answer takes its comments along, and nothing is handed out', async () => {
  const question = open('p4');
  drafts.changeDraft(question, { general: 'mind the fish' });
  const gate = deferred();
  held = gate.promise;
  const answering = session.answer(question, approvePlan(question, 'default'));
  gate.resolve();
  await answering;
  assert.equal(chat.questions.value.some(({ id }) => id === 'p4'), false);
  assert.deepEqual(rescued, []);
  assert.equal(drafts.drafts.value.has('p4'), false);
});

test('chat plan: what was kept may be anything', () => {
  stop();
  chat.keepValue('plans', [null, 5, ['p9', { comments: [null, { from: 'x', to: 1 }, { from: 1, to: 1 }], mode: 7 }]]);
  open('p9');
  stop = drafts.startDrafts((words) => rescued.push(words));
  assert.deepEqual([...drafts.drafts.value], [
    ['p9', { plan: '', comments: [{ from: 1, to: 1, words: '' }], general: '', mode: 'acceptEdits' }],
  ]);
});

test('chat plan: its tab is no file, comes back after a reload, and is not reopened once closed', () => {
  const id = planTabId('q/1 :x');
  assert.ok(!id.includes('/'));
  const { state } = openTab(emptyTabs(), { kind: 'plan', id });
  const kept = restoreTabs(JSON.parse(JSON.stringify(state)));
  assert.deepEqual(kept.groups[0].tabs, [{ key: `plan:${id}`, kind: 'plan', id, preview: false }]);
  assert.deepEqual(closeTab(state, 'g1', `plan:${id}`).closed, []);
});
