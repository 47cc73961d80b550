// Plans of background tasks beside the chat's: their drafts wait until the tasks are known, and end with them.
import assert from 'node:assert/strict';
import { test } from 'node:test';
import { receive } from '../../../web/bridge/events.js';
import { asks } from '../support/chatlines.mjs';
import { startBridge, until } from '../support/bridge.mjs';

let list = [];
await startBridge(({ route }) =>
  route === 'dispatch/list' ? { body: { tasks: list, limit: 2, roots: [] } } : { body: { ok: true } },
);

const chat = await import('../../../web/stores/chat.js');
const drafts = await import('../../../web/stores/chatplandrafts.js');
const dispatch = await import('../../../web/stores/dispatch.js');
const { ownerOf, questionKey } = await import('../../../web/stores/chatquestions.js');
const { mayBeOpen, openQuestions } = await import('../../../web/stores/openquestions.js');

const values = new Map();
const storage = {
  getItem: (key) => values.get(key) ?? null,
  setItem: (key, value) => void values.set(key, value),
  removeItem: (key) => void values.delete(key),
  key: () => null,
  length: 0,
};

const SAID = 'Please revise the plan:\n\n';
const draft = (general) => ({ plan: 'First this.', comments: [], general, mode: 'default' });
values.set(
  'marlin-chat-side:plans',
  JSON.stringify({ session: 'run', value: [['t1-1 q1', draft('of a task')], ['t2-2 q1', draft('of one that is gone')], ['q1', draft('of the chat')]] }),
);
chat.connectTalk(storage, 'run');

test('plans of tasks: what was written on them outlives a reload, and is saved when the plan is gone', async () => {
  const rescued = [];
  drafts.startDrafts((words, owner) => rescued.push([words, owner]));
  assert.deepEqual(rescued, [[`${SAID}of the chat`, '']], 'the chat knows at once what is open');
  assert.equal(mayBeOpen('t1-1 q1'), true);
  assert.equal(mayBeOpen('q1'), false);
  list = [{ id: 't1-1', status: 'running', title: 'x' }];
  values.set('marlin-task t1-1', JSON.stringify({ session: 'run', first: 0, last: 0 }));
  const open = { id: 'q1', kind: 'plan', tool: 'ExitPlanMode', toolUseId: '', input: { plan: 'First this.' }, suggestions: [], reason: '' };
  values.set('marlin-task t1-1-side:questions', JSON.stringify({ session: 'run', value: [open] }));
  await dispatch.connectDispatch(storage, 'run');
  await until(() => openQuestions.value.length === 1);
  const [question] = openQuestions.value;
  assert.equal(questionKey(question), 't1-1 q1');
  assert.equal(drafts.draftOf(question).general, 'of a task');
  assert.deepEqual(rescued.at(-1), [`${SAID}of one that is gone`, 't2-2']);
  assert.equal(mayBeOpen('t1-1 q9'), false);
  receive(JSON.stringify({ type: 'dispatch.state', task: { ...list[0], status: 'stopped' } }));
  assert.deepEqual(rescued.at(-1), [`${SAID}of a task`, 't1-1']);
});

test('plans of tasks: the same id in the chat and in a task are two drafts', () => {
  receive(JSON.stringify({ type: 'dispatch.state', task: { id: 't3-3', status: 'running', title: 'x' } }));
  receive(JSON.stringify({ type: 'dispatch.event', id: 't3-3', line: asks('q5', 'ExitPlanMode', { plan: 'a' }) }));
  receive(JSON.stringify({ type: 'agent.event', line: asks('q5', 'ExitPlanMode', { plan: 'b' }) }));
  const [mine, tasks] = openQuestions.value;
  drafts.changeDraft(mine, { general: 'to the chat' });
  drafts.changeDraft(tasks, { general: 'to the task' });
  assert.deepEqual([drafts.draftOf(mine).general, drafts.draftOf(tasks).general], ['to the chat', 'to the task']);
  assert.deepEqual([ownerOf(questionKey(mine)), ownerOf(questionKey(tasks))], ['', 't3-3']);
});
