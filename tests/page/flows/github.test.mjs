// GitHub in Chromium on the real bridge, with a gh that answers from files and a Claude CLI that plays a script.
import assert from 'node:assert/strict';
import { after, afterEach, before, test } from 'node:test';
import { installClaude, out, until } from '../support/chatclaude.mjs';
import { axeFindings, startEditor } from '../support/editor.mjs';
import { head, makeGh, patch, pull, view } from '../support/github.mjs';
import { repositoryIn } from '../support/repository.mjs';
import { freshPage, settled } from '../support/steps.mjs';

const gh = makeGh();
let editor;
let claude;
let page;

before(async () => {
  editor = await startEditor({
    env: gh.env,
    prepare: (project) =>
      repositoryIn(project).begin({ '.gitignore': '.marlin/\n', 'src/fish.c': '#include "fish.h"\n' }),
  });
  claude = await installClaude(editor);
});
after(async () => {
  await editor?.stop();
  gh.remove();
});
afterEach(async () => {
  assert.deepEqual(page?.complaints ?? [], []);
  await page?.done();
});

const row = (name) => page.locator('.github-row', { hasText: name });
const line = (text) => page.locator('.pull-line', { hasText: text });
const toast = (words) => page.locator('.toast', { hasText: words }).first();

/** What the page has saved. */
async function kept() {
  const headers = { 'x-marlin-token': editor.token };
  return (await fetch(`${editor.origin}/api/ui-state`, { headers })).text();
}

/** Takes a refusal of the bridge out of what the browser complains about. */
function expectRefusal() {
  const left = page.complaints.filter((words) => !words.includes('status of 400'));
  assert.equal(page.complaints.splice(0, Infinity, ...left).length, left.length + 1);
}

async function openPanel() {
  page = await freshPage(editor);
  await page.click('[aria-label="GitHub"]');
}

async function openPull() {
  await openPanel();
  await row('#7 Count the fish').press('Enter');
  await line('static int count;').waitFor();
}

test('github: pull requests, issues and runs, by keys; what is cut is said', async () => {
  const many = Array.from({ length: 28 }, (_, at) => pull({ number: 100 + at, title: `More ${at}`, isDraft: true }));
  gh.answers('pr-list', { out: [pull(), pull({ number: 8, title: 'Feed them' }), ...many] });
  gh.answers('issue-list', { out: [{ number: 3, title: 'They bite', author: { login: 'cat' }, comments: [{}], url: 'https://github.com/ann/proj/issues/3' }] });
  gh.answers('run-list', { err: 'HTTP 403: no Actions here\n', code: 1 });
  await openPanel();
  await row('#7 Count the fish').waitFor();
  assert.match(await row('#7').innerText(), /bob, count-fish, review required, 1 of 2 checks failed/);
  assert.match(await row('More 0').innerText(), /draft/);
  assert.match(await row('Pull Requests').innerText(), /the newest 30 at most[^]*30\+/);
  await page.locator('.github-note', { hasText: 'Could not read all of ann/proj: HTTP 403: no Actions here' }).waitFor();
  assert.deepEqual(await axeFindings(page), []);
  await page.locator('.github-row[data-key="proj"]').press('ArrowDown');
  await page.keyboard.press('ArrowLeft');
  await page.waitForFunction(() => document.querySelectorAll('.github-row').length === 4);
  await page.keyboard.press('#');
  await page.waitForFunction(() => document.activeElement?.textContent?.includes('#3 They bite'));
  await row('#3').click({ button: 'right' });
  await page.getByRole('menuitem', { name: 'Open in Browser' }).waitFor();
  await page.keyboard.press('Escape');
  gh.answers('pr-list', { out: [pull()] });
  gh.answers('issue-list', { out: [] });
  gh.answers('run-list', { out: [] });
  await page.getByRole('button', { name: /^Read Pull Requests/ }).click();
  await page.locator('.github-row[data-key="proj/pulls"]', { hasText: /1$/ }).waitFor();
});

test('github: signed out, the way in is a terminal', async () => {
  gh.answers('auth-status', { err: 'You are not logged in.\n', code: 1 });
  await openPanel();
  await page.locator('.github-note', { hasText: 'Signed out of GitHub. Run `gh auth login` in a terminal.' }).waitFor();
  assert.deepEqual(await axeFindings(page), []);
  gh.answers('auth-login', { out: 'What account do you want to log into?\n' });
  await page.getByRole('button', { name: 'Sign In in a Terminal' }).click();
  await until(() => gh.calls().some(([first, second]) => first === 'auth' && second === 'login'));
  gh.answers('auth-status', { err: '✓ Logged in to github.com account ann\n' });
  await page.getByRole('button', { name: 'Look Again' }).click();
  await row('#7').waitFor();
  assert.match(await page.locator('.github-foot').innerText(), /Signed in as ann/);
});

test('github: without gh, and in a folder that GitHub does not know, it says what to do', async () => {
  page = await freshPage(editor);
  const message = 'Install the GitHub CLI to see pull requests, issues and Actions runs here: winget install GitHub.cli';
  await page.route('**/api/github/overview*', (route) =>
    route.fulfill({ json: { ok: true, installed: false, authenticated: false, message, account: '', repos: [] } }),
  );
  await page.click('[aria-label="GitHub"]');
  await page.locator('.github-note', { hasText: message }).waitFor();
  await page.unroute('**/api/github/overview*');
  const none = { err: 'none of the git remotes point to a known GitHub host\n', code: 1 };
  for (const call of ['pr-list', 'issue-list', 'run-list', 'repo-view']) gh.answers(call, none);
  await page.getByRole('button', { name: /^Read Pull Requests/ }).click();
  await page
    .locator('.github-note', { hasText: 'proj is no repository of GitHub, or gh cannot reach it: none of the git remotes' })
    .waitFor();
  assert.deepEqual(await axeFindings(page), []);
  for (const call of ['issue-list', 'run-list']) gh.answers(call, { out: [] });
  gh.answers('pr-list', { out: [pull()] });
  gh.answers('repo-view', { out: { nameWithOwner: 'ann/proj' } });
});

test('github: the page of a pull request: files, lines, marks, what it is about', async () => {
  await openPull();
  assert.equal(await page.locator('.tab.front').innerText(), '#7 Count the fish');
  await page.waitForFunction(() => document.activeElement?.matches('.pull-file'));
  assert.deepEqual(await axeFindings(page), []);
  await page.keyboard.press(' ');
  await page.getByText('1 of 3 viewed').waitFor();
  await page.keyboard.press('ArrowDown');
  await line('Count all of them').waitFor();
  assert.equal(await page.getByText('No line end here').count(), 2);
  assert.match(await page.locator('.pull-file-path').innerText(), /docs\/howto\.md.*docs\/how to\.md/);
  await page.keyboard.press('ArrowDown');
  await page.getByText('This is no text, so there are no lines to show.').waitFor();
  await page.keyboard.press('ArrowUp');
  await line('Count all of them').waitFor();
  await page.keyboard.press('Enter');
  await page.waitForFunction(() => document.activeElement?.matches('.pull-line.removed'));
  await page.getByRole('tab', { name: /About and Checks/ }).click();
  await page.locator('.pull-about strong', { hasText: 'all' }).waitFor();
  await page.locator('.pull-about li', { hasText: 'cover' }).getByText('failure').waitFor();
  assert.deepEqual(await axeFindings(page), []);
  // The tab and the mark are there again after a restart of the page.
  await until(async () => (await kept()).includes('"paths":["src/fish.c"]'));
  await page.reload();
  await page.getByText('1 of 3 viewed').waitFor();
});

test('github: a pull request that cannot be read tells why, and can be read again', async () => {
  gh.answers('pr-diff', { err: 'HTTP 406: the diff exceeded the maximum number of lines\n', code: 1 });
  await openPanel();
  await row('#7').press('Enter');
  const failure = page.getByRole('alert').filter({ hasText: 'Could not read pull request #7: HTTP 406' });
  await failure.waitFor();
  assert.deepEqual(await axeFindings(page), []);
  gh.answers('pr-diff', { out: patch });
  await failure.getByRole('button', { name: 'Try Again' }).click();
  await line('static int count;').waitFor();
});

test('github: a comment on a line is kept until it is posted, and then has its link', async () => {
  await openPull();
  await line('static int count;').press('Enter');
  await page.keyboard.type('Why "static"? `x` $HOME');
  gh.answers('api', { err: 'gh: Validation Failed (HTTP 422)\n', code: 1 });
  await page.keyboard.press('Control+Enter');
  await page.getByText('Could not post the comment: gh: Validation Failed (HTTP 422)').waitFor();
  expectRefusal();
  assert.deepEqual(await axeFindings(page), []);
  gh.answers('api', { out: { html_url: 'https://github.com/ann/proj/pull/7#discussion_r1' } });
  await page.getByRole('button', { name: 'Post on GitHub' }).click();
  await page.getByRole('button', { name: 'Show on GitHub' }).waitFor();
  assert.equal(gh.body(), 'Why "static"? `x` $HOME');
  const call = gh.calls().findLast(([first]) => first === 'api');
  assert.ok(call.includes(`commit_id=${head}`) && call.includes('path=src/fish.c') && call.includes('line=3'), call);
  await page.getByRole('button', { name: 'Done' }).click();
  await page.locator('.pull-draft').waitFor({ state: 'detached' });
  await line('return 0').press('Enter');
  await settled(page);
  assert.equal(await page.locator('.pull-draft').count(), 0, 'GitHub is told lines of the new side only');
});

test('github: what a review finds waits as drafts, is edited, dropped, and posted one at a time', async () => {
  const comments = [
    { path: 'src/fish.c', line: 4, body: 'This overflows.' },
    { path: 'docs/how to.md', line: 1, body: 'All of whom?' },
    { path: 'src/fish.c', line: 10, body: 'Nowhere in the patch.' },
  ];
  await claude.play('await-end', out(`Here: ${JSON.stringify({ summary: 'Mostly fine.', comments })}`));
  await openPull();
  await page.getByRole('button', { name: 'Look It Over' }).click();
  await toast('Looked over #7: 3 comments wait on its page').waitFor();
  const field = page.getByRole('textbox', { name: 'Comment on src/fish.c line 4' });
  await field.fill('This overflows after a while.');
  await page.getByRole('tab', { name: 'Comments (3)' }).click();
  await page.getByText('Mostly fine.').waitFor();
  const lost = page.getByRole('region', { name: 'Comments on no line that is shown' });
  await lost.getByText(/Line 10 is not in the patch/).waitFor();
  assert.deepEqual(await axeFindings(page), []);
  await lost.getByRole('button', { name: 'Drop' }).click();
  await page.getByRole('tab', { name: 'Comments (2)' }).waitFor();
  // What is not posted yet is there again later.
  await until(async () => (await kept()).includes('after a while') && !(await kept()).includes('Nowhere'));
  await page.reload();
  await page.getByRole('tab', { name: 'Comments (2)' }).click();
  await page.getByRole('button', { name: 'Show docs/how to.md line 1' }).click();
  await page.getByRole('group', { name: 'Comment on docs/how to.md:1' }).getByRole('button', { name: 'Drop' }).click();
  await page.getByRole('tab', { name: 'Comments (1)' }).click();
  await page.getByRole('button', { name: 'Post on GitHub' }).click();
  await page.getByRole('button', { name: 'Show on GitHub' }).waitFor();
  assert.equal(gh.body(), 'This overflows after a while.');
  await page.getByRole('button', { name: 'Take away 1 posted' }).click();
  await page.getByText('Nothing waits here.').waitFor();
});

test('github: checking out asks where files are changed', async () => {
  const { write, git } = repositoryIn(editor.project);
  write('src/fish.c', 'changed\n');
  gh.answers('pr-checkout', { err: 'error: Your local changes would be overwritten\n', code: 1 });
  await openPull();
  await page.getByRole('button', { name: 'Check Out' }).click();
  const question = page.getByRole('alertdialog', { name: 'Check out #7 with changes in the working tree?' });
  await question.getByRole('button', { name: 'Check Out #7' }).click();
  await toast('Could not check out #7: error: Your local changes would be overwritten').waitFor();
  git('checkout', '-q', '--', '.');
  gh.answers('pr-checkout', { out: '' });
  await page.click('[aria-label="Source Control"]');
  await page.locator('.scm-row[data-key="proj/changes"]').waitFor({ state: 'detached' });
  await page.getByRole('button', { name: 'Check Out' }).click();
  await toast('Checked out #7').waitFor();
});

test('github: the files that a long patch is cut before are read one by one', async () => {
  const lines = Array.from({ length: 12000 }, (_, at) => `+line number ${at}`);
  const one = ['diff --git a/one b/one', '--- a/one', '+++ b/one', `@@ -0,0 +1,${lines.length} @@`, ...lines, ''].join('\n');
  gh.answers('pr-diff', { out: one + patch });
  const files = [{ path: 'one', additions: 12000, deletions: 0 }, ...view().files];
  gh.answers('pr-view', { out: view({ files, changedFiles: 4 }) });
  await openPanel();
  await row('#7').press('Enter');
  await page.getByText('The patch is longer than 190 KB').waitFor();
  await page.getByRole('option', { name: /^src\/fish\.c/ }).click();
  await line('static int count;').waitFor();
  await page.getByRole('option', { name: /^one,/ }).click();
  await page.getByRole('button', { name: /^Show all \d+ lines$/ }).waitFor();
  await page.getByText('The patch of this file is too long: its end is not shown.').waitFor();
  gh.answers('pr-diff', { out: patch });
  gh.answers('pr-view', { out: view() });
});
