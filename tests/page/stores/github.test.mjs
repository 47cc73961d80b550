import assert from 'node:assert/strict';
import { test } from 'node:test';
import * as git from '../../../web/stores/git.js';
import * as github from '../../../web/stores/github.js';
import { applyConfig, version } from '../../../web/stores/settings.js';
import { active } from '../../../web/stores/windowstate.js';
import { deferred, startBridge, until } from '../support/bridge.mjs';
import { pull } from '../support/github.mjs';

const kReady = { ok: true, installed: true, authenticated: true, message: '', account: 'ann' };
const row = (name, more = {}) => ({ name, nameWithOwner: `ann/${name}`, pulls: [pull()], issues: [], runs: [], error: '', ...more });
const answers = { repos: [], state: kReady, rows: {}, hold: null, status: 200 };
const bridge = await startBridge(async ({ route, query }) => {
  if (route === 'git/status') return { body: { ok: true, gitAvailable: true, repos: answers.repos } };
  if (route === 'github/status') return { body: { ...answers.state, version: '2.23.0' } };
  if (route !== 'github/overview') return undefined;
  await answers.hold?.promise;
  if (answers.status !== 200) return { status: answers.status, body: { ok: false, error: 'the bridge is tired' } };
  const name = query.get('repo');
  const found = answers.state.authenticated ? [answers.rows[name] ?? row(name)] : [];
  return { body: { ...answers.state, repos: found } };
});

const asked = () => bridge.asked.filter(({ route }) => route.startsWith('github/')).map(({ route, query }) => query.get('repo') ?? route);
const repo = (name) => ({ name, root: `/w/${name}`, isRepo: true, branch: 'main', files: [] });
/** What git tells of from now on. */
async function repositories(...names) {
  answers.repos = names.map(repo);
  version.value = '1';
  applyConfig({ roots: names.map((name) => ({ name, path: `/w/${name}` })) });
  await git.refreshGit();
}
const turn = () => new Promise((resolve) => setTimeout(resolve, 20));
/** As if the last answer were old. */
const rest = () => {
  github.readAt.value = Date.now() - github.GITHUB_REST_MS - 1;
};

test('github: nothing is asked before git has told of its repositories', async () => {
  const stop = github.watchGithub();
  await turn();
  assert.deepEqual(asked(), []);
  await repositories('p', 'q');
  await until(() => github.overviews.value.size === 2);
  assert.deepEqual(asked(), ['p', 'q'], 'each by its name, one after the other');
  assert.equal(github.githubState.value, 'ready');
  assert.equal(github.account.value, 'ann');
  assert.equal(github.overviews.value.get('q').pulls[0].number, 7);
  await until(() => github.readAt.value > 0);
  stop();
});

test('github: looking again asks at most once a minute, the hand always', async () => {
  const before = asked().length;
  github.watchGithub()();
  const stop = github.watchGithub();
  active.value = false;
  active.value = true;
  await turn();
  assert.equal(asked().length, before);
  await github.refreshGithub();
  assert.equal(asked().length, before + 2);
  rest();
  active.value = false;
  await turn();
  assert.equal(asked().length, before + 2, 'nobody looks');
  active.value = true;
  await until(() => asked().length === before + 4);
  await until(() => github.reading.value === '');
  stop();
  rest();
  active.value = false;
  active.value = true;
  await turn();
  assert.equal(asked().length, before + 4, 'the panel is closed');
});

test('github: who asks meanwhile gets the answer under way', async () => {
  const before = asked().length;
  answers.hold = deferred();
  const both = Promise.all([github.refreshGithub(), github.refreshGithub()]);
  await until(() => asked().length === before + 1);
  assert.equal(github.reading.value, 'p');
  answers.hold.resolve();
  answers.hold = null;
  await both;
  assert.equal(asked().length, before + 2);
});

test('github: a repository that is new is asked at once, one that is gone is forgotten', async () => {
  const stop = github.watchGithub();
  const before = asked().length;
  await repositories('p', 'r');
  await until(() => github.overviews.value.has('r'));
  await until(() => github.reading.value === '');
  assert.deepEqual([...github.overviews.value.keys()], ['p', 'r']);
  assert.equal(asked().length, before + 2);
  // While an answer is under way, too: that one does not have it.
  answers.hold = deferred();
  const reading = github.refreshGithub();
  await repositories('p', 's');
  answers.hold.resolve();
  answers.hold = null;
  await reading;
  await until(() => github.overviews.value.has('s'));
  await until(() => github.reading.value === '');
  stop();
});

test('github: signed out or without gh, one question is enough', async () => {
  answers.state = { ...kReady, authenticated: false, account: '', message: 'Signed out of GitHub. Run `gh auth login` in a terminal.' };
  const before = asked().length;
  await github.refreshGithub();
  assert.equal(asked().length, before + 1);
  assert.equal(github.githubState.value, 'signed out');
  assert.match(github.githubMessage.value, /gh auth login/);
  answers.state = { ...answers.state, installed: false };
  await github.refreshGithub();
  assert.equal(github.githubState.value, 'missing');
  answers.state = kReady;
});

test('github: without a repository the state of gh is still told', async () => {
  await repositories();
  const before = asked().length;
  await github.refreshGithub();
  assert.deepEqual(asked().slice(before), ['github/status']);
  assert.equal(github.githubState.value, 'ready');
  assert.equal(github.overviews.value.size, 0);
});

test("github: the bridge's words are kept, and the answers of the time before", async () => {
  await repositories('p');
  await github.refreshGithub();
  answers.status = 500;
  await github.refreshGithub();
  assert.equal(github.githubFailure.value, 'the bridge is tired');
  assert.equal(github.overviews.value.size, 1);
  answers.status = 200;
  await github.refreshGithub();
  assert.equal(github.githubFailure.value, '');
});
