import assert from 'node:assert/strict';
import { test } from 'node:test';
import { agoWords, checkOf, checksSummary, issueOf, pullOf, reviewWords, runOf, stateWords } from '../../../web/stores/githubitems.js';
import { githubRows } from '../../../web/stores/githubrows.js';
import { pull } from '../support/github.mjs';

const kNow = Date.parse('2026-11-21T12:00:00Z');

test('github: a pull request as gh tells it', () => {
  const read = pullOf(pull({ isDraft: true, statusCheckRollup: null }));
  assert.deepEqual(
    [read.number, read.title, read.author, read.branch, read.base, read.added, read.removed, read.labels],
    [7, 'Count the fish', 'bob', 'count-fish', 'main', 4, 2, ['fish']],
  );
  assert.equal(stateWords(read), 'draft');
  assert.equal(stateWords(pullOf(pull())), 'open');
  assert.equal(stateWords(pullOf(pull({ state: 'MERGED', isDraft: true }))), 'merged');
  assert.deepEqual(read.checks, []);
});

test('github: whatever gh gives, something plain comes of it', () => {
  for (const raw of [null, 7, 'x', [], {}, { author: null, labels: 'x', number: 'seven', statusCheckRollup: [null, 3] }]) {
    assert.equal(pullOf(raw).number, 0);
    assert.equal(issueOf(raw).title, '');
    assert.equal(runOf(raw).url, '');
  }
});

test('github: checks of the Actions and statuses of others, while they run and after', () => {
  const rows = [
    [{ name: 'b', workflowName: 'CI', status: 'COMPLETED', conclusion: 'SUCCESS', detailsUrl: 'https://d' }, 'CI / b', 'ok', 'success'],
    [{ name: 'b', status: 'COMPLETED', conclusion: 'TIMED_OUT' }, 'b', 'failed', 'timed out'],
    [{ name: 'b', status: 'IN_PROGRESS', conclusion: '' }, 'b', 'waiting', 'in progress'],
    [{ name: 'b', status: 'COMPLETED', conclusion: 'SKIPPED' }, 'b', 'none', 'skipped'],
    [{ context: 'c', state: 'SUCCESS', targetUrl: 'https://t' }, 'c', 'ok', 'success'],
    [{ context: 'c', state: 'PENDING' }, 'c', 'waiting', 'pending'],
    [{ context: 'c', state: 'ERROR' }, 'c', 'failed', 'error'],
    [{ name: 'b', status: 'COMPLETED', conclusion: 'SOMETHING_NEW' }, 'b', 'failed', 'something new'],
  ];
  for (const [raw, name, outcome, words] of rows) {
    const read = checkOf(raw);
    assert.deepEqual([read.name, read.outcome, read.words], [name, outcome, words]);
  }
  assert.equal(checkOf(rows[0][0]).url, 'https://d');
  assert.equal(checkOf(rows[4][0]).url, 'https://t');
});

test('github: all checks in a few words, what failed first', () => {
  const of = (...outcomes) => checksSummary(outcomes.map((outcome) => ({ name: '', words: '', url: '', outcome })));
  assert.deepEqual(of(), { outcome: 'none', words: 'no checks' });
  assert.deepEqual(of('ok'), { outcome: 'ok', words: '1 check passed' });
  assert.deepEqual(of('ok', 'none'), { outcome: 'ok', words: '2 checks passed' });
  assert.deepEqual(of('ok', 'waiting', 'failed'), { outcome: 'failed', words: '1 of 3 checks failed' });
  assert.deepEqual(of('ok', 'waiting'), { outcome: 'waiting', words: '1 of 2 checks not done yet' });
  assert.deepEqual(of('none', 'none'), { outcome: 'none', words: '2 checks skipped' });
});

test('github: reviews, runs and ages in words', () => {
  assert.equal(reviewWords('CHANGES_REQUESTED'), 'changes requested');
  assert.equal(reviewWords(''), '');
  assert.equal(reviewWords('SOMETHING_ELSE'), 'something else');
  const run = { databaseId: 5, displayTitle: 'Fix', status: 'completed', conclusion: 'failure', workflowName: 'CI' };
  assert.deepEqual([runOf(run).outcome, runOf(run).words], ['failed', 'failure']);
  assert.deepEqual(runOf({ ...run, status: 'queued', conclusion: '' }).outcome, 'waiting');
  const ages = { '2026-11-21T11:59:30Z': 'just now', '2026-11-21T11:58:30Z': '1 minute ago', '2026-11-21T09:00:00Z': '3 hours ago' };
  for (const [when, words] of Object.entries(ages)) assert.equal(agoWords(when, kNow), words);
  assert.equal(agoWords('2026-11-01T12:00:00Z', kNow), '20 days ago');
  assert.equal(agoWords('2026-01-01T12:00:00Z', kNow), '10 months ago');
  assert.equal(agoWords('2020-01-01T12:00:00Z', kNow), '6 years ago');
  assert.equal(agoWords('', kNow), '');
});

const overview = (more = {}) => ({ name: 'p', nameWithOwner: 'ann/p', pulls: [], issues: [], runs: [], error: '', ...more });
const rowsOf = (told, collapsed = []) => githubRows([...told.keys()], told, new Set(collapsed), kNow);

test('github: rows by repository and kind, a full list says that it may be cut', () => {
  const pulls = Array.from({ length: 30 }, (_, at) => pullOf(pull({ number: at + 1 })));
  const told = new Map([['p', overview({ pulls })], ['a/b', overview({ name: 'a/b' })]]);
  const rows = rowsOf(told);
  assert.deepEqual(
    rows.filter(({ depth }) => depth < 2).map(({ path, count }) => [path, count]),
    [['p', undefined], ['p/pulls', '30+'], ['p/issues', '0'], ['p/runs', '0'], ['a%2Fb', undefined], ['a%2Fb/pulls', '0'], ['a%2Fb/issues', '0'], ['a%2Fb/runs', '0']],
  );
  const section = rows.find(({ path }) => path === 'p/pulls');
  assert.equal(section.words, 'the newest 30 at most');
  const first = rows.find(({ path }) => path === 'p/pulls/1');
  assert.equal(first.name, '#1 Count the fish');
  assert.equal(first.words, 'bob, count-fish, review required, 1 of 2 checks failed, 1 day ago');
  assert.equal(first.outcome, 'failed');
  assert.deepEqual([first.position, first.siblings, first.depth], [1, 30, 2]);
  assert.equal(rows[0].url, 'https://github.com/ann/p', 'nothing of it tells of another host');
  assert.equal(rowsOf(told, ['p/pulls']).filter(({ pull: one }) => one).length, 0);
  assert.equal(rowsOf(told, ['p']).filter(({ repo }) => repo === 'p').length, 1);
});

test('github: a repository on a server of its own has its page there', () => {
  const issues = [issueOf({ number: 1, url: 'https://git.example.invalid/ann/p/issues/1' })];
  assert.equal(rowsOf(new Map([['p', overview({ issues })]]))[0].url, 'https://git.example.invalid/ann/p');
});

test('github: what is not read yet, or no repository of GitHub, hides nothing behind empty lists', () => {
  const rows = githubRows(['p', 'q'], new Map([['q', overview({ name: 'q', nameWithOwner: '', error: 'no git remotes found' })]]), new Set(), kNow);
  assert.deepEqual(rows.map(({ name, directory, failure }) => [name, directory, failure]), [
    ['p', false, undefined],
    ['q', true, 'no git remotes found'],
  ]);
  const some = overview({ error: 'HTTP 410: issues are disabled', pulls: [pullOf(pull())] });
  assert.deepEqual(rowsOf(new Map([['p', some]])).map(({ path }) => path), ['p', 'p/pulls', 'p/pulls/7']);
});
