import assert from 'node:assert/strict';
import { test } from 'node:test';
import { receive } from '../../../web/bridge/events.js';
import * as git from '../../../web/stores/git.js';
import { GIT_QUIET_MS, refresher } from '../../../web/stores/gitrefresh.js';
import { applyConfig, version } from '../../../web/stores/settings.js';
import { active } from '../../../web/stores/windowstate.js';
import { deferred, startBridge, until } from '../support/bridge.mjs';

const repo = (name, root, files = []) => ({ name, root, isRepo: true, branch: 'main', files });

/** What the bridge answers now; a test changes it. */
const answers = { repos: [], status: 200, hold: null, diff: () => ({ body: { original: '', modified: '' } }) };
const bridge = await startBridge(async ({ route, query }) => {
  if (route === 'git/status') {
    await answers.hold?.promise;
    if (answers.status !== 200) return { status: answers.status, body: { ok: false, error: 'git is away' } };
    return { body: { ok: true, gitAvailable: true, repos: answers.repos } };
  }
  return answers.diff(Object.fromEntries(query));
});

const statusCalls = () => bridge.asked.filter(({ route }) => route === 'git/status');
const change = (paths, count = paths.length) =>
  receive(JSON.stringify({ type: 'fs.changed', paths, count }));
const rest = (ms) => new Promise((resolve) => setTimeout(resolve, ms));

git.startGit();

/** A folder without a repository, there from the start. */
const kPlain = { name: 'plain', path: '/w/plain' };

test('git: the repositories are read at the start and when folders come and go', async () => {
  answers.repos = [repo('p', '/w/p')];
  await rest(2 * GIT_QUIET_MS);
  assert.equal(statusCalls().length, 0, 'the folders are not known yet');
  await git.refreshGit(); // by hand, before the folders are known
  version.value = '1';
  applyConfig({ roots: [kPlain, { name: 'p', path: '/w/p' }] });
  await until(() => statusCalls().length === 2);
  await until(() => git.repos.value.length === 1);
  assert.equal(git.gitState.value, 'ready');
  const before = statusCalls().length;
  applyConfig({ roots: [kPlain, { name: 'p', path: '/w/p' }], theme: 'x' });
  await rest(2 * GIT_QUIET_MS);
  assert.equal(statusCalls().length, before, 'nothing about the folders is new');
  applyConfig({ roots: [{ name: 'q', path: '/w/q' }] });
  assert.deepEqual(git.repos.value, [], 'a repository without a folder is not shown');
  await until(() => statusCalls().length === before + 1);
  applyConfig({ roots: [{ name: 'p', path: '/w/p' }] });
  await until(() => statusCalls().length === before + 2);
});

test('git: many changes on disk are one request, and never two at once', async () => {
  await git.refreshGit();
  const before = statusCalls().length;
  answers.hold = deferred();
  change(['p/a']);
  change(['p/b']);
  await until(() => statusCalls().length === before + 1);
  change(['p/c']);
  change(['p/d']);
  await rest(3 * GIT_QUIET_MS);
  assert.equal(statusCalls().length, before + 1, 'the first one still runs');
  answers.hold.resolve();
  answers.hold = null;
  await until(() => statusCalls().length === before + 2);
  await rest(3 * GIT_QUIET_MS);
  assert.equal(statusCalls().length, before + 2, 'what came meanwhile was one more request');
});

test("git: the editor's own backups ask for nothing", async () => {
  await git.refreshGit();
  const before = statusCalls().length;
  change(['p/.marlin/backups/x.0', 'p/.marlin']);
  await rest(3 * GIT_QUIET_MS);
  assert.equal(statusCalls().length, before);
  change(['p/.marlin/backups/x.0'], 201);
  await until(() => statusCalls().length === before + 1);
});

test('git: a new index or commit is told apart from a changed file', () => {
  const before = git.gitEpoch.value;
  change(['p/a.c']);
  assert.equal(git.gitEpoch.value, before);
  change(['p/.gitignore']);
  assert.equal(git.gitEpoch.value, before);
  change(['p/.git/index']);
  assert.equal(git.gitEpoch.value, before + 1);
  change(['p/a.c'], 500);
  assert.equal(git.gitEpoch.value, before + 2);
});

test('git: line counts are asked for only while something shows them', async () => {
  await git.refreshGit();
  assert.equal(statusCalls().at(-1).query.get('stats'), null);
  const before = statusCalls().length;
  const stop = git.wantCounts();
  await until(() => statusCalls().length === before + 1);
  assert.equal(statusCalls().at(-1).query.get('stats'), '1');
  stop();
  await git.refreshGit();
  assert.equal(statusCalls().at(-1).query.get('stats'), null);
});

test('git: a failure keeps what was known, and says why', async () => {
  await git.refreshGit();
  answers.status = 500;
  await git.refreshGit();
  assert.equal(git.gitFailure.value, 'git is away');
  assert.equal(git.repos.value.length, 1);
  answers.status = 200;
  await git.refreshGit();
  assert.equal(git.gitFailure.value, '');
});

test('git: coming back to the window looks at what was done elsewhere', async () => {
  await git.refreshGit();
  const [calls, epoch] = [statusCalls().length, git.gitEpoch.value];
  active.value = false;
  await rest(2 * GIT_QUIET_MS);
  assert.equal(statusCalls().length, calls);
  active.value = true;
  await until(() => statusCalls().length === calls + 1);
  assert.equal(git.gitEpoch.value, epoch + 1);
});

test('git: a folder that came later is told, until git knows its repository', () => {
  assert.deepEqual(git.lateRoots.value, []);
  const folders = ['p', 'late', 'p/inner'].map((path) => ({ name: path.replace('/', '-'), path: `/w/${path}` }));
  applyConfig({ roots: [kPlain, ...folders] });
  assert.deepEqual(git.lateRoots.value, ['late']);
  applyConfig({ roots: folders.slice(0, 1) });
  assert.deepEqual(git.lateRoots.value, []);
});

test('git: both sides of a file, by the name of a repository that git told', async () => {
  await git.refreshGit();
  const file = git.repoFor('p/src/a b.c');
  answers.diff = (query) => ({ body: { ok: true, original: '\uFEFFold\r\n', modified: 'new\r', query } });
  assert.deepEqual(await git.readSides(file, ':0'), { original: 'old\n', modified: 'new\n' });
  const { query } = bridge.asked.at(-1);
  assert.deepEqual(Object.fromEntries(query), { path: 'src/a b.c', rev: ':0', repo: 'p' });
  assert.equal(git.repoFor('elsewhere/a'), null);
});

test('git: before the first commit everything is new, and any other refusal is told', async () => {
  const file = git.repoFor('p/a');
  answers.diff = ({ rev }) =>
    rev === 'HEAD'
      ? { status: 400, body: { error: "fatal: invalid object name 'HEAD'." } }
      : { body: { original: 'staged\n', modified: 'file\n' } };
  assert.deepEqual(await git.readSides(file, 'HEAD'), { original: '', modified: 'file\n' });
  answers.diff = ({ rev }) =>
    rev === 'HEAD' ? { status: 400, body: { error: 'fatal: bad object' } } : { body: { original: '', modified: '' } };
  await assert.rejects(git.readSides(file, 'HEAD'), { message: 'fatal: bad object' });
});

test('git: a request that took long is followed by a rest as long', async () => {
  const times = [];
  const asking = refresher(async () => {
    times.push(Date.now());
    await rest(3 * GIT_QUIET_MS);
  });
  const first = asking.now();
  asking.soon();
  await first;
  const ended = Date.now();
  await until(() => times.length === 2);
  assert.ok(times[1] - ended >= 3 * GIT_QUIET_MS - 5, `it rested ${times[1] - ended} ms`);
  await asking.now();
  assert.equal(times.length, 3, 'asking at once waits for the one that runs, then asks');
});
