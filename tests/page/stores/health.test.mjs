import assert from 'node:assert/strict';
import { test } from 'node:test';
import { receive } from '../../../web/bridge/events.js';
import { asking, askTools, healthRows } from '../../../web/stores/health.js';
import * as reports from '../../../web/stores/healthreports.js';
import { startBridge } from '../support/bridge.mjs';

const answers = new Map([
  ['claude/auth', { status: 500, body: { ok: false, error: 'the Claude CLI could not be found' } }],
  ['git/status', { body: { ok: true, gitAvailable: true, repos: [{ name: 'p' }] } }],
  ['github/status', { status: 404, body: 'not found' }],
]);
await startBridge(({ route }) => answers.get(route) ?? { status: 404, body: 'not found' });

const row = (id) => healthRows.value.find((one) => one.id === id)?.report;
const said = ({ health, words }) => `${health}: ${words}`;
const stats = { files: 1200, truncated: false, seconds: 0.04, scanning: false };

test('health: the list of files says how many it holds, that it is cut, and that it is being made', () => {
  assert.equal(said(reports.indexReport(stats, 0)), 'ok: 1,200 files, listed in less than 0.1 s.');
  const cut = reports.indexReport({ ...stats, files: 200000, truncated: true, seconds: 3.21 }, 0);
  assert.equal(said(cut), 'warning: 200,000 files, listed in 3.2 s. The list was cut.');
  assert.match(cut.detail, /200,000/);
  assert.equal(
    said(reports.indexReport({ ...stats, scanning: true }, 50)),
    'busy: All files are being listed. 50 files so far.',
  );
  assert.equal(reports.indexReport(null, 0).health, 'unknown');
});

test('health: the link and the watcher say what is known of them and no more', () => {
  assert.equal(reports.linkReport('open', 0).words, 'The link to the editor was up all the time.');
  assert.match(reports.linkReport('open', 4200).words, /last gap was 4\.2 s/);
  assert.equal(reports.linkReport('down', 4200).health, 'error');
  assert.equal(reports.linkReport('connecting', 0).health, 'busy');
  assert.equal(row('watcher').health, 'unknown');
  receive(JSON.stringify({ type: 'fs.changed', paths: ['p/a'], count: 500 }));
  assert.match(row('watcher').words, /500 paths/);
  assert.match(row('watcher').detail, /50,000 folders.* 1 times/s);
});

test('health: tools answer in their own words', () => {
  const cases = [
    [
      reports.claudeReport({ known: true, loggedIn: true, email: 'a@b', subscription: 'max' }),
      'ok: Signed in as a@b, max.',
    ],
    [
      reports.claudeReport({ known: true, loggedIn: false }),
      'warning: The Claude CLI is there. Nobody is signed in.',
    ],
    [
      reports.claudeReport({ known: false }),
      'warning: The Claude CLI is there, but did not say who is signed in.',
    ],
    [reports.gitReport({ gitAvailable: false, repos: [] }), 'error: git was not found on PATH.'],
    [reports.gitReport({ gitAvailable: true, repos: [{ name: 'p', error: 'bad' }] }), 'warning: p: bad'],
    [reports.gitReport({ gitAvailable: true, repos: [{}, {}] }), 'ok: 2 repositories.'],
    [reports.githubReport({ installed: false, message: 'gh is missing' }), 'warning: gh is missing'],
    [
      reports.githubReport({ installed: true, authenticated: true, version: '2.1', account: 'me' }),
      'ok: gh 2.1, signed in as me.',
    ],
    [
      reports.serversReport({
        servers: [{ name: 'a', available: true, running: true, path: '/a' }, { name: 'b' }],
      }),
      'ok: 1 of 2 known language servers are installed; running: a.',
    ],
    [reports.updateReport({ currentVersion: '' }), 'unknown: This build does not update itself.'],
    [reports.updateReport({ currentVersion: '1', state: 'failed', error: 'no net' }), 'error: no net'],
    [
      reports.updateReport({ currentVersion: '1', state: 'available', version: '2' }),
      'ok: Version 1; 2 is there.',
    ],
    [
      reports.updateReport({ currentVersion: '1', state: 'idle', error: 'a quiet failure' }),
      'ok: Version 1.',
    ],
  ];
  for (const [report, expected] of cases) assert.equal(said(report), expected);
});

test('health: tools are asked together; a failure is its own report, and what the bridge does not know has no row', async () => {
  const done = askTools();
  assert.deepEqual([asking.value, row('git').health], [true, 'busy']);
  await done;
  assert.equal(asking.value, false);
  assert.equal(said(row('claude')), 'error: the Claude CLI could not be found');
  assert.equal(said(row('git')), 'ok: 1 repository.');
  assert.deepEqual(
    healthRows.value.map(({ id }) => id),
    ['link', 'index', 'watcher', 'claude', 'git'],
  );
});
