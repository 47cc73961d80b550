// What a new task starts from, and what is sent.
import assert from 'node:assert/strict';
import { beforeEach, test } from 'node:test';
import { startBridge } from '../support/bridge.mjs';

await startBridge(() => ({ body: { ok: true } }));
const { changeForm, fitted, formProblem, formSent, freshForm, newTask } = await import('../../../web/stores/dispatchform.js');
const { taskRoots } = await import('../../../web/stores/dispatch.js');
const uistate = await import('../../../web/stores/uistate.js');

const ROOTS = [
  { name: 'plain', git: false },
  { name: 'repo', git: true },
];

beforeEach(() => {
  taskRoots.value = ROOTS;
});

test('dispatch form: the last choices come before the settings, the settings before what is usual', () => {
  assert.deepEqual(freshForm({}, {}, ''), {
    task: '', title: '', root: '', worktree: true, plan: false, model: '', mode: 'acceptEdits', tries: 1,
  });
  assert.equal(freshForm({}, { permissionMode: 'default' }, '').mode, 'default');
  assert.equal(freshForm({ mode: 'auto' }, { permissionMode: 'default' }, '').mode, 'auto');
  assert.equal(freshForm({ mode: 'from a later version' }, { permissionMode: 'default' }, '').mode, 'default');
  const kept = freshForm({ root: 'repo', worktree: false, plan: true, model: 'opus', mode: 'auto' }, {}, 'half a thought');
  assert.deepEqual([kept.root, kept.worktree, kept.plan, kept.model, kept.task], ['repo', false, true, 'opus', 'half a thought']);
});

test('dispatch form: who plans in the chat plans first in tasks, until a task was made otherwise', () => {
  assert.deepEqual([freshForm({}, { permissionMode: 'plan' }, '').plan, freshForm({}, { permissionMode: 'plan' }, '').mode], [true, 'acceptEdits']);
  assert.equal(freshForm({ mode: 'auto', plan: false }, { permissionMode: 'plan' }, '').plan, false);
});

test('dispatch form: a folder that is gone gives way to a repository; a plain folder has neither worktree nor tries', () => {
  const form = freshForm({}, {}, 'x');
  assert.deepEqual([fitted(form, ROOTS).root, fitted(form, ROOTS).worktree], ['repo', true]);
  assert.equal(fitted({ ...form, root: 'removed' }, ROOTS).root, 'repo');
  const plain = fitted({ ...form, root: 'plain', tries: 3 }, ROOTS);
  assert.deepEqual([plain.worktree, plain.tries], [false, 1]);
  assert.equal(fitted({ ...form, worktree: false, tries: 3 }, ROOTS).tries, 1);
  assert.deepEqual([fitted({ ...form, tries: 9 }, ROOTS).tries, fitted({ ...form, tries: 0 }, ROOTS).tries], [4, 1]);
  assert.equal(fitted(form, []).root, '');
});

test('dispatch form: a detour over a plain folder keeps the wish for a worktree', () => {
  changeForm({ worktree: true, root: 'repo' });
  changeForm({ root: 'plain' });
  assert.equal(newTask().worktree, false);
  changeForm({ root: 'repo' });
  assert.equal(newTask().worktree, true);
});

test('dispatch form: what is typed is kept until it is sent, the choices for the next task', () => {
  changeForm({ task: 'Fix it', title: 'A title', mode: 'auto', tries: 2, model: 'opus', root: 'repo' });
  assert.equal(uistate.get('dispatch.words', ''), 'Fix it');
  formSent();
  assert.equal(uistate.get('dispatch.words', 'none'), 'none');
  const { task, title, mode, tries, model } = newTask();
  assert.deepEqual([task, title, mode, tries, model], ['', '', 'auto', 1, 'opus']);
  assert.equal(uistate.get('dispatch.choices', {}).mode, 'auto');
});

test('dispatch form: a task needs words and a folder', () => {
  assert.match(formProblem({ task: ' \n', root: 'repo' }), /Describe/);
  assert.match(formProblem({ task: 'x', root: '' }), /folder/);
  assert.equal(formProblem({ task: 'x', root: 'repo' }), '');
});
