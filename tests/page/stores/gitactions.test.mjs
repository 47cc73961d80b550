import assert from 'node:assert/strict';
import { beforeEach, test } from 'node:test';
import * as git from '../../../web/stores/git.js';
import {
  MAX_PATH_BYTES,
  branches,
  busy,
  checkout,
  commit,
  conflictNames,
  conflictsLike,
  fetchAll,
  followerOf,
  lacksUpstream,
  lastMessage,
  merge,
  portions,
  pull,
  push,
  sortBranches,
  stage,
  unstage,
} from '../../../web/stores/gitactions.js';
import { loadMessages, messages, setMessage } from '../../../web/stores/gitmessages.js';
import { jobs } from '../../../web/stores/jobs.js';
import { applyConfig, version } from '../../../web/stores/settings.js';
import * as uistate from '../../../web/stores/uistate.js';
import { deferred, startBridge, until } from '../support/bridge.mjs';

const change = (path, more = {}) => ({ path, index: '.', work: 'M', staged: false, unstaged: true, ...more });
const repo = (files = [], more = {}) => ({ name: 'p', root: '/w/p', isRepo: true, branch: 'main', files, ...more });

/** What the bridge answers now, by route; a test changes it. */
let answers = {};
const bridge = await startBridge(async ({ route, body, query }) => {
  if (answers[route]) return answers[route](body ? JSON.parse(body) : Object.fromEntries(query));
  return { body: { ok: true, gitAvailable: true, repos: [repo([change('old')])] } };
});

const asked = (route) => bridge.asked.filter((one) => one.route === route).map(({ body }) => JSON.parse(body));
const fresh = (files, more) => ({ body: { ok: true, output: 'said', status: repo(files, more) } });
const shown = () => git.repos.value[0];
const paths = () => shown()?.files.map(({ path }) => path);

beforeEach(async () => {
  answers = {};
  bridge.asked.length = 0;
  version.value = '1';
  applyConfig({ roots: [{ name: 'p', path: '/w/p' }] });
  await git.refreshGit();
});

test('git actions: each sends its fields, and its status is shown at once', async () => {
  for (const action of ['stage', 'unstage', 'commit', 'push', 'pull', 'fetch', 'merge', 'checkout'])
    answers[`git/${action}`] = () => fresh([change(action)]);
  const steps = [
    ['stage', () => stage(shown(), ['a b']), { paths: ['a b'] }],
    ['unstage', () => unstage(shown(), ['c']), { paths: ['c'] }],
    [
      'commit',
      () => commit(shown(), { message: 'm', amend: true, stageAll: false }),
      { message: 'm', amend: true, stageAll: false },
    ],
    ['push', () => push(shown(), { setUpstream: true }), { setUpstream: true }],
    ['pull', () => pull(shown()), {}],
    ['fetch', () => fetchAll(shown()), {}],
    ['merge', () => merge(shown(), 'side'), { branch: 'side' }],
    ['checkout', () => checkout(shown(), 'new', true), { branch: 'new', create: true }],
  ];
  for (const [action, run, fields] of steps) {
    const output = await run();
    assert.deepEqual(paths(), [action]);
    assert.deepEqual(asked(`git/${action}`), [{ repo: 'p', ...fields }]);
    if (fields.paths === undefined) assert.equal(output, 'said');
  }
});

test('git actions: a status that was asked for before an action does not undo what it showed', async () => {
  const hold = deferred();
  let calls = 0;
  answers['git/status'] = async () => {
    calls++;
    if (calls === 1) await hold.promise;
    return { body: { ok: true, repos: [repo([change(calls === 1 ? 'stale' : 'newest')])] } };
  };
  answers['git/stage'] = () => fresh([change('staged')]);
  const reading = git.refreshGit();
  await until(() => calls === 1);
  await stage(shown(), ['x']);
  const seen = [];
  const stop = git.repos.subscribe(() => seen.push(...paths()));
  hold.resolve();
  await reading;
  await until(() => paths()[0] === 'newest');
  stop();
  assert.deepEqual(seen, ['staged', 'newest']);
});

test('git actions: a failure keeps the words of git, and the status is read anew', async () => {
  answers['git/merge'] = () => ({ status: 400, body: { ok: false, error: 'CONFLICT in a' } });
  answers['git/status'] = () => ({ body: { ok: true, repos: [repo([change('a', { conflicted: true })])] } });
  await assert.rejects(merge(shown(), 'side'), /^BridgeError: CONFLICT in a$/);
  await until(() => paths()[0] === 'a');
  assert.equal(busy.value.size, 0);
});

test('git actions: only a repository of the last status is named to the bridge', async () => {
  for (const other of [repo([], { name: 'q' }), repo([], { root: '/else' })]) {
    await assert.rejects(stage(other, ['a']), /is not among the repositories any more/);
    await assert.rejects(branches(other), /is not among/);
    await assert.rejects(conflictNames(other), /is not among/);
  }
  assert.deepEqual(asked('git/stage'), []);
});

test('git actions: long ones take turns, and say what is under way', async () => {
  const holds = [];
  answers['git/fetch'] = async () => {
    const hold = deferred();
    holds.push(hold);
    await hold.promise;
    return fresh([]);
  };
  const all = [1, 2, 3, 4].map(() => fetchAll(shown()));
  await until(() => holds.length === 3);
  assert.equal(busy.value.get('p'), 'Fetch');
  assert.ok(jobs.value.some(({ title, state }) => title === 'Fetch in p' && state === 'waiting'));
  holds[0].resolve();
  await until(() => holds.length === 4);
  for (const hold of holds) hold.resolve();
  await Promise.all(all);
  assert.equal(busy.value.size, 0);
});

test('git actions: very many paths go in several lists', async () => {
  assert.deepEqual(portions([]), []);
  const long = `it's ${'ä'.repeat(MAX_PATH_BYTES / 4)}`;
  assert.deepEqual(portions([long, 'a', long, 'b']), [[long, 'a'], [long, 'b']]);
  assert.deepEqual(portions(["'".repeat(MAX_PATH_BYTES / 5), "'".repeat(MAX_PATH_BYTES / 5)]).length, 2);
  answers['git/stage'] = () => fresh([]);
  await stage(shown(), [long, long]);
  assert.equal(asked('git/stage').length, 2);
});

test('git actions: branches, and those of remotes beside them', async () => {
  answers['git/branches'] = ({ repo: name, remote }) => {
    assert.equal(name, 'p');
    const own = ['(HEAD detached at 1234567)', 'main', 'feature/x'];
    return { body: { ok: true, branches: remote === '1' ? [...own, 'origin', 'origin/HEAD', 'origin/feature/x', 'origin/main'] : own } };
  };
  assert.deepEqual(await branches(shown()), {
    local: ['main', 'feature/x'],
    remote: ['origin/feature/x', 'origin/main'],
  });
  assert.deepEqual(sortBranches([], []), { local: [], remote: [] });
  assert.equal(followerOf('origin/feature/x'), 'feature/x');
});

test('git actions: the whole names of conflicts, and the last message', async () => {
  answers['blueprint/exec'] = ({ command, root }) => {
    assert.equal(root, 'p');
    const out = command.startsWith('git diff') ? 'a b.txt\0b.txt\0b.txt\0dir/new b.txt\0xb.txt\0' : 'Subject\n\nbody\n\n';
    return { body: { ok: true, exitCode: 0, out, err: '' } };
  };
  const names = await conflictNames(shown());
  assert.deepEqual(names, ['a b.txt', 'b.txt', 'dir/new b.txt', 'xb.txt']);
  assert.deepEqual(conflictsLike(names, 'b.txt'), ['a b.txt', 'b.txt', 'dir/new b.txt']);
  assert.deepEqual(conflictsLike(names, 'xb.txt'), ['xb.txt']);
  assert.equal(await lastMessage(shown()), 'Subject\n\nbody');
  assert.equal(asked('blueprint/exec')[0].command, 'git diff --name-only --diff-filter=U -z');
  answers['blueprint/exec'] = () => ({ body: { ok: true, exitCode: 128, out: '', err: 'fatal: no commits\n' } });
  await assert.rejects(lastMessage(shown()), /^Error: fatal: no commits$/);
});

test('git actions: a push that failed for want of an upstream is known', async () => {
  answers['git/push'] = () => ({
    status: 400,
    body: { ok: false, error: 'fatal: The current branch main has no upstream branch.' },
  });
  const error = await push(shown(), { setUpstream: false }).catch((thrown) => thrown);
  assert.ok(lacksUpstream(error));
  assert.ok(!lacksUpstream(new Error('has no upstream branch')));
});

test('git actions: messages are kept by repository, and forgotten when they are used', () => {
  setMessage('/w/p', 'one');
  setMessage('/w/q', 'two');
  messages.value = new Map();
  loadMessages();
  assert.deepEqual([...messages.value], [['/w/p', 'one'], ['/w/q', 'two']]);
  setMessage('/w/p', '');
  setMessage('/w/q', '');
  assert.equal(uistate.get('scm.messages', null), null);
  uistate.set('scm.messages', { a: 1, b: 'x' });
  loadMessages();
  assert.deepEqual([...messages.value], [['b', 'x']]);
  uistate.set('scm.messages', ['x']);
  loadMessages();
  assert.deepEqual([...messages.value], [['b', 'x']]);
});
