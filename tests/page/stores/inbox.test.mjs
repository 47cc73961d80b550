import assert from 'node:assert/strict';
import { spawnSync } from 'node:child_process';
import { mkdirSync, mkdtempSync, rmSync, symlinkSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { after, beforeEach, test } from 'node:test';
import { chat, running } from '../../../web/stores/chat.js';
import { deny, questionKey } from '../../../web/stores/chatquestions.js';
import { readTasks } from '../../../web/stores/dispatch.js';
import { talkOf } from '../../../web/stores/dispatchtalks.js';
import {
  addRule,
  answerQuestion,
  askerOf,
  automatic,
  entries,
  removeRule,
  rules,
  shownRules,
  startRules,
} from '../../../web/stores/inbox.js';
import { matchChoices, scopeChoices } from '../../../web/stores/inboxrules.js';
import { loadSnapshot } from '../../../web/stores/settings.js';
import { get, loadUiState } from '../../../web/stores/uistate.js';
import { startBridge, until } from '../support/bridge.mjs';
import { asks, cancels, init } from '../support/chatlines.mjs';

const trees = mkdtempSync(join(tmpdir(), 'marlin-inbox-'));
after(() => rmSync(trees, { recursive: true, force: true }));

function ran(command) {
  const { status, stdout, stderr } = spawnSync('/bin/sh', ['-c', `${command} </dev/null`], { encoding: 'utf8' });
  return { ok: true, exitCode: status, out: stdout, err: stderr };
}

const task = (id, createdAt, more = {}) => ({
  id,
  createdAt,
  title: `Task ${id}`,
  repoRoot: '/proj',
  directory: join(trees, id),
  branch: `marlin/${id}`,
  status: 'running',
  ...more,
});

let listed = [];
let refuse = false;
let stop = () => {};

const bridge = await startBridge(({ route, body }) => {
  if (route === 'dispatch/list') return { body: { ok: true, tasks: listed, limit: 2, roots: [] } };
  if (route === 'state') return { body: { ok: true, config: { roots: [{ name: 'proj', path: '/proj' }] } } };
  if (route === 'ui-state') return { body: '{}' };
  if (route === 'blueprint/exec') return { body: ran(JSON.parse(body).command) };
  const refused = refuse && route.endsWith('permission');
  return refused ? { status: 409, body: { ok: false, error: 'that task is not running' } } : undefined;
});
await loadUiState();
await loadSnapshot();
listed = [task('t1-1', 1), task('t2-2', 2)];
await readTasks();

const answers = (route) => bridge.asked.filter((one) => one.route === route).map(({ body }) => JSON.parse(body));
/** A rule of the first choices for a question. */
const ruleFrom = (question, behavior = 'allow') => {
  const asker = askerOf(question);
  const { match } = matchChoices(question, asker)[0];
  const { scope } = scopeChoices(asker)[0];
  return { behavior, tool: question.tool, match, scope };
};

beforeEach(() => {
  stop();
  for (const { id } of rules.value) removeRule(id);
  stop = startRules();
  refuse = false;
  automatic.value = [];
  bridge.asked.length = 0;
});
after(() => stop());

test('inbox: questions of chat and tasks stand in the order they came, also with the same id', async () => {
  talkOf('t1-1').takeLine(asks('q1', 'Bash', { command: 'a' }));
  running.value = true;
  chat.takeLine(init());
  chat.takeLine(asks('q1', 'Bash', { command: 'b' }));
  talkOf('t2-2').takeLine(asks('q1', 'Bash', { command: 'c' }));
  assert.deepEqual(
    entries.value.map(({ who, question }) => [who, question.input.command]),
    [
      ['Task t1-1', 'a'],
      ['Chat', 'b'],
      ['Task t2-2', 'c'],
    ],
  );
  talkOf('t1-1').takeLine(cancels('q1'));
  assert.deepEqual(
    entries.value.map(({ who }) => who),
    ['Chat', 'Task t2-2'],
  );
  for (const { question } of entries.value) await answerQuestion(question, deny(question, 'no'), 'no');
  assert.deepEqual(
    answers('agent/permission').map(({ requestId }) => requestId),
    ['q1'],
  );
  assert.deepEqual(
    answers('dispatch/permission').map(({ id, requestId }) => [id, requestId]),
    [['t2-2', 'q1']],
  );
  await until(() => entries.value.length === 0);
});

test('inbox: a rule answers what is open and what comes, with the input of each', async () => {
  const talk = talkOf('t1-1');
  talk.takeLine(asks('q2', 'Bash', { command: 'make', description: 'one' }));
  addRule(ruleFrom(entries.value[0].question));
  await until(() => automatic.value.length === 1);
  talk.takeLine(asks('q3', 'Bash', { command: 'make', description: 'two' }));
  talk.takeLine(asks('q4', 'Bash', { command: 'make all' }));
  await until(() => automatic.value.length === 2);
  assert.deepEqual(
    answers('dispatch/permission').map(({ requestId, behavior, input }) => [requestId, behavior, input.description]),
    [
      ['q2', 'allow', 'one'],
      ['q3', 'allow', 'two'],
    ],
  );
  assert.deepEqual(
    entries.value.map(({ question }) => question.id),
    ['q4'],
  );
  const told = JSON.stringify(talk.items.value);
  assert.match(told, /Allowed by your rule: Allow Bash: make, for the task Task t1-1/);
  talk.takeLine(cancels('q4'));
});

test('inbox: what a rule could not answer is left to the user, and not tried again', async () => {
  const talk = talkOf('t2-2');
  talk.takeLine(asks('q5', 'WebFetch', { url: 'x' }));
  refuse = true;
  addRule(ruleFrom(entries.value[0].question, 'deny'));
  await until(() => automatic.value.length === 1);
  assert.equal(automatic.value[0].ok, false);
  addRule({ ...rules.value[0], tool: 'Else' }); // everything is looked at anew
  await new Promise((done) => setTimeout(done));
  assert.equal(answers('dispatch/permission').length, 1);
  assert.deepEqual(
    entries.value.map(({ question }) => questionKey(question)),
    ['t2-2 q5'],
  );
  talk.takeLine(cancels('q5'));
  refuse = false;
  talk.takeLine(asks('q5', 'WebFetch', { url: 'x' }));
  await until(() => automatic.value.length === 2);
  assert.equal(automatic.value[0].ok, true, 'another question with the id is another one');
});

test('inbox: a rule for a folder allows what is really in it', async () => {
  const directory = join(trees, 't2-2');
  mkdirSync(join(directory, 'src'), { recursive: true });
  symlinkSync('/etc', join(directory, 'src/away'));
  const talk = talkOf('t2-2');
  const edit = (id, path) => talk.takeLine(asks(id, 'Edit', { file_path: join(directory, path), new_string: 'x' }));
  edit('e1', 'src/a.c');
  const [{ question }] = entries.value;
  addRule({ ...ruleFrom(question), match: { kind: 'below', folder: 'src' } });
  await until(() => automatic.value.length === 1);
  edit('e2', 'src/away/passwd');
  edit('e3', 'src/new/b.c');
  await until(() => automatic.value.length === 2);
  const allowed = answers('dispatch/permission').map(({ requestId }) => requestId);
  assert.deepEqual(allowed, ['e1', 'e3']);
  await until(() => answers('blueprint/exec').length === 3);
  assert.deepEqual(
    entries.value.map(({ question: { id } }) => id),
    ['e2'],
  );
  talk.takeLine(cancels('e2'));
});

test('inbox: rules are kept, and go with their task', async () => {
  const talk = talkOf('t1-1');
  talk.takeLine(asks('q6', 'Bash', { command: 'x' }));
  addRule(ruleFrom(entries.value[0].question));
  await until(() => entries.value.length === 0);
  assert.deepEqual(get('inbox.rules', []), rules.value);
  assert.equal(shownRules.value.length, 1);
  stop();
  stop = startRules();
  assert.equal(rules.value.length, 1, 'taken up again');
  listed = [task('t1-1', 99), task('t2-2', 2)];
  await readTasks();
  assert.deepEqual(rules.value, [], 'a later task has the id now');
  assert.deepEqual(get('inbox.rules', null), []);
});

test('inbox: rules about other folders are kept, but neither shown nor used', async () => {
  const match = { kind: 'input', input: { command: 'x' } };
  addRule({ behavior: 'allow', tool: 'Bash', match, scope: { kind: 'chat', folder: '/other' } });
  assert.equal(rules.value.length, 1);
  assert.equal(shownRules.value.length, 0);
  chat.takeLine(asks('q7', 'Bash', { command: 'x' }));
  await new Promise((done) => setTimeout(done));
  assert.deepEqual(answers('agent/permission'), []);
  chat.takeLine(cancels('q7'));
});
