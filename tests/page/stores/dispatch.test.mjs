// Background tasks against a bridge: what is asked of it, in which order, and what events and failures leave.
import assert from 'node:assert/strict';
import { beforeEach, test } from 'node:test';
import { linkState, openLink, receive } from '../../../web/bridge/events.js';
import { asks, init, result, says, textDelta } from '../support/chatlines.mjs';
import { deferred, startBridge, until } from '../support/bridge.mjs';

/** What the bridge knows. @type {any[]} */
let list = [];
/** Answers by route; a test puts its own in front. @type {Record<string, (body: any) => any>} */
let answers = {};

const bridge = await startBridge(async ({ route, query, body }) => {
  const asked = body ? JSON.parse(body) : Object.fromEntries(query);
  if (answers[route]) return answers[route](asked);
  if (route === 'dispatch/list') {
    return { body: { ok: true, tasks: list, limit: 3, roots: [{ name: 'proj', git: true }] } };
  }
  if (route === 'config') return { body: { ok: true, config: { claude: { dispatchLimit: 4 } } } };
  return { body: { ok: true } };
});
const asked = (route) => bridge.asked.filter((one) => one.route === route).map(({ body }) => JSON.parse(body || '{}'));

const store = await import('../../../web/stores/dispatch.js');
const { allowOnce, approvePlan, deny, questionKey } = await import('../../../web/stores/chatquestions.js');
const { entries } = await import('../../../web/stores/log.js');
const memory = await import('../../../web/stores/dispatchmemory.js');
const talks = await import('../../../web/stores/dispatchtalks.js');
const { openQuestions } = await import('../../../web/stores/openquestions.js');
const { config } = await import('../../../web/stores/settings.js');

const values = new Map();
const storage = {
  getItem: (key) => values.get(key) ?? null,
  setItem: (key, value) => void values.set(key, value),
  removeItem: (key) => void values.delete(key),
  key: (at) => [...values.keys()][at] ?? null,
  get length() {
    return values.size;
  },
};
values.set('marlin-task t9-9-lines:0', 'of an earlier run');
values.set('marlin-chat', 'not ours');
await store.connectDispatch(storage, 'run');

let number = 0;
const task = (more = {}) => ({
  id: `t${++number}-1`, title: 'Fix it', repoRoot: '/p', directory: `/w/t${number}-1`, branch: `marlin/fix-t${number}-1`,
  baseBranch: 'main', model: '', mode: 'acceptEdits', status: 'running', sessionId: '', error: '', cost: 0,
  createdAt: 1000 + number, try: 1, tries: 1, worktree: true, live: true, ...more,
});
const tell = (one) => receive(JSON.stringify({ type: 'dispatch.state', task: one }));
const line = (id, text) => receive(JSON.stringify({ type: 'dispatch.event', id, line: text }));
/** A task that runs. */
const running = (more) => {
  const one = task(more);
  list.push(one);
  tell(one);
  return one;
};

beforeEach(() => {
  list = [];
  answers = {};
  bridge.asked.length = 0;
});

test('dispatch: what earlier runs left in the storage goes once the tasks are known; the chat’s stays', () => {
  assert.equal(values.has('marlin-task t9-9-lines:0'), false);
  assert.equal(values.get('marlin-chat'), 'not ours');
});

test('dispatch: an event makes, changes and orders tasks; one that cannot be read is logged', () => {
  const older = running({ createdAt: 50, status: 'queued' });
  const newer = running({ createdAt: 60 });
  const ids = store.tasks.value.map(({ id }) => id);
  assert.ok(ids.indexOf(older.id) < ids.indexOf(newer.id));
  tell({ ...newer, status: 'done', cost: 0.5 });
  assert.deepEqual([store.taskById(newer.id).status, store.taskById(newer.id).cost], ['done', 0.5]);
  tell({ id: 'x', status: 'from a later version' });
  assert.equal(store.taskById('x'), undefined);
  assert.match(entries.value.at(-1).text, /cannot be read/);
});

test('dispatch: a list that an event has overtaken is asked for again', async () => {
  const one = task();
  const late = deferred();
  let count = 0;
  answers['dispatch/list'] = async () => {
    if (count++ === 0) await late.promise;
    return { body: { tasks: count === 1 ? [] : [one], limit: 3, roots: [] } };
  };
  const read = store.readTasks();
  while (count === 0) await new Promise((resolve) => setTimeout(resolve, 1));
  tell(one);
  late.resolve();
  await read;
  assert.equal(count, 2);
  assert.equal(store.taskById(one.id)?.status, 'running');
});

test('dispatch: a list that cannot be read leaves what is known, with the bridge’s words', async () => {
  const one = running();
  answers['dispatch/list'] = () => ({ status: 500, body: { ok: false, error: 'no luck' } });
  await store.readTasks();
  assert.equal(store.listFailure.value, 'no luck');
  assert.ok(store.taskById(one.id));
  answers = {};
  await store.readTasks();
  assert.equal(store.listFailure.value, '');
});

test('dispatch: each task’s lines are its own conversation, with its own questions though the ids are the same', () => {
  const [one, two] = [running(), running()];
  for (const { id } of [one, two]) {
    line(id, init());
    line(id, says(`I am ${id}`));
    line(id, asks('q1', 'Bash', { command: id }));
  }
  assert.deepEqual(talks.talkOf(one.id).items.value.map(({ text }) => text), [`I am ${one.id}`]);
  const open = talks.taskQuestions.value.filter(({ owner }) => [one.id, two.id].includes(owner));
  assert.deepEqual(open.map(({ owner, input }) => [owner, input.command]), [[one.id, one.id], [two.id, two.id]]);
  assert.equal(new Set(open.map(questionKey)).size, 2);
  assert.ok(store.isAsking(one.id));
  assert.ok(openQuestions.value.length >= 2);
  line(one.id, JSON.stringify({ type: 'control_cancel_request', request_id: 'q1' }));
  assert.equal(store.isAsking(one.id), false);
  assert.equal(store.isAsking(two.id), true);
});

test('dispatch: the end of a task withdraws its questions and settles what was begun', () => {
  const one = running();
  line(one.id, textDelta('half an ans'));
  line(one.id, asks('q1', 'Bash', {}));
  tell({ ...one, status: 'stopped', live: false });
  assert.equal(store.isAsking(one.id), false);
  assert.deepEqual(talks.talkOf(one.id).items.value.map(({ text }) => text), ['half an ans']);
  assert.equal(talks.talkOf(one.id).busy.value, false);
});

test('dispatch: creating sends the form, remembers what was asked, and only into folders that were told', async () => {
  const wanted = { task: ' Fix the parser\nall of it ', title: '', root: 'proj', worktree: true, plan: false, model: '', mode: 'auto', tries: 2 };
  answers['dispatch/create'] = (body) => {
    assert.deepEqual(body, wanted);
    const made = [running({ try: 1, tries: 2 }), running({ try: 2, tries: 2 })];
    return { body: { ok: true, ids: made.map(({ id }) => id) } };
  };
  const ids = await store.createTasks(wanted);
  assert.equal(ids.length, 2);
  assert.equal(memory.promptOf(ids[1]), 'Fix the parser\nall of it');
  await assert.rejects(store.createTasks({ ...wanted, root: 'removed' }), /removed is not among the folders/);
  assert.equal(asked('dispatch/create').length, 1);
});

test('dispatch: a created task whose event went lost is read from the list', async () => {
  const one = task();
  answers['dispatch/create'] = () => {
    list = [one];
    return { body: { ok: true, ids: [one.id] } };
  };
  await store.createTasks({ task: 'x', title: '', root: 'proj', worktree: true, plan: false, model: '', mode: 'auto', tries: 1 });
  assert.equal(store.taskById(one.id)?.title, 'Fix it');
  assert.equal(memory.promptOf(one.id), 'x');
});

test('dispatch: what git said of a worktree that could not be made is kept beside the failure', async () => {
  answers['dispatch/create'] = () => {
    receive(JSON.stringify({ type: 'dispatch.stderr', id: 't77-1', text: 'Preparing worktree\nfatal: no room\n' }));
    return { status: 400, body: { ok: false, error: 'could not create a worktree: Preparing worktree' } };
  };
  const wanted = { task: 'x', title: '', root: 'proj', worktree: true, plan: false, model: '', mode: 'auto', tries: 1 };
  await assert.rejects(store.createTasks(wanted), /could not create a worktree/);
  assert.match(store.worktreeWords.value, /fatal: no room/);
  answers['dispatch/create'] = () => ({ status: 400, body: { ok: false, error: 'describe the task first' } });
  await assert.rejects(store.createTasks(wanted));
  assert.equal(store.worktreeWords.value, '', 'the words of the time before are gone');
});

test('dispatch: standard error of a task is its own', () => {
  const one = running();
  receive(JSON.stringify({ type: 'dispatch.stderr', id: one.id, text: 'warning\n' }));
  assert.equal(talks.talkOf(one.id).stderr.value, 'warning\n');
});

test('dispatch: requests to one task go one after the other, whatever became of the one before', async () => {
  const one = running();
  const first = deferred();
  const order = [];
  answers['dispatch/send'] = async ({ text }) => {
    order.push(text);
    if (text === 'a') await first.promise;
    return text === 'a' ? { status: 400, body: { ok: false, error: 'that task is closed' } } : { body: { ok: true } };
  };
  const a = assert.rejects(store.sendToTask(one.id, 'a'), /that task is closed/);
  const b = store.sendToTask(one.id, 'b');
  await new Promise((resolve) => setTimeout(resolve, 20));
  assert.deepEqual(order, ['a']);
  first.resolve();
  await Promise.all([a, b]);
  assert.deepEqual(order, ['a', 'b']);
  const kinds = talks.talkOf(one.id).items.value.map(({ kind, text }) => `${kind}: ${text}`);
  assert.deepEqual(kinds, ['user: a', 'notice: That message was not sent: that task is closed', 'user: b']);
});

test('dispatch: an answer carries the question’s own input and no rules; a plan’s mode is set behind it', async () => {
  const one = running();
  line(one.id, asks('q1', 'ExitPlanMode', { plan: 'First this' }));
  const [question] = talks.talkOf(one.id).questions.value;
  await store.answerTask(question, approvePlan(question, 'acceptEdits'), 'You approved the plan.');
  const routes = bridge.asked.map(({ route }) => route);
  assert.deepEqual(routes, ['dispatch/permission', 'dispatch/control']);
  assert.deepEqual(asked('dispatch/permission')[0], {
    id: one.id, requestId: 'q1', behavior: 'allow', input: { plan: 'First this' },
  });
  assert.deepEqual(asked('dispatch/control')[0].request, { subtype: 'set_permission_mode', mode: 'acceptEdits' });
  assert.equal(store.isAsking(one.id), false);
  assert.equal(talks.talkOf(one.id).mode.value, 'acceptEdits');
});

test('dispatch: "no and stop" denies, then stops the task', async () => {
  const one = running();
  line(one.id, asks('q1', 'Bash', {}));
  const [question] = talks.talkOf(one.id).questions.value;
  await store.answerTask(question, deny(question, 'no', { stop: true }));
  assert.deepEqual(bridge.asked.map(({ route }) => route), ['dispatch/permission', 'dispatch/stop']);
  assert.equal('interrupt' in asked('dispatch/permission')[0], false);
});

test('dispatch: a question is answered once, and the list is read anew when its CLI has gone', async () => {
  const one = running();
  line(one.id, asks('q1', 'Bash', {}));
  const [question] = talks.talkOf(one.id).questions.value;
  answers['dispatch/permission'] = () => {
    list = [{ ...one, status: 'failed', live: false }];
    return { status: 409, body: { ok: false, error: 'that task is not running' } };
  };
  const twice = [store.answerTask(question, allowOnce(question)), store.answerTask(question, allowOnce(question))];
  await assert.rejects(twice[0], /that task is not running/);
  await twice[1];
  assert.equal(asked('dispatch/permission').length, 1);
  assert.equal(store.taskById(one.id).status, 'failed');
  assert.equal(store.isAsking(one.id), false);
  assert.equal(store.answeringTask.value.size, 0);
});

test('dispatch: nothing is asked for a task that is not in the list', async () => {
  const tries = [
    store.sendToTask('t0-0', 'x'), store.stopTask('t0-0'), store.landTask('t0-0'), store.discardTask('t0-0'),
    store.diffOfTask('t0-0'), store.setTaskMode('t0-0', 'auto'),
    store.answerTask({ id: 'q', owner: 't0-0' }, { requestId: 'q', behavior: 'allow' }),
  ];
  for (const each of tries) await assert.rejects(each, /not in the list any more/);
  assert.equal(bridge.asked.length, 0);
});

test('dispatch: what is under way is shown and over after a failure', async () => {
  const one = running();
  const gate = deferred();
  answers['dispatch/merge'] = async () => {
    await gate.promise;
    return { status: 409, body: { ok: false, error: 'the merge did not go through' } };
  };
  const landing = assert.rejects(store.landTask(one.id), /did not go through/);
  assert.equal(store.underWay.value.get(one.id), 'Landing');
  gate.resolve();
  await landing;
  assert.equal(store.underWay.value.has(one.id), false);
});

test('dispatch: a task is remembered until it has landed or was discarded', () => {
  const one = running();
  assert.equal(memory.memoryOf(one.id)?.branch, one.branch);
  tell({ ...one, status: 'done' });
  assert.ok(memory.memoryOf(one.id));
  tell({ ...one, status: 'merged' });
  assert.equal(memory.memoryOf(one.id), undefined);
});

test('dispatch: closed tasks give the storage back, but for the latest', () => {
  const all = Array.from({ length: talks.KEPT_CLOSED + 2 }, () => running());
  for (const one of all) line(one.id, says('some words'));
  const kept = () => all.filter(({ id }) => [...values.keys()].some((key) => key === `marlin-task ${id}`)).length;
  for (const one of all) talks.talkOf(one.id).keeper.flush();
  assert.equal(kept(), all.length);
  for (const one of all) tell({ ...one, status: 'merged', live: false });
  const open = all.map(({ id }) => talks.talkOf(id).keeper !== null);
  assert.deepEqual(open, [false, false, ...Array(talks.KEPT_CLOSED).fill(true)]);
  assert.equal(talks.talkOf(all[0].id).isEmpty.value, false);
});

test('dispatch: only so many tasks and words are remembered', () => {
  for (let count = 0; count < memory.KEPT_TASKS + 5; count++) {
    memory.rememberTask(task({ title: 'x'.repeat(5000) }), 'y'.repeat(5000));
  }
  assert.equal(memory.remembered.value.length, memory.KEPT_TASKS);
  assert.ok(JSON.stringify(memory.remembered.value).length < 300000);
});

test('dispatch: the limit is held in its bounds, and the settings are read again', async () => {
  await store.setLimit(12);
  assert.deepEqual(asked('dispatch/limit'), [{ limit: 8 }]);
  assert.equal(config.value.claude.dispatchLimit, 4);
  assert.equal(store.limit.value, 3, 'as the bridge then tells it');
});

test('dispatch: a reload keeps words, questions and what is typed; tasks that are gone are forgotten', async () => {
  const one = running();
  const two = running();
  for (const { id } of [one, two]) {
    line(id, init());
    line(id, says('some words'));
    line(id, asks('q1', 'Bash', { command: 'make' }));
  }
  talks.setTaskDraft(one.id, 'half a thought');
  talks.talkOf(one.id).keeper.flush();
  talks.talkOf(two.id).keeper.flush();
  const fresh = await import('../../../web/stores/dispatchtalks.js?reload');
  fresh.keepTalks(storage, 'run');
  const back = fresh.talkOf(one.id);
  assert.deepEqual(back.items.value.map(({ text }) => text), ['some words']);
  assert.deepEqual(back.questions.value.map(({ id, owner }) => [id, owner]), [['q1', one.id]]);
  assert.equal(fresh.taskDraft(one.id), 'half a thought');
  fresh.talkOf(two.id);
  fresh.forgetTalksBut(new Set([one.id]));
  assert.equal([...values.keys()].some((key) => key.includes(two.id)), false);
  const other = await import('../../../web/stores/dispatchtalks.js?restart');
  other.keepTalks(storage, 'another run');
  assert.equal(other.talkOf(one.id).isEmpty.value, true, 'another run’s words are not taken up');
});

test('dispatch: after a gap of the link the list is read again, and what runs says that words may be missing', async () => {
  const [one, done] = [running(), running()];
  tell({ ...done, status: 'done' });
  openLink();
  await until(() => linkState.value === 'open');
  list = [{ ...one, title: 'Another title' }, { ...done, status: 'done' }];
  for (const socket of bridge.sockets.clients) socket.terminate();
  await until(() => store.taskById(one.id)?.title === 'Another title');
  assert.match(talks.talkOf(one.id).items.value.at(-1).text, /may be missing/);
  assert.equal(talks.talkOf(done.id).items.value.length, 0);
});

test('dispatch: a follow-up starts a new count of cost', () => {
  const one = running();
  line(one.id, result({ total_cost_usd: 0.02 }));
  tell({ ...one, status: 'done' });
  tell({ ...one, status: 'queued' });
  tell({ ...one, status: 'running' });
  line(one.id, result({ total_cost_usd: 0.03 }));
  assert.equal(talks.talkOf(one.id).usage.value.cost.toFixed(2), '0.05');
});
